// Small payload writers shared by the NIS chunk stages. Payload numbers go out as they lie in
// memory, which on every supported target is little-endian.
#ifndef REELWRIGHT_NIS_NISWRITE_H
#define REELWRIGHT_NIS_NISWRITE_H

#include <cstdint>
#include <string>

#include "liteiff/LiteIFF.h"
#include "scene/Scene.h"

namespace rw {

inline void WriteU32(LiteIFF& iff, uint32_t value) { iff.Write(&value, sizeof value, 1); }
inline void WriteF32(LiteIFF& iff, float value) { iff.Write(&value, sizeof value, 1); }
inline void WriteF64(LiteIFF& iff, double value) { iff.Write(&value, sizeof value, 1); }

// The common tail of leader and follower records: six counted curve names, six doubles, " ZYX".
void WriteMotionTail(LiteIFF& iff, const std::string (&curves)[6], const double (&values)[6]);
// The tail of a record without motion of its own: "ANIM_Empty" six times, six zeros, " ZYX".
void WriteEmptyMotionTail(LiteIFF& iff);

// The sob group of follower index: the bone comment's type and name; a camera's type is
// "camera" with no name; no type given is "None" (typeGiven false).
struct SobGroup {
  std::string type, name;
  bool typeGiven;
};
SobGroup ReadSobGroup(const Scene& scene, size_t index);

// The names of camera index's record: its own, its follower's, and its centre of interest's
// follower (empty when its comment names none).
struct CameraNames {
  std::string camera, follower, centerOfInterest;
};
CameraNames ReadCameraNames(const Scene& scene, size_t index);

}  // namespace rw

#endif
