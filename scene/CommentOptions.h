// The comment toolkit: options in free-text comments, and the exporter's own number text
// rules (not the C library's: "24,5" is 24.5, "-5" is 0, "24fps" is 24).
#ifndef REELWRIGHT_SCENE_COMMENTOPTIONS_H
#define REELWRIGHT_SCENE_COMMENTOPTIONS_H

#include <cstdint>
#include <string>

namespace rw {

// The value behind the first place where key stands in comment (anywhere, case-sensitive),
// skipping one separator character, up to the line end, without CR or LF. Empty when absent.
std::string GetOption(const std::string& comment, const std::string& key);
std::string StripLineBreaks(const std::string& text);  // without any CR or LF
std::string StripQuotes(const std::string& text);      // without any ", ' or `
// Digits with "." or "," as the point and an "e"/"E" exponent, up to the first character that
// cannot go on; never fails. No sign of its own.
double TextToNumber(const std::string& text);
// Decimal text of a whole number from 0 to 2^31 - 1 (the only numbers callers pass). Others:
// "-" before a negative number, the whole part up to 2^63 (beyond it, and NaN, give "0"), and
// a fraction after "." digit by digit while more than 0.0001 is left; at most 63 characters.
std::string NumberToText(double number);
// Drops the fraction toward zero and keeps the low 32 bits, as a signed number. Values beyond
// the 64-bit range and NaN give 0.
int32_t TruncateToInt32(double value);

// Static texts: each operation has one, overwritten by its next call.
const std::string& OptionKeyText(const char* key);
const std::string& IndexText(uint32_t index);
const std::string& UnquotedText(const std::string& text);

}  // namespace rw

#endif
