#include "scene/CommentOptions.h"

#include <cmath>
#include <cstddef>

namespace rw {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
// NumberToText composes at most this many characters (a 64-byte buffer with its terminator).
constexpr size_t kNumberTextLimit = 63;
// Fraction digits of NumberToText stop once what is left is no more than this.
constexpr double kFractionCutoff = 0.0001;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Drops the fraction toward zero as a 64-bit integer; NaN and values beyond the 64-bit range
// give 0. For values inside the 32-bit range this is the same as TruncateToInt32.
int64_t TruncateToInt64(double value) {
  if (!(value >= -kTwoTo63 && value < kTwoTo63)) return 0;  // NaN fails both tests
  return static_cast<int64_t>(value);
}

// The digit loop for a whole number 0 <= x < 2^63: count the digits by repeated tenths, then
// peel them off from the top, every step one double operation.
std::string WholeNumberText(double x) {
  if (x == 0.0) return "0";
  int count = 0;
  for (double y = x; TruncateToInt64(y) >= 1; y = y * 0.1) ++count;
  double p = 1.0;
  for (int i = 1; i < count; ++i) p = p * 10.0;
  std::string text;
  for (int i = 0; i < count && text.size() < kNumberTextLimit; ++i) {
    const double q = p * 10.0;
    const double t = static_cast<double>(TruncateToInt64(x / q));
    const int64_t digit = TruncateToInt64((x - t * q) / p);
    text += static_cast<char>('0' + (digit >= 0 && digit <= 9 ? digit : 0));
    p = p * 0.1;
  }
  return text;
}

}  // namespace

int32_t TruncateToInt32(double value) {
  const uint32_t low = static_cast<uint32_t>(static_cast<uint64_t>(TruncateToInt64(value)));
  // Reinterpret the low 32 bits as signed without relying on an out-of-range conversion.
  return low < 0x80000000u ? static_cast<int32_t>(low) : static_cast<int32_t>(low - 0x80000000u) + INT32_MIN;
}

std::string StripLineBreaks(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text)
    if (c != '\n' && c != '\r') out += c;
  return out;
}

std::string StripQuotes(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text)
    if (c != '"' && c != '\'' && c != '`') out += c;
  return out;
}

std::string GetOption(const std::string& comment, const std::string& key) {
  // The added LF gives a key at the very end a separator and a line end to stop at.
  const std::string text = comment + '\n';
  const size_t at = text.find(key);
  if (at == std::string::npos) return std::string();
  const size_t separator = at + key.size();
  const size_t lineEnd = text.find('\n', separator);  // found: the text ends in LF
  if (lineEnd == separator) return std::string();
  return StripLineBreaks(text.substr(separator + 1, lineEnd - separator - 1));
}

double TextToNumber(const std::string& text) {
  double mantissa = 0.0, scale = 1.0, exponent = 0.0;
  bool inFraction = false, inExponent = false, negativeExponent = false;
  for (char c : text) {
    if (c == '.' || c == ',') {
      inFraction = true;
    } else if (IsDigit(c)) {
      const double digit = c - '0';
      if (inExponent) {
        exponent = exponent * 10.0 + digit;
      } else if (inFraction) {
        scale = scale * 0.1;
        mantissa = mantissa + digit * scale;
      } else {
        mantissa = mantissa * 10.0 + digit;
      }
    } else if (c == 'E' || c == 'e') {
      inExponent = true;
    } else if (c == '-' && inExponent) {
      negativeExponent = !negativeExponent;
    } else if (c == '+' && inExponent) {
      negativeExponent = false;
    } else {
      break;  // a sign before the exponent mark ends the number like any other character
    }
  }
  return mantissa * std::pow(10.0, negativeExponent ? -exponent : exponent);
}

std::string NumberToText(double number) {
  // Callers pass whole numbers from 0 to 2^31 - 1. Anything else still gets a readable text:
  // a "-" in front of a negative number, the whole part by the same digit loop (up to 2^63),
  // and a fraction digit by digit while more than 0.0001 of it is left.
  if (std::isnan(number)) return "0";
  std::string text;
  if (number < 0.0) {
    text = "-";
    number = -number;
  }
  const double whole = static_cast<double>(TruncateToInt64(number));
  text += WholeNumberText(whole);
  double fraction = number - whole;
  if (!(fraction > kFractionCutoff) || !(number < kTwoTo63)) return text;
  text += '.';
  while (fraction > kFractionCutoff && text.size() < kNumberTextLimit) {
    fraction = fraction * 10.0;
    const int64_t digit = TruncateToInt64(fraction);
    text += static_cast<char>('0' + digit);
    fraction = fraction - static_cast<double>(digit);
  }
  return text;
}

const std::string& OptionKeyText(const char* key) {
  static std::string text;
  text = key ? key : "";
  return text;
}

const std::string& IndexText(uint32_t index) {
  static std::string text;
  text = NumberToText(static_cast<double>(index));
  return text;
}

const std::string& UnquotedText(const std::string& text) {
  static std::string unquoted;
  unquoted = StripQuotes(text);
  return unquoted;
}

}  // namespace rw
