// The script reader on the language's forms, our exporter's and the game's, and on every cut of
// a script that uses them all.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "scriptlang/ScriptReader.h"

namespace rw {
namespace {

// "LINE TIME BLOCK: FUNCTION ARG ..." for a call (a quoted argument in quotes), "LINE TIME
// BLOCK: = TEXT" for any other statement; TIME is "-", "Ns" or "Nf". Then "! LINE WHAT" per problem.
std::vector<std::string> Render(const ScriptText& script) {
  std::vector<std::string> lines;
  for (const ScriptStatement& s : script.statements) {
    std::string time = s.unit == ScriptTimeUnit::kNone ? "-" : std::to_string(static_cast<int>(s.time));
    if (s.unit != ScriptTimeUnit::kNone) time += s.unit == ScriptTimeUnit::kSeconds ? "s" : "f";
    std::string line = std::to_string(s.line) + " " + time + " " + s.block + ":";
    if (s.function.empty()) line += " = " + s.text;
    if (!s.function.empty()) line += " " + s.function;
    for (const ScriptArgument& a : s.arguments) line += a.quoted ? " \"" + a.value + "\"" : " " + a.value;
    lines.push_back(line);
  }
  for (const ScriptProblem& p : script.problems) lines.push_back("! " + std::to_string(p.line) + " " + p.what);
  return lines;
}

TEST(ScriptReader, ReadsTheLanguagesForms) {
  const std::string longName(40000, 'n');
  const struct {
    const char* name;
    std::string text;
    std::vector<std::string> read;
  } cases[] = {
      {"StatementsBeforeTheFirstTimeLine", "musicStart(\"nis13\")\nat 2\n\tfadeSet(1)\n",
       {"1 - : musicStart \"nis13\"", "3 2s : fadeSet 1"}},
      {"FramesAndSeconds", "at frame 48\r\n  cameraCut(\"CamShape2\")\r\nat 2.5\n\tfadeTo(0,6)\n",
       {"2 48f : cameraCut \"CamShape2\"", "4 2s : fadeTo 0 6"}},
      // A block starts at the time in force and gives it back when it closes.
      {"ExporterBlock", "at 5\nwith FOLW_Root|Ship\n{\n\tat 24\n\t\tfire(\"front\")\n}\nshow()\n",
       {"5 24s FOLW_Root|Ship: fire \"front\"", "7 5s : show"}},
      {"GameBlocks", "at 3\nwith Kpr_Sajuuk { hide() }  -- gone\nwith Ship {\n  show(); hide()\n}\n",
       {"2 3s Kpr_Sajuuk: hide", "4 3s Ship: show", "4 3s Ship: hide"}},
      // "--" inside quotes and inside names is no comment.
      {"Comments", "-- cameraCut(\"x\")\ncameraCut(\"FOLW_Root|CAM--Main\") -- first\nwith FOLW_Root|A--B {--b\n"
                   "fadeTo(0,6)--x\n}\n",
       {"2 - : cameraCut \"FOLW_Root|CAM--Main\"", "4 - FOLW_Root|A--B: fadeTo 0 6"}},
      {"Arguments", "speechEventActor(\"$56120\",2,2)\nf( \"a, b\" , g(1, \")\") )\nwideScreenOut()\nx = 5\nf(\"a\" \"b\")\n",
       {"1 - : speechEventActor \"$56120\" 2 2", "2 - : f \"a, b\" g(1, \")\")", "3 - : wideScreenOut",
        "4 - : = x = 5", "5 - : f \"a\" \"b\""}},
      {"NotCalls", "f(1) + g(2)\nf(1\n(x)\n", {"1 - : = f(1) + g(2)", "2 - : = f(1", "3 - : = (x)"}},
      {"LongLine", "with " + longName + " { hide() }\n", {"1 - " + longName + ": hide"}},
      {"Problems", "}\n{\nat soon\nfire(\"x)\nwith A\nshow()\nwith B {\n",
       {"4 - : = fire(\"x)", "6 - : show", "! 1 } closes no block", "! 2 { without with",
        "! 3 at needs a number of seconds; the time stays as it was", "! 4 a quote is not closed on this line",
        "! 5 with A has no {", "! 2 the block opened here is not closed", "! 7 the block opened here is not closed"}},
  };
  for (const auto& c : cases) EXPECT_EQ(Render(ReadScriptText(c.text)), c.read) << c.name;
}

// Cut at a line end, a script reads as the statements of the lines before the cut; cut anywhere,
// it reads without fault and never places a statement past the cut.
TEST(ScriptReader, EveryCutReadsAsTheLinesBeforeIt) {
  const std::string text =
      "musicStart(\"nis13\") -- top\nat frame 30\nwith FOLW_Root|A--B {\n  at 2\n  speechEventActor(\"$1\",2,2); hide()\n"
      "}\nwith Ship { show() }\nat 4\n\tcameraCut(\"CAM--X\")\n";
  const ScriptText whole = ReadScriptText(text);
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    const ScriptText part = ReadScriptText(text.substr(0, cut));
    const size_t lines = static_cast<size_t>(std::count(text.begin(), text.begin() + cut, '\n')) + 1;
    for (const ScriptStatement& s : part.statements) ASSERT_LE(s.line, lines) << "cut at " << cut;
    if (cut != text.size() && text[cut] != '\n') continue;
    size_t before = 0;
    while (before < whole.statements.size() && whole.statements[before].line <= lines) ++before;
    std::vector<std::string> expected = Render({{whole.statements.begin(), whole.statements.begin() + before}, {}, {}});
    std::vector<std::string> got = Render({part.statements, {}, {}});
    EXPECT_EQ(got, expected) << "cut at " << cut;
  }
}

}  // namespace
}  // namespace rw
