#include "io/FileBytes.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace rw {
namespace {

constexpr uint64_t kFirstReadSize = 65536;  // when the size cannot be known up front

std::string TooLarge(uint64_t maxBytes) {
  return "is larger than " + std::to_string(maxBytes) + " bytes, more than such a file can hold";
}

}  // namespace

bool CheckPlainFile(const std::string& path, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code code;
  const fs::file_status status = fs::status(path, code);
  if (fs::is_directory(status)) {
    error = "is a folder, not a file";
    return false;
  }
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    error = "is not a plain file";
    return false;
  }
  return true;
}

bool ReadFileBytes(const std::string& path, uint64_t maxBytes, std::string& bytes, std::string& error) {
  namespace fs = std::filesystem;
  bytes.clear();
  if (!CheckPlainFile(path, error)) return false;
  // A file that says it is too large is refused by its size, before a byte of it is read.
  std::error_code code;
  const uintmax_t known = fs::file_size(path, code);
  if (!code && known > maxBytes) {
    error = TooLarge(maxBytes);
    return false;
  }
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    error = std::string("cannot open the file (") + std::strerror(errno) + ")";
    return false;
  }
  // The bytes go from the file straight into the string, sized to the file and one byte more,
  // so that the end shows without another pass. A file that grows meanwhile grows the string in
  // doublings, up to one byte past the cap.
  const uint64_t limit = maxBytes < UINT64_MAX ? maxBytes + 1 : maxBytes;
  uint64_t first = !code && known <= maxBytes ? static_cast<uint64_t>(known) + 1 : kFirstReadSize;
  if (first > limit) first = limit;
  size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) {
      if (filled >= limit) break;
      const uint64_t grown = filled == 0 ? first : std::min<uint64_t>(uint64_t(filled) * 2, limit);
      bytes.resize(static_cast<size_t>(grown));
    }
    const size_t got = std::fread(&bytes[filled], 1, bytes.size() - filled, file);
    if (got == 0) break;
    filled += got;
  }
  bytes.resize(filled);
  const bool tooLarge = filled > maxBytes;
  const int readError = std::ferror(file) ? errno : 0;
  std::fclose(file);
  if (readError) {
    error = std::string("cannot read the file (") + std::strerror(readError) + ")";
    return false;
  }
  if (tooLarge) {
    error = TooLarge(maxBytes);
    return false;
  }
  return true;
}

}  // namespace rw
