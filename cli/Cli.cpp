#include "cli/Cli.h"

#include <ostream>

#include "ReelwrightVersion.h"
#include "cli/ExportCommand.h"
#include "cli/ImportCommand.h"
#include "cli/InspectCommands.h"
#include "cli/PreviewCommand.h"
#include "export/PlugIn.h"

namespace rw {
namespace {

constexpr const char* kHelp =
    "Usage:\n"
    "  reelwright export MODEL.ms3d|SCENE.gltf|SCENE.glb [-o OUT] [--animation NAME]\n"
    "                    [--log FILE] [--report FILE.json] [-f|--force] [-q|--quiet]\n"
    "  reelwright dump FILE.nis [--keys]\n"
    "  reelwright dump FILE.nis [FILE.script] --json [--keys]\n"
    "  reelwright dump FILE.nis --frames [NAME...]\n"
    "  reelwright check FILE.nis [FILE.script] [--strict]\n"
    "  reelwright preview FILE.nis [FILE.script] [-o OUT.html] [-f|--force]\n"
    "  reelwright import FILE.nis [FILE.script] [-o SCENE.glb] [-f|--force]\n"
    "  reelwright compare A.nis B.nis [--imported] [--map OLD=NEW]...\n"
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
    "  --report FILE     also write the run's result and problems as JSON to FILE\n"
    "  -f, --force       replace an existing output file\n"
    "  -q, --quiet       do not print the log\n"
    "dump    shows the chunks of a NIS file; --json as JSON, with the scene it reads and\n"
    "        the script's events (default: FILE.script beside it); --frames the world pose\n"
    "        of every follower (or each NAME) at every frame, on to the script's end.\n"
    "check   checks a NIS file (and its script) for consistency: one line per error (the\n"
    "        file is broken) or warning (legal but suspicious).\n"
    "  --strict          count warnings as errors\n"
    "preview writes one HTML page (default: FILE.html) that plays the scene in a browser;\n"
    "        the script defaults to FILE.script beside the NIS when it exists.\n"
    "import  writes the scene as one glTF file (default: FILE.glb) that exports back to the\n"
    "        same motion: nodes by the name path, keys at every frame, cameras; classes\n"
    "        and the whole script in extras. The script defaults as for preview.\n"
    "compare prints, for each follower of A, its worst difference from B over A's frames;\n"
    "        exit 0 when all are within 1e-3 (relative in position, radians in rotation).\n"
    "  --imported        B is an export of A's import: followers go by their new names\n"
    "  --map OLD=NEW     the follower OLD of A is NEW in B (may be repeated)\n"
    "\n"
    "Exit codes: 0 done; 1 the export logged an error or its check of the written files\n"
    "found one, dump found structural faults, check found an error or compare a\n"
    "difference; 2 bad arguments, unreadable input or refused output path (nothing\n"
    "written but the report).\n";

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
  if (command == "import") return ImportCommand(rest, out, err);
  if (command == "compare") return CompareCommand(rest, out, err);
  return UsageError(err, "unknown command " + command);
}

}  // namespace rw
