// Declarations of the modeller's model library (msModelLib.dll). The host implements these;
// our in-memory model (model/MemoryModel.h) implements the same functions for the command-line
// program, the tests and the Windows test harness.
//
// Text getters write a terminated text of at most maxLength - 1 characters and return the
// full length. A null bone reads as an empty name, parent name and comment, and no keys.
#ifndef REELWRIGHT_HOST_MSLIB_H
#define REELWRIGHT_HOST_MSLIB_H

#if defined(_WIN32) && !defined(__cdecl)
#define __cdecl __attribute__((__cdecl__))
#endif
#if !defined(_WIN32)
#define MSLIB_CALL
#else
#define MSLIB_CALL __cdecl
#endif

// The stand-in msModelLib.dll exports these; every other build just declares them.
#if defined(_WIN32) && defined(MSLIB_BUILDING_DLL)
#define MSLIB_API __declspec(dllexport)
#else
#define MSLIB_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct msModel msModel;  // opaque host model
typedef struct msBone msBone;    // opaque host bone
typedef float msVec3[3];

#pragma pack(push, 1)
typedef struct msPositionKey {
  float fTime;  // frames, counted from 1 by the host
  msVec3 Position;
} msPositionKey;
typedef struct msRotationKey {
  float fTime;
  msVec3 Rotation;  // Euler angles, radians
} msRotationKey;
#pragma pack(pop)

MSLIB_API int MSLIB_CALL msModel_GetBoneCount(msModel* model);
MSLIB_API msBone* MSLIB_CALL msModel_GetBoneAt(msModel* model, int index);  // null when out of range
MSLIB_API int MSLIB_CALL msModel_GetComment(msModel* model, char* buffer, int maxLength);
MSLIB_API void MSLIB_CALL msModel_Destroy(msModel* model);

MSLIB_API void MSLIB_CALL msBone_GetName(msBone* bone, char* buffer, int maxLength);
MSLIB_API void MSLIB_CALL msBone_GetParentName(msBone* bone, char* buffer, int maxLength);
MSLIB_API int MSLIB_CALL msBone_GetComment(msBone* bone, char* buffer, int maxLength);
MSLIB_API void MSLIB_CALL msBone_GetPosition(msBone* bone, msVec3 out);
MSLIB_API void MSLIB_CALL msBone_GetRotation(msBone* bone, msVec3 out);
MSLIB_API int MSLIB_CALL msBone_GetPositionKeyCount(msBone* bone);
MSLIB_API int MSLIB_CALL msBone_GetRotationKeyCount(msBone* bone);
MSLIB_API msPositionKey* MSLIB_CALL msBone_GetPositionKeyAt(msBone* bone, int index);  // null when out of range
MSLIB_API msRotationKey* MSLIB_CALL msBone_GetRotationKeyAt(msBone* bone, int index);  // null when out of range
MSLIB_API int MSLIB_CALL msBone_AddPositionKey(msBone* bone, float time, msVec3 value);  // returns the new key's index
MSLIB_API int MSLIB_CALL msBone_AddRotationKey(msBone* bone, float time, msVec3 value);

#ifdef __cplusplus
}
#endif

#endif
