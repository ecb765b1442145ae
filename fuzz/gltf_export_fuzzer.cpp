// Runs arbitrary bytes through the whole export road from a glTF scene (.gltf text, or a .glb when
// they start with "glTF"), read as the command reads it, then reads back what was written
// (fuzz/WholeRoad.h).
#include <cstddef>
#include <cstdint>
#include <string>

#include "export/GltfExportOptions.h"
#include "fuzz/WholeRoad.h"
#include "model/GltfReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  rw::fuzz::ExportAndReadBack([&] { return std::move(rw::ReadGltf(bytes, rw::GltfExportOptions("")).model); });
  return 0;
}
