// The stand-in msModelLib.dll: our in-memory model (host/MemoryModel.cpp, compiled into this
// DLL with its functions exported) plus the exports of ModelLibStandIn.h.
#include "tests/wine/ModelLibStandIn.h"

#include <cstdio>

#include "model/MemoryModel.h"
#include "model/Ms3dReader.h"

extern "C" {

msModel* rwStandIn_LoadMs3d(const char* path) {
  rw::Ms3dReadResult read = rw::ReadMs3dFile(path);
  for (const rw::Diagnostic& diagnostic : read.diagnostics) {
    std::fprintf(stderr, "%s\n", rw::FormatDiagnostic(path, diagnostic).c_str());
  }
  return read.model.release();
}

msModel* rwStandIn_CreateModel() { return rw::CreateModel(); }

int rwStandIn_DestroyedModelCount() { return rw::DestroyedModelCount(); }

}  // extern "C"
