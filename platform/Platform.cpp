#include "platform/Platform.h"

namespace rw {
namespace {

class HeadlessLogWindow final : public LogWindow {
 public:
  void SetText(const std::string&) override {}
  void Repaint(uint32_t) override {}
};

class HeadlessPlatform final : public Platform {
 public:
  bool GetSaveFileName(SaveFileRequest&) override { return false; }
  void ShowMessageBox(const char*, const char*, uint32_t) override {}
  std::unique_ptr<LogWindow> CreateLogWindow() override { return std::make_unique<HeadlessLogWindow>(); }
};

HeadlessPlatform gHeadless;
Platform* gPlatform = nullptr;

}  // namespace

std::FILE* Platform::OpenOutput(const std::string& path, const char* mode) { return std::fopen(path.c_str(), mode); }

Platform& CurrentPlatform() { return gPlatform ? *gPlatform : gHeadless; }
void SetPlatform(Platform* platform) { gPlatform = platform; }

}  // namespace rw
