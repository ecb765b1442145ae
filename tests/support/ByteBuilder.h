// Expected file bytes written out field by field, in file order: little-endian payload numbers,
// counted texts, raw bytes, and big-endian chunk heads.
#ifndef REELWRIGHT_TESTS_SUPPORT_BYTEBUILDER_H
#define REELWRIGHT_TESTS_SUPPORT_BYTEBUILDER_H

#include <cstdint>
#include <cstring>
#include <string>

namespace rw::test {

struct Bytes {
  std::string s;
  Bytes& Le(uint64_t value, int size) {
    for (int i = 0; i < size; ++i) s += static_cast<char>(value >> (8 * i));
    return *this;
  }
  Bytes& U8(uint8_t value) { return Le(value, 1); }
  Bytes& U16(uint16_t value) { return Le(value, 2); }
  Bytes& U32(uint32_t value) { return Le(value, 4); }
  Bytes& F32(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    return Le(bits, 4);
  }
  Bytes& F64(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    return Le(bits, 8);
  }
  // A counted text: 32-bit length, then the bytes.
  Bytes& Text(const std::string& text) {
    U32(static_cast<uint32_t>(text.size()));
    return Raw(text);
  }
  Bytes& Raw(const std::string& bytes) {
    s += bytes;
    return *this;
  }
};

// A plain chunk: id, big-endian length, payload.
inline std::string Chunk(const std::string& id, const std::string& payload) {
  const auto n = static_cast<uint32_t>(payload.size());
  return id + std::string{static_cast<char>(n >> 24), static_cast<char>(n >> 16), static_cast<char>(n >> 8),
                          static_cast<char>(n)} +
         payload;
}

}  // namespace rw::test

#endif
