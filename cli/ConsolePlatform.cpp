#include "cli/ConsolePlatform.h"

#include <cstdio>
#include <cstring>
#include <ostream>

#include "export/PlugIn.h"
#include "io/Diagnostic.h"

namespace rw {
namespace {

class ConsoleLogWindow final : public LogWindow {
 public:
  explicit ConsoleLogWindow(const ConsolePlatform& platform) : platform_(platform) {}
  void SetText(const std::string&) override {}
  void Repaint(uint32_t) override {}
  // The log converts every LF to CR LF; the console wants plain line ends back, and the
  // names in the log shown with their control bytes escaped (the log file keeps them).
  void Printed(const std::string& text) override {
    if (platform_.quiet()) return;
    std::string plain;
    plain.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
      plain += text[i];
    }
    platform_.out() << TerminalText(plain) << std::flush;
  }

 private:
  const ConsolePlatform& platform_;
};

}  // namespace

ConsolePlatform::ConsolePlatform(ConsoleOptions options, StagedFiles& staged, std::ostream& out, std::ostream& err)
    : options_(std::move(options)), staged_(staged), out_(out), err_(err) {}

bool ConsolePlatform::GetSaveFileName(SaveFileRequest& request) {
  refusal_.clear();
  const size_t longest = request.maxFile > 0 ? request.maxFile - 1 : 0;
  if (options_.nisPath.size() > longest) {
    refusal_ = "has " + std::to_string(options_.nisPath.size()) + " characters, more than the " +
               std::to_string(longest) + " the save dialog takes";
    return false;
  }
  std::snprintf(request.file, request.maxFile, "%s", options_.nisPath.c_str());
  return true;
}

std::FILE* ConsolePlatform::OpenOutput(const std::string& path, const char* mode) { return staged_.Open(path, mode); }

void ConsolePlatform::ShowMessageBox(const char* text, const char* /*caption*/, uint32_t /*style*/) {
  (std::strcmp(text, kSuccessText) == 0 ? out_ : err_) << text << "\n" << std::flush;
}

std::unique_ptr<LogWindow> ConsolePlatform::CreateLogWindow() { return std::make_unique<ConsoleLogWindow>(*this); }

}  // namespace rw
