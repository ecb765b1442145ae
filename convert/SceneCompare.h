// How far two files' motion lies apart: every follower of the first, matched by name with one of
// the second, is evaluated in both at every frame of the first file's playback range.
#ifndef REELWRIGHT_CONVERT_SCENECOMPARE_H
#define REELWRIGHT_CONVERT_SCENECOMPARE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "convert/SceneMotion.h"

namespace rw {

// Two poses agree within these: the distance over the larger of 1 and the first position's
// length, and the angle between the rotations.
constexpr double kPositionTolerance = 1e-3;
constexpr double kRotationTolerance = 1e-3;  // radians

struct FollowerDifference {
  std::string name, otherName;                   // in the first file; its match in the second (empty: none)
  double position = 0, rotation = 0;             // the worst of each
  int64_t positionFrame = 0, rotationFrame = 0;  // where it was met
  bool Within() const { return !otherName.empty() && position <= kPositionTolerance && rotation <= kRotationTolerance; }
};

struct CompareOptions {
  // The second file's names for the first's: "FOLW_A" -> "FOLW_Root|B". Names without an entry
  // are looked up as they are, or by the import's renaming when `imported` is set.
  std::map<std::string, std::string> renamed;
  bool imported = false;
};

// The differences, one per follower of `first` in its order ("FOLW_Empty" left out); followers of
// `second` that nothing matched are added to `unmatched`. SamplingProblem of `first`, for the
// followers of both, must be empty.
std::vector<FollowerDifference> CompareScenes(const SceneMotion& first, const SceneMotion& second,
                                              const CompareOptions& options, std::vector<std::string>& unmatched);

}  // namespace rw

#endif
