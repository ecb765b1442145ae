// The stand-in msModelLib.dll: our in-memory model (host/MemoryModel.cpp, compiled into this
// DLL with its functions exported) plus the exports of ModelLibStandIn.h.
#include "tests/wine/ModelLibStandIn.h"

#include <cstdio>

#include "host/MemoryModel.h"
#include "host/Ms3dReader.h"

extern "C" {

msModel* rwStandIn_LoadMs3d(const char* path) {
  rw::Ms3dReadResult read = rw::ReadMs3dFile(path);
  for (const rw::Ms3dDiagnostic& diagnostic : read.diagnostics) {
    std::fprintf(stderr, "%s\n", diagnostic.Format(path).c_str());
  }
  return read.model.release();
}

msModel* rwStandIn_CreateModel() { return rw::CreateModel(); }

msBone* rwStandIn_AddBone(msModel* model, const char* name, const char* parentName) {
  return rw::AddBone(model, name, parentName);
}

void rwStandIn_AddKeyPair(msBone* bone, float frame, const float position[3], const float rotation[3]) {
  rw::AddKeyPair(bone, frame, {position[0], position[1], position[2]}, {rotation[0], rotation[1], rotation[2]});
}

void rwStandIn_SetModelComment(msModel* model, const char* comment) { rw::SetModelComment(model, comment); }
void rwStandIn_SetBoneComment(msBone* bone, const char* comment) { rw::SetBoneComment(bone, comment); }
int rwStandIn_DestroyedModelCount() { return rw::DestroyedModelCount(); }

}  // extern "C"
