// Well-formed UTF-8, the one rule for every text that leaves as JSON, glTF or a node's name: no
// overlong forms, no surrogates, nothing past U+10FFFF.
#ifndef REELWRIGHT_IO_UTF8_H
#define REELWRIGHT_IO_UTF8_H

#include <cstddef>
#include <string>

namespace rw {

// The length of the well-formed UTF-8 character at bytes[at] (1 for ASCII), or 0 when none starts there.
size_t Utf8CharLength(const std::string& bytes, size_t at);
// The length of the longest start of `bytes` within `limit` bytes that ends between characters
// (a byte that is no character counts as one).
size_t Utf8Prefix(const std::string& bytes, size_t limit);
// `bytes` with every byte that is not part of well-formed UTF-8 replaced by `replacement`.
std::string ValidUtf8(const std::string& bytes, const std::string& replacement);

}  // namespace rw

#endif
