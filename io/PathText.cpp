#include "io/PathText.h"

namespace rw {
namespace {

// Where the last path component starts: after the last separator.
size_t LastComponentStart(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? 0 : separator + 1;
}

}  // namespace

bool HasExtension(const std::string& path) { return path.find('.', LastComponentStart(path)) != std::string::npos; }

std::string ReplaceExtension(const std::string& path, const std::string& ext) {
  const size_t dot = path.rfind('.');
  const bool hasExtension = dot != std::string::npos && dot >= LastComponentStart(path);
  return (hasExtension ? path.substr(0, dot) : path) + "." + ext;
}

}  // namespace rw
