// A bounded reader over one span of a file: every read is checked against the span's end, and
// the first read that does not fit stops the cursor and records where and why. Payload numbers
// are little-endian, chunk heads big-endian.
#ifndef REELWRIGHT_IO_BYTECURSOR_H
#define REELWRIGHT_IO_BYTECURSOR_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "io/ByteSource.h"

namespace rw {

class ByteCursor {
 public:
  // Reads data[begin, end); offsets it reports are indexes into data (file offsets).
  ByteCursor(const uint8_t* data, size_t begin, size_t end) : data_(data), pos_(begin), end_(end) {}
  // The same reads from [begin, end) of source, which need not hold the file in memory; a read
  // the source cannot serve fails the cursor with the source's error.
  ByteCursor(ByteSource& source, size_t begin, size_t end) : source_(&source), pos_(begin), end_(end) {}

  bool ok() const { return failed_ == false; }
  size_t pos() const { return pos_; }
  size_t end() const { return end_; }
  size_t left() const { return end_ - pos_; }
  // Set when a read failed: the offset of the field and what went wrong there.
  size_t failOffset() const { return failOffset_; }
  const std::string& failField() const { return failField_; }
  const std::string& failMessage() const { return failMessage_; }

  // Each read names its field for the report; false (and nothing read) once the cursor failed.
  bool U8(uint8_t& v, const char* field) { return Raw(&v, 1, field); }
  bool U16(uint16_t& v, const char* field) {
    uint8_t b[2];
    if (!Raw(b, 2, field)) return false;
    v = static_cast<uint16_t>(b[0] | b[1] << 8);
    return true;
  }
  bool U32(uint32_t& v, const char* field) {
    uint8_t b[4];
    if (!Raw(b, 4, field)) return false;
    v = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    return true;
  }
  bool I32(int32_t& v, const char* field) {
    uint32_t u;
    if (!U32(u, field)) return false;
    std::memcpy(&v, &u, 4);
    return true;
  }
  bool U32BigEndian(uint32_t& v, const char* field) {
    uint8_t b[4];
    if (!Raw(b, 4, field)) return false;
    v = uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | uint32_t(b[3]);
    return true;
  }
  bool F32(float& v, const char* field) {
    uint32_t u;
    if (!U32(u, field)) return false;
    std::memcpy(&v, &u, 4);
    return true;
  }
  bool F64(double& v, const char* field) {
    uint8_t b[8];
    if (!Raw(b, 8, field)) return false;
    uint64_t u = 0;
    for (int i = 7; i >= 0; --i) u = u << 8 | b[i];
    std::memcpy(&v, &u, 8);
    return true;
  }
  // A counted text: 32-bit length, then that many bytes.
  bool Text(std::string& v, const char* field) {
    size_t at = pos_;
    uint32_t n;
    if (!U32(n, field)) return false;
    if (n > left()) {
      return Fail(at, field,
                  "text length " + std::to_string(n) + " runs past the end at " + std::to_string(end_) + " (" +
                      std::to_string(left()) + " bytes left)");
    }
    const uint8_t* bytes = n == 0 ? nullptr : At(n, field);
    if (n != 0 && !bytes) return false;
    v.assign(reinterpret_cast<const char*>(bytes), n);
    pos_ += n;
    return true;
  }
  // Passes over count items of itemSize bytes without reading them, and fails where reading
  // them one by one would: at the first item that does not fit.
  bool Skip(size_t count, size_t itemSize, const char* field) {
    if (failed_) return false;
    const size_t fit = itemSize == 0 ? count : left() / itemSize;
    pos_ += (count < fit ? count : fit) * itemSize;
    return count <= fit || Fail(pos_, field, NeedsMessage(itemSize));
  }
  // A count of items of `itemSize` bytes each, refused when the items cannot fit in what is left,
  // so that nobody allocates for a count the file cannot hold.
  bool Count(uint32_t& n, size_t itemSize, const char* field) {
    size_t at = pos_;
    if (!U32(n, field)) return false;
    if (itemSize != 0 && n > left() / itemSize) {
      return Fail(at, field,
                  "count " + std::to_string(n) + " needs " + std::to_string(uint64_t(n) * itemSize) +
                      " bytes, but only " + std::to_string(left()) + " are left before " + std::to_string(end_));
    }
    return true;
  }
  bool Fail(size_t offset, const char* field, std::string message) {
    if (failed_) return false;
    failed_ = true;
    failOffset_ = offset;
    failField_ = field;
    failMessage_ = std::move(message);
    return false;
  }

 private:
  std::string NeedsMessage(size_t n) const {
    return "needs " + std::to_string(n) + " bytes, but only " + std::to_string(left()) + " are left before " +
           std::to_string(end_);
  }
  // The n bytes at pos_ (inside the span), or null with the cursor failed when the source cannot
  // read them.
  const uint8_t* At(size_t n, const char* field) {
    if (!source_) return data_ + pos_;
    const uint8_t* bytes = source_->Bytes(pos_, n);
    if (!bytes) Fail(pos_, field, source_->error().empty() ? NeedsMessage(n) : source_->error());
    return bytes;
  }
  bool Raw(void* out, size_t n, const char* field) {
    if (failed_) return false;
    if (n > left()) return Fail(pos_, field, NeedsMessage(n));
    const uint8_t* bytes = At(n, field);
    if (!bytes) return false;
    std::memcpy(out, bytes, n);
    pos_ += n;
    return true;
  }

  const uint8_t* data_ = nullptr;
  ByteSource* source_ = nullptr;
  size_t pos_, end_;
  bool failed_ = false;
  size_t failOffset_ = 0;
  std::string failField_, failMessage_;
};

}  // namespace rw

#endif
