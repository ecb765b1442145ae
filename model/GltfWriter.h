// Writes an animated glTF 2.0 scene as one .glb: nodes in a tree, each with a translation and a
// rotation sampled at the same times, linear between samples, cameras, and extras.
#ifndef REELWRIGHT_MODEL_GLTFWRITER_H
#define REELWRIGHT_MODEL_GLTFWRITER_H

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace rw {

// Extras of one glTF object: properties with a text or a number.
struct GltfExtras {
  std::map<std::string, std::string> texts;
  std::map<std::string, double> numbers;
};

// A perspective camera; it looks down its node's -Z. zfar 0: infinite.
struct GltfCamera {
  double yfov = 0, aspectRatio = 0, znear = 0, zfar = 0;
};

struct GltfOutNode {
  std::string name;
  int parent = -1;  // a node before this one; -1: at the top of the scene
  // Parent-relative samples, one per time of the scene, or none: the node stays at its rest.
  std::vector<std::array<double, 3>> translations;
  std::vector<std::array<double, 4>> rotations;  // unit quaternions x, y, z, w
  std::optional<GltfCamera> camera;
  GltfExtras extras;
};

struct GltfOutScene {
  std::vector<double> times;  // seconds, rising
  std::vector<GltfOutNode> nodes;
  std::string animationName;
  GltfExtras assetExtras, rootExtras;
  GltfExtras sceneExtras;  // the glTF scene's own (a reader joins them to the asset's)
};

// The .glb bytes of the scene; every text is made valid UTF-8 with U+FFFD. A node's rest pose is its first sample.
// Quaternions of neighbouring samples are given the same hemisphere, so every tool turns the short way.
std::string WriteGlb(const GltfOutScene& scene);

}  // namespace rw

#endif
