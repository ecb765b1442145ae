// The whole file: one FORM "NIS " holding the seven chunks in the order readers expect, each
// checked against the sizes the prediction states for it.
#include <cassert>

#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisSize.h"

namespace rw {

void WriteNisForm(LiteIFF& iff, const Scene& scene) {
  [[maybe_unused]] uint64_t start = iff.position();
  iff.OpenForm(kChunkForm, kChunkNis, 0);
  start = iff.position();
  WriteNisHeader(iff, scene);
  assert(WroteAsStated(iff, start, HeaderChunksSize()));
  start = iff.position();
  WriteAnimationCurves(iff, scene);
  assert(WroteAsStated(iff, start, AnimationChunkSize(scene)));
  start = iff.position();
  WriteLeaders(iff, scene);
  assert(WroteAsStated(iff, start, LeaderChunkSize(scene)));
  start = iff.position();
  WriteFollowers(iff, scene);
  assert(WroteAsStated(iff, start, FollowerChunkSize(scene)));
  start = iff.position();
  WriteCameras(iff, scene);
  assert(WroteAsStated(iff, start, CameraChunkSize(scene)));
  iff.CloseChunk();
}

}  // namespace rw
