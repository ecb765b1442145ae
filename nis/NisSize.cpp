// The size of the file before it is written: the record sizes of every chunk, added up in 64
// bits, so that a scene too large for the format's 32-bit lengths is refused before writing.
#include <cstring>

#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/Naming.h"

namespace rw {
namespace {

constexpr uint64_t kChunkHeadSize = 8;
constexpr uint64_t kFormHeadSize = 12;
constexpr uint64_t kCountSize = 4;
constexpr uint64_t kCurveKeySize = 32;      // time and value as doubles, four tangent floats
constexpr uint64_t kCurveTrailerSize = 8;   // the two words behind the keys
constexpr uint64_t kRotationOrderSize = 4;  // " ZYX"
constexpr uint64_t kMotionValueCount = 6;
constexpr uint64_t kCameraParamsSize = sizeof kCameraParams;

uint64_t TextSize(const std::string& text) { return 4 + text.size(); }

uint64_t CurveSize(const std::string& name, uint64_t keys) {
  return TextSize(name) + kCountSize + keys * kCurveKeySize + kCurveTrailerSize;
}

// Six curve names, six doubles and the rotation order, as leader and follower records end.
uint64_t MotionTailSize(const std::string& curvePrefix) {
  uint64_t size = kMotionValueCount * 8 + kRotationOrderSize;
  for (int c = 0; c < 6; ++c) size += TextSize(curvePrefix.empty() ? kEmptyCurve : curvePrefix + kCurveSuffixes[c]);
  return size;
}

uint64_t HeaderChunksSize() {
  return 3 * kChunkHeadSize + std::strlen(kNisTitle) + sizeof kNisVersion + 3 * sizeof(int32_t);
}

uint64_t AnimationChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kCountSize + CurveSize(kEmptyCurve, 2);
  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const std::string name = kCurvePrefix + scene.bonePaths[i];
    const uint64_t keys = i < scene.keyCounts.size() ? scene.keyCounts[i] : 0;
    for (const char* suffix : kCurveSuffixes) size += CurveSize(name + suffix, keys);
  }
  return size;
}

uint64_t LeaderChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kCountSize + TextSize(kEmptyLeader) + TextSize("") + MotionTailSize("");
  for (const std::string& path : scene.bonePaths)
    size += TextSize(kLeaderPrefix + path) + TextSize("") + MotionTailSize(kCurvePrefix + path);
  return size;
}

uint64_t FollowerChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kCountSize + TextSize(kEmptyFollower) + TextSize(kEmptyLeader) +
                  TextSize(kNoSobType) + TextSize("") + MotionTailSize("");
  for (size_t i = 0; i < scene.bonePaths.size(); ++i) {
    const std::string& path = scene.bonePaths[i];
    const SobGroup sob = ReadSobGroup(scene, i);
    size += TextSize(kFollowerPrefix + path) + TextSize(kLeaderPrefix + path) + TextSize(sob.type) +
            TextSize(sob.name) + MotionTailSize("");
  }
  return size;
}

uint64_t CameraChunkSize(const Scene& scene) {
  uint64_t size = kChunkHeadSize + kCountSize;
  for (size_t i = 0; i < scene.cameras.size(); ++i) {
    const CameraNames names = ReadCameraNames(scene, i);
    size += TextSize(names.camera) + TextSize(names.follower) + TextSize(names.centerOfInterest) + 2 * TextSize("") +
            kCameraParamsSize;
  }
  return size;
}

}  // namespace

uint64_t PredictNisSize(const Scene& scene) {
  return kFormHeadSize + HeaderChunksSize() + AnimationChunkSize(scene) + LeaderChunkSize(scene) +
         FollowerChunkSize(scene) + CameraChunkSize(scene);
}

}  // namespace rw
