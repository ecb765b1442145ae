#include "cli/PreviewCommand.h"

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "cli/Cli.h"
#include "inspect/NisDocument.h"
#include "io/FileBytes.h"
#include "preview/PreviewPage.h"

namespace rw {
namespace {

struct PreviewArgs {
  std::string nisPath, scriptPath, outputPath;
  bool force = false;
};

std::string ParsePreviewArgs(const std::vector<std::string>& words, PreviewArgs& args) {
  std::vector<std::string> files;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-o" || word == "--output") {
      if (i + 1 >= words.size() || words[i + 1].empty()) return word + " needs a file name";
      args.outputPath = words[++i];
    } else if (word == "-f" || word == "--force") {
      args.force = true;
    } else if (word.size() > 1 && word[0] == '-') {
      return "unknown option " + word;
    } else {
      files.push_back(word);
    }
  }
  if (files.empty() || files.size() > 2 || files[0].empty()) return "preview needs a NIS file and at most one script";
  args.nisPath = files[0];
  if (files.size() == 2) args.scriptPath = files[1];
  return "";
}

bool IsRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// Writes beside the target first and renames, so a failed write leaves an old file as it was.
bool WritePage(const std::string& path, const std::string& bytes) {
  const std::string temporary = path + ".part";
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) != 0 || !written) {
    std::remove(temporary.c_str());
    return false;
  }
  std::error_code error;
  std::filesystem::rename(temporary, path, error);
  if (error) std::remove(temporary.c_str());
  return !error;
}

}  // namespace

std::string BesideNis(const std::string& nisPath, const std::string& extension) {
  const size_t slash = nisPath.find_last_of("/\\");
  const size_t dot = nisPath.rfind('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
  return (hasExtension ? nisPath.substr(0, dot) : nisPath) + extension;
}

int PreviewCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  PreviewArgs args;
  const std::string problem = ParsePreviewArgs(words, args);
  if (!problem.empty()) return UsageError(err, problem);
  if (args.outputPath.empty()) args.outputPath = BesideNis(args.nisPath, ".html");

  NisDocument doc;
  std::string error;
  if (!ReadNisFile(args.nisPath, doc, error)) {
    ReportFileError(err, args.nisPath, error);
    return kExitUsage;
  }
  // The exporter writes the script beside the NIS; an explicit one must be readable.
  bool haveScript = !args.scriptPath.empty();
  if (!haveScript && IsRegularFile(BesideNis(args.nisPath, ".script"))) {
    args.scriptPath = BesideNis(args.nisPath, ".script");
    haveScript = true;
  }
  std::string script;
  if (haveScript && !ReadFileBytes(args.scriptPath, kMaxScriptFileSize, script, error)) {
    ReportFileError(err, args.scriptPath, error);
    return kExitUsage;
  }
  std::error_code fsError;
  if (std::filesystem::is_directory(args.outputPath, fsError)) {
    ReportFileError(err, args.outputPath, "is a folder");
    return kExitUsage;
  }
  if (!args.force && std::filesystem::exists(args.outputPath, fsError)) {
    ReportFileError(err, args.outputPath, "exists; use --force to replace it");
    return kExitUsage;
  }
  if (!PreviewLibraryPresent()) {
    err << "reelwright: error: this reelwright was built without three.js (Debian package libjs-three), "
           "which the preview page needs; install it and build again\n";
    return kExitFailed;
  }
  const std::string title = std::filesystem::path(args.nisPath).filename().string();
  if (!WritePage(args.outputPath, BuildPreviewPage(doc, title, haveScript ? &script : nullptr))) {
    ReportFileError(err, args.outputPath, "cannot be written");
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
