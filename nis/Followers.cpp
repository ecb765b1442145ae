// The FOLW chunk: for every accepted bone a follower, the name that cameras and scripts use,
// with its leader and the sob type and name from the bone's comment.
#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"
#include "scene/Naming.h"

namespace rw {
namespace {

// Followers carry no motion of their own: every curve slot names the placeholder curve.
void WriteFollowerRecord(LiteIFF& iff, const std::string& followerName, const std::string& leaderName,
                         const std::string& sobType, const std::string& sobName) {
  iff.WriteString(followerName);
  iff.WriteString(leaderName);
  iff.WriteString(sobType);
  iff.WriteString(sobName);
  WriteEmptyMotionTail(iff);
}

}  // namespace

SobGroup ReadSobGroup(const Scene& scene, size_t index) {
  const std::string comment = ReadBoneComment(index < scene.bones.size() ? scene.bones[index] : nullptr);
  SobGroup sob{GetOption(comment, kOptionSobType), GetOption(comment, kOptionSobName), true};
  if (IsCameraPath(scene.bonePaths[index])) {
    sob.type = kCameraSobType;
    sob.name.clear();
  }
  if (sob.type.empty()) {
    sob.type = kNoSobType;
    sob.typeGiven = false;
  }
  return sob;
}

void WriteFollowers(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("Followers");
  iff.OpenChunk(kChunkFolw);
  WriteU32(iff, static_cast<uint32_t>(scene.bonePaths.size() + 1));
  WriteFollowerRecord(iff, kEmptyFollower, kEmptyLeader, kNoSobType, "");

  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const std::string& path = scene.bonePaths[i];
    if (IsCameraPath(path)) {
      LogPrint("Writing follower information for camera (on bone) #%d...\n", static_cast<int>(i + 1));
    } else {
      LogPrint("Writing follower information for bone #%d...\n", static_cast<int>(i + 1));
    }
    const SobGroup sob = ReadSobGroup(scene, i);
    if (!sob.typeGiven)
      LogBoneWarning(DiagnosticCode::kNoSobType, path, "No sob-group type given for bone '%s'\n", path.c_str());
    WriteFollowerRecord(iff, kFollowerPrefix + path, kLeaderPrefix + path, sob.type, sob.name);
  }

  iff.CloseChunk();
  LogEndStage();
}

}  // namespace rw
