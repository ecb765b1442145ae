// Runs arbitrary bytes through the whole export road: the .ms3d reader, the scan, every chunk
// writer and the script writer, with the outputs kept in memory. Whatever the model holds, the
// export must finish without reading out of bounds, overflowing or hanging, and a run that
// reports success must have written a NIS file that starts with its FORM head.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
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

// Files the export opens are files in memory (memfd), ordinary streams in every other way;
// a second descriptor of each keeps it readable after the export has closed its stream.
class InMemoryPlatform final : public rw::Platform {
 public:
  ~InMemoryPlatform() override {
    for (int fd : outputs) close(fd);
  }

  bool GetSaveFileName(rw::SaveFileRequest&) override { return false; }
  void ShowMessageBox(const char*, const char*, uint32_t) override {}
  std::unique_ptr<rw::LogWindow> CreateLogWindow() override { return std::make_unique<InMemoryLogWindow>(); }
  std::FILE* OpenOutput(const std::string& path, const char*) override {
    const int fd = memfd_create(path.c_str(), 0);
    if (fd < 0) return nullptr;
    outputs.push_back(dup(fd));
    return fdopen(fd, "wb");
  }
  // The first bytes of output index, as many as fit.
  std::string Head(size_t index, size_t size) const {
    std::string bytes(size, '\0');
    const ssize_t got = index < outputs.size() ? pread(outputs[index], &bytes[0], size, 0) : -1;
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
  }

  std::vector<int> outputs;  // the NIS file first, then the script
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
  if (exported && platform.Head(0, 4) != "FORM") __builtin_trap();
  return 0;
}
