// Runs arbitrary bytes through the whole export road from an .ms3d model: the reader, the scan,
// every chunk writer and the script writer, then reads back what was written (fuzz/WholeRoad.h).
#include <cstddef>
#include <cstdint>

#include "fuzz/WholeRoad.h"
#include "model/Ms3dReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rw::fuzz::ExportAndReadBack([&] { return std::move(rw::ReadMs3d(data, size).model); });
  return 0;
}
