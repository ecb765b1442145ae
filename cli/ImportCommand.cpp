#include "cli/ImportCommand.h"

#include <cstdio>
#include <filesystem>
#include <ostream>

#include "cli/ArgParser.h"
#include "cli/Cli.h"
#include "cli/SceneInput.h"
#include "cli/StagedFiles.h"
#include "convert/ImportEvents.h"
#include "convert/NisToGltf.h"
#include "convert/SceneCompare.h"
#include "inspect/NisDocument.h"
#include "io/Diagnostic.h"
#include "io/PathText.h"

namespace rw {
namespace {

constexpr const char* kSceneExtension = "glb";

bool ReadNis(const std::string& path, NisDocument& doc, std::ostream& err) {
  std::string error;
  if (ReadNisFile(path, doc, error)) return true;
  ReportFileError(err, path, error);
  return false;
}

std::string FileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

}  // namespace

int ImportCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  SceneInput input;
  if (const int code = ReadSceneInput(words, "import", kSceneExtension, "the scene", input, err); code != kExitOk)
    return code;
  const NisDocument& doc = input.doc;
  const SceneInput& args = input;

  const std::unique_ptr<SceneMotion> motion = ReadSceneMotion(doc);
  // The scene plays on to the script's last statement, as the page, dump and Blender play it.
  const ScriptText scriptText = ReadScriptText(input.script);
  SceneReading range = ReadScene(doc);
  PlayUntil(range, LastStatementSeconds(scriptText, range.fps));
  motion->lastFrame = range.lastFrame;
  for (const std::string& note : motion->notes) ReportFileError(err, args.nisPath, "note: " + note);
  const std::string tooLarge = SamplingProblem(*motion, motion->followers.size());
  if (!tooLarge.empty()) {
    ReportFileError(err, args.nisPath, "error: " + tooLarge);
    return kExitFailed;
  }
  GltfOutScene scene = ImportToGltf(*motion, input.script, FileName(args.nisPath));
  // What the extras cannot carry is still in the whole script the scene keeps.
  const ImportEventChoice events = ChooseImportEvents(scriptText, range, motion->importNodes);
  for (const std::string& left : ImportEvents(events, scene))
    ReportFileError(err, args.scriptPath, "warning: left out of the events: " + left);
  std::string writeProblem;
  if (!WriteFileStaged(args.outputPath, WriteGlb(scene), args.force, writeProblem)) {
    ReportFileError(err, args.outputPath, "error: " + writeProblem);
    return kExitFailed;
  }
  size_t cameras = 0;
  for (const GltfOutNode& node : scene.nodes) cameras += node.camera ? 1 : 0;
  const auto counted = [](size_t n, const char* noun) { return std::to_string(n) + " " + noun + (n == 1 ? "" : "s"); };
  out << "scene written to " << args.outputPath << ": " << counted(scene.nodes.size(), "node") << ", "
      << counted(cameras, "camera") << ", " << counted(scene.times.size(), "frame")
      << (args.scriptPath.empty() ? " (no script)" : " (script " + args.scriptPath + ")") << "\n";
  if (doc.faults.empty()) return kExitOk;
  ReportFileError(err, args.nisPath,
                  std::to_string(doc.faults.size()) + " structural fault" + (doc.faults.size() == 1 ? "" : "s") +
                      "; 'reelwright dump' lists them");
  return kExitFailed;
}

int CompareCommand(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
  CompareOptions options;
  std::vector<std::string> maps, files;
  ArgParser parser;
  parser.Flag(nullptr, "--imported", options.imported);
  parser.Values(nullptr, "--map", "OLD=NEW", maps);
  const std::string problem = parser.Parse(words, files);
  if (!problem.empty()) return UsageError(err, problem);
  if (files.size() != 2) return UsageError(err, "compare needs two NIS files");
  for (const std::string& map : maps) {
    const size_t equals = map.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == map.size())
      return UsageError(err, "--map needs OLD=NEW, not " + QuoteText(map));
    options.renamed[map.substr(0, equals)] = map.substr(equals + 1);
  }
  NisDocument first, second;
  if (!ReadNis(files[0], first, err) || !ReadNis(files[1], second, err)) return kExitUsage;
  const std::unique_ptr<SceneMotion> a = ReadSceneMotion(first), b = ReadSceneMotion(second);
  const std::string tooLarge = SamplingProblem(*a, a->followers.size() + b->followers.size());
  if (!tooLarge.empty()) {
    ReportFileError(err, files[0], "error: " + tooLarge);
    return kExitFailed;
  }
  std::vector<std::string> unmatched;
  const std::vector<FollowerDifference> differences = CompareScenes(*a, *b, options, unmatched);

  bool within = true;
  char line[256];
  for (const FollowerDifference& d : differences) {
    within = within && d.Within();
    out << d.name;
    if (d.otherName.empty()) {
      out << ": not in " << files[1] << "\n";
      continue;
    }
    if (d.otherName != d.name) out << " (" << d.otherName << ")";
    std::snprintf(line, sizeof line, ": position %.3g at frame %lld, rotation %.3g rad at frame %lld%s\n", d.position,
                  static_cast<long long>(d.positionFrame), d.rotation, static_cast<long long>(d.rotationFrame),
                  d.Within() ? "" : "  OFF");
    out << line;
  }
  for (const std::string& name : unmatched) out << name << ": only in " << files[1] << "\n";
  std::snprintf(line, sizeof line, "%s: frames %lld to %lld, tolerance %g relative in position, %g rad in rotation\n",
                within ? "same motion" : "different motion", static_cast<long long>(a->firstFrame),
                static_cast<long long>(a->lastFrame), kPositionTolerance, kRotationTolerance);
  out << line;
  return within ? kExitOk : kExitFailed;
}

}  // namespace rw
