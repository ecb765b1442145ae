// Writes the benchmark's kind of scene as a .ms3d file, to measure the command line on it:
// make_bench_model BONES KEYS OUT.ms3d (1000 1000 gives a 32 MB model and a 225 MB NIS).
// Fleets on top, ships under them, each with keys; the events and comments of the in-memory
// benchmark scene are left out: they do not change what the run's memory grows with.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "examples/Ms3dWriter.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: make_bench_model BONES KEYS OUT.ms3d\n");
    return 2;
  }
  const int bones = std::atoi(argv[1]), keys = std::atoi(argv[2]);
  constexpr int kFleets = 4;
  constexpr float kFps = 30;
  rw::Ms3dFile file;
  file.fps = kFps;
  file.totalFrames = keys;
  for (int i = 0; i < bones; ++i) {
    rw::Ms3dJoint joint;
    joint.name = (i < kFleets ? "Fleet" : "Ship") + std::to_string(i);
    if (i >= kFleets) joint.parentName = "Fleet" + std::to_string(i % kFleets);
    for (int k = 0; k < keys; ++k) {
      const float t = static_cast<float>(k), seconds = rw::FrameToSeconds(k + 1, kFps);
      joint.positionKeys.push_back({seconds, {std::sin(t * 0.1f + i), std::cos(t * 0.07f) * i, t}});
      joint.rotationKeys.push_back({seconds, {std::sin(t * 0.05f), 0.0f, std::cos(t * 0.03f + i)}});
    }
    file.joints.push_back(std::move(joint));
  }
  if (!rw::WriteMs3dFile(file, argv[3])) {
    std::fprintf(stderr, "make_bench_model: cannot write %s\n", argv[3]);
    return 1;
  }
  return 0;
}
