#include "export/NisScene.h"

#include <ctime>

#include "export/PlugIn.h"
#include "log/ExportLog.h"
#include "nis/NisFormat.h"

namespace rw {
namespace {

long long SystemClock() { return static_cast<long long>(std::time(nullptr)); }

ClockFunction gClock = SystemClock;

}  // namespace

void SetExportClock(ClockFunction clock) { gClock = clock ? clock : SystemClock; }

bool NisScene::ExportNis(const char* path, msModel* runModel) {
  const long long start = gClock();
  iff.reset();
  bones.clear();
  bonePaths.clear();
  if (LogSectionCount() > 0) LogCloseAll();
  fps = 0;
  startTime = 0;
  endTime = 0;
  model = nullptr;

  LogCreateWindow();
  LogOpenSection();
  LogOpenStage("NIS Export");
  LogPrint("%s\n", kBanner);
  LogPrint("Exporting NIS to \"%s\"...\n", path);
  model = runModel;
  LogPrint("Trying to attach an LiteIFF chunk to the given file...\n");
  iff = std::make_unique<LiteIFF>();
  if (!iff->Attach(path)) {
    LogError(
        "Unable to attach an IFF chunk to given file output!\n"
        "\t-> Make sure that the file is not being accessed by another application\n"
        "\t-> Nothing written...\n");
    iff.reset();
    return false;
  }

  const bool nisWritten = WriteNisFile();
  const bool scriptWritten = ExportScript(path);

  const long long elapsed = gClock() - start;
  LogPrint("Done. Export took about %d seconds.\n", static_cast<int>(elapsed));
  iff.reset();
  return nisWritten && scriptWritten;
}

bool NisScene::WriteNisFile() {
  if (!ScanScene()) return false;
  iff->OpenForm(kChunkForm, kChunkNis, 0);
  // Each stage logs its own trouble; a false result stops the chain and leaves the FORM open.
  if (!WriteNisHeader() || !WriteAnimationCurves() || !WriteLeaders() || !WriteFollowers() || !WriteCameras())
    return false;
  iff->CloseChunk();
  LogEndStage();
  return true;
}

}  // namespace rw
