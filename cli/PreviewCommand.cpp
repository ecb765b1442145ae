#include "cli/PreviewCommand.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "cli/ArgParser.h"
#include "cli/Cli.h"
#include "cli/OutputPlan.h"
#include "cli/StagedFiles.h"
#include "inspect/NisDocument.h"
#include "io/FileBytes.h"
#include "io/PathText.h"
#include "preview/PreviewPage.h"
#include "script/EventScript.h"

namespace rw {
namespace {

constexpr const char* kPageExtension = "html";

struct PreviewArgs {
  std::string nisPath, scriptPath, outputPath;
  bool force = false;
};

std::string ParsePreviewArgs(const std::vector<std::string>& words, PreviewArgs& args) {
  ArgParser parser;
  parser.Value("-o", "--output", "a file name", args.outputPath);
  parser.Flag("-f", "--force", args.force);
  std::vector<std::string> files;
  const std::string problem = parser.Parse(words, files);
  if (!problem.empty()) return problem;
  if (files.empty() || files.size() > 2 || files[0].empty()) return "preview needs a NIS file and at most one script";
  args.nisPath = files[0];
  if (files.size() == 2) args.scriptPath = files[1];
  return "";
}

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// Writes the page under a temporary name beside its place and moves it there, so a failed write
// leaves an old page as it was and no page replaces a file that appeared meanwhile.
bool WritePage(const std::string& path, const std::string& bytes, bool force, std::string& problem) {
  StagedFiles staged;
  std::FILE* file = staged.Open(path, "wb");
  bool written = file && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (file && std::fclose(file) != 0) written = false;
  if (!written) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  std::string problemPath;
  return staged.Place(force, problemPath, problem);
}

}  // namespace

int PreviewCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  PreviewArgs args;
  const std::string problem = ParsePreviewArgs(words, args);
  if (!problem.empty()) return UsageError(err, problem);
  if (args.outputPath.empty()) args.outputPath = ReplaceExtension(args.nisPath, kPageExtension);

  NisDocument doc;
  std::string error;
  if (!ReadNisFile(args.nisPath, doc, error)) {
    ReportFileError(err, args.nisPath, error);
    return kExitUsage;
  }
  // The exporter writes the script beside the NIS; an explicit one must be readable.
  bool haveScript = !args.scriptPath.empty();
  if (!haveScript && IsRegularFile(ScriptPathFor(args.nisPath))) {
    args.scriptPath = ScriptPathFor(args.nisPath);
    haveScript = true;
  }
  std::string script;
  if (haveScript && !ReadFileBytes(args.scriptPath, kMaxScriptFileSize, script, error)) {
    ReportFileError(err, args.scriptPath, error);
    return kExitUsage;
  }
  OutputRefusal refusal;
  if (!CheckOutputFiles({{args.nisPath, "the NIS file"}, {haveScript ? args.scriptPath : "", "the script"}},
                        {{args.outputPath, "the page"}}, args.force, refusal)) {
    ReportFileError(err, refusal.path, "error: " + refusal.what);
    return kExitUsage;
  }
  if (!PreviewLibraryPresent()) {
    err << "reelwright: error: this reelwright was built without three.js (Debian package libjs-three), "
           "which the preview page needs; install it and build again\n";
    return kExitFailed;
  }
  const std::string title = std::filesystem::path(args.nisPath).filename().string();
  std::string writeProblem;
  if (!WritePage(args.outputPath, BuildPreviewPage(doc, title, haveScript ? &script : nullptr), args.force,
                 writeProblem)) {
    ReportFileError(err, args.outputPath, "error: " + writeProblem);
    return kExitFailed;
  }
  out << "preview written to " << args.outputPath << (haveScript ? " (script " + args.scriptPath + ")" : " (no script)")
      << "\n";
  if (doc.faults.empty()) return kExitOk;
  ReportFileError(err, args.nisPath,
                  std::to_string(doc.faults.size()) + " structural fault" + (doc.faults.size() == 1 ? "" : "s") +
                      ", listed in the preview");
  return kExitFailed;
}

}  // namespace rw
