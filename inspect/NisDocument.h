// What a NIS file holds, as read by NisReader: the chunk tree with offsets, the decoded
// records of every known chunk, and the structural faults met on the way. All offsets are
// byte offsets from the start of the file. Texts are raw bytes as stored (any byte may occur).
#ifndef REELWRIGHT_INSPECT_NISDOCUMENT_H
#define REELWRIGHT_INSPECT_NISDOCUMENT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/Diagnostic.h"

namespace rw {

constexpr size_t kFirstBytesShown = 16;
// 32-bit lengths and offsets cannot describe a larger file.
constexpr uint64_t kMaxNisFileSize = 0xFFFFFFFFu;
// A script is a text of events; one this large is not one.
constexpr uint64_t kMaxScriptFileSize = uint64_t{1} << 30;

// The two file layouts that share the FORM "NIS " framing, told apart by NAME and VERS.
// kUnknown: any other title or version; its records are read as kHomeworld2's.
enum class NisLayout { kHomeworld2, kCrannnberry, kUnknown };
constexpr const char* kCrannnberryTitle = "Crannnberry";
constexpr uint32_t kCrannnberryVersion = 512;

// How far a plain chunk's payload was understood: not at all (unknown id), up to a fault
// (stoppedAt, stopReason), or record by record to its end.
enum class NisDecoding { kNone, kPartial, kFull };

// One chunk head and what it spans. For FORM and NRML, `type` is the type word and
// `children` the chunks inside; `extra` is NRML's fourth head word.
struct NisChunk {
  uint32_t id = 0;
  uint32_t type = 0;
  uint32_t extra = 0;
  uint32_t offset = 0;      // of the head
  uint32_t length = 0;      // as stored in the head
  uint32_t dataOffset = 0;  // first byte behind the 8-byte head
  uint32_t dataSize = 0;    // bytes of payload actually present (length clipped to the parent)
  NisDecoding decoding = NisDecoding::kNone;
  uint32_t stoppedAt = 0;  // kPartial: where reading stopped, and why
  std::string stopReason;
  std::string firstBytes;  // up to kFirstBytesShown bytes of a plain chunk's payload
  std::vector<NisChunk> children;
};

// The four floats of a key: unit tangent vectors (seconds, value), or absolute Bezier handles
// (time in seconds, value) in the flagged layout.
enum class NisCurveLayout { kTangents, kBezier };

struct NisKey {
  double time = 0, value = 0;
  std::array<float, 2> in{}, out{};
};

struct NisCurve {
  uint32_t offset = 0;
  std::string name;
  NisCurveLayout layout = NisCurveLayout::kTangents;
  std::vector<NisKey> keys;
  uint32_t preInfinity = 0, postInfinity = 0;  // 0 constant, 1 linear
  std::vector<uint16_t> keyWords;              // kBezier: one word per key, behind the infinity words
};

// Six curve slots of a leader or follower, in file order.
constexpr int kCurveSlotCount = 6;
extern const char* const kCurveSlotNames[kCurveSlotCount];  // "translateXCurve" ... "rotateZCurve"
constexpr int kFirstRotateSlot = 3;

struct NisLeader {
  uint32_t offset = 0;
  std::string name;
  std::string pathName;  // motion path; empty in our files
  std::array<std::string, kCurveSlotCount> curves;
  std::array<double, 3> startPosition{}, startRotation{};
  std::optional<std::string> rotationOrder;  // the 4 bytes as stored; absent in the older variant
};

struct NisFollower {
  uint32_t offset = 0;
  std::string name;
  std::string leaderName;               // empty: a top-level object placed by its own curves
  std::string objectClass;              // sob type: "Ship", "camera", ...
  std::optional<uint32_t> classNumber;  // older variant: the class is a number, objectClass empty
  std::string blueprint;                // sob name
  std::array<std::string, kCurveSlotCount> curves;
  std::array<double, kCurveSlotCount> numbers{};
  std::optional<std::string> rotationOrder;
};

constexpr int kCameraParamCount = 5;

struct NisCamera {
  uint32_t offset = 0;
  std::string name;
  std::string followerName;
  std::string centerOfInterest;
  std::string reservedText;      // empty in every file seen
  std::string focalLengthCurve;  // empty: no zoom animation
  // Focal length and horizontal, vertical film aperture (mm), near and far clip.
  std::array<double, kCameraParamCount> params{};
};

struct NisNurbCurve {
  uint32_t offset = 0;
  std::string name;
  int32_t degree = 0;
  int32_t form = 0;                                  // 0 invalid, 1 open, 2 closed, 3 periodic
  std::vector<std::array<double, 4>> controlPoints;  // x, y, z, w
  std::vector<double> knots;
};

constexpr int kPathCurveCount = 4;
extern const char* const kPathCurveNames[kPathCurveCount];  // "uValueCurve" ... "sideTwistCurve"

struct NisPath {
  uint32_t offset = 0;
  std::string name;
  uint8_t flag = 0;
  uint32_t frontAxis = 0, upAxis = 0;
  // u-value, front-twist, up-twist and side-twist curves.
  std::array<std::string, kPathCurveCount> curves;
  double startTime = 0, endTime = 0;
  std::string nurbName;
  uint8_t flag2 = 0;
  std::vector<double> spans;
};

// Which record layout a LEAD or FOLW chunk turned out to use.
enum class NisVariant { kCurrent, kOlder };

struct NisInfo {
  int32_t fps = 0, start = 0, end = 0;
};

// ---- the Crannnberry layout ----

// The key arrays of a CURV object or CMRA camera: n times, n (tension, continuity, bias), then
// n values for each of x, y, z, rotate x, y, z.
constexpr int kChannelCount = 6;
extern const char* const kChannelNames[kChannelCount];  // "x", "y", "z", "rotateX", "rotateY", "rotateZ"

struct CrannnberryKeys {
  float timeOffset = 0;
  std::vector<float> times;
  std::vector<std::array<float, 3>> tcb;
  std::array<std::vector<float>, kChannelCount> channels;
};

struct CrannnberryObject {
  uint32_t offset = 0;
  std::string name;
  uint32_t instance = 0;  // objects of the same name count up from 0
  uint32_t type = 0;
  int32_t parent = 0;
  uint32_t word = 0;
  CrannnberryKeys keys;
};

struct CrannnberryCamera {
  uint32_t offset = 0;
  uint32_t word = 0;
  CrannnberryKeys keys;
};

struct CrannnberryInfo {
  float start = 0, end = 0, word = 0;  // seconds; the third seen as -1
  uint32_t objectCount = 0;            // records in CURV
  uint32_t word1 = 0, word2 = 0;
};

struct CrannnberryScene {
  std::optional<float> versionFloat;  // VERS's second word
  std::optional<CrannnberryInfo> info;
  std::vector<CrannnberryObject> objects;
  std::vector<CrannnberryCamera> cameras;
};

struct NisDocument {
  size_t fileSize = 0;
  std::vector<NisChunk> chunks;  // top level: normally the one FORM "NIS "
  NisLayout layout = NisLayout::kUnknown;
  std::optional<std::string> title;
  std::optional<uint32_t> version;
  std::optional<NisInfo> info;
  std::vector<NisCurve> curves;
  std::vector<NisNurbCurve> nurbCurves;
  std::vector<NisPath> paths;
  std::vector<NisLeader> leaders;
  std::vector<NisFollower> followers;
  std::vector<NisCamera> cameras;
  std::optional<NisVariant> leaderVariant, followerVariant;  // set when the chunk was read
  std::optional<CrannnberryScene> crannnberry;               // set for the Crannnberry layout only
  std::vector<Diagnostic> faults;                            // structural: every one an error
};

// Reads a NIS file from memory. Returns false, with one line in `error` that names the offset,
// when the bytes are not a NIS file at all (no FORM "NIS " head). Otherwise fills `doc`: every
// fault below the head (overruns, count mismatches, trailing bytes, truncated records) is kept
// in doc.faults, the chunk it stopped is marked partial, and reading goes on with what is
// there. Never reads outside [data, data+size).
bool ReadNisDocument(const uint8_t* data, size_t size, NisDocument& doc, std::string& error);
// How much of a file ReadNisFile decodes. Without keys, curves come with their names, layouts
// and infinity words but no keys (nor Bezier key words): the records and names a check needs,
// in memory that follows the records, not the keys.
struct NisReadOptions {
  bool keys = true;
};
// The same for a file on disk, read piece by piece, never held whole; false with `error` also
// when it cannot be read.
bool ReadNisFile(const std::string& path, NisDocument& doc, std::string& error,
                 const NisReadOptions& options = NisReadOptions());

// "NAME" for a chunk id; bytes outside printable ASCII appear as \xNN.
std::string ChunkIdText(uint32_t id);
// The first chunk with this id inside the FORM, or null.
const NisChunk* FindNisChunk(const NisDocument& doc, uint32_t id);

}  // namespace rw

#endif
