#include "export/PlugIn.h"

#include <cstring>
#include <new>

#include "export/ExportDriver.h"
#include "platform/Platform.h"

namespace rw {
namespace {

// "NIS Files (*.nis)\0*.nis\0All Files (*.*)\0*.*\0", then zeros to the end.
void FillFilter(char (&filter)[128]) {
  static const char kPairs[] = "NIS Files (*.nis)\0*.nis\0All Files (*.*)\0*.*\0";
  std::memset(filter, 0, sizeof filter);
  std::memcpy(filter, kPairs, sizeof kPairs);
}

}  // namespace

ExportPlugIn::ExportPlugIn() {
  std::memset(title_, 0, sizeof title_);
  std::strcpy(title_, kPlugInTitle);
}

int ExportPlugIn::GetPlugInType() { return kPlugInTypeExport; }

const char* ExportPlugIn::GetPlugInTitle() { return title_; }

int ExportPlugIn::RunExportCommand(msModel* model) {
  if (!model) return -1;

  char filter[128];
  FillFilter(filter);
  char file[256] = "";
  char fileTitle[256] = "";
  char defExt[32] = "nis";

  SaveFileRequest request;
  request.structSize = kOpenFileNameVersion400Size32;
  request.filter = filter;
  request.filterIndex = 0;
  request.file = file;
  request.maxFile = sizeof file;
  request.fileTitle = fileTitle;
  request.maxFileTitle = sizeof fileTitle;
  request.title = "Export NIS";
  request.flags = kOfnOverwritePrompt | kOfnHideReadOnly | kOfnPathMustExist;
  request.defExt = defExt;
  if (!CurrentPlatform().GetSaveFileName(request)) {
    lastOutcome_ = ExportOutcome::kCancelled;
    return 0;
  }
  file[sizeof file - 1] = '\0';  // whatever the dialog did, the path is a terminated text

  const bool exported = ExportNis(file, model);
  lastOutcome_ = exported ? ExportOutcome::kExported : ExportOutcome::kFailed;
  CurrentPlatform().ShowMessageBox(exported ? kSuccessText : kFailureText, kPlugInTitle, kMbOk);
  msModel_Destroy(model);
  return 0;
}

PlugInInterface* CreatePlugIn() { return new (std::nothrow) ExportPlugIn(); }

}  // namespace rw
