#include "cli/InspectCommands.h"

#include <ostream>

#include "cli/ArgParser.h"
#include "cli/Cli.h"
#include "cli/SceneInput.h"
#include "inspect/Check.h"
#include "inspect/Dump.h"
#include "inspect/NisDocument.h"
#include "inspect/SceneDump.h"
#include "inspect/ScriptEvents.h"
#include "io/FileBytes.h"

namespace rw {
namespace {

// Reads path into doc; when it cannot, says why on err in one line and returns false.
bool ReadOrReport(const std::string& path, NisDocument& doc, std::ostream& err) {
  std::string error;
  if (ReadNisFile(path, doc, error)) return true;
  ReportFileError(err, path, error);
  return false;
}

}  // namespace

int DumpCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  DumpOptions options;
  bool json = false, frames = false;
  std::vector<std::string> files;
  ArgParser parser;
  parser.Flag(nullptr, "--json", json);
  parser.Flag(nullptr, "--keys", options.keys);
  parser.Flag(nullptr, "--frames", frames);
  const std::string problem = parser.Parse(args, files);
  if (!problem.empty()) return UsageError(err, problem);
  if (files.empty()) return UsageError(err, "dump needs one NIS file");
  // --frames takes follower names after the NIS, --json a script; the text dump neither.
  if (files.size() > 1 && !frames && !(json && files.size() == 2))
    return UsageError(err, json ? "dump --json needs a NIS file and at most one script" : "dump needs one NIS file");
  NisDocument doc;
  if (!ReadOrReport(files[0], doc, err)) return kExitUsage;
  // The scene plays on to the last event of the script (by default the one beside the NIS).
  std::string script;
  const std::string scriptPath =
      json || frames ? ChosenScriptPath(files[0], json && !frames && files.size() == 2 ? files[1] : "") : "";
  if (!scriptPath.empty()) {
    if (!ReadScriptOrReport(scriptPath, script, err)) return kExitUsage;
    options.script = &script;
  }
  if (frames) {
    std::string unknown;
    const std::vector<std::string> names(files.begin() + 1, files.end());
    SceneReading scene = ReadScene(doc);
    if (options.script) PlayUntil(scene, LastStatementSeconds(ReadScriptText(script), scene.fps));
    if (!WriteFramesJson(scene, names, out, unknown)) {
      return UsageError(err, "no follower is named " + QuoteText(unknown));
    }
  } else if (json) {
    WriteDumpJson(doc, options, out);
  } else {
    WriteDumpText(doc, options, out);
  }
  if (doc.faults.empty()) return kExitOk;
  // The faults are part of the dump; the note keeps them from passing unseen in a pipe.
  ReportFileError(err, files[0],
                  std::to_string(doc.faults.size()) + " structural fault" + (doc.faults.size() == 1 ? "" : "s") +
                      ", listed in the dump");
  return kExitFailed;
}

int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  bool strict = false;
  std::vector<std::string> files;
  ArgParser parser;
  parser.Flag(nullptr, "--strict", strict);
  const std::string problem = parser.Parse(args, files);
  if (!problem.empty()) return UsageError(err, problem);
  if (files.empty() || files.size() > 2) return UsageError(err, "check needs a NIS file and at most one script");
  NisDocument doc;
  if (!ReadOrReport(files[0], doc, err)) return kExitUsage;
  std::vector<Diagnostic> diagnostics = CheckNisDocument(doc);
  if (files.size() == 2) {
    std::string text, error;
    if (!ReadFileBytes(files[1], kMaxScriptFileSize, text, error)) {
      ReportFileError(err, files[1], error);
      return kExitUsage;
    }
    std::vector<Diagnostic> more = CheckScriptText(doc, text, files[1]);
    diagnostics.insert(diagnostics.end(), more.begin(), more.end());
  }
  // One file is checked per run, so its name does not lead each line.
  bool failed = false;
  for (const Diagnostic& diagnostic : diagnostics) {
    out << FormatDiagnostic("", diagnostic) << "\n";
    failed = failed || strict || diagnostic.isError();
  }
  return failed ? kExitFailed : kExitOk;
}

}  // namespace rw
