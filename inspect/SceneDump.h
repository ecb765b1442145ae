// The scene reading shown as JSON: the "scene" section of `dump --json`, and `dump --frames`,
// every follower's world pose at every frame. docs/dump-json.md describes both shapes.
#ifndef REELWRIGHT_INSPECT_SCENEDUMP_H
#define REELWRIGHT_INSPECT_SCENEDUMP_H

#include <ostream>
#include <string>
#include <vector>

#include "inspect/SceneReading.h"
#include "inspect/TextFormat.h"

namespace rw {

// Writes the key "scene" and its object into an open JSON object.
void WriteSceneSection(const SceneReading& scene, JsonWriter& json);

// Streams one JSON document, one line per frame from scene.firstFrame to scene.lastFrame, with
// the world pose of the followers named in `names` (every follower when empty) in that order.
// A name matches a follower's record name; the first follower of a name is taken. Returns
// false, with nothing written and the first name that matches none in `unknown`, when a name
// matches no follower.
bool WriteFramesJson(const SceneReading& scene, const std::vector<std::string>& names, std::ostream& out,
                     std::string& unknown);

}  // namespace rw

#endif
