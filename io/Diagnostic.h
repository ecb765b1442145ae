// One way to report a problem found in a file, used by every reader and checker: which file,
// where in it (a byte offset, and a place in its structure when it has one), how bad, and what.
#ifndef REELWRIGHT_IO_DIAGNOSTIC_H
#define REELWRIGHT_IO_DIAGNOSTIC_H

#include <cstdint>
#include <string>

namespace rw {

enum class Severity { kError, kWarning };

struct Diagnostic {
  Severity severity = Severity::kError;
  int64_t offset = -1;  // the byte where the problem lies; -1 when it concerns the whole file
  std::string where;    // a place in the file's structure ("ANIM #3 keys"), or empty
  std::string what;     // what is wrong, without the file name

  bool isError() const { return severity == Severity::kError; }
};

// "FILE: error at byte N: WHERE: WHAT"; "warning" for warnings; the parts without a value
// (no file name, offset -1, no place) are left out with their separators.
std::string FormatDiagnostic(const std::string& fileName, const Diagnostic& diagnostic);

// bytes in double quotes for a message: printable ASCII as it is, '"' and '\' escaped with '\',
// every other byte as \xNN, so a name with any bytes in it prints as one readable line.
std::string QuoteText(const std::string& bytes);
// text for a terminal, escaped by the same rule but not quoted: line feeds and tabs stay, every
// other byte outside printable ASCII becomes \xNN, so no name can send a control sequence.
std::string TerminalText(const std::string& text);

}  // namespace rw

#endif
