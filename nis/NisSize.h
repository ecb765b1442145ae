// The size of every record and chunk this exporter writes, stated once, from counts and name
// lengths: the size prediction adds them up before anything is written, and each chunk writer
// asserts that it wrote exactly what they state.
#ifndef REELWRIGHT_NIS_NISSIZE_H
#define REELWRIGHT_NIS_NISSIZE_H

#include <cstdint>
#include <string>

#include "liteiff/LiteIFF.h"
#include "nis/CurveBlock.h"
#include "nis/NisFormat.h"
#include "scene/Scene.h"

namespace rw {

constexpr uint64_t kChunkHeadSize = 8;     // id and length
constexpr uint64_t kFormHeadSize = 12;     // id, length and form type
constexpr uint64_t kRecordCountSize = 4;   // the count that opens ANIM, LEAD, FOLW and CMRA
constexpr uint64_t kCurveTrailerSize = 8;  // the two words behind a curve's keys
constexpr uint64_t kMotionValueCount = 6;  // the doubles of a leader's or follower's tail
constexpr uint64_t kMotionCurveCount = 6;  // the curve names of that tail
constexpr uint64_t kEmptyMotionNamesLength = kMotionCurveCount * std::char_traits<char>::length(kEmptyCurve);

// A counted text: its 32-bit length, then its bytes.
constexpr uint64_t TextSize(uint64_t length) { return 4 + length; }
// A curve: its counted name, the key count, 32 bytes a key, two trailing words.
constexpr uint64_t CurveRecordSize(uint64_t nameLength, uint64_t keyCount) {
  return TextSize(nameLength) + 4 + keyCount * kCurveKeySize + kCurveTrailerSize;
}
// The tail of leader and follower records: six counted curve names (namesLength bytes together),
// six doubles, the rotation order.
constexpr uint64_t MotionTailSize(uint64_t namesLength) {
  return kMotionCurveCount * TextSize(0) + namesLength + kMotionValueCount * 8 + sizeof kZyxTag;
}
// A leader: its counted name, an empty motion path, its motion tail.
constexpr uint64_t LeaderRecordSize(uint64_t nameLength, uint64_t curveNamesLength) {
  return TextSize(nameLength) + TextSize(0) + MotionTailSize(curveNamesLength);
}
// A follower: its name, its leader's, its sob type and sob name, the placeholder motion tail.
constexpr uint64_t FollowerRecordSize(uint64_t nameLength, uint64_t leaderLength, uint64_t sobTypeLength,
                                      uint64_t sobNameLength) {
  return TextSize(nameLength) + TextSize(leaderLength) + TextSize(sobTypeLength) + TextSize(sobNameLength) +
         MotionTailSize(kEmptyMotionNamesLength);
}
// A camera: its name, its follower's, its centre of interest's, two empty texts, five doubles.
constexpr uint64_t CameraRecordSize(uint64_t nameLength, uint64_t followerLength, uint64_t centerLength) {
  return TextSize(nameLength) + TextSize(followerLength) + TextSize(centerLength) + 2 * TextSize(0) +
         sizeof kCameraParams;
}

// Each chunk of the file for scene as the scan left it, head included.
uint64_t HeaderChunksSize();  // NAME, VERS and INFO together
uint64_t AnimationChunkSize(const Scene& scene);
uint64_t LeaderChunkSize(const Scene& scene);
uint64_t FollowerChunkSize(const Scene& scene);
uint64_t CameraChunkSize(const Scene& scene);

// For a writer's assertion: true when the bytes iff wrote since start are stated bytes, or when
// it wrote none (no file) or failed.
bool WroteAsStated(const LiteIFF& iff, uint64_t start, uint64_t stated);

}  // namespace rw

#endif
