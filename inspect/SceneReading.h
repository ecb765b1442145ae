// A NIS file read as a scene: which records are objects, cameras and helpers, who stands under
// whom, what moves each one, and where every follower stands at any time. This is the one
// reading of a file's motion that `dump --json` (its "scene" section), `dump --frames`, `check`
// and the tools built on them share.
//
// How the game's files move, as this reading applies it:
// - Times of curves are seconds. INFO's start and end count frames in the game's files and whole
//   seconds in ours (the same version); playback runs past INFO's end to the last key. In a
//   script, `at N` is seconds and `at frame N` counts frames of INFO's rate.
// - A follower's world transform is its parent's (by name path), then its leader's, then its
//   own six slots. A parent that FOLW does not hold leaves the follower under its leader alone.
// - Rotations are Euler angles in radians; the stored order " ZYX" is read backwards: X turns
//   first, then Y, then Z, each about the parent's axes. Cameras look down their own -Z.
// - A leader on a motion path stands on the path's NURB curve at a fraction of its arc length
//   (the u-value curve); when the path's follow byte is set it is also turned along the path
//   and rolled about its front axis by the front-twist curve, otherwise its rotation comes from
//   its own rotate slots or start values.
// - A follower whose rotate slots name "<X>_group", where a follower "...|<X>_view" exists, is aimed
//   by a look-at rig: its -Z points at that follower at every time, world up +Y.
#ifndef REELWRIGHT_INSPECT_SCENEREADING_H
#define REELWRIGHT_INSPECT_SCENEREADING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "inspect/NisDocument.h"

namespace rw {

constexpr size_t kNoIndex = static_cast<size_t>(-1);
// The frame rate used when a file gives none (Crannnberry files, or an INFO without one).
constexpr double kDefaultSceneFps = 24;

enum class SceneKind {
  kShip,    // any game class but the ones below; older layout class 0
  kEffect,  // class "Effect"
  kCamera,  // named by a camera record, or class "camera"
  kTarget,  // class "camera_target"
  kHelper,  // class "None" or empty; older layout class 11; any other class number
};
const char* SceneKindName(SceneKind kind);  // "ship", "effect", "camera", "target", "helper"

// What one of the six slots of a leader or follower names.
enum class SlotUse {
  kEmpty,       // nothing: the start value or number holds
  kCurve,       // an ANIM curve
  kPathDriven,  // a path leader's helper node or path name: the path moves it
  kAimGroup,    // a rotate slot naming a look-at rig's "<X>_group"
  kUnresolved,  // a name that resolves nowhere: the start value or number holds
};
const char* SlotUseName(SlotUse use);  // "empty", "curve", "path", "aim", "unresolved"

// The six slots of a leader or follower: a curve where one is named, else the stored value.
struct SceneSlots {
  std::array<const NisCurve*, kCurveSlotCount> curves{};  // null: `values` holds
  std::array<double, kCurveSlotCount> values{};           // start values, or the six numbers
  std::array<SlotUse, kCurveSlotCount> uses{};
  std::array<int, 3> order{{0, 1, 2}};  // axes in the order they turn, 0 X, 1 Y, 2 Z
  bool orderUnderstood = true;          // false: absent (older layout) or not a permutation; XYZ used
};

// A PATH record as a motion: `usable` is false when its NURB curve is missing or malformed; a
// leader on it then stands by its own slots.
struct SceneMotionPath {
  std::string name;
  const NisNurbCurve* nurb = nullptr;
  bool usable = false;
  bool turns = false;                    // follow byte 1 or 255: turned along the path
  const NisCurve* uValue = nullptr;      // null: u runs evenly from startTime to endTime
  const NisCurve* frontTwist = nullptr;  // radians about the front axis
  int frontAxis = 2, upAxis = 1;         // 0 X, 1 Y, 2 Z
  double startTime = 0, endTime = 0;
  // Cumulative arc length at evenly spaced curve parameters, for the fraction-to-parameter map.
  std::vector<double> parameters, lengths;
};

struct SceneLeader {
  std::string name;
  SceneSlots slots;
  bool onPath = false;     // names a motion path: its translate slots are the path's
  size_t path = kNoIndex;  // in SceneReading::paths; kNoIndex: named, but PATH does not hold it
};

struct SceneFollower {
  std::string name;      // the record's name ("FOLW_Root|Ship"; "Kus_Mothership#1", "camera#1")
  std::string namePath;  // the name without "FOLW_": the name path ("Root|Ship")
  SceneKind kind = SceneKind::kHelper;
  size_t leader = kNoIndex;    // in SceneReading::leaders; kNoIndex: placed by its own slots only
  size_t parent = kNoIndex;    // in SceneReading::followers, by name path; kNoIndex: top level
  size_t aimAt = kNoIndex;     // look-at rig: the "<X>_view" follower it aims at
  size_t camera = kNoIndex;    // in SceneReading::cameras: the first camera record on this follower
  bool leaderMissing = false;  // names a leader LEAD does not hold
  SceneSlots own;
  const CrannnberryKeys* keys = nullptr;  // Crannnberry objects and cameras: their key arrays
};

struct SceneCamera {
  std::string name;
  size_t follower = kNoIndex;          // kNoIndex: FOLW does not hold it (the camera cannot be placed)
  size_t centerOfInterest = kNoIndex;  // kNoIndex: none, or not held
  const NisCurve* focalLength = nullptr;
  std::array<double, kCameraParamCount> params{};  // focal length, apertures (mm), near, far clip
};

enum class SceneTimeUnit { kSeconds, kFrames };

struct SceneReading {
  NisLayout layout = NisLayout::kUnknown;
  double fps = kDefaultSceneFps;
  // INFO's unit: frames when its end lies more than a second past the last key (our exporter's
  // end is never past the placeholder's last key), else seconds. Crannnberry: seconds.
  SceneTimeUnit infoUnit = SceneTimeUnit::kSeconds;
  double infoStart = 0, infoEnd = 0;      // seconds
  double lastKeyTime = 0;                 // seconds; 0 when no finite key
  double start = 0, end = 0;              // playback in seconds: INFO's start to the later of its end and the last key
  int64_t firstFrame = 0, lastFrame = 0;  // playback in frames of `fps`; frame N is at N / fps seconds
  std::vector<SceneMotionPath> paths;     // one per PATH record
  std::vector<SceneLeader> leaders;       // Homeworld 2 layout: one per LEAD record
  std::vector<SceneFollower> followers;   // one per FOLW record; Crannnberry: objects, then cameras
  std::vector<SceneCamera> cameras;       // one per CMRA record (Crannnberry: none; its cameras are followers)
  std::vector<std::string> notes;         // what the reading assumed or could not place, one line each
};

// Reads the scene of a document. The scene points into `doc` (curves, keys), so the document
// must outlive it and stay unchanged. Never fails: what cannot be placed is said in `notes`.
SceneReading ReadScene(const NisDocument& doc);

// Plays on to `seconds` (a script's last event, say) when that lies past scene.end: raises end
// and lastFrame.
void PlayUntil(SceneReading& scene, double seconds);

// The value of a curve at `seconds`: Hermite between tangent keys, Bezier between handle keys;
// before the first and after the last key by the infinity modes (1 linear along the end key's
// inner tangent, any other value holds the end value). 0 for a curve without keys.
double EvaluateCurve(const NisCurve& curve, double seconds);

// A position and a rotation: `rotation` is a 3x3 matrix, row by row, acting on column vectors.
struct ScenePose {
  std::array<double, 3> translation{};
  std::array<double, 9> rotation{{1, 0, 0, 0, 1, 0, 0, 0, 1}};
};
// The rotation as a unit quaternion (x, y, z, w) with w >= 0.
std::array<double, 4> PoseQuaternion(const ScenePose& pose);
// Rotation by Euler angles (radians, indexed X, Y, Z) turning in `order`, about fixed axes.
std::array<double, 9> EulerRotation(const std::array<int, 3>& order, const std::array<double, 3>& angles);

// A leader's transform at `seconds` (relative to its followers' parents).
ScenePose LeaderPose(const SceneReading& scene, size_t leader, double seconds);
// A follower's own six slots at `seconds`, before any look-at rig (a rig's slots give its snapshot).
ScenePose FollowerOwnPose(const SceneReading& scene, size_t follower, double seconds);

// World poses of followers at one time, each computed once and kept until the time changes.
class SceneEvaluator {
 public:
  explicit SceneEvaluator(const SceneReading& scene);
  // Sets the time in seconds; poses of the previous time are forgotten.
  void SetTime(double seconds);
  // The world pose of follower `index` (< scene.followers.size()) at the set time.
  const ScenePose& World(size_t index);

 private:
  enum class State : uint8_t { kNone, kWorking, kDone };
  ScenePose Unaimed(size_t index);
  const SceneReading& scene_;
  double time_ = 0;
  std::vector<ScenePose> poses_;
  std::vector<State> states_;
  std::vector<std::vector<size_t>> chains_;  // scratch, one per aim depth
  int aimDepth_ = 0;
};

}  // namespace rw

#endif
