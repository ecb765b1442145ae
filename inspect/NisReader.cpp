// Reads NIS files: the chunk tree first, then the payload of each known chunk inside the
// FORM "NIS ", record by record. Written apart from the exporter's chunk writers on purpose:
// it shares their constants, never their code.
#include <cstdio>
#include <iterator>
#include <string>

#include "inspect/NisDocument.h"
#include "io/ByteCursor.h"
#include "nis/NisFormat.h"

namespace rw {

const char* const kCurveSlotNames[kCurveSlotCount] = {"translateXCurve", "translateYCurve", "translateZCurve",
                                                      "rotateXCurve",    "rotateYCurve",    "rotateZCurve"};
const char* const kPathCurveNames[kPathCurveCount] = {"uValueCurve", "frontTwistCurve", "upTwistCurve",
                                                      "sideTwistCurve"};
const char* const kChannelNames[kChannelCount] = {"x", "y", "z", "rotateX", "rotateY", "rotateZ"};

namespace {

constexpr uint32_t kChunkNurb = MakeChunkId("NURB");
constexpr uint32_t kChunkPath = MakeChunkId("PATH");
constexpr uint32_t kChunkCurv = MakeChunkId("CURV");
constexpr size_t kChunkHeadSize = 8;
constexpr size_t kFormHeadSize = 12;
// FORMs nested deeper than this are shown as opaque chunks: a NIS file has depth two, and a
// bound keeps a crafted file from exhausting the stack.
constexpr int kMaxNesting = 32;

constexpr size_t kKeySize = 32;
constexpr size_t kKeyWordSize = 2;
constexpr size_t kTextMin = 4;
constexpr size_t kHomeworld2VersSize = 4;
constexpr size_t kCrannnberryVersSize = 8;
constexpr size_t kHomeworld2InfoSize = 12;
constexpr size_t kCrannnberryInfoSize = 24;
// The high 16-bit word of a curve's key count: which meaning its key floats have.
constexpr uint16_t kTangentsFlag = 0;
constexpr uint16_t kBezierFlag = 1;
// Smallest record of each kind: every text empty, every list empty.
constexpr size_t kCurveMin = kTextMin + 4 + 8;
constexpr size_t kLeaderMin = 8 * kTextMin + 6 * 8;                       // older variant; + 4 with the tag
constexpr size_t kFollowerMin = 3 * kTextMin + 4 + 6 * kTextMin + 6 * 8;  // older: class number
constexpr size_t kCameraMin = 5 * kTextMin + 5 * 8;
constexpr size_t kNurbMin = kTextMin + 4 * 4;
constexpr size_t kPathMin = kTextMin + 1 + 8 + 4 * kTextMin + 16 + kTextMin + 1 + 4;
constexpr size_t kTrackMin = 4 + 4;  // key count, time offset
constexpr size_t kTrackKeySize = (1 + 3 + kChannelCount) * 4;
constexpr size_t kObjectMin = kTextMin + 4 * 4 + kTrackMin;
constexpr size_t kCrannnberryCameraMin = 4 + kTrackMin;

std::string Num(uint64_t number) { return std::to_string(number); }

Diagnostic Fault(size_t offset, std::string where, std::string what) {
  return {Severity::kError, static_cast<int64_t>(offset), std::move(where), std::move(what)};
}

std::string NeedsBytesMessage(uint64_t count, uint64_t bytes, const ByteCursor& in) {
  return "count " + Num(count) + " needs " + Num(bytes) + " bytes, but only " + Num(in.left()) + " are left before " +
         Num(in.end());
}

// ---- chunk tree ----

struct TreeReader {
  ByteSource& source;
  std::vector<Diagnostic>& faults;

  // 0 when the source cannot read the word: ReadNisSource then reports its error.
  uint32_t BigEndian(size_t at) const {
    const uint8_t* data = source.Bytes(at, 4);
    if (!data) return 0;
    return static_cast<uint32_t>(data[0]) << 24 | static_cast<uint32_t>(data[1]) << 16 |
           static_cast<uint32_t>(data[2]) << 8 | data[3];
  }

  // Reads the chunk whose head starts at `pos` (at least 8 bytes before `end`) and returns it;
  // its payload is clipped to `end` when the length overruns it.
  NisChunk ReadChunk(size_t pos, size_t end, const std::string& parent, int depth) {
    NisChunk chunk;
    chunk.offset = static_cast<uint32_t>(pos);
    chunk.id = BigEndian(pos);
    chunk.length = BigEndian(pos + 4);
    chunk.dataOffset = static_cast<uint32_t>(pos + kChunkHeadSize);
    size_t room = end - chunk.dataOffset;
    chunk.dataSize = static_cast<uint32_t>(chunk.length <= room ? chunk.length : room);
    if (chunk.length > room) {
      faults.push_back(Fault(pos + 4, ChunkIdText(chunk.id),
                             "length " + Num(chunk.length) + " overruns the end of " + parent + " at " + Num(end) +
                                 " by " + Num(chunk.length - room) + " bytes"));
    }
    bool isForm = chunk.id == kChunkForm;
    if (!isForm && chunk.id != kChunkNrml) {
      size_t shown = chunk.dataSize < kFirstBytesShown ? chunk.dataSize : kFirstBytesShown;
      if (const uint8_t* data = source.Bytes(chunk.dataOffset, shown))
        chunk.firstBytes.assign(reinterpret_cast<const char*>(data), shown);
      return chunk;
    }
    size_t typeWords = isForm ? 4 : 8;
    if (chunk.dataSize < typeWords) {
      faults.push_back(
          Fault(chunk.dataOffset, ChunkIdText(chunk.id),
                "holds " + Num(chunk.dataSize) + " bytes, too few for its type word" + (isForm ? "" : "s")));
      return chunk;
    }
    chunk.type = BigEndian(chunk.dataOffset);
    if (!isForm) chunk.extra = BigEndian(chunk.dataOffset + 4);
    std::string self = ChunkIdText(chunk.id) + " '" + ChunkIdText(chunk.type) + "'";
    if (depth >= kMaxNesting) {
      faults.push_back(Fault(pos, self, "nested deeper than " + Num(kMaxNesting) + " levels; not read"));
      return chunk;
    }
    chunk.children =
        ReadChildren(chunk.dataOffset + typeWords, chunk.dataOffset + size_t{chunk.dataSize}, self, depth + 1);
    return chunk;
  }

  std::vector<NisChunk> ReadChildren(size_t pos, size_t end, const std::string& parent, int depth) {
    std::vector<NisChunk> children;
    while (pos < end) {
      if (end - pos < kChunkHeadSize) {
        faults.push_back(
            Fault(pos, parent, Num(end - pos) + " trailing bytes at " + Num(pos) + " are too few for a chunk head"));
        break;
      }
      children.push_back(ReadChunk(pos, end, parent, depth));
      pos = children.back().dataOffset + size_t{children.back().dataSize};
    }
    return children;
  }
};

// ---- records of the Homeworld 2 layout ----

std::string RecordWhere(const char* chunk, size_t index) { return std::string(chunk) + " #" + Num(index + 1); }

// The key count is two 16-bit words: the count, then a flag that says what the key floats are.
// Bezier keys have one more 16-bit word each, behind the two infinity words.
bool ReadCurve(ByteCursor& in, NisCurve& curve, bool withKeys) {
  curve.offset = static_cast<uint32_t>(in.pos());
  uint16_t keyCount = 0, flag = 0;
  if (!in.Text(curve.name, "name")) return false;
  size_t countAt = in.pos();
  if (!in.U16(keyCount, "keyCount") || !in.U16(flag, "keyLayout")) return false;
  if (flag != kTangentsFlag && flag != kBezierFlag) {
    return in.Fail(countAt + 2, "keyLayout", "flag " + Num(flag) + " is neither 0 (tangents) nor 1 (Bezier handles)");
  }
  curve.layout = flag == kBezierFlag ? NisCurveLayout::kBezier : NisCurveLayout::kTangents;
  size_t keyBytes = kKeySize + (flag == kBezierFlag ? kKeyWordSize : 0);
  if (keyCount > in.left() / keyBytes) {
    return in.Fail(countAt, "keyCount", NeedsBytesMessage(keyCount, uint64_t{keyCount} * keyBytes, in));
  }
  if (!withKeys) in.Skip(keyCount, kKeySize, "keys");
  curve.keys.resize(withKeys ? keyCount : 0);
  for (NisKey& key : curve.keys) {
    in.F64(key.time, "keys");
    in.F64(key.value, "keys");
    for (float& number : key.in) in.F32(number, "keys");
    for (float& number : key.out) in.F32(number, "keys");
  }
  in.U32(curve.preInfinity, "preInfinity");
  in.U32(curve.postInfinity, "postInfinity");
  if (curve.layout == NisCurveLayout::kBezier && !withKeys) in.Skip(keyCount, kKeyWordSize, "keyWords");
  if (curve.layout == NisCurveLayout::kBezier && withKeys) {
    curve.keyWords.resize(keyCount);
    for (uint16_t& word : curve.keyWords) in.U16(word, "keyWords");
  }
  return in.ok();
}

bool ReadRotationOrder(ByteCursor& in, std::optional<std::string>& order) {
  uint8_t bytes[4];
  for (uint8_t& byte : bytes) in.U8(byte, "rotationOrder");
  if (!in.ok()) return false;
  order = std::string(reinterpret_cast<char*>(bytes), 4);
  return true;
}

bool ReadLeader(ByteCursor& in, NisLeader& leader, NisVariant variant) {
  leader.offset = static_cast<uint32_t>(in.pos());
  in.Text(leader.name, "name");
  in.Text(leader.pathName, "pathName");
  for (int slot = 0; slot < kCurveSlotCount; ++slot) in.Text(leader.curves[slot], kCurveSlotNames[slot]);
  for (double& number : leader.startPosition) in.F64(number, "startPosition");
  for (double& number : leader.startRotation) in.F64(number, "startRotation");
  if (variant == NisVariant::kCurrent) ReadRotationOrder(in, leader.rotationOrder);
  return in.ok();
}

bool ReadFollower(ByteCursor& in, NisFollower& follower, NisVariant variant) {
  follower.offset = static_cast<uint32_t>(in.pos());
  in.Text(follower.name, "name");
  in.Text(follower.leaderName, "leaderName");
  if (variant == NisVariant::kCurrent) {
    in.Text(follower.objectClass, "class");
  } else {
    uint32_t classNumber = 0;
    if (in.U32(classNumber, "class")) follower.classNumber = classNumber;
  }
  in.Text(follower.blueprint, "blueprint");
  for (int slot = 0; slot < kCurveSlotCount; ++slot) in.Text(follower.curves[slot], kCurveSlotNames[slot]);
  for (double& number : follower.numbers) in.F64(number, "numbers");
  if (variant == NisVariant::kCurrent) ReadRotationOrder(in, follower.rotationOrder);
  return in.ok();
}

bool ReadCamera(ByteCursor& in, NisCamera& camera) {
  camera.offset = static_cast<uint32_t>(in.pos());
  in.Text(camera.name, "name");
  in.Text(camera.followerName, "followerName");
  in.Text(camera.centerOfInterest, "centerOfInterest");
  in.Text(camera.reservedText, "reservedText");
  in.Text(camera.focalLengthCurve, "focalLengthCurve");
  for (double& number : camera.params) in.F64(number, "params");
  return in.ok();
}

bool ReadNurb(ByteCursor& in, NisNurbCurve& nurb) {
  nurb.offset = static_cast<uint32_t>(in.pos());
  uint32_t pointCount = 0, knotCount = 0;
  in.Text(nurb.name, "name");
  in.I32(nurb.degree, "degree");
  in.I32(nurb.form, "form");
  if (!in.Count(pointCount, 32, "controlPointCount")) return false;
  nurb.controlPoints.resize(pointCount);
  for (auto& point : nurb.controlPoints)
    for (double& number : point) in.F64(number, "controlPoints");
  if (!in.Count(knotCount, 8, "knotCount")) return false;
  nurb.knots.resize(knotCount);
  for (double& knot : nurb.knots) in.F64(knot, "knots");
  return in.ok();
}

bool ReadPath(ByteCursor& in, NisPath& path) {
  path.offset = static_cast<uint32_t>(in.pos());
  uint32_t spanCount = 0;
  in.Text(path.name, "name");
  in.U8(path.flag, "flag");
  in.U32(path.frontAxis, "frontAxis");
  in.U32(path.upAxis, "upAxis");
  for (int slot = 0; slot < kPathCurveCount; ++slot) in.Text(path.curves[slot], kPathCurveNames[slot]);
  in.F64(path.startTime, "startTime");
  in.F64(path.endTime, "endTime");
  in.Text(path.nurbName, "nurbName");
  in.U8(path.flag2, "flag2");
  if (!in.Count(spanCount, 8, "spanCount")) return false;
  path.spans.resize(spanCount);
  for (double& span : path.spans) in.F64(span, "spans");
  return in.ok();
}

// ---- records of the Crannnberry layout ----

bool ReadTrack(ByteCursor& in, CrannnberryKeys& keys) {
  uint32_t keyCount = 0;
  if (!in.Count(keyCount, kTrackKeySize, "keyCount")) return false;
  in.F32(keys.timeOffset, "timeOffset");
  keys.times.resize(keyCount);
  for (float& time : keys.times) in.F32(time, "times");
  keys.tcb.resize(keyCount);
  for (auto& tcb : keys.tcb)
    for (float& number : tcb) in.F32(number, "tcb");
  for (int channel = 0; channel < kChannelCount; ++channel) {
    keys.channels[channel].resize(keyCount);
    for (float& number : keys.channels[channel]) in.F32(number, kChannelNames[channel]);
  }
  return in.ok();
}

bool ReadCrannnberryObject(ByteCursor& in, CrannnberryObject& object) {
  object.offset = static_cast<uint32_t>(in.pos());
  in.Text(object.name, "name");
  in.U32(object.instance, "instance");
  in.U32(object.type, "type");
  in.I32(object.parent, "parent");
  in.U32(object.word, "word");
  return in.ok() && ReadTrack(in, object.keys);
}

bool ReadCrannnberryCamera(ByteCursor& in, CrannnberryCamera& camera) {
  camera.offset = static_cast<uint32_t>(in.pos());
  return in.U32(camera.word, "word") && ReadTrack(in, camera.keys);
}

// ---- record lists ----

// `count` records from `in`, which holds the rest of one chunk. Faults: a count larger than the
// chunk can hold (the records that are there are still read, so a cut file shows what it
// has), a record that runs past the chunk, bytes left behind the last record.
template <class Record, class ReadRecord>
void ReadRecordList(ByteCursor& in, uint32_t count, size_t countOffset, const char* name, size_t minSize,
                    ReadRecord read, std::vector<Record>& out, std::vector<Diagnostic>& faults) {
  size_t fit = in.left() / minSize;
  bool countTooLarge = count > fit;
  if (countTooLarge) {
    faults.push_back(Fault(countOffset, std::string(name) + " count",
                           "count " + Num(count) + " needs at least " + Num(uint64_t{count} * minSize) +
                               " bytes, but only " + Num(in.left()) + " are left before " + Num(in.end())));
  }
  out.reserve(out.size() + (countTooLarge ? fit : count));
  for (uint32_t index = 0; index < count; ++index) {
    if (in.left() == 0) {
      if (!countTooLarge) {
        faults.push_back(Fault(in.pos(), RecordWhere(name, index),
                               "the count says " + Num(count) + " records, but the chunk ends after " + Num(index)));
      }
      return;
    }
    Record record;
    if (!read(in, record)) {
      faults.push_back(Fault(in.failOffset(), RecordWhere(name, index) + " " + in.failField(), in.failMessage()));
      return;
    }
    out.push_back(std::move(record));
  }
  if (in.left() != 0) {
    faults.push_back(
        Fault(in.pos(), name, Num(in.left()) + " trailing bytes behind the last of " + Num(count) + " records"));
  }
}

// The records of one chunk that starts with their 32-bit count.
template <class Record, class ReadRecord>
void ReadCountedRecords(ByteSource& source, const NisChunk& chunk, const char* name, size_t minSize, ReadRecord read,
                        std::vector<Record>& out, std::vector<Diagnostic>& faults) {
  ByteCursor in(source, chunk.dataOffset, size_t{chunk.dataOffset} + chunk.dataSize);
  uint32_t count = 0;
  if (!in.U32(count, "count")) {
    faults.push_back(Fault(in.failOffset(), std::string(name) + " count", in.failMessage()));
    return;
  }
  ReadRecordList(in, count, chunk.dataOffset, name, minSize, read, out, faults);
}

// LEAD and FOLW come in two layouts; the one whose records line up with the chunk wins, the
// current one when neither does.
template <class Record>
NisVariant ReadVariantRecords(ByteSource& source, const NisChunk& chunk, const char* name, size_t olderMin,
                              bool (*read)(ByteCursor&, Record&, NisVariant), std::vector<Record>& out,
                              std::vector<Diagnostic>& faults) {
  const NisVariant variants[2] = {NisVariant::kCurrent, NisVariant::kOlder};
  std::vector<Record> tries[2];
  std::vector<Diagnostic> tryFaults[2];
  for (int attempt = 0; attempt < 2; ++attempt) {
    NisVariant variant = variants[attempt];
    size_t minSize = olderMin + (variant == NisVariant::kCurrent ? 4 : 0);
    auto readVariant = [&](ByteCursor& in, Record& record) { return read(in, record, variant); };
    ReadCountedRecords<Record>(source, chunk, name, minSize, readVariant, tries[attempt], tryFaults[attempt]);
    if (tryFaults[attempt].empty()) break;
  }
  int pick = tryFaults[0].empty() || !tryFaults[1].empty() ? 0 : 1;
  out.insert(out.end(), std::make_move_iterator(tries[pick].begin()), std::make_move_iterator(tries[pick].end()));
  faults.insert(faults.end(), tryFaults[pick].begin(), tryFaults[pick].end());
  return variants[pick];
}

void CheckFixedSize(const NisChunk& chunk, size_t expected, std::vector<Diagnostic>& faults) {
  if (chunk.dataSize != expected) {
    faults.push_back(Fault(chunk.offset + 4, ChunkIdText(chunk.id),
                           "holds " + Num(chunk.dataSize) + " bytes, expected " + Num(expected)));
  }
}

// ---- chunks ----

class ChunkDecoder {
 public:
  ChunkDecoder(ByteSource& source, NisDocument& doc, const NisReadOptions& options)
      : source_(source), doc_(doc), options_(options) {}

  // NAME and VERS first: they decide how the other chunks read.
  void DecodeHeader(std::vector<NisChunk>& chunks) {
    for (NisChunk& chunk : chunks) {
      if (chunk.id == kChunkName || chunk.id == kChunkVers) Decode(chunk);
    }
    doc_.layout = DetectLayout();
    if (doc_.layout == NisLayout::kCrannnberry) {
      doc_.crannnberry.emplace();
      doc_.crannnberry->versionFloat = versionFloat_;
    }
  }

  void DecodeRecords(std::vector<NisChunk>& chunks) {
    for (NisChunk& chunk : chunks) {
      if (chunk.id != kChunkName && chunk.id != kChunkVers) Decode(chunk);
    }
  }

  bool WasDecoded(uint32_t id) const {
    for (const NisChunk* chunk : decoded_) {
      if (chunk->id == id) return true;
    }
    return false;
  }

 private:
  NisLayout DetectLayout() const {
    if (!doc_.title || !doc_.version) return NisLayout::kUnknown;
    if (*doc_.title == kNisTitle && *doc_.version == kNisVersion) return NisLayout::kHomeworld2;
    if (*doc_.title == kCrannnberryTitle && *doc_.version == kCrannnberryVersion) return NisLayout::kCrannnberry;
    return NisLayout::kUnknown;
  }

  void ReportRepeat(const NisChunk& chunk) {
    for (const NisChunk* earlier : decoded_) {
      if (earlier->id == chunk.id) {
        doc_.faults.push_back(
            Fault(chunk.offset, ChunkIdText(chunk.id),
                  "another " + ChunkIdText(chunk.id) + " chunk; the first stands at " + Num(earlier->offset)));
        return;
      }
    }
  }

  void Decode(NisChunk& chunk) {
    std::vector<Diagnostic> faults;
    if (!DecodePayload(chunk, faults)) return;
    ReportRepeat(chunk);
    chunk.decoding = faults.empty() ? NisDecoding::kFull : NisDecoding::kPartial;
    if (!faults.empty()) {
      const Diagnostic& last = faults.back();
      chunk.stoppedAt = static_cast<uint32_t>(last.offset);
      chunk.stopReason = last.where + ": " + last.what;
    }
    doc_.faults.insert(doc_.faults.end(), faults.begin(), faults.end());
    decoded_.push_back(&chunk);
  }

  // False for a chunk this layout does not know.
  bool DecodePayload(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    bool crannnberry = doc_.layout == NisLayout::kCrannnberry;
    switch (chunk.id) {
      case kChunkName:
        if (!doc_.title) {
          const uint8_t* title = chunk.dataSize == 0 ? nullptr : source_.Bytes(chunk.dataOffset, chunk.dataSize);
          doc_.title = title ? std::string(reinterpret_cast<const char*>(title), chunk.dataSize) : std::string();
        }
        return true;
      case kChunkVers:
        DecodeVersion(chunk, faults);
        return true;
      case kChunkInfo:
        crannnberry ? DecodeCrannnberryInfo(chunk, faults) : DecodeInfo(chunk, faults);
        return true;
      case kChunkCmra:
        if (crannnberry) {
          ReadCountedRecords(source_, chunk, "CMRA", kCrannnberryCameraMin, ReadCrannnberryCamera,
                             doc_.crannnberry->cameras, faults);
        } else {
          ReadCountedRecords(source_, chunk, "CMRA", kCameraMin, ReadCamera, doc_.cameras, faults);
        }
        return true;
      case kChunkCurv:
        if (!crannnberry) return false;
        DecodeObjects(chunk, faults);
        return true;
      default:
        return !crannnberry && DecodeHomeworld2Records(chunk, faults);
    }
  }

  bool DecodeHomeworld2Records(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    switch (chunk.id) {
      case kChunkAnim:
        ReadCountedRecords(
            source_, chunk, "ANIM", kCurveMin,
            [this](ByteCursor& in, NisCurve& curve) { return ReadCurve(in, curve, options_.keys); }, doc_.curves,
            faults);
        return true;
      case kChunkNurb:
        ReadCountedRecords(source_, chunk, "NURB", kNurbMin, ReadNurb, doc_.nurbCurves, faults);
        return true;
      case kChunkPath:
        ReadCountedRecords(source_, chunk, "PATH", kPathMin, ReadPath, doc_.paths, faults);
        return true;
      case kChunkLead:
        doc_.leaderVariant =
            ReadVariantRecords<NisLeader>(source_, chunk, "LEAD", kLeaderMin, ReadLeader, doc_.leaders, faults);
        return true;
      case kChunkFolw:
        doc_.followerVariant =
            ReadVariantRecords<NisFollower>(source_, chunk, "FOLW", kFollowerMin, ReadFollower, doc_.followers, faults);
        return true;
      default:
        return false;
    }
  }

  // A 32-bit version; 512 is followed by a float.
  void DecodeVersion(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    ByteCursor in = Payload(chunk);
    uint32_t version = 0;
    if (!in.U32(version, "version")) {
      CheckFixedSize(chunk, kHomeworld2VersSize, faults);
      return;
    }
    bool withFloat = version == kCrannnberryVersion;
    CheckFixedSize(chunk, withFloat ? kCrannnberryVersSize : kHomeworld2VersSize, faults);
    if (doc_.version) return;
    doc_.version = version;
    float number = 0;
    if (withFloat && in.F32(number, "versionFloat")) versionFloat_ = number;
  }

  void DecodeInfo(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    CheckFixedSize(chunk, kHomeworld2InfoSize, faults);
    ByteCursor in = Payload(chunk);
    NisInfo info;
    in.I32(info.fps, "fps");
    in.I32(info.start, "start");
    if (in.I32(info.end, "end") && !doc_.info) doc_.info = info;
  }

  void DecodeCrannnberryInfo(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    CheckFixedSize(chunk, kCrannnberryInfoSize, faults);
    ByteCursor in = Payload(chunk);
    CrannnberryInfo info;
    in.F32(info.start, "start");
    in.F32(info.end, "end");
    in.F32(info.word, "word");
    in.U32(info.objectCount, "objectCount");
    in.U32(info.word1, "word1");
    if (in.U32(info.word2, "word2") && !doc_.crannnberry->info) doc_.crannnberry->info = info;
  }

  // CURV has no count of its own: INFO's object count says how many records it holds.
  void DecodeObjects(const NisChunk& chunk, std::vector<Diagnostic>& faults) {
    const std::optional<CrannnberryInfo>& info = doc_.crannnberry->info;
    if (!info) {
      faults.push_back(Fault(chunk.dataOffset, "CURV", "no INFO chunk before it gives the object count"));
      return;
    }
    ByteCursor in = Payload(chunk);
    const NisChunk* infoChunk = FindNisChunk(doc_, kChunkInfo);
    size_t countOffset = infoChunk ? infoChunk->dataOffset + 12 : chunk.dataOffset;
    ReadRecordList(in, info->objectCount, countOffset, "CURV", kObjectMin, ReadCrannnberryObject,
                   doc_.crannnberry->objects, faults);
  }

  ByteCursor Payload(const NisChunk& chunk) const {
    return ByteCursor(source_, chunk.dataOffset, size_t{chunk.dataOffset} + chunk.dataSize);
  }

  ByteSource& source_;
  NisDocument& doc_;
  const NisReadOptions& options_;
  std::optional<float> versionFloat_;
  std::vector<const NisChunk*> decoded_;
};

void ReportMissingChunks(const ChunkDecoder& decoder, NisDocument& doc) {
  static const uint32_t kHomeworld2Chunks[] = {kChunkName, kChunkVers, kChunkInfo, kChunkAnim,
                                               kChunkLead, kChunkFolw, kChunkCmra};
  static const uint32_t kCrannnberryChunks[] = {kChunkName, kChunkVers, kChunkInfo, kChunkCurv, kChunkCmra};
  bool crannnberry = doc.layout == NisLayout::kCrannnberry;
  const uint32_t* begin = crannnberry ? std::begin(kCrannnberryChunks) : std::begin(kHomeworld2Chunks);
  const uint32_t* end = crannnberry ? std::end(kCrannnberryChunks) : std::end(kHomeworld2Chunks);
  for (const uint32_t* id = begin; id != end; ++id) {
    if (!decoder.WasDecoded(*id))
      doc.faults.push_back(Fault(0, "FORM 'NIS '", "has no " + ChunkIdText(*id) + " chunk"));
  }
}

}  // namespace

std::string ChunkIdText(uint32_t id) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    unsigned char byte = static_cast<unsigned char>(id >> shift);
    if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
      text += static_cast<char>(byte);
    } else {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
      text += escaped;
    }
  }
  return text;
}

const NisChunk* FindNisChunk(const NisDocument& doc, uint32_t id) {
  for (const NisChunk& form : doc.chunks) {
    for (const NisChunk& chunk : form.children) {
      if (chunk.id == id) return &chunk;
    }
  }
  return nullptr;
}

namespace {

bool ReadNisSource(ByteSource& source, NisDocument& doc, std::string& error, const NisReadOptions& options) {
  doc = NisDocument();
  if (source.size() > kMaxNisFileSize) {
    error = "file of " + Num(source.size()) + " bytes is larger than 32-bit offsets reach";
    return false;
  }
  const size_t size = static_cast<size_t>(source.size());
  doc.fileSize = size;
  if (size < kFormHeadSize) {
    error = "file has " + Num(size) + " bytes, too few for a FORM head (12)";
    return false;
  }
  TreeReader tree{source, doc.faults};
  if (tree.BigEndian(0) != kChunkForm) {
    error = "offset 0: found '" + ChunkIdText(tree.BigEndian(0)) + "' where a NIS file has 'FORM'";
    return false;
  }
  if (tree.BigEndian(8) != kChunkNis) {
    error = "offset 8: form type '" + ChunkIdText(tree.BigEndian(8)) + "' is not 'NIS '";
    return false;
  }
  doc.chunks.push_back(tree.ReadChunk(0, size, "the file", 0));
  NisChunk& form = doc.chunks.back();
  size_t formEnd = form.dataOffset + size_t{form.dataSize};
  if (formEnd < size) {
    doc.faults.push_back(Fault(formEnd, "FORM 'NIS '", Num(size - formEnd) + " trailing bytes behind the FORM"));
  }
  ChunkDecoder decoder(source, doc, options);
  decoder.DecodeHeader(form.children);
  decoder.DecodeRecords(form.children);
  ReportMissingChunks(decoder, doc);
  // A file that could not be read to its end (it shrank, or the disk failed) is not judged.
  error = source.error();
  return error.empty();
}

}  // namespace

bool ReadNisDocument(const uint8_t* data, size_t size, NisDocument& doc, std::string& error) {
  ByteSource source(data, size);
  return ReadNisSource(source, doc, error, NisReadOptions());
}

bool ReadNisFile(const std::string& path, NisDocument& doc, std::string& error, const NisReadOptions& options) {
  ByteSource source(nullptr, 0);
  if (!source.OpenFile(path, error)) return false;
  return ReadNisSource(source, doc, error, options);
}

}  // namespace rw
