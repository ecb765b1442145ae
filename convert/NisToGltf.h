// A NIS file's scene as an animated glTF scene, for any tool that opens glTF: every follower a
// node (parented by its name path), its translation and rotation sampled at every frame of the
// playback range, a camera's follower carrying a glTF camera, classes and the script in extras.
// The nodes are named so that exporting the glTF again gives the same followers (inspect/ImportNames.h)
// and the same motion at every frame.
#ifndef REELWRIGHT_CONVERT_NISTOGLTF_H
#define REELWRIGHT_CONVERT_NISTOGLTF_H

#include <string>

#include "convert/SceneMotion.h"
#include "model/GltfWriter.h"

namespace rw {

// Extras keys beyond the exporter's own options ("Sob Type", "Sob Name", "Center Of Interest",
// and OPT_FPS in the asset's comment).
constexpr const char* kExtrasNisName = "nisName";              // node: the follower's name in the file
constexpr const char* kExtrasScript = "nisScript";             // root: the whole script, as read
constexpr const char* kExtrasSource = "nisFile";               // root: the file imported
constexpr const char* kExtrasFocalCurve = "focalLengthCurve";  // camera node: its zoom curve's name

// The glTF scene of `motion`; `script` is the script's text (empty: none), `sourceName` the
// NIS file's name. Frames before 0 are left out (glTF times start at 0). SamplingProblem of
// `motion` must be empty.
GltfOutScene ImportToGltf(const SceneMotion& motion, const std::string& script, const std::string& sourceName);

}  // namespace rw

#endif
