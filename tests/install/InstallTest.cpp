// The manual page and the bash completion that the packages install: the page names exactly the
// options --help names and renders without warnings; the completion completes in a real bash.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "cli/Cli.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using test::HaveProgram;

// Every "-x" or "--name" in text that starts a word (or follows "[", "|" or "(").
std::set<std::string> OptionsIn(const std::string& text) {
  static const std::regex option(R"((?:^|[\s\[|(])(--?[a-z][a-z-]*))");
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), option), end; it != end; ++it) found.insert((*it)[1]);
  return found;
}

// The options the page documents: the tag line after each .TP, with roff's "\-" read as "-".
std::set<std::string> PageOptions(const std::string& page) {
  std::istringstream lines(page);
  std::string line, tags;
  for (bool tag = false; std::getline(lines, line); tag = line == ".TP") {
    if (tag) tags += std::regex_replace(line, std::regex(R"(\\-)"), "-") + "\n";
  }
  return OptionsIn(tags);
}

TEST(ManualPage, DocumentsExactlyTheOptionsOfHelp) {
  std::ostringstream help, err;
  ASSERT_EQ(RunCli({"--help"}, help, err), kExitOk);
  const std::set<std::string> inHelp = OptionsIn(help.str());
  const std::set<std::string> inPage = PageOptions(test::ReadFileBytes(RW_MANUAL_PAGE));
  // Guards the parsers: both lists hold the export options and --version.
  for (const char* option : {"-o", "--output", "--log", "-f", "--quiet", "--json", "--keys", "--version"}) {
    EXPECT_TRUE(inHelp.count(option)) << option << " not found in --help";
    EXPECT_TRUE(inPage.count(option)) << option << " not found in the manual page";
  }
  EXPECT_EQ(inPage, inHelp) << "the manual page and --help name different options";
}

TEST(ManualPage, RendersWithoutWarnings) {
  if (!HaveProgram("groff")) GTEST_SKIP() << "groff is not installed (Debian: groff-base)";
  const test::Outcome run = test::Run("", "groff -ww -man -Tutf8 '" RW_MANUAL_PAGE "' >/dev/null");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, "") << "groff's warnings";
}

// A command line being completed (its last word is the one under the cursor) and the sorted
// completions, one per line. The scratch folder holds a.ms3d, B.GLB, c.gltf, fleet.nis,
// "two words.nis", fleet.script, notes.txt and the folder shots.
struct CompletionCase {
  const char* name;
  const char* words;
  const char* completions;
};

// Shown in the test's name and in failures.
void PrintTo(const CompletionCase& c, std::ostream* os) { *os << c.name; }

class CompletionTest : public ::testing::TestWithParam<CompletionCase> {};

TEST_P(CompletionTest, CompletesInBash) {
  if (!HaveProgram("bash")) GTEST_SKIP() << "bash is not installed";
  test::ScratchDir scratch;
  for (const char* file : {"a.ms3d", "B.GLB", "c.gltf", "fleet.nis", "two words.nis", "fleet.script", "notes.txt"})
    test::WriteFileBytes(scratch.Path(file), "");
  std::filesystem::create_directory(scratch.Path("shots"));
  test::WriteFileBytes(scratch.Path("complete.sh"), "source '" RW_COMPLETION "'\nCOMP_WORDS=(" +
                                                      std::string(GetParam().words) +
                                                      ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_reelwright\n"
                                                      "printf '%s\\n' \"${COMPREPLY[@]}\" | LC_ALL=C sort\n");
  const test::Outcome run = test::Run(scratch.dir(), "bash --norc --noprofile complete.sh");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.out + run.err, GetParam().completions);
}

INSTANTIATE_TEST_SUITE_P(
    Completion, CompletionTest,
    ::testing::Values(
        CompletionCase{"CommandFromItsStart", "reelwright ex", "export\n"},
        CompletionCase{"EveryCommand", "reelwright ''", "--help\n--version\ncheck\ncompare\ndump\nexport\nimport\npreview\n"},
        CompletionCase{"ExportOptions", "reelwright export a.ms3d -", "--animation\n--force\n--log\n--output\n--quiet\n-f\n-o\n-q\n"},
        CompletionCase{"ExportTakesModelsInAnyCase", "reelwright export ''", "B.GLB\na.ms3d\nc.gltf\nshots\n"},
        CompletionCase{"ExportOutputIsNis", "reelwright export a.ms3d -o ''", "fleet.nis\nshots\ntwo words.nis\n"},
        CompletionCase{"LogTakesAnyFile", "reelwright export --log f", "fleet.nis\nfleet.script\n"},
        CompletionCase{"DumpOptions", "reelwright dump --", "--frames\n--json\n--keys\n"},
        CompletionCase{"CheckFirstFileIsNis", "reelwright check ''", "fleet.nis\nshots\ntwo words.nis\n"},
        CompletionCase{"CheckSecondFileIsScript", "reelwright check fleet.nis ''", "fleet.script\nshots\n"},
        CompletionCase{"AfterDoubleDashEveryWordIsAFile", "reelwright check -- -x ''", "fleet.script\nshots\n"},
        CompletionCase{"ImportOutputIsGlb", "reelwright import fleet.nis -o ''", "B.GLB\nshots\n"},
        CompletionCase{"CompareSkipsTheMapValue", "reelwright compare --map a=b fleet.nis ''", "fleet.nis\nshots\ntwo words.nis\n"},
        CompletionCase{"UnknownCommandNothing", "reelwright bogus ''", "\n"}),
    [](const ::testing::TestParamInfo<CompletionCase>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace rw
