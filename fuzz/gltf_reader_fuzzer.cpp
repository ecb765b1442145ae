// Feeds arbitrary bytes to the glTF reader (as .gltf text, or as a .glb when they start with
// "glTF"): it must report an error or give a model, never crash, read out of bounds or hang.
#include <cstddef>
#include <cstdint>
#include <string>

#include "model/GltfReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  rw::GltfReadOptions options;
  options.framesPerSecond = [](const std::string& comment) { return static_cast<int32_t>(comment.size() % 61); };
  const rw::GltfReadResult read = rw::ReadGltf(std::string(reinterpret_cast<const char*>(data), size), options);
  if (read.ok() == (read.error() != nullptr)) __builtin_trap();  // exactly one of the two
  if (read.ok()) {
    msModel* model = read.model.get();
    for (int i = 0; i < msModel_GetBoneCount(model); ++i) {
      msBone* bone = msModel_GetBoneAt(model, i);
      char text[1024] = "";
      msBone_GetComment(bone, text, sizeof text);
      for (int k = 0; k < msBone_GetPositionKeyCount(bone); ++k) (void)msBone_GetRotationKeyAt(bone, k)->fTime;
    }
  }
  return 0;
}
