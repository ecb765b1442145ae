#include "inspect/TextFormat.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "io/Utf8.h"

namespace rw {
namespace {

template <class T>
std::string ShortestText(T number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  char text[64];
  auto result = std::to_chars(text, text + sizeof text, number);
  return std::string(text, result.ptr);
}

void AppendEscape(std::string& out, const char* format, unsigned byte) {
  char escaped[8];
  std::snprintf(escaped, sizeof escaped, format, byte);
  out += escaped;
}

}  // namespace

std::string FormatDouble(double number) { return ShortestText(number); }
std::string FormatFloat(float number) { return ShortestText(number); }

std::string FormatReal(float number) {
  std::string text = ShortestText(number);
  if (std::isfinite(number) && text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::string JsonString(const std::string& bytes) {
  std::string out = "\"";
  for (size_t at = 0; at < bytes.size();) {
    unsigned char byte = static_cast<unsigned char>(bytes[at]);
    size_t sequence = byte >= 0x80 ? Utf8CharLength(bytes, at) : 0;
    if (byte == '"' || byte == '\\') {
      out += '\\';
      out += static_cast<char>(byte);
    } else if (byte >= 0x20 && byte < 0x7F) {
      out += static_cast<char>(byte);
    } else if (sequence != 0) {
      out.append(bytes, at, sequence);
      at += sequence - 1;
    } else {
      AppendEscape(out, "\\u%04X", byte);
    }
    ++at;
  }
  return out + "\"";
}

std::string HexBytes(const uint8_t* data, size_t size, size_t limit) {
  std::string out;
  for (size_t i = 0; i < size && i < limit; ++i) {
    if (i) out += ' ';
    AppendEscape(out, "%02X", data[i]);
  }
  return out;
}

void JsonWriter::Key(const char* key) {
  BeforeItem();
  out_ << JsonString(key) << ": ";
  afterKey_ = true;
}

void JsonWriter::Number(double number) {
  if (std::isnan(number)) return String("NaN");
  if (std::isinf(number)) return String(number < 0 ? "-Infinity" : "Infinity");
  Value(ShortestText(number));
}

void JsonWriter::Float(float number) {
  if (!std::isfinite(number)) return Number(static_cast<double>(number));
  Value(ShortestText(number));
}

void JsonWriter::Real(float number) {
  if (!std::isfinite(number)) return Number(static_cast<double>(number));
  Value(FormatReal(number));
}

void JsonWriter::NewLine() {
  out_ << '\n';
  for (size_t i = 0; i < levels_.size(); ++i) out_ << "  ";
}

void JsonWriter::BeforeItem() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (levels_.empty()) return;
  Level& level = levels_.back();
  if (!level.empty) out_ << (level.inlined ? ", " : ",");
  if (!level.inlined) NewLine();
  level.empty = false;
}

void JsonWriter::Value(const std::string& text) {
  BeforeItem();
  out_ << text;
}

void JsonWriter::Open(char bracket, bool inlined) {
  BeforeItem();
  out_ << bracket;
  bool parentInline = !levels_.empty() && levels_.back().inlined;
  levels_.push_back({inlined || parentInline, true});
}

void JsonWriter::Close(char bracket) {
  Level level = levels_.back();
  levels_.pop_back();
  if (!level.inlined && !level.empty) NewLine();
  out_ << bracket;
}

}  // namespace rw
