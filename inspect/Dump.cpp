#include "inspect/Dump.h"

#include <set>
#include <string>

#include "inspect/TextFormat.h"
#include "liteiff/LiteIFF.h"
#include "nis/NisFormat.h"

namespace rw {
namespace {

const char* const kCameraParamNames[5] = {"focalLength", "horizontalAperture", "verticalAperture", "nearClip",
                                          "farClip"};

struct Range {
  double low = 0, high = 0;
};

// Smallest and largest time and value of a curve with keys.
void KeyRanges(const NisCurve& c, Range& time, Range& value) {
  time = {c.keys[0].time, c.keys[0].time};
  value = {c.keys[0].value, c.keys[0].value};
  for (const NisKey& k : c.keys) {
    if (k.time < time.low) time.low = k.time;
    if (k.time > time.high) time.high = k.time;
    if (k.value < value.low) value.low = k.value;
    if (k.value > value.high) value.high = k.value;
  }
}

const char* VariantName(NisVariant v) { return v == NisVariant::kCurrent ? "current" : "older"; }

std::string ChunkHeadText(const NisChunk& c) {
  std::string s = ChunkIdText(c.id);
  if (c.id == kChunkForm || c.id == kChunkNrml) s += " '" + ChunkIdText(c.type) + "'";
  s += " at " + std::to_string(c.offset) + ", length " + std::to_string(c.length);
  if (c.id == kChunkNrml) s += ", extra " + std::to_string(c.extra);
  return s;
}

// ---- text ----

class TextDump {
 public:
  TextDump(const NisDocument& doc, const DumpOptions& options, std::ostream& out)
      : doc_(doc), options_(options), out_(out) {}

  void Write() {
    out_ << "file: " << doc_.fileSize << " bytes\n";
    for (const NisChunk& c : doc_.chunks) Chunk(c, 0);
    Curves();
    if (!doc_.nurbCurves.empty()) Nurbs();
    if (!doc_.paths.empty()) Paths();
    Leaders();
    Followers();
    Cameras();
    if (!doc_.faults.empty()) {
      out_ << "faults (" << doc_.faults.size() << "):\n";
      for (const NisFault& f : doc_.faults) out_ << "  " << f.where << " at " << f.offset << ": " << f.message << "\n";
    }
  }

 private:
  void Chunk(const NisChunk& c, int depth) {
    out_ << std::string(size_t(depth) * 2, ' ') << ChunkHeadText(c);
    // The header values were taken from the first decoded chunk of each id.
    bool first = c.decoded && shownIds_.insert(c.id).second;
    if (c.id == kChunkName && first && doc_.title) out_ << ": " << QuoteText(*doc_.title);
    if (c.id == kChunkVers && first && doc_.version) out_ << ": " << *doc_.version;
    if (c.id == kChunkInfo && first && doc_.info) {
      out_ << ": fps " << doc_.info->fps << ", start " << doc_.info->start << ", end " << doc_.info->end;
    }
    if (c.id == kChunkLead && doc_.leaderVariant) out_ << ": " << VariantName(*doc_.leaderVariant) << " layout";
    if (c.id == kChunkFolw && doc_.followerVariant) out_ << ": " << VariantName(*doc_.followerVariant) << " layout";
    bool container = c.id == kChunkForm || c.id == kChunkNrml;
    if (!container && !c.decoded) {
      out_ << ": not decoded, first bytes "
           << HexBytes(reinterpret_cast<const uint8_t*>(c.firstBytes.data()), c.firstBytes.size(), kFirstBytesShown);
    }
    out_ << "\n";
    for (const NisChunk& child : c.children) Chunk(child, depth + 1);
  }

  void Head(const char* title, size_t count) { out_ << title << " (" << count << "):\n"; }
  void Record(size_t i, const std::string& name, uint32_t offset) {
    out_ << "  #" << i + 1 << " " << QuoteText(name) << " at " << offset << "\n";
  }
  void Field(const char* name, const std::string& text) { out_ << "    " << name << " " << QuoteText(text) << "\n"; }
  template <class Array>
  void Numbers(const char* name, const Array& values) {
    out_ << "    " << name;
    for (double v : values) out_ << " " << FormatDouble(v);
    out_ << "\n";
  }
  void Order(const std::optional<std::string>& order) {
    if (order) Field("rotationOrder", *order);
  }

  void Curves() {
    Head("curves", doc_.curves.size());
    for (size_t i = 0; i < doc_.curves.size(); ++i) {
      const NisCurve& c = doc_.curves[i];
      out_ << "  #" << i + 1 << " " << QuoteText(c.name) << " at " << c.offset << ": " << c.keys.size() << " keys";
      if (!c.keys.empty()) {
        Range time, value;
        KeyRanges(c, time, value);
        out_ << ", time " << FormatDouble(time.low) << " .. " << FormatDouble(time.high) << ", value "
             << FormatDouble(value.low) << " .. " << FormatDouble(value.high);
      }
      out_ << ", pre/post infinity " << c.preInfinity << " " << c.postInfinity << "\n";
      if (!options_.keys) continue;
      for (size_t k = 0; k < c.keys.size(); ++k) {
        const NisKey& key = c.keys[k];
        out_ << "    key #" << k + 1 << ": time " << FormatDouble(key.time) << ", value " << FormatDouble(key.value)
             << ", in " << FormatFloat(key.inTangentX) << " " << FormatFloat(key.inTangentY) << ", out "
             << FormatFloat(key.outTangentX) << " " << FormatFloat(key.outTangentY) << "\n";
      }
    }
  }

  void Leaders() {
    Head("leaders", doc_.leaders.size());
    for (size_t i = 0; i < doc_.leaders.size(); ++i) {
      const NisLeader& r = doc_.leaders[i];
      Record(i, r.name, r.offset);
      Field("pathName", r.pathName);
      for (int s = 0; s < kCurveSlotCount; ++s) Field(kCurveSlotNames[s], r.curves[s]);
      Numbers("startPosition", r.startPosition);
      Numbers("startRotation", r.startRotation);
      Order(r.rotationOrder);
    }
  }

  void Followers() {
    Head("followers", doc_.followers.size());
    for (size_t i = 0; i < doc_.followers.size(); ++i) {
      const NisFollower& r = doc_.followers[i];
      Record(i, r.name, r.offset);
      Field("leaderName", r.leaderName);
      if (r.classNumber) {
        out_ << "    classNumber " << *r.classNumber << "\n";
      } else {
        Field("class", r.objectClass);
      }
      Field("blueprint", r.blueprint);
      for (int s = 0; s < kCurveSlotCount; ++s) Field(kCurveSlotNames[s], r.curves[s]);
      Numbers("numbers", r.numbers);
      Order(r.rotationOrder);
    }
  }

  void Cameras() {
    Head("cameras", doc_.cameras.size());
    for (size_t i = 0; i < doc_.cameras.size(); ++i) {
      const NisCamera& r = doc_.cameras[i];
      Record(i, r.name, r.offset);
      Field("followerName", r.followerName);
      Field("centerOfInterest", r.centerOfInterest);
      Field("reservedText", r.reservedText);
      Field("focalLengthCurve", r.focalLengthCurve);
      for (int p = 0; p < 5; ++p) out_ << "    " << kCameraParamNames[p] << " " << FormatDouble(r.params[p]) << "\n";
    }
  }

  void Nurbs() {
    Head("nurbCurves", doc_.nurbCurves.size());
    for (size_t i = 0; i < doc_.nurbCurves.size(); ++i) {
      const NisNurbCurve& r = doc_.nurbCurves[i];
      Record(i, r.name, r.offset);
      out_ << "    degree " << r.degree << ", form " << r.form << ", " << r.controlPoints.size() << " control points, "
           << r.knots.size() << " knots\n";
      for (const auto& p : r.controlPoints) Numbers("point", p);
      Numbers("knots", r.knots);
    }
  }

  void Paths() {
    Head("paths", doc_.paths.size());
    for (size_t i = 0; i < doc_.paths.size(); ++i) {
      const NisPath& r = doc_.paths[i];
      Record(i, r.name, r.offset);
      out_ << "    flag " << unsigned(r.flag) << ", frontAxis " << r.frontAxis << ", upAxis " << r.upAxis << "\n";
      for (int s = 0; s < 4; ++s) Field(kPathCurveNames[s], r.curves[s]);
      out_ << "    time " << FormatDouble(r.startTime) << " .. " << FormatDouble(r.endTime) << "\n";
      Field("nurbName", r.nurbName);
      out_ << "    flag2 " << unsigned(r.flag2) << "\n";
      Numbers("spans", r.spans);
    }
  }

  const NisDocument& doc_;
  const DumpOptions& options_;
  std::ostream& out_;
  std::set<uint32_t> shownIds_;
};

// ---- JSON ----

class JsonDump {
 public:
  JsonDump(const NisDocument& doc, const DumpOptions& options, std::ostream& out)
      : doc_(doc), options_(options), json_(out) {}

  void Write() {
    json_.BeginObject();
    json_.Key("format");
    json_.String("reelwright-nis-dump");
    json_.Key("formatVersion");
    json_.Integer(1);
    json_.Key("fileSize");
    json_.Integer(int64_t(doc_.fileSize));
    json_.Key("chunks");
    json_.BeginArray();
    for (const NisChunk& c : doc_.chunks) Chunk(c);
    json_.EndArray();
    json_.Key("title");
    if (doc_.title) json_.String(*doc_.title); else json_.Null();
    json_.Key("version");
    if (doc_.version) json_.Integer(*doc_.version); else json_.Null();
    json_.Key("info");
    if (doc_.info) {
      json_.BeginObject(true);
      IntField("fps", doc_.info->fps);
      IntField("start", doc_.info->start);
      IntField("end", doc_.info->end);
      json_.EndObject();
    } else {
      json_.Null();
    }
    Variant("leaderVariant", doc_.leaderVariant);
    Variant("followerVariant", doc_.followerVariant);
    List("curves", doc_.curves, &JsonDump::Curve);
    List("nurbCurves", doc_.nurbCurves, &JsonDump::Nurb);
    List("paths", doc_.paths, &JsonDump::Path);
    List("leaders", doc_.leaders, &JsonDump::Leader);
    List("followers", doc_.followers, &JsonDump::Follower);
    List("cameras", doc_.cameras, &JsonDump::Camera);
    List("faults", doc_.faults, &JsonDump::Fault);
    json_.EndObject();
    json_.Finish();
  }

 private:
  template <class T>
  void List(const char* key, const std::vector<T>& items, void (JsonDump::*each)(const T&)) {
    json_.Key(key);
    json_.BeginArray();
    for (const T& item : items) (this->*each)(item);
    json_.EndArray();
  }
  void IntField(const char* key, int64_t v) {
    json_.Key(key);
    json_.Integer(v);
  }
  void TextField(const char* key, const std::string& v) {
    json_.Key(key);
    json_.String(v);
  }
  void NumberField(const char* key, double v) {
    json_.Key(key);
    json_.Number(v);
  }
  template <class Array>
  void Numbers(const char* key, const Array& values) {
    if (key) json_.Key(key);
    json_.BeginArray(true);
    for (double v : values) json_.Number(v);
    json_.EndArray();
  }
  void Variant(const char* key, const std::optional<NisVariant>& v) {
    json_.Key(key);
    if (v) json_.String(VariantName(*v)); else json_.Null();
  }
  void Order(const std::optional<std::string>& order) {
    json_.Key("rotationOrder");
    if (order) json_.String(*order); else json_.Null();
  }

  void Chunk(const NisChunk& c) {
    bool container = c.id == kChunkForm || c.id == kChunkNrml;
    json_.BeginObject(!container);  // a plain chunk on one line
    TextField("id", ChunkIdText(c.id));
    IntField("offset", c.offset);
    IntField("length", c.length);
    IntField("dataSize", c.dataSize);
    if (container) {
      TextField("type", ChunkIdText(c.type));
      if (c.id == kChunkNrml) IntField("extra", c.extra);
      json_.Key("children");
      json_.BeginArray();
      for (const NisChunk& child : c.children) Chunk(child);
      json_.EndArray();
    } else {
      json_.Key("decoded");
      json_.Bool(c.decoded);
      if (!c.decoded) {
        TextField("firstBytes", HexBytes(reinterpret_cast<const uint8_t*>(c.firstBytes.data()), c.firstBytes.size(),
                                         kFirstBytesShown));
      }
    }
    json_.EndObject();
  }

  void Curve(const NisCurve& c) {
    json_.BeginObject();
    IntField("offset", c.offset);
    TextField("name", c.name);
    IntField("keyCount", int64_t(c.keys.size()));
    Range time, value;
    if (!c.keys.empty()) KeyRanges(c, time, value);
    json_.Key("timeRange");
    if (c.keys.empty()) json_.Null(); else Numbers(nullptr, std::array<double, 2>{time.low, time.high});
    json_.Key("valueRange");
    if (c.keys.empty()) json_.Null(); else Numbers(nullptr, std::array<double, 2>{value.low, value.high});
    IntField("preInfinity", c.preInfinity);
    IntField("postInfinity", c.postInfinity);
    if (options_.keys) {
      json_.Key("keys");
      json_.BeginArray();
      for (const NisKey& k : c.keys) {
        json_.BeginObject(true);
        NumberField("time", k.time);
        NumberField("value", k.value);
        json_.Key("inTangent");
        json_.BeginArray();
        json_.Float(k.inTangentX);
        json_.Float(k.inTangentY);
        json_.EndArray();
        json_.Key("outTangent");
        json_.BeginArray();
        json_.Float(k.outTangentX);
        json_.Float(k.outTangentY);
        json_.EndArray();
        json_.EndObject();
      }
      json_.EndArray();
    }
    json_.EndObject();
  }

  void Leader(const NisLeader& r) {
    json_.BeginObject();
    IntField("offset", r.offset);
    TextField("name", r.name);
    TextField("pathName", r.pathName);
    for (int s = 0; s < kCurveSlotCount; ++s) TextField(kCurveSlotNames[s], r.curves[s]);
    Numbers("startPosition", r.startPosition);
    Numbers("startRotation", r.startRotation);
    Order(r.rotationOrder);
    json_.EndObject();
  }

  void Follower(const NisFollower& r) {
    json_.BeginObject();
    IntField("offset", r.offset);
    TextField("name", r.name);
    TextField("leaderName", r.leaderName);
    json_.Key("class");
    if (r.classNumber) json_.Null(); else json_.String(r.objectClass);
    json_.Key("classNumber");
    if (r.classNumber) json_.Integer(*r.classNumber); else json_.Null();
    TextField("blueprint", r.blueprint);
    for (int s = 0; s < kCurveSlotCount; ++s) TextField(kCurveSlotNames[s], r.curves[s]);
    Numbers("numbers", r.numbers);
    Order(r.rotationOrder);
    json_.EndObject();
  }

  void Camera(const NisCamera& r) {
    json_.BeginObject();
    IntField("offset", r.offset);
    TextField("name", r.name);
    TextField("followerName", r.followerName);
    TextField("centerOfInterest", r.centerOfInterest);
    TextField("reservedText", r.reservedText);
    TextField("focalLengthCurve", r.focalLengthCurve);
    for (int p = 0; p < 5; ++p) NumberField(kCameraParamNames[p], r.params[p]);
    json_.EndObject();
  }

  void Nurb(const NisNurbCurve& r) {
    json_.BeginObject();
    IntField("offset", r.offset);
    TextField("name", r.name);
    IntField("degree", r.degree);
    IntField("form", r.form);
    json_.Key("controlPoints");
    json_.BeginArray();
    for (const auto& p : r.controlPoints) Numbers(nullptr, p);
    json_.EndArray();
    Numbers("knots", r.knots);
    json_.EndObject();
  }

  void Path(const NisPath& r) {
    json_.BeginObject();
    IntField("offset", r.offset);
    TextField("name", r.name);
    IntField("flag", r.flag);
    IntField("frontAxis", r.frontAxis);
    IntField("upAxis", r.upAxis);
    for (int s = 0; s < 4; ++s) TextField(kPathCurveNames[s], r.curves[s]);
    NumberField("startTime", r.startTime);
    NumberField("endTime", r.endTime);
    TextField("nurbName", r.nurbName);
    IntField("flag2", r.flag2);
    Numbers("spans", r.spans);
    json_.EndObject();
  }

  void Fault(const NisFault& f) {
    json_.BeginObject(true);
    IntField("offset", f.offset);
    TextField("where", f.where);
    TextField("message", f.message);
    json_.EndObject();
  }

  const NisDocument& doc_;
  const DumpOptions& options_;
  JsonWriter json_;
};

}  // namespace

void WriteDumpText(const NisDocument& doc, const DumpOptions& options, std::ostream& out) {
  TextDump(doc, options, out).Write();
}

void WriteDumpJson(const NisDocument& doc, const DumpOptions& options, std::ostream& out) {
  JsonDump(doc, options, out).Write();
}

}  // namespace rw
