// How the followers of a NIS file are named as nodes of an imported scene, so that exporting the
// scene again gives every follower back under a name known in advance.
#ifndef REELWRIGHT_CONVERT_IMPORTNAMES_H
#define REELWRIGHT_CONVERT_IMPORTNAMES_H

#include <cstddef>
#include <string>
#include <vector>

namespace rw {

// The longest bone name the exporter reads whole (its name buffers hold 32 bytes).
constexpr size_t kMaxImportedNameBytes = 31;

// One node of the imported scene: its name, its parent's index (-1 at the top) and the follower it
// stands for (-1 for a node that only joins the path of others).
struct ImportedNode {
  std::string name;
  int parent = -1;
  int follower = -1;
};

// The nodes for followers named `names` (as the file has them), `isCamera` telling which are a
// camera's. A name loses "FOLW_" and a leading "Root|"; each "|"-separated part is one node, in
// the order first met, parents first. A camera's own node gets "CAM_" in front when it lacks it,
// a node that would begin with "IG_" (which the exporter skips) gets "_" in front; a name is cut
// to 31 bytes, keeping its start, and one already given gets "~2", "~3"... within the 31 bytes.
std::vector<ImportedNode> ImportNodes(const std::vector<std::string>& names, const std::vector<bool>& isCamera);

// The follower name the exporter gives the node at index `node`: "FOLW_Root|" and the names down
// to it, joined by "|".
std::string ExportedFollowerName(const std::vector<ImportedNode>& nodes, int node);

// For each of `names`, the name its follower has after an import and an export.
std::vector<std::string> NamesAfterImport(const std::vector<std::string>& names, const std::vector<bool>& isCamera);

}  // namespace rw

#endif
