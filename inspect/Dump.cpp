#include "inspect/Dump.h"

#include <set>
#include <string>

#include "inspect/SceneDump.h"
#include "inspect/ScriptEvents.h"
#include "inspect/TextFormat.h"
#include "liteiff/LiteIFF.h"
#include "nis/NisFormat.h"

namespace rw {
namespace {

const char* const kCameraParamNames[kCameraParamCount] = {"focalLength", "horizontalAperture", "verticalAperture",
                                                          "nearClip", "farClip"};

struct Range {
  double low = 0, high = 0;
};

// Smallest and largest time and value of a curve with keys.
void KeyRanges(const NisCurve& curve, Range& time, Range& value) {
  time = {curve.keys[0].time, curve.keys[0].time};
  value = {curve.keys[0].value, curve.keys[0].value};
  for (const NisKey& key : curve.keys) {
    if (key.time < time.low) time.low = key.time;
    if (key.time > time.high) time.high = key.time;
    if (key.value < value.low) value.low = key.value;
    if (key.value > value.high) value.high = key.value;
  }
}

const char* VariantName(NisVariant variant) { return variant == NisVariant::kCurrent ? "current" : "older"; }

const char* LayoutName(NisLayout layout) {
  switch (layout) {
    case NisLayout::kHomeworld2:
      return "homeworld2";
    case NisLayout::kCrannnberry:
      return "crannnberry";
    case NisLayout::kUnknown:
      break;
  }
  return "unknown";
}

const char* CurveLayoutName(NisCurveLayout layout) { return layout == NisCurveLayout::kBezier ? "bezier" : "tangents"; }

bool IsContainer(const NisChunk& chunk) { return chunk.id == kChunkForm || chunk.id == kChunkNrml; }

std::string ChunkHeadText(const NisChunk& chunk) {
  std::string text = ChunkIdText(chunk.id);
  if (IsContainer(chunk)) text += " '" + ChunkIdText(chunk.type) + "'";
  text += " at " + std::to_string(chunk.offset) + ", length " + std::to_string(chunk.length);
  if (chunk.id == kChunkNrml) text += ", extra " + std::to_string(chunk.extra);
  return text;
}

std::string FirstBytesHex(const NisChunk& chunk) {
  return HexBytes(reinterpret_cast<const uint8_t*>(chunk.firstBytes.data()), chunk.firstBytes.size(), kFirstBytesShown);
}

// ---- text ----

class TextDump {
 public:
  TextDump(const NisDocument& doc, const DumpOptions& options, std::ostream& out)
      : doc_(doc), options_(options), out_(out) {}

  void Write() {
    out_ << "file: " << doc_.fileSize << " bytes, layout " << LayoutName(doc_.layout) << "\n";
    for (const NisChunk& chunk : doc_.chunks) Chunk(chunk, 0);
    if (doc_.crannnberry) {
      Objects();
      CrannnberryCameras();
    } else {
      Curves();
      if (!doc_.nurbCurves.empty()) Nurbs();
      if (!doc_.paths.empty()) Paths();
      Leaders();
      Followers();
      Cameras();
    }
    if (!doc_.faults.empty()) {
      out_ << "faults (" << doc_.faults.size() << "):\n";
      for (const Diagnostic& fault : doc_.faults) out_ << "  " << FormatDiagnostic("", fault) << "\n";
    }
  }

 private:
  void Chunk(const NisChunk& chunk, int depth) {
    out_ << std::string(static_cast<size_t>(depth) * 2, ' ') << ChunkHeadText(chunk);
    // The header values were taken from the first decoded chunk of each id.
    if (chunk.decoding != NisDecoding::kNone && shownIds_.insert(chunk.id).second) HeaderValues(chunk.id);
    if (chunk.id == kChunkLead && doc_.leaderVariant) out_ << ": " << VariantName(*doc_.leaderVariant) << " layout";
    if (chunk.id == kChunkFolw && doc_.followerVariant) {
      out_ << ": " << VariantName(*doc_.followerVariant) << " layout";
    }
    if (!IsContainer(chunk) && chunk.decoding == NisDecoding::kNone) {
      out_ << ": not decoded, first bytes " << FirstBytesHex(chunk);
    }
    if (chunk.decoding == NisDecoding::kPartial) {
      out_ << ": partly decoded, stopped at " << chunk.stoppedAt << ": " << chunk.stopReason;
    }
    out_ << "\n";
    for (const NisChunk& child : chunk.children) Chunk(child, depth + 1);
  }

  void HeaderValues(uint32_t id) {
    const CrannnberryScene* scene = doc_.crannnberry ? &*doc_.crannnberry : nullptr;
    if (id == kChunkName && doc_.title) out_ << ": " << QuoteText(*doc_.title);
    if (id == kChunkVers && doc_.version) {
      out_ << ": " << *doc_.version;
      if (scene && scene->versionFloat) out_ << ", " << FormatReal(*scene->versionFloat);
    }
    if (id == kChunkInfo && doc_.info) {
      out_ << ": fps " << doc_.info->fps << ", start " << doc_.info->start << ", end " << doc_.info->end;
    }
    if (id == kChunkInfo && scene && scene->info) {
      const CrannnberryInfo& info = *scene->info;
      out_ << ": start " << FormatReal(info.start) << ", end " << FormatReal(info.end) << ", word "
           << FormatReal(info.word) << ", objectCount " << info.objectCount << ", words " << info.word1 << " "
           << info.word2;
    }
  }

  void Head(const char* title, size_t count) { out_ << title << " (" << count << "):\n"; }
  void Record(size_t index, const std::string& name, uint32_t offset) {
    out_ << "  #" << index + 1 << " " << QuoteText(name) << " at " << offset << "\n";
  }
  void Field(const char* name, const std::string& text) { out_ << "    " << name << " " << QuoteText(text) << "\n"; }
  template <class Array>
  void Numbers(const char* name, const Array& values) {
    out_ << "    " << name;
    for (double value : values) out_ << " " << FormatDouble(value);
    out_ << "\n";
  }
  void Order(const std::optional<std::string>& order) {
    if (order) Field("rotationOrder", *order);
  }

  void Curves() {
    Head("curves", doc_.curves.size());
    for (size_t index = 0; index < doc_.curves.size(); ++index) {
      const NisCurve& curve = doc_.curves[index];
      out_ << "  #" << index + 1 << " " << QuoteText(curve.name) << " at " << curve.offset << ": " << curve.keys.size()
           << " keys, " << CurveLayoutName(curve.layout);
      if (!curve.keys.empty()) {
        Range time, value;
        KeyRanges(curve, time, value);
        out_ << ", time " << FormatDouble(time.low) << " .. " << FormatDouble(time.high) << ", value "
             << FormatDouble(value.low) << " .. " << FormatDouble(value.high);
      }
      out_ << ", pre/post infinity " << curve.preInfinity << " " << curve.postInfinity << "\n";
      if (options_.keys) Keys(curve);
    }
  }

  void Keys(const NisCurve& curve) {
    bool bezier = curve.layout == NisCurveLayout::kBezier;
    for (size_t index = 0; index < curve.keys.size(); ++index) {
      const NisKey& key = curve.keys[index];
      out_ << "    key #" << index + 1 << ": time " << FormatDouble(key.time) << ", value " << FormatDouble(key.value)
           << (bezier ? ", in-handle " : ", in ") << FormatFloat(key.in[0]) << " " << FormatFloat(key.in[1])
           << (bezier ? ", out-handle " : ", out ") << FormatFloat(key.out[0]) << " " << FormatFloat(key.out[1]);
      if (bezier) out_ << ", word " << curve.keyWords[index];
      out_ << "\n";
    }
  }

  void Leaders() {
    Head("leaders", doc_.leaders.size());
    for (size_t index = 0; index < doc_.leaders.size(); ++index) {
      const NisLeader& leader = doc_.leaders[index];
      Record(index, leader.name, leader.offset);
      Field("pathName", leader.pathName);
      for (int slot = 0; slot < kCurveSlotCount; ++slot) Field(kCurveSlotNames[slot], leader.curves[slot]);
      Numbers("startPosition", leader.startPosition);
      Numbers("startRotation", leader.startRotation);
      Order(leader.rotationOrder);
    }
  }

  void Followers() {
    Head("followers", doc_.followers.size());
    for (size_t index = 0; index < doc_.followers.size(); ++index) {
      const NisFollower& follower = doc_.followers[index];
      Record(index, follower.name, follower.offset);
      Field("leaderName", follower.leaderName);
      if (follower.classNumber) {
        out_ << "    classNumber " << *follower.classNumber << "\n";
      } else {
        Field("class", follower.objectClass);
      }
      Field("blueprint", follower.blueprint);
      for (int slot = 0; slot < kCurveSlotCount; ++slot) Field(kCurveSlotNames[slot], follower.curves[slot]);
      Numbers("numbers", follower.numbers);
      Order(follower.rotationOrder);
    }
  }

  void Cameras() {
    Head("cameras", doc_.cameras.size());
    for (size_t index = 0; index < doc_.cameras.size(); ++index) {
      const NisCamera& camera = doc_.cameras[index];
      Record(index, camera.name, camera.offset);
      Field("followerName", camera.followerName);
      Field("centerOfInterest", camera.centerOfInterest);
      Field("reservedText", camera.reservedText);
      Field("focalLengthCurve", camera.focalLengthCurve);
      for (int param = 0; param < kCameraParamCount; ++param) {
        out_ << "    " << kCameraParamNames[param] << " " << FormatDouble(camera.params[param]) << "\n";
      }
    }
  }

  void Nurbs() {
    Head("nurbCurves", doc_.nurbCurves.size());
    for (size_t index = 0; index < doc_.nurbCurves.size(); ++index) {
      const NisNurbCurve& nurb = doc_.nurbCurves[index];
      Record(index, nurb.name, nurb.offset);
      out_ << "    degree " << nurb.degree << ", form " << nurb.form << ", " << nurb.controlPoints.size()
           << " control points, " << nurb.knots.size() << " knots\n";
      for (const auto& point : nurb.controlPoints) Numbers("point", point);
      Numbers("knots", nurb.knots);
    }
  }

  void Paths() {
    Head("paths", doc_.paths.size());
    for (size_t index = 0; index < doc_.paths.size(); ++index) {
      const NisPath& path = doc_.paths[index];
      Record(index, path.name, path.offset);
      out_ << "    flag " << unsigned{path.flag} << ", frontAxis " << path.frontAxis << ", upAxis " << path.upAxis
           << "\n";
      for (int slot = 0; slot < kPathCurveCount; ++slot) Field(kPathCurveNames[slot], path.curves[slot]);
      out_ << "    time " << FormatDouble(path.startTime) << " .. " << FormatDouble(path.endTime) << "\n";
      Field("nurbName", path.nurbName);
      out_ << "    flag2 " << unsigned{path.flag2} << "\n";
      Numbers("spans", path.spans);
    }
  }

  void Track(const CrannnberryKeys& keys) {
    out_ << ", " << keys.times.size() << " keys, timeOffset " << FormatReal(keys.timeOffset) << "\n";
    if (!options_.keys) return;
    for (size_t index = 0; index < keys.times.size(); ++index) {
      out_ << "    key #" << index + 1 << ": time " << FormatReal(keys.times[index]) << ", tcb";
      for (float number : keys.tcb[index]) out_ << " " << FormatReal(number);
      for (int channel = 0; channel < kChannelCount; ++channel) {
        out_ << ", " << kChannelNames[channel] << " " << FormatReal(keys.channels[channel][index]);
      }
      out_ << "\n";
    }
  }

  void Objects() {
    const auto& objects = doc_.crannnberry->objects;
    Head("objects", objects.size());
    for (size_t index = 0; index < objects.size(); ++index) {
      const CrannnberryObject& object = objects[index];
      out_ << "  #" << index + 1 << " " << QuoteText(object.name) << " at " << object.offset << ": instance "
           << object.instance << ", type " << object.type << ", parent " << object.parent << ", word " << object.word;
      Track(object.keys);
    }
  }

  void CrannnberryCameras() {
    const auto& cameras = doc_.crannnberry->cameras;
    Head("cameras", cameras.size());
    for (size_t index = 0; index < cameras.size(); ++index) {
      out_ << "  #" << index + 1 << " at " << cameras[index].offset << ": word " << cameras[index].word;
      Track(cameras[index].keys);
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
    TextField("format", "reelwright-nis-dump");
    IntField("formatVersion", 1);
    IntField("fileSize", static_cast<int64_t>(doc_.fileSize));
    json_.Key("chunks");
    json_.BeginArray();
    for (const NisChunk& chunk : doc_.chunks) Chunk(chunk);
    json_.EndArray();
    json_.Key("title");
    if (doc_.title)
      json_.String(*doc_.title);
    else
      json_.Null();
    json_.Key("version");
    if (doc_.version)
      json_.Integer(*doc_.version);
    else
      json_.Null();
    TextField("layout", LayoutName(doc_.layout));
    Info();
    Variant("leaderVariant", doc_.leaderVariant);
    Variant("followerVariant", doc_.followerVariant);
    List("curves", doc_.curves, &JsonDump::Curve);
    List("nurbCurves", doc_.nurbCurves, &JsonDump::Nurb);
    List("paths", doc_.paths, &JsonDump::Path);
    List("leaders", doc_.leaders, &JsonDump::Leader);
    List("followers", doc_.followers, &JsonDump::Follower);
    List("cameras", doc_.cameras, &JsonDump::Camera);
    Crannnberry();
    SceneReading scene = ReadScene(doc_);
    if (options_.script) {
      // The scene plays on to the script's last event, as the page and the import do.
      const ScriptText script = ReadScriptText(*options_.script);
      PlayUntil(scene, LastStatementSeconds(script, scene.fps));
      WriteSceneSection(scene, json_);
      WriteScriptSection(script, scene, ImportNodes(scene), json_);
    } else {
      WriteSceneSection(scene, json_);
    }
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
  void IntField(const char* key, int64_t number) {
    json_.Key(key);
    json_.Integer(number);
  }
  void TextField(const char* key, const std::string& text) {
    json_.Key(key);
    json_.String(text);
  }
  void NumberField(const char* key, double number) {
    json_.Key(key);
    json_.Number(number);
  }
  void RealField(const char* key, float number) {
    json_.Key(key);
    json_.Real(number);
  }
  template <class Array>
  void Numbers(const char* key, const Array& values) {
    if (key) json_.Key(key);
    json_.BeginArray(true);
    for (double value : values) json_.Number(value);
    json_.EndArray();
  }
  template <class Array>
  void Floats(const Array& values) {
    json_.BeginArray(true);
    for (float value : values) json_.Float(value);
    json_.EndArray();
  }
  template <class Array>
  void Reals(const Array& values) {
    json_.BeginArray(true);
    for (float value : values) json_.Real(value);
    json_.EndArray();
  }
  void Variant(const char* key, const std::optional<NisVariant>& variant) {
    json_.Key(key);
    if (variant)
      json_.String(VariantName(*variant));
    else
      json_.Null();
  }
  void Order(const std::optional<std::string>& order) {
    json_.Key("rotationOrder");
    if (order)
      json_.String(*order);
    else
      json_.Null();
  }

  void Info() {
    json_.Key("info");
    if (!doc_.info) return json_.Null();
    json_.BeginObject(true);
    IntField("fps", doc_.info->fps);
    IntField("start", doc_.info->start);
    IntField("end", doc_.info->end);
    json_.EndObject();
  }

  void Chunk(const NisChunk& chunk) {
    bool container = IsContainer(chunk);
    json_.BeginObject(!container);  // a plain chunk on one line
    TextField("id", ChunkIdText(chunk.id));
    IntField("offset", chunk.offset);
    IntField("length", chunk.length);
    IntField("dataSize", chunk.dataSize);
    if (container) {
      TextField("type", ChunkIdText(chunk.type));
      if (chunk.id == kChunkNrml) IntField("extra", chunk.extra);
      json_.Key("children");
      json_.BeginArray();
      for (const NisChunk& child : chunk.children) Chunk(child);
      json_.EndArray();
    } else {
      json_.Key("decoded");
      if (chunk.decoding == NisDecoding::kPartial) {
        json_.String("partial");
        IntField("stoppedAt", chunk.stoppedAt);
        TextField("stopReason", chunk.stopReason);
      } else {
        json_.Bool(chunk.decoding == NisDecoding::kFull);
      }
      if (chunk.decoding == NisDecoding::kNone) TextField("firstBytes", FirstBytesHex(chunk));
    }
    json_.EndObject();
  }

  void Curve(const NisCurve& curve) {
    json_.BeginObject();
    IntField("offset", curve.offset);
    TextField("name", curve.name);
    IntField("keyCount", static_cast<int64_t>(curve.keys.size()));
    Range time, value;
    if (!curve.keys.empty()) KeyRanges(curve, time, value);
    json_.Key("timeRange");
    if (curve.keys.empty())
      json_.Null();
    else
      Numbers(nullptr, std::array<double, 2>{time.low, time.high});
    json_.Key("valueRange");
    if (curve.keys.empty())
      json_.Null();
    else
      Numbers(nullptr, std::array<double, 2>{value.low, value.high});
    IntField("preInfinity", curve.preInfinity);
    IntField("postInfinity", curve.postInfinity);
    TextField("layout", CurveLayoutName(curve.layout));
    if (options_.keys) Keys(curve);
    json_.EndObject();
  }

  void Keys(const NisCurve& curve) {
    bool bezier = curve.layout == NisCurveLayout::kBezier;
    json_.Key("keys");
    json_.BeginArray();
    for (const NisKey& key : curve.keys) {
      json_.BeginObject(true);
      NumberField("time", key.time);
      NumberField("value", key.value);
      json_.Key(bezier ? "inHandle" : "inTangent");
      Floats(key.in);
      json_.Key(bezier ? "outHandle" : "outTangent");
      Floats(key.out);
      json_.EndObject();
    }
    json_.EndArray();
    json_.Key("keyWords");
    if (!bezier) return json_.Null();
    json_.BeginArray(true);
    for (uint16_t word : curve.keyWords) json_.Integer(word);
    json_.EndArray();
  }

  void Leader(const NisLeader& leader) {
    json_.BeginObject();
    IntField("offset", leader.offset);
    TextField("name", leader.name);
    TextField("pathName", leader.pathName);
    for (int slot = 0; slot < kCurveSlotCount; ++slot) TextField(kCurveSlotNames[slot], leader.curves[slot]);
    Numbers("startPosition", leader.startPosition);
    Numbers("startRotation", leader.startRotation);
    Order(leader.rotationOrder);
    json_.EndObject();
  }

  void Follower(const NisFollower& follower) {
    json_.BeginObject();
    IntField("offset", follower.offset);
    TextField("name", follower.name);
    TextField("leaderName", follower.leaderName);
    json_.Key("class");
    if (follower.classNumber)
      json_.Null();
    else
      json_.String(follower.objectClass);
    json_.Key("classNumber");
    if (follower.classNumber)
      json_.Integer(*follower.classNumber);
    else
      json_.Null();
    TextField("blueprint", follower.blueprint);
    for (int slot = 0; slot < kCurveSlotCount; ++slot) TextField(kCurveSlotNames[slot], follower.curves[slot]);
    Numbers("numbers", follower.numbers);
    Order(follower.rotationOrder);
    json_.EndObject();
  }

  void Camera(const NisCamera& camera) {
    json_.BeginObject();
    IntField("offset", camera.offset);
    TextField("name", camera.name);
    TextField("followerName", camera.followerName);
    TextField("centerOfInterest", camera.centerOfInterest);
    TextField("reservedText", camera.reservedText);
    TextField("focalLengthCurve", camera.focalLengthCurve);
    for (int param = 0; param < kCameraParamCount; ++param) NumberField(kCameraParamNames[param], camera.params[param]);
    json_.EndObject();
  }

  void Nurb(const NisNurbCurve& nurb) {
    json_.BeginObject();
    IntField("offset", nurb.offset);
    TextField("name", nurb.name);
    IntField("degree", nurb.degree);
    IntField("form", nurb.form);
    json_.Key("controlPoints");
    json_.BeginArray();
    for (const auto& point : nurb.controlPoints) Numbers(nullptr, point);
    json_.EndArray();
    Numbers("knots", nurb.knots);
    json_.EndObject();
  }

  void Path(const NisPath& path) {
    json_.BeginObject();
    IntField("offset", path.offset);
    TextField("name", path.name);
    IntField("flag", path.flag);
    IntField("frontAxis", path.frontAxis);
    IntField("upAxis", path.upAxis);
    for (int slot = 0; slot < kPathCurveCount; ++slot) TextField(kPathCurveNames[slot], path.curves[slot]);
    NumberField("startTime", path.startTime);
    NumberField("endTime", path.endTime);
    TextField("nurbName", path.nurbName);
    IntField("flag2", path.flag2);
    Numbers("spans", path.spans);
    json_.EndObject();
  }

  void Crannnberry() {
    json_.Key("crannnberry");
    if (!doc_.crannnberry) return json_.Null();
    const CrannnberryScene& scene = *doc_.crannnberry;
    json_.BeginObject();
    json_.Key("versionFloat");
    if (scene.versionFloat)
      json_.Real(*scene.versionFloat);
    else
      json_.Null();
    json_.Key("info");
    if (scene.info) {
      json_.BeginObject(true);
      RealField("start", scene.info->start);
      RealField("end", scene.info->end);
      RealField("word", scene.info->word);
      IntField("objectCount", scene.info->objectCount);
      IntField("word1", scene.info->word1);
      IntField("word2", scene.info->word2);
      json_.EndObject();
    } else {
      json_.Null();
    }
    List("objects", scene.objects, &JsonDump::ObjectRecord);
    List("cameras", scene.cameras, &JsonDump::CameraKeyPath);
    json_.EndObject();
  }

  void Track(const CrannnberryKeys& keys) {
    IntField("keyCount", static_cast<int64_t>(keys.times.size()));
    RealField("timeOffset", keys.timeOffset);
    json_.Key("times");
    if (options_.keys)
      Reals(keys.times);
    else
      json_.Null();
    json_.Key("tcb");
    if (options_.keys) {
      json_.BeginArray(true);
      for (const auto& tcb : keys.tcb) Reals(tcb);
      json_.EndArray();
    } else {
      json_.Null();
    }
    for (int channel = 0; channel < kChannelCount; ++channel) {
      json_.Key(kChannelNames[channel]);
      if (options_.keys)
        Reals(keys.channels[channel]);
      else
        json_.Null();
    }
  }

  void ObjectRecord(const CrannnberryObject& object) {
    json_.BeginObject();
    IntField("offset", object.offset);
    TextField("name", object.name);
    IntField("instance", object.instance);
    IntField("type", object.type);
    IntField("parent", object.parent);
    IntField("word", object.word);
    Track(object.keys);
    json_.EndObject();
  }

  void CameraKeyPath(const CrannnberryCamera& camera) {
    json_.BeginObject();
    IntField("offset", camera.offset);
    IntField("word", camera.word);
    Track(camera.keys);
    json_.EndObject();
  }

  void Fault(const Diagnostic& fault) {
    json_.BeginObject(true);
    IntField("offset", fault.offset);
    TextField("where", fault.where);
    TextField("message", fault.what);
    TextField("severity", fault.isError() ? "error" : "warning");
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
