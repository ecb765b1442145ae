// The platform of the command-line program: the save dialog answers with the path from the
// command line (or one made from the model's path), the message box and the log window
// print to the console.
#ifndef REELWRIGHT_CLI_CONSOLEPLATFORM_H
#define REELWRIGHT_CLI_CONSOLEPLATFORM_H

#include <iosfwd>
#include <string>

#include "cli/StagedFiles.h"
#include "platform/Platform.h"

namespace rw {

struct ConsoleOptions {
  std::string nisPath;  // the answer to the save dialog, chosen and checked before the run
  bool quiet = false;   // no log lines on the console
};

class ConsolePlatform final : public Platform {
 public:
  // out, err and staged must outlive the platform and every log window it makes.
  ConsolePlatform(ConsoleOptions options, StagedFiles& staged, std::ostream& out, std::ostream& err);

  // Answers with options.nisPath. Refuses (false, refusal() says why) a path longer than
  // request.maxFile - 1.
  bool GetSaveFileName(SaveFileRequest& request) override;
  // The success text goes to out, any other text to err, each with a line end (the box says
  // how the export went; the exit code comes from the plug-in's outcome, not from this text).
  void ShowMessageBox(const char* text, const char* caption, uint32_t style) override;
  // A window that streams each printed text to out (CR LF shown as LF), silent when quiet.
  std::unique_ptr<LogWindow> CreateLogWindow() override;
  // A staged file that is put in place only when the whole run succeeded.
  std::FILE* OpenOutput(const std::string& path, const char* mode) override;

  const std::string& refusal() const { return refusal_; }  // empty unless the dialog refused
  // Stops the log windows from printing (the end lines that a final LogCloseAll adds).
  void Silence() { options_.quiet = true; }
  bool quiet() const { return options_.quiet; }
  std::ostream& out() const { return out_; }

 private:
  ConsoleOptions options_;
  StagedFiles& staged_;
  std::ostream& out_;
  std::ostream& err_;
  std::string refusal_;
};

}  // namespace rw

#endif
