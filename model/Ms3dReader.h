// Reads MilkShape 3D .ms3d files (versions 3 and 4) into the in-memory host model: the joints
// with their rest pose, keys and comments, and the model comment. Geometry is checked for
// size and skipped. Bad input gives one error with its byte offset, never a crash, and
// nothing is allocated before the bytes that it stands for are known to be there.
#ifndef REELWRIGHT_MODEL_MS3DREADER_H
#define REELWRIGHT_MODEL_MS3DREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/msLib.h"
#include "io/Diagnostic.h"

namespace rw {

// The file layout: sizes of the fixed records, little-endian, no padding.
constexpr char kMs3dId[] = "MS3D000000";  // 10 bytes, no terminator in the file
constexpr size_t kMs3dIdSize = 10;
constexpr size_t kMs3dHeaderSize = 14;  // id + int32 version
constexpr size_t kMs3dNameSize = 32;
constexpr size_t kMs3dVertexSize = 15;
constexpr size_t kMs3dTriangleSize = 70;
constexpr size_t kMs3dGroupMinSize = 36;  // flags, name, triangle count, material index
constexpr size_t kMs3dMaterialSize = 361;
constexpr size_t kMs3dAnimationSize = 12;   // fps, current time, total frames
constexpr size_t kMs3dJointFixedSize = 93;  // flags, two names, rotation, position, two counts
constexpr size_t kMs3dKeySize = 16;         // time in seconds, then three floats
constexpr size_t kMs3dCommentMinSize = 8;   // index and length of an empty comment
constexpr size_t kMs3dJointExtraSize = 12;  // color[3]
constexpr size_t kMs3dModelExtraSize = 12;  // joint size, transparency mode, alpha ref
constexpr int32_t kMs3dCommentSubVersion = 1;
constexpr float kMs3dFallbackFps = 24.0f;

// Ends a model with msModel_Destroy.
struct ModelDeleter {
  void operator()(msModel* model) const;
};
using ModelPtr = std::unique_ptr<msModel, ModelDeleter>;

struct Ms3dReadResult {
  ModelPtr model;                       // null when an error was found; the caller owns it otherwise
  std::vector<Diagnostic> diagnostics;  // warnings in file order; an error is always last
  float fileFps = 0;  // the animation fps the file states, as stored (0 when the read stopped before it)

  bool ok() const { return model != nullptr; }
  const Diagnostic* error() const;  // the error, or null
};

// Reads size bytes at data (which the caller keeps). Never throws for bad input.
Ms3dReadResult ReadMs3d(const void* data, size_t size);
Ms3dReadResult ReadMs3d(const std::string& bytes);
// Reads the file at path, no further than its counts need; a file that cannot be read gives an
// error without offset.
Ms3dReadResult ReadMs3dFile(const std::string& path);

// Key time in the host's frames from a time in seconds: seconds * fps in double; a result
// within 0.001 of a whole number becomes that number; stored as float (out of range: infinity).
float SecondsToFrames(float seconds, float fps);

}  // namespace rw

#endif
