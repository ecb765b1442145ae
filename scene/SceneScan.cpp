// The scene scan: frame rate, time range, which bones go into the file, keys for keyless
// children, and the bone paths. The one stage that reads the model as a whole, and the only
// one that changes it (by adding keys).
#include <cmath>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "log/ExportLog.h"
#include "scene/CommentOptions.h"
#include "scene/HostText.h"
#include "scene/Naming.h"
#include "scene/Scene.h"

namespace rw {
namespace {

constexpr const char* kFpsOption = "OPT_FPS";
constexpr int32_t kDefaultFps = 24;
// The starting value of the first key time: 1e30 as a 32-bit float (bits 0x7149F2CA).
constexpr float kFirstKeyStart = 1e30f;
constexpr float kNoKeyTime = -1.0f;

// 32-bit arithmetic that wraps like the machine does, without signed overflow.
int32_t WrapInt32(uint32_t value) { return TruncateToInt32(static_cast<double>(value)); }
int32_t AddWrapped(int32_t a, int32_t b) { return WrapInt32(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
bool ProductIsZero(int32_t a, int32_t b) { return static_cast<uint32_t>(a) * static_cast<uint32_t>(b) == 0; }

int32_t ReadFrameRate(msModel* model) {
  const FrameRateOption option = ReadFrameRateOption(model);
  if (!option.given) {
    LogWarning(DiagnosticCode::kNoFrameRate, "No Frames per second given!\r\n\t-> Defaulting to 24\n");
  } else if (option.zero) {
    LogWarning(DiagnosticCode::kZeroFrameRate, "Frames per second is 0!\r\n\t-> Defaulting to 24\n");
  }
  return option.fps;
}

// The smallest and the largest key time over all bones, position and rotation keys alike;
// both kNoKeyTime when the model has no key at all.
struct KeyTimeRange {
  float first = kFirstKeyStart;
  float last = 0.0f;
};

KeyTimeRange FindKeyTimeRange(msModel* model) {
  KeyTimeRange range;
  bool found = false;
  const auto take = [&range](float time) {
    if (range.first >= time) range.first = time;
    if (range.last <= time) range.last = time;
  };
  const int boneCount = msModel_GetBoneCount(model);
  for (int i = 0; i < boneCount; ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    const int positionCount = msBone_GetPositionKeyCount(bone);
    for (int k = 0; k < positionCount; ++k)
      if (const msPositionKey* key = msBone_GetPositionKeyAt(bone, k)) take(key->fTime);
    const int rotationCount = msBone_GetRotationKeyCount(bone);
    for (int k = 0; k < rotationCount; ++k)
      if (const msRotationKey* key = msBone_GetRotationKeyAt(bone, k)) take(key->fTime);
    if (positionCount > 0 || rotationCount > 0) found = true;
  }
  if (!found) range.first = range.last = kNoKeyTime;
  return range;
}

// Whole seconds, widened by one on each side unless the bound is 0.
void SetTimeRange(Scene& scene, const KeyTimeRange& range) {
  if (range.first == kNoKeyTime || range.last == kNoKeyTime) {
    LogError(DiagnosticCode::kNoFrames, "No frames found! Make sure you have keyframes defined!\n");
    scene.startTime = 0;
    scene.endTime = 0;
    return;
  }
  const double fps = static_cast<double>(static_cast<uint32_t>(scene.fps));
  scene.startTime = TruncateToInt32(static_cast<double>(range.first) / fps);
  scene.endTime = TruncateToInt32(static_cast<double>(range.last) / fps);
  if (!ProductIsZero(scene.startTime, scene.fps)) scene.startTime = AddWrapped(scene.startTime, -1);
  if (!ProductIsZero(scene.endTime, scene.fps)) scene.endTime = AddWrapped(scene.endTime, 1);
}

// A keyless child moves with its parent: one zero key pair at each of the parent's key times.
// A parent should have a rotation key for each position key; where one is missing the child's
// rotation key takes the position key's time, and the log says so once.
void CopyParentKeyTimes(msBone* bone, const std::string& name, const std::string& path, msBone* parent,
                        const std::string& parentName) {
  // Counted once: the loop adds keys, and the parent might be the bone itself.
  const int positionCount = msBone_GetPositionKeyCount(parent);
  const int rotationCount = msBone_GetRotationKeyCount(parent);
  if (rotationCount < positionCount) {
    LogBoneWarning(
        DiagnosticCode::kParentKeysUneven, path,
        "Bone \"%s\" takes the keys of its parent \"%s\", which has %d position keys but only %d "
        "rotation keys!\r\n\t-> The missing rotation keys are set to zero at the times of the position keys\n",
        name.c_str(), parentName.c_str(), positionCount, rotationCount);
  }
  msVec3 zero = {0.0f, 0.0f, 0.0f};
  for (int k = 0; k < positionCount; ++k) {
    const msPositionKey* positionKey = msBone_GetPositionKeyAt(parent, k);
    const float positionTime = positionKey ? positionKey->fTime : 0.0f;
    const msRotationKey* rotationKey = k < rotationCount ? msBone_GetRotationKeyAt(parent, k) : nullptr;
    const float rotationTime = rotationKey ? rotationKey->fTime : positionTime;
    msBone_AddPositionKey(bone, positionTime, zero);
    msBone_AddRotationKey(bone, rotationTime, zero);
  }
}

// A key that is not a finite number makes curves the game cannot play; the file is still
// written as the keys say, and the artist is told once per bone.
void WarnNonFiniteKeys(msBone* bone, const std::string& name, const std::string& path) {
  const auto finite = [](float time, const msVec3& value) {
    return std::isfinite(time) && std::isfinite(value[0]) && std::isfinite(value[1]) && std::isfinite(value[2]);
  };
  bool allFinite = true;
  const int positionCount = msBone_GetPositionKeyCount(bone);
  for (int k = 0; k < positionCount && allFinite; ++k)
    if (const msPositionKey* key = msBone_GetPositionKeyAt(bone, k)) allFinite = finite(key->fTime, key->Position);
  const int rotationCount = msBone_GetRotationKeyCount(bone);
  for (int k = 0; k < rotationCount && allFinite; ++k)
    if (const msRotationKey* key = msBone_GetRotationKeyAt(bone, k)) allFinite = finite(key->fTime, key->Rotation);
  if (!allFinite)
    LogBoneWarning(
        DiagnosticCode::kNonFiniteKeys, path,
        "Bone \"%s\" has keys whose time or value is not a number or infinite!\r\n\t-> They are written as they are\n",
        name.c_str());
}

// How many keys each bone will have once keyless children have taken their parents' keys, in
// model order as the scan gives them, counted before any key is copied.
struct KeyPlan {
  std::vector<uint64_t> counts;  // by model index
  uint64_t total = 0;            // over the bones the scan accepts
};

KeyPlan PlanKeyCounts(msModel* model, const BoneLookup& lookup) {
  KeyPlan plan;
  const int boneCount = msModel_GetBoneCount(model);
  std::unordered_map<msBone*, uint64_t> counted;
  for (int i = 0; i < boneCount; ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    uint64_t count = static_cast<uint64_t>(msBone_GetPositionKeyCount(bone));
    const std::string name = ReadBoneName(bone);
    const bool accepted = !HasPrefix(name, kIgnoredPrefix) && (count > 0 || !ReadParentName(bone).empty());
    if (accepted && count == 0) {
      msBone* parent = lookup.Find(ReadParentName(bone));
      const auto it = counted.find(parent);
      count = it != counted.end() ? it->second : static_cast<uint64_t>(msBone_GetPositionKeyCount(parent));
    }
    counted[bone] = count;
    plan.counts.push_back(count);
    if (accepted) plan.total += count;
  }
  return plan;
}

}  // namespace

FrameRateOption ReadFrameRateOption(msModel* model) { return ParseFrameRateOption(ReadModelComment(model)); }

FrameRateOption ParseFrameRateOption(const std::string& modelComment) {
  const std::string value = GetOption(modelComment, kFpsOption);
  FrameRateOption option;
  option.fps = TruncateToInt32(TextToNumber(value));
  option.given = !value.empty();
  option.zero = option.given && option.fps == 0;
  if (option.fps == 0) option.fps = kDefaultFps;
  return option;
}

Scene ScanScene(msModel* model) {
  Scene scene;
  scene.lookup.Build(model);

  LogPrint("\n");
  scene.fps = ReadFrameRate(model);
  SetTimeRange(scene, FindKeyTimeRange(model));
  LogPrint("\n");

  const KeyPlan plan = PlanKeyCounts(model, scene.lookup);
  scene.keysCapped = plan.total > kMaxSceneKeys;
  const int boneCount = msModel_GetBoneCount(model);
  for (int i = 0; i < boneCount; ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    const std::string name = ReadBoneName(bone);
    if (HasPrefix(name, kIgnoredPrefix)) continue;

    // The path names the bone in the run's problems; it depends on names alone, not on keys.
    bool looped = false;
    const std::string path = BuildBonePath(scene.lookup, bone, &looped);
    if (msBone_GetPositionKeyCount(bone) == 0) {
      const std::string parentName = ReadParentName(bone);
      if (parentName.empty()) {
        LogBoneWarning(DiagnosticCode::kBoneWithoutKeys, path,
                       "Bone \"%s\" is being ignored because it has no keyframes...\n", name.c_str());
        continue;
      }
      if (!scene.keysCapped) CopyParentKeyTimes(bone, name, path, scene.lookup.Find(parentName), parentName);
    }
    const uint64_t keyCount = plan.counts[static_cast<size_t>(i)];

    const bool isCamera = HasPrefix(name, kCameraPrefix);
    if (isCamera) {
      scene.cameras.push_back(bone);
      scene.cameraNames.push_back(name);
    }
    LogPrint("Got %s \"%s\".\n", isCamera ? "camera" : "bone", name.c_str());
    scene.bones.push_back(bone);
    scene.keyCounts.push_back(keyCount);
    WarnNonFiniteKeys(bone, name, path);

    scene.bonePaths.push_back(path);
    if (looped) {
      LogBoneWarning(DiagnosticCode::kParentLoop, path,
                     "The parents of bone \"%s\" lead back to a bone already on its chain!\r\n\t-> Its path is cut "
                     "where the chain loops: \"%s\"\n",
                     name.c_str(), path.c_str());
    }
  }
  return scene;
}

}  // namespace rw
