// The reelwright program as a user runs it (export, dump, check, preview): arguments, exit codes,
// what it prints, and which files it leaves. Each run gets a fresh scratch folder; every file in it before the run is
// compared byte for byte afterwards.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/StagedFiles.h"
#include "examples/Ms3dWriter.h"
#include "preview/PreviewPage.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

namespace fs = std::filesystem;

using test::Outcome;

const std::string kLongFolder(200, 'd');  // the dialog's buffer holds 255 characters and the terminator
const std::string kExample = test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d");

// One bone with 65,535 keys and 300 keyless children that take them: curves of more than 4 GiB.
std::string HugeSceneModel() {
  Ms3dFile file;
  Ms3dJoint top{"Top", "", {}, {}, {}, {}};
  for (int k = 0; k < 65535; ++k) {
    top.positionKeys.push_back({FrameToSeconds(k + 1, 24), {}});
    top.rotationKeys.push_back({FrameToSeconds(k + 1, 24), {}});
  }
  file.joints.push_back(top);
  for (int i = 0; i < 300; ++i) file.joints.push_back({"Child" + std::to_string(i), "Top", {}, {}, {}, {}});
  return WriteMs3d(file);
}

// One keyed bone, the file's fps and the model comment as given.
std::string ModelWithFrameRates(float fileFps, const std::string& comment) {
  Ms3dFile file;
  file.fps = fileFps;
  file.hasModelComment = true;
  file.modelComment = comment;
  file.joints.push_back({"Hull", "", {}, {}, {{0, {}}}, {{0, {}}}});
  return WriteMs3d(file);
}

// One bone without a single key: the scan logs "No frames found!", an error, while the plug-in's
// result line still says it succeeded.
std::string KeylessModel() {
  Ms3dFile file;
  file.joints.push_back({"Hull", "", {}, {}, {}, {}});
  return WriteMs3d(file);
}

// A keyed ship and a camera; the camera has keys only when keyedCamera is set (else it is dropped),
// a global cut to it, and its centre of interest as given.
std::string CameraModel(bool keyedCamera, const std::string& centerOfInterest) {
  Ms3dFile file;
  file.joints.push_back({"Hull", "", {}, {}, {{0, {}}}, {{0, {}}}});
  file.joints.push_back({"CAM_Main", "", {}, {}, {}, {}});
  if (keyedCamera) file.joints.back().positionKeys = file.joints.back().rotationKeys = {{0, {}}};
  file.hasModelComment = true;
  file.modelComment = "OPT_FPS=24\nNum Events=1\nEvent0=0|cameraCut|CAM_Main\n";
  file.jointComments = {{0, "Sob Type=Frigate"}, {1, "Center Of Interest=" + centerOfInterest}};
  return WriteMs3d(file);
}

// Twenty global events that attack a guide 30 levels down: each statement holds its 1,000-byte
// path, so the script outgrows 4 KiB while the NIS file of the one keyed bone stays small.
std::string LongScriptModel() {
  Ms3dFile file;
  file.joints.push_back({"Hull", "", {}, {}, {{0, {}}}, {{0, {}}}});
  std::string parent;
  for (int depth = 0; depth < 30; ++depth) {
    std::string name = "IG_" + std::to_string(depth) + std::string(28, 'g');
    file.joints.push_back({name.substr(0, 31), parent, {}, {}, {}, {}});
    parent = name.substr(0, 31);
  }
  file.hasModelComment = true;
  file.modelComment = "OPT_FPS=24\nNum Events=20\n";
  for (int i = 0; i < 20; ++i) file.modelComment += "Event" + std::to_string(i) + "=0|attack|" + parent + "\n";
  return WriteMs3d(file);
}

// One keyed joint with the name, joint comment and model comment as given.
std::string ModelWithTexts(const std::string& name, const std::string& comment, const std::string& modelComment) {
  Ms3dFile file;
  file.hasModelComment = true;
  file.modelComment = modelComment;
  file.joints.push_back({name, "", {}, {}, {{0, {}}}, {{0, {}}}});
  file.jointComments = {{0, comment}};
  return WriteMs3d(file);
}

// The files every run starts with: the example model, a text file posing as a model, an old NIS
// file, NIS files and scripts for dump and check (sound, with a warning: a camera whose follower
// was not exported, with an error, cut short, too short for a head, of another FORM type), and
// (made by the test) the folders sub.d, shots.d and kLongFolder.
std::map<std::string, std::string> BaseFiles() {
  test::TestScene warn = test::TestScene::Default(), broken = warn;
  warn.cameras[0].follower = "FOLW_Preview";
  broken.followers[1].leader = "LEAD_Nobody";
  const std::string good = test::TestScene::Default().Build();
  return {{"scene.ms3d", kExample},       {"bad.ms3d", "NOT A MODEL, JUST TEXT"},
          {"old.nis", "keep"},            {"good.nis", good},
          {"warn.nis", warn.Build()},     {"broken.nis", broken.Build()},
          {"cut.nis", good.substr(0, 100)}, {"short.nis", "FORM"},
          {"aiff.nis", std::string("FORM\0\0\0\4AIFF", 12)},
          {"bad.script", "with FOLW_Root|Nobody\n{\n}\n"},
          {"cut.script", "at frame 1\n\tcameraCut(\"CAM_Main\")\n"}};
}

// Events a second past good.nis's end, naming its camera and its ship by their file names.
const std::string kLateScript = "at 4\n\tcameraCut(\"CAM_Main\")\n\tfade(\"FOLW_Root|Ship\", 1)\n";

// A file of that many zero bytes that takes no room on the disk, as a starting file.
const std::string kSparse = "sparse, bytes: ";
std::string Sparse(uint64_t size) { return kSparse + std::to_string(size); }

// Every regular file and link below dir, by relative path, with its bytes (a link: "-> target";
// a file of more than 64 MiB: Sparse(its size)).
std::map<std::string, std::string> FilesIn(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    const std::string name = entry.path().lexically_relative(dir).string();
    if (entry.is_symlink()) {
      files[name] = "-> " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_regular_file() && entry.file_size() > (1u << 26)) {
      files[name] = Sparse(entry.file_size());
    } else if (entry.is_regular_file()) {
      files[name] = test::ReadFileBytes(entry.path().string());
    }
  }
  return files;
}

// Runs `prefix reelwright args` through bash inside scratch.
Outcome RunProgram(const test::ScratchDir& scratch, const std::string& args, const std::string& prefix = "") {
  return test::Run(scratch.dir(), "bash -c \"" + prefix + " exec '" RW_REELWRIGHT "' " + args + "\"");
}

// A glTF scene whose buffer is the file ext.bin beside it.
const std::string kExternalGltf = R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}],
    "nodes": [{"name": "Ship"}], "buffers": [{"byteLength": 4, "uri": "ext.bin"}]})";
const std::string kSuccess = "Successfully Exported NIS!\n";
const std::string kFailure = "Error while exporting NIS...\nWritten file may not be usable...\n";
const std::string kSeeHelp = "reelwright: see 'reelwright --help'\n";
const std::string kUsage = "...Usage:\n  reelwright export MODEL.ms3d";
const std::string kCameraWarning =
    "warning at byte 2923: CMRA #1 followerName: names follower \"FOLW_Preview\", which FOLW does not hold\n";
// expected is actual's exact text, or "..." and a part of it.
bool Matches(const std::string& actual, const std::string& expected) {
  return expected.rfind("...", 0) == 0 ? actual.find(expected.substr(3)) != std::string::npos : actual == expected;
}

struct CliCase {
  std::string args;
  int code;
  std::string out, err;
  std::vector<std::string> written;  // files the run leaves beyond the ones it started with (NIS first)
  std::map<std::string, std::string> extraFiles = {};  // more files to start with ("-> x": a link to x)
  std::string prefix = "";  // shell words before the program, e.g. a file size limit
  std::vector<std::string> replaced = {};  // starting files the run may change
};

// Each command line with its exit code, stdout and stderr (exact, or "..." and a part of it) and
// the files it writes. Every other file keeps its bytes, and no temporary file is left behind.
TEST(Cli, CommandLinesExitCodesOutputAndFiles) {
  const std::string fits = kLongFolder + "/" + std::string(50, 'a');  // 255 characters with ".nis"
  const std::string over = kLongFolder + "/" + std::string(51, 'b');  // 256 once ".nis" is added
  const std::string name255 = std::string(248, 'n'), name256(252, 'm');  // with ".script" and ".nis"
  const std::string refused = "reelwright: ";
  // Writes fail past 4 KiB: the example's 5,639-byte NIS file cannot be written.
  const std::string smallDisk = "ulimit -f 4;";
  const CliCase cases[] = {
      {"--version", 0, "Reelwright v0.9.0.0b\nreelwright 0.9.0\n", "", {}},
      {"--help", 0, kUsage, "", {}},
      {"", 2, "", kUsage, {}},
      {"export", 2, "", "reelwright: error: export needs a model file\n" + kSeeHelp, {}},
      {"export scene.ms3d --bogus", 2, "", "reelwright: error: unknown option --bogus\n" + kSeeHelp, {}},
      {"export scene.ms3d -o", 2, "", "reelwright: error: -o needs a file name\n" + kSeeHelp, {}},
      {"export a.ms3d b.ms3d", 2, "", "reelwright: error: more than one model file (a.ms3d, b.ms3d)\n" + kSeeHelp, {}},
      // One parser for every command: "--" ends the options, "--name=value" gives a value.
      {"export -q -o dash.nis -- -s.ms3d", 0, kSuccess, "", {"dash.nis", "dash.script"}, {{"-s.ms3d", kExample}}},
      {"export -q -s.ms3d", 2, "", "reelwright: error: unknown option -s.ms3d\n" + kSeeHelp, {}, {{"-s.ms3d", kExample}}},
      {"export -q --output=eq.nis scene.ms3d", 0, kSuccess, "", {"eq.nis", "eq.script"}},
      {"export scene.ms3d --output=", 2, "", "reelwright: error: --output needs a file name\n" + kSeeHelp, {}},
      {"export scene.ms3d --force=yes", 2, "", "reelwright: error: --force takes no value\n" + kSeeHelp, {}},
      {"export scene.ms3d -o a.nis --output b.nis", 2, "", "reelwright: error: --output is given more than once\n" + kSeeHelp, {}},
      {"dump -- --json", 2, "", "reelwright: --json: cannot open the file (No such file or directory)\n", {}},
      {"render scene.ms3d", 2, "", "reelwright: error: unknown command render\n" + kSeeHelp, {}},
      {"export missing.ms3d", 2, "", "reelwright: missing.ms3d: error: cannot open the file (No such file or directory)\n", {}},
      {"export .", 2, "", "reelwright: .: error: is a folder, not a file\n", {}},
      {"export /dev/zero", 2, "", "reelwright: /dev/zero: error: is not a plain file\n", {}},  // endless
      {"export bad.ms3d -o x.nis", 2, "",
       "reelwright: bad.ms3d: error at byte 0: not an .ms3d file: the id is \"NOT A MODE\", not \"MS3D000000\"\n", {}},
      // A file whose animation fps is not the one the export uses is worth a line before the log.
      {"export fps.ms3d -q", 0, kSuccess,
       "reelwright: fps.ms3d: warning: the file's animation runs at 30 fps, but OPT_FPS is 24; the NIS file uses 24 fps\n",
       {"fps.nis", "fps.script"}, {{"fps.ms3d", ModelWithFrameRates(30, "OPT_FPS=24")}}},
      {"export fps.ms3d -q", 0, kSuccess,
       "reelwright: fps.ms3d: warning: the file's animation runs at 25 fps, but the model comment has no OPT_FPS; the NIS "
       "file uses 24 fps\n",
       {"fps.nis", "fps.script"}, {{"fps.ms3d", ModelWithFrameRates(25, "")}}},
      {"export fps.ms3d -q", 0, kSuccess, "", {"fps.nis", "fps.script"}, {{"fps.ms3d", ModelWithFrameRates(30, "OPT_FPS=30")}}},
      // Texts longer than the modeller hands over are cut as it cuts them, and said so.
      {"export long.ms3d -q", 0, kSuccess,
       "reelwright: long.ms3d: warning: the model comment has 1024 bytes; the modeller hands over the first 1023\n"
       "reelwright: long.ms3d: warning: joint 0 \"" + std::string(32, 'J') + "\": its name has 32 bytes; the modeller "
       "hands over the first 31\n"
       "reelwright: long.ms3d: warning: joint 0 \"" + std::string(32, 'J') + "\": its comment has 1024 bytes; the "
       "modeller hands over the first 1023\n",
       {"long.nis", "long.script"},
       {{"long.ms3d", ModelWithTexts(std::string(32, 'J'), std::string(1024, 'c'), std::string(1024, 'm'))}}},
      {"export long.ms3d -q", 0, kSuccess, "", {"long.nis", "long.script"},
       {{"long.ms3d", ModelWithTexts(std::string(31, 'J'), std::string(1023, 'c'), std::string(1023, 'm'))}}},
      // Where the files go.
      {"export scene.ms3d -q -o shot", 0, kSuccess, "", {"shot.nis", "shot.script"}},  // no dot: ".nis" added
      {"export scene.ms3d -q -o shot.dat", 0, kSuccess, "", {"shot.dat", "shot.script"}},
      {"export scene.ms3d -q -o sub.d/shot", 0, kSuccess, "", {"sub.d/shot.nis", "sub.d/shot.script"}},
      {"export scene.ms3d -q -o sub.d", 0, kSuccess, "", {"sub.d/scene.nis", "sub.d/scene.script"}},  // a folder
      {"export sub.d/../scene.ms3d -q -o shots.d/", 0, kSuccess, "", {"shots.d/scene.nis", "shots.d/scene.script"}},
      {"export scene.ms3d -q -o new.d/", 2, "", refused + "new.d/scene.nis: error: the folder new.d/ does not exist\n", {}},
      {"export scene.ms3d -q", 0, kSuccess, "", {"scene.nis", "scene.script"}},  // named after the model
      {"export scene.ms3d -q -o " + fits, 0, kSuccess, "", {fits + ".nis", fits + ".script"}},
      {"export scene.ms3d -o " + over, 2, "",
       refused + over + ".nis: error: has 256 characters, more than the 255 the save dialog takes\n", {}},
      {"export scene.ms3d -o nowhere/out.nis", 2, "", refused + "nowhere/out.nis: error: the folder nowhere/ does not exist\n", {}},
      {"export scene.ms3d -q -o " + name255, 0, kSuccess, "", {name255 + ".nis", name255 + ".script"}},
      {"export scene.ms3d -o " + name256, 2, "",
       refused + name256 + ".nis: error: the name has 256 characters, more than the 255 a file name can have\n", {}},
      // Nothing is replaced without --force, and nothing ever replaces the model or another output.
      {"export scene.ms3d -o old.nis", 2, "", refused + "old.nis: error: exists; use --force to replace it\n", {}},
      {"export scene.ms3d -o old --force -q", 0, kSuccess, "", {"old.script"}, {}, "", {"old.nis"}},
      {"export scene.ms3d -o old -f -q", 0, kSuccess, "", {"old.script"}, {}, "", {"old.nis"}},
      {"export scene.ms3d -o shots.d/ --force -q", 0, kSuccess, "", {"shots.d/scene.nis", "shots.d/scene.script"}},
      {"export scene.ms3d -q -o out.nis", 2, "", refused + "out.script: error: exists; use --force to replace it\n", {},
       {{"out.script", "old script"}}},
      {"export scene.ms3d -q -o out.nis", 2, "", refused + "out.script: error: exists; use --force to replace it\n", {},
       {{"out.script", "-> target.txt"}, {"target.txt", "not ours"}}},
      {"export scene.ms3d -q -o out.nis", 2, "", refused + "out.script: error: exists; use --force to replace it\n", {},
       {{"out.script", "-> gone.txt"}}},  // a link to nothing is there too
      {"export scene.ms3d -q -f -o out.nis", 0, kSuccess, "", {"out.nis"}, {{"out.script", "-> gone.txt"}}, "", {"out.script"}},
      {"export scene.ms3d -q -f -o out.nis", 0, kSuccess, "", {"out.nis"},  // the link is replaced, not its target
       {{"out.script", "-> target.txt"}, {"target.txt", "not ours"}}, "", {"out.script"}},
      {"export scene.ms3d -q -o out.nis --log run.log", 2, "", refused + "run.log: error: exists; use --force to replace it\n",
       {}, {{"run.log", "old log"}}},
      {"export scene.ms3d -q -f -o out.nis --log scene.ms3d", 2, "",
       refused + "scene.ms3d: error: is the model file; the log file cannot replace it\n", {}},
      {"export scene.ms3d -q -o out.nis --log out.nis", 2, "",
       refused + "out.nis: error: would be both the NIS file and the log file\n", {}},
      {"export scene.ms3d -q -o out.nis --log out.script", 2, "",
       refused + "out.script: error: would be both the script and the log file\n", {}},
      {"export scene.ms3d -q -f -o scene.ms3d", 2, "", refused + "scene.ms3d: error: is the model file; the NIS file cannot replace it\n", {}},
      {"export scene.ms3d -q -o out.script", 2, "", refused + "out.script: error: would be both the NIS file and the script\n", {}},
      {"export scene.script -q", 2, "", refused + "scene.script: error: is the model file; the script cannot replace it\n", {},
       {{"scene.script", kExample}}},
      // --force replaces files and links only, and never a file the model is read from.
      {"export scene.ms3d -q -f -o out.nis --log fifo", 2, "", refused + "fifo: error: " + kNeverReplaced + "\n", {}, {},
       "mkfifo fifo;"},
      {"export ext.gltf -q -f -o ext.bin", 2, "", refused + "ext.bin: error: is a file the model is read from; the NIS file "
       "cannot replace it\n", {}, {{"ext.gltf", kExternalGltf}, {"ext.bin", "abcd"}}},
      {"export link.ms3d -q -f -o scene.ms3d", 2, "", refused + "scene.ms3d: error: is the model file; the NIS file cannot replace it\n",
       {}, {{"link.ms3d", "-> scene.ms3d"}}},
      // dump and check: 0 clean (check: or warnings only), 1 faults or errors, 2 unreadable or bad arguments.
      {"check good.nis", 0, "", "", {}},
      {"check warn.nis", 0, kCameraWarning, "", {}},
      {"check warn.nis --strict", 1, kCameraWarning, "", {}},
      {"check warn.nis cut.script", 1,
       kCameraWarning + "error: cut.script line 2: cameraCut names camera \"CAM_Main\", whose follower \"FOLW_Preview\" FOLW does not hold\n", "", {}},
      {"check broken.nis bad.script", 1,
       "error at byte 2531: FOLW #2 leaderName: names leader \"LEAD_Nobody\", which LEAD does not hold\n"
       "error: bad.script line 1: with \"FOLW_Root|Nobody\" names a follower that FOLW does not hold\n", "", {}},
      {"check short.nis", 2, "", "reelwright: short.nis: file has 4 bytes, too few for a FORM head (12)\n", {}},
      {"check good.nis missing.script", 2, "", "reelwright: missing.script: cannot open the file (No such file or directory)\n", {}},
      {"check good.nis --json", 2, "", "reelwright: error: unknown option --json\n" + kSeeHelp, {}},
      {"dump aiff.nis --json", 2, "", "reelwright: aiff.nis: offset 8: form type 'AIFF' is not 'NIS '\n", {}},
      {"dump .", 2, "", "reelwright: .: is a folder, not a file\n", {}},
      {"dump /dev/zero", 2, "", "reelwright: /dev/zero: is not a plain file\n", {}},
      // Files past a reader's limit are refused by their size, before they are read.
      {"dump big.nis", 2, "", "reelwright: big.nis: is larger than 4294967295 bytes, more than such a file can hold\n", {},
       {{"big.nis", Sparse(4294967296)}}},
      {"check good.nis big.script", 2, "", "reelwright: big.script: is larger than 1073741824 bytes, more than such a file can hold\n",
       {}, {{"big.script", Sparse(1073741825)}}},
      {"preview good.nis big.script", 2, "", "reelwright: big.script: is larger than 1073741824 bytes, more than such a file can hold\n",
       {}, {{"big.script", Sparse(1073741825)}}},
      {"dump good.nis --keys --json", 0, "...\"inTangent\": [1, 0]", "", {}},
      {"dump good.nis --frames 'FOLW_Root|Ship'", 0, "...\n  {\"frame\": 72, \"time\": 3, \"at\": [[2, 3, 4, ", "", {}},
      {"dump good.nis --frames Nobody", 2, "", "reelwright: error: no follower is named \"Nobody\"\n" + kSeeHelp, {}},
      // A script (the one beside by default) adds its events by the import's names; the scene plays on to its last.
      {"dump good.nis late.script --json", 0,
       "...\"events\": [\n      {\"line\": 2, \"seconds\": 4, \"block\": null, \"function\": \"cameraCut\", \"arguments\": "
       "\"\\\"CAM_Main\\\"\", \"target\": \"CAM_Main\"},\n      {\"line\": 3, \"seconds\": 4, \"block\": null, \"function\": "
       "\"fade\", \"arguments\": \"\\\"Ship\\\", 1\", \"target\": null}\n    ],\n    \"leftOut\": []", "", {}, {{"late.script", kLateScript}}},
      {"dump good.nis --frames 'FOLW_Root|Ship'", 0, "...\n  {\"frame\": 96, \"time\": 4, \"at\": [[2, 3, 4, ", "", {},
       {{"good.script", kLateScript}}},
      {"dump good.nis --json", 0, "...\"lastFrame\": 96,", "", {}, {{"good.script", kLateScript}}},
      {"dump good.nis gone.script --json", 2, "", "reelwright: gone.script: cannot open the file (No such file or directory)\n", {}},
      {"dump good.nis cut.script", 2, "", "reelwright: error: dump needs one NIS file\n" + kSeeHelp, {}},
      {"dump good.nis cut.script bad.script --json", 2, "",
       "reelwright: error: dump --json needs a NIS file and at most one script\n" + kSeeHelp, {}},
      {"dump good.nis --yaml", 2, "", "reelwright: error: unknown option --yaml\n" + kSeeHelp, {}},
      {"dump cut.nis", 1, "...ANIM at 71, length 1574: partly decoded, stopped at 99: ANIM #1 keyLayout: needs 2 bytes",
       "reelwright: cut.nis: 7 structural faults, listed in the dump\n", {}},
      // preview: the page beside the NIS file, with the script beside it when there is one.
      {"preview", 2, "", "reelwright: error: preview needs a NIS file and at most one script\n" + kSeeHelp, {}},
      {"preview a.nis b.script c.nis", 2, "", "reelwright: error: preview needs a NIS file and at most one script\n" + kSeeHelp, {}},
      {"preview missing.nis", 2, "", "reelwright: missing.nis: cannot open the file (No such file or directory)\n", {}},
      {"preview good.nis gone.script -o x.html", 2, "", "reelwright: gone.script: cannot open the file (No such file or directory)\n", {}},
      {"preview good.nis", 2, "", refused + "good.html: error: exists; use --force to replace it\n", {}, {{"good.html", "keep"}}},
      {"preview good.nis -o sub.d", 2, "", refused + "sub.d: error: is a folder\n", {}},
      {"preview good.nis cut.script -f -o cut.script", 2, "", refused + "cut.script: error: is the script; the page cannot replace it\n", {}},
      {"preview good.nis -f", 0, "preview written to good.html (script good.script)\n", "", {}, {{"good.html", "keep"}, {"good.script", "at 0\n"}}, "", {"good.html"}},
      {"preview good.nis --force -o b.html", 0, "preview written to b.html (no script)\n", "", {"b.html"}},
      {"preview cut.nis", 1, "preview written to cut.html (script cut.script)\n", "reelwright: cut.nis: 7 structural faults, listed in the preview\n", {"cut.html"}},
      {"preview good.nis", 1, "", "reelwright: good.html: error: cannot be written (File too large)\n", {}, {}, "ulimit -f 100;"},
      // A failed write is an error, and a failed run leaves the old files as they were.
      {"export scene.ms3d -f -o old.nis", 1, "...ERROR: Writing the NIS file \"old.nis\" failed: cannot write to the file (File too large)\n",
       kFailure, {}, {}, smallDisk},
      {"export scene.ms3d -q -o out.nis --log run.log", 1, "", kFailure, {"run.log"}, {}, smallDisk},
      {"export huge.ms3d -q -o huge.nis", 1, "", kFailure, {}, {{"huge.ms3d", HugeSceneModel()}}},
      {"export events.ms3d -q", 1, "", kFailure, {}, {{"events.ms3d", LongScriptModel()}}, smallDisk},
      // A logged error fails the command: the result line stands, a line of the command's own says
      // the export failed, and neither file is placed; the log and the report are.
      {"export nokeys.ms3d -q --log run.log --report run.json", 1, kSuccess,
       "reelwright: error: the export logged an error, so it failed; the NIS file and the script are not written\n",
       {"run.log", "run.json"}, {{"nokeys.ms3d", KeylessModel()}}},
      // The export checks what it wrote as `check` would: an error fails it, a warning is shown.
      {"export drop.ms3d -q", 1, kSuccess,
       "reelwright: error: drop.script line 2: cameraCut names \"FOLW_Root|CAM_Main\", neither a follower nor a camera of "
       "the file\nreelwright: error: the check of the written files found an error, so the export failed; the NIS file and "
       "the script are not written\n", {}, {{"drop.ms3d", CameraModel(false, "Hull")}}},
      {"export look.ms3d -q", 0, kSuccess,
       "reelwright: look.nis: warning at byte 2492: CMRA #1 centerOfInterest: names follower \"FOLW_Root|\", which FOLW does "
       "not hold\n", {"look.nis", "look.script"}, {{"look.ms3d", CameraModel(true, "Nobody")}}},
      // The report follows the output rules, and is written also for a refused run.
      {"export scene.ms3d -q -o old.nis --report run.json", 2, "", refused + "old.nis: error: exists; use --force to replace it\n",
       {"run.json"}},
      {"export bad.ms3d -q --report run.json", 2, "", "...not an .ms3d file", {"run.json"}},
      {"export scene.ms3d -q -f --report scene.ms3d", 2, "",
       refused + "scene.ms3d: error: is the model file; the report cannot replace it\n", {}},
  };
  for (const CliCase& c : cases) {
    SCOPED_TRACE("reelwright " + c.args);
    if (c.args.rfind("preview", 0) == 0 && !PreviewLibraryPresent()) continue;  // built without three.js
    const test::ScratchDir scratch;
    std::map<std::string, std::string> before = BaseFiles();
    before.insert(c.extraFiles.begin(), c.extraFiles.end());
    for (const auto& [name, bytes] : before) {
      if (bytes.rfind("-> ", 0) == 0) {
        fs::create_symlink(bytes.substr(3), scratch.Path(name));
      } else if (bytes.rfind(kSparse, 0) == 0) {
        test::WriteFileBytes(scratch.Path(name), "");
        fs::resize_file(scratch.Path(name), std::stoull(bytes.substr(kSparse.size())));
      } else {
        test::WriteFileBytes(scratch.Path(name), bytes);
      }
    }
    for (const std::string& folder : {std::string("sub.d"), std::string("shots.d"), kLongFolder})
      fs::create_directories(scratch.Path(folder));
    const Outcome outcome = RunProgram(scratch, c.args, c.prefix);
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_TRUE(Matches(outcome.out, c.out)) << outcome.out;
    EXPECT_TRUE(Matches(outcome.err, c.err)) << outcome.err;
    std::map<std::string, std::string> after = FilesIn(scratch.dir());
    for (const auto& [name, bytes] : before) {
      if (std::find(c.replaced.begin(), c.replaced.end(), name) != c.replaced.end()) continue;
      EXPECT_EQ(after[name], bytes) << name << " changed";
    }
    for (const std::string& name : c.written) EXPECT_TRUE(after.count(name)) << name << " not written";
    EXPECT_EQ(after.size(), before.size() + c.written.size()) << "unexpected or temporary files left";
    for (const std::string& name : c.written) {
      if (name.find(".nis") != std::string::npos) {
        EXPECT_EQ(after[name].substr(0, 4), "FORM") << name;
      } else if (name.find(".html") != std::string::npos) {
        EXPECT_EQ(after[name].rfind("<!DOCTYPE html>", 0), 0u) << name;
        EXPECT_EQ(after[name].find("@@"), std::string::npos) << name << ": a slot left unfilled";
      }
    }
  }
}

// The page names its file in its title, escaped as HTML.
TEST(Cli, PreviewTitleIsEscaped) {
  if (!PreviewLibraryPresent()) GTEST_SKIP() << "built without three.js";
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("R&D <1>.nis"), test::TestScene::Default().Build());
  ASSERT_EQ(RunProgram(scratch, "preview 'R&D <1>.nis' -o page.html").code, 0);
  EXPECT_NE(test::ReadFileBytes(scratch.Path("page.html")).find("<title>R&amp;D &lt;1&gt;.nis - "), std::string::npos);
}

// What the console shows is the log as it grows, with plain line ends and the control bytes of
// names escaped; --log keeps CR LF and the exact bytes.
TEST(Cli, LogStreamsToStdoutAndToTheLogFile) {
  const std::string raw = "Ship\x1B]0;x\x07\x1B[2J\x9B", shown = "Ship\\x1B]0;x\\x07\\x1B[2J\\x9B";
  Ms3dFile file;
  file.joints.push_back({raw, "", {}, {}, {{0, {}}}, {{0, {}}}});
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("scene.ms3d"), WriteMs3d(file));
  const Outcome outcome = RunProgram(scratch, "export scene.ms3d -o out.nis --log run.log");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const std::string log = test::ReadFileBytes(scratch.Path("run.log"));
  EXPECT_EQ(log.rfind("======================== NIS Export ========================\r\n"
                      "Reelwright v0.9.0.0b\r\nExporting NIS to \"out.nis\"...\r\n", 0), 0u) << log;
  EXPECT_NE(log.find("Got bone \"" + raw + "\".\r\n"), std::string::npos) << log;
  std::string plain;
  for (size_t i = 0; i < log.size(); ++i) {
    if (log[i] == '\n') { ASSERT_TRUE(i > 0 && log[i - 1] == '\r') << "LF without CR at byte " << i; }
    if (!(log[i] == '\r' && i + 1 < log.size() && log[i + 1] == '\n')) plain += log[i];
  }
  for (size_t at; (at = plain.find(raw)) != std::string::npos;) plain.replace(at, raw.size(), shown);
  EXPECT_EQ(outcome.out, plain + kSuccess);
}

// The report gives the run's result and every problem with its code, as the log or stderr says
// it; a program decides by "severity" and "result", never by the English text.
TEST(Cli, ReportListsTheResultAndEveryProblem) {
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("nokeys.ms3d"), KeylessModel());
  ASSERT_EQ(RunProgram(scratch, "export nokeys.ms3d -q --report run.json").code, 1);
  EXPECT_EQ(test::ReadFileBytes(scratch.Path("run.json")),
            R"({
  "format": "reelwright-report",
  "version": 1,
  "command": "export",
  "input": "nokeys.ms3d",
  "nis": "nokeys.nis",
  "script": "nokeys.script",
  "result": "failed",
  "exitCode": 1,
  "problems": [
    {
      "code": "fps-missing",
      "severity": "warning",
      "text": "No Frames per second given!\u000A\u0009-> Defaulting to 24"
    },
    {
      "code": "no-frames",
      "severity": "error",
      "text": "No frames found! Make sure you have keyframes defined!"
    },
    {
      "code": "bone-without-keys",
      "severity": "warning",
      "bone": "Root|Hull",
      "text": "Bone \"Hull\" is being ignored because it has no keyframes..."
    }
  ]
}
)");
  // A refused run writes its report alone, naming the refused file.
  fs::remove(scratch.Path("run.json"));
  test::WriteFileBytes(scratch.Path("old.nis"), "keep");
  ASSERT_EQ(RunProgram(scratch, "export nokeys.ms3d -q -o old.nis --report run.json").code, 2);
  const std::string refused = test::ReadFileBytes(scratch.Path("run.json"));
  EXPECT_NE(refused.find(R"("result": "refused",
  "exitCode": 2,
  "problems": [
    {
      "code": "output-refused",
      "severity": "error",
      "file": "old.nis",
      "text": "exists; use --force to replace it"
    }
  ])"), std::string::npos) << refused;
}

// A run held at a point it has reached, and what happens to it meanwhile. The script stops
// reading the run's stdout at the first line starting with `waitFor`, runs `meanwhile`, reads
// on, and prints the exit status, stderr, the files left and the first bytes of the NIS file
// and the script. The log holds a run still: once the NIS file is open ("Got bone"), the rest
// of the log is far more than a pipe holds. A stopped run (a signal, or a closed pipe) removes
// its temporary files and ends by its signal; a forced run that cannot place its last file puts back the files it replaced;
// a run waits for the lock of its place before it places its files.
TEST(Cli, RunsStoppedOrThwartedWhileTheyRun) {
  Ms3dFile file;
  for (int i = 0; i < 6000; ++i) file.joints.push_back({"Bone" + std::to_string(i), "", {}, {}, {{0, {}}}, {{0, {}}}});
  const std::string model = WriteMs3d(file), left = "many.ms3d\nmany.nis\nmany.script\nstop.sh\nold \nold";
  const std::string lock = "exec 9>>'" + PlacingLockPath("many.nis") + "'; flock 9";
  const struct {
    std::string before, args, waitFor, meanwhile, out;
  } cases[] = {
      {"", "export many.ms3d -f --log many.log", "Got bone", "kill -INT $!", "130\n" + left},
      {"", "export many.ms3d -f --log many.log", "Got bone", "kill -TERM $!", "143\n" + left},
      {"", "export many.ms3d -f --log many.log", "Got bone", "kill -HUP $!", "129\n" + left},
      {"", "export many.ms3d -f --log many.log", "Got bone", "exec 3<&-", "141\n" + left},  // the log's reader is gone
      {"", "export many.ms3d -f --log many.log", "Got bone", "mkdir many.log",
       "2\nreelwright: many.log: error: " + std::string(kNeverReplaced) + "\nmany.log\n" + left},
      {lock, "export many.ms3d -q -f", "Successfully", "head -c 4 many.nis; exec 9>&-",
       "old 0\nmany.ms3d\nmany.nis\nmany.script\nstop.sh\nFORM\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before + "; " + c.args + "; " + c.meanwhile);
    const test::ScratchDir scratch;
    test::WriteFileBytes(scratch.Path("many.ms3d"), model);
    test::WriteFileBytes(scratch.Path("many.nis"), "old NIS");
    test::WriteFileBytes(scratch.Path("many.script"), "old script");
    test::WriteFileBytes(scratch.Path("stop.sh"), "set -m; mkfifo log\n" + c.before + "\n'" RW_REELWRIGHT "' " + c.args +
                                                      " >log 2>err 9>&- &\n" +
                                                      "exec 3<log\nwhile IFS= read -r line <&3 && [[ $line != '" +
                                                      c.waitFor + "'* ]]; do :; done\n" + c.meanwhile +
                                                      "\ncat <&3 >/dev/null\nwait $!\necho $?\ncat err\nrm log err\n"
                                                      "ls -A\nhead -c 4 many.nis; echo; head -c 3 many.script\n");
    const Outcome outcome = test::Run(scratch.dir(), "bash stop.sh");
    EXPECT_EQ(outcome.out, c.out) << outcome.err;
  }
}

// Two exports racing to one output: a file that appears after the checks is never replaced
// without --force; what the losing run placed is taken back and its other files removed.
TEST(Cli, StagedFilesNeverReplaceAFileThatAppearedMeanwhile) {
  const test::ScratchDir scratch;
  for (bool replace : {false, true}) {
    StagedFiles staged;
    for (const char* name : {"a.nis", "a.script"}) {
      std::FILE* file = staged.Open(scratch.Path(name), "wb");
      ASSERT_NE(file, nullptr);
      std::fputs("ours", file);
      std::fclose(file);
    }
    test::WriteFileBytes(scratch.Path("a.script"), "theirs");
    std::string path, problem;
    EXPECT_EQ(staged.Place(replace, path, problem), replace);
    EXPECT_EQ(test::ReadFileBytes(scratch.Path("a.script")), replace ? "ours" : "theirs");
    EXPECT_EQ(FilesIn(scratch.dir()).size(), replace ? 2u : 1u) << "a.nis taken back, no temporary file left";
    if (!replace) {
      EXPECT_EQ(path + ": " + problem, scratch.Path("a.script") + ": appeared while the export ran; use --force to replace it");
    }
    fs::remove(scratch.Path("a.nis"));
  }
}

}  // namespace
}  // namespace rw
