// NisScene: the record of one export run, and its stages. The export command owns the scene,
// the scene owns the chunk writer; the host owns the model and its bones.
#ifndef REELWRIGHT_EXPORT_NISSCENE_H
#define REELWRIGHT_EXPORT_NISSCENE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/msLib.h"
#include "liteiff/LiteIFF.h"
#include "scene/BoneLookup.h"

namespace rw {

class NisScene {
 public:
  int32_t fps = 0;        // frames per second; never 0 after the scan; unsigned when converted to floating point
  int32_t startTime = 0;  // whole seconds
  int32_t endTime = 0;    // whole seconds; unsigned when converted to floating point
  std::unique_ptr<LiteIFF> iff;  // the run's writer, made and released by ExportNis
  msModel* model = nullptr;      // not owned
  std::vector<msBone*> bones;    // accepted bones, cameras among them, in model order
  std::vector<msBone*> cameras;  // the entries of bones whose names begin with "CAM_"
  std::vector<std::string> bonePaths;    // entry i is the path of bones[i]
  std::vector<std::string> cameraNames;  // entry i is the bare name of cameras[i]
  // The model's bones by name (first in model order wins), built by the scan: the bones do
  // not change during a run, only their keys, so every later lookup is a hash probe.
  BoneLookup lookup;

  // The driver: log window, writer, NIS write, script export, timing. True when the attach,
  // the NIS write and the script export all succeeded.
  bool ExportNis(const char* path, msModel* runModel);
  // The NIS write: the scan, then the FORM "NIS " with its seven chunks. True when the whole
  // chain ran. Needs an attached iff and model.
  bool WriteNisFile();

  bool ScanScene();             // fills fps, times, the four lists and lookup; always true
  bool WriteNisHeader();        // NAME, VERS, INFO; always true
  bool WriteAnimationCurves();  // ANIM; always true
  bool WriteLeaders();          // LEAD; always true
  bool WriteFollowers();        // FOLW; always true
  bool WriteCameras();          // CMRA; always true
  // The .script beside nisPath. False only when the script file cannot be opened.
  bool ExportScript(const char* nisPath);
};

// The clock the driver reads; tests replace it to get a fixed elapsed time. Null restores time().
using ClockFunction = long long (*)();
void SetExportClock(ClockFunction clock);

}  // namespace rw

#endif
