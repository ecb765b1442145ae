// The whole file: one FORM "NIS " holding the seven chunks in the order readers expect.
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"

namespace rw {

void WriteNisForm(LiteIFF& iff, const Scene& scene) {
  iff.OpenForm(kChunkForm, kChunkNis, 0);
  WriteNisHeader(iff, scene);
  WriteAnimationCurves(iff, scene);
  WriteLeaders(iff, scene);
  WriteFollowers(iff, scene);
  WriteCameras(iff, scene);
  iff.CloseChunk();
}

}  // namespace rw
