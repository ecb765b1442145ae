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
#include "cli/StagedFiles.h"
#include "export/PlugIn.h"
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
  GltfReadOptions options;
  options.animation = args.animation;
  // Key times become frames at the rate the scan will give the scene.
  options.framesPerSecond = [](const std::string& comment) { return ParseFrameRateOption(comment).fps; };
  GltfReadResult gltf = ReadGltfFile(args.outputs.modelPath, options);
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

// Stages the whole log, as the window holds it, for the log file.
bool StageLogFile(StagedFiles& staged, const std::string& path, std::string& problem) {
  std::FILE* file = staged.Open(path, "wb");
  if (!file) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  const std::string text = LogSectionCount() > 0 ? LogSectionText(0) : std::string();
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !written) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  return true;
}

// A model whose file states another frame rate than the one the export uses is worth a word
// before the log starts: the NIS file's times follow OPT_FPS, not the file.
void NoteFrameRates(const std::string& modelPath, float fileFps, msModel* model, std::ostream& err) {
  const FrameRateOption option = ReadFrameRateOption(model);
  if (fileFps <= 0 || static_cast<double>(fileFps) == option.fps) return;
  std::ostringstream what;
  what << "warning: the file's animation runs at " << fileFps << " fps, but "
       << (option.given ? "OPT_FPS is " + std::to_string(option.fps) : std::string("the model comment has no OPT_FPS"))
       << "; the NIS file uses " << option.fps << " fps";
  ReportFileError(err, modelPath, what.str());
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

}  // namespace

int ExportCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  ExportArgs args;
  const std::string problem = ParseExportArgs(words, args);
  if (!problem.empty()) return UsageError(err, problem);

  const std::string& modelPath = args.outputs.modelPath;
  ModelRead read = ReadModelFile(args);
  for (const Diagnostic& diagnostic : read.diagnostics)
    err << kProgram << ": " << FormatDiagnostic(modelPath, diagnostic) << "\n";
  if (!read.ok()) return kExitUsage;

  const OutputPaths paths = ChooseOutputPaths(args.outputs);
  OutputRefusal refusal;
  if (!CheckOutputPaths(args.outputs, paths, refusal)) {
    ReportFileError(err, refusal.path, "error: " + refusal.what);
    return kExitUsage;
  }
  NoteFrameRates(modelPath, read.fileFps, read.model.get(), err);

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
    ReportFileError(err, paths.nis, "error: " + platform.refusal());
    return kExitUsage;
  }
  // A failed run keeps no NIS file and no script; its log still tells what went wrong.
  int code = ExitCodeFor(exportPlugIn.lastOutcome());
  if (code != kExitOk) staged.Discard();
  std::string placeProblem, placePath = paths.log;
  if (!paths.log.empty() && !StageLogFile(staged, paths.log, placeProblem)) {
    staged.Discard();
  } else if (staged.Place(args.outputs.force, placePath, placeProblem)) {
    return code;
  }
  ReportFileError(err, placePath, "error: " + placeProblem);
  return code == kExitOk ? kExitUsage : code;
}

}  // namespace rw
