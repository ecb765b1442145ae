#include "tests/inspect/NisTestFiles.h"

#include "inspect/Check.h"

namespace rw::test {
namespace {

std::string BigEndian(uint32_t v) {
  std::string s;
  for (int i = 3; i >= 0; --i) s += char(v >> (8 * i));
  return s;
}

const char* const kSuffixes[6] = {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"};

}  // namespace

std::string Chunk(const char* id, const std::string& payload) {
  return std::string(id, 4) + BigEndian(uint32_t(payload.size())) + payload;
}

std::string NisForm(const std::string& chunks) { return "FORM" + BigEndian(uint32_t(chunks.size() + 4)) + "NIS " + chunks; }

CurveSlots Slots(const std::string& prefix) {
  CurveSlots s;
  for (int i = 0; i < 6; ++i) s[i] = prefix + kSuffixes[i];
  return s;
}

CurveSlots EmptySlots() {
  CurveSlots s;
  s.fill("ANIM_Empty");
  return s;
}

TestScene TestScene::Placeholders() {
  TestScene t;
  t.curves = {"ANIM_Empty"};
  t.leaders = {{"LEAD_Empty", "", EmptySlots()}};
  t.followers = {{"FOLW_Empty", "LEAD_Empty", "None", "", EmptySlots()}};
  return t;
}

TestScene TestScene::Default() {
  TestScene t;
  t.curves.push_back("ANIM_Empty");
  for (const char* path : {"Root|Ship", "Root|CAM_Main"}) {
    for (const auto& name : Slots(std::string("ANIM_") + path)) t.curves.push_back(name);
    t.curves.push_back(std::string("ANIM_") + path + "_visibility");
  }
  t.leaders = {{"LEAD_Empty", "", EmptySlots()},
               {"LEAD_Root|Ship", "", Slots("ANIM_Root|Ship")},
               {"LEAD_Root|CAM_Main", "", Slots("ANIM_Root|CAM_Main")}};
  t.followers = {{"FOLW_Empty", "LEAD_Empty", "None", "", EmptySlots()},
                 {"FOLW_Root|Ship", "LEAD_Root|Ship", "Fighter", "Red 1", EmptySlots()},
                 {"FOLW_Root|CAM_Main", "LEAD_Root|CAM_Main", "camera", "", EmptySlots()}};
  t.cameras = {{"CAM_Main", "FOLW_Root|CAM_Main", "FOLW_Root|Ship", ""}};
  return t;
}

std::string TestScene::Build() const {
  Bytes anim, lead, folw, cmra;
  anim.U32(uint32_t(curves.size()));
  for (size_t i = 0; i < curves.size(); ++i) {
    anim.Text(curves[i]).U32(2);
    // The placeholder as the exporter writes it: flat from 0 to the end time.
    bool empty = curves[i] == "ANIM_Empty";
    for (int k = 0; k < 2; ++k) {
      anim.F64(empty ? 3.0 * k : k + 1.0).F64(empty ? 0 : double(i) + k).F32(1).F32(0).F32(1).F32(0);
    }
    anim.U32(0).U32(0);
  }
  lead.U32(uint32_t(leaders.size()));
  for (const auto& r : leaders) {
    lead.Text(r.name).Text(r.path);
    for (const auto& c : r.curves) lead.Text(c);
    for (int k = 0; k < 6; ++k) lead.F64(r.name == "LEAD_Empty" ? 0 : 0.5 * k);
    lead.Raw(" ZYX");
  }
  folw.U32(uint32_t(followers.size()));
  for (const auto& r : followers) {
    folw.Text(r.name).Text(r.leader).Text(r.objectClass).Text(r.blueprint);
    for (const auto& c : r.curves) folw.Text(c);
    for (int k = 0; k < 6; ++k) folw.F64(0);
    folw.Raw(" ZYX");
  }
  cmra.U32(uint32_t(cameras.size()));
  for (const auto& r : cameras) {
    cmra.Text(r.name).Text(r.follower).Text(r.centerOfInterest).Text("").Text(r.focalCurve);
    for (double v : {21.8, 31.92, 24.0, 1.0, 10000000.0}) cmra.F64(v);
  }
  std::string header = Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
                       Chunk("INFO", Bytes().U32(24).U32(0).U32(3).s);
  return NisForm(header + Chunk("ANIM", anim.s) + Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                 Chunk("CMRA", cmra.s) + extraChunks);
}

std::vector<std::string> CheckLines(const NisDocument& doc, const std::string& script) {
  std::vector<NisProblem> problems = CheckNisDocument(doc);
  std::vector<NisProblem> more = CheckScriptText(doc, script, "x.script");
  problems.insert(problems.end(), more.begin(), more.end());
  std::vector<std::string> lines;
  for (const NisProblem& p : problems) lines.push_back(ProblemLine(p));
  return lines;
}

std::string OlderFileWithPath() {
  Bytes nurb, path, lead, folw;
  nurb.U32(1).Text("curve1").U32(3).U32(1).U32(2);
  nurb.F64(0).F64(1).F64(2).F64(1).F64(3).F64(4).F64(5).F64(1);
  nurb.U32(4).F64(0).F64(0).F64(1).F64(1);
  path.U32(1).Text("path1").U8(255).U32(0).U32(1);
  path.Text("ANIM_Empty").Text("").Text("").Text("");
  path.F64(0.5).F64(2.5).Text("curve1").U8(0).U32(2).F64(0).F64(1);
  lead.U32(1).Text("LEAD_A").Text("path1");
  for (int i = 0; i < 6; ++i) lead.Text("ANIM_Empty");
  for (int i = 0; i < 6; ++i) lead.F64(i);
  folw.U32(1).Text("FOLW_A").Text("LEAD_A").U32(7).Text("Hgn_Scout");
  for (int i = 0; i < 6; ++i) folw.Text("");
  for (int i = 0; i < 6; ++i) folw.F64(0);
  Bytes anim;
  anim.U32(1).Text("ANIM_Empty").U32(0).U32(1).U32(0);
  return NisForm(Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
                 Chunk("INFO", Bytes().U32(30).U32(1).U32(1830).s) + Chunk("ANIM", anim.s) +
                 Chunk("NURB", nurb.s) + Chunk("PATH", path.s) + Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                 Chunk("CMRA", Bytes().U32(0).s));
}

}  // namespace rw::test
