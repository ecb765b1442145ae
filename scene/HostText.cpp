#include "scene/HostText.h"

namespace rw {
namespace {

// Reads a host text through a buffer of Size bytes whose first byte is cleared beforehand.
template <int Size, typename Handle, typename Getter>
std::string ReadHostText(Handle handle, Getter getter) {
  char buffer[Size] = "";
  getter(handle, buffer, Size);
  buffer[Size - 1] = '\0';  // whatever the host did, the text ends inside the buffer
  return buffer;
}

}  // namespace

std::string ReadBoneName(msBone* bone) { return ReadHostText<kHostNameBuffer>(bone, msBone_GetName); }
std::string ReadParentName(msBone* bone) { return ReadHostText<kHostNameBuffer>(bone, msBone_GetParentName); }
std::string ReadBoneComment(msBone* bone) { return ReadHostText<kHostCommentBuffer>(bone, msBone_GetComment); }
std::string ReadModelComment(msModel* model) { return ReadHostText<kHostCommentBuffer>(model, msModel_GetComment); }

}  // namespace rw
