#include "cli/Cli.h"

#include <ostream>

#include "ReelwrightVersion.h"
#include "cli/ExportCommand.h"
#include "cli/InspectCommands.h"
#include "cli/PreviewCommand.h"
#include "export/PlugIn.h"

namespace rw {
namespace {

constexpr const char* kHelp =
    "Usage:\n"
    "  reelwright export MODEL.ms3d|SCENE.gltf|SCENE.glb [-o OUT] [--animation NAME]\n"
    "                    [--log FILE] [-f|--force] [-q|--quiet]\n"
    "  reelwright dump FILE.nis [--json] [--keys]\n"
    "  reelwright dump FILE.nis --frames [NAME...]\n"
    "  reelwright check FILE.nis [FILE.script] [--strict]\n"
    "  reelwright preview FILE.nis [FILE.script] [-o OUT.html] [-f|--force]\n"
    "  reelwright --help | --version\n"
    "Options and files may come in any order; \"--\" ends the options (a file whose name\n"
    "starts with \"-\" goes after it), and a long option may take its value after \"=\"\n"
    "(--output=OUT).\n"
    "\n"
    "export  reads the model (MilkShape 3D .ms3d, or a glTF 2.0 scene) and writes the NIS file\n"
    "        OUT (default: the model's name with .nis) and its .script beside it, printing\n"
    "        the export log as it runs.\n"
    "  -o, --output OUT  the NIS file; a name without extension gets \".nis\"\n"
    "  --animation NAME  the glTF animation to export (default: the first)\n"
    "  --log FILE        also write the whole log, with CR LF line ends, to FILE\n"
    "  -f, --force       replace an existing output file\n"
    "  -q, --quiet       do not print the log\n"
    "dump    shows the chunks of a NIS file; --json as JSON, with the scene it reads;\n"
    "        --frames the world pose of every follower (or each NAME) at every frame.\n"
    "check   checks a NIS file (and its script) for consistency: one line per error (the\n"
    "        file is broken) or warning (legal but suspicious).\n"
    "  --strict          count warnings as errors\n"
    "preview writes one HTML page (default: FILE.html) that plays the scene in a browser;\n"
    "        the script defaults to FILE.script beside the NIS when it exists.\n"
    "\n"
    "Exit codes: 0 done; 1 the export reported an error, dump found structural faults or\n"
    "check found an error; 2 bad arguments, unreadable input or refused output path\n"
    "(nothing written).\n";

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
    // The banner first, as the export log prints it; then the build's version.
    out << kBanner << "\n" << kProgram << " " << REELWRIGHT_VERSION << "\n";
    return kExitOk;
  }
  if (command == "export") return ExportCommand(rest, out, err);
  if (command == "dump") return DumpCommand(rest, out, err);
  if (command == "check") return CheckCommand(rest, out, err);
  if (command == "preview") return PreviewCommand(rest, out, err);
  return UsageError(err, "unknown command " + command);
}

}  // namespace rw
