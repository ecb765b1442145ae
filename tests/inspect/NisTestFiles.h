// Builds NIS files byte by byte for the inspect tests, without the exporter's writers, and
// reads them back.
#ifndef REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H
#define REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "inspect/Check.h"
#include "inspect/NisDocument.h"

namespace rw::test {

// Little-endian payload bytes, appended in call order.
struct Bytes {
  std::string s;
  Bytes& Le(uint64_t v, int size) {
    for (int i = 0; i < size; ++i) s += char(v >> (8 * i));
    return *this;
  }
  Bytes& U8(uint8_t v) { return Le(v, 1); }
  Bytes& U32(uint32_t v) { return Le(v, 4); }
  Bytes& F32(float v) { uint32_t u; std::memcpy(&u, &v, 4); return Le(u, 4); }
  Bytes& F64(double v) { uint64_t u; std::memcpy(&u, &v, 8); return Le(u, 8); }
  Bytes& Text(const std::string& t) { U32(uint32_t(t.size())).s += t; return *this; }
};

// A plain chunk: id, big-endian length, payload.
inline std::string Chunk(const std::string& id, const std::string& payload) {
  uint32_t n = uint32_t(payload.size());
  return id + std::string{char(n >> 24), char(n >> 16), char(n >> 8), char(n)} + payload;
}
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

// A scene as our exporter writes it: by default only the placeholders (a model without accepted
// bones); Default() adds the bones Root|Ship and Root|CAM_Main, the camera looking at the ship.
struct TestScene {
  struct Leader { std::string name, path; CurveSlots curves; };
  struct Follower { std::string name, leader, objectClass, blueprint; CurveSlots curves; };
  struct Camera { std::string name, follower, centerOfInterest, focalCurve; };
  std::vector<std::string> curves = {"ANIM_Empty"};  // each with two keys
  std::vector<Leader> leaders = {{"LEAD_Empty", "", Slots("")}};
  std::vector<Follower> followers = {{"FOLW_Empty", "LEAD_Empty", "None", "", Slots("")}};
  std::vector<Camera> cameras;

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
      anim.Text(curves[i]).U32(2);
      for (int k = 0; k < 2; ++k) anim.F64(empty ? 3.0 * k : k + 1.0).F64(empty ? 0 : i + k).F32(1).F32(0).F32(1).F32(0);
      anim.U32(0).U32(0);
    }
    lead.U32(uint32_t(leaders.size()));
    for (const Leader& r : leaders) {
      lead.Text(r.name).Text(r.path);
      for (const std::string& c : r.curves) lead.Text(c);
      lead.s += std::string(6 * 8, '\0') + " ZYX";
    }
    folw.U32(uint32_t(followers.size()));
    for (const Follower& r : followers) {
      folw.Text(r.name).Text(r.leader).Text(r.objectClass).Text(r.blueprint);
      for (const std::string& c : r.curves) folw.Text(c);
      folw.s += std::string(6 * 8, '\0') + " ZYX";
    }
    cmra.U32(uint32_t(cameras.size()));
    for (const Camera& r : cameras) {
      cmra.Text(r.name).Text(r.follower).Text(r.centerOfInterest).Text("").Text(r.focalCurve);
      for (double v : {21.8, 31.92, 24.0, 1.0, 10000000.0}) cmra.F64(v);
    }
    return NisForm(NisHead(24, 0, 3) + Chunk("ANIM", anim.s) + Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                   Chunk("CMRA", cmra.s));
  }
};

// The game's own layout: NURB and PATH between ANIM and LEAD, an older file's LEAD and FOLW
// records (no rotation order, the follower class a number), and a chunk no reader knows.
inline std::string OlderFileWithPath(const std::string& pathCurve = "ANIM_Empty", const std::string& nurbName = "curve1") {
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
  folw.U32(1).Text("FOLW_A").Text("LEAD_A").U32(7).Text("Hgn_Scout");
  for (int i = 0; i < 6; ++i) folw.Text("");
  folw.s += std::string(6 * 8, '\0');
  for (int i = 0; i < 20; ++i) xtra.U8(uint8_t(i));
  return NisForm(NisHead(30, 1, 1830) + Chunk("ANIM", anim.s) + Chunk("NURB", nurb.s) + Chunk("PATH", path.s) +
                 Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) + Chunk("CMRA", Bytes().U32(0).s) + Chunk("XTRA", xtra.s));
}

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
  for (const NisProblem& p : CheckNisDocument(doc)) lines.push_back(ProblemLine(p));
  for (const NisProblem& p : CheckScriptText(doc, script, "x.script")) lines.push_back(ProblemLine(p));
  return lines;
}

}  // namespace rw::test

#endif
