#include "convert/NisToGltf.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "nis/NisFormat.h"

namespace rw {
namespace {

// A camera without a usable near clip gets the one every exported camera has.
constexpr double kDefaultNearClip = kCameraParams[3];

using Quat = std::array<double, 4>;
using Vec = std::array<double, 3>;

Quat Conjugate(const Quat& q) { return {-q[0], -q[1], -q[2], q[3]}; }

Quat Multiply(const Quat& a, const Quat& b) {
  return {a[3] * b[0] + a[0] * b[3] + a[1] * b[2] - a[2] * b[1], a[3] * b[1] - a[0] * b[2] + a[1] * b[3] + a[2] * b[0],
          a[3] * b[2] + a[0] * b[1] - a[1] * b[0] + a[2] * b[3], a[3] * b[3] - a[0] * b[0] - a[1] * b[1] - a[2] * b[2]};
}

Vec Rotate(const Quat& q, const Vec& v) {
  const Quat r = Multiply(Multiply(q, {v[0], v[1], v[2], 0}), Conjugate(q));
  return {r[0], r[1], r[2]};
}

// `world` seen from `parent`: the pose a child node of `parent` needs to stand at `world`.
WorldPose Relative(const WorldPose& parent, const WorldPose& world) {
  const Quat inverse = Conjugate(parent.rotation);
  WorldPose local;
  local.rotation = Multiply(inverse, world.rotation);
  local.position = Rotate(inverse, {world.position[0] - parent.position[0], world.position[1] - parent.position[1],
                                    world.position[2] - parent.position[2]});
  return local;
}

std::optional<GltfCamera> CameraOf(const CameraLens& lens) {
  if (!(lens.focalLength > 0 && lens.horizontalAperture > 0 && lens.verticalAperture > 0)) return std::nullopt;
  GltfCamera camera;
  camera.yfov = 2 * std::atan(lens.verticalAperture / (2 * lens.focalLength));
  camera.aspectRatio = lens.horizontalAperture / lens.verticalAperture;
  camera.znear = lens.nearClip > 0 ? lens.nearClip : kDefaultNearClip;
  camera.zfar = lens.farClip > camera.znear ? lens.farClip : 0;
  return camera;
}

}  // namespace

GltfOutScene ImportToGltf(const SceneMotion& motion, const std::string& script, const std::string& sourceName) {
  const std::vector<ImportedNode>& nodes = motion.importNodes;
  std::map<std::string, std::string> nodeNameOf;  // by follower name: the first follower of a name
  for (const ImportedNode& node : nodes)
    if (node.follower != kNoIndex) nodeNameOf.emplace(motion.followers[node.follower].name, node.name);

  GltfOutScene scene;
  scene.animationName = sourceName;
  scene.assetExtras.texts["comment"] = "OPT_FPS=" + std::to_string(std::lround(motion.fps));
  scene.rootExtras.texts[kExtrasSource] = sourceName;
  if (!script.empty()) scene.rootExtras.texts[kExtrasScript] = script;
  for (const ImportedNode& node : nodes) {
    GltfOutNode out;
    out.name = node.name;
    out.parent = node.parent == kNoIndex ? -1 : static_cast<int>(node.parent);
    if (node.follower != kNoIndex) {
      const MotionFollower& follower = motion.followers[node.follower];
      out.extras.texts[kExtrasNisName] = follower.name;
      if (!follower.objectClass.empty()) out.extras.texts[kOptionSobType] = follower.objectClass;
      if (!follower.blueprint.empty()) out.extras.texts[kOptionSobName] = follower.blueprint;
      if (follower.lens && node.camera) {
        out.camera = CameraOf(*follower.lens);
        if (!follower.lens->focalLengthCurve.empty())
          out.extras.texts[kExtrasFocalCurve] = follower.lens->focalLengthCurve;
      }
      const auto target = nodeNameOf.find(follower.centerOfInterest);
      if (target != nodeNameOf.end()) out.extras.texts[kOptionCenterOfInterest] = target->second;
    }
    scene.nodes.push_back(std::move(out));
  }

  // A node that stands for no follower keeps its rest pose (none): it is where its parent is.
  std::vector<WorldPose> world(nodes.size());
  for (int64_t frame = std::max<int64_t>(motion.firstFrame, 0); frame <= motion.lastFrame && motion.fps > 0; ++frame) {
    const double seconds = static_cast<double>(frame) / motion.fps;
    scene.times.push_back(seconds);
    const std::vector<WorldPose> poses = motion.PosesAt(seconds);
    for (size_t n = 0; n < nodes.size(); ++n) {
      const size_t parent = nodes[n].parent;
      const WorldPose parentPose = parent == kNoIndex ? WorldPose{} : world[parent];
      if (nodes[n].follower == kNoIndex) {
        world[n] = parentPose;
        continue;
      }
      world[n] = poses[nodes[n].follower];
      const WorldPose local = Relative(parentPose, world[n]);
      scene.nodes[n].translations.push_back(local.position);
      scene.nodes[n].rotations.push_back(local.rotation);
    }
  }
  return scene;
}

}  // namespace rw
