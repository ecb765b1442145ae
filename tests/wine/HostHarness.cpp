// Plays the modeller for Reelwright.dll under wine (or Windows): loads the DLL by name, gets
// CreatePlugIn, and calls the object's four slots through its table as a host built with
// Microsoft's compiler does. The DLL's imports of GetSaveFileNameA and MessageBoxA are
// redirected to this program, which checks the dialog request field by field, answers it, and
// records the message box. The log window is the DLL's real one: its calls to user32 pass
// through recorders here, and the program finds the window by its title and reads its text.
//
// Usage: reelwright-wine-harness WORKDIR [--export MODEL.ms3d OUT.nis [--pause READY RELEASE]]...
//   WORKDIR  an existing, empty folder for the built-in cases
//   --export the whole run on a model file; the window's text is written to OUT.nis + ".log"
//   --pause  once the exports before it are done: create READY, keep the window painted until
//            RELEASE exists (a screenshot is taken meanwhile)
// Exit code 0 when every check passed.
#include <windows.h>
#include <commdlg.h>

#include <cstddef>
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
constexpr const char* kSuccessText = "Successfully Exported NIS!";
constexpr const char* kFailureText = "Error while exporting NIS...\nWritten file may not be usable...";
constexpr const char* kRule = "========================";

// lStructSize: the "version 400" OPENFILENAMEA (everything up to lpTemplateName), which is 76
// bytes in 32-bit Windows and 136 with the 64-bit field sizes and alignment.
#if defined(_WIN64)
constexpr DWORD kRequestSize = 136;
#else
constexpr DWORD kRequestSize = 76;
#endif
constexpr char kFilter[128] = "NIS Files (*.nis)\0*.nis\0All Files (*.*)\0*.*\0";
constexpr char kDefExt[32] = "nis";
constexpr DWORD kRequestFlags = 0x806;  // overwrite prompt, hide read-only, path must exist

// ---- Check reporting. ----

int gFailures = 0;

void Check(bool ok, const std::string& what) {
  if (!ok) {
    ++gFailures;
    std::printf("  FAILED: %s\n", what.c_str());
  }
}

std::string Quoted(const std::string& text) {  // C-style escapes, for readable failures
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '\r') out += "\\r";
    else if (c == '\n') out += "\\n";
    else if (c == '\t') out += "\\t";
    else if (c == '"' || c == '\\') (out += '\\') += static_cast<char>(c);
    else if (c < 0x20 || c >= 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else out += static_cast<char>(c);
  }
  return out + "\"";
}

void CheckText(const std::string& actual, const std::string& expected, const std::string& what) {
  Check(actual == expected, what + ": got " + Quoted(actual) + ", expected " + Quoted(expected));
}

// ---- The redirected dialog and box. ----

struct DialogAnswer {
  bool cancel = true;
  std::string path;
};

struct Box {
  HWND owner;
  std::string text, caption;
  UINT style;
  bool logWindowShown;  // a log window existed while the box was up
};

DialogAnswer gAnswer;
int gDialogCalls = 0;
std::vector<std::string> gRequestProblems;
std::vector<Box> gBoxes;

std::vector<HWND> FindLogWindows();

void CheckRequest(const OPENFILENAMEA& r) {
  struct Field {
    const char* name;
    bool ok;
  };
  const Field fields[] = {
      {"lStructSize", r.lStructSize == kRequestSize},
      {"hwndOwner", r.hwndOwner == nullptr},
      {"hInstance", r.hInstance == nullptr},
      {"lpstrFilter (128 bytes)", r.lpstrFilter && std::memcmp(r.lpstrFilter, kFilter, sizeof kFilter) == 0},
      {"lpstrCustomFilter", r.lpstrCustomFilter == nullptr},
      {"nMaxCustFilter", r.nMaxCustFilter == 0},
      {"nFilterIndex", r.nFilterIndex == 0},
      {"lpstrFile (starts empty)", r.lpstrFile && r.lpstrFile[0] == '\0'},
      {"nMaxFile", r.nMaxFile == 256},
      {"lpstrFileTitle (starts empty)", r.lpstrFileTitle && r.lpstrFileTitle[0] == '\0'},
      {"nMaxFileTitle", r.nMaxFileTitle == 256},
      {"lpstrInitialDir", r.lpstrInitialDir == nullptr},
      {"lpstrTitle", r.lpstrTitle && std::strcmp(r.lpstrTitle, "Export NIS") == 0},
      {"Flags", r.Flags == kRequestFlags},
      {"nFileOffset", r.nFileOffset == 0},
      {"nFileExtension", r.nFileExtension == 0},
      {"lpstrDefExt (32 bytes)", r.lpstrDefExt && std::memcmp(r.lpstrDefExt, kDefExt, sizeof kDefExt) == 0},
      {"lCustData", r.lCustData == 0},
      {"lpfnHook", r.lpfnHook == nullptr},
      {"lpTemplateName", r.lpTemplateName == nullptr},
  };
  for (const Field& field : fields) {
    if (!field.ok) gRequestProblems.push_back(field.name);
  }
}

BOOL WINAPI FakeGetSaveFileNameA(LPOPENFILENAMEA request) {
  ++gDialogCalls;
  if (!request) {
    gRequestProblems.push_back("null request");
    return FALSE;
  }
  CheckRequest(*request);
  if (gAnswer.cancel || !request->lpstrFile || gAnswer.path.size() >= request->nMaxFile) return FALSE;
  // What the dialog does on OK: the full path, and where its name and extension start.
  std::memcpy(request->lpstrFile, gAnswer.path.c_str(), gAnswer.path.size() + 1);
  const size_t slash = gAnswer.path.find_last_of("\\/");
  const size_t name = slash == std::string::npos ? 0 : slash + 1;
  const size_t dot = gAnswer.path.rfind('.');
  request->nFileOffset = static_cast<WORD>(name);
  request->nFileExtension = static_cast<WORD>(dot == std::string::npos || dot < name ? 0 : dot + 1);
  return TRUE;
}

int WINAPI FakeMessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT style) {
  gBoxes.push_back({owner, text ? text : "(null)", caption ? caption : "(null)", style, !FindLogWindows().empty()});
  return IDOK;
}

// The log window's calls pass through to user32 and are checked on the way: the dialog from
// template 10000 of the DLL without a parent, shown with SW_SHOW, its text set on control
// 10000, each text followed by a repaint of the whole window with flags 0x105.
struct WindowCalls {
  HMODULE plugIn = nullptr;
  HWND dialog = nullptr;  // the newest log window
  int created = 0, shown = 0, texts = 0, repaints = 0, destroyed = 0;
  std::string lastText;
  std::vector<std::string> problems;
};
WindowCalls gWindowCalls;

HWND WINAPI RecordCreateDialogParamA(HINSTANCE module, LPCSTR name, HWND parent, DLGPROC proc, LPARAM param) {
  WindowCalls& calls = gWindowCalls;
  if (module != calls.plugIn) calls.problems.push_back("CreateDialogParamA: not the DLL's own resources");
  if (name != MAKEINTRESOURCEA(kLogTemplate)) calls.problems.push_back("CreateDialogParamA: not template 10000");
  if (parent != nullptr) calls.problems.push_back("CreateDialogParamA: has a parent");
  ++calls.created;
  calls.dialog = CreateDialogParamA(module, name, parent, proc, param);
  return calls.dialog;
}

BOOL WINAPI RecordShowWindow(HWND window, int command) {
  WindowCalls& calls = gWindowCalls;
  if (window == calls.dialog) {
    ++calls.shown;
    if (command != SW_SHOW) calls.problems.push_back("ShowWindow: not SW_SHOW but " + std::to_string(command));
  }
  return ShowWindow(window, command);
}

BOOL WINAPI RecordSetDlgItemTextA(HWND window, int id, LPCSTR text) {
  WindowCalls& calls = gWindowCalls;
  if (window != calls.dialog || id != kLogTextControl) calls.problems.push_back("SetDlgItemTextA: not control 10000 of the log");
  ++calls.texts;
  calls.lastText = text ? text : "";
  return SetDlgItemTextA(window, id, text);
}

BOOL WINAPI RecordRedrawWindow(HWND window, const RECT* rect, HRGN region, UINT flags) {
  WindowCalls& calls = gWindowCalls;
  if (window != calls.dialog || rect || region || flags != 0x105) {
    calls.problems.push_back("RedrawWindow: not the whole log window with 0x105 but flags " + std::to_string(flags));
  }
  ++calls.repaints;
  return RedrawWindow(window, rect, region, flags);
}

BOOL WINAPI RecordDestroyWindow(HWND window) {
  ++gWindowCalls.destroyed;
  return DestroyWindow(window);
}

// Points the entry of `function` from `dll` in module's import address table at replacement.
bool RedirectImport(HMODULE module, const char* dll, const char* function, const void* replacement) {
  auto* base = reinterpret_cast<BYTE*>(module);
  auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
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
      DWORD oldProtection;
      if (!VirtualProtect(&slots->u1.Function, sizeof slots->u1.Function, PAGE_READWRITE, &oldProtection)) return false;
      slots->u1.Function = reinterpret_cast<ULONG_PTR>(replacement);
      VirtualProtect(&slots->u1.Function, sizeof slots->u1.Function, oldProtection, &oldProtection);
      return true;
    }
  }
  return false;
}

// ---- The log window. ----

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

std::string ControlText(HWND window) {
  HWND control = GetDlgItem(window, kLogTextControl);
  if (!control) return "(no control 10000)";
  std::string text(static_cast<size_t>(GetWindowTextLengthA(control)) + 1, '\0');
  const int length = GetDlgItemTextA(window, kLogTextControl, &text[0], static_cast<int>(text.size()));
  text.resize(static_cast<size_t>(length < 0 ? 0 : length));
  return text;
}

std::string RectText(const RECT& r) {
  return std::to_string(r.left) + "," + std::to_string(r.top) + " " + std::to_string(r.right - r.left) + "x" +
         std::to_string(r.bottom - r.top);
}

// The one log window of the last run, checked for its look; null (and a failure) when there is
// not exactly one.
HWND TheLogWindow() {
  const std::vector<HWND> windows = FindLogWindows();
  Check(windows.size() == 1, "exactly one log window, found " + std::to_string(windows.size()));
  if (windows.size() != 1) return nullptr;
  HWND window = windows[0];
  const DWORD style = static_cast<DWORD>(GetWindowLongA(window, GWL_STYLE));
  char hex[64];
  std::snprintf(hex, sizeof hex, "0x%08lX", static_cast<unsigned long>(style));
  Check((style & kLogDialogStyle) == kLogDialogStyle, std::string("log window style has 0x80C000C0: ") + hex);
  Check(style & WS_VISIBLE, std::string("log window is shown: ") + hex);
  Check(!(style & (WS_SYSMENU | WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX)),
        std::string("log window has no system menu and a fixed frame: ") + hex);
  Check(GetParent(window) == nullptr && GetWindow(window, GW_OWNER) == nullptr, "log window has no parent or owner");

  HWND control = GetDlgItem(window, kLogTextControl);
  Check(control != nullptr, "log window has control 10000");
  if (control) {
    char className[16] = "";
    GetClassNameA(control, className, sizeof className);
    Check(_stricmp(className, "Edit") == 0, std::string("control 10000 is an edit control: ") + className);
    const DWORD controlStyle = static_cast<DWORD>(GetWindowLongA(control, GWL_STYLE));
    std::snprintf(hex, sizeof hex, "0x%08lX", static_cast<unsigned long>(controlStyle));
    // An edit control takes WS_BORDER out of its style when it is made and draws the border
    // itself; CheckDialogTemplate sees the bit as the resource states it.
    Check((controlStyle & (kLogTextStyle & ~WS_BORDER)) == (kLogTextStyle & ~WS_BORDER),
          std::string("control style has 0x50B108C4 but for WS_BORDER: ") + hex);
    // Placement in dialog units, as the template gives it, against pixels on the screen. The
    // dialog converts position and size separately, so the size goes through the conversion
    // as a corner of its own.
    RECT expected = {5, 5, 265, 160};
    MapDialogRect(window, &expected);
    expected.right += expected.left;
    expected.bottom += expected.top;
    RECT actual;
    GetWindowRect(control, &actual);
    MapWindowPoints(nullptr, window, reinterpret_cast<POINT*>(&actual), 2);
    Check(EqualRect(&expected, &actual), "control 10000 at 5,5 size 265x160 dialog units: " + RectText(actual) +
                                             " expected " + RectText(expected));
  }
  RECT client = {0, 0, 277, 171};
  MapDialogRect(window, &client);
  RECT actualClient;
  GetClientRect(window, &actualClient);
  Check(EqualRect(&client, &actualClient), "log window client area 277x171 dialog units: " + RectText(actualClient) +
                                               " expected " + RectText(client));
  return window;
}

// Dialog template 10000 as it stands in the DLL's resources, read back from its bytes.
void CheckDialogTemplate(HMODULE plugIn) {
  std::printf("[ RUN ] dialog template 10000\n");
  HRSRC resource = FindResourceA(plugIn, MAKEINTRESOURCEA(kLogTemplate), MAKEINTRESOURCEA(5));  // RT_DIALOG
  Check(resource != nullptr, "the DLL has dialog resource 10000");
  if (!resource) return;
  const auto* bytes = static_cast<const BYTE*>(LockResource(LoadResource(plugIn, resource)));
  const DWORD size = SizeofResource(plugIn, resource);
  size_t at = 0;
  auto word = [&]() -> unsigned {
    unsigned value = at + 2 <= size ? bytes[at] | bytes[at + 1] << 8 : 0xFFFFFFFFu;
    at += 2;
    return value;
  };
  auto dword = [&]() -> unsigned long { unsigned long low = word(); return low | static_cast<unsigned long>(word()) << 16; };
  // A zero-terminated UTF-16 text, or an ordinal (0xFFFF, n) shown as "#n".
  auto text = [&]() -> std::string {
    std::string out;
    unsigned c = word();
    if (c == 0xFFFF) return "#" + std::to_string(word());
    for (; c != 0 && c != 0xFFFFFFFFu; c = word()) out += static_cast<char>(c);
    return out;
  };
  auto align = [&]() { at = (at + 3) & ~static_cast<size_t>(3); };

  Check(dword() == kLogDialogStyle, "template style 0x80C000C0");
  Check(dword() == 0, "template extended style 0");
  Check(word() == 1, "template has one control");
  const unsigned x = word(), y = word(), cx = word(), cy = word();
  Check(x == 0 && y == 0 && cx == 277 && cy == 171, "template at 0,0 size 277x171");
  CheckText(text(), "", "template menu");
  CheckText(text(), "", "template class");
  CheckText(text(), kLogTitle, "template title");
  Check(word() == 8, "template font size 8");
  CheckText(text(), "MS Sans Serif", "template font");
  align();
  Check(dword() == kLogTextStyle, "control style 0x50B108C4");
  Check(dword() == 0, "control extended style 0");
  const unsigned cxPos = word(), cyPos = word(), cWidth = word(), cHeight = word();
  Check(cxPos == 5 && cyPos == 5 && cWidth == 265 && cHeight == 160, "control at 5,5 size 265x160");
  Check(word() == 10000, "control id 10000");
  const std::string controlClass = text();
  Check(_stricmp(controlClass.c_str(), "EDIT") == 0 || controlClass == "#129", "control class EDIT: " + controlClass);
  Check(at <= size, "template fits its resource");
}

// ---- The runs. ----

struct Api {
  HMODULE modelLib = nullptr;
  HMODULE plugIn = nullptr;
  CreatePlugInFn createPlugIn = nullptr;
  rwStandIn_LoadMs3dFn loadMs3d = nullptr;
  rwStandIn_CreateModelFn createModel = nullptr;
  rwStandIn_AddBoneFn addBone = nullptr;
  rwStandIn_AddKeyPairFn addKeyPair = nullptr;
  rwStandIn_SetModelCommentFn setModelComment = nullptr;
  rwStandIn_DestroyedModelCountFn destroyedModelCount = nullptr;
  decltype(&msModel_Destroy) destroyModel = nullptr;
};
Api gApi;

template <typename Fn>
bool Resolve(HMODULE module, const char* name, Fn& fn) {
  fn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  Check(fn != nullptr, std::string("export ") + name);
  return fn != nullptr;
}

// A small scene: a ship flying a straight line and a camera watching it, 2 seconds at 24 fps.
msModel* BuildScene() {
  msModel* model = gApi.createModel();
  gApi.setModelComment(model, "OPT_FPS=24");
  msBone* ship = gApi.addBone(model, "Ship", "");
  msBone* camera = gApi.addBone(model, "CAM_Main", "");
  const float still[3] = {0, 0, 0};
  for (int frame = 1; frame <= 49; frame += 24) {
    const float position[3] = {static_cast<float>(frame) * 10.0f, 0, 0};
    const float eye[3] = {0, 50, -100};
    gApi.addKeyPair(ship, static_cast<float>(frame), position, still);
    gApi.addKeyPair(camera, static_cast<float>(frame), eye, still);
  }
  return model;
}

struct RunResult {
  int result;
  int dialogCalls;
  int modelsDestroyed;
  std::vector<Box> boxes;
  WindowCalls window;  // the log window's calls during the run
};

// The host's road for one command: create the object, type, title, command, destructor.
RunResult RunCommand(msModel* model, const DialogAnswer& answer) {
  gAnswer = answer;
  gDialogCalls = 0;
  gRequestProblems.clear();
  gBoxes.clear();
  const HMODULE plugIn = gWindowCalls.plugIn;
  const HWND previousDialog = gWindowCalls.dialog;
  gWindowCalls = WindowCalls();
  gWindowCalls.plugIn = plugIn;
  gWindowCalls.dialog = previousDialog;
  const int destroyedBefore = gApi.destroyedModelCount();

  HostObject* object = gApi.createPlugIn();
  Check(object && object->table, "CreatePlugIn gives an object with a table");
  if (!object || !object->table) return {};
  Check(object->table->getPlugInType(object) == kExportPlugInType, "GetPlugInType is 2");
  const char* title = object->table->getPlugInTitle(object);
  Check(title && std::strcmp(title, "Reelwright") == 0, "GetPlugInTitle is \"Reelwright\"");
  Check(object->table->getPlugInTitle(object) == title, "GetPlugInTitle gives the same pointer twice");
  RunResult run;
  run.result = object->table->runExportCommand(object, model);
  Check(object->table->getPlugInTitle(object) == title, "the title outlives the command");
  void* ended = object->table->scalarDeletingDestructor(object, kFreeMemory);
  Check(ended == object, "the destructor slot returns the object");

  for (const std::string& problem : gRequestProblems) Check(false, "save dialog request: " + problem);
  run.dialogCalls = gDialogCalls;
  run.modelsDestroyed = gApi.destroyedModelCount() - destroyedBefore;
  run.boxes = gBoxes;
  run.window = gWindowCalls;
  for (const std::string& problem : gWindowCalls.problems) Check(false, problem);
  return run;
}

void CheckBox(const RunResult& run, const char* text) {
  Check(run.boxes.size() == 1, "one message box, got " + std::to_string(run.boxes.size()));
  if (run.boxes.size() != 1) return;
  const Box& box = run.boxes[0];
  CheckText(box.text, text, "box text");
  CheckText(box.caption, "Reelwright", "box caption");
  Check(box.style == MB_OK, "box style 0 (MB_OK)");
  Check(box.owner == nullptr, "box has no owner window");
  Check(box.logWindowShown, "the log window is on the screen while the box is up");
}

// A confirmed run: the earlier run's window (if any) destroyed, one new window made and shown,
// and every text followed by its repaint; the control holds the last text set.
void CheckWindowCalls(const RunResult& run, bool hadWindow, HWND window) {
  const WindowCalls& calls = run.window;
  Check(calls.destroyed == (hadWindow ? 1 : 0), "the earlier log window destroyed: " + std::to_string(calls.destroyed));
  Check(calls.created == 1 && calls.shown == 1, "one log window made and shown");
  Check(calls.texts > 0 && calls.repaints == calls.texts,
        "each text set is repainted: " + std::to_string(calls.texts) + " texts, " + std::to_string(calls.repaints) + " repaints");
  if (window) CheckText(ControlText(window), calls.lastText, "control text against the last text set");
}

void CheckNoWindowCalls(const RunResult& run) {
  const WindowCalls& calls = run.window;
  Check(calls.created + calls.shown + calls.texts + calls.repaints + calls.destroyed == 0, "the log window untouched");
}

std::string Head() { return std::string(kRule) + " NIS Export " + kRule + "\r\n"; }

std::string DriverLines(const std::string& path) {
  return Head() + "Reelwright v0.9.0.0b\r\n" + "Exporting NIS to \"" + path + "\"...\r\n" +
         "Trying to attach an LiteIFF chunk to the given file...\r\n";
}

bool FileExists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string ReadBytes(const std::string& path) {
  std::string bytes;
  if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file)) > 0;) bytes.append(chunk, n);
    std::fclose(file);
  }
  return bytes;
}

bool WriteBytes(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
}

void CaseNullModel() {
  std::printf("[ RUN ] null model\n");
  const RunResult run = RunCommand(nullptr, {false, "C:\\unused.nis"});
  Check(run.result == -1, "result -1 for a null model, got " + std::to_string(run.result));
  Check(run.dialogCalls == 0, "no save dialog for a null model");
  Check(run.boxes.empty(), "no box for a null model");
  Check(FindLogWindows().empty(), "no log window for a null model");
  CheckNoWindowCalls(run);
}

void CaseCancel() {
  std::printf("[ RUN ] cancelled dialog\n");
  msModel* model = BuildScene();
  const RunResult run = RunCommand(model, {true, ""});
  Check(run.result == 0, "result 0 when cancelled, got " + std::to_string(run.result));
  Check(run.dialogCalls == 1, "one save dialog, got " + std::to_string(run.dialogCalls));
  Check(run.boxes.empty(), "no box when cancelled");
  Check(run.modelsDestroyed == 0, "the model is not destroyed when cancelled");
  Check(FindLogWindows().empty(), "no log window when cancelled");
  CheckNoWindowCalls(run);
  gApi.destroyModel(model);
}

void CaseMissingFolder(const std::string& work) {
  std::printf("[ RUN ] output folder missing: failure box and the log's error\n");
  const std::string path = work + "\\missing\\scene.nis";
  const bool hadWindow = !FindLogWindows().empty();
  const RunResult run = RunCommand(BuildScene(), {false, path});
  Check(run.result == 0, "result 0 on failure, got " + std::to_string(run.result));
  Check(run.modelsDestroyed == 1, "the model is destroyed after a confirmed command");
  CheckBox(run, kFailureText);
  HWND window = TheLogWindow();
  CheckWindowCalls(run, hadWindow, window);
  if (window) {
    CheckText(ControlText(window),
              DriverLines(path) +
                  "ERROR: Unable to attach an IFF chunk to given file output!\r\n"
                  "\t-> Make sure that the file is not being accessed by another application\r\n"
                  "\t-> Nothing written...\r\n",
              "log window text");
  }
  Check(!FileExists(path), "nothing written");
}

// True when the text ends with the timing line and its whole number of seconds.
bool EndsWithTiming(const std::string& text) {
  const std::string tail = " seconds.\r\n";
  const size_t line = text.rfind("Done. Export took about ");
  if (line == std::string::npos || text.size() < tail.size() || text.compare(text.size() - tail.size(), tail.size(), tail) != 0) {
    return false;
  }
  const std::string number = text.substr(line + 24, text.size() - tail.size() - line - 24);
  return !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
}

void CaseSuccess(const std::string& work) {
  std::printf("[ RUN ] built scene: success box, second window replaces the first, files written\n");
  const std::string path = work + "\\scene.nis";
  const bool hadWindow = !FindLogWindows().empty();
  const RunResult run = RunCommand(BuildScene(), {false, path});
  Check(run.result == 0, "result 0 on success, got " + std::to_string(run.result));
  Check(run.modelsDestroyed == 1, "the model is destroyed after the run");
  CheckBox(run, kSuccessText);
  HWND window = TheLogWindow();
  CheckWindowCalls(run, hadWindow, window);
  if (window) {
    const std::string text = ControlText(window);
    Check(text.compare(0, DriverLines(path).size(), DriverLines(path)) == 0,
          "log starts with the driver's lines: " + Quoted(text.substr(0, 300)));
    Check(EndsWithTiming(text), "log ends with the timing line: " + Quoted(text.substr(text.size() > 200 ? text.size() - 200 : 0)));
    Check(text.find("ERROR: ") == std::string::npos, "no error in the log of the built scene");
  }
  const std::string nis = ReadBytes(path);
  Check(nis.size() > 12 && nis.compare(0, 4, "FORM") == 0 && nis.compare(8, 4, "NIS ") == 0,
        "scene.nis starts with FORM ... \"NIS \"");
  if (nis.size() > 8) {
    const unsigned long length = static_cast<unsigned long>(static_cast<unsigned char>(nis[4])) << 24 |
                                 static_cast<unsigned long>(static_cast<unsigned char>(nis[5])) << 16 |
                                 static_cast<unsigned long>(static_cast<unsigned char>(nis[6])) << 8 |
                                 static_cast<unsigned long>(static_cast<unsigned char>(nis[7]));
    Check(length + 8 == nis.size(), "the FORM's length is patched to the file's size");
  }
  Check(FileExists(work + "\\scene.script"), "scene.script beside scene.nis");
}

// A model file through the whole road; the window's text goes to out + ".log" for comparison
// with the command-line program's log.
void CaseExport(const std::string& modelPath, const std::string& out) {
  std::printf("[ RUN ] export %s\n", modelPath.c_str());
  msModel* model = gApi.loadMs3d(modelPath.c_str());
  Check(model != nullptr, "the model file reads");
  if (!model) return;
  const bool hadWindow = !FindLogWindows().empty();
  const RunResult run = RunCommand(model, {false, out});
  Check(run.result == 0, "result 0, got " + std::to_string(run.result));
  Check(run.modelsDestroyed == 1, "the model is destroyed after the run");
  CheckBox(run, kSuccessText);
  HWND window = TheLogWindow();
  CheckWindowCalls(run, hadWindow, window);
  if (window) {
    const std::string text = ControlText(window);
    Check(EndsWithTiming(text), "log ends with the timing line");
    Check(WriteBytes(out + ".log", text), "log text written to " + out + ".log");
  }
}

// Keeps the log window painted (this thread owns it, so this thread must pump) until the
// release file appears, at most a minute. The ready file holds the window's screen rectangle
// as "left top width height".
void Pause(const std::string& ready, const std::string& release) {
  const std::vector<HWND> windows = FindLogWindows();
  RECT rect = {0, 0, 0, 0};
  if (!windows.empty()) GetWindowRect(windows[0], &rect);
  const std::string place = std::to_string(rect.left) + " " + std::to_string(rect.top) + " " +
                            std::to_string(rect.right - rect.left) + " " + std::to_string(rect.bottom - rect.top) + "\n";
  // Written under another name and renamed, so that the waiting side never reads half of it.
  Check(WriteBytes(ready + ".part", place) && MoveFileExA((ready + ".part").c_str(), ready.c_str(), MOVEFILE_REPLACE_EXISTING),
        "pause: ready file written");
  for (int waited = 0; waited < 600 && !FileExists(release); ++waited) {
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    Sleep(100);
  }
}

bool LoadDlls() {
  gApi.modelLib = LoadLibraryA("msModelLib.dll");
  Check(gApi.modelLib != nullptr, "load msModelLib.dll");
  gApi.plugIn = LoadLibraryA("Reelwright.dll");
  Check(gApi.plugIn != nullptr, "load Reelwright.dll, error " + std::to_string(GetLastError()));
  if (!gApi.modelLib || !gApi.plugIn) return false;
  bool ok = Resolve(gApi.plugIn, "CreatePlugIn", gApi.createPlugIn);
  ok &= Resolve(gApi.modelLib, "rwStandIn_LoadMs3d", gApi.loadMs3d);
  ok &= Resolve(gApi.modelLib, "rwStandIn_CreateModel", gApi.createModel);
  ok &= Resolve(gApi.modelLib, "rwStandIn_AddBone", gApi.addBone);
  ok &= Resolve(gApi.modelLib, "rwStandIn_AddKeyPair", gApi.addKeyPair);
  ok &= Resolve(gApi.modelLib, "rwStandIn_SetModelComment", gApi.setModelComment);
  ok &= Resolve(gApi.modelLib, "rwStandIn_DestroyedModelCount", gApi.destroyedModelCount);
  ok &= Resolve(gApi.modelLib, "msModel_Destroy", gApi.destroyModel);
  const bool dialog = RedirectImport(gApi.plugIn, "comdlg32.dll", "GetSaveFileNameA",
                                     reinterpret_cast<const void*>(&FakeGetSaveFileNameA));
  const bool box = RedirectImport(gApi.plugIn, "user32.dll", "MessageBoxA", reinterpret_cast<const void*>(&FakeMessageBoxA));
  Check(dialog, "Reelwright.dll imports GetSaveFileNameA from comdlg32.dll");
  Check(box, "Reelwright.dll imports MessageBoxA from user32.dll");
  gWindowCalls.plugIn = gApi.plugIn;
  struct Redirect {
    const char* function;
    const void* recorder;
  };
  const Redirect windowCalls[] = {
      {"CreateDialogParamA", reinterpret_cast<const void*>(&RecordCreateDialogParamA)},
      {"ShowWindow", reinterpret_cast<const void*>(&RecordShowWindow)},
      {"SetDlgItemTextA", reinterpret_cast<const void*>(&RecordSetDlgItemTextA)},
      {"RedrawWindow", reinterpret_cast<const void*>(&RecordRedrawWindow)},
      {"DestroyWindow", reinterpret_cast<const void*>(&RecordDestroyWindow)},
  };
  bool window = true;
  for (const Redirect& call : windowCalls) {
    const bool found = RedirectImport(gApi.plugIn, "user32.dll", call.function, call.recorder);
    Check(found, std::string("Reelwright.dll imports ") + call.function + " from user32.dll");
    window &= found;
  }
  return ok && dialog && box && window;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s WORKDIR [--export MODEL.ms3d OUT.nis [--pause READY RELEASE]]...\n", argv[0]);
    return 2;
  }
  const std::string work = argv[1];
  if (!LoadDlls()) {
    std::printf("cannot set up the host; %d failure(s)\n", gFailures);
    return 1;
  }
  CheckDialogTemplate(gApi.plugIn);
  CaseNullModel();
  CaseCancel();
  CaseMissingFolder(work);
  CaseSuccess(work);
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--export" && i + 2 < argc) {
      CaseExport(argv[i + 1], argv[i + 2]);
      i += 2;
    } else if (word == "--pause" && i + 2 < argc) {
      Pause(argv[i + 1], argv[i + 2]);
      i += 2;
    } else {
      std::fprintf(stderr, "unknown argument %s\n", word.c_str());
      return 2;
    }
  }

  std::printf("[ RUN ] unload\n");
  gWindowCalls.destroyed = 0;
  FreeLibrary(gApi.plugIn);
  Check(gWindowCalls.destroyed == 1 && FindLogWindows().empty(), "unloading the DLL destroys its log window");
  std::printf("%s: %d failure(s)\n", gFailures ? "FAILED" : "PASSED", gFailures);
  return gFailures ? 1 : 0;
}
