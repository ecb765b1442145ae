#include "cli/PreviewCommand.h"

#include <filesystem>
#include <ostream>

#include "cli/Cli.h"
#include "cli/SceneInput.h"
#include "cli/StagedFiles.h"
#include "preview/PreviewPage.h"

namespace rw {
namespace {

constexpr const char* kPageExtension = "html";

}  // namespace

int PreviewCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  SceneInput input;
  if (const int code = ReadSceneInput(words, "preview", kPageExtension, "the page", input, err); code != kExitOk)
    return code;
  const bool haveScript = !input.scriptPath.empty();
  if (!PreviewLibraryPresent()) {
    err << "reelwright: error: this reelwright was built without three.js (Debian package libjs-three), "
           "which the preview page needs; install it and build again\n";
    return kExitFailed;
  }
  const std::string title = std::filesystem::path(input.nisPath).filename().string();
  std::string writeProblem;
  if (!WriteFileStaged(input.outputPath, BuildPreviewPage(input.doc, title, haveScript ? &input.script : nullptr),
                       input.force, writeProblem)) {
    ReportFileError(err, input.outputPath, "error: " + writeProblem);
    return kExitFailed;
  }
  out << "preview written to " << input.outputPath
      << (haveScript ? " (script " + input.scriptPath + ")" : " (no script)") << "\n";
  if (input.doc.faults.empty()) return kExitOk;
  ReportFileError(err, input.nisPath,
                  std::to_string(input.doc.faults.size()) + " structural fault" +
                      (input.doc.faults.size() == 1 ? "" : "s") + ", listed in the preview");
  return kExitFailed;
}

}  // namespace rw
