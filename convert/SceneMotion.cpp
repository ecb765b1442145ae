#include "convert/SceneMotion.h"

#include <algorithm>
#include <cmath>

#include "inspect/SceneReading.h"
#include "nis/NisFormat.h"

namespace rw {
namespace {

class EvaluatedScene : public SceneMotion {
 public:
  explicit EvaluatedScene(const NisDocument& doc) : scene_(ReadScene(doc)), evaluator_(scene_) {
    fps = scene_.fps;
    firstFrame = scene_.firstFrame;
    lastFrame = scene_.lastFrame;
    notes = scene_.notes;
    for (size_t i = 0; i < scene_.followers.size(); ++i) {
      const SceneFollower& in = scene_.followers[i];
      MotionFollower follower;
      follower.name = in.name;
      // The Homeworld 2 layout's followers are the FOLW records, in their order.
      if (doc.layout != NisLayout::kCrannnberry && i < doc.followers.size()) {
        follower.objectClass = doc.followers[i].objectClass;
        follower.blueprint = doc.followers[i].blueprint;
      }
      if (in.kind == SceneKind::kCamera) follower.lens = Lens(in, follower.centerOfInterest);
      if (in.camera != kNoIndex) follower.cameraRecord = scene_.cameras[in.camera].name;
      followers.push_back(std::move(follower));
    }
    importNodes = ImportNodes(scene_);
  }

  std::vector<WorldPose> PosesAt(double seconds) const override {
    evaluator_.SetTime(seconds);
    std::vector<WorldPose> poses(scene_.followers.size());
    for (size_t i = 0; i < poses.size(); ++i) {
      const ScenePose& pose = evaluator_.World(i);
      poses[i].position = pose.translation;
      poses[i].rotation = PoseQuaternion(pose);
    }
    return poses;
  }

 private:
  // A camera record's lens; a camera without one (Crannnberry's) gets the lens every export gives.
  CameraLens Lens(const SceneFollower& follower, std::string& centerOfInterest) const {
    CameraLens lens;
    const double* params = kCameraParams;
    if (follower.camera != kNoIndex) {
      const SceneCamera& camera = scene_.cameras[follower.camera];
      params = camera.params.data();
      if (camera.focalLength) lens.focalLengthCurve = camera.focalLength->name;
      if (camera.centerOfInterest != kNoIndex) centerOfInterest = scene_.followers[camera.centerOfInterest].name;
    }
    lens.focalLength = params[0];
    lens.horizontalAperture = params[1];
    lens.verticalAperture = params[2];
    lens.nearClip = params[3];
    lens.farClip = params[4];
    return lens;
  }

  SceneReading scene_;
  mutable SceneEvaluator evaluator_;  // keeps the poses of one time
};

}  // namespace

std::unique_ptr<SceneMotion> ReadSceneMotion(const NisDocument& doc) { return std::make_unique<EvaluatedScene>(doc); }

std::string SamplingProblem(const SceneMotion& motion, size_t followers) {
  if (!(motion.fps > 0)) return "the frame rate is not a number above 0";
  // In doubles: the range's ends may lie anywhere in 64 bits.
  const double frames = static_cast<double>(motion.lastFrame) - static_cast<double>(motion.firstFrame) + 1;
  if (frames * static_cast<double>(std::max<size_t>(followers, 1)) > static_cast<double>(kMaxSceneSamples))
    return "frames " + std::to_string(motion.firstFrame) + " to " + std::to_string(motion.lastFrame) + " of " +
           std::to_string(followers) + " followers are more than the " + std::to_string(kMaxSceneSamples) +
           " poses a run samples";
  return "";
}

double RotationAngle(const std::array<double, 4>& a, const std::array<double, 4>& b) {
  // The turn from a to b, conj(a) * b: its vector part's length is sin(angle / 2), its w cos.
  const double w = a[3] * b[3] + a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  const double x = a[3] * b[0] - a[0] * b[3] - a[1] * b[2] + a[2] * b[1];
  const double y = a[3] * b[1] + a[0] * b[2] - a[1] * b[3] - a[2] * b[0];
  const double z = a[3] * b[2] - a[0] * b[1] + a[1] * b[0] - a[2] * b[3];
  return 2 * std::atan2(std::sqrt(x * x + y * y + z * z), std::fabs(w));
}

}  // namespace rw
