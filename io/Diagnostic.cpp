#include "io/Diagnostic.h"

namespace rw {

std::string FormatDiagnostic(const std::string& fileName, const Diagnostic& diagnostic) {
  std::string line;
  if (!fileName.empty()) line = fileName + ": ";
  line += diagnostic.isError() ? "error" : "warning";
  if (diagnostic.offset >= 0) line += " at byte " + std::to_string(diagnostic.offset);
  line += ": ";
  if (!diagnostic.where.empty()) line += diagnostic.where + ": ";
  return line + diagnostic.what;
}

}  // namespace rw
