// The CMRA chunk: one record per camera, naming its follower and the follower it looks at.
#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/Naming.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"

namespace rw {

void WriteCameras(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("Cameras");
  iff.OpenChunk(kChunkCmra);
  WriteU32(iff, static_cast<uint32_t>(scene.cameras.size()));

  for (size_t i = 0; i < scene.cameras.size(); ++i) {
    msBone* camera = scene.cameras[i];
    LogPrint("Exporting camera #%d...\n", static_cast<int>(i + 1));
    // The option names a bone; the file names that bone's follower. A name that no bone
    // bears gives the path of no bone, "Root|".
    const std::string target = GetOption(ReadBoneComment(camera), kOptionCenterOfInterest);
    const std::string followerName = kFollowerPrefix + BuildBonePath(scene.lookup, camera);
    const std::string centerOfInterest =
        target.empty() ? std::string() : kFollowerPrefix + BuildBonePath(scene.lookup, scene.lookup.Find(target));

    iff.WriteString(i < scene.cameraNames.size() ? scene.cameraNames[i] : ReadBoneName(camera));
    iff.WriteString(followerName);
    iff.WriteString(centerOfInterest);
    iff.WriteString("");
    iff.WriteString("");
    for (double param : kCameraParams) WriteF64(iff, param);
  }

  iff.CloseChunk();
  LogEndStage();
}

}  // namespace rw
