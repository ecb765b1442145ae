// Builds NIS files byte by byte for the inspect tests, without the exporter's writers, and
// reads them back.
#ifndef REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H
#define REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "inspect/Check.h"
#include "inspect/NisDocument.h"
#include "tests/support/ByteBuilder.h"

namespace rw::test {

inline std::string NisForm(const std::string& chunks) { return Chunk("FORM", "NIS " + chunks); }
inline std::string NisHead(uint32_t fps, uint32_t start, uint32_t end) {
  return Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
         Chunk("INFO", Bytes().U32(fps).U32(start).U32(end).s);
}

// The six curve names of a bone path ("ANIM_" + path + "_translateX" ...), or of the placeholder.
using CurveSlots = std::array<std::string, 6>;
inline CurveSlots Slots(const std::string& path) {
  const char* const suffixes[6] = {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"};
  CurveSlots s;
  for (int i = 0; i < 6; ++i) s[i] = path.empty() ? "ANIM_Empty" : "ANIM_" + path + suffixes[i];
  return s;
}

// The keys of curve `curve` of a TestScene: two, at 1 s and 2 s (the placeholder's at 0 and 3 s);
// a flagged curve's floats are Bezier handles a third of a second out, (0, 0) at the ends, and
// each key has the word `key`.
struct TestKey {
  double time, value;
  std::array<float, 4> floats;
  uint16_t word;
};
inline TestKey KeyOf(size_t curve, int key, bool placeholder, bool bezier) {
  double time = placeholder ? 3.0 * key : key + 1.0, value = placeholder ? 0 : static_cast<double>(curve + key);
  if (!bezier) return {time, value, {1, 0, 1, 0}, 0};
  float handleTime = static_cast<float>(time), handleValue = static_cast<float>(value);
  if (key == 0) return {time, value, {0, 0, handleTime + 1 / 3.0f, handleValue}, 0};
  return {time, value, {handleTime - 1 / 3.0f, handleValue, 0, 0}, 1};
}

// A scene as our exporter writes it: by default only the placeholders (a model without accepted
// bones); Default() adds the bones Root|Ship and Root|CAM_Main, the camera looking at the ship.
// The game's files add curves in the flagged layout and motion paths (each with its own NURB).
// Scenes that move as the game's files do set the stored values, curves with keys of their own
// (flat tangents), INFO, and paths with a NURB curve of their own.
struct TestScene {
  using Six = std::array<double, 6>;
  struct Leader { std::string name, path; CurveSlots curves; Six start{}; std::string order = " ZYX"; };
  struct Follower { std::string name, leader, objectClass, blueprint; CurveSlots curves; Six numbers{}; std::string order = " ZYX"; };
  struct Camera { std::string name, follower, centerOfInterest, focalCurve; };
  struct Path {
    std::string name, nurb;
    uint8_t follow = 1;
    uint32_t frontAxis = 0, upAxis = 1;
    std::string uValueCurve = "", frontTwistCurve = "";
    double startTime = 0, endTime = 3;
    uint32_t degree = 3;
    std::vector<std::array<double, 4>> points = {{0, 1, 2, 1}, {3, 4, 5, 1}};
    std::vector<double> knots = {0, 0, 1, 1};
  };
  std::vector<std::string> curves = {"ANIM_Empty"};  // each with two keys
  std::vector<Leader> leaders = {{"LEAD_Empty", "", Slots("")}};
  std::vector<Follower> followers = {{"FOLW_Empty", "LEAD_Empty", "None", "", Slots("")}};
  std::vector<Camera> cameras;
  std::set<std::string> bezierCurves;  // written in the flagged layout
  std::vector<Path> paths;
  std::map<std::string, std::vector<std::pair<double, double>>> keyedCurves;  // behind `curves`: (time, value) keys
  std::array<uint32_t, 3> info = {24, 0, 3};  // fps, start, end

  static TestScene Default() {
    TestScene t;
    for (std::string path : {"Root|Ship", "Root|CAM_Main"}) {
      for (const std::string& name : Slots(path)) t.curves.push_back(name);
      t.curves.push_back("ANIM_" + path + "_visibility");
      t.leaders.push_back({"LEAD_" + path, "", Slots(path)});
    }
    t.followers.push_back({"FOLW_Root|Ship", "LEAD_Root|Ship", "Fighter", "Red 1", Slots("")});
    t.followers.push_back({"FOLW_Root|CAM_Main", "LEAD_Root|CAM_Main", "camera", "", Slots("")});
    t.cameras = {{"CAM_Main", "FOLW_Root|CAM_Main", "FOLW_Root|Ship", ""}};
    return t;
  }

  std::string Build() const {
    Bytes anim, lead, folw, cmra;
    anim.U32(uint32_t(curves.size()));
    for (size_t i = 0; i < curves.size(); ++i) {
      bool empty = curves[i] == "ANIM_Empty";  // flat from 0 to the end time, as the exporter writes it
      bool bezier = bezierCurves.count(curves[i]) != 0;
      anim.Text(curves[i]).U16(2).U16(bezier);
      for (int k = 0; k < 2; ++k) {
        TestKey key = KeyOf(i, k, empty, bezier);
        anim.F64(key.time).F64(key.value);
        for (float f : key.floats) anim.F32(f);
      }
      anim.U32(0).U32(0);
      for (int k = 0; k < 2 && bezier; ++k) anim.U16(KeyOf(i, k, empty, bezier).word);
    }
    for (const auto& [name, keys] : keyedCurves) {
      anim.Text(name).U32(uint32_t(keys.size()));
      for (const auto& [time, value] : keys) anim.F64(time).F64(value).F32(1).F32(0).F32(1).F32(0);
      anim.U32(0).U32(0);
    }
    anim.s.replace(0, 4, Bytes().U32(uint32_t(curves.size() + keyedCurves.size())).s);
    std::string motion;
    if (!paths.empty()) {
      Bytes nurb, path;
      nurb.U32(uint32_t(paths.size()));
      path.U32(uint32_t(paths.size()));
      for (const Path& p : paths) {
        nurb.Text(p.nurb).U32(p.degree).U32(1).U32(uint32_t(p.points.size()));
        for (const auto& point : p.points)
          for (double v : point) nurb.F64(v);
        nurb.U32(uint32_t(p.knots.size()));
        for (double v : p.knots) nurb.F64(v);
        path.Text(p.name).U8(p.follow).U32(p.frontAxis).U32(p.upAxis).Text(p.uValueCurve).Text(p.frontTwistCurve);
        path.Text("").Text("").F64(p.startTime).F64(p.endTime).Text(p.nurb).U8(0).U32(1).F64(0);
      }
      motion = Chunk("NURB", nurb.s) + Chunk("PATH", path.s);
    }
    lead.U32(uint32_t(leaders.size()));
    for (const Leader& r : leaders) {
      lead.Text(r.name).Text(r.path);
      for (const std::string& c : r.curves) lead.Text(c);
      for (double v : r.start) lead.F64(v);
      lead.s += r.order;
    }
    folw.U32(uint32_t(followers.size()));
    for (const Follower& r : followers) {
      folw.Text(r.name).Text(r.leader).Text(r.objectClass).Text(r.blueprint);
      for (const std::string& c : r.curves) folw.Text(c);
      for (double v : r.numbers) folw.F64(v);
      folw.s += r.order;
    }
    cmra.U32(uint32_t(cameras.size()));
    for (const Camera& r : cameras) {
      cmra.Text(r.name).Text(r.follower).Text(r.centerOfInterest).Text("").Text(r.focalCurve);
      for (double v : {21.8, 31.92, 24.0, 1.0, 10000000.0}) cmra.F64(v);
    }
    return NisForm(NisHead(info[0], info[1], info[2]) + Chunk("ANIM", anim.s) + motion + Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                   Chunk("CMRA", cmra.s));
  }
};

// The game's own layout: NURB and PATH between ANIM and LEAD, an older file's LEAD and FOLW
// records (no rotation order, the follower class a number), and a chunk no reader knows.
inline std::string OlderFileWithPath(const std::string& pathCurve = "ANIM_Empty", const std::string& nurbName = "curve1",
                                     uint32_t classNumber = 7) {
  Bytes anim, nurb, path, lead, folw, xtra;
  anim.U32(1).Text("ANIM_Empty").U32(0).U32(1).U32(0);
  nurb.U32(1).Text("curve1").U32(3).U32(1).U32(2);
  for (double v : {0, 1, 2, 1, 3, 4, 5, 1}) nurb.F64(v);
  nurb.U32(4).F64(0).F64(0).F64(1).F64(1);
  path.U32(1).Text("path1").U8(255).U32(0).U32(1).Text(pathCurve).Text("").Text("").Text("");
  path.F64(0.5).F64(2.5).Text(nurbName).U8(0).U32(2).F64(0).F64(1);
  lead.U32(1).Text("LEAD_A").Text("path1");
  for (const std::string& c : Slots("")) lead.Text(c);
  for (int i = 0; i < 6; ++i) lead.F64(i);
  folw.U32(1).Text("FOLW_A").Text("LEAD_A").U32(classNumber).Text("Hgn_Scout");
  for (int i = 0; i < 6; ++i) folw.Text("");
  folw.s += std::string(6 * 8, '\0');
  for (int i = 0; i < 20; ++i) xtra.U8(uint8_t(i));
  return NisForm(NisHead(30, 1, 1830) + Chunk("ANIM", anim.s) + Chunk("NURB", nurb.s) + Chunk("PATH", path.s) +
                 Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) + Chunk("CMRA", Bytes().U32(0).s) + Chunk("XTRA", xtra.s));
}

// A scene in the game's conventions: a flagged curve between plain ones, a leader driven by a
// motion path (its slots name helper nodes and the path), a camera aimed by a look-at rig, and
// a top-level follower without a leader.
inline TestScene GameScene() {
  TestScene scene = TestScene::Default();
  scene.bezierCurves = {"ANIM_Root|Ship_translateY"};
  scene.paths = {{"path1", "curve1"}};
  scene.leaders[1].path = "path1";
  scene.leaders[1].curves = {"motionPath1_addDoubleLinear1", "motionPath1_addDoubleLinear2",
                             "motionPath1_addDoubleLinear3", "path1", "", ""};
  scene.followers[2].curves[3] = scene.followers[2].curves[4] = "CAM_Main_group";
  scene.followers.push_back({"Rig|CAM_Main_view", "", "camera_target", "", Slots("")});
  return scene;
}

// A file of the Crannnberry layout: objects with their keys in CURV, cameras in CMRA. Every key
// float is ArrayValue(record, array, key): arrays 0 times, 1..3 tension, continuity, bias,
// 4..9 x, y, z, rotate x, y, z; cameras count as records after the objects.
struct CrannnberryTestFile {
  struct Object {
    std::string name;
    uint32_t instance;
    int32_t parent;
    size_t keyCount;
  };
  std::vector<Object> objects = {{"Kus_Mothership", 0, -1, 2}, {"Kus_Mothership", 1, -1, 3}};
  std::vector<size_t> cameraKeyCounts = {2};
  uint32_t objectCount = 2;  // INFO's count of CURV records

  static float ArrayValue(size_t record, int array, size_t key) {
    return array == 0 ? 0.5f * static_cast<float>(key) : static_cast<float>(record * 100 + array * 10 + key) + 0.25f;
  }
  static void Track(Bytes& out, size_t record, size_t keyCount) {
    out.U32(uint32_t(keyCount)).F32(-1);
    for (size_t k = 0; k < keyCount; ++k) out.F32(ArrayValue(record, 0, k));
    for (size_t k = 0; k < keyCount; ++k)
      for (int a = 1; a <= 3; ++a) out.F32(ArrayValue(record, a, k));
    for (int a = 4; a < 10; ++a)
      for (size_t k = 0; k < keyCount; ++k) out.F32(ArrayValue(record, a, k));
  }
  std::string Build() const {
    Bytes curv, cmra;
    for (size_t i = 0; i < objects.size(); ++i) {
      curv.Text(objects[i].name).U32(objects[i].instance).U32(4).U32(uint32_t(objects[i].parent)).U32(0);
      Track(curv, i, objects[i].keyCount);
    }
    cmra.U32(uint32_t(cameraKeyCounts.size()));
    for (size_t i = 0; i < cameraKeyCounts.size(); ++i) Track(cmra.U32(7), objects.size() + i, cameraKeyCounts[i]);
    return NisForm(Chunk("NAME", "Crannnberry") + Chunk("VERS", Bytes().U32(512).F32(257).s) +
                   Chunk("INFO", Bytes().F32(0).F32(12.5f).F32(-1).U32(objectCount).U32(1).U32(0).s) +
                   Chunk("CURV", curv.s) + Chunk("CMRA", cmra.s));
  }
};

// The document of a file that must be readable.
inline NisDocument Read(const std::string& bytes) {
  NisDocument doc;
  std::string error;
  EXPECT_TRUE(ReadNisDocument(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), doc, error)) << error;
  return doc;
}

// check's lines for a document and a script (named "x.script").
inline std::vector<std::string> CheckLines(const NisDocument& doc, const std::string& script = "") {
  std::vector<std::string> lines;
  for (const Diagnostic& diagnostic : CheckNisDocument(doc)) lines.push_back(FormatDiagnostic("", diagnostic));
  for (const Diagnostic& diagnostic : CheckScriptText(doc, script, "x.script")) {
    lines.push_back(FormatDiagnostic("", diagnostic));
  }
  return lines;
}

}  // namespace rw::test

#endif
