#include "convert/ImportNames.h"

#include <cstring>
#include <map>
#include <set>

#include "model/GltfWriter.h"
#include "scene/Naming.h"

namespace rw {
namespace {

// The parts of a follower's name below the top: "FOLW_Root|Fleet|Ship1" gives Fleet, Ship1.
std::vector<std::string> PathParts(const std::string& followerName) {
  std::string path =
      HasPrefix(followerName, kFollowerPrefix) ? followerName.substr(std::strlen(kFollowerPrefix)) : followerName;
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    const size_t bar = path.find(kPathSeparator, start);
    parts.push_back(path.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  if (parts.size() > 1 && parts.front() == kPathRoot) parts.erase(parts.begin());
  return parts;
}

// `name` cut so that it and `suffix` together fit a bone name, never inside a character.
std::string Fit(const std::string& name, const std::string& suffix) {
  return name.substr(0, Utf8Prefix(name, kMaxImportedNameBytes - suffix.size())) + suffix;
}

// glTF names are UTF-8: a byte of another code page becomes "_".
std::string NodeName(const std::string& original, bool camera) {
  std::string part = ValidUtf8(original, "_");
  if (part.empty()) part = "_";
  if (camera && !HasPrefix(part, kCameraPrefix)) part = kCameraPrefix + part;
  if (HasPrefix(part, kIgnoredPrefix)) part = "_" + part;
  return part;
}

std::string Unique(const std::string& wanted, const std::set<std::string>& taken) {
  std::string name = Fit(wanted, "");
  for (int n = 2; taken.count(name) != 0; ++n) name = Fit(wanted, "~" + std::to_string(n));
  return name;
}

}  // namespace

std::vector<ImportedNode> ImportNodes(const std::vector<std::string>& names, const std::vector<bool>& isCamera) {
  // Keyed by the original parts down to the node, so a node met as a parent and later as a
  // follower (or a camera's) is one node.
  std::map<std::string, bool> cameraPaths;
  for (size_t i = 0; i < names.size(); ++i) {
    std::string key;
    for (const std::string& part : PathParts(names[i])) key += part + kPathSeparator;
    cameraPaths[key] = cameraPaths[key] || (i < isCamera.size() && isCamera[i]);
  }
  std::vector<ImportedNode> nodes;
  std::map<std::string, int> byKey;
  std::set<std::string> taken;
  for (size_t i = 0; i < names.size(); ++i) {
    std::string key;
    int parent = -1;
    for (const std::string& part : PathParts(names[i])) {
      key += part + kPathSeparator;
      auto found = byKey.find(key);
      if (found == byKey.end()) {
        ImportedNode node{Unique(NodeName(part, cameraPaths[key]), taken), parent, -1};
        taken.insert(node.name);
        found = byKey.emplace(key, static_cast<int>(nodes.size())).first;
        nodes.push_back(node);
      }
      parent = found->second;
    }
    // Two followers of the same name: the second gets a node of its own beside the first.
    if (nodes[static_cast<size_t>(parent)].follower >= 0) {
      ImportedNode twin = nodes[static_cast<size_t>(parent)];
      twin.name = Unique(twin.name, taken);
      taken.insert(twin.name);
      nodes.push_back(twin);
      parent = static_cast<int>(nodes.size()) - 1;
    }
    nodes[static_cast<size_t>(parent)].follower = static_cast<int>(i);
  }
  return nodes;
}

std::string ExportedFollowerName(const std::vector<ImportedNode>& nodes, int node) {
  std::string path;
  for (int n = node; n >= 0; n = nodes[static_cast<size_t>(n)].parent)
    path = kPathSeparator + nodes[static_cast<size_t>(n)].name + path;
  return kFollowerPrefix + std::string(kPathRoot) + path;
}

std::vector<std::string> NamesAfterImport(const std::vector<std::string>& names, const std::vector<bool>& isCamera) {
  const std::vector<ImportedNode> nodes = ImportNodes(names, isCamera);
  std::vector<std::string> result(names.size());
  for (size_t n = 0; n < nodes.size(); ++n)
    if (nodes[n].follower >= 0)
      result[static_cast<size_t>(nodes[n].follower)] = ExportedFollowerName(nodes, static_cast<int>(n));
  return result;
}

}  // namespace rw
