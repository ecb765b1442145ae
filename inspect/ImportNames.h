// How the followers of a NIS file are named as the objects (nodes) of an imported scene, so that
// exporting the scene again gives every follower back under a name known in advance. Every
// importer names by this one rule: `reelwright import`, `compare --imported`, and the Blender
// add-on through the scene section of `dump --json`.
#ifndef REELWRIGHT_INSPECT_IMPORTNAMES_H
#define REELWRIGHT_INSPECT_IMPORTNAMES_H

#include <cstddef>
#include <string>
#include <vector>

#include "inspect/SceneReading.h"

namespace rw {

// The longest bone name the exporter reads whole (its name buffers hold 32 bytes).
constexpr size_t kMaxImportedNameBytes = 31;

// One node of the imported scene.
struct ImportedNode {
  std::string name;
  size_t parent = kNoIndex;    // in the nodes, always before this one; kNoIndex: at the top
  size_t follower = kNoIndex;  // in scene.followers; kNoIndex: a node that only joins others' name path
  bool camera = false;         // the node is a camera (its name starts with "CAM_")
};

// The nodes for the followers of `scene`, parents first, in the order first met; the exporter's
// placeholder "FOLW_Empty" gets none. A name loses "FOLW_" and a leading "Root|"; each
// "|"-separated part is one node. A follower that a camera record names (or a Crannnberry
// camera) is a camera: its node is "CAM_" and the record's name ("CAM_" not doubled). Any other
// node keeps its part, with "_" in front where it would begin with "CAM_" or "IG_" (which the
// exporter reads as a camera, or skips). Bytes that are not UTF-8 become "_"; a name is cut to
// 31 bytes between characters, and one already given gets "~2", "~3"... within the 31 bytes.
std::vector<ImportedNode> ImportNodes(const SceneReading& scene);

// For each of `followerCount` followers, the index of its node (kNoIndex: none).
std::vector<size_t> FollowerNodes(const std::vector<ImportedNode>& nodes, size_t followerCount);

// The follower name the exporter gives the node at index `node`: "FOLW_Root|" and the names down
// to it, joined by "|".
std::string ExportedFollowerName(const std::vector<ImportedNode>& nodes, size_t node);

}  // namespace rw

#endif
