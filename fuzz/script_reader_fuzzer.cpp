// Feeds arbitrary text to the script reader and checks what it promises of any text: statements
// in line order, each on a line of the text, and a call's function a name that opens its text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "scriptlang/ScriptReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const rw::ScriptText script = rw::ReadScriptText(text);
  size_t lines = 1, previous = 0;
  for (char c : text) lines += c == '\n';
  for (const rw::ScriptStatement& statement : script.statements) {
    if (statement.line < previous || statement.line == 0 || statement.line > lines) std::abort();
    if (statement.text.compare(0, statement.function.size(), statement.function) != 0) std::abort();
    previous = statement.line;
  }
  for (const rw::ScriptProblem& problem : script.problems) {
    if (problem.line == 0 || problem.line > lines) std::abort();
  }
  return 0;
}
