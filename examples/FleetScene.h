// The example scene: a ship that flies under its fleet, watched by a camera, with a guide
// bone that the exporter ignores, and the events of a short cinematic in the comments.
#ifndef REELWRIGHT_EXAMPLES_FLEETSCENE_H
#define REELWRIGHT_EXAMPLES_FLEETSCENE_H

#include "examples/Ms3dWriter.h"

namespace rw {

// The scene as an .ms3d description; WriteMs3d gives the bytes of examples/fleet.ms3d.
Ms3dFile FleetScene();

}  // namespace rw

#endif
