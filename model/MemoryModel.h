// Our in-memory host model: it implements every function of host/msLib.h, and this builder
// fills it (tests, the .ms3d reader, the example generator).
#ifndef REELWRIGHT_MODEL_MEMORYMODEL_H
#define REELWRIGHT_MODEL_MEMORYMODEL_H

#include <string>

#include "host/msLib.h"

namespace rw {

struct Vec3 {
  float x = 0, y = 0, z = 0;
};

// A new empty model. The caller owns it and ends it with msModel_Destroy.
msModel* CreateModel();
// Appends a bone; the model owns it. Names are kept whole; the getters cut them to the buffer.
msBone* AddBone(msModel* model, const std::string& name, const std::string& parentName = "", Vec3 position = {},
                Vec3 rotation = {});
// Appends one key pair (position and rotation key at the same frame).
void AddKeyPair(msBone* bone, float frame, Vec3 position, Vec3 rotation);
void SetBoneComment(msBone* bone, const std::string& comment);  // bytes kept exactly
void SetModelComment(msModel* model, const std::string& comment);

// How many models msModel_Destroy has ended in this process: lets tests see that a run
// destroyed, or did not destroy, its model.
int DestroyedModelCount();

}  // namespace rw

#endif
