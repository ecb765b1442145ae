// `dump --frames` on a game-sized scene: 13,000 frames at 30 per second, followers nested by
// name path, every fifth leader riding a cubic motion path, every tenth follower a look-at rig.
// BM_Frames reads the file and streams every follower's pose at every frame into a counting
// sink; it reports frames per second and the bytes of JSON. Run with
// --benchmark_repetitions=5 for medians over runs.
#include <benchmark/benchmark.h>

#include <cmath>
#include <ostream>
#include <streambuf>
#include <string>

#include "inspect/NisDocument.h"
#include "inspect/SceneDump.h"
#include "inspect/SceneReading.h"
#include "tests/support/ByteBuilder.h"

namespace {

using rw::test::Bytes;
using rw::test::Chunk;

constexpr uint32_t kFps = 30, kLastFrame = 13000;
constexpr int kKeysPerCurve = 200;
constexpr int kPathEvery = 5, kRigEvery = 10, kNesting = 4;

// Counts what it is given and keeps none of it.
class CountingBuffer : public std::streambuf {
 public:
  size_t count = 0;

 protected:
  std::streamsize xsputn(const char*, std::streamsize n) override {
    count += size_t(n);
    return n;
  }
  int_type overflow(int_type c) override {
    ++count;
    return c;
  }
};

std::string GameSizedFile(int followers) {
  const double lastTime = double(kLastFrame) / kFps;
  const char* const slots[6] = {"translateX", "translateY", "translateZ", "rotateX", "rotateY", "rotateZ"};
  Bytes anim, nurb, path, lead, folw;
  int curveCount = 0, pathCount = 0;
  for (int f = 0; f < followers; ++f) {
    for (const char* slot : slots) {
      anim.Text("ANIM_" + std::to_string(f) + "_" + slot).U32(kKeysPerCurve);
      for (int k = 0; k < kKeysPerCurve; ++k) {
        anim.F64(lastTime * k / (kKeysPerCurve - 1)).F64(std::sin(k * 0.1 + f)).F32(1).F32(0).F32(1).F32(0);
      }
      anim.U32(0).U32(0);
      ++curveCount;
    }
    const std::string id = std::to_string(f);
    const bool onPath = f % kPathEvery == 0;
    if (onPath) {
      nurb.Text("curve" + id).U32(3).U32(1).U32(8);
      for (int p = 0; p < 8; ++p) nurb.F64(p * 1000.0).F64(std::sin(p) * 500).F64(std::cos(p + f) * 800).F64(1);
      nurb.U32(10);
      for (double knot : {0, 0, 0, 1, 2, 3, 4, 5, 5, 5}) nurb.F64(knot);
      path.Text("path" + id).U8(1).U32(2).U32(1).Text("ANIM_" + id + "_translateX").Text("").Text("").Text("");
      path.F64(0).F64(lastTime).Text("curve" + id).U8(0).U32(0);
      ++pathCount;
    }
    lead.Text("LEAD_" + id).Text(onPath ? "path" + id : "");
    for (const char* slot : slots) lead.Text("ANIM_" + id + "_" + slot);
    for (int i = 0; i < 6; ++i) lead.F64(0);
    lead.Raw(" ZYX");
    std::string name = "Root";
    for (int depth = 0; depth <= f % kNesting; ++depth) name += "|N" + std::to_string(f - f % kNesting + depth);
    const bool rig = f % kRigEvery == kRigEvery - 1;
    folw.Text("FOLW_" + name).Text("LEAD_" + id).Text(rig ? "camera" : "Ship").Text(rig ? "" : "Hgn_Scout");
    for (int i = 0; i < 6; ++i) folw.Text(rig && i >= 3 ? "N" + std::to_string(f - 1) + "_group" : "");
    for (int i = 0; i < 6; ++i) folw.F64(0);
    folw.Raw(" ZYX");
  }
  // Rigs aim at "...|N<f-1>_view": every such follower gets a view beside it.
  int viewCount = 0;
  Bytes views;
  for (int f = kRigEvery - 1; f < followers; f += kRigEvery) {
    views.Text("FOLW_Root|N" + std::to_string(f - 1) + "_view").Text("LEAD_0").Text("camera_target").Text("");
    for (int i = 0; i < 6; ++i) views.Text("");
    for (int i = 0; i < 6; ++i) views.F64(0);
    views.Raw(" ZYX");
    ++viewCount;
  }
  return Chunk(
      "FORM", "NIS " + Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
                  Chunk("INFO", Bytes().U32(kFps).U32(1).U32(kLastFrame).s) +
                  Chunk("ANIM", Bytes().U32(curveCount).s + anim.s) + Chunk("NURB", Bytes().U32(pathCount).s + nurb.s) +
                  Chunk("PATH", Bytes().U32(pathCount).s + path.s) + Chunk("LEAD", Bytes().U32(followers).s + lead.s) +
                  Chunk("FOLW", Bytes().U32(followers + viewCount).s + folw.s + views.s) +
                  Chunk("CMRA", Bytes().U32(0).s));
}

void BM_Frames(benchmark::State& state) {
  const std::string file = GameSizedFile(int(state.range(0)));
  size_t bytes = 0;
  int64_t frames = 0;
  for (auto _ : state) {
    rw::NisDocument doc;
    std::string error;
    if (!rw::ReadNisDocument(reinterpret_cast<const uint8_t*>(file.data()), file.size(), doc, error) ||
        !doc.faults.empty()) {
      state.SkipWithError("the generated file does not read cleanly");
      return;
    }
    rw::SceneReading scene = rw::ReadScene(doc);
    CountingBuffer sink;
    std::ostream out(&sink);
    std::string unknown;
    rw::WriteFramesJson(scene, {}, out, unknown);
    bytes = sink.count;
    frames += scene.lastFrame - scene.firstFrame + 1;
  }
  state.counters["frames_per_s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
  state.counters["json_MB"] = double(bytes) / 1e6;
  state.counters["nis_MB"] = double(file.size()) / 1e6;
}
BENCHMARK(BM_Frames)->Arg(30)->Arg(300)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
