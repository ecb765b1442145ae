// The ANIM chunk: "ANIM_Empty", then seven curves for every accepted bone, one key per
// position key, with bind pose plus key in the bone's parent-relative space.
#include <unordered_set>

#include "log/ExportLog.h"
#include "nis/CurveBlock.h"
#include "nis/Matrix4.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"
#include "scene/HostText.h"
#include "scene/Naming.h"

namespace rw {
namespace {

// The placeholder curve: two flat keys at 0 and endTime seconds, value 0.
void WriteEmptyCurve(LiteIFF& iff, int32_t endTime) {
  KeyTangent flat;
  flat.in = {1.0f, 0.0f};
  flat.out = flat.in;
  iff.WriteString(kEmptyCurve);
  WriteU32(iff, 2);
  WriteCurveKey(iff, 0.0, 0.0, flat);
  WriteCurveKey(iff, static_cast<double>(static_cast<uint32_t>(endTime)), 0.0, flat);
  WriteU32(iff, 0);
  WriteU32(iff, 0);
}

// Bind translation then rotations X, Y, Z of each bone from the one named like the curve up
// through its parents. A parent chain that comes back to a bone already on it ends there, with
// a warning, instead of running forever.
void BuildChainMatrix(const BoneLookup& lookup, const std::string& curveName, const std::string& bonePath,
                      Matrix4& chain) {
  MatrixIdentity(chain);
  std::unordered_set<msBone*> visited;
  for (msBone* bone = lookup.Find(curveName); bone;) {
    if (!visited.insert(bone).second) {
      LogBoneWarning(DiagnosticCode::kParentLoop, bonePath,
                     "The parent chain of bone '%s' comes back to bone '%s'\r\n\t-> The chain ends there\n",
                     curveName.c_str(), ReadBoneName(bone).c_str());
      break;
    }
    msVec3 position = {0, 0, 0}, rotation = {0, 0, 0};
    msBone_GetPosition(bone, position);
    msBone_GetRotation(bone, rotation);
    msBone* parent = lookup.Find(ReadParentName(bone));
    Matrix4 step;
    MatrixIdentity(step);
    for (int axis = 0; axis < 3; ++axis) step.at(3, axis) = position[axis];
    MatrixMultiply(chain, chain, step);
    MatrixRotationX(step, rotation[0]);
    MatrixMultiply(chain, chain, step);
    MatrixRotationY(step, rotation[1]);
    MatrixMultiply(chain, chain, step);
    MatrixRotationZ(step, rotation[2]);
    MatrixMultiply(chain, chain, step);
    bone = parent;
  }
}

// The inverse by cofactors. False, with inverse all zero, when the chain cannot be inverted:
// its determinant is 0, or so small that it is 0 as a float (1/d would be infinite).
bool InvertChainMatrix(const Matrix4& chain, Matrix4& inverse) {
  const double determinant = MatrixDeterminant(chain);
  const float roundedDeterminant = static_cast<float>(determinant);
  if (determinant == 0.0 || roundedDeterminant == 0.0f) {
    MatrixClear(inverse);
    return false;
  }
  Matrix4 cofactors;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c)
      cofactors.at(r, c) = static_cast<float>(MatrixMinor(chain, r, c) * ((r + c) % 2 ? -1.0 : 1.0));
  MatrixTranspose(cofactors, cofactors);
  const double scale = 1.0 / static_cast<double>(roundedDeterminant);
  for (int e = 0; e < 16; ++e) inverse.m[e] = static_cast<float>(static_cast<double>(cofactors.m[e]) * scale);
  return true;
}

// Column c of the row (x, y, z, 1) times n.
float TransformColumn(const Matrix4& n, int c, float x, float y, float z) {
  return static_cast<float>(static_cast<double>(n.at(0, c)) * x + static_cast<double>(n.at(1, c)) * y +
                            static_cast<double>(n.at(2, c)) * z + static_cast<double>(n.at(3, c)));
}

// What every sample of one entity shares.
struct EntityPose {
  msVec3 bindPosition = {0, 0, 0};
  msVec3 bindRotation = {0, 0, 0};
  Matrix4 inverse;          // N, the inverse of the bind chain
  bool invertible = false;  // false: every position sample is 0, 0, 0
  double halfTurn = 0.0;    // added to rotation Y: a camera's half turn, else 0
  double framesPerSecond = 1.0;
};

// One key of each curve from position key j and rotation key j, paired by index alone.
void AppendSample(const EntityPose& pose, const msPositionKey& positionKey, const msRotationKey& rotationKey,
                  CurveSamples& samples) {
  const msVec3& p = pose.bindPosition;
  const msVec3& r = pose.bindRotation;
  const float x = static_cast<float>(static_cast<double>(p[0]) + positionKey.Position[0]);
  const float y = static_cast<float>(static_cast<double>(p[1]) + positionKey.Position[1]);
  const float z = static_cast<float>(static_cast<double>(p[2]) + positionKey.Position[2]);
  // The three terms of rotation Y are summed in double and rounded once.
  const float rx = static_cast<float>(static_cast<double>(r[0]) + rotationKey.Rotation[0]);
  const float ry = static_cast<float>(pose.halfTurn + rotationKey.Rotation[1] + r[1]);
  const float rz = static_cast<float>(static_cast<double>(r[2]) + rotationKey.Rotation[2]);
  for (int c = 0; c < 3; ++c)
    samples.translate[c].push_back(pose.invertible ? TransformColumn(pose.inverse, c, x, y, z) : 0.0f);
  samples.times.push_back(static_cast<float>(static_cast<double>(positionKey.fTime) / pose.framesPerSecond));
  samples.rotate[0].push_back(rx);
  samples.rotate[1].push_back(ry);
  samples.rotate[2].push_back(rz);
  samples.visibility.push_back(1.0f);
}

// The samples of one bone: one per position key. A key the host does not hand out counts
// as time 0 and values 0, 0, 0; missing rotation keys are reported once per bone.
void SampleBone(msBone* bone, const std::string& path, const EntityPose& pose, CurveSamples& samples) {
  static const msPositionKey kNoPositionKey = {0, {0, 0, 0}};
  static const msRotationKey kNoRotationKey = {0, {0, 0, 0}};
  samples.Clear();
  const int keyCount = msBone_GetPositionKeyCount(bone);
  const int rotationKeyCount = msBone_GetRotationKeyCount(bone);
  if (rotationKeyCount < keyCount)
    LogBoneWarning(DiagnosticCode::kRotationKeysMissing, path,
                   "Bone '%s' has only %d rotation keys for %d position keys\r\n"
                   "\t-> The missing rotation keys count as 0, 0, 0\n",
                   path.c_str(), rotationKeyCount, keyCount);
  for (int j = 0; j < keyCount; ++j) {
    const msPositionKey* positionKey = msBone_GetPositionKeyAt(bone, j);
    const msRotationKey* rotationKey = msBone_GetRotationKeyAt(bone, j);
    AppendSample(pose, positionKey ? *positionKey : kNoPositionKey, rotationKey ? *rotationKey : kNoRotationKey,
                 samples);
  }
}

}  // namespace

void WriteAnimationCurves(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("Animation Curves");
  iff.OpenChunk(kChunkAnim);
  WriteU32(iff, static_cast<uint32_t>(kCurvesPerEntity * scene.bones.size() + 1));
  WriteEmptyCurve(iff, scene.endTime);

  CurveSamples samples;
  for (size_t i = 0; i < scene.bones.size(); ++i) {
    msBone* bone = scene.bones[i];
    const std::string path = i < scene.bonePaths.size() ? scene.bonePaths[i] : std::string();
    const bool isCamera = IsCameraPath(path);
    LogPrint("Writing animation curves for %s #%d...\n", isCamera ? "camera" : "bone", static_cast<int>(i + 1));
    const std::string curveName = kCurvePrefix + path;

    EntityPose pose;
    msBone_GetPosition(bone, pose.bindPosition);
    msBone_GetRotation(bone, pose.bindRotation);
    // The chain depends on the entity alone; in an ordinary model it is the identity.
    Matrix4 chain;
    BuildChainMatrix(scene.lookup, curveName, path, chain);
    pose.invertible = InvertChainMatrix(chain, pose.inverse);
    pose.halfTurn = isCamera ? static_cast<double>(kCameraHalfTurn) : 0.0;
    pose.framesPerSecond = static_cast<double>(static_cast<uint32_t>(scene.fps));

    SampleBone(bone, path, pose, samples);
    WriteCurveSet(iff, curveName, samples.times, samples.translate, samples.rotate, samples.visibility, 0, 0);
  }

  iff.CloseChunk();
  LogEndStage();
}

}  // namespace rw
