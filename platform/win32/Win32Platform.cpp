#include "platform/win32/Win32Platform.h"

#include <windows.h>

#include <commdlg.h>
// <commdlg.h> maps GetSaveFileName to GetSaveFileNameA, which would rename our own member.
#undef GetSaveFileName

#include <cstddef>
#include <string>

namespace rw {
namespace {

// The version-400 OPENFILENAMEA ends with lpTemplateName; the Windows 2000 fields after it
// (pvReserved, dwReserved, FlagsEx) are not part of the request.
constexpr uint32_t kOpenFileNameVersion400Size = offsetof(OPENFILENAMEA, lpTemplateName) + sizeof(LPCSTR);
#if defined(_WIN32) && !defined(_WIN64)
static_assert(kOpenFileNameVersion400Size == kOpenFileNameVersion400Size32,
              "the 32-bit version-400 OPENFILENAMEA is 76 bytes");
#endif

// The log window has no behaviour of its own: the default dialog handling does everything.
INT_PTR CALLBACK LogDialogProc(HWND, UINT, WPARAM, LPARAM) { return FALSE; }

class Win32LogWindow final : public LogWindow {
 public:
  explicit Win32LogWindow(HINSTANCE module) {
    window_ = CreateDialogParamA(module, MAKEINTRESOURCEA(kLogDialogTemplate), nullptr, LogDialogProc, 0);
    if (window_) ShowWindow(window_, SW_SHOW);
  }
  ~Win32LogWindow() override {
    if (window_) DestroyWindow(window_);
  }
  Win32LogWindow(const Win32LogWindow&) = delete;
  Win32LogWindow& operator=(const Win32LogWindow&) = delete;

  void SetText(const std::string& text) override {
    if (window_) SetDlgItemTextA(window_, kLogTextControl, text.c_str());
  }
  void Repaint(uint32_t flags) override {
    if (window_) RedrawWindow(window_, nullptr, nullptr, flags);
  }

 private:
  HWND window_ = nullptr;
};

}  // namespace

uint32_t OpenFileNameStructSize(uint32_t requested) {
  return requested == kOpenFileNameVersion400Size32 ? kOpenFileNameVersion400Size : requested;
}

Win32Platform::Win32Platform(void* resourceModule) : resourceModule_(resourceModule) {}

bool Win32Platform::GetSaveFileName(SaveFileRequest& request) {
  OPENFILENAMEA dialog = {};
  dialog.lStructSize = OpenFileNameStructSize(request.structSize);
  dialog.hwndOwner = nullptr;
  dialog.hInstance = nullptr;
  dialog.lpstrFilter = request.filter;
  dialog.lpstrCustomFilter = nullptr;
  dialog.nMaxCustFilter = 0;
  dialog.nFilterIndex = request.filterIndex;
  dialog.lpstrFile = request.file;
  dialog.nMaxFile = request.maxFile;
  dialog.lpstrFileTitle = request.fileTitle;
  dialog.nMaxFileTitle = request.maxFileTitle;
  dialog.lpstrInitialDir = request.initialDir;
  dialog.lpstrTitle = request.title;
  dialog.Flags = request.flags;
  dialog.nFileOffset = 0;
  dialog.nFileExtension = 0;
  dialog.lpstrDefExt = request.defExt;
  dialog.lCustData = 0;
  dialog.lpfnHook = nullptr;
  dialog.lpTemplateName = nullptr;
  return GetSaveFileNameA(&dialog) != 0;
}

void Win32Platform::ShowMessageBox(const char* text, const char* caption, uint32_t style) {
  MessageBoxA(nullptr, text, caption, style);
}

std::unique_ptr<LogWindow> Win32Platform::CreateLogWindow() {
  return std::make_unique<Win32LogWindow>(static_cast<HINSTANCE>(resourceModule_));
}

}  // namespace rw
