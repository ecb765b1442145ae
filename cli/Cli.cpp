#include "cli/Cli.h"

#include <cctype>
#include <cstdio>
#include <memory>
#include <ostream>

#include "export/PlugIn.h"
#include "model/GltfReader.h"
#include "model/Ms3dReader.h"
#include "scene/CommentOptions.h"
#include "cli/InspectCommands.h"
#include "log/ExportLog.h"
#include "cli/ConsolePlatform.h"

namespace rw {
namespace {

constexpr const char* kProgram = "reelwright";

constexpr const char* kHelp =
    "Usage:\n"
    "  reelwright export MODEL.ms3d|SCENE.gltf|SCENE.glb [-o OUT] [--animation NAME]\n"
    "                    [--log FILE] [-f|--force] [-q|--quiet]\n"
    "  reelwright dump FILE.nis [--json] [--keys]\n"
    "  reelwright check FILE.nis [FILE.script]\n"
    "  reelwright --help | --version\n"
    "\n"
    "export  reads the model (MilkShape 3D .ms3d, or a glTF 2.0 scene) and writes the NIS file\n"
    "        OUT (default: the model's name with .nis) and its .script beside it, printing\n"
    "        the export log as it runs.\n"
    "  -o, --output OUT  the NIS file; a name without extension gets \".nis\"\n"
    "  --animation NAME  the glTF animation to export (default: the first)\n"
    "  --log FILE        also write the whole log, with CR LF line ends, to FILE\n"
    "  -f, --force       replace an existing output file\n"
    "  -q, --quiet       do not print the log\n"
    "dump    shows the chunks of a NIS file.\n"
    "check   checks a NIS file (and its script) for consistency.\n"
    "\n"
    "Exit codes: 0 done; 1 the export reported an error; 2 bad arguments, unreadable\n"
    "model or refused output path (nothing written).\n";

struct ExportArgs {
  ConsoleOptions console;
  std::string logPath;
  std::string animation;
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
  bool haveModel = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-o" || word == "--output" || word == "--log") {
      if (i + 1 >= words.size()) return word + " needs a file name";
      std::string& target = word == "--log" ? args.logPath : args.console.outputPath;
      if (words[i + 1].empty()) return word + " needs a file name";
      target = words[++i];
    } else if (word == "--animation") {
      if (i + 1 >= words.size() || words[i + 1].empty()) return word + " needs an animation name";
      args.animation = words[++i];
    } else if (word == "-f" || word == "--force") {
      args.console.force = true;
    } else if (word == "-q" || word == "--quiet") {
      args.console.quiet = true;
    } else if (word.size() > 1 && word[0] == '-') {
      return "unknown option " + word;
    } else if (haveModel) {
      return "more than one model file (" + args.console.modelPath + ", " + word + ")";
    } else {
      args.console.modelPath = word;
      haveModel = true;
    }
  }
  if (!haveModel || args.console.modelPath.empty()) return "export needs a model file";
  if (!args.animation.empty() && !IsGltfPath(args.console.modelPath)) return "--animation is for glTF scenes";
  return "";
}

// Reads a model file by its extension: a glTF scene (.gltf, .glb, any case) or an .ms3d model.
// glTF key times become frames at the rate the export reads from the model comment.
GltfReadResult ReadModelFile(const ExportArgs& args) {
  if (!IsGltfPath(args.console.modelPath)) {
    Ms3dReadResult ms3d = ReadMs3dFile(args.console.modelPath);
    return {std::move(ms3d.model), std::move(ms3d.diagnostics)};
  }
  GltfReadOptions options;
  options.animation = args.animation;
  options.framesPerSecond = [](const std::string& comment) {
    return TruncateToInt32(TextToNumber(GetOption(comment, "OPT_FPS")));
  };
  return ReadGltfFile(args.console.modelPath, options);
}

int ExitCodeFor(ExportOutcome outcome) {
  switch (outcome) {
    case ExportOutcome::kExported: return kExitOk;
    case ExportOutcome::kCancelled: return kExitUsage;
    case ExportOutcome::kNotRun:
    case ExportOutcome::kFailed: break;
  }
  return kExitFailed;
}

bool WriteTextFile(const std::string& path, const std::string& bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && written;
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

int RunExport(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  ExportArgs args;
  const std::string problem = ParseExportArgs(words, args);
  if (!problem.empty()) return UsageError(err, problem);

  const std::string& modelPath = args.console.modelPath;
  GltfReadResult read = ReadModelFile(args);
  for (const Diagnostic& diagnostic : read.diagnostics) err << kProgram << ": " << FormatDiagnostic(modelPath, diagnostic) << "\n";
  if (!read.ok()) return kExitUsage;

  ConsolePlatform platform(args.console, out, err);
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
    err << kProgram << ": error: " << platform.refusal() << "\n";
    return kExitUsage;
  }
  int code = ExitCodeFor(exportPlugIn.lastOutcome());
  if (!args.logPath.empty() && !WriteTextFile(args.logPath, LogSectionText(0))) {
    err << kProgram << ": error: cannot write the log to \"" << args.logPath << "\"\n";
    code = kExitFailed;
  }
  return code;
}

}  // namespace

int UsageError(std::ostream& err, const std::string& message) {
  err << kProgram << ": error: " << message << "\n" << kProgram << ": see 'reelwright --help'\n";
  return kExitUsage;
}

void ReportFileError(std::ostream& err, const std::string& file, const std::string& what) {
  err << kProgram << ": " << file << ": " << what << "\n";
}

int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  if (args.empty()) {
    err << kHelp;
    return kExitUsage;
  }
  const std::string& command = args[0];
  const std::vector<std::string> rest(args.begin() + 1, args.end());
  if (command == "--help" || command == "-h" || command == "help") {
    out << kHelp;
    return kExitOk;
  }
  if (command == "--version") {
    out << kBanner << "\n";
    return kExitOk;
  }
  if (command == "export") return RunExport(rest, out, err);
  if (command == "dump") return DumpCommand(rest, out, err);
  if (command == "check") return CheckCommand(rest, out, err);
  return UsageError(err, "unknown command " + command);
}

}  // namespace rw
