#include "scene/Naming.h"

namespace rw {

bool HasPrefix(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

bool IsCameraPath(const std::string& path) {
  const size_t separator = path.rfind(kPathSeparator);
  const size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
  return HasPrefix(path.substr(nameStart), kCameraPrefix);
}

}  // namespace rw
