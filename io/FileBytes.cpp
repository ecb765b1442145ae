#include "io/FileBytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace rw {

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
  std::error_code code;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) {
    error = std::string("cannot open the file (") + std::strerror(errno) + ")";
    return false;
  }
  // The size known up front spares the string its regrowth; the loop still reads to the end,
  // so a file that grows meanwhile is caught by the cap.
  const uintmax_t known = fs::file_size(path, code);
  if (!code && known <= maxBytes) bytes.reserve(static_cast<size_t>(known));
  char buffer[65536];
  size_t got;
  bool tooLarge = false;
  while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    if (bytes.size() + got > maxBytes) {
      tooLarge = true;
      break;
    }
    bytes.append(buffer, got);
  }
  const int readError = std::ferror(file) ? errno : 0;
  std::fclose(file);
  if (readError) {
    error = std::string("cannot read the file (") + std::strerror(readError) + ")";
    return false;
  }
  if (tooLarge) {
    error = "is larger than " + std::to_string(maxBytes) + " bytes, more than such a file can hold";
    return false;
  }
  return true;
}

}  // namespace rw
