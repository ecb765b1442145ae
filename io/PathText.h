// The rule for file name extensions, shared by everything that names one output after another
// (the script beside the NIS file, the NIS file after the model). Both "/" and "\" separate
// components, as on Windows; a folder's dots never count.
#ifndef REELWRIGHT_IO_PATHTEXT_H
#define REELWRIGHT_IO_PATHTEXT_H

#include <string>

namespace rw {

// True when the last component of path holds a ".".
bool HasExtension(const std::string& path);
// path with the extension of its last component (from its last ".") replaced by "." + ext, or
// "." + ext appended when that component has no ".". A drive ("C:name") is kept.
std::string ReplaceExtension(const std::string& path, const std::string& ext);

}  // namespace rw

#endif
