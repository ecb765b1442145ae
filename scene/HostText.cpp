#include "scene/HostText.h"

namespace rw {

std::string ReadBoneName(msBone* bone) {
  char buffer[kHostNameBuffer] = "";
  msBone_GetName(bone, buffer, kHostNameBuffer);
  buffer[kHostNameBuffer - 1] = '\0';
  return buffer;
}

std::string ReadParentName(msBone* bone) {
  char buffer[kHostNameBuffer] = "";
  msBone_GetParentName(bone, buffer, kHostNameBuffer);
  buffer[kHostNameBuffer - 1] = '\0';
  return buffer;
}

std::string ReadBoneComment(msBone* bone) {
  char buffer[kHostCommentBuffer] = "";
  msBone_GetComment(bone, buffer, kHostCommentBuffer);
  buffer[kHostCommentBuffer - 1] = '\0';
  return buffer;
}

std::string ReadModelComment(msModel* model) {
  char buffer[kHostCommentBuffer] = "";
  msModel_GetComment(model, buffer, kHostCommentBuffer);
  buffer[kHostCommentBuffer - 1] = '\0';
  return buffer;
}

}  // namespace rw
