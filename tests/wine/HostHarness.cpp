// Plays the modeller for Reelwright.dll under wine (or Windows): loads the DLL by name, gets
// CreatePlugIn, and calls the object's four slots through its table as a host built with
// Microsoft's compiler does. The DLL's imports of GetSaveFileNameA and MessageBoxA are
// redirected to this program, which checks the dialog request field by field, answers it, and
// records the message box. The log window is the DLL's real one: its calls to user32 pass
// through recorders here, and the program finds the window by its title and reads its text.
//
// Usage: reelwright-wine-harness WORKDIR [--export MODEL.ms3d OUT.nis | --pause READY RELEASE]...
//   WORKDIR  an existing folder; the failing export aims at its missing subfolder "missing"
//   --export the whole run on a model file; the window's text is written to OUT.nis + ".log",
//            which scripts/wine-test.sh compares with the Linux command's log
//   --pause  create READY (the log window's screen rectangle) and keep the window painted
//            until RELEASE exists (a screenshot is taken meanwhile)
// Exit code 0 when every check passed.
#include <windows.h>
#include <commdlg.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/msLib.h"
#include "tests/wine/ModelLibStandIn.h"

namespace {

// ---- The host's view of the plug-in object: Microsoft's layout, four slots. ----

#if defined(__i386__)
#define HOST_METHOD __attribute__((thiscall))
#else
#define HOST_METHOD
#endif

struct HostObject;
struct HostTable {
  void* (HOST_METHOD* scalarDeletingDestructor)(HostObject* self, unsigned flags);
  int (HOST_METHOD* getPlugInType)(HostObject* self);
  const char* (HOST_METHOD* getPlugInTitle)(HostObject* self);
  int (HOST_METHOD* runExportCommand)(HostObject* self, msModel* model);
};
struct HostObject {
  const HostTable* table;
};
using CreatePlugInFn = HostObject* (*)();

constexpr unsigned kFreeMemory = 1;
constexpr int kExportPlugInType = 2;

// ---- What the export must show. ----

constexpr const char* kLogTitle = "Export Log...";
constexpr int kLogTemplate = 10000;
constexpr int kLogTextControl = 10000;
constexpr DWORD kLogDialogStyle = 0x80C000C0;  // WS_POPUP | WS_CAPTION | DS_MODALFRAME | DS_SETFONT
constexpr DWORD kLogTextStyle = 0x50B108C4;    // child, visible, border, scroll bars, tab stop,
                                               // multi-line, auto scroll, read-only
constexpr UINT kRepaintFlags = 0x105;          // RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW
constexpr const char* kSuccessText = "Successfully Exported NIS!";
constexpr const char* kFailureText = "Error while exporting NIS...\nWritten file may not be usable...";

// lStructSize: the "version 400" OPENFILENAMEA (everything up to lpTemplateName), which is 76
// bytes in 32-bit Windows and 136 with the 64-bit field sizes and alignment.
constexpr DWORD kRequestSize = sizeof(void*) == 8 ? 136 : 76;
constexpr char kFilter[128] = "NIS Files (*.nis)\0*.nis\0All Files (*.*)\0*.*\0";
constexpr char kDefExt[32] = "nis";
constexpr DWORD kRequestFlags = 0x806;  // overwrite prompt, hide read-only, path must exist

// ---- Checks. ----

int gFailures = 0;

bool Check(bool ok, const std::string& what) {
  if (!ok) {
    ++gFailures;
    std::printf("  FAILED: %s\n", what.c_str());
  }
  return ok;
}

void CheckNumber(long long actual, long long expected, const std::string& what) {
  char got[96];
  std::snprintf(got, sizeof got, ": got %lld (0x%llX), expected %lld (0x%llX)", actual, actual, expected, expected);
  Check(actual == expected, what + got);
}

void CheckText(const std::string& actual, const std::string& expected, const std::string& what) {
  Check(actual == expected, what + ": got \"" + actual + "\", expected \"" + expected + "\"");
}

// ---- What the DLL asks of the host and of user32 during one command. ----

struct Box {
  HWND owner;
  std::string text, caption;
  UINT style;
  bool logWindowUp;  // a log window existed while the box was up
};

struct Calls {
  std::string answer;  // the path the save dialog gives; empty: the user cancels
  int dialogs = 0, created = 0, shown = 0, texts = 0, repaints = 0, destroyed = 0;
  std::vector<Box> boxes;
  std::string lastText;  // the last text set on the log window's control
};

Calls gCalls;
HMODULE gPlugIn = nullptr;
HWND gLogWindow = nullptr;  // the newest log window

BOOL CALLBACK CollectLogWindow(HWND window, LPARAM found) {
  DWORD process = 0;
  GetWindowThreadProcessId(window, &process);
  char title[64] = "";
  GetWindowTextA(window, title, sizeof title);
  if (process == GetCurrentProcessId() && std::strcmp(title, kLogTitle) == 0) {
    reinterpret_cast<std::vector<HWND>*>(found)->push_back(window);
  }
  return TRUE;
}

std::vector<HWND> FindLogWindows() {
  std::vector<HWND> found;
  EnumWindows(CollectLogWindow, reinterpret_cast<LPARAM>(&found));
  return found;
}

BOOL WINAPI FakeGetSaveFileNameA(LPOPENFILENAMEA r) {
  ++gCalls.dialogs;
  if (!Check(r != nullptr, "the save dialog gets a request")) return FALSE;
  const struct {
    const char* name;
    bool ok;
  } fields[] = {
      {"lStructSize", r->lStructSize == kRequestSize}, {"Flags", r->Flags == kRequestFlags},
      {"nMaxFile", r->nMaxFile == 256}, {"nMaxFileTitle", r->nMaxFileTitle == 256},
      {"lpstrFilter (128 bytes)", r->lpstrFilter && std::memcmp(r->lpstrFilter, kFilter, sizeof kFilter) == 0},
      {"lpstrDefExt (32 bytes)", r->lpstrDefExt && std::memcmp(r->lpstrDefExt, kDefExt, sizeof kDefExt) == 0},
      {"lpstrTitle", r->lpstrTitle && std::strcmp(r->lpstrTitle, "Export NIS") == 0},
      {"lpstrFile (starts empty)", r->lpstrFile && r->lpstrFile[0] == '\0'},
      {"lpstrFileTitle (starts empty)", r->lpstrFileTitle && r->lpstrFileTitle[0] == '\0'},
      // The rest is left zero.
      {"hwndOwner", r->hwndOwner == nullptr}, {"hInstance", r->hInstance == nullptr},
      {"lpstrCustomFilter", r->lpstrCustomFilter == nullptr}, {"nMaxCustFilter", r->nMaxCustFilter == 0},
      {"nFilterIndex", r->nFilterIndex == 0}, {"lpstrInitialDir", r->lpstrInitialDir == nullptr},
      {"nFileOffset", r->nFileOffset == 0}, {"nFileExtension", r->nFileExtension == 0},
      {"lCustData", r->lCustData == 0}, {"lpfnHook", r->lpfnHook == nullptr},
      {"lpTemplateName", r->lpTemplateName == nullptr},
  };
  for (const auto& field : fields) Check(field.ok, std::string("save dialog request: ") + field.name);
  const std::string& path = gCalls.answer;
  if (path.empty() || !r->lpstrFile || path.size() >= r->nMaxFile) return FALSE;
  // What the dialog does on OK: the full path, and where its name and extension start.
  std::memcpy(r->lpstrFile, path.c_str(), path.size() + 1);
  const size_t name = path.find_last_of('\\') + 1, dot = path.rfind('.');
  r->nFileOffset = static_cast<WORD>(name);
  r->nFileExtension = static_cast<WORD>(dot == std::string::npos || dot < name ? 0 : dot + 1);
  return TRUE;
}

int WINAPI FakeMessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT style) {
  gCalls.boxes.push_back({owner, text ? text : "(null)", caption ? caption : "(null)", style, !FindLogWindows().empty()});
  return IDOK;
}

// The log window's calls pass through to user32 and are checked on the way.
HWND WINAPI RecordCreateDialogParamA(HINSTANCE module, LPCSTR name, HWND parent, DLGPROC proc, LPARAM param) {
  Check(module == gPlugIn && name == MAKEINTRESOURCEA(kLogTemplate) && parent == nullptr,
        "CreateDialogParamA: template 10000 of the DLL's own resources, without a parent");
  ++gCalls.created;
  return gLogWindow = CreateDialogParamA(module, name, parent, proc, param);
}

BOOL WINAPI RecordShowWindow(HWND window, int command) {
  if (window == gLogWindow) {
    ++gCalls.shown;
    CheckNumber(command, SW_SHOW, "ShowWindow command");
  }
  return ShowWindow(window, command);
}

BOOL WINAPI RecordSetDlgItemTextA(HWND window, int id, LPCSTR text) {
  Check(window == gLogWindow && id == kLogTextControl, "SetDlgItemTextA on control 10000 of the log window");
  ++gCalls.texts;
  gCalls.lastText = text ? text : "";
  return SetDlgItemTextA(window, id, text);
}

BOOL WINAPI RecordRedrawWindow(HWND window, const RECT* rect, HRGN region, UINT flags) {
  Check(window == gLogWindow && !rect && !region, "RedrawWindow of the whole log window");
  CheckNumber(flags, kRepaintFlags, "RedrawWindow flags");
  ++gCalls.repaints;
  return RedrawWindow(window, rect, region, flags);
}

BOOL WINAPI RecordDestroyWindow(HWND window) {
  ++gCalls.destroyed;
  return DestroyWindow(window);
}

// Points the entry of `function` from `dll` in module's import address table at replacement.
bool RedirectImport(HMODULE module, const char* dll, const char* function, const void* replacement) {
  auto* base = reinterpret_cast<BYTE*>(module);
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return false;
  for (auto* entry = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress); entry->Name; ++entry) {
    if (_stricmp(reinterpret_cast<const char*>(base + entry->Name), dll) != 0) continue;
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->OriginalFirstThunk);
    auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + entry->FirstThunk);
    for (; names->u1.AddressOfData; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      auto* byName = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(byName->Name), function) != 0) continue;
      DWORD protection;
      if (!VirtualProtect(&slots->u1.Function, sizeof slots->u1.Function, PAGE_READWRITE, &protection)) return false;
      slots->u1.Function = reinterpret_cast<ULONG_PTR>(replacement);
      VirtualProtect(&slots->u1.Function, sizeof slots->u1.Function, protection, &protection);
      return true;
    }
  }
  return false;
}

// ---- Dialog template 10000 as it stands in the DLL's resources, read back from its bytes. ----

void CheckDialogTemplate() {
  std::printf("[ RUN ] dialog template 10000\n");
  HRSRC resource = FindResourceA(gPlugIn, MAKEINTRESOURCEA(kLogTemplate), MAKEINTRESOURCEA(5));  // RT_DIALOG
  if (!Check(resource != nullptr, "the DLL has dialog resource 10000")) return;
  const auto* bytes = static_cast<const BYTE*>(LockResource(LoadResource(gPlugIn, resource)));
  const DWORD size = SizeofResource(gPlugIn, resource);
  size_t at = 0;
  auto word = [&]() -> unsigned long {
    const unsigned long value = at + 2 <= size ? bytes[at] | bytes[at + 1] << 8 : 0xFFFFFFFFul;
    at += 2;
    return value;
  };
  // A zero-terminated UTF-16 text, or an ordinal (0xFFFF, n) shown as "#n".
  auto text = [&]() -> std::string {
    std::string out;
    unsigned long c = word();
    if (c == 0xFFFF) return "#" + std::to_string(word());
    for (; c != 0 && c != 0xFFFFFFFFul; c = word()) out += static_cast<char>(c);
    return _stricmp(out.c_str(), "EDIT") == 0 ? "#129" : out;  // the Edit class by name or ordinal
  };
  // The fields in their order: W a 16-bit number, D a 32-bit one, T a text, A the alignment of
  // the control to 4 bytes.
  const struct {
    const char* name;
    char kind;
    unsigned long number;
    const char* text;
  } fields[] = {
      {"style", 'D', kLogDialogStyle, nullptr}, {"extended style", 'D', 0, nullptr}, {"controls", 'W', 1, nullptr},
      {"x", 'W', 0, nullptr}, {"y", 'W', 0, nullptr}, {"width", 'W', 277, nullptr}, {"height", 'W', 171, nullptr},
      {"menu", 'T', 0, ""}, {"class", 'T', 0, ""}, {"title", 'T', 0, kLogTitle},
      {"font size", 'W', 8, nullptr}, {"font", 'T', 0, "MS Sans Serif"}, {"", 'A', 0, nullptr},
      {"control style", 'D', kLogTextStyle, nullptr}, {"control extended style", 'D', 0, nullptr},
      {"control x", 'W', 5, nullptr}, {"control y", 'W', 5, nullptr}, {"control width", 'W', 265, nullptr},
      {"control height", 'W', 160, nullptr}, {"control id", 'W', kLogTextControl, nullptr},
      {"control class (#129 is Edit)", 'T', 0, "#129"},
  };
  for (const auto& field : fields) {
    const std::string what = std::string("template ") + field.name;
    if (field.kind == 'A') {
      at = (at + 3) & ~static_cast<size_t>(3);
    } else if (field.kind == 'T') {
      CheckText(text(), field.text, what);
    } else {
      const unsigned long low = word();
      CheckNumber(field.kind == 'D' ? low | word() << 16 : low, field.number, what);
    }
  }
  Check(at <= size, "template fits its resource");
}

// ---- The runs. ----

CreatePlugInFn gCreatePlugIn = nullptr;

std::string ControlText(HWND window) {
  std::string text(static_cast<size_t>(GetWindowTextLengthA(GetDlgItem(window, kLogTextControl))) + 1, '\0');
  text.resize(static_cast<size_t>(GetDlgItemTextA(window, kLogTextControl, &text[0], static_cast<int>(text.size()))));
  return text;
}

// The host's road for one command: create the object, type, title, command, destructor. The
// command is confirmed when a box is expected: then the model is ended, the earlier log window
// replaced by one new window, shown, with a repaint after each text. Returns the window's text.
std::string RunCommand(const char* label, msModel* model, const std::string& answer, const char* box) {
  std::printf("[ RUN ] %s\n", label);
  const bool hadWindow = !FindLogWindows().empty();
  const int destroyedBefore = rwStandIn_DestroyedModelCount();
  gCalls = Calls();
  gCalls.answer = answer;

  HostObject* object = gCreatePlugIn();
  if (!Check(object && object->table, "CreatePlugIn gives an object with a table")) return "";
  const HostTable& slots = *object->table;
  CheckNumber(slots.getPlugInType(object), kExportPlugInType, "GetPlugInType");
  const char* title = slots.getPlugInTitle(object);
  CheckText(title ? title : "(null)", "Reelwright", "GetPlugInTitle");
  const int result = slots.runExportCommand(object, model);
  Check(slots.getPlugInTitle(object) == title, "GetPlugInTitle gives the same pointer after the command");
  Check(slots.scalarDeletingDestructor(object, kFreeMemory) == object, "the destructor slot returns the object");

  const bool confirmed = box != nullptr;
  CheckNumber(result, model ? 0 : -1, "command result");
  CheckNumber(gCalls.dialogs, model ? 1 : 0, "save dialogs");
  CheckNumber(rwStandIn_DestroyedModelCount() - destroyedBefore, confirmed ? 1 : 0, "models destroyed");
  CheckNumber(static_cast<long long>(gCalls.boxes.size()), confirmed ? 1 : 0, "message boxes");
  if (!confirmed) {
    Check(gCalls.created + gCalls.shown + gCalls.texts + gCalls.repaints + gCalls.destroyed == 0 &&
              FindLogWindows().empty(),
          "no log window");
    return "";
  }
  if (gCalls.boxes.size() == 1) {
    const Box& shown = gCalls.boxes[0];
    CheckText(shown.text, box, "box text");
    CheckText(shown.caption, "Reelwright", "box caption");
    CheckNumber(shown.style, MB_OK, "box style");
    Check(shown.owner == nullptr && shown.logWindowUp, "the box has no owner and the log window is up with it");
  }
  CheckNumber(gCalls.destroyed, hadWindow ? 1 : 0, "earlier log windows destroyed");
  CheckNumber(gCalls.created, 1, "log windows made");
  CheckNumber(gCalls.shown, 1, "log windows shown");
  Check(gCalls.texts > 0 && gCalls.repaints == gCalls.texts, "a repaint after each text set");
  const std::vector<HWND> windows = FindLogWindows();
  if (!Check(windows.size() == 1, "exactly one log window, found " + std::to_string(windows.size()))) return "";
  HWND window = windows[0];
  const DWORD frame = WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX;
  CheckNumber(GetWindowLongA(window, GWL_STYLE) & (kLogDialogStyle | WS_VISIBLE | frame), kLogDialogStyle | WS_VISIBLE,
              "log window style: shown, no system menu, fixed frame");
  Check(GetParent(window) == nullptr && GetWindow(window, GW_OWNER) == nullptr, "log window has no parent or owner");
  RECT expected = {0, 0, 277, 171}, client;
  MapDialogRect(window, &expected);
  GetClientRect(window, &client);
  Check(EqualRect(&expected, &client), "log window client area 277x171 dialog units");
  const std::string text = ControlText(window);
  CheckText(text, gCalls.lastText, "log window text against the last text set");
  return text;
}

bool WriteBytes(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

// Keeps the log window painted (this thread owns it, so this thread must pump) until the
// release file appears, at most a minute. The ready file holds the window's screen rectangle
// as "left top width height"; it is written under another name and renamed, so that the
// waiting side never reads half of it.
void Pause(const std::string& ready, const std::string& release) {
  RECT r = {0, 0, 0, 0};
  if (gLogWindow) GetWindowRect(gLogWindow, &r);
  char place[64];
  std::snprintf(place, sizeof place, "%ld %ld %ld %ld\n", r.left, r.top, r.right - r.left, r.bottom - r.top);
  Check(WriteBytes(ready + ".part", place) && MoveFileExA((ready + ".part").c_str(), ready.c_str(), MOVEFILE_REPLACE_EXISTING),
        "pause: ready file written");
  for (int waited = 0; waited < 600 && GetFileAttributesA(release.c_str()) == INVALID_FILE_ATTRIBUTES; ++waited) {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    Sleep(100);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  if (argc < 2 || argc % 3 != 2) {
    std::fprintf(stderr, "usage: %s WORKDIR [--export MODEL.ms3d OUT.nis | --pause READY RELEASE]...\n", argv[0]);
    return 2;
  }
  gPlugIn = LoadLibraryA("Reelwright.dll");
  if (!Check(gPlugIn != nullptr, "load Reelwright.dll, error " + std::to_string(GetLastError()))) return 1;
  gCreatePlugIn = reinterpret_cast<CreatePlugInFn>(reinterpret_cast<void*>(GetProcAddress(gPlugIn, "CreatePlugIn")));
  Check(gCreatePlugIn != nullptr, "Reelwright.dll exports CreatePlugIn");
  const struct {
    const char* dll;
    const char* function;
    const void* replacement;
  } redirects[] = {
      {"comdlg32.dll", "GetSaveFileNameA", reinterpret_cast<const void*>(&FakeGetSaveFileNameA)},
      {"user32.dll", "MessageBoxA", reinterpret_cast<const void*>(&FakeMessageBoxA)},
      {"user32.dll", "CreateDialogParamA", reinterpret_cast<const void*>(&RecordCreateDialogParamA)},
      {"user32.dll", "ShowWindow", reinterpret_cast<const void*>(&RecordShowWindow)},
      {"user32.dll", "SetDlgItemTextA", reinterpret_cast<const void*>(&RecordSetDlgItemTextA)},
      {"user32.dll", "RedrawWindow", reinterpret_cast<const void*>(&RecordRedrawWindow)},
      {"user32.dll", "DestroyWindow", reinterpret_cast<const void*>(&RecordDestroyWindow)},
  };
  for (const auto& call : redirects) {
    Check(RedirectImport(gPlugIn, call.dll, call.function, call.replacement),
          std::string("Reelwright.dll imports ") + call.function + " from " + call.dll);
  }
  if (gFailures) {
    std::printf("cannot set up the host; %d failure(s)\n", gFailures);
    return 1;
  }

  CheckDialogTemplate();
  RunCommand("null model", nullptr, "C:\\unused.nis", nullptr);
  msModel* kept = rwStandIn_CreateModel();
  RunCommand("cancelled dialog", kept, "", nullptr);
  msModel_Destroy(kept);
  // A file Windows cannot open: the failure box over the log window (the log's lines are the
  // ones the plug-in tests pin on Linux).
  RunCommand("output folder missing", rwStandIn_CreateModel(), std::string(argv[1]) + "\\missing\\scene.nis",
             kFailureText);
  for (int i = 2; i + 2 < argc; i += 3) {
    const std::string option = argv[i], first = argv[i + 1], second = argv[i + 2];
    if (option == "--export") {
      msModel* model = rwStandIn_LoadMs3d(first.c_str());
      if (!Check(model != nullptr, "read " + first)) continue;
      const std::string text = RunCommand(("export " + first).c_str(), model, second, kSuccessText);
      Check(WriteBytes(second + ".log", text), "log text written to " + second + ".log");
    } else if (option == "--pause") {
      Pause(first, second);
    } else {
      std::fprintf(stderr, "unknown argument %s\n", option.c_str());
      return 2;
    }
  }

  std::printf("[ RUN ] unload\n");
  gCalls = Calls();
  FreeLibrary(gPlugIn);
  Check(gCalls.destroyed == 1 && FindLogWindows().empty(), "unloading the DLL destroys its log window");
  std::printf("%s: %d failure(s)\n", gFailures ? "FAILED" : "PASSED", gFailures);
  return gFailures ? 1 : 0;
}
