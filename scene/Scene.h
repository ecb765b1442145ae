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

// Every key of a bone becomes one 32-byte key in each of its seven curves, and a file's chunk
// lengths are 32-bit: no scene with more keys than this can be written. The scan stops giving
// keyless children their parent's keys beyond it, so a model that multiplies keys cannot
// exhaust memory on the way to a refusal.
constexpr uint64_t kMaxSceneKeys = (uint64_t{1} << 32) / (7 * 32);

struct Scene {
  int32_t fps = 0;             // frames per second; never 0 after the scan; unsigned when converted to floating point
  int32_t startTime = 0;       // whole seconds
  int32_t endTime = 0;         // whole seconds; unsigned when converted to floating point
  std::vector<msBone*> bones;  // accepted bones, cameras among them, in model order
  std::vector<std::string> bonePaths;    // entry i is the path of bones[i]
  std::vector<msBone*> cameras;          // the entries of bones whose names begin with "CAM_"
  std::vector<std::string> cameraNames;  // entry i is the bare name of cameras[i]
  std::vector<uint64_t> keyCounts;       // entry i is the number of keys of bones[i]'s curves
  bool keysCapped = false;               // kMaxSceneKeys was reached: some keys were not copied
  // The model's bones by name (first in model order wins). The bones do not change during a
  // run, only their keys, so every lookup after the scan is a hash probe.
  BoneLookup lookup;
};

// The model comment's OPT_FPS as the scan reads it: the number's whole part (low 32 bits),
// 24 when the option is missing (given false) or reads as 0 (zero true).
struct FrameRateOption {
  int32_t fps = 0;
  bool given = false;
  bool zero = false;
};
FrameRateOption ReadFrameRateOption(msModel* model);
FrameRateOption ParseFrameRateOption(const std::string& modelComment);  // the same from the comment's text

// Reads the frame rate, the time range, the accepted bones with their paths and the cameras of
// model, logging what it finds. Gives each keyless child its parent's key times: the one change
// a run makes to the model.
Scene ScanScene(msModel* model);

}  // namespace rw

#endif
