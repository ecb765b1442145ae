#include "cli/OutputPlan.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "io/PathText.h"
#include "script/EventScript.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace rw {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNisExtension = "nis";
// The longest file name (one path component) that common file systems take.
constexpr size_t kMaxFileNameLength = 255;

bool EndsWithSeparator(const std::string& path) { return !path.empty() && (path.back() == '/' || path.back() == '\\'); }

std::string FileNameOf(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? path : path.substr(separator + 1);
}

std::string FolderOf(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? std::string(".") : path.substr(0, separator + 1);
}

bool IsWritableFolder(const std::string& folder) {
#if defined(_WIN32)
  return _access(folder.c_str(), 2) == 0;
#else
  return ::access(folder.c_str(), W_OK) == 0;
#endif
}

// True when a and b name one file: the same file when both exist (links and hard links
// included), else the same place once the existing part of each path is resolved.
bool SameFile(const std::string& a, const std::string& b) {
  std::error_code error;
  if (fs::exists(a, error) && fs::exists(b, error)) return fs::equivalent(a, b, error);
  const fs::path left = fs::weakly_canonical(a, error);
  if (error) return false;
  const fs::path right = fs::weakly_canonical(b, error);
  return !error && left == right;
}

// The checks of one output on its own; empty when it passes.
std::string CheckOnePath(const std::string& path, bool force) {
  const std::string name = FileNameOf(path);
  if (name.size() > kMaxFileNameLength)
    return "the name has " + std::to_string(name.size()) + " characters, more than the " +
           std::to_string(kMaxFileNameLength) + " a file name can have";
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (fs::is_directory(fs::status(path, error))) return "is a folder";
  if (fs::exists(status) && !force) return "exists; use --force to replace it";
  const std::string folder = FolderOf(path);
  if (!fs::is_directory(folder, error)) return "the folder " + folder + " does not exist";
  if (!IsWritableFolder(folder))
    return "cannot be written: the folder " + folder + " is not writable (" + std::strerror(errno) + ")";
  return "";
}

}  // namespace

OutputPaths ChooseOutputPaths(const OutputRequest& request) {
  OutputPaths paths;
  const std::string& arg = request.outputArg;
  std::error_code error;
  if (arg.empty()) {
    paths.nis = ReplaceExtension(request.modelPath, kNisExtension);
  } else if (EndsWithSeparator(arg) || fs::is_directory(arg, error)) {
    const std::string folder = EndsWithSeparator(arg) ? arg : arg + "/";
    paths.nis = folder + ReplaceExtension(FileNameOf(request.modelPath), kNisExtension);
  } else {
    paths.nis = HasExtension(arg) ? arg : arg + "." + kNisExtension;
  }
  paths.script = ScriptPathFor(paths.nis);
  paths.log = request.logPath;
  paths.report = request.reportPath;
  return paths;
}

bool CheckOutputFiles(const std::vector<NamedFile>& inputs, const std::vector<NamedFile>& outputs, bool force,
                      OutputRefusal& refusal) {
  for (size_t i = 0; i < outputs.size(); ++i) {
    const std::string& path = outputs[i].path;
    if (path.empty()) continue;
    std::string what;
    for (const NamedFile& input : inputs) {
      if (what.empty() && !input.path.empty() && SameFile(path, input.path))
        what = "is " + input.role + "; " + outputs[i].role + " cannot replace it";
    }
    for (size_t j = 0; j < i && what.empty(); ++j) {
      if (SameFile(path, outputs[j].path)) what = "would be both " + outputs[j].role + " and " + outputs[i].role;
    }
    if (what.empty()) what = CheckOnePath(path, force);
    if (!what.empty()) {
      refusal = {path, what};
      return false;
    }
  }
  return true;
}

bool CheckOutputPaths(const OutputRequest& request, const OutputPaths& paths, OutputRefusal& refusal) {
  return CheckOutputFiles({{request.modelPath, "the model file"}},
                          {{paths.nis, "the NIS file"},
                           {paths.script, "the script"},
                           {paths.log, "the log file"},
                           {paths.report, "the report"}},
                          request.force, refusal);
}

bool CheckReportPath(const OutputRequest& request, const OutputPaths& paths) {
  OutputRefusal refusal;
  return !paths.report.empty() && CheckOutputFiles({{request.modelPath, "the model file"},
                                                    {paths.nis, "the NIS file"},
                                                    {paths.script, "the script"},
                                                    {paths.log, "the log file"}},
                                                   {{paths.report, "the report"}}, request.force, refusal);
}

}  // namespace rw
