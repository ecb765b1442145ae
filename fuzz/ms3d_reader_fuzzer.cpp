// Feeds arbitrary bytes to the .ms3d reader: it must report an error or give a model, and
// never read out of bounds, hang or allocate more than the input can hold.
#include <cstddef>
#include <cstdint>

#include "model/Ms3dReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const rw::Ms3dReadResult read = rw::ReadMs3d(data, size);
  if (read.ok() == (read.error() != nullptr)) __builtin_trap();  // exactly one of the two
  if (read.ok()) {
    // Walk what was read, as the export would.
    msModel* model = read.model.get();
    for (int i = 0; i < msModel_GetBoneCount(model); ++i) {
      msBone* bone = msModel_GetBoneAt(model, i);
      char text[1024] = "";
      msBone_GetName(bone, text, 32);
      msBone_GetComment(bone, text, sizeof text);
      for (int k = 0; k < msBone_GetPositionKeyCount(bone); ++k) (void)msBone_GetPositionKeyAt(bone, k)->fTime;
    }
  }
  return 0;
}
