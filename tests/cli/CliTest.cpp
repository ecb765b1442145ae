// The reelwright program as a user runs it: arguments, exit codes, what it prints, and which
// files it leaves. Each run gets a fresh scratch folder; every file in it before the run is
// compared byte for byte afterwards.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/StagedFiles.h"
#include "examples/Ms3dWriter.h"
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

// Every regular file and link below dir, by relative path, with its bytes (a link: "-> target").
std::map<std::string, std::string> FilesIn(const std::string& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    const std::string name = entry.path().lexically_relative(dir).string();
    if (entry.is_symlink()) {
      files[name] = "-> " + fs::read_symlink(entry.path()).string();
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
  const std::string refused = "reelwright: ";
  // Writes fail past 4 KiB (the signal that would end the program is ignored, as a shell's
  // background jobs do): the example's 5,639-byte NIS file cannot be written.
  const std::string smallDisk = "trap '' XFSZ; ulimit -f 4;";
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
      // Where the files go.
      {"export scene.ms3d -q -o shot", 0, kSuccess, "", {"shot.nis", "shot.script"}},  // no dot: ".nis" added
      {"export scene.ms3d -q -o shot.dat", 0, kSuccess, "", {"shot.dat", "shot.script"}},
      {"export scene.ms3d -q -o sub.d/shot", 0, kSuccess, "", {"sub.d/shot.nis", "sub.d/shot.script"}},
      {"export scene.ms3d -q -o sub.d", 0, kSuccess, "", {"sub.d/scene.nis", "sub.d/scene.script"}},  // a folder
      {"export scene.ms3d -q -o new.d/", 2, "", refused + "new.d/scene.nis: error: the folder new.d/ does not exist\n", {}},
      {"export scene.ms3d -q", 0, kSuccess, "", {"scene.nis", "scene.script"}},  // named after the model
      {"export scene.ms3d -q -o " + fits, 0, kSuccess, "", {fits + ".nis", fits + ".script"}},
      {"export scene.ms3d -o " + over, 2, "",
       refused + over + ".nis: error: has 256 characters, more than the 255 the save dialog takes\n", {}},
      {"export scene.ms3d -o nowhere/out.nis", 2, "", refused + "nowhere/out.nis: error: the folder nowhere/ does not exist\n", {}},
      // Nothing is replaced without --force, and nothing ever replaces the model or another output.
      {"export scene.ms3d -o old.nis", 2, "", refused + "old.nis: error: exists; use --force to replace it\n", {}},
      {"export scene.ms3d -o old --force -q", 0, kSuccess, "", {"old.script"}, {}, "", {"old.nis"}},
      {"export scene.ms3d -o old -f -q", 0, kSuccess, "", {"old.script"}, {}, "", {"old.nis"}},
      {"export scene.ms3d -o shots.d/ --force -q", 0, kSuccess, "", {"shots.d/scene.nis", "shots.d/scene.script"}},
      {"export scene.ms3d -q -o out.nis", 2, "", refused + "out.script: error: exists; use --force to replace it\n", {},
       {{"out.script", "old script"}}},
      {"export scene.ms3d -q -o out.nis", 2, "", refused + "out.script: error: exists; use --force to replace it\n", {},
       {{"out.script", "-> target.txt"}, {"target.txt", "not ours"}}},
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
      {"dump good.nis --keys --json", 0, "...\"inTangent\": [1, 0]", "", {}},
      {"dump good.nis --frames 'FOLW_Root|Ship'", 0, "...\n  {\"frame\": 72, \"time\": 3, \"at\": [[2, 3, 4, ", "", {}},
      {"dump good.nis --frames Nobody", 2, "", "reelwright: error: no follower is named \"Nobody\"\n" + kSeeHelp, {}},
      {"dump good.nis --yaml", 2, "", "reelwright: error: unknown option --yaml\n" + kSeeHelp, {}},
      {"dump cut.nis", 1, "...ANIM at 71, length 1574: partly decoded, stopped at 99: ANIM #1 keyLayout: needs 2 bytes",
       "reelwright: cut.nis: 7 structural faults, listed in the dump\n", {}},
      // A failed write is an error, and a failed run leaves the old files as they were.
      {"export scene.ms3d -f -o old.nis", 1, "...ERROR: Writing the NIS file \"old.nis\" failed: cannot write to the file (File too large)\n",
       kFailure, {}, {}, smallDisk},
      {"export scene.ms3d -q -o out.nis --log run.log", 1, "", kFailure, {"run.log"}, {}, smallDisk},
      {"export huge.ms3d -q -o huge.nis", 1, "", kFailure, {}, {{"huge.ms3d", HugeSceneModel()}}},
  };
  for (const CliCase& c : cases) {
    SCOPED_TRACE("reelwright " + c.args);
    const test::ScratchDir scratch;
    std::map<std::string, std::string> before = BaseFiles();
    before.insert(c.extraFiles.begin(), c.extraFiles.end());
    for (const auto& [name, bytes] : before) {
      if (bytes.rfind("-> ", 0) == 0) {
        fs::create_symlink(bytes.substr(3), scratch.Path(name));
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
    if (!c.written.empty() && c.written[0].find(".nis") != std::string::npos) {
      EXPECT_EQ(after[c.written[0]].substr(0, 4), "FORM");
    }
  }
}

// What the console shows is the log as it grows, with plain line ends; --log keeps CR LF.
TEST(Cli, LogStreamsToStdoutAndToTheLogFile) {
  const test::ScratchDir scratch;
  test::WriteFileBytes(scratch.Path("scene.ms3d"), kExample);
  const Outcome outcome = RunProgram(scratch, "export scene.ms3d -o out.nis --log run.log");
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  const std::string log = test::ReadFileBytes(scratch.Path("run.log"));
  EXPECT_EQ(log.rfind("======================== NIS Export ========================\r\n"
                      "Reelwright v0.9.0.0b\r\nExporting NIS to \"out.nis\"...\r\n", 0), 0u) << log;
  std::string plain;
  for (size_t i = 0; i < log.size(); ++i) {
    if (log[i] == '\n') { ASSERT_TRUE(i > 0 && log[i - 1] == '\r') << "LF without CR at byte " << i; }
    if (!(log[i] == '\r' && i + 1 < log.size() && log[i + 1] == '\n')) plain += log[i];
  }
  EXPECT_EQ(outcome.out, plain + kSuccess);
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
