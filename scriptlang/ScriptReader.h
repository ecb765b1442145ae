// The reader of the .script language, as our exporter writes it and as the game's own scripts
// use it: statements before the first time line, `at N` (seconds) and `at frame N` (frames)
// time lines, `with NAME { ... }` blocks (the brace on the with line or on a line of its own, a
// block on one line too), and `--` comments. Each statement is split into its function and its
// arguments. Depends on nothing but the standard library; the time is linear in the text's size.
#ifndef REELWRIGHT_SCRIPTLANG_SCRIPTREADER_H
#define REELWRIGHT_SCRIPTLANG_SCRIPTREADER_H

#include <cstddef>
#include <string>
#include <vector>

namespace rw {

// How a statement's time is counted: before the first time line it has none.
enum class ScriptTimeUnit { kNone, kSeconds, kFrames };

// One argument of a call: a double-quoted text without its quotes (no escapes: a quote ends at
// the next quote), or any other argument as written, blanks around it trimmed.
struct ScriptArgument {
  std::string value;
  bool quoted = false;
};

// One statement: its line (from 1), the time line in force, the `with` block it stands in
// (empty: none), and its text without the comment. A call `name(a, "b")` has its function and
// arguments; any other statement has an empty function and keeps only its text.
struct ScriptStatement {
  size_t line = 0;
  ScriptTimeUnit unit = ScriptTimeUnit::kNone;
  double time = 0;
  std::string block;
  std::string text;
  std::string function;
  std::vector<ScriptArgument> arguments;
};

// Something the reader had to guess at, on its line: the statements around it are still read.
struct ScriptProblem {
  size_t line = 0;
  std::string what;
};

// A `with NAME` block, on the line of its `with`.
struct ScriptBlock {
  size_t line = 0;
  std::string name;
};

struct ScriptText {
  std::vector<ScriptStatement> statements;
  std::vector<ScriptBlock> blocks;
  std::vector<ScriptProblem> problems;
};

// Reads a whole script. Never fails: text it cannot place becomes a statement without a
// function, or a problem. Line ends are "\n" or "\r\n".
ScriptText ReadScriptText(const std::string& text);

// The statement's time in seconds at `framesPerSecond` (0 before the first time line).
double ScriptSeconds(const ScriptStatement& statement, double framesPerSecond);

}  // namespace rw

#endif
