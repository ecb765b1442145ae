#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "scene/CommentOptions.h"

namespace rw {
namespace {

struct OptionCase {
  const char* comment;
  const char* value;
};

TEST(GetOption, FindsTheFirstPlaceOfTheKeyAndReadsToTheLineEnd) {
  const OptionCase cases[] = {
      {"OPT_FPS=30", "30"},
      {"OPT_FPS=30\r\nSob Type=Fighter", "30"},       // the CR goes with the line break
      {"OPT_FPS 30", "30"},                           // any character separates
      {"OPT_FPS:30", "30"},
      {"OPT_FPS = 30", "= 30"},                       // the blank is the separator, nothing is trimmed
      {"OPT_FPS=\nx", ""},
      {"OPT_FPS", ""},                                // key at the very end of the comment
      {"OPT_FPS\n30", ""},                            // a line end right behind the key ends the value
      {"MY_OPT_FPS=5", "5"},                          // inside a longer word
      {"OPT_FPS2=7", "=7"},                           // the 2 is the separator
      {"Name=OPT_FPS 9\nOPT_FPS=30", "9"},            // the first place wins, also inside a value
      {"", ""},
      {"opt_fps=30", ""},                             // case-sensitive
      {"OPT_FPS=2\r4\n", "24"},                       // a lone CR ends no line and is dropped
      {"OPT_FPS=1\nOPT_FPS=2", "1"},                  // of two lines the first counts
      {"OPT_FPS= 24 \n", " 24 "},                     // blanks stay
  };
  for (const OptionCase& c : cases) EXPECT_EQ(GetOption(c.comment, "OPT_FPS"), c.value) << c.comment;
  EXPECT_EQ(GetOption("Sob Name=Red Leader\r\n", "Sob Name"), "Red Leader");
  EXPECT_EQ(GetOption("Event10=late\nEvent1=early", "Event1"), "=late");  // the 0 is the separator
}

TEST(StripText, RemovesOnlyLineBreaksOrOnlyQuotes) {
  EXPECT_EQ(StripLineBreaks("a\r\nb\rc\n"), "abc");
  EXPECT_EQ(StripLineBreaks("'a' \"b\""), "'a' \"b\"");
  EXPECT_EQ(StripQuotes("\"Hull\""), "Hull");
  EXPECT_EQ(StripQuotes("`it's`\r\n"), "its\r\n");
  EXPECT_EQ(StripQuotes("\"'`"), "");
  EXPECT_EQ(StripQuotes("plain"), "plain");
}

struct NumberCase {
  const char* text;
  double number;
};

TEST(TextToNumber, ReadsDigitsPointAndExponentWithoutSign) {
  const NumberCase cases[] = {
      {"24", 24},       {"29.97", 29.97}, {"24,5", 24.5}, {".5", 0.5},     {"1e3", 1000},
      {"2.5E-1", 0.25}, {"1E+2", 100},    {"", 0},        {"fast", 0},     {" 24", 0},
      {"-5", 0},        {"+5", 0},        {"24fps", 24},  {"12 34", 12},   {"5-3", 5},
      {"24e", 24},      {"1.2.3", 1.23},  {"1e--2", 100}, {"1e-+2", 100},  {"1e2.5", 1e25},
      {"1,000", 1},
  };
  // Each result is the double the stated steps give, so compare for equality.
  for (const NumberCase& c : cases) EXPECT_EQ(TextToNumber(c.text), c.number) << c.text;
  // The fraction accumulates tenths step by step: 0.1 * 0.1 * 3 rounds differently from 0.03.
  EXPECT_EQ(TextToNumber("0.03"), 3 * (0.1 * 0.1));
}

TEST(NumberToText, WritesPlainDecimals) {
  const NumberCase cases[] = {
      {"0", 0},          {"7", 7},     {"10", 10}, {"1000", 1000}, {"2147483647", 2147483647.0},
      // Numbers no caller passes still read sensibly.
      {"-7", -7},        {"2.5", 2.5}, {"0.25", 0.25}, {"4294967295", 4294967295.0},
      {"0", std::nan("")},
  };
  for (const NumberCase& c : cases) EXPECT_EQ(NumberToText(c.number), c.text) << c.text;
  // The digit loop works in doubles: check it against the integer form where rounding bites.
  for (double x = 1; x < 3e9; x = x * 10) {
    for (double d : {-1.0, 0.0, 1.0}) {
      const double n = x + d;
      EXPECT_EQ(NumberToText(n), std::to_string(static_cast<long long>(n))) << n;
    }
  }
  for (int i = 0; i < 20000; i += 7) EXPECT_EQ(NumberToText(i), std::to_string(i));
  EXPECT_LE(NumberToText(1.0 / 3.0).size(), 63u);
}

TEST(TruncateToInt32, DropsTheFractionAndKeepsTheLow32Bits) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    double in;
    int32_t out;
  } cases[] = {
      {29.97, 29},         {-2.5, -2},           {2147483648.0, INT32_MIN}, {4294967301.0, 5},
      {-4294967297.0, -1}, {std::nan(""), 0},    {1e19, 0},                 {-1e19, 0},
      {inf, 0},            {-9223372036854775808.0, 0},  // -2^63: its low 32 bits are 0
  };
  for (const auto& c : cases) EXPECT_EQ(TruncateToInt32(c.in), c.out) << c.in;
}

TEST(StaticTexts, EachKeepsOneTextUntilItsNextCall) {
  const std::string& key = OptionKeyText("Sob Type");
  EXPECT_EQ(key, "Sob Type");
  EXPECT_EQ(&OptionKeyText("Num Events"), &key);
  EXPECT_EQ(key, "Num Events");
  EXPECT_EQ(IndexText(0), "0");
  EXPECT_EQ(IndexText(4294967295u), "4294967295");
  EXPECT_EQ(UnquotedText("\"Hull\""), "Hull");
}

}  // namespace
}  // namespace rw
