// Texts read from the host through its fixed buffers: 32 bytes for names, 1024 for comments,
// so names have at most 31 characters and comments at most 1023.
#ifndef REELWRIGHT_SCENE_HOSTTEXT_H
#define REELWRIGHT_SCENE_HOSTTEXT_H

#include <string>

#include "host/HostBuffers.h"
#include "host/msLib.h"

namespace rw {

std::string ReadBoneName(msBone* bone);
std::string ReadParentName(msBone* bone);
std::string ReadBoneComment(msBone* bone);
std::string ReadModelComment(msModel* model);

}  // namespace rw

#endif
