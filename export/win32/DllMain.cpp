// Start-up of Reelwright.dll: the export runs on the Win32 platform, whose log window comes
// from this DLL's own resources.
#include <windows.h>
#undef GetSaveFileName  // <commdlg.h>'s A/W macro would rename the platform's member

#include "platform/Platform.h"
#include "platform/win32/Win32Platform.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(module);
    static rw::Win32Platform platform(module);
    rw::SetPlatform(&platform);
  }
  return TRUE;
}
