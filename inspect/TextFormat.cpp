#include "inspect/TextFormat.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace rw {
namespace {

template <class T>
std::string ShortestText(T v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v < 0 ? "-inf" : "inf";
  char buf[64];
  auto result = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, result.ptr);
}

// Length of the well-formed UTF-8 sequence at s[i], or 0 when the byte there starts none.
size_t Utf8SequenceLength(const std::string& s, size_t i) {
  auto byte = [&](size_t at) { return at < s.size() ? static_cast<unsigned char>(s[at]) : 0u; };
  auto cont = [&](size_t at) { return (byte(at) & 0xC0u) == 0x80u; };
  unsigned c = byte(i);
  if (c >= 0xC2 && c <= 0xDF) return cont(i + 1) ? 2 : 0;
  if (c >= 0xE0 && c <= 0xEF) {
    unsigned c1 = byte(i + 1);
    bool ok = cont(i + 1) && cont(i + 2) && !(c == 0xE0 && c1 < 0xA0) && !(c == 0xED && c1 >= 0xA0);
    return ok ? 3 : 0;
  }
  if (c >= 0xF0 && c <= 0xF4) {
    unsigned c1 = byte(i + 1);
    bool ok = cont(i + 1) && cont(i + 2) && cont(i + 3) && !(c == 0xF0 && c1 < 0x90) && !(c == 0xF4 && c1 >= 0x90);
    return ok ? 4 : 0;
  }
  return 0;
}

void AppendEscape(std::string& out, const char* format, unsigned byte) {
  char buf[8];
  std::snprintf(buf, sizeof buf, format, byte);
  out += buf;
}

}  // namespace

std::string FormatDouble(double v) { return ShortestText(v); }
std::string FormatFloat(float v) { return ShortestText(v); }

std::string QuoteText(const std::string& bytes) {
  std::string out = "\"";
  for (char ch : bytes) {
    unsigned char c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c >= 0x20 && c < 0x7F) {
      out += ch;
    } else {
      AppendEscape(out, "\\x%02X", c);
    }
  }
  return out + "\"";
}

std::string JsonString(const std::string& bytes) {
  std::string out = "\"";
  for (size_t i = 0; i < bytes.size();) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
      ++i;
    } else if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
      ++i;
    } else if (size_t n = c >= 0x80 ? Utf8SequenceLength(bytes, i) : 0) {
      out.append(bytes, i, n);
      i += n;
    } else {
      AppendEscape(out, "\\u%04X", c);
      ++i;
    }
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

void JsonWriter::Number(double v) {
  if (std::isnan(v)) return String("NaN");
  if (std::isinf(v)) return String(v < 0 ? "-Infinity" : "Infinity");
  Value(ShortestText(v));
}

void JsonWriter::Float(float v) {
  if (!std::isfinite(v)) return Number(static_cast<double>(v));
  Value(ShortestText(v));
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
