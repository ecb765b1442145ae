#include "cli/ConsolePlatform.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "export/PlugIn.h"
#include "io/PathText.h"

namespace rw {
namespace {

class ConsoleLogWindow final : public LogWindow {
 public:
  explicit ConsoleLogWindow(const ConsolePlatform& platform) : platform_(platform) {}
  void SetText(const std::string&) override {}
  void Repaint(uint32_t) override {}
  // The log converts every LF to CR LF; the console wants plain line ends back.
  void Printed(const std::string& text) override {
    if (platform_.quiet()) return;
    std::string plain;
    plain.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
      plain += text[i];
    }
    platform_.out() << plain << std::flush;
  }

 private:
  const ConsolePlatform& platform_;
};

}  // namespace

ConsolePlatform::ConsolePlatform(ConsoleOptions options, std::ostream& out, std::ostream& err)
    : options_(std::move(options)), out_(out), err_(err) {}

std::string ConsolePlatform::AnswerPath(const SaveFileRequest& request) const {
  const std::string ext = request.defExt ? request.defExt : "";
  if (options_.outputPath.empty()) return ReplaceExtension(options_.modelPath, ext);
  const std::string& path = options_.outputPath;
  return HasExtension(path) || ext.empty() ? path : path + "." + ext;
}

bool ConsolePlatform::GetSaveFileName(SaveFileRequest& request) {
  refusal_.clear();
  chosenPath_ = AnswerPath(request);
  const size_t longest = request.maxFile > 0 ? request.maxFile - 1 : 0;
  std::error_code error;
  if (chosenPath_.size() > longest) {
    refusal_ = "output path \"" + chosenPath_ + "\" has " + std::to_string(chosenPath_.size()) +
               " characters, more than " + std::to_string(longest);
  } else if (std::filesystem::is_directory(chosenPath_, error)) {
    refusal_ = "output path \"" + chosenPath_ + "\" is a folder";
  } else if ((request.flags & kOfnOverwritePrompt) && !options_.force &&
             std::filesystem::exists(chosenPath_, error)) {
    refusal_ = "output file \"" + chosenPath_ + "\" exists; use --force to replace it";
  }
  if (!refusal_.empty()) return false;
  std::snprintf(request.file, request.maxFile, "%s", chosenPath_.c_str());
  return true;
}

void ConsolePlatform::ShowMessageBox(const char* text, const char* /*caption*/, uint32_t /*style*/) {
  boxShown_ = true;
  (std::strcmp(text, kSuccessText) == 0 ? out_ : err_) << text << "\n" << std::flush;
}

std::unique_ptr<LogWindow> ConsolePlatform::CreateLogWindow() { return std::make_unique<ConsoleLogWindow>(*this); }

}  // namespace rw
