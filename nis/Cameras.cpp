// The CMRA chunk: one record per camera, naming its follower and the follower it looks at.
#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"
#include "scene/Naming.h"

namespace rw {

CameraNames ReadCameraNames(const Scene& scene, size_t index) {
  msBone* camera = scene.cameras[index];
  // The option names a bone; the file names that bone's follower. A name that no bone bears
  // gives the path of no bone, "Root|".
  const std::string target = GetOption(ReadBoneComment(camera), kOptionCenterOfInterest);
  CameraNames names;
  names.camera = index < scene.cameraNames.size() ? scene.cameraNames[index] : ReadBoneName(camera);
  names.follower = kFollowerPrefix + BuildBonePath(scene.lookup, camera);
  if (!target.empty())
    names.centerOfInterest = kFollowerPrefix + BuildBonePath(scene.lookup, scene.lookup.Find(target));
  return names;
}

void WriteCameras(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("Cameras");
  iff.OpenChunk(kChunkCmra);
  WriteU32(iff, static_cast<uint32_t>(scene.cameras.size()));

  for (size_t i = 0; i < scene.cameras.size(); ++i) {
    LogPrint("Exporting camera #%d...\n", static_cast<int>(i + 1));
    const CameraNames names = ReadCameraNames(scene, i);
    iff.WriteString(names.camera);
    iff.WriteString(names.follower);
    iff.WriteString(names.centerOfInterest);
    iff.WriteString("");
    iff.WriteString("");
    for (double param : kCameraParams) WriteF64(iff, param);
  }

  iff.CloseChunk();
  LogEndStage();
}

}  // namespace rw
