// Feeds arbitrary bytes to the NIS reader, then runs check and both dumps on whatever it read,
// and plays its scene at a few times.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "inspect/Check.h"
#include "inspect/Dump.h"
#include "inspect/NisDocument.h"
#include "inspect/SceneReading.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rw::NisDocument doc;
  std::string error;
  if (!rw::ReadNisDocument(data, size, doc, error)) return 0;
  std::ostringstream sink;
  for (const rw::Diagnostic& diagnostic : rw::CheckNisDocument(doc))
    sink << rw::FormatDiagnostic("", diagnostic) << '\n';
  // The tail of the input doubles as a script, so that the script check sees odd text too.
  std::string script(reinterpret_cast<const char*>(data) + size / 2, size - size / 2);
  for (const rw::Diagnostic& diagnostic : rw::CheckScriptText(doc, script, "fuzz.script")) {
    sink << rw::FormatDiagnostic("", diagnostic) << '\n';
  }
  rw::WriteDumpText(doc, rw::DumpOptions{true}, sink);
  rw::WriteDumpJson(doc, rw::DumpOptions{true}, sink);
  rw::SceneReading scene = rw::ReadScene(doc);
  rw::SceneEvaluator evaluator(scene);
  for (double time : {scene.start - 1, 0.5 * (scene.start + scene.end), scene.end + 1}) {
    evaluator.SetTime(time);
    for (size_t i = 0; i < scene.followers.size(); ++i) sink << evaluator.World(i).translation[0];
  }
  return 0;
}
