#include "io/ByteSource.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "io/FileBytes.h"

namespace rw {
namespace {

// Reads ahead by at least this much, so that many small reads cost few system calls.
constexpr size_t kReadAhead = 64 * 1024;

// fseek takes a long; a file past its range is read through the 64-bit call where there is one.
bool SeekTo(std::FILE* file, uint64_t offset) {
#if defined(_WIN32)
  return _fseeki64(file, static_cast<long long>(offset), SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
}

}  // namespace

ByteSource::ByteSource(const void* data, size_t size) : memory_(static_cast<const uint8_t*>(data)), size_(size) {}

ByteSource::~ByteSource() {
  if (file_) std::fclose(file_);
}

bool ByteSource::OpenFile(const std::string& path, std::string& error) {
  if (!CheckPlainFile(path, error)) return false;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    error = std::string("cannot open the file (") + std::strerror(errno) + ")";
    return false;
  }
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(path, code);
  if (code) {
    std::fclose(file);
    error = "cannot read the file (" + code.message() + ")";
    return false;
  }
  if (file_) std::fclose(file_);
  file_ = file;
  memory_ = nullptr;
  size_ = size;
  window_.clear();
  windowStart_ = 0;
  return true;
}

const uint8_t* ByteSource::Bytes(uint64_t offset, size_t n) {
  if (offset > size_ || n > size_ - offset) return nullptr;
  if (memory_) return memory_ + offset;
  if (!file_) return nullptr;
  if (offset >= windowStart_ && offset - windowStart_ + n <= window_.size())
    return reinterpret_cast<const uint8_t*>(window_.data()) + (offset - windowStart_);
  const size_t want = static_cast<size_t>(std::min<uint64_t>(std::max(n, kReadAhead), size_ - offset));
  window_.resize(want);
  windowStart_ = offset;
  errno = 0;
  const size_t got = SeekTo(file_, offset) ? std::fread(&window_[0], 1, want, file_) : 0;
  if (got < n) {
    window_.clear();
    error_ = std::string("cannot read the file (") + (errno ? std::strerror(errno) : "it became shorter") + ")";
    return nullptr;
  }
  window_.resize(got);
  return reinterpret_cast<const uint8_t*>(window_.data());
}

}  // namespace rw
