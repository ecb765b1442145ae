// The reelwright program as a user runs it: arguments, exit codes, what it prints, what files
// it leaves. Each run gets a fresh scratch folder.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TestSupport.h"

namespace rw {
namespace {

struct Outcome {
  int code = -1;
  std::string out, err;
};

const std::string kLongFolder(200, 'd');  // the dialog's buffer holds 255 characters and the terminator

// Runs reelwright with the shell words args (no quotes in them) inside a scratch folder that holds
// the example model as scene.ms3d, a text file bad.ms3d, an output old.nis, and the folders sub.d,
// shots.d and kLongFolder.
Outcome RunIn(const test::ScratchDir& scratch, const std::string& args) {
  test::WriteFileBytes(scratch.Path("scene.ms3d"), test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d"));
  test::WriteFileBytes(scratch.Path("bad.ms3d"), "NOT A MODEL, JUST TEXT");
  test::WriteFileBytes(scratch.Path("old.nis"), "keep");
  for (const std::string& folder : {std::string("sub.d"), std::string("shots.d"), kLongFolder})
    std::filesystem::create_directories(scratch.Path(folder));
  const std::string errPath = scratch.dir() + ".err";
  const std::string command = "cd '" + scratch.dir() + "' && '" RW_REELWRIGHT "' " + args + " 2>'" + errPath + "'";
  Outcome outcome;
  std::FILE* pipe = popen(command.c_str(), "r");
  char buffer[4096];
  for (size_t got; pipe && (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.out.append(buffer, got);
  const int status = pipe ? pclose(pipe) : -1;
  outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.err = test::ReadFileBytes(errPath);
  return outcome;
}

const std::string kSuccess = "Successfully Exported NIS!\n";
const std::string kSeeHelp = "reelwright: see 'reelwright --help'\n";
// expected is actual's exact text, or "..." and a part of it.
bool Matches(const std::string& actual, const std::string& expected) {
  return expected.rfind("...", 0) == 0 ? actual.find(expected.substr(3)) != std::string::npos : actual == expected;
}

const std::string kUsage = "...Usage:\n  reelwright export MODEL.ms3d";

// Each command line with its exit code, stdout and stderr (exact, or "..." and a part of it), and
// the files it writes (the first is the NIS file, a FORM). Nothing else is written, and old.nis keeps
// its bytes unless it is replaced.
TEST(Cli, CommandLinesExitCodesOutputAndFiles) {
  const std::string fits = kLongFolder + "/" + std::string(50, 'a');  // 255 characters with ".nis"
  const std::string over = kLongFolder + "/" + std::string(51, 'b');  // 256 once ".nis" is added
  const struct {
    std::string args;
    int code;
    std::string out, err;
    std::vector<std::string> files;
  } cases[] = {
      {"--version", 0, "Reelwright v0.9.0.0b\nreelwright 0.9.0\n", "", {}},
      {"--help", 0, kUsage, "", {}},
      {"", 2, "", kUsage, {}},
      {"export", 2, "", "reelwright: error: export needs a model file\n" + kSeeHelp, {}},
      {"export scene.ms3d --bogus", 2, "", "reelwright: error: unknown option --bogus\n" + kSeeHelp, {}},
      {"export scene.ms3d -o", 2, "", "reelwright: error: -o needs a file name\n" + kSeeHelp, {}},
      {"export a.ms3d b.ms3d", 2, "", "reelwright: error: more than one model file (a.ms3d, b.ms3d)\n" + kSeeHelp, {}},
      {"render scene.ms3d", 2, "", "reelwright: error: unknown command render\n" + kSeeHelp, {}},
      {"export missing.ms3d", 2, "", "reelwright: missing.ms3d: error: cannot open the file (No such file or directory)\n", {}},
      {"export .", 2, "", "reelwright: .: error: is a folder, not a file\n", {}},
      {"export /dev/zero", 2, "", "reelwright: /dev/zero: error: is not a plain file\n", {}},  // endless
      {"export bad.ms3d -o x.nis", 2, "",
       "reelwright: bad.ms3d: error at byte 0: not an .ms3d file: the id is \"NOT A MODE\", not \"MS3D000000\"\n", {}},
      {"export scene.ms3d -q -o shot", 0, kSuccess, "", {"shot.nis", "shot.script"}},  // no dot: ".nis" added
      {"export scene.ms3d -q -o shot.dat", 0, kSuccess, "", {"shot.dat", "shot.script"}},
      {"export scene.ms3d -q -o sub.d/shot", 0, kSuccess, "", {"sub.d/shot.nis", "sub.d/shot.script"}},
      {"export scene.ms3d -q", 0, kSuccess, "", {"scene.nis", "scene.script"}},  // named after the model
      {"export scene.ms3d -o old.nis", 2, "", "reelwright: error: output file \"old.nis\" exists; use --force to replace it\n", {}},
      {"export scene.ms3d -o shots.d --force", 2, "", "reelwright: error: output path \"shots.d\" is a folder\n", {}},
      {"export scene.ms3d -o old --force -q", 0, kSuccess, "", {"old.nis", "old.script"}},
      {"export scene.ms3d -o old -f -q", 0, kSuccess, "", {"old.nis", "old.script"}},
      {"export scene.ms3d -q -o " + fits, 0, kSuccess, "", {fits + ".nis", fits + ".script"}},
      {"export scene.ms3d -o " + over, 2, "", "reelwright: error: output path \"" + over + ".nis\" has 256 characters, more than 255\n", {}},
      {"export scene.ms3d -o nowhere/out.nis", 1, "...ERROR: Unable to attach an IFF chunk to given file output!\n",
       "Error while exporting NIS...\nWritten file may not be usable...\n", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("reelwright " + c.args);
    const test::ScratchDir scratch;
    const Outcome outcome = RunIn(scratch, c.args);
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_TRUE(Matches(outcome.out, c.out)) << outcome.out;
    EXPECT_TRUE(Matches(outcome.err, c.err)) << outcome.err;
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch.dir())) count += entry.is_regular_file();
    const bool replacesOld = !c.files.empty() && c.files[0] == "old.nis";
    EXPECT_EQ(count, 3 + c.files.size() - replacesOld);
    for (const std::string& file : c.files) EXPECT_TRUE(test::FileExists(scratch.Path(file))) << file;
    if (!c.files.empty()) { EXPECT_EQ(test::ReadFileBytes(scratch.Path(c.files[0])).substr(0, 4), "FORM"); }
    if (!replacesOld) { EXPECT_EQ(test::ReadFileBytes(scratch.Path("old.nis")), "keep"); }
  }
}

// What the console shows is the log as it grows, with plain line ends; --log keeps CR LF.
TEST(Cli, LogStreamsToStdoutAndToTheLogFile) {
  const test::ScratchDir scratch;
  const Outcome outcome = RunIn(scratch, "export scene.ms3d -o out.nis --log run.log");
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

}  // namespace
}  // namespace rw
