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

std::string QuoteText(const std::string& bytes) {
  static const char kHexDigits[] = "0123456789ABCDEF";
  std::string out = "\"";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '"' || byte == '\\') {
      out += '\\';
      out += c;
    } else if (byte >= 0x20 && byte < 0x7F) {
      out += c;
    } else {
      out += "\\x";
      out += kHexDigits[byte >> 4];
      out += kHexDigits[byte & 15];
    }
  }
  return out + "\"";
}

}  // namespace rw
