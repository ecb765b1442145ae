// The script's events as extras of the imported glTF scene, where the exporter reads events:
// "Num Events" and "Event0", "Event1", ... ("seconds|function|arguments"), the global ones in
// the scene's extras and a `with NAME` block's in the node NAME became. Exporting the scene again
// writes the same events into the script beside the NIS file.
#ifndef REELWRIGHT_CONVERT_IMPORTEVENTS_H
#define REELWRIGHT_CONVERT_IMPORTEVENTS_H

#include <string>
#include <vector>

#include "inspect/ScriptEvents.h"
#include "model/GltfWriter.h"

namespace rw {

// The modeller's comments, and so the extras an event list joins, hold at most this many bytes.
constexpr size_t kEventCommentBytes = 1023;

// Puts the chosen events into `scene` (nodes as made from ImportNodes, in their order), each
// list after the extras already there, as many as fit a comment of 1,023 bytes. Returns what was
// left out, one line each: the events that do not fit, then what the choice left out; the whole
// script stays in the root's extras.
std::vector<std::string> ImportEvents(const ImportEventChoice& choice, GltfOutScene& scene);

}  // namespace rw

#endif
