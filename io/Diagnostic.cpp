#include "io/Diagnostic.h"

namespace rw {

const char* DiagnosticCodeName(DiagnosticCode code) {
  switch (code) {
    case DiagnosticCode::kFileFault:
      return "file-fault";
    case DiagnosticCode::kModelFile:
      return "model-file";
    case DiagnosticCode::kFrameRateDiffers:
      return "fps-differs";
    case DiagnosticCode::kOutputRefused:
      return "output-refused";
    case DiagnosticCode::kNoFrameRate:
      return "fps-missing";
    case DiagnosticCode::kZeroFrameRate:
      return "fps-zero";
    case DiagnosticCode::kNoFrames:
      return "no-frames";
    case DiagnosticCode::kBoneWithoutKeys:
      return "bone-without-keys";
    case DiagnosticCode::kParentKeysUneven:
      return "parent-keys-uneven";
    case DiagnosticCode::kNonFiniteKeys:
      return "non-finite-keys";
    case DiagnosticCode::kParentLoop:
      return "parent-loop";
    case DiagnosticCode::kRotationKeysMissing:
      return "rotation-keys-missing";
    case DiagnosticCode::kNoFirstKey:
      return "no-first-key";
    case DiagnosticCode::kNoSobType:
      return "no-sob-type";
    case DiagnosticCode::kNisOpenFailed:
      return "nis-open-failed";
    case DiagnosticCode::kNisTooLarge:
      return "nis-too-large";
    case DiagnosticCode::kNisWriteFailed:
      return "nis-write-failed";
    case DiagnosticCode::kTooManyEvents:
      return "too-many-events";
    case DiagnosticCode::kMalformedEvent:
      return "malformed-event";
    case DiagnosticCode::kMissingEvent:
      return "missing-event";
    case DiagnosticCode::kScriptOpenFailed:
      return "script-open-failed";
    case DiagnosticCode::kScriptWriteFailed:
      return "script-write-failed";
    case DiagnosticCode::kNisCheck:
      return "nis-check";
    case DiagnosticCode::kScriptCheck:
      return "script-check";
  }
  return "file-fault";
}

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
