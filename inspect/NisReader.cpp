// Reads NIS files: the chunk tree first, then the payload of each known chunk inside the
// FORM "NIS ", record by record. Written apart from the exporter's chunk writers on purpose:
// it shares their constants, never their code.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>

#include "io/ByteCursor.h"
#include "io/FileBytes.h"
#include "inspect/NisDocument.h"
#include "nis/NisFormat.h"

namespace rw {

const char* const kCurveSlotNames[kCurveSlotCount] = {"translateXCurve", "translateYCurve", "translateZCurve",
                                                      "rotateXCurve",    "rotateYCurve",    "rotateZCurve"};
const char* const kPathCurveNames[4] = {"uValueCurve", "frontTwistCurve", "upTwistCurve", "sideTwistCurve"};

namespace {

constexpr uint32_t kChunkNurb = MakeChunkId("NURB");
constexpr uint32_t kChunkPath = MakeChunkId("PATH");
constexpr size_t kChunkHeadSize = 8;
constexpr size_t kFormHeadSize = 12;
// FORMs nested deeper than this are shown as opaque chunks: a NIS file has depth two, and a
// bound keeps a crafted file from exhausting the stack.
constexpr int kMaxNesting = 32;

constexpr size_t kKeySize = 32;
constexpr size_t kTextMin = 4;
// Smallest record of each kind: every text empty, every list empty.
constexpr size_t kCurveMin = kTextMin + 4 + 8;
constexpr size_t kLeaderMin = 8 * kTextMin + 6 * 8;         // older variant; + 4 with the tag
constexpr size_t kFollowerMin = 3 * kTextMin + 4 + 6 * kTextMin + 6 * 8;  // older: class number
constexpr size_t kCameraMin = 5 * kTextMin + 5 * 8;
constexpr size_t kNurbMin = kTextMin + 4 * 4;
constexpr size_t kPathMin = kTextMin + 1 + 8 + 4 * kTextMin + 16 + kTextMin + 1 + 4;

std::string Num(uint64_t n) { return std::to_string(n); }

void AddFault(std::vector<NisFault>& faults, size_t offset, std::string where, std::string message) {
  faults.push_back({uint32_t(offset), std::move(where), std::move(message)});
}

// ---- chunk tree ----

struct TreeReader {
  const uint8_t* data;
  std::vector<NisFault>& faults;

  uint32_t BigEndian(size_t at) const {
    return uint32_t(data[at]) << 24 | uint32_t(data[at + 1]) << 16 | uint32_t(data[at + 2]) << 8 | data[at + 3];
  }

  // Reads the chunk whose head starts at `pos` (at least 8 bytes before `end`) and returns it;
  // its payload is clipped to `end` when the length overruns it.
  NisChunk ReadChunk(size_t pos, size_t end, const std::string& parent, int depth) {
    NisChunk c;
    c.offset = uint32_t(pos);
    c.id = BigEndian(pos);
    c.length = BigEndian(pos + 4);
    c.dataOffset = uint32_t(pos + kChunkHeadSize);
    size_t room = end - c.dataOffset;
    c.dataSize = uint32_t(c.length <= room ? c.length : room);
    if (c.length > room) {
      AddFault(faults, pos + 4, ChunkIdText(c.id),
               "length " + Num(c.length) + " overruns the end of " + parent + " at " + Num(end) + " by " +
                   Num(c.length - room) + " bytes");
    }
    bool isForm = c.id == kChunkForm;
    if (!isForm && c.id != kChunkNrml) {
      size_t shown = c.dataSize < kFirstBytesShown ? c.dataSize : kFirstBytesShown;
      c.firstBytes.assign(reinterpret_cast<const char*>(data + c.dataOffset), shown);
    } else {
      size_t typeWords = isForm ? 4 : 8;
      if (c.dataSize < typeWords) {
        AddFault(faults, c.dataOffset, ChunkIdText(c.id),
                 "holds " + Num(c.dataSize) + " bytes, too few for its type word" + (isForm ? "" : "s"));
        return c;
      }
      c.type = BigEndian(c.dataOffset);
      if (!isForm) c.extra = BigEndian(c.dataOffset + 4);
      std::string self = ChunkIdText(c.id) + " '" + ChunkIdText(c.type) + "'";
      if (depth >= kMaxNesting) {
        AddFault(faults, pos, self, "nested deeper than " + Num(kMaxNesting) + " levels; not read");
        return c;
      }
      c.children = ReadChildren(c.dataOffset + typeWords, c.dataOffset + size_t(c.dataSize), self, depth + 1);
    }
    return c;
  }

  std::vector<NisChunk> ReadChildren(size_t pos, size_t end, const std::string& parent, int depth) {
    std::vector<NisChunk> out;
    while (pos < end) {
      if (end - pos < kChunkHeadSize) {
        AddFault(faults, pos, parent,
                 Num(end - pos) + " trailing bytes at " + Num(pos) + " are too few for a chunk head");
        break;
      }
      out.push_back(ReadChunk(pos, end, parent, depth));
      pos = out.back().dataOffset + size_t(out.back().dataSize);
    }
    return out;
  }
};

// ---- records ----

std::string RecordWhere(const char* chunk, size_t index) { return std::string(chunk) + " #" + Num(index + 1); }

bool ReadCurve(ByteCursor& in, NisCurve& c) {
  c.offset = uint32_t(in.pos());
  uint32_t keyCount = 0;
  if (!in.Text(c.name, "name") || !in.Count(keyCount, kKeySize, "keyCount")) return false;
  c.keys.resize(keyCount);
  for (NisKey& k : c.keys) {
    in.F64(k.time, "keys");
    in.F64(k.value, "keys");
    in.F32(k.inTangentX, "keys");
    in.F32(k.inTangentY, "keys");
    in.F32(k.outTangentX, "keys");
    in.F32(k.outTangentY, "keys");
  }
  in.U32(c.preInfinity, "preInfinity");
  return in.U32(c.postInfinity, "postInfinity");
}

bool ReadRotationOrder(ByteCursor& in, std::optional<std::string>& order) {
  uint8_t b[4];
  for (uint8_t& x : b) in.U8(x, "rotationOrder");
  if (!in.ok()) return false;
  order = std::string(reinterpret_cast<char*>(b), 4);
  return true;
}

bool ReadLeader(ByteCursor& in, NisLeader& r, NisVariant variant) {
  r.offset = uint32_t(in.pos());
  in.Text(r.name, "name");
  in.Text(r.pathName, "pathName");
  for (int i = 0; i < kCurveSlotCount; ++i) in.Text(r.curves[i], kCurveSlotNames[i]);
  for (double& v : r.startPosition) in.F64(v, "startPosition");
  for (double& v : r.startRotation) in.F64(v, "startRotation");
  if (variant == NisVariant::kCurrent) ReadRotationOrder(in, r.rotationOrder);
  return in.ok();
}

bool ReadFollower(ByteCursor& in, NisFollower& r, NisVariant variant) {
  r.offset = uint32_t(in.pos());
  in.Text(r.name, "name");
  in.Text(r.leaderName, "leaderName");
  if (variant == NisVariant::kCurrent) {
    in.Text(r.objectClass, "class");
  } else {
    uint32_t n = 0;
    if (in.U32(n, "class")) r.classNumber = n;
  }
  in.Text(r.blueprint, "blueprint");
  for (int i = 0; i < kCurveSlotCount; ++i) in.Text(r.curves[i], kCurveSlotNames[i]);
  for (double& v : r.numbers) in.F64(v, "numbers");
  if (variant == NisVariant::kCurrent) ReadRotationOrder(in, r.rotationOrder);
  return in.ok();
}

bool ReadCamera(ByteCursor& in, NisCamera& r) {
  r.offset = uint32_t(in.pos());
  in.Text(r.name, "name");
  in.Text(r.followerName, "followerName");
  in.Text(r.centerOfInterest, "centerOfInterest");
  in.Text(r.reservedText, "reservedText");
  in.Text(r.focalLengthCurve, "focalLengthCurve");
  for (double& v : r.params) in.F64(v, "params");
  return in.ok();
}

bool ReadNurb(ByteCursor& in, NisNurbCurve& r) {
  r.offset = uint32_t(in.pos());
  uint32_t points = 0, knots = 0;
  in.Text(r.name, "name");
  in.I32(r.degree, "degree");
  in.I32(r.form, "form");
  if (!in.Count(points, 32, "controlPointCount")) return false;
  r.controlPoints.resize(points);
  for (auto& p : r.controlPoints)
    for (double& v : p) in.F64(v, "controlPoints");
  if (!in.Count(knots, 8, "knotCount")) return false;
  r.knots.resize(knots);
  for (double& v : r.knots) in.F64(v, "knots");
  return in.ok();
}

bool ReadPath(ByteCursor& in, NisPath& r) {
  r.offset = uint32_t(in.pos());
  uint32_t spans = 0;
  in.Text(r.name, "name");
  in.U8(r.flag, "flag");
  in.U32(r.frontAxis, "frontAxis");
  in.U32(r.upAxis, "upAxis");
  for (int i = 0; i < 4; ++i) in.Text(r.curves[i], kPathCurveNames[i]);
  in.F64(r.startTime, "startTime");
  in.F64(r.endTime, "endTime");
  in.Text(r.nurbName, "nurbName");
  in.U8(r.flag2, "flag2");
  if (!in.Count(spans, 8, "spanCount")) return false;
  r.spans.resize(spans);
  for (double& v : r.spans) in.F64(v, "spans");
  return in.ok();
}

// The records of one chunk: a 32-bit count, then the records. Faults: a count larger than the
// chunk can hold (the records that are there are still read, so a cut file shows what it
// has), a record that runs past the chunk, bytes left behind the last record.
template <class Record>
void ReadRecords(const uint8_t* data, const NisChunk& chunk, const char* name, size_t minSize,
                 const std::function<bool(ByteCursor&, Record&)>& read, std::vector<Record>& out,
                 std::vector<NisFault>& faults) {
  ByteCursor in(data, chunk.dataOffset, size_t(chunk.dataOffset) + chunk.dataSize);
  uint32_t count = 0;
  if (!in.U32(count, "count")) {
    AddFault(faults, in.failOffset(), std::string(name) + " count", in.failMessage());
    return;
  }
  size_t fit = in.left() / minSize;
  bool countTooLarge = count > fit;
  if (countTooLarge) {
    AddFault(faults, in.pos() - 4, std::string(name) + " count",
             "count " + Num(count) + " needs at least " + Num(uint64_t(count) * minSize) + " bytes, but only " +
                 Num(in.left()) + " are left before " + Num(in.end()));
  }
  out.reserve(out.size() + (countTooLarge ? fit : count));
  for (uint32_t i = 0; i < count; ++i) {
    if (in.left() == 0) {
      if (!countTooLarge) {
        AddFault(faults, in.pos(), RecordWhere(name, i),
                 "the count says " + Num(count) + " records, but the chunk ends after " + Num(i));
      }
      return;
    }
    Record r;
    if (!read(in, r)) {
      AddFault(faults, in.failOffset(), RecordWhere(name, i) + " " + in.failField(), in.failMessage());
      return;
    }
    out.push_back(std::move(r));
  }
  if (in.left() != 0) {
    AddFault(faults, in.pos(), name,
             Num(in.left()) + " trailing bytes behind the last of " + Num(count) + " records");
  }
}

// LEAD and FOLW come in two layouts; the one whose records line up with the chunk wins, the
// current one when neither does.
template <class Record>
NisVariant ReadVariantRecords(const uint8_t* data, const NisChunk& chunk, const char* name, size_t olderMin,
                              bool (*read)(ByteCursor&, Record&, NisVariant), std::vector<Record>& out,
                              std::vector<NisFault>& faults) {
  NisVariant variants[2] = {NisVariant::kCurrent, NisVariant::kOlder};
  std::vector<Record> tries[2];
  std::vector<NisFault> tryFaults[2];
  for (int v = 0; v < 2; ++v) {
    NisVariant variant = variants[v];
    size_t minSize = olderMin + (variant == NisVariant::kCurrent ? 4 : 0);
    ReadRecords<Record>(
        data, chunk, name, minSize, [&](ByteCursor& in, Record& r) { return read(in, r, variant); }, tries[v],
        tryFaults[v]);
    if (tryFaults[v].empty()) break;
  }
  int pick = tryFaults[0].empty() || !tryFaults[1].empty() ? 0 : 1;
  out.insert(out.end(), std::make_move_iterator(tries[pick].begin()), std::make_move_iterator(tries[pick].end()));
  faults.insert(faults.end(), tryFaults[pick].begin(), tryFaults[pick].end());
  return variants[pick];
}

void CheckFixedSize(const NisChunk& chunk, size_t expected, std::vector<NisFault>& faults) {
  if (chunk.dataSize != expected) {
    AddFault(faults, chunk.offset + 4, ChunkIdText(chunk.id),
             "holds " + Num(chunk.dataSize) + " bytes, expected " + Num(expected));
  }
}

void DecodeNisChunk(const uint8_t* data, NisChunk& chunk, NisDocument& doc, std::vector<const NisChunk*>& seen) {
  for (const NisChunk* earlier : seen) {
    if (earlier->id == chunk.id) {
      AddFault(doc.faults, chunk.offset, ChunkIdText(chunk.id),
               "another " + ChunkIdText(chunk.id) + " chunk; the first stands at " + Num(earlier->offset));
      break;
    }
  }
  size_t begin = chunk.dataOffset;
  ByteCursor in(data, begin, begin + chunk.dataSize);
  auto& faults = doc.faults;
  switch (chunk.id) {
    case kChunkName:
      if (!doc.title) doc.title = std::string(reinterpret_cast<const char*>(data + begin), chunk.dataSize);
      break;
    case kChunkVers: {
      CheckFixedSize(chunk, 4, faults);
      uint32_t v;
      if (in.U32(v, "version") && !doc.version) doc.version = v;
      break;
    }
    case kChunkInfo: {
      CheckFixedSize(chunk, 12, faults);
      NisInfo info;
      in.I32(info.fps, "fps");
      in.I32(info.start, "start");
      if (in.I32(info.end, "end") && !doc.info) doc.info = info;
      break;
    }
    case kChunkAnim:
      ReadRecords<NisCurve>(data, chunk, "ANIM", kCurveMin, ReadCurve, doc.curves, faults);
      break;
    case kChunkNurb:
      ReadRecords<NisNurbCurve>(data, chunk, "NURB", kNurbMin, ReadNurb, doc.nurbCurves, faults);
      break;
    case kChunkPath:
      ReadRecords<NisPath>(data, chunk, "PATH", kPathMin, ReadPath, doc.paths, faults);
      break;
    case kChunkLead:
      doc.leaderVariant = ReadVariantRecords<NisLeader>(data, chunk, "LEAD", kLeaderMin, ReadLeader, doc.leaders, faults);
      break;
    case kChunkFolw:
      doc.followerVariant =
          ReadVariantRecords<NisFollower>(data, chunk, "FOLW", kFollowerMin, ReadFollower, doc.followers, faults);
      break;
    case kChunkCmra:
      ReadRecords<NisCamera>(data, chunk, "CMRA", kCameraMin, ReadCamera, doc.cameras, faults);
      break;
    default:
      return;
  }
  chunk.decoded = true;
  seen.push_back(&chunk);
}

}  // namespace

std::string ChunkIdText(uint32_t id) {
  std::string s;
  for (int shift = 24; shift >= 0; shift -= 8) {
    unsigned char c = (unsigned char)(id >> shift);
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      s += char(c);
    } else {
      char buf[5];
      std::snprintf(buf, sizeof buf, "\\x%02X", c);
      s += buf;
    }
  }
  return s;
}

bool ReadNisDocument(const uint8_t* data, size_t size, NisDocument& doc, std::string& error) {
  doc = NisDocument();
  doc.fileSize = size;
  if (size > 0xFFFFFFFFu) {
    error = "file of " + Num(size) + " bytes is larger than 32-bit offsets reach";
    return false;
  }
  if (size < kFormHeadSize) {
    error = "file has " + Num(size) + " bytes, too few for a FORM head (12)";
    return false;
  }
  TreeReader tree{data, doc.faults};
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
  size_t formEnd = form.dataOffset + size_t(form.dataSize);
  if (formEnd < size) {
    AddFault(doc.faults, formEnd, "FORM 'NIS '", Num(size - formEnd) + " trailing bytes behind the FORM");
  }
  std::vector<const NisChunk*> seen;
  for (NisChunk& chunk : form.children) DecodeNisChunk(data, chunk, doc, seen);
  for (uint32_t id : {kChunkName, kChunkVers, kChunkInfo, kChunkAnim, kChunkLead, kChunkFolw, kChunkCmra}) {
    bool present = false;
    for (const NisChunk* c : seen) present = present || c->id == id;
    if (!present) AddFault(doc.faults, 0, "FORM 'NIS '", "has no " + ChunkIdText(id) + " chunk");
  }
  return true;
}


bool ReadNisFile(const std::string& path, NisDocument& doc, std::string& error) {
  std::string bytes;
  if (!ReadFileBytes(path, kMaxNisFileSize, bytes, error)) return false;
  return ReadNisDocument(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), doc, error);
}

}  // namespace rw
