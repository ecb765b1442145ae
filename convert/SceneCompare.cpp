#include "convert/SceneCompare.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "nis/NisFormat.h"

namespace rw {
namespace {

double PositionDifference(const WorldPose& a, const WorldPose& b) {
  const double distance =
      std::hypot(a.position[0] - b.position[0], a.position[1] - b.position[1], a.position[2] - b.position[2]);
  return distance / std::max(1.0, std::hypot(a.position[0], a.position[1], a.position[2]));
}

// Keeps the worst value and its frame. A value that is not a number is the worst of all: it
// never counts as within the tolerance.
void KeepWorst(double value, int64_t frame, bool start, double& worst, int64_t& worstFrame) {
  if (!start && (std::isnan(worst) || !(std::isnan(value) || value > worst))) return;
  worst = value;
  worstFrame = frame;
}

// The names `first`'s followers have in the second file.
std::vector<std::string> ExpectedNames(const SceneMotion& first, const CompareOptions& options) {
  std::vector<std::string> expected;
  const std::vector<size_t> nodes = FollowerNodes(first.importNodes, first.followers.size());
  for (size_t i = 0; i < first.followers.size(); ++i) {
    const std::string& name = first.followers[i].name;
    const auto found = options.renamed.find(name);
    if (found != options.renamed.end())
      expected.push_back(found->second);
    else if (options.imported && nodes[i] != kNoIndex)
      expected.push_back(ExportedFollowerName(first.importNodes, nodes[i]));
    else
      expected.push_back(name);
  }
  return expected;
}

}  // namespace

std::vector<FollowerDifference> CompareScenes(const SceneMotion& first, const SceneMotion& second,
                                              const CompareOptions& options, std::vector<std::string>& unmatched) {
  std::unordered_map<std::string, size_t> secondIndex;
  for (size_t i = 0; i < second.followers.size(); ++i) secondIndex.emplace(second.followers[i].name, i);
  const std::vector<std::string> expected = ExpectedNames(first, options);
  std::vector<FollowerDifference> differences;
  struct Pair {
    size_t first, second, difference;
  };
  std::vector<Pair> pairs;
  std::vector<bool> matched(second.followers.size(), false);
  for (size_t i = 0; i < first.followers.size(); ++i) {
    if (first.followers[i].name == kEmptyFollower) continue;
    FollowerDifference difference;
    difference.name = first.followers[i].name;
    const auto found = secondIndex.find(expected[i]);
    if (found != secondIndex.end()) {
      difference.otherName = expected[i];
      matched[found->second] = true;
      pairs.push_back({i, found->second, differences.size()});
    }
    differences.push_back(difference);
  }
  for (size_t i = 0; i < second.followers.size(); ++i)
    if (!matched[i] && second.followers[i].name != kEmptyFollower) unmatched.push_back(second.followers[i].name);

  for (int64_t frame = first.firstFrame; frame <= first.lastFrame && first.fps > 0; ++frame) {
    const double seconds = static_cast<double>(frame) / first.fps;
    const std::vector<WorldPose> a = first.PosesAt(seconds), b = second.PosesAt(seconds);
    for (const Pair& pair : pairs) {
      FollowerDifference& difference = differences[pair.difference];
      const WorldPose& pa = a[pair.first];
      const WorldPose& pb = b[pair.second];
      const bool start = frame == first.firstFrame;
      KeepWorst(PositionDifference(pa, pb), frame, start, difference.position, difference.positionFrame);
      KeepWorst(RotationAngle(pa.rotation, pb.rotation), frame, start, difference.rotation, difference.rotationFrame);
    }
  }
  return differences;
}

}  // namespace rw
