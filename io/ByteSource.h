// The bytes of one input, handed out on demand: a span in memory, or a file read piece by piece
// as a reader asks for it, so that a reader reads no more of a file than its counts need (a
// huge file whose header is wrong costs one small read).
#ifndef REELWRIGHT_IO_BYTESOURCE_H
#define REELWRIGHT_IO_BYTESOURCE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace rw {

class ByteSource {
 public:
  ByteSource(const void* data, size_t size);  // memory the caller keeps while the source lives
  ~ByteSource();
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  // Opens the regular file at path. False, with a one-line error (without the path), when it is
  // a folder or not a regular file, or cannot be opened.
  bool OpenFile(const std::string& path, std::string& error);

  uint64_t size() const { return size_; }
  // n bytes at offset, valid until the next call; null when they are not all inside the input
  // or cannot be read (error() then says why).
  const uint8_t* Bytes(uint64_t offset, size_t n);
  const std::string& error() const { return error_; }

 private:
  const uint8_t* memory_ = nullptr;
  std::FILE* file_ = nullptr;
  uint64_t size_ = 0;
  std::string window_;  // file bytes [windowStart_, windowStart_ + window_.size())
  uint64_t windowStart_ = 0;
  std::string error_;
};

}  // namespace rw

#endif
