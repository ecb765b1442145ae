// Runs arbitrary bytes through the whole export road: the .ms3d reader, the scan, every chunk
// writer and the script writer, with the outputs kept in memory. Whatever the model holds, the
// export must finish without reading out of bounds, overflowing or hanging, and a run that
// reports success must have written a NIS file that starts with its FORM head.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "export/ExportDriver.h"
#include "log/ExportLog.h"
#include "model/Ms3dReader.h"
#include "platform/Platform.h"

namespace {

class InMemoryLogWindow final : public rw::LogWindow {
 public:
  void SetText(const std::string&) override {}
  void Repaint(uint32_t) override {}
};

// Files the export opens become growing buffers in memory.
class InMemoryPlatform final : public rw::Platform {
 public:
  struct Output {
    char* bytes = nullptr;
    size_t size = 0;
    ~Output() { std::free(bytes); }
  };

  bool GetSaveFileName(rw::SaveFileRequest&) override { return false; }
  void ShowMessageBox(const char*, const char*, uint32_t) override {}
  std::unique_ptr<rw::LogWindow> CreateLogWindow() override { return std::make_unique<InMemoryLogWindow>(); }
  std::FILE* OpenOutput(const std::string&, const char*) override {
    outputs.push_back(std::make_unique<Output>());
    return open_memstream(&outputs.back()->bytes, &outputs.back()->size);
  }

  std::vector<std::unique_ptr<Output>> outputs;  // the NIS file first, then the script
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rw::Ms3dReadResult read = rw::ReadMs3d(data, size);
  if (!read.ok()) return 0;
  InMemoryPlatform platform;
  rw::SetPlatform(&platform);
  const bool exported = rw::ExportNis("fuzz.nis", read.model.get());
  rw::LogCloseAll();
  rw::SetPlatform(nullptr);
  if (exported && (platform.outputs.empty() || platform.outputs[0]->size < 12 ||
                   std::memcmp(platform.outputs[0]->bytes, "FORM", 4) != 0))
    __builtin_trap();
  return 0;
}
