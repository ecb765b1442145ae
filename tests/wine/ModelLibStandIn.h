// The extra exports of the stand-in msModelLib.dll, which the wine harness links against to
// make the models that it hands to the plug-in. The real modeller has none of these.
#ifndef REELWRIGHT_TESTS_WINE_MODELLIBSTANDIN_H
#define REELWRIGHT_TESTS_WINE_MODELLIBSTANDIN_H

#include "host/msLib.h"

#if defined(MSLIB_BUILDING_DLL)
#define RW_STANDIN_API __declspec(dllexport)
#else
#define RW_STANDIN_API
#endif

extern "C" {

// Reads a .ms3d file into a new model; null (and the reader's findings on stderr) when it
// cannot. The caller owns the model and ends it with msModel_Destroy.
RW_STANDIN_API msModel* rwStandIn_LoadMs3d(const char* path);
// A new empty model, owned by the caller.
RW_STANDIN_API msModel* rwStandIn_CreateModel();
// How many models msModel_Destroy has ended in this process.
RW_STANDIN_API int rwStandIn_DestroyedModelCount();
}

#endif
