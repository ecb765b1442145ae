// What the export needs of the window system: the save-file dialog, the message box and the
// log window. The core asks CurrentPlatform(); the plug-in DLL installs the Win32 version,
// the command-line program the console one, tests their own.
#ifndef REELWRIGHT_PLATFORM_PLATFORM_H
#define REELWRIGHT_PLATFORM_PLATFORM_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace rw {

constexpr uint32_t kOfnOverwritePrompt = 0x2;
constexpr uint32_t kOfnHideReadOnly = 0x4;
constexpr uint32_t kOfnPathMustExist = 0x800;
constexpr uint32_t kMbOk = 0;
constexpr uint32_t kRdwInvalidate = 0x1;
constexpr uint32_t kRdwErase = 0x4;
constexpr uint32_t kRdwUpdateNow = 0x100;
// The save-file request's structure size as the exporter states it: the size of the
// pre-Windows-2000 ("version 400") OPENFILENAMEA of 32-bit Windows.
constexpr uint32_t kOpenFileNameVersion400Size32 = 76;
constexpr int kLogDialogTemplate = 10000;
constexpr int kLogTextControl = 10000;

// The save-file request, field for field what the Win32 version puts into OPENFILENAMEA.
// The buffers belong to the caller and outlive the call.
struct SaveFileRequest {
  uint32_t structSize = 0;
  const char* filter = nullptr;  // pairs of zero-terminated texts, closed by an empty one
  uint32_t filterIndex = 0;
  char* file = nullptr;  // in: the initial text; out: the chosen path
  uint32_t maxFile = 0;
  char* fileTitle = nullptr;
  uint32_t maxFileTitle = 0;
  const char* initialDir = nullptr;
  const char* title = nullptr;
  uint32_t flags = 0;
  const char* defExt = nullptr;
};

// The log window: made from dialog template 10000 and shown when created, destroyed with the object.
class LogWindow {
 public:
  virtual ~LogWindow() = default;
  virtual void SetText(const std::string& text) = 0;  // replaces the whole text of control 10000
  virtual void Repaint(uint32_t flags) = 0;           // repaints before it returns
  // Each converted text as the log appends it, in order; a console shows the run this way.
  virtual void Printed(const std::string& /*text*/) {}
};

class Platform {
 public:
  virtual ~Platform() = default;
  // Blocks. True: the user confirmed and request.file holds the path. False: no file chosen.
  virtual bool GetSaveFileName(SaveFileRequest& request) = 0;
  // Blocks until dismissed; nothing is returned.
  virtual void ShowMessageBox(const char* text, const char* caption, uint32_t style) = 0;
  // Never null.
  virtual std::unique_ptr<LogWindow> CreateLogWindow() = 0;
  // Opens a file the export writes (mode "wb" or "wt"); null, with errno set, when it cannot.
  // The default opens path itself; the command line writes to a new file beside it instead
  // and puts it in place only when the whole run succeeded.
  virtual std::FILE* OpenOutput(const std::string& path, const char* mode);
};

// The platform in force: the one last installed, else a headless one (cancels the dialog,
// shows nothing).
Platform& CurrentPlatform();
// Installs platform (not owned; it must outlive its use); null restores the headless one.
void SetPlatform(Platform* platform);

}  // namespace rw

#endif
