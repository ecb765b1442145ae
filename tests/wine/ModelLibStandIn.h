// The extra exports of the stand-in msModelLib.dll, which the wine harness uses to make the
// models that it hands to the plug-in. The real modeller has none of these.
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
// Appends a bone at rest in the origin; the model owns it.
RW_STANDIN_API msBone* rwStandIn_AddBone(msModel* model, const char* name, const char* parentName);
// Appends a position and a rotation key at frame.
RW_STANDIN_API void rwStandIn_AddKeyPair(msBone* bone, float frame, const float position[3], const float rotation[3]);
RW_STANDIN_API void rwStandIn_SetModelComment(msModel* model, const char* comment);
RW_STANDIN_API void rwStandIn_SetBoneComment(msBone* bone, const char* comment);
// How many models msModel_Destroy has ended in this process.
RW_STANDIN_API int rwStandIn_DestroyedModelCount();

// The same as function pointer types, for GetProcAddress.
typedef msModel* (*rwStandIn_LoadMs3dFn)(const char*);
typedef msModel* (*rwStandIn_CreateModelFn)();
typedef msBone* (*rwStandIn_AddBoneFn)(msModel*, const char*, const char*);
typedef void (*rwStandIn_AddKeyPairFn)(msBone*, float, const float*, const float*);
typedef void (*rwStandIn_SetModelCommentFn)(msModel*, const char*);
typedef void (*rwStandIn_SetBoneCommentFn)(msBone*, const char*);
typedef int (*rwStandIn_DestroyedModelCountFn)();
}

#endif
