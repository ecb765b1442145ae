// The script reader on one long line, the shape that once cost quadratic time: a `with` whose
// name runs on, a call with many arguments, and a line of comment dashes inside quotes.
// BM_ScriptLine reports its complexity over the line's length (expected: linear).
#include <benchmark/benchmark.h>

#include <string>

#include "scriptlang/ScriptReader.h"

namespace {

std::string LongLine(size_t length) {
  std::string line = "with ";
  while (line.size() < length / 3) line += "A--B|";
  line += " { f(";
  while (line.size() < 2 * length / 3) line += "\"--\", ";
  line += "1) } -- ";
  line.resize(length, '-');
  return line;
}

void BM_ScriptLine(benchmark::State& state) {
  const std::string line = LongLine(static_cast<size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(rw::ReadScriptText(line));
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ScriptLine)->RangeMultiplier(4)->Range(2500, 160000)->Complexity();

}  // namespace

BENCHMARK_MAIN();
