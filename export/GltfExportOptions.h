// How the export reads a glTF scene: key times become frames at the rate the scan will give the
// scene, a camera's bind pose leaves room for the half turn the curves add to it, and a scene
// too large for the file is refused before its keys are read.
#ifndef REELWRIGHT_EXPORT_GLTFEXPORTOPTIONS_H
#define REELWRIGHT_EXPORT_GLTFEXPORTOPTIONS_H

#include <string>

#include "model/GltfReader.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "scene/Naming.h"
#include "scene/Scene.h"

namespace rw {

// The reading options of an export of the named animation (empty: the first).
inline GltfReadOptions GltfExportOptions(const std::string& animation) {
  GltfReadOptions options;
  options.animation = animation;
  options.framesPerSecond = [](const std::string& comment) { return ParseFrameRateOption(comment).fps; };
  options.exportTurnY = [](const std::string& name) {
    return HasPrefix(name, kCameraPrefix) ? static_cast<double>(kCameraHalfTurn) : 0.0;
  };
  options.exported = [](const std::string& name) { return !HasPrefix(name, kIgnoredPrefix); };
  options.maxNisSize = kMaxWritableNisSize;
  return options;
}

}  // namespace rw

#endif
