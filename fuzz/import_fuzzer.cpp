// Feeds arbitrary bytes to the import: a NIS file read, evaluated and written as a .glb, whose
// bytes the glTF reader must then take; and the file compared with itself.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "convert/ImportEvents.h"
#include "convert/NisToGltf.h"
#include "convert/SceneCompare.h"
#include "inspect/NisDocument.h"
#include "model/GltfReader.h"

// Long scenes take long to sample and reach no other code: only scenes of up to a two-hundredth
// of the command's limit (20,000 poses) are sampled.
constexpr size_t kShortSceneFactor = 200;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rw::NisDocument doc;
  std::string error;
  if (!rw::ReadNisDocument(data, size, doc, error)) return 0;
  const std::unique_ptr<rw::SceneMotion> motion = rw::ReadSceneMotion(doc);
  // The tail of the input doubles as the script: kept whole in the extras, its events in the scene's and nodes'.
  const std::string script(reinterpret_cast<const char*>(data) + size / 2, size - size / 2);
  if (!rw::SamplingProblem(*motion, 2 * motion->followers.size() * kShortSceneFactor).empty()) return 0;
  rw::GltfOutScene scene = rw::ImportToGltf(*motion, script, "fuzz.nis");
  rw::ImportEvents(rw::ChooseImportEvents(rw::ReadScriptText(script), rw::ReadScene(doc), motion->importNodes), scene);
  rw::ReadGltf(rw::WriteGlb(scene));
  std::vector<std::string> unmatched;
  rw::CompareScenes(*motion, *motion, rw::CompareOptions{{}, true}, unmatched);
  return 0;
}
