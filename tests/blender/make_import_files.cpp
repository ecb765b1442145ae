// Writes NIS files in the game's conventions for the Blender import test: make_import_files DIR.
// game.nis (with game.script): frames in INFO, tangent keys with uneven tangents, a Bezier curve,
// linear and constant ends, a rotation order other than the exporter's, a keyless follower, names
// longer than 31 bytes, a camera record with a lens curve, a motion path, and events naming these.
// rig.nis, older.nis, crannnberry.nis: the inspect tests' files with a motion path and a look-at
// rig, the older record layout, and the Crannnberry layout. With a count, only sampled.nis: that
// many followers keyed at every frame by the import, for bench/import_bench.py.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/inspect/NisTestFiles.h"
#include "tests/support/ByteBuilder.h"

namespace {

using rw::test::Bytes;
using rw::test::Chunk;

struct Key {
  double time, value;
  float in[2], out[2];  // tangents, or absolute handles (seconds, value) in the Bezier layout
};
struct Curve {
  std::string name;
  std::vector<Key> keys;
  bool bezier = false;
  uint32_t pre = 0, post = 0;
};

void WriteCurve(Bytes& anim, const Curve& c) {
  anim.Text(c.name).U16(static_cast<uint16_t>(c.keys.size())).U16(c.bezier ? 1 : 0);
  for (const Key& k : c.keys) anim.F64(k.time).F64(k.value).F32(k.in[0]).F32(k.in[1]).F32(k.out[0]).F32(k.out[1]);
  anim.U32(c.pre).U32(c.post);
  for (size_t i = 0; c.bezier && i < c.keys.size(); ++i) anim.U16(0);
}

void WriteRecord(Bytes& out, const std::string& name, const std::vector<std::string>& texts,
                 const std::vector<std::string>& slots, const double (&numbers)[6], const char* order) {
  out.Text(name);
  for (const std::string& t : texts) out.Text(t);
  for (const std::string& s : slots) out.Text(s);
  for (double n : numbers) out.F64(n);
  out.Raw(order);
}

std::vector<std::string> Slots(const std::string& path) {
  std::vector<std::string> slots;
  for (const char* axis : {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"}) {
    slots.push_back(path.empty() ? "" : "ANIM_" + path + axis);
  }
  return slots;
}

const std::string kLong = "Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Leader";
const std::string kLong2 = "Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Second";

std::string GameFile() {
  const float kSlope = 0.6f, kRise = 0.8f;  // a unit tangent of slope 4/3
  std::vector<Curve> curves = {{"ANIM_Empty", {{0, 0, {1, 0}, {1, 0}}, {3, 0, {1, 0}, {1, 0}}}}};
  const auto add = [&curves](const std::string& path, const std::vector<Key>& keys, int constantFrom) {
    const char* axes[6] = {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"};
    for (int a = 0; a < 6; ++a) {
      Curve c{"ANIM_" + path + axes[a], keys};
      for (Key& k : c.keys) k.value *= (a + 1) * (a >= constantFrom ? 0 : 1) * (a >= 3 ? 0.1 : 1.0);
      curves.push_back(c);
    }
  };
  // Formation: three keys, tangents that are not the stretches' slopes, a linear start.
  add("Root|Formation", {{0.5, 1, {kSlope, kRise}, {kSlope, kRise}}, {1.5, 3, {1, 0}, {0.8f, -0.6f}},
                         {2.5, 2, {kSlope, -kRise}, {kSlope, -kRise}}}, 6);
  curves[1].pre = 1;
  curves[4].post = 1;  // rotateX: constant before, linear after
  // The long-named ship: a Bezier layout translateY with handles off the thirds.
  add(kLong, {{1, 0, {1, 0}, {1, 0}}, {2, 1, {1, 0}, {1, 0}}}, 6);
  Curve& bezier = curves[8];
  bezier.bezier = true;
  bezier.post = 1;
  bezier.keys = {{1, 0, {0, 0}, {1.25f, 2}}, {2, 2, {1.5f, 2.5f}, {0, 0}}};
  add(kLong2, {{1, 0, {1, 0}, {1, 0}}, {3, 4, {1, 0}, {1, 0}}}, 3);
  add("Root|Camera1", {{0, 0, {1, 0}, {1, 0}}, {3, 6, {kSlope, kRise}, {kSlope, kRise}}}, 6);
  curves.push_back({"CamShape1_focalLength", {{0, 35, {1, 0}, {1, 0}}, {3, 50, {1, 0}, {1, 0}}}});
  curves.push_back({"path1_uValue", {{0.5, 0, {kSlope, kRise}, {kSlope, kRise}}, {2.5, 1, {1, 0}, {1, 0}}}});

  // A scout flying along a motion path that turns it: a cubic NURB curve through four points.
  Bytes nurb, path;
  nurb.U32(1).Text("curve1").U32(3).U32(1).U32(4);
  for (double v : {0, 0, 0, 1, 10, 5, 0, 1, 20, 5, 10, 1, 30, 0, 10, 1}) nurb.F64(v);
  nurb.U32(6);
  for (double k : {0, 0, 0, 1, 1, 1}) nurb.F64(k);
  path.U32(1).Text("path1").U8(1).U32(0).U32(1).Text("path1_uValue").Text("").Text("").Text("");
  path.F64(0).F64(3).Text("curve1").U8(0).U32(1).F64(0);

  Bytes anim, lead, folw, cmra;
  anim.U32(static_cast<uint32_t>(curves.size()));
  for (const Curve& c : curves) WriteCurve(anim, c);

  const double zero[6] = {}, still[6] = {4, 5, 6, 0.1, 0.2, 0.3};
  struct Entity { std::string path, order; };
  const std::vector<Entity> leaders = {{"Root|Formation", " YZX"}, {kLong, " ZYX"}, {kLong2, " XZY"},
                                       {"Root|Camera1", " ZYX"}};
  lead.U32(static_cast<uint32_t>(leaders.size() + 3));  // the placeholder, the beacon's and the scout's
  WriteRecord(lead, "LEAD_Empty", {""}, Slots(""), zero, " ZYX");
  for (const Entity& e : leaders) WriteRecord(lead, "LEAD_" + e.path, {""}, Slots(e.path), zero, e.order.c_str());
  WriteRecord(lead, "LEAD_Root|Formation|IG_Beacon", {""}, Slots(""), still, " ZYX");
  WriteRecord(lead, "LEAD_Root|Scout", {"path1"},
              {"motionPath1_addDoubleLinear1", "motionPath1_addDoubleLinear2", "motionPath1_addDoubleLinear3",
               "path1", "path1", "path1"},
              zero, " ZYX");

  folw.U32(static_cast<uint32_t>(leaders.size() + 2));
  const std::vector<std::string> empty(6, "ANIM_Empty");
  WriteRecord(folw, "FOLW_Root|Formation", {"LEAD_Root|Formation", "Ship", "Hgn_Carrier"}, empty, zero, " ZYX");
  WriteRecord(folw, "FOLW_" + kLong, {"LEAD_" + kLong, "Ship", "Hgn_AssaultFrigate"}, empty, zero, " ZYX");
  // Placed by its leader, then by six numbers of its own: keyed at every frame.
  WriteRecord(folw, "FOLW_" + kLong2, {"LEAD_" + kLong2, "Ship", "Hgn_AssaultFrigate"}, Slots(""), still, " ZYX");
  WriteRecord(folw, "FOLW_Root|Camera1", {"LEAD_Root|Camera1", "camera", ""}, empty, zero, " ZYX");
  WriteRecord(folw, "FOLW_Root|Formation|IG_Beacon", {"LEAD_Root|Formation|IG_Beacon", "Effect", ""}, empty, zero,
              " ZYX");

  WriteRecord(folw, "FOLW_Root|Scout", {"LEAD_Root|Scout", "Ship", "Hgn_Scout"}, empty, zero, " ZYX");

  cmra.U32(1).Text("CamShape1").Text("FOLW_Root|Camera1").Text("FOLW_" + kLong).Text("").Text("CamShape1_focalLength");
  for (double v : {35.0, 36.0, 24.0, 0.5, 20000.0}) cmra.F64(v);

  const std::string head = Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
                           Chunk("INFO", Bytes().U32(30).U32(0).U32(90).s);
  return Chunk("FORM", "NIS " + head + Chunk("ANIM", anim.s) + Chunk("NURB", nurb.s) + Chunk("PATH", path.s) +
                           Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) + Chunk("CMRA", cmra.s));
}

// `count` followers that each stand on a leader and six numbers of their own, so the import keys
// every one at every frame of 61 seconds at 30 fps: the slow road, for the benchmark.
std::string SampledFile(int count) {
  Bytes anim, lead, folw;
  anim.U32(static_cast<uint32_t>(6 * count));
  lead.U32(static_cast<uint32_t>(count));
  folw.U32(static_cast<uint32_t>(count));
  const double still[6] = {4, 5, 6, 0.1, 0.2, 0.3}, zero[6] = {};
  for (int i = 0; i < count; ++i) {
    const std::string path = "Root|Ship" + std::to_string(i);
    for (const std::string& name : Slots(path)) {
      WriteCurve(anim, {name, {{0, 0, {1, 0}, {1, 0}}, {30, double(i), {0.6f, 0.8f}, {0.6f, 0.8f}}, {61, 1, {1, 0}, {1, 0}}}});
    }
    WriteRecord(lead, "LEAD_" + path, {""}, Slots(path), zero, " ZYX");
    WriteRecord(folw, "FOLW_" + path, {"LEAD_" + path, "Ship", "Hgn_Scout"}, Slots(""), still, " ZYX");
  }
  const std::string head = Chunk("NAME", "Homeworld2 NIS File") + Chunk("VERS", Bytes().U32(256).s) +
                           Chunk("INFO", Bytes().U32(30).U32(0).U32(1830).s);
  return Chunk("FORM", "NIS " + head + Chunk("ANIM", anim.s) + Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                           Chunk("CMRA", Bytes().U32(0).s));
}

const char* const kGameScript =
    "-- opening shot\n"
    "fadeSet(1)\n"
    "at 1\n"
    "\tcameraCut(\"CamShape1\")\n"
    "\tattack(\"FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Leader\") -- the leader\n"
    "at frame 45\n"
    "\tcameraBlendIn(\"CamShape1\",4)\n"
    "with FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Second\n"
    "{\n"
    "\tat 2\n"
    "\t\thide()\n"
    "}\n"
    "something odd\n"
    "at 3\n";

bool Write(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  return static_cast<bool>(out.flush());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: make_import_files DIR [SAMPLED_FOLLOWERS]\n");
    return 2;
  }
  const std::string dir = argv[1];
  if (argc == 3) return Write(dir + "/sampled.nis", SampledFile(std::atoi(argv[2]))) ? 0 : 1;
  // More global events than a comment of 1,023 bytes holds.
  std::string script = kGameScript;
  for (int i = 0; i < 40; ++i) script += "\tspeechEventActor(\"$561" + std::to_string(10 + i) + "\",2,2)\n";
  // Past the last key, and naming no follower: left out, yet the scene plays on to it.
  script += "at frame 96\n\tcameraCut(\"Nobody\")\nwith Nobody { hide() }\n";
  return Write(dir + "/game.nis", GameFile()) && Write(dir + "/game.script", script) &&
                 Write(dir + "/rig.nis", rw::test::GameScene().Build()) &&
                 Write(dir + "/older.nis", rw::test::OlderFileWithPath()) &&
                 Write(dir + "/crannnberry.nis", rw::test::CrannnberryTestFile().Build())
             ? 0
             : 1;
}
