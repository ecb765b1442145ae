// The reelwright program as a user runs it: arguments, exit codes, what it prints, what files
// it leaves. Each test runs the built program in its own scratch folder.
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

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::WriteFileBytes(scratch.Path("scene.ms3d"), test::ReadFileBytes(std::string(RW_EXAMPLES_DIR) + "/fleet.ms3d"));
  }
  // Runs reelwright with args inside the scratch folder (no quotes in our words).
  Outcome Run(const std::vector<std::string>& args) {
    const std::string errPath = scratch.dir() + ".err";
    std::string command = "cd '" + scratch.dir() + "' && '" RW_REELWRIGHT "'";
    for (const std::string& arg : args) command += " '" + arg + "'";
    Outcome outcome;
    std::FILE* pipe = popen((command + " 2>'" + errPath + "'").c_str(), "r");
    char buffer[4096];
    for (size_t got; pipe && (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.out.append(buffer, got);
    const int status = pipe ? pclose(pipe) : -1;
    outcome.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.err = test::ReadFileBytes(errPath);
    return outcome;
  }
  std::string File(const std::string& name) { return test::ReadFileBytes(scratch.Path(name)); }
  size_t FileCount() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scratch.dir())) count += entry.is_regular_file();
    return count;
  }
  test::ScratchDir scratch;
};

const char kSuccessLine[] = "Successfully Exported NIS!\n";

// Calls that write nothing: each one line (or the usage) on the right stream and its exit code.
TEST_F(CliTest, ArgumentsAndUnreadableModels) {
  test::WriteFileBytes(scratch.Path("bad.ms3d"), "NOT A MODEL, JUST TEXT");
  struct Case {
    std::vector<std::string> args;
    int code;
    std::string out, err;  // exact
  };
  const std::string seeHelp = "reelwright: see 'reelwright --help'\n";
  const Case cases[] = {
      {{"--version"}, 0, "Reelwright v0.9.0.0b\n", ""},
      {{"export"}, 2, "", "reelwright: error: export needs a model file\n" + seeHelp},
      {{"export", "scene.ms3d", "--bogus"}, 2, "", "reelwright: error: unknown option --bogus\n" + seeHelp},
      {{"export", "scene.ms3d", "-o"}, 2, "", "reelwright: error: -o needs a file name\n" + seeHelp},
      {{"export", "a.ms3d", "b.ms3d"}, 2, "", "reelwright: error: more than one model file (a.ms3d, b.ms3d)\n" + seeHelp},
      {{"render", "scene.ms3d"}, 2, "", "reelwright: error: unknown command render\n" + seeHelp},
      {{"export", "missing.ms3d"}, 2, "",
       "reelwright: missing.ms3d: error: cannot open the file (No such file or directory)\n"},
      {{"export", "."}, 2, "", "reelwright: .: error: is a folder, not a model file\n"},
      {{"export", "/dev/zero"}, 2, "", "reelwright: /dev/zero: error: is not a plain file\n"},  // endless
      {{"export", "bad.ms3d", "-o", "x.nis"}, 2, "",
       "reelwright: bad.ms3d: error at byte 0: not an .ms3d file: the id is \"NOT A MODE\", not \"MS3D000000\"\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0] + (c.args.size() > 1 ? " " + c.args[1] : ""));
    const Outcome outcome = Run(c.args);
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_EQ(outcome.out, c.out);
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(FileCount(), 2u);  // scene.ms3d and bad.ms3d only
  }
  const Outcome help = Run({"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_EQ(help.out.rfind("Usage:\n  reelwright export MODEL.ms3d", 0), 0u) << help.out;
  const Outcome none = Run({});
  EXPECT_EQ(none.code, 2);
  EXPECT_EQ(none.err, help.out);
}

TEST_F(CliTest, OutputPathFromTheCommandLineOrTheModel) {
  std::filesystem::create_directories(scratch.Path("sub.d"));
  struct Case {
    std::vector<std::string> args;
    const char* nis;
    const char* script;
  };
  const Case cases[] = {
      {{"export", "scene.ms3d", "-o", "out"}, "out.nis", "out.script"},         // no dot: ".nis" added
      {{"export", "scene.ms3d", "-o", "out.dat"}, "out.dat", "out.script"},     // kept as given
      {{"export", "scene.ms3d", "-o", "sub.d/shot"}, "sub.d/shot.nis", "sub.d/shot.script"},  // dot in a folder only
      {{"export", "scene.ms3d", "-q"}, "scene.nis", "scene.script"},            // from the model's path
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.nis);
    const Outcome outcome = Run(c.args);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(File(c.nis).substr(0, 4), "FORM");
    EXPECT_TRUE(test::FileExists(scratch.Path(c.script)));
  }
}

TEST_F(CliTest, ExistingOutputIsRefusedUnlessForced) {
  test::WriteFileBytes(scratch.Path("out.nis"), "keep");
  Outcome outcome = Run({"export", "scene.ms3d", "-o", "out.nis"});
  EXPECT_EQ(outcome.code, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "reelwright: error: output file \"out.nis\" exists; use --force to replace it\n");
  EXPECT_EQ(File("out.nis"), "keep");
  EXPECT_FALSE(test::FileExists(scratch.Path("out.script")));

  std::filesystem::create_directories(scratch.Path("shots.d"));  // a folder is never replaced
  outcome = Run({"export", "scene.ms3d", "-o", "shots.d", "--force"});
  EXPECT_EQ(outcome.code, 2);
  EXPECT_EQ(outcome.err, "reelwright: error: output path \"shots.d\" is a folder\n");

  for (const char* force : {"--force", "-f"}) {
    outcome = Run({"export", "scene.ms3d", "-o", "out", force, "-q"});
    EXPECT_EQ(outcome.code, 0) << force;
    EXPECT_EQ(outcome.out, kSuccessLine);
    EXPECT_EQ(File("out.nis").substr(0, 4), "FORM");
  }
}

// The dialog's buffer holds 255 characters and the terminator.
TEST_F(CliTest, PathsOverTheDialogLimitAreRefused) {
  const std::string folder(200, 'd');
  std::filesystem::create_directories(scratch.Path(folder));
  const std::string fits = folder + "/" + std::string(50, 'a') + ".nis";  // 255 characters
  Outcome outcome = Run({"export", "scene.ms3d", "-q", "-o", fits});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_TRUE(test::FileExists(scratch.Path(fits)));

  const std::string over = folder + "/" + std::string(51, 'b');  // 256 once ".nis" is added
  outcome = Run({"export", "scene.ms3d", "-o", over});
  EXPECT_EQ(outcome.code, 2);
  EXPECT_EQ(outcome.err, "reelwright: error: output path \"" + over + ".nis\" has 256 characters, more than 255\n");
  EXPECT_EQ(FileCount(), 3u);  // the model and the first run's two files
}

// What the console shows is the log as it grows, with plain line ends; --log keeps CR LF.
TEST_F(CliTest, LogStreamsToStdoutAndToTheLogFile) {
  const Outcome outcome = Run({"export", "scene.ms3d", "-o", "out.nis", "--log", "run.log"});
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  const std::string log = File("run.log");
  const std::string head =
      "======================== NIS Export ========================\r\n"
      "Reelwright v0.9.0.0b\r\n"
      "Exporting NIS to \"out.nis\"...\r\n";
  EXPECT_EQ(log.substr(0, head.size()), head);
  EXPECT_NE(log.find("Got camera \"CAM_Main\""), std::string::npos);
  for (size_t at = log.find('\n'); at != std::string::npos; at = log.find('\n', at + 1))
    ASSERT_EQ(log[at - 1], '\r') << "LF without CR at byte " << at;
  std::string plain;
  for (size_t i = 0; i < log.size(); ++i)
    if (!(log[i] == '\r' && i + 1 < log.size() && log[i + 1] == '\n')) plain += log[i];
  EXPECT_EQ(outcome.out, plain + kSuccessLine);
  EXPECT_EQ(outcome.err, "");
}

TEST_F(CliTest, MissingOutputFolderIsAFailedExport) {
  const Outcome outcome = Run({"export", "scene.ms3d", "-o", "nowhere/out.nis"});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.err, "Error while exporting NIS...\nWritten file may not be usable...\n");
  EXPECT_NE(outcome.out.find("ERROR: Unable to attach an IFF chunk to given file output!\n"), std::string::npos);
  EXPECT_EQ(FileCount(), 1u);
}

}  // namespace
}  // namespace rw
