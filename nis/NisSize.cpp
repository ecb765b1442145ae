// The size of the file before it is written: the record sizes of every chunk, added up in 64
// bits over counts and name lengths, so that a scene too large for the format's 32-bit lengths
// is refused before writing.
#include "nis/NisSize.h"

#include <cstring>

#include "nis/NisChunks.h"
#include "nis/NisWrite.h"
#include "scene/Naming.h"

namespace rw {
namespace {

const uint64_t kCurvePrefixLength = std::strlen(kCurvePrefix);

// The names of an entity's curves: kCurvePrefix, its path, the suffix.
uint64_t CurveNameLength(uint64_t pathLength, int curve) {
  return kCurvePrefixLength + pathLength + std::strlen(kCurveSuffixes[curve]);
}
uint64_t MotionCurveNamesLength(uint64_t pathLength) {
  uint64_t length = 0;
  for (int curve = 0; curve < static_cast<int>(kMotionCurveCount); ++curve)
    length += CurveNameLength(pathLength, curve);
  return length;
}

}  // namespace

uint64_t HeaderChunksSize() {
  return 3 * kChunkHeadSize + std::strlen(kNisTitle) + sizeof kNisVersion + 3 * sizeof(int32_t);
}

uint64_t AnimationChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kRecordCountSize + CurveRecordSize(std::strlen(kEmptyCurve), 2);
  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const uint64_t keys = i < scene.keyCounts.size() ? scene.keyCounts[i] : 0;
    for (int curve = 0; curve < kCurvesPerEntity; ++curve)
      size += CurveRecordSize(CurveNameLength(scene.bonePaths[i].size(), curve), keys);
  }
  return size;
}

uint64_t LeaderChunkSize(const Scene& scene) {
  uint64_t size =
      kChunkHeadSize + kRecordCountSize + LeaderRecordSize(std::strlen(kEmptyLeader), kEmptyMotionNamesLength);
  for (const std::string& path : scene.bonePaths)
    size += LeaderRecordSize(std::strlen(kLeaderPrefix) + path.size(), MotionCurveNamesLength(path.size()));
  return size;
}

uint64_t FollowerChunkSize(const Scene& scene) {
  uint64_t size =
      kChunkHeadSize + kRecordCountSize +
      FollowerRecordSize(std::strlen(kEmptyFollower), std::strlen(kEmptyLeader), std::strlen(kNoSobType), 0);
  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const uint64_t pathLength = scene.bonePaths[i].size();
    const SobGroup sob = ReadSobGroup(scene, i);
    size += FollowerRecordSize(std::strlen(kFollowerPrefix) + pathLength, std::strlen(kLeaderPrefix) + pathLength,
                               sob.type.size(), sob.name.size());
  }
  return size;
}

uint64_t CameraChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kRecordCountSize;
  for (size_t i = 0; i < scene.cameras.size(); ++i) {
    const CameraNames names = ReadCameraNames(scene, i);
    size += CameraRecordSize(names.camera.size(), names.follower.size(), names.centerOfInterest.size());
  }
  return size;
}

uint64_t PredictNisSize(const Scene& scene) {
  return kFormHeadSize + HeaderChunksSize() + AnimationChunkSize(scene) + LeaderChunkSize(scene) +
         FollowerChunkSize(scene) + CameraChunkSize(scene);
}

bool WroteAsStated(const LiteIFF& iff, uint64_t start, uint64_t stated) {
  const uint64_t written = iff.position() - start;
  return written == stated || written == 0 || !iff.ok();
}

}  // namespace rw
