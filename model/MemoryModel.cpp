#include "model/MemoryModel.h"

#include <cstring>
#include <memory>
#include <vector>

struct msBone {
  std::string name;
  std::string parentName;
  std::string comment;
  msVec3 position = {0, 0, 0};
  msVec3 rotation = {0, 0, 0};
  std::vector<msPositionKey> positionKeys;
  std::vector<msRotationKey> rotationKeys;
};

struct msModel {
  std::string comment;
  std::vector<std::unique_ptr<msBone>> bones;
};

namespace {

int gDestroyedModels = 0;

// Copies as much of text as fits with its terminator; returns the full length.
int CopyText(const std::string& text, char* buffer, int maxLength) {
  if (buffer && maxLength > 0) {
    size_t n = text.size() < static_cast<size_t>(maxLength - 1) ? text.size() : static_cast<size_t>(maxLength - 1);
    std::memcpy(buffer, text.data(), n);
    buffer[n] = '\0';
  }
  return static_cast<int>(text.size());
}

void CopyVec(const msVec3 in, msVec3 out) {
  if (out) {
    out[0] = in[0];
    out[1] = in[1];
    out[2] = in[2];
  }
}

const std::string kEmpty;

}  // namespace

namespace rw {

msModel* CreateModel() { return new msModel(); }

msBone* AddBone(msModel* model, const std::string& name, const std::string& parentName, Vec3 position, Vec3 rotation) {
  auto bone = std::make_unique<msBone>();
  bone->name = name;
  bone->parentName = parentName;
  bone->position[0] = position.x;
  bone->position[1] = position.y;
  bone->position[2] = position.z;
  bone->rotation[0] = rotation.x;
  bone->rotation[1] = rotation.y;
  bone->rotation[2] = rotation.z;
  model->bones.push_back(std::move(bone));
  return model->bones.back().get();
}

void AddKeyPair(msBone* bone, float frame, Vec3 position, Vec3 rotation) {
  msVec3 p = {position.x, position.y, position.z};
  msVec3 r = {rotation.x, rotation.y, rotation.z};
  msBone_AddPositionKey(bone, frame, p);
  msBone_AddRotationKey(bone, frame, r);
}

void SetBoneComment(msBone* bone, const std::string& comment) { bone->comment = comment; }
void SetModelComment(msModel* model, const std::string& comment) { model->comment = comment; }
int DestroyedModelCount() { return gDestroyedModels; }

}  // namespace rw

extern "C" {

int msModel_GetBoneCount(msModel* model) { return model ? static_cast<int>(model->bones.size()) : 0; }

msBone* msModel_GetBoneAt(msModel* model, int index) {
  if (!model || index < 0 || static_cast<size_t>(index) >= model->bones.size()) return nullptr;
  return model->bones[static_cast<size_t>(index)].get();
}

int msModel_GetComment(msModel* model, char* buffer, int maxLength) {
  return CopyText(model ? model->comment : kEmpty, buffer, maxLength);
}

void msModel_Destroy(msModel* model) {
  if (!model) return;
  ++gDestroyedModels;
  delete model;
}

void msBone_GetName(msBone* bone, char* buffer, int maxLength) {
  CopyText(bone ? bone->name : kEmpty, buffer, maxLength);
}

void msBone_GetParentName(msBone* bone, char* buffer, int maxLength) {
  CopyText(bone ? bone->parentName : kEmpty, buffer, maxLength);
}

int msBone_GetComment(msBone* bone, char* buffer, int maxLength) {
  return CopyText(bone ? bone->comment : kEmpty, buffer, maxLength);
}

void msBone_GetPosition(msBone* bone, msVec3 out) {
  static const msVec3 kZero = {0, 0, 0};
  CopyVec(bone ? bone->position : kZero, out);
}

void msBone_GetRotation(msBone* bone, msVec3 out) {
  static const msVec3 kZero = {0, 0, 0};
  CopyVec(bone ? bone->rotation : kZero, out);
}

int msBone_GetPositionKeyCount(msBone* bone) { return bone ? static_cast<int>(bone->positionKeys.size()) : 0; }
int msBone_GetRotationKeyCount(msBone* bone) { return bone ? static_cast<int>(bone->rotationKeys.size()) : 0; }

msPositionKey* msBone_GetPositionKeyAt(msBone* bone, int index) {
  if (!bone || index < 0 || static_cast<size_t>(index) >= bone->positionKeys.size()) return nullptr;
  return &bone->positionKeys[static_cast<size_t>(index)];
}

msRotationKey* msBone_GetRotationKeyAt(msBone* bone, int index) {
  if (!bone || index < 0 || static_cast<size_t>(index) >= bone->rotationKeys.size()) return nullptr;
  return &bone->rotationKeys[static_cast<size_t>(index)];
}

int msBone_AddPositionKey(msBone* bone, float time, msVec3 value) {
  if (!bone) return -1;
  bone->positionKeys.push_back({time, {value[0], value[1], value[2]}});
  return static_cast<int>(bone->positionKeys.size()) - 1;
}

int msBone_AddRotationKey(msBone* bone, float time, msVec3 value) {
  if (!bone) return -1;
  bone->rotationKeys.push_back({time, {value[0], value[1], value[2]}});
  return static_cast<int>(bone->rotationKeys.size()) - 1;
}

}  // extern "C"
