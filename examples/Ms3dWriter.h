// Writes small .ms3d files: placeholder geometry (zero-filled records), joints with keys, and
// the optional sections up to a chosen one. Used by the tests (which patch bytes for broken
// variants) and by the example generator.
#ifndef REELWRIGHT_EXAMPLES_MS3DWRITER_H
#define REELWRIGHT_EXAMPLES_MS3DWRITER_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/MemoryModel.h"

namespace rw {

struct Ms3dKey {
  float seconds = 0;  // the file stores seconds; the reader turns them into frames
  Vec3 value;
};

struct Ms3dJoint {
  std::string name;        // more than 32 bytes are cut; exactly 32 are written without terminator
  std::string parentName;  // empty for a top joint
  Vec3 rotation, position;
  std::vector<Ms3dKey> rotationKeys, positionKeys;
};

struct Ms3dComment {
  int32_t index = 0;
  std::string text;  // written as is, no terminator
};

// Where the file ends: after the joints, or after one of the optional sections.
enum class Ms3dEnd { kAfterJoints, kAfterComments, kAfterVertexExtra, kAfterJointExtra, kAfterModelExtra };

struct Ms3dFile {
  int32_t version = 4;
  uint16_t vertexCount = 0;             // zero-filled vertex records
  uint16_t triangleCount = 0;           // zero-filled triangle records
  std::vector<std::string> groupNames;  // each group lists one triangle index
  uint16_t materialCount = 0;           // zero-filled material records
  float fps = 24;
  float currentTime = 0;
  int32_t totalFrames = 0;
  std::vector<Ms3dJoint> joints;

  Ms3dEnd end = Ms3dEnd::kAfterModelExtra;
  std::vector<Ms3dComment> groupComments, materialComments, jointComments;
  bool hasModelComment = false;
  std::string modelComment;
  int32_t vertexExtraSubVersion = 2;  // 1, 2 or 3: 6, 10 or 14 bytes per vertex
};

// The file's bytes.
std::string WriteMs3d(const Ms3dFile& file);
// Writes the bytes to path; false when the file cannot be written.
bool WriteMs3dFile(const Ms3dFile& file, const std::string& path);

// Seconds for a whole frame at fps, as the modeller stores key times.
float FrameToSeconds(int frame, float fps);

}  // namespace rw

#endif
