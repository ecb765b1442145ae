// The buffers the exporter reads the modeller's texts through, terminator included: what the
// modeller hands over is all the export can see, so no longer text can reach the file.
#ifndef REELWRIGHT_HOST_HOSTBUFFERS_H
#define REELWRIGHT_HOST_HOSTBUFFERS_H

#include <cstddef>

namespace rw {

constexpr int kHostNameBuffer = 32;       // bone names and parent names
constexpr int kHostCommentBuffer = 1024;  // bone comments and the model comment
// The longest texts that pass whole.
constexpr size_t kHostNameMax = kHostNameBuffer - 1;
constexpr size_t kHostCommentMax = kHostCommentBuffer - 1;

}  // namespace rw

#endif
