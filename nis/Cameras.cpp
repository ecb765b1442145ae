// The CMRA chunk: one record per camera, naming its follower and the follower it looks at.
#include "export/NisScene.h"
#include "log/ExportLog.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"

namespace rw {

bool NisScene::WriteCameras() {
  LogOpenStage("Cameras");
  iff->OpenChunk(kChunkCmra);
  WriteU32(*iff, static_cast<uint32_t>(cameras.size()));

  for (size_t i = 0; i < cameras.size(); ++i) {
    msBone* camera = cameras[i];
    LogPrint("Exporting camera #%d...\n", static_cast<int>(i + 1));
    // The option names a bone; the file names that bone's follower. A name that no bone
    // bears gives the path of no bone, "Root|".
    const std::string target = GetOption(ReadBoneComment(camera), kOptionCenterOfInterest);
    const std::string followerName = kFollowerPrefix + BuildBonePath(lookup, camera);
    const std::string centerOfInterest =
        target.empty() ? std::string() : kFollowerPrefix + BuildBonePath(lookup, lookup.Find(target));

    iff->WriteString(i < cameraNames.size() ? cameraNames[i] : ReadBoneName(camera));
    iff->WriteString(followerName);
    iff->WriteString(centerOfInterest);
    iff->WriteString("");
    iff->WriteString("");
    for (double param : kCameraParams) WriteF64(*iff, param);
  }

  iff->CloseChunk();
  LogEndStage();
  return true;
}

}  // namespace rw
