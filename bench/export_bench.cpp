// Export throughput on generated scenes: how the cost of a run grows with bones and keys, and
// how it compares with the disk.
//
// BM_Export runs the whole export (log, scan, NIS file, script) with the headless platform.
// Time is wall time, CPU is the process's; time_per_key is on CPU time. After each export the
// same number of bytes is written with one plain fwrite loop, 1 MiB at a time, to the same
// folder: floor_ms is that wall time and export_per_floor the export's wall time over it, pair
// by pair (the median of the run's pairs). That ratio is the figure to quote: the machine is
// shared, and the two halves of a pair see the same load. Each half writes new files and starts
// after the other's bytes have reached the disk (both untimed), so neither pays for the other. Run with
// --benchmark_repetitions=5 for medians over runs. BM_Stages runs the same stages one by one and reports each one's CPU
// milliseconds, to find the stage that grows faster than the rest. BM_ExportWithWindow gives the log a window that
// copies its whole text on every print, as the real window's control must. With REELWRIGHT_BENCH_KEEP=FOLDER the
// outputs of every row stay in FOLDER, named by the row, so that two builds' bytes can be compared.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "export/ExportDriver.h"
#include "liteiff/LiteIFF.h"
#include "log/ExportLog.h"
#include "model/MemoryModel.h"
#include "nis/NisChunks.h"
#include "platform/Platform.h"
#include "scene/Scene.h"
#include "script/EventScript.h"

namespace {

constexpr int kTopBones = 4;       // fleets: every other bone is a child of one of them
constexpr int kKeylessEvery = 10;  // each tenth ship takes its fleet's keys
constexpr uint32_t kFormNis = rw::MakeChunkId("NIS ");

// A shallow scene: four fleets, two cameras looking at the first fleet, and ships under the
// fleets, each with a sob type and name and one "attack" event naming another ship.
msModel* MakeScene(int boneCount, int keyCount) {
  msModel* model = rw::CreateModel();
  rw::SetModelComment(model, "OPT_FPS=30\r\nNum Events=2\r\nEvent0=0|cameraCut|\"CAM_Main\"\r\nEvent1=1|fade|1, 2\r\n");
  auto addKeys = [keyCount](msBone* bone, int seed) {
    for (int k = 0; k < keyCount; ++k) {
      const float t = static_cast<float>(k);
      rw::AddKeyPair(bone, t + 1, {std::sin(t * 0.1f + seed), std::cos(t * 0.07f) * seed, t},
                     {std::sin(t * 0.05f), 0.0f, std::cos(t * 0.03f + seed)});
    }
  };
  for (int i = 0; i < kTopBones && i < boneCount; ++i) addKeys(rw::AddBone(model, "Fleet" + std::to_string(i)), i);
  const char* cameras[] = {"CAM_Main", "CAM_Chase"};
  for (int i = 0; i < 2 && kTopBones + i < boneCount; ++i) {
    msBone* camera = rw::AddBone(model, cameras[i]);
    rw::SetBoneComment(camera, "Center Of Interest=Fleet0\r\n");
    addKeys(camera, i);
  }
  for (int i = kTopBones + 2; i < boneCount; ++i) {
    const std::string name = "Ship" + std::to_string(i);
    msBone* ship = rw::AddBone(model, name, "Fleet" + std::to_string(i % kTopBones));
    rw::SetBoneComment(ship, "Sob Type=Fighter\r\nSob Name=" + name +
                                 "\r\nNum Events=1\r\nEvent0=" + std::to_string(i % 100) + "|attack|\"Ship" +
                                 std::to_string(boneCount - 1 - i) + "\"\r\n");
    if (i % kKeylessEvery != 0) addKeys(ship, i);
  }
  return model;
}

// The scene's keys once the scan has given keyless ships their fleet's keys.
double KeyCount(int boneCount, int keyCount) { return static_cast<double>(boneCount) * keyCount; }

// Output files in the temporary directory, removed when the object ends. With
// REELWRIGHT_BENCH_KEEP=FOLDER set they go to FOLDER, named by the row, and stay (to compare
// the bytes of two builds).
struct OutputFiles {
  OutputFiles(const char* kind, int bones, int keys) {
    const char* keep = std::getenv("REELWRIGHT_BENCH_KEEP");
    kept = keep && *keep;
    const std::filesystem::path dir = kept ? std::filesystem::path(keep) : std::filesystem::temp_directory_path();
    const std::string stem = kept ? std::string(kind) + "-" + std::to_string(bones) + "x" + std::to_string(keys)
                                  : "reelwright-bench-" + std::to_string(getpid());
    nis = (dir / (stem + ".nis")).string();
    script = (dir / (stem + ".script")).string();
  }
  ~OutputFiles() {
    if (!kept) Remove();
  }
  void Remove() const {
    std::remove(nis.c_str());
    std::remove(script.c_str());
  }
  double NisBytes() const { return static_cast<double>(std::filesystem::file_size(nis)); }
  uint64_t Bytes() const { return std::filesystem::file_size(nis) + std::filesystem::file_size(script); }
  std::string nis, script;
  bool kept = false;
};

void ReportCounters(benchmark::State& state, double nisBytes, double keys) {
  state.counters["nis_bytes"] = nisBytes;
  state.counters["nis_bytes_per_second"] = benchmark::Counter(nisBytes, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["time_per_key"] =
      benchmark::Counter(keys, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Waits until the file's bytes are on the disk, so that the next timed write does not share
// the disk with this one's write-back.
void SyncFile(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return;
  fdatasync(fd);
  close(fd);
}

// Wall seconds to write bytes with one plain fwrite loop to path, or -1 when that fails.
double FloorSeconds(const std::string& path, uint64_t bytes) {
  static const std::vector<char> block(size_t(1) << 20, 'x');
  std::remove(path.c_str());
  const Clock::time_point start = Clock::now();
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return -1;
  bool written = true;
  for (uint64_t left = bytes; left > 0 && written;) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(left, block.size()));
    written = std::fwrite(block.data(), 1, n, file) == n;
    left -= n;
  }
  written = std::fclose(file) == 0 && written;
  const double seconds = SecondsSince(start);
  SyncFile(path);
  return written ? seconds : -1;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n == 0 ? 0.0 : n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

void BM_Export(benchmark::State& state) {
  const int boneCount = static_cast<int>(state.range(0));
  const int keyCount = static_cast<int>(state.range(1));
  OutputFiles files("export", boneCount, keyCount);
  const std::string floorPath = files.nis + ".floor";
  std::vector<double> floorSeconds, ratios;
  bool ok = true;
  for (auto _ : state) {
    state.PauseTiming();
    msModel* model = MakeScene(boneCount, keyCount);  // the export adds keys: a fresh model each time
    files.Remove();  // a new file, as a first export makes (and a write through a temporary file)
    state.ResumeTiming();
    const Clock::time_point start = Clock::now();
    ok = rw::ExportNis(files.nis.c_str(), model) && ok;
    const double exportSeconds = SecondsSince(start);
    state.PauseTiming();
    msModel_Destroy(model);
    SyncFile(files.nis);
    SyncFile(files.script);
    const double floor = FloorSeconds(floorPath, files.Bytes());
    ok = floor > 0 && ok;
    floorSeconds.push_back(floor);
    ratios.push_back(exportSeconds / floor);
    state.ResumeTiming();
  }
  std::remove(floorPath.c_str());
  if (!ok) state.SkipWithError("the export or the floor's plain write failed");
  ReportCounters(state, files.NisBytes(), KeyCount(boneCount, keyCount));
  state.counters["floor_ms"] = Median(floorSeconds) * 1000.0;
  state.counters["export_per_floor"] = Median(ratios);
  state.counters["log_bytes"] = static_cast<double>(rw::LogSectionText(0).size());
}

// A window whose control takes a copy of the whole section on every print.
class CopyingWindow final : public rw::LogWindow {
 public:
  void SetText(const std::string& text) override { shown_ = text; }
  void Repaint(uint32_t) override { benchmark::DoNotOptimize(shown_.data()); }

 private:
  std::string shown_;
};

class CopyingPlatform final : public rw::Platform {
 public:
  bool GetSaveFileName(rw::SaveFileRequest&) override { return false; }
  void ShowMessageBox(const char*, const char*, uint32_t) override {}
  std::unique_ptr<rw::LogWindow> CreateLogWindow() override { return std::make_unique<CopyingWindow>(); }
};

void BM_ExportWithWindow(benchmark::State& state) {
  CopyingPlatform platform;
  rw::SetPlatform(&platform);
  BM_Export(state);
  rw::LogCloseAll();
  rw::SetPlatform(nullptr);
}

// CPU time of the process: the machine is shared, so wall time says little about one stage.
double ProcessMilliseconds() { return static_cast<double>(std::clock()) * 1000.0 / CLOCKS_PER_SEC; }

// The driver's steps done by hand, each stage timed on its own (CPU milliseconds).
void BM_Stages(benchmark::State& state) {
  const int boneCount = static_cast<int>(state.range(0));
  const int keyCount = static_cast<int>(state.range(1));
  OutputFiles files("stages", boneCount, keyCount);
  const char* names[] = {"scan_ms", "header_ms", "anim_ms", "lead_ms", "folw_ms", "cmra_ms", "script_ms"};
  double totals[7] = {};
  for (auto _ : state) {
    msModel* model = MakeScene(boneCount, keyCount);
    if (rw::LogSectionCount() > 0) rw::LogCloseAll();
    rw::LogCreateWindow();
    rw::LogOpenSection();
    rw::LogOpenStage("NIS Export");
    rw::LiteIFF iff;
    if (!iff.Attach(files.nis.c_str())) {
      state.SkipWithError("cannot write the output file");
      msModel_Destroy(model);
      break;
    }
    int stage = 0;
    auto timed = [&](auto&& run) {
      const double start = ProcessMilliseconds();
      run();
      totals[stage++] += ProcessMilliseconds() - start;
    };
    rw::Scene scene;
    timed([&] { scene = rw::ScanScene(model); });
    iff.OpenForm(rw::kChunkForm, kFormNis, 0);
    timed([&] { rw::WriteNisHeader(iff, scene); });
    timed([&] { rw::WriteAnimationCurves(iff, scene); });
    timed([&] { rw::WriteLeaders(iff, scene); });
    timed([&] { rw::WriteFollowers(iff, scene); });
    timed([&] { rw::WriteCameras(iff, scene); });
    iff.CloseChunk();
    rw::LogEndStage();
    timed([&] { rw::WriteEventScript(scene, model, files.nis); });
    msModel_Destroy(model);
  }
  for (int i = 0; i < 7; ++i)
    state.counters[names[i]] = benchmark::Counter(totals[i], benchmark::Counter::kAvgIterations);
  state.counters["nis_bytes"] = files.NisBytes();
}

// Bones x keys per bone: NIS files from 0.3 MB up to about 230 MB. The rows with 10 and with
// 100 keys each run from 100 to 10,000 bones: their time per key should stay flat.
void Sizes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"bones", "keys"});
  b->Args({100, 10})->Args({100, 100})->Args({100, 1000})->Args({1000, 10})->Args({1000, 100})->Args({1000, 1000});
  b->Args({10000, 10})->Args({10000, 100});
  b->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Export)->Apply(Sizes);
// Stage by stage, with 20,000 bones as well: a stage that is quadratic in the bones takes
// four times as long there as with 10,000.
BENCHMARK(BM_Stages)->Apply(Sizes)->Args({20000, 10})->Iterations(1);
BENCHMARK(BM_ExportWithWindow)
    ->ArgNames({"bones", "keys"})
    ->Args({1000, 10})
    ->Args({10000, 10})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
