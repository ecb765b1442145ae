// The scene of one export run: what the scan found in the model. The scan fills it once; every
// later stage (the chunk writers, the script writer) reads it as const.
#ifndef REELWRIGHT_SCENE_SCENE_H
#define REELWRIGHT_SCENE_SCENE_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/msLib.h"
#include "scene/BoneLookup.h"

namespace rw {

struct Scene {
  int32_t fps = 0;        // frames per second; never 0 after the scan; unsigned when converted to floating point
  int32_t startTime = 0;  // whole seconds
  int32_t endTime = 0;    // whole seconds; unsigned when converted to floating point
  std::vector<msBone*> bones;            // accepted bones, cameras among them, in model order
  std::vector<std::string> bonePaths;    // entry i is the path of bones[i]
  std::vector<msBone*> cameras;          // the entries of bones whose names begin with "CAM_"
  std::vector<std::string> cameraNames;  // entry i is the bare name of cameras[i]
  // The model's bones by name (first in model order wins). The bones do not change during a
  // run, only their keys, so every lookup after the scan is a hash probe.
  BoneLookup lookup;
};

// Reads the frame rate, the time range, the accepted bones with their paths and the cameras of
// model, logging what it finds. Gives each keyless child its parent's key times: the one change
// a run makes to the model.
Scene ScanScene(msModel* model);

}  // namespace rw

#endif
