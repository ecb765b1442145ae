#include "cli/SceneInput.h"

#include <filesystem>
#include <system_error>

#include "cli/ArgParser.h"
#include "cli/Cli.h"
#include "cli/OutputPlan.h"
#include "io/FileBytes.h"
#include "io/PathText.h"
#include "script/EventScript.h"

namespace rw {

std::string ChosenScriptPath(const std::string& nisPath, const std::string& given) {
  if (!given.empty()) return given;
  std::error_code error;
  const std::string beside = ScriptPathFor(nisPath);
  return std::filesystem::is_regular_file(beside, error) ? beside : "";
}

bool ReadScriptOrReport(const std::string& path, std::string& text, std::ostream& err) {
  std::string error;
  if (ReadFileBytes(path, kMaxScriptFileSize, text, error)) return true;
  ReportFileError(err, path, error);
  return false;
}

int ReadSceneInput(const std::vector<std::string>& words, const char* command, const char* extension,
                   const char* outputWhat, SceneInput& input, std::ostream& err) {
  ArgParser parser;
  parser.Value("-o", "--output", "a file name", input.outputPath);
  parser.Flag("-f", "--force", input.force);
  std::vector<std::string> files;
  const std::string problem = parser.Parse(words, files);
  if (!problem.empty()) return UsageError(err, problem);
  if (files.empty() || files.size() > 2 || files[0].empty())
    return UsageError(err, std::string(command) + " needs a NIS file and at most one script");
  input.nisPath = files[0];
  if (input.outputPath.empty()) input.outputPath = ReplaceExtension(input.nisPath, extension);

  std::string error;
  if (!ReadNisFile(input.nisPath, input.doc, error)) {
    ReportFileError(err, input.nisPath, error);
    return kExitUsage;
  }
  // The exporter writes the script beside the NIS; one given by name must be readable.
  input.scriptPath = ChosenScriptPath(input.nisPath, files.size() == 2 ? files[1] : "");
  if (!input.scriptPath.empty() && !ReadScriptOrReport(input.scriptPath, input.script, err)) return kExitUsage;
  OutputRefusal refusal;
  if (!CheckOutputFiles({{input.nisPath, "the NIS file"}, {input.scriptPath, "the script"}},
                        {{input.outputPath, outputWhat}}, input.force, refusal)) {
    ReportFileError(err, refusal.path, "error: " + refusal.what);
    return kExitUsage;
  }
  return kExitOk;
}

}  // namespace rw
