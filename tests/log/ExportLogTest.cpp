#include <gtest/gtest.h>

#include "log/ExportLog.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

// Each test starts without sections or window, as after module load.
class ExportLogTest : public ::testing::Test {
 protected:
  void SetUp() override { LogCloseAll(); }
  void TearDown() override { LogCloseAll(); }
  test::RecordingPlatform platform;
};

TEST(ConvertLineEnds, AddsCrOnlyWhereTheSourceHasNone) {
  const std::pair<const char*, const char*> cases[] = {
      {"a\nb\n", "a\r\nb\r\n"},  // LF becomes CR LF
      {"\r\n", "\r\n"},          // a pair stays two characters
      {"\n\n", "\r\n\r\n"},      // two LFs, two pairs
      {"\nx", "\r\nx"},          // an LF as the very first character
      {"a\rb", "a\rb"},          // a lone CR stays
      {"\r\r\n", "\r\r\n"},      // the LF looks at the character right before it
      {"", ""},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(ConvertLineEnds(in), out) << test::ToHex(in);
}

TEST_F(ExportLogTest, EveryPrintGoesIntoEverySectionAndTheWindowShowsTheTop) {
  EXPECT_FALSE(LogRefresh());  // no window before the first run
  LogPrint("lost\n");         // no sections: it goes nowhere
  EXPECT_EQ(LogSectionCount(), 0u);
  LogCreateWindow();
  EXPECT_TRUE(LogRefresh());  // a window, but nothing to show
  EXPECT_EQ(platform.windowText, "");
  LogOpenSection();
  LogPrint("a\n");
  LogOpenSection();
  EXPECT_EQ(platform.windowText, "a\r\n");  // opening alone does not touch the window
  LogPrint("b%d\n", 2);
  EXPECT_EQ(LogSectionText(0), "a\r\nb2\r\n");
  EXPECT_EQ(LogSectionText(1), "b2\r\n");
  EXPECT_EQ(platform.windowText, "b2\r\n");
  EXPECT_EQ(platform.repaintFlags.back(), 0x105u);
  LogError(DiagnosticCode::kNoFrames, "bad %s\n", "thing");  // the prefix, then the message, in every section
  EXPECT_EQ(LogSectionText(0), "a\r\nb2\r\nERROR: bad thing\r\n");
  EXPECT_EQ(LogSectionText(1), "b2\r\nERROR: bad thing\r\n");
  LogCloseSection();
  LogCloseSection();  // the bottom section is never removed this way
  EXPECT_EQ(LogSectionCount(), 1u);
}

TEST_F(ExportLogTest, StageFrameLeavesHeadBodyAndEndInTheEnclosingSection) {
  LogCreateWindow();
  LogOpenSection();
  LogOpenStage("NIS Header");
  const size_t repaints = platform.repaintFlags.size();
  LogBoneWarning(DiagnosticCode::kNoSobType, "Root|B", "Bone \"%s\" odd\nsecond line\n", "B");
  EXPECT_EQ(platform.repaintFlags.size(), repaints + 2);  // the prefix and the message: two prints
  LogEndStage();
  const std::string expected =
      "======================== NIS Header ========================\r\n"
      "WARNING: Bone \"B\" odd\r\nsecond line\r\n"
      "\r\n======================== End ========================\r\n";
  EXPECT_EQ(LogSectionCount(), 1u);
  EXPECT_EQ(LogSectionText(0), expected);
  EXPECT_EQ(platform.windowText, expected);  // the refresh falls back to the enclosing section
  EXPECT_EQ(platform.printedText, expected);  // every text once, in order
  // The problem is kept as it was printed, with its code and bone, until the log is closed.
  ASSERT_EQ(LogProblems().size(), 1u);
  const Diagnostic& problem = LogProblems()[0];
  EXPECT_EQ(problem.code, DiagnosticCode::kNoSobType);
  EXPECT_FALSE(problem.isError());
  EXPECT_EQ(problem.bone, "Root|B");
  EXPECT_EQ(problem.what, "Bone \"B\" odd\nsecond line\n");
  LogCloseAll();
  EXPECT_TRUE(LogProblems().empty());
}

TEST_F(ExportLogTest, CloseAllEndsEverySectionDiscardsTextAndDestroysTheWindow) {
  LogCreateWindow();
  LogOpenSection();
  LogOpenStage("NIS Export");
  LogPrint("old run\n");
  LogCloseAll();
  EXPECT_EQ(LogSectionCount(), 0u);
  EXPECT_EQ(platform.windowsDestroyed, 1);
  EXPECT_FALSE(LogRefresh());
  LogOpenSection();
  LogPrint("new\n");
  EXPECT_EQ(LogSectionText(0), "new\r\n");  // nothing of the previous run remains
}

// A section ending with CR does not pair it with the next print's LF.
TEST_F(ExportLogTest, PrintsAreConvertedOneByOneAndKeptWhole) {
  LogOpenSection();
  LogPrint("x\r");
  LogPrint("\ny");
  EXPECT_EQ(LogTopText(), "x\r\r\ny");
  LogCloseAll();
  LogOpenSection();
  const std::string path(1000, 'p');
  LogPrint("Exporting NIS to \"%s\"...\n", path.c_str());
  EXPECT_EQ(LogTopText(), "Exporting NIS to \"" + path + "\"...\r\n");
  const std::string lines(300, '\n');  // 300 characters that grow to 600
  LogPrint("%s", lines.c_str());
  EXPECT_EQ(LogTopText().size(), 1000u + 24u + 600u);
}

}  // namespace
}  // namespace rw
