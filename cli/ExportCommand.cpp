#include "cli/ExportCommand.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>
#include <sstream>

#include "cli/ArgParser.h"
#include "cli/Cli.h"
#include "cli/ConsolePlatform.h"
#include "cli/OutputPlan.h"
#include "cli/RunReport.h"
#include "cli/StagedFiles.h"
#include "export/GltfExportOptions.h"
#include "export/PlugIn.h"
#include "host/HostBuffers.h"
#include "inspect/Check.h"
#include "inspect/NisDocument.h"
#include "io/FileBytes.h"
#include "log/ExportLog.h"
#include "model/GltfReader.h"
#include "model/Ms3dReader.h"
#include "scene/Scene.h"

namespace rw {
namespace {

struct ExportArgs {
  OutputRequest outputs;
  std::string animation;
  bool quiet = false;
};

bool EndsWith(const std::string& text, const std::string& tail) {
  if (text.size() < tail.size()) return false;
  for (size_t i = 0; i < tail.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(text[text.size() - tail.size() + i])) != tail[i]) return false;
  return true;
}

bool IsGltfPath(const std::string& path) { return EndsWith(path, ".gltf") || EndsWith(path, ".glb"); }

// Fills args from the words after "export"; returns an error message, empty when they are fine.
std::string ParseExportArgs(const std::vector<std::string>& words, ExportArgs& args) {
  ArgParser parser;
  parser.Value("-o", "--output", "a file name", args.outputs.outputArg);
  parser.Value(nullptr, "--log", "a file name", args.outputs.logPath);
  parser.Value(nullptr, "--report", "a file name", args.outputs.reportPath);
  parser.Value(nullptr, "--animation", "an animation name", args.animation);
  parser.Flag("-f", "--force", args.outputs.force);
  parser.Flag("-q", "--quiet", args.quiet);
  std::vector<std::string> models;
  const std::string problem = parser.Parse(words, models);
  if (!problem.empty()) return problem;
  if (models.size() > 1) return "more than one model file (" + models[0] + ", " + models[1] + ")";
  if (models.empty() || models[0].empty()) return "export needs a model file";
  args.outputs.modelPath = models[0];
  if (!args.animation.empty() && !IsGltfPath(args.outputs.modelPath)) return "--animation is for glTF scenes";
  return "";
}

// Reads a model file by its extension: a glTF scene (.gltf, .glb, any case) or an .ms3d model.
// glTF key times become frames at the rate the export reads from the model comment.
// A model read from either kind of file; fileFps is the frame rate an .ms3d file states (0: none).
struct ModelRead {
  ModelPtr model;
  std::vector<Diagnostic> diagnostics;
  float fileFps = 0;
  bool ok() const { return model != nullptr; }
};

ModelRead ReadModelFile(const ExportArgs& args) {
  if (!IsGltfPath(args.outputs.modelPath)) {
    Ms3dReadResult ms3d = ReadMs3dFile(args.outputs.modelPath);
    return {std::move(ms3d.model), std::move(ms3d.diagnostics), ms3d.fileFps};
  }
  GltfReadResult gltf = ReadGltfFile(args.outputs.modelPath, GltfExportOptions(args.animation));
  return {std::move(gltf.model), std::move(gltf.diagnostics), 0};
}

int ExitCodeFor(ExportOutcome outcome) {
  switch (outcome) {
    case ExportOutcome::kExported:
      return kExitOk;
    case ExportOutcome::kCancelled:
      return kExitUsage;
    case ExportOutcome::kNotRun:
    case ExportOutcome::kFailed:
      break;
  }
  return kExitFailed;
}

// Stages text, byte for byte, for the file at path.
bool StageText(StagedFiles& staged, const std::string& path, const std::string& text, std::string& problem) {
  std::FILE* file = staged.Open(path, "wb");
  if (!file) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !written) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  return true;
}

// Stages the whole log, as the window holds it, for the log file.
bool StageLogFile(StagedFiles& staged, const std::string& path, std::string& problem) {
  return StageText(staged, path, LogSectionCount() > 0 ? LogSectionText(0) : std::string(), problem);
}

// A model whose file states another frame rate than the one the export uses is worth a word
// before the log starts: the NIS file's times follow OPT_FPS, not the file.
void NoteFrameRates(const std::string& modelPath, float fileFps, msModel* model, RunReport& report, std::ostream& err) {
  const FrameRateOption option = ReadFrameRateOption(model);
  if (fileFps <= 0 || static_cast<double>(fileFps) == option.fps) return;
  std::ostringstream what;
  what << "the file's animation runs at " << fileFps << " fps, but "
       << (option.given ? "OPT_FPS is " + std::to_string(option.fps) : std::string("the model comment has no OPT_FPS"))
       << "; the NIS file uses " << option.fps << " fps";
  ReportFileError(err, modelPath, "warning: " + what.str());
  report.Add(modelPath,
             Diagnostic(Severity::kWarning, -1, std::string(), what.str(), DiagnosticCode::kFrameRateDiffers));
}

// An .ms3d text longer than the modeller hands the plug-in is cut as the modeller cuts it; the
// artist hears which, before the log starts.
void NoteCutTexts(const std::string& modelPath, msModel* model, std::ostream& err) {
  const auto note = [&](const std::string& what, size_t length, size_t most) {
    if (length > most)
      ReportFileError(err, modelPath,
                      "warning: " + what + " has " + std::to_string(length) +
                          " bytes; the modeller hands over the first " + std::to_string(most));
  };
  note("the model comment", static_cast<size_t>(msModel_GetComment(model, nullptr, 0)), kHostCommentMax);
  for (int i = 0; i < msModel_GetBoneCount(model); ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    char name[kMs3dNameSize + 1] = "";  // a file's name fills 32 bytes at most
    msBone_GetName(bone, name, sizeof name);
    const std::string joint = "joint " + std::to_string(i) + " " + QuoteText(name);
    note(joint + ": its name", std::strlen(name), kHostNameMax);
    note(joint + ": its comment", static_cast<size_t>(msBone_GetComment(bone, nullptr, 0)), kHostCommentMax);
  }
}

// Reads the NIS file and the script the run staged as the inspector's `check` does (without the
// curves' keys, so the memory follows the records, not the keys), says what it finds on err and
// adds it to the report. False when it found an error, or could not read what was written.
bool CheckWrittenFiles(const StagedFiles& staged, const OutputPaths& paths, RunReport& report, std::ostream& err) {
  NisReadOptions options;
  options.keys = false;
  NisDocument doc;
  std::string text, error;
  if (!ReadNisFile(staged.TemporaryPathOf(paths.nis), doc, error, options) ||
      !ReadFileBytes(staged.TemporaryPathOf(paths.script), kMaxScriptFileSize, text, error)) {
    err << kProgram << ": error: the written files cannot be read back: " << error << "\n";
    return false;
  }
  bool clean = true;
  for (Diagnostic& diagnostic : CheckNisDocument(doc)) {
    err << kProgram << ": " << FormatDiagnostic(paths.nis, diagnostic) << "\n";
    clean = clean && !diagnostic.isError();
    diagnostic.code = DiagnosticCode::kNisCheck;
    report.Add(paths.nis, std::move(diagnostic));
  }
  for (Diagnostic& diagnostic : CheckScriptText(doc, text, paths.script)) {
    err << kProgram << ": " << FormatDiagnostic("", diagnostic) << "\n";
    clean = clean && !diagnostic.isError();
    diagnostic.code = DiagnosticCode::kScriptCheck;
    report.Add(paths.script, std::move(diagnostic));
  }
  return clean;
}

// Installs the console platform for one run and takes the log down before the platform goes
// (the log's window refers to it).
class InstalledPlatform {
 public:
  explicit InstalledPlatform(ConsolePlatform& platform) : platform_(platform) { SetPlatform(&platform_); }
  ~InstalledPlatform() {
    platform_.Silence();
    if (LogSectionCount() > 0) LogCloseAll();
    SetPlatform(nullptr);
  }

 private:
  ConsolePlatform& platform_;
};

// One export's outputs beside the NIS file and the script: the log file and the report. Both are
// written also when the export fails; the report also when the run is refused, when its own
// path passes the output rules.
class ExportRun {
 public:
  ExportRun(const OutputRequest& request, const OutputPaths& paths)
      : request_(request), paths_(paths), reportUsable_(CheckReportPath(request, paths)) {
    report.input = request.modelPath;
    report.nis = paths.nis;
    report.script = paths.script;
  }

  // A run that wrote nothing: the report alone, if it can be written.
  int Refused(std::ostream& err) {
    if (!reportUsable_) return kExitUsage;
    StagedFiles staged;
    std::string path = paths_.report, problem;
    if (!StageReport(staged, kExitUsage, problem) || !staged.Place(request_.force, path, problem))
      ReportFileError(err, path, "error: " + problem);
    return kExitUsage;
  }
  // The same, after saying on err that path is refused and why.
  int Refused(const std::string& path, const std::string& what, std::ostream& err) {
    ReportFileError(err, path, "error: " + what);
    report.Add(path, Diagnostic(Severity::kError, -1, std::string(), what, DiagnosticCode::kOutputRefused));
    return Refused(err);
  }

  // Stages the log and the report beside what the run staged, places them all and returns the
  // run's exit code (2 when they could not be placed; then none of them is).
  int Finish(StagedFiles& staged, int code, std::ostream& err) {
    std::string problem, path = paths_.log;
    bool stagedOk = paths_.log.empty() || StageLogFile(staged, paths_.log, problem);
    if (stagedOk && !paths_.report.empty()) {
      path = paths_.report;
      stagedOk = StageReport(staged, code, problem);
    }
    if (stagedOk && staged.Place(request_.force, path, problem)) return code;
    staged.Discard();
    ReportFileError(err, path, "error: " + problem);
    return code == kExitOk ? kExitUsage : code;
  }

  RunReport report;

 private:
  bool StageReport(StagedFiles& staged, int code, std::string& problem) const {
    std::ostringstream json;
    WriteRunReportJson(report, code, json);
    return StageText(staged, paths_.report, json.str(), problem);
  }

  const OutputRequest& request_;
  const OutputPaths& paths_;
  const bool reportUsable_;
};

}  // namespace

int ExportCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  ExportArgs args;
  const std::string problem = ParseExportArgs(words, args);
  if (!problem.empty()) return UsageError(err, problem);

  const std::string& modelPath = args.outputs.modelPath;
  const OutputPaths paths = ChooseOutputPaths(args.outputs);
  ExportRun run(args.outputs, paths);
  ModelRead read = ReadModelFile(args);
  for (Diagnostic& diagnostic : read.diagnostics) {
    err << kProgram << ": " << FormatDiagnostic(modelPath, diagnostic) << "\n";
    diagnostic.code = DiagnosticCode::kModelFile;
    run.report.Add(modelPath, std::move(diagnostic));
  }
  if (!read.ok()) return run.Refused(err);

  OutputRefusal refusal;
  if (!CheckOutputPaths(args.outputs, paths, refusal)) return run.Refused(refusal.path, refusal.what, err);
  NoteFrameRates(modelPath, read.fileFps, read.model.get(), run.report, err);
  NoteCutTexts(modelPath, read.model.get(), err);

  StagedFiles staged;
  ConsolePlatform platform({paths.nis, args.quiet}, staged, out, err);
  InstalledPlatform installed(platform);

  // The host's road: ask the object its type and title, run the command, end it.
  ExportPlugIn exportPlugIn;
  PlugInInterface& plugIn = exportPlugIn;
  if (plugIn.GetPlugInType() != kPlugInTypeExport || !plugIn.GetPlugInTitle()) {
    err << kProgram << ": error: the plug-in object is not an export plug-in\n";
    return kExitFailed;
  }
  msModel* model = read.model.release();  // a confirmed command destroys it
  plugIn.RunExportCommand(model);

  if (!platform.refusal().empty()) {
    msModel_Destroy(model);  // the refused dialog left it to us
    return run.Refused(paths.nis, platform.refusal(), err);
  }
  for (const Diagnostic& logged : LogProblems()) run.report.Add("", logged);
  // The plug-in's result line stands as the host shows it; the command judges by the problems:
  // a run that logged an error has failed, whatever the result line said.
  int code = ExitCodeFor(exportPlugIn.lastOutcome());
  if (code == kExitOk && run.report.HasError()) {
    err << kProgram
        << ": error: the export logged an error, so it failed; the NIS file and the script are not "
           "written\n";
    code = kExitFailed;
  }
  // What was written is checked before it is placed, as `check` would check it.
  if (code == kExitOk && !CheckWrittenFiles(staged, paths, run.report, err)) {
    err << kProgram
        << ": error: the check of the written files found an error, so the export failed; the NIS file "
           "and the script are not written\n";
    code = kExitFailed;
  }
  // A failed run keeps no NIS file and no script; its log and report still tell what went wrong.
  if (code != kExitOk) staged.Discard();
  return run.Finish(staged, code, err);
}

}  // namespace rw
