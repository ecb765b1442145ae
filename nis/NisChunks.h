// The NIS file of a scanned scene: the FORM "NIS " and its seven chunks. Each writer logs its
// own stage and reads the scene as the scan left it.
#ifndef REELWRIGHT_NIS_NISCHUNKS_H
#define REELWRIGHT_NIS_NISCHUNKS_H

#include <cstdint>

#include "liteiff/LiteIFF.h"
#include "scene/Scene.h"

namespace rw {

// The largest file the format's 32-bit FORM length can describe.
constexpr uint64_t kMaxWritableNisSize = uint64_t{0xFFFFFFFF} + 8;

// The exact size in bytes of the file WriteNisForm writes for scene (as it stands after the scan).
uint64_t PredictNisSize(const Scene& scene);

// FORM "NIS " holding the seven chunks below, in file order.
void WriteNisForm(LiteIFF& iff, const Scene& scene);

void WriteNisHeader(LiteIFF& iff, const Scene& scene);        // NAME, VERS, INFO
void WriteAnimationCurves(LiteIFF& iff, const Scene& scene);  // ANIM
void WriteLeaders(LiteIFF& iff, const Scene& scene);          // LEAD
void WriteFollowers(LiteIFF& iff, const Scene& scene);        // FOLW
void WriteCameras(LiteIFF& iff, const Scene& scene);          // CMRA

}  // namespace rw

#endif
