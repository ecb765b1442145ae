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

namespace {

// Appends byte as is when it is printable ASCII, else as \xNN.
void AppendReadable(std::string& out, unsigned char byte) {
  static const char kHexDigits[] = "0123456789ABCDEF";
  if (byte >= 0x20 && byte < 0x7F) {
    out += static_cast<char>(byte);
    return;
  }
  out += "\\x";
  out += kHexDigits[byte >> 4];
  out += kHexDigits[byte & 15];
}

}  // namespace

std::string QuoteText(const std::string& bytes) {
  std::string out = "\"";
  for (const char c : bytes) {
    if (c == '"' || c == '\\') out += '\\';
    AppendReadable(out, static_cast<unsigned char>(c));
  }
  return out + "\"";
}

std::string TerminalText(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    if (c == '\n' || c == '\t') {
      out += c;
    } else {
      AppendReadable(out, static_cast<unsigned char>(c));
    }
  }
  return out;
}

}  // namespace rw
