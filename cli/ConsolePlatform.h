// The platform of the command-line program: the save dialog answers with the path from the
// command line (or one made from the model's path), the message box and the log window
// print to the console.
#ifndef REELWRIGHT_CLI_CONSOLEPLATFORM_H
#define REELWRIGHT_CLI_CONSOLEPLATFORM_H

#include <iosfwd>
#include <string>

#include "platform/Platform.h"

namespace rw {

struct ConsoleOptions {
  std::string modelPath;   // gives the output path when outputPath is empty
  std::string outputPath;  // -o as given; empty: none given
  bool force = false;      // replace an existing file instead of refusing
  bool quiet = false;      // no log lines on the console
};

class ConsolePlatform final : public Platform {
 public:
  // out and err must outlive the platform and every log window it makes.
  ConsolePlatform(ConsoleOptions options, std::ostream& out, std::ostream& err);

  // Answers with the output path: -o as given, a last component without a dot gets "." +
  // request.defExt; without -o the model path with its extension replaced. Refuses (false,
  // refusal() says why) a path longer than request.maxFile - 1, a folder, and an existing
  // file when the request asks to confirm overwriting and force is off.
  bool GetSaveFileName(SaveFileRequest& request) override;
  // The success text goes to out, any other text to err, each with a line end (the box says
  // how the export went; the exit code comes from the plug-in's outcome, not from this text).
  void ShowMessageBox(const char* text, const char* caption, uint32_t style) override;
  // A window that streams each printed text to out (CR LF shown as LF), silent when quiet.
  std::unique_ptr<LogWindow> CreateLogWindow() override;

  const std::string& refusal() const { return refusal_; }  // empty unless the dialog refused
  const std::string& chosenPath() const { return chosenPath_; }
  bool boxShown() const { return boxShown_; }
  // Stops the log windows from printing (the end lines that a final LogCloseAll adds).
  void Silence() { options_.quiet = true; }
  bool quiet() const { return options_.quiet; }
  std::ostream& out() const { return out_; }

 private:
  std::string AnswerPath(const SaveFileRequest& request) const;

  ConsoleOptions options_;
  std::ostream& out_;
  std::ostream& err_;
  std::string refusal_;
  std::string chosenPath_;
  bool boxShown_ = false;
};

}  // namespace rw

#endif
