#include "inspect/ImportNames.h"

#include <map>
#include <set>
#include <utility>

#include "io/Utf8.h"
#include "nis/NisFormat.h"
#include "scene/Naming.h"

namespace rw {
namespace {

constexpr const char* kEscape = "_";  // put before a name the exporter would misread

bool Begins(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

// The parts of a follower's name below the top: "FOLW_Root|Fleet|Ship1" gives Fleet, Ship1.
std::vector<std::string> PathParts(const std::string& followerName) {
  const std::string path = Begins(followerName, kFollowerPrefix)
                               ? followerName.substr(std::char_traits<char>::length(kFollowerPrefix))
                               : followerName;
  std::vector<std::string> parts;
  for (size_t start = 0;;) {
    const size_t bar = path.find(kPathSeparator, start);
    parts.push_back(path.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  if (parts.size() > 1 && parts.front() == kPathRoot) parts.erase(parts.begin());
  return parts;
}

// glTF's and Blender's names are UTF-8, and a node's name is one part of a path.
std::string Clean(const std::string& text) {
  std::string name = ValidUtf8(text, kEscape);
  for (char& c : name)
    if (c == kPathSeparator) c = kEscape[0];
  return name.empty() ? kEscape : name;
}

// What the node of a follower is called before it is cut and made unique; empty: not a camera.
std::string CameraName(const SceneReading& scene, const SceneFollower& follower, const std::string& part) {
  std::string name;
  if (follower.camera != kNoIndex && !scene.cameras[follower.camera].name.empty())
    name = Clean(scene.cameras[follower.camera].name);
  else if (follower.camera != kNoIndex || (follower.keys && follower.kind == SceneKind::kCamera))
    name = Clean(part);
  else
    return "";
  return Begins(name, kCameraPrefix) ? name : kCameraPrefix + name;
}

std::string PlainName(const std::string& part) {
  const std::string name = Clean(part);
  return Begins(name, kCameraPrefix) || Begins(name, kIgnoredPrefix) ? kEscape + name : name;
}

// `name` cut so that it and `suffix` together fit a bone name, never inside a character.
std::string Fit(const std::string& name, const std::string& suffix) {
  return name.substr(0, Utf8Prefix(name, kMaxImportedNameBytes - suffix.size())) + suffix;
}

std::string Unique(const std::string& wanted, std::set<std::string>& taken) {
  std::string name = Fit(wanted, "");
  for (int n = 2; taken.count(name) != 0; ++n) name = Fit(wanted, "~" + std::to_string(n));
  taken.insert(name);
  return name;
}

}  // namespace

std::vector<ImportedNode> ImportNodes(const SceneReading& scene) {
  // First the tree: a node is found by its parent and its own part, so that a node met as a
  // parent and later as a follower is one node, and a deep path costs no more than its length.
  std::vector<ImportedNode> nodes;
  std::vector<std::string> parts;  // each node's own part of the name path
  std::map<std::pair<size_t, std::string>, size_t> byParentAndPart;
  for (size_t i = 0; i < scene.followers.size(); ++i) {
    if (scene.followers[i].name == kEmptyFollower) continue;
    size_t parent = kNoIndex;
    for (std::string& part : PathParts(scene.followers[i].name)) {
      auto found = byParentAndPart.find({parent, part});
      if (found == byParentAndPart.end()) {
        found = byParentAndPart.emplace(std::make_pair(parent, part), nodes.size()).first;
        nodes.emplace_back().parent = parent;
        parts.push_back(std::move(part));
      }
      parent = found->second;
    }
    // Two followers of the same name: the second gets a node of its own beside the first.
    if (nodes[parent].follower != kNoIndex) {
      ImportedNode twin;
      twin.parent = nodes[parent].parent;
      nodes.push_back(twin);
      parts.push_back(std::string(parts[parent]));
      parent = nodes.size() - 1;
    }
    nodes[parent].follower = i;
  }
  // Then the names, in the order the nodes were met.
  std::set<std::string> taken;
  for (size_t n = 0; n < nodes.size(); ++n) {
    const size_t follower = nodes[n].follower;
    const std::string camera = follower == kNoIndex ? "" : CameraName(scene, scene.followers[follower], parts[n]);
    nodes[n].camera = !camera.empty();
    nodes[n].name = Unique(nodes[n].camera ? camera : PlainName(parts[n]), taken);
  }
  return nodes;
}

std::vector<size_t> FollowerNodes(const std::vector<ImportedNode>& nodes, size_t followerCount) {
  std::vector<size_t> result(followerCount, kNoIndex);
  for (size_t n = 0; n < nodes.size(); ++n)
    if (nodes[n].follower < followerCount) result[nodes[n].follower] = n;
  return result;
}

std::string ExportedFollowerName(const std::vector<ImportedNode>& nodes, size_t node) {
  std::vector<size_t> down;
  for (size_t n = node; n != kNoIndex; n = nodes[n].parent) down.push_back(n);
  std::string name = std::string(kFollowerPrefix) + kPathRoot;
  for (auto n = down.rbegin(); n != down.rend(); ++n) name += kPathSeparator + nodes[*n].name;
  return name;
}

}  // namespace rw
