// Reading a whole file into memory, for the readers that parse from a byte span.
#ifndef REELWRIGHT_IO_FILEBYTES_H
#define REELWRIGHT_IO_FILEBYTES_H

#include <cstdint>
#include <string>

namespace rw {

// True when path is not a folder and not a device or pipe (those could be endless); a path
// that does not exist passes, for the open to report. Otherwise false with a one-line error.
bool CheckPlainFile(const std::string& path, std::string& error);

// The one-line error for a file larger than maxBytes, as ReadFileBytes gives it.
std::string TooLarge(uint64_t maxBytes);

// Reads the regular file at path into bytes. False, with a one-line error (without the path)
// in `error`, when it is a folder or not a regular file (a device or a pipe could be endless),
// cannot be opened or read, or holds more than maxBytes.
bool ReadFileBytes(const std::string& path, uint64_t maxBytes, std::string& bytes, std::string& error);

}  // namespace rw

#endif
