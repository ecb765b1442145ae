// The LEAD chunk: for every accepted bone a leader that joins its six motion curves, with the
// values of its first keys.
#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/Naming.h"

namespace rw {
namespace {

void WriteLeaderHead(LiteIFF& iff, const std::string& leaderName) {
  iff.WriteString(leaderName);
  iff.WriteString("");  // no motion path
}

}  // namespace

void WriteLeaders(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("Leaders");
  iff.OpenChunk(kChunkLead);
  WriteU32(iff, static_cast<uint32_t>(scene.bonePaths.size() + 1));

  WriteLeaderHead(iff, kEmptyLeader);
  WriteEmptyMotionTail(iff);

  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const std::string& path = scene.bonePaths[i];
    msBone* bone = i < scene.bones.size() ? scene.bones[i] : nullptr;
    LogPrint("Writing leader information for bone #%d...\n", static_cast<int>(i + 1));

    // A bone may reach here without keys (a keyless child of a keyless parent, say): its
    // leader then starts at zero, and the artist is told.
    double start[6] = {0, 0, 0, 0, 0, 0};
    if (const msPositionKey* key = msBone_GetPositionKeyAt(bone, 0)) {
      for (int axis = 0; axis < 3; ++axis) start[axis] = key->Position[axis];
    } else {
      LogBoneWarning(DiagnosticCode::kNoFirstKey, path,
                     "Bone '%s' has no position key 0\r\n\t-> Its leader starts at position 0, 0, 0\n", path.c_str());
    }
    if (const msRotationKey* key = msBone_GetRotationKeyAt(bone, 0)) {
      for (int axis = 0; axis < 3; ++axis) start[3 + axis] = key->Rotation[axis];
    } else {
      LogBoneWarning(DiagnosticCode::kNoFirstKey, path,
                     "Bone '%s' has no rotation key 0\r\n\t-> Its leader starts at rotation 0, 0, 0\n", path.c_str());
    }

    std::string curves[6];
    for (int c = 0; c < 6; ++c) curves[c] = kCurvePrefix + path + kCurveSuffixes[c];
    WriteLeaderHead(iff, kLeaderPrefix + path);
    WriteMotionTail(iff, curves, start);
  }

  iff.CloseChunk();
  LogEndStage();
}

}  // namespace rw
