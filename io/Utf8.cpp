#include "io/Utf8.h"

#include <algorithm>

namespace rw {

size_t Utf8CharLength(const std::string& bytes, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(at);
  if (lead < 0x80) return 1;
  size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;   // no overlong forms
    if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;  // nothing past U+10FFFF
  } else {
    return 0;
  }
  if (at + length > bytes.size() || byte(at + 1) < low || byte(at + 1) > high) return 0;
  for (size_t i = 2; i < length; ++i)
    if (byte(at + i) < 0x80 || byte(at + i) > 0xBF) return 0;
  return length;
}

size_t Utf8Prefix(const std::string& bytes, size_t limit) {
  size_t end = 0;
  while (end < bytes.size()) {
    const size_t length = std::max<size_t>(Utf8CharLength(bytes, end), 1);
    if (end + length > limit) break;
    end += length;
  }
  return end;
}

std::string ValidUtf8(const std::string& bytes, const std::string& replacement) {
  std::string text;
  for (size_t at = 0; at < bytes.size();) {
    const size_t length = Utf8CharLength(bytes, at);
    text += length == 0 ? replacement : bytes.substr(at, length);
    at += std::max<size_t>(length, 1);
  }
  return text;
}

}  // namespace rw
