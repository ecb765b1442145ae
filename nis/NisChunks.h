// The NIS file of a scanned scene: the FORM "NIS " and its seven chunks. Each writer logs its
// own stage and reads the scene as the scan left it.
#ifndef REELWRIGHT_NIS_NISCHUNKS_H
#define REELWRIGHT_NIS_NISCHUNKS_H

#include "liteiff/LiteIFF.h"
#include "scene/Scene.h"

namespace rw {

// FORM "NIS " holding the seven chunks below, in file order.
void WriteNisForm(LiteIFF& iff, const Scene& scene);

void WriteNisHeader(LiteIFF& iff, const Scene& scene);        // NAME, VERS, INFO
void WriteAnimationCurves(LiteIFF& iff, const Scene& scene);  // ANIM
void WriteLeaders(LiteIFF& iff, const Scene& scene);          // LEAD
void WriteFollowers(LiteIFF& iff, const Scene& scene);        // FOLW
void WriteCameras(LiteIFF& iff, const Scene& scene);          // CMRA

}  // namespace rw

#endif
