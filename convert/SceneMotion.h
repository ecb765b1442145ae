// A NIS file's scene as the import and the comparison need it: its followers with what they are,
// its frames, and every follower's place in the world at any time, by the reference evaluation.
#ifndef REELWRIGHT_CONVERT_SCENEMOTION_H
#define REELWRIGHT_CONVERT_SCENEMOTION_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inspect/ImportNames.h"
#include "inspect/NisDocument.h"

namespace rw {

// Sampling every follower at every frame stops short of a scene larger than this (frames times
// followers): the game's longest cinematics have well under a million.
constexpr int64_t kMaxSceneSamples = 4000000;

// A place in the file's world (Y up): position, and rotation as a unit quaternion x, y, z, w.
struct WorldPose {
  std::array<double, 3> position{};
  std::array<double, 4> rotation{0, 0, 0, 1};
};

// A camera's lens: focal length and film apertures (mm), clip distances.
struct CameraLens {
  double focalLength = 0, horizontalAperture = 0, verticalAperture = 0, nearClip = 0, farClip = 0;
  std::string focalLengthCurve;  // empty: the lens does not zoom
};

struct MotionFollower {
  std::string name;  // as the file names it
  std::string objectClass, blueprint;
  std::optional<CameraLens> lens;  // set for a camera's follower
  std::string centerOfInterest;    // the follower a camera looks at; empty: none
  std::string cameraRecord;        // the name of the camera record on it; empty: none
};

class SceneMotion {
 public:
  virtual ~SceneMotion() = default;
  double fps = 0;
  int64_t firstFrame = 0, lastFrame = 0;  // the playback range; frame N is at N / fps seconds
  std::vector<MotionFollower> followers;
  std::vector<ImportedNode> importNodes;  // what an import makes of `followers` (ImportNodes)
  std::vector<std::string> notes;         // what the evaluation assumed or could not place, one line each
  // Every follower's pose at `seconds`, in the order of `followers`.
  virtual std::vector<WorldPose> PosesAt(double seconds) const = 0;
};

// Empty when `followers` poses can be sampled at every frame of `motion`; otherwise why not.
std::string SamplingProblem(const SceneMotion& motion, size_t followers);

// The scene of a read document, by the reference evaluation. It refers to `doc`, which must
// outlive it unchanged.
std::unique_ptr<SceneMotion> ReadSceneMotion(const NisDocument& doc);

// The angle (radians) between two rotations given as unit quaternions.
double RotationAngle(const std::array<double, 4>& a, const std::array<double, 4>& b);

}  // namespace rw

#endif
