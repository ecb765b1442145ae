// The platform of the plug-in DLL: the common save-file dialog, the message box and the log
// window as a modeless dialog from template 10000 in the DLL's own resources.
#ifndef REELWRIGHT_PLATFORM_WIN32_WIN32PLATFORM_H
#define REELWRIGHT_PLATFORM_WIN32_WIN32PLATFORM_H

#include <cstdint>
#include <memory>

#include "platform/Platform.h"

namespace rw {

class Win32Platform final : public Platform {
 public:
  // resourceModule: the HINSTANCE of the module that holds dialog template 10000 (not owned).
  explicit Win32Platform(void* resourceModule);

  // GetSaveFileNameA with the request copied field for field; no owner window.
  bool GetSaveFileName(SaveFileRequest& request) override;
  // MessageBoxA without an owner window.
  void ShowMessageBox(const char* text, const char* caption, uint32_t style) override;
  // A modeless dialog without a parent, shown at once. When the dialog cannot be made the
  // window object still exists and shows nothing.
  std::unique_ptr<LogWindow> CreateLogWindow() override;

 private:
  void* resourceModule_;
};

// The lStructSize handed to GetSaveFileNameA for a requested size: the 32-bit version-400
// size stands for the version-400 layout of this build's OPENFILENAMEA (76 bytes on 32-bit
// Windows, 136 on 64-bit); any other value is passed through.
uint32_t OpenFileNameStructSize(uint32_t requested);

}  // namespace rw

#endif
