#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "scene/CommentOptions.h"

namespace rw {
namespace {

TEST(GetOption, FindsTheFirstPlaceOfTheKeyAndReadsToTheLineEnd) {
  const struct {
    const char* comment;
    const char* value;
  } cases[] = {
      {"OPT_FPS=30", "30"},
      {"OPT_FPS=30\r\nSob Type=Fighter", "30"},  // the CR goes with the line break
      {"OPT_FPS:30", "30"},                      // any character separates
      {"OPT_FPS = 30", "= 30"},                  // the blank is the separator; nothing is trimmed
      {"OPT_FPS=\nx", ""},
      {"OPT_FPS", ""},                           // key at the very end of the comment
      {"OPT_FPS\n30", ""},                       // a line end right behind the key ends the value
      {"MY_OPT_FPS=5", "5"},                     // inside a longer word
      {"OPT_FPS2=7", "=7"},                      // the 2 is the separator
      {"Name=OPT_FPS 9\nOPT_FPS=30", "9"},       // the first place wins, also inside a value
      {"opt_fps=30", ""},                        // case-sensitive
      {"OPT_FPS=2\r4 \n", "24 "},                // a lone CR ends no line and is dropped
  };
  for (const auto& c : cases) EXPECT_EQ(GetOption(c.comment, "OPT_FPS"), c.value) << c.comment;
  EXPECT_EQ(GetOption("Event10=late\nEvent1=early", "Event1"), "=late");  // the 0 is the separator
  EXPECT_EQ(StripQuotes("`it's` \"Hull\"\r\n"), "its Hull\r\n");
  EXPECT_EQ(StripLineBreaks("a\r\nb\rc\n'"), "abc'");
}

TEST(NumberText, ReadsAndWritesTheExportersOwnForm) {
  const struct {
    const char* text;
    double number;
  } read[] = {
      {"24", 24},       {"29.97", 29.97}, {"24,5", 24.5}, {".5", 0.5},    {"1e3", 1000},
      {"2.5E-1", 0.25}, {"1E+2", 100},    {"", 0},        {"fast", 0},    {" 24", 0},
      {"-5", 0},        {"+5", 0},        {"24fps", 24},  {"12 34", 12},  {"5-3", 5},
      {"24e", 24},      {"1.2.3", 1.23},  {"1e--2", 100}, {"1e-+2", 100}, {"1e2.5", 1e25},
      {"0.03", 3 * (0.1 * 0.1)},  // tenths accumulate step by step: not the double nearest 0.03
  };
  for (const auto& c : read) EXPECT_EQ(TextToNumber(c.text), c.number) << c.text;

  const struct {
    double number;
    const char* text;
  } written[] = {
      {0, "0"}, {7, "7"}, {10, "10"}, {1000, "1000"}, {2147483647, "2147483647"},
      // Numbers no caller passes still read sensibly.
      {4294967295.0, "4294967295"}, {-7, "-7"}, {2.5, "2.5"}, {std::nan(""), "0"},
  };
  for (const auto& c : written) EXPECT_EQ(NumberToText(c.number), c.text) << c.text;
  // The digit loop works in doubles: check it where rounding would bite first.
  for (double x = 1; x < 3e9; x = x * 10)
    for (double n : {x - 1, x, x + 1}) EXPECT_EQ(NumberToText(n), std::to_string(static_cast<long long>(n)));
  EXPECT_LE(NumberToText(1.0 / 3.0).size(), 63u);
  EXPECT_EQ(IndexText(12), "12");
  EXPECT_EQ(UnquotedText("\"Hull\""), "Hull");
  EXPECT_EQ(OptionKeyText("Sob Type"), "Sob Type");
}

TEST(TruncateToInt32, DropsTheFractionAndKeepsTheLow32Bits) {
  const struct {
    double in;
    int32_t out;
  } cases[] = {
      {29.97, 29}, {-2.5, -2}, {2147483648.0, INT32_MIN}, {4294967301.0, 5}, {-4294967297.0, -1},
      {std::nan(""), 0}, {1e19, 0}, {-1e19, 0}, {HUGE_VAL, 0},  // outside 64 bits: 0, no overflow
  };
  for (const auto& c : cases) EXPECT_EQ(TruncateToInt32(c.in), c.out) << c.in;
}

}  // namespace
}  // namespace rw
