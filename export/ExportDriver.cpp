#include "export/ExportDriver.h"

#include <ctime>

#include "export/PlugIn.h"
#include "liteiff/LiteIFF.h"
#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "platform/Platform.h"
#include "scene/Scene.h"
#include "script/EventScript.h"

namespace rw {
namespace {

long long SystemClock() { return static_cast<long long>(std::time(nullptr)); }

ClockFunction gClock = SystemClock;

// A new log with the run's first lines: a run starts with an empty log in a new window.
void OpenExportLog(const char* path) {
  if (LogSectionCount() > 0) LogCloseAll();
  LogCreateWindow();
  LogOpenSection();
  LogOpenStage("NIS Export");
  LogPrint("%s\n", kBanner);
  LogPrint("Exporting NIS to \"%s\"...\n", path);
}

// A file past the format's 32-bit lengths cannot be written; the scan knows the size already.
bool FitsTheFormat(const Scene& scene) {
  const uint64_t size = PredictNisSize(scene);
  if (!scene.keysCapped && size <= kMaxWritableNisSize) return true;
  LogError(DiagnosticCode::kNisTooLarge,
           "The NIS file would be %s%llu bytes, more than the %llu bytes its 32-bit lengths can describe!\n"
           "\t-> Nothing written...\n",
           scene.keysCapped ? "more than " : "", static_cast<unsigned long long>(size),
           static_cast<unsigned long long>(kMaxWritableNisSize));
  return false;
}

}  // namespace

void SetExportClock(ClockFunction clock) { gClock = clock ? clock : SystemClock; }

bool ExportNis(const char* path, msModel* model) {
  const long long start = gClock();
  OpenExportLog(path);
  LogPrint("Trying to attach an LiteIFF chunk to the given file...\n");
  LiteIFF iff;
  if (!iff.Attach(CurrentPlatform().OpenOutput(path, "wb"))) {
    LogError(DiagnosticCode::kNisOpenFailed,
             "Unable to attach an IFF chunk to given file output!\n"
             "\t-> Make sure that the file is not being accessed by another application\n"
             "\t-> Nothing written...\n");
    return false;
  }

  // The scan is the one stage that changes the model; everything after it reads the scene.
  const Scene scene = ScanScene(model);
  if (!FitsTheFormat(scene)) return false;
  WriteNisForm(iff, scene);
  LogEndStage();
  const bool nisWritten = iff.Close();
  if (!nisWritten)
    LogError(DiagnosticCode::kNisWriteFailed, "Writing the NIS file \"%s\" failed: %s\n\t-> The file is not usable\n",
             path, iff.error().c_str());
  const bool scriptWritten = WriteEventScript(scene, model, path);

  const long long elapsed = gClock() - start;
  LogPrint("Done. Export took about %d seconds.\n", static_cast<int>(elapsed));
  return nisWritten && scriptWritten;
}

}  // namespace rw
