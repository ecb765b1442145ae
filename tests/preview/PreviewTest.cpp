// The page `reelwright preview` writes, opened in headless chromium (the command's arguments,
// messages and files are in the command-line tests). The page's own numbers are read back through its window.reelwrightPreview interface
// and compared with values worked out here from the model.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "examples/FleetScene.h"
#include "preview/PreviewPage.h"
#include "tests/inspect/NisTestFiles.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using test::Bytes;
using test::Chunk;

using test::Outcome;
using test::Run;

Outcome Reelwright(const std::string& dir, const std::string& args) { return Run(dir, "'" RW_REELWRIGHT "' " + args); }

// ---------------------------------------------------------------------------------------------
// A generated scene, byte by byte: entities with two keys per curve (at 0 s and 2 s), each curve
// a straight line whose both keys carry its slope, so the Hermite midpoint is the exact mean.

struct Entity {
  Entity(std::string p, std::array<double, 6> f, std::array<double, 6> t, std::string o = " ZYX",
         std::string c = "Ship", std::string l = "")
      : path(std::move(p)), from(f), to(t), order(std::move(o)), objectClass(std::move(c)), leader(std::move(l)) {}
  std::string path;                // "Root|Base"
  std::array<double, 6> from, to;  // translate X, Y, Z, rotate X, Y, Z at 0 s and at 2 s
  std::string order;               // stored rotation order
  std::string objectClass;
  std::string leader;  // default: "LEAD_" + path
};

constexpr double kKeyTimes[2] = {0.0, 2.0};

void Tangent(double v0, double v1, float& x, float& y) {
  const double angle = std::atan((v1 - v0) / (kKeyTimes[1] - kKeyTimes[0]));
  x = float(std::cos(angle));
  y = float(std::sin(angle));
}

std::string BuildNis(const std::vector<Entity>& entities, const std::vector<std::string>& cameras) {
  const char* const suffixes[6] = {"_translateX", "_translateY", "_translateZ", "_rotateX", "_rotateY", "_rotateZ"};
  Bytes anim, nurb, path, lead, folw, cmra;
  anim.U32(uint32_t(1 + 6 * entities.size())).Text("ANIM_Empty").U32(0).U32(0).U32(0);
  // Root|Rider rides a straight NURB curve of degree 1 from (0, 1, 2) to (3, 4, 5), evenly from
  // 0.5 s to 2.5 s; its translate slots name helper nodes, as the game's files do.
  nurb.U32(1).Text("curve1").U32(1).U32(1).U32(2);
  for (double v : {0, 1, 2, 1, 3, 4, 5, 1}) nurb.F64(v);
  nurb.U32(2).F64(0).F64(1);
  path.U32(1).Text("path1").U8(0).U32(2).U32(1).Text("").Text("").Text("").Text("").F64(0.5).F64(2.5);
  path.Text("curve1").U8(0).U32(0);
  lead.U32(uint32_t(entities.size() + 1)).Text("LEAD_Root|Rider").Text("path1");
  for (const char* slot : {"Rider_addDoubleLinear1", "Rider_addDoubleLinear2", "Rider_addDoubleLinear3", "", "", ""})
    lead.Text(slot);
  lead.s += std::string(48, '\0') + " ZYX";
  folw.U32(uint32_t(entities.size() + 1)).Text("FOLW_Root|Rider").Text("LEAD_Root|Rider").Text("Ship").Text("");
  for (int c = 0; c < 6; ++c) folw.Text("");
  folw.s += std::string(48, '\0') + " ZYX";
  for (const Entity& e : entities) {
    lead.Text("LEAD_" + e.path).Text("");
    for (int c = 0; c < 6; ++c) {
      float x, y;
      Tangent(e.from[c], e.to[c], x, y);
      // The base's translate X goes on linearly after its last key: post-infinity 1.
      const uint32_t post = e.path == "Root|Base" && c == 0 ? 1 : 0;
      anim.Text("ANIM_" + e.path + suffixes[c]).U32(2);
      anim.F64(kKeyTimes[0]).F64(e.from[c]).F32(x).F32(y).F32(x).F32(y);
      anim.F64(kKeyTimes[1]).F64(e.to[c]).F32(x).F32(y).F32(x).F32(y);
      anim.U32(0).U32(post);
      lead.Text("ANIM_" + e.path + suffixes[c]);
    }
    lead.s += std::string(48, '\0') + e.order;
    folw.Text("FOLW_" + e.path).Text(e.leader.empty() ? "LEAD_" + e.path : e.leader).Text(e.objectClass).Text("");
    for (int c = 0; c < 6; ++c) folw.Text("ANIM_Empty");
    folw.s += std::string(48, '\0') + " ZYX";
  }
  cmra.U32(uint32_t(cameras.size()));
  for (const std::string& name : cameras) {
    cmra.Text(name).Text("FOLW_Root|" + name).Text("").Text("").Text("");
    for (double v : {21.8, 31.92, 24.0, 1.0, 10000000.0}) cmra.F64(v);
  }
  return test::NisForm(test::NisHead(24, 0, 3) + Chunk("ANIM", anim.s) + Chunk("NURB", nurb.s) + Chunk("PATH", path.s) +
                       Chunk("LEAD", lead.s) + Chunk("FOLW", folw.s) +
                       Chunk("CMRA", cmra.s));
}

const double kOrderAngles[3] = {0.3, 0.5, 0.7};
const char* const kOrders[6] = {"XYZ", "XZY", "YXZ", "YZX", "ZXY", "ZYX"};

std::vector<Entity> GeneratedEntities() {
  std::vector<Entity> entities = {
      {"Root|Base", {0, 0, 0, 0.3, -0.2, 0.5}, {4, 2, -6, 0.3, -0.2, 0.5}},
      {"Root|Base|Child", {1, 0, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 0}},
      {"Root|CAM_A", {0, 0, 10, 0, 3.14159274, 0}, {0, 0, 10, 0, 3.14159274, 0}, " ZYX", "camera"},
      {"Root|CAM_B", {0, 5, 10, 0, 3.14159274, 0}, {0, 5, 10, 0, 3.14159274, 0}, " ZYX", "camera"},
      {"Root|Lost", {}, {}, " ZYX", "Effect", "LEAD_Nowhere"},
      {"Root|</script><b>x", {}, {}},
  };
  for (const char* order : kOrders) {
    const std::string stored = std::string(" ") + order[2] + order[1] + order[0];  // kept backwards
    entities.push_back({std::string("Root|Order") + order, {0, 0, 0, 0.3, 0.5, 0.7}, {0, 0, 0, 0.3, 0.5, 0.7}, stored});
  }
  return entities;
}

const char kGeneratedScript[] =
    "-- cuts at 0 s, 1 s and frame 48 (2 s)\n"
    "at 0\n\tcameraCut(\"FOLW_Root|CAM_A\")\n"
    "at 1\n\tcameraCut(\"CAM_B\")\n"
    "at frame 48\n\tcameraCut(\"FOLW_Root|CAM_A\")\n"
    "at 9\n\tfade(1)\n";

// ---------------------------------------------------------------------------------------------
// Reading numbers back from a page in headless chromium

// The browser: $REELWRIGHT_CHROMIUM when set (empty: none), else the first on the PATH.
std::string Chromium() {
  if (const char* chosen = std::getenv("REELWRIGHT_CHROMIUM")) return chosen;
  for (const char* name : {"chromium", "chromium-browser", "google-chrome"}) {
    const Outcome found = Run("", std::string("command -v ") + name);
    if (found.code == 0) return found.out.substr(0, found.out.find('\n'));
  }
  return "";
}

// The DOM dump escapes these in text.
std::string Unescape(std::string s) {
  for (const auto& [from, to] : {std::pair<std::string, std::string>{"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}}) {
    for (size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) s.replace(at, from.size(), to);
  }
  return s;
}

// What the probe wrote: one line per name, "name number number ...", and the page's errors.
struct PageReading {
  std::map<std::string, std::vector<double>> values;
  std::map<std::string, std::string> texts;
  std::string errors;
  bool loaded = false;
};

// Opens a copy of page with an error recorder at the start and probeJs at the end, which calls
// put(name, numbers...) and say(name, text on one line) after the page has started. Returns what it wrote.
PageReading ReadPage(const std::string& chromium, const std::string& dir, const std::string& page,
                     const std::string& probeJs) {
  const std::string recorder =
      "<script>window.rwErrors=[];window.addEventListener('error',function(e){rwErrors.push(e.message);});"
      "var rwConsoleError=console.error;console.error=function(){rwErrors.push([].join.call(arguments,' '));"
      "rwConsoleError.apply(console,arguments);};</script>";
  const std::string probe =
      "<script>setTimeout(function(){var lines=[];var api=window.reelwrightPreview;"
      "function put(n){lines.push(n+' '+[].slice.call(arguments,1).map(String).join(' '));}"
      "function say(n,t){lines.push(n+' ='+String(t).replace(/\\n/g,' '));}"
      "try{" + probeJs + "}catch(e){rwErrors.push('probe: '+e);}"
      "var o=document.createElement('pre');o.id='rw-probe';o.textContent=lines.join('\\n')+'\\n@errors '+"
      "JSON.stringify(rwErrors.join(' | '));document.body.appendChild(o);},300);</script>";
  std::string html = test::ReadFileBytes(dir + "/" + page);
  const size_t head = html.find("<head>"), body = html.rfind("</body>");
  if (head == std::string::npos || body == std::string::npos) return {};
  html.insert(body, probe);
  html.insert(head + 6, recorder);
  test::WriteFileBytes(dir + "/probe-" + page, html);
  std::filesystem::remove_all(dir + "/profile");
  const Outcome run = Run(dir, "'" + chromium +
                                   "' --headless --no-sandbox --disable-gpu --enable-unsafe-swiftshader "
                                   "--disable-background-networking --disable-component-update --disable-sync "
                                   "--no-first-run --user-data-dir='" + dir + "/profile' --window-size=1000,600 "
                                   "--virtual-time-budget=1500 --dump-dom 'file://" + dir + "/probe-" + page + "'");
  PageReading reading;
  const size_t start = run.out.find("<pre id=\"rw-probe\">"), end = run.out.find("</pre>", start);
  if (start == std::string::npos || end == std::string::npos) return reading;
  reading.loaded = true;
  std::istringstream lines(run.out.substr(start + 19, end - start - 19));
  for (std::string line; std::getline(lines, line);) {
    const size_t space = line.find(' ');
    const std::string name = line.substr(0, space), rest = space == std::string::npos ? "" : line.substr(space + 1);
    if (name == "@errors") {
      reading.errors = rest == "\"\"" ? "" : rest;
    } else if (!rest.empty() && rest[0] == '=') {
      reading.texts[name] = Unescape(rest.substr(1));
    } else {
      std::istringstream numbers(rest);
      for (std::string n; numbers >> n;) reading.values[name].push_back(std::strtod(n.c_str(), nullptr));
    }
  }
  return reading;
}

// ---------------------------------------------------------------------------------------------
// Rotations worked out here, apart from the page: column vectors, angle in radians.
using Matrix3 = std::array<std::array<double, 3>, 3>;
Matrix3 Axis(char axis, double a) {
  const double c = std::cos(a), s = std::sin(a);
  if (axis == 'X') return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
  if (axis == 'Y') return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
  return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}
Matrix3 Times(const Matrix3& a, const Matrix3& b) {
  Matrix3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) r[i][j] += a[i][k] * b[k][j];
  return r;
}
// Turns about X, Y, Z by angles[0..2], the first letter of order applied first.
Matrix3 Euler(const std::string& order, const double angles[3]) {
  Matrix3 m = Axis('X', 0);
  for (char axis : order) m = Times(Axis(axis, angles[axis - 'X']), m);
  return m;
}

const char kNoLibrary[] = "reelwright was built without three.js (Debian: apt-get install libjs-three): preview tests skipped";

// The pages are made once per program run, in one scratch folder.
class PreviewPages : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    chromium_ = Chromium();
    // One folder per process: ctest runs each case in a process of its own, maybe side by side.
    dir_ = std::string(RW_BINARY_DIR) + "/scratch/PreviewPages." + std::to_string(getpid());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    const std::string& dir = dir_;
    made_ = Reelwright(dir, "export '" RW_EXAMPLES_DIR "/fleet.ms3d' -q -o fleet.nis");
    made_ = made_.code ? made_ : Reelwright(dir, "preview fleet.nis");
    test::WriteFileBytes(dir + "/scene.nis", BuildNis(GeneratedEntities(), {"CAM_A", "CAM_B"}));
    test::WriteFileBytes(dir + "/scene.script", kGeneratedScript);
    made_ = made_.code ? made_ : Reelwright(dir, "preview scene.nis");
  }
  static void TearDownTestSuite() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  void SetUp() override {
    if (!PreviewLibraryPresent()) GTEST_SKIP() << kNoLibrary;
    ASSERT_EQ(made_.code, 0) << made_.err;
    if (chromium_.empty()) GTEST_SKIP() << "chromium is not installed (Debian: apt-get install chromium): browser tests skipped";
  }
  static const PageReading& Example();
  static const PageReading& Generated();

  static inline std::string chromium_, dir_;
  static inline Outcome made_;
};

// Every bone of the example at every key time, its active camera at each cut, and the pixels the
// view through the camera drew at frame 48.
const PageReading& PreviewPages::Example() {
  static const PageReading reading = ReadPage(chromium_, dir_, "fleet.html", R"(
    var names = ['FOLW_Root|Fleet', 'FOLW_Root|Fleet|Ship1', 'FOLW_Root|CAM_Main'];
    var times = api.model.curves['ANIM_Root|Fleet_translateX'].keys.map(function (k) { return k.time; });
    put('times', ...times);
    names.forEach(function (n) { times.forEach(function (t, k) {
      var e = api.evaluate(n, t); put(n + '@' + k, ...e.local, ...e.position);
    }); });
    api.cuts.forEach(function (c, i) { say('cut' + i, c.time + ' ' + c.camera + ' ' + api.activeCamera(c.time)); });
    say('cuts', api.cuts.length);
    api.setView('camera'); api.setTime(2);
    var view = document.getElementById('view'), copy = document.createElement('canvas');
    copy.width = view.width; copy.height = view.height;
    var g = copy.getContext('2d'); g.drawImage(view, 0, 0);
    var d = g.getImageData(0, 0, copy.width, copy.height).data, drawn = 0;
    for (var i = 0; i < d.length; i += 4) if (Math.abs(d[i] - 16) + Math.abs(d[i + 1] - 20) + Math.abs(d[i + 2] - 28) > 24) ++drawn;
    put('pixels', drawn, copy.width * copy.height);
  )");
  return reading;
}

const PageReading& PreviewPages::Generated() {
  static const PageReading reading = ReadPage(chromium_, dir_, "scene.html", R"(
    ['FOLW_Root|Base', 'FOLW_Root|Base|Child'].forEach(function (n) {
      [1, 3].forEach(function (t) { var e = api.evaluate(n, t); put(n + '@' + t, ...e.local, ...e.position); });
    });
    ['XYZ', 'XZY', 'YXZ', 'YZX', 'ZXY', 'ZYX'].forEach(function (o) { put(o, ...api.evaluate('FOLW_Root|Order' + o, 1).matrix); });
    [0, 0.99, 1, 1.99, 2, 3].forEach(function (t) { say('camera@' + t, api.activeCamera(t)); });
    put('fov', api.verticalFov('CAM_A', 1));
    put('rider', ...api.evaluate('FOLW_Root|Rider', 1.5).position);
    say('issues', api.issues.join(' | '));
    var bezier = {layout: 'bezier', preInfinity: 0, postInfinity: 1, keys: [
      {time: 0, value: 0, inHandle: [0, 0], outHandle: [1, 4]},
      {time: 3, value: 1, inHandle: [2, -2], outHandle: [0, 0]}]};
    put('bezier', ...[0, 0.75, 1.5, 3, 4].map(function (t) { return api.evaluateCurve(bezier, t); }));
    var keys = [0, 0, 0], tcb = [[0, 0, 0], [0, 0, 0], [0, 0, 0]];
    var older = reelwrightPreviewLibrary.MakeApi(reelwrightPreviewLibrary.BuildModel({layout: 'crannnberry',
      crannnberry: {info: {start: 0, end: 2}, cameras: [], objects: [{name: 'Hgn_MS', instance: 0, parent: -1,
        timeOffset: -1, times: [0, 1, 2], tcb: tcb, x: [0, 1, 4], y: [0, -2, 0], z: keys, rotateX: keys,
        rotateY: [0, 0.5, 0], rotateZ: keys}]}}, null));
    put('crannnberry', ...[0, 1, 2].map(function (t) { return older.evaluate('Hgn_MS#0', t).local; }).flat());
  )");
  return reading;
}

// Every test of a page starts here: the page loaded and reported no errors.
void ExpectNoPageErrors(const PageReading& reading) {
  ASSERT_TRUE(reading.loaded) << "the page did not finish its probe";
  EXPECT_EQ(reading.errors, "") << "the page reported errors";
}

// At each key time a bone's parent-relative values are its bind pose plus its key exactly (a
// camera's Y turn with the half turn), and its world position is its parent's placement of it.
TEST_F(PreviewPages, ExampleBonesAtKeyTimesAreBindPlusKey) {
  const PageReading& page = Example();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  const Ms3dFile model = FleetScene();
  const std::vector<double>& times = page.values.at("times");
  ASSERT_EQ(times.size(), 4u);
  std::map<std::string, std::vector<double>> world;
  for (const Ms3dJoint& joint : model.joints) {
    if (joint.name.rfind("IG_", 0) == 0) continue;
    const std::string name = "FOLW_Root|" + (joint.parentName.empty() ? "" : joint.parentName + "|") + joint.name;
    const bool camera = joint.name.rfind("CAM_", 0) == 0;
    for (size_t k = 0; k < times.size(); ++k) {
      SCOPED_TRACE(name + " key " + std::to_string(k));
      EXPECT_NEAR(times[k], joint.positionKeys[k].seconds, 1e-6);
      const Vec3& p = joint.positionKeys[k].value;
      const Vec3& r = joint.rotationKeys[k].value;
      const float half = camera ? 3.14159274f : 0.0f;
      const double expected[6] = {float(joint.position.x + p.x), float(joint.position.y + p.y),
                                  float(joint.position.z + p.z), float(joint.rotation.x + r.x),
                                  float(double(half) + r.y + joint.rotation.y), float(joint.rotation.z + r.z)};
      const std::vector<double>& got = page.values.at(name + "@" + std::to_string(k));
      ASSERT_EQ(got.size(), 9u);
      for (int i = 0; i < 6; ++i) EXPECT_EQ(got[i], expected[i]) << "value " << i;
      world[name + std::to_string(k)] = got;
    }
  }
  // Ship1 under Fleet: Fleet's turn applied to Ship1's offset, plus Fleet's position.
  for (size_t k = 0; k < times.size(); ++k) {
    const std::vector<double>& fleet = world["FOLW_Root|Fleet" + std::to_string(k)];
    const std::vector<double>& ship = world["FOLW_Root|Fleet|Ship1" + std::to_string(k)];
    const Matrix3 turn = Euler("XYZ", &fleet[3]);
    for (int i = 0; i < 3; ++i) {
      const double expected = fleet[i] + turn[i][0] * ship[0] + turn[i][1] * ship[1] + turn[i][2] * ship[2];
      EXPECT_NEAR(ship[6 + i], expected, 1e-9) << "key " << k << " axis " << i;
    }
  }
}

TEST_F(PreviewPages, ExampleCameraCutsAndViewThroughTheCamera) {
  const PageReading& page = Example();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  // The example's script cuts once, at 0, to its one camera.
  EXPECT_EQ(page.texts.at("cuts"), "1");
  EXPECT_EQ(page.texts.at("cut0"), "0 CAM_Main CAM_Main");
  const std::vector<double>& pixels = page.values.at("pixels");
  ASSERT_EQ(pixels.size(), 2u);
  EXPECT_GT(pixels[0], pixels[1] * 0.002) << "the view through the camera at frame 48 is (nearly) blank";
}

// Straight-line tangents: the midpoint is the exact mean of the keys; linear post-infinity goes on
// along the last slope, constant holds the last value; a child stands where its parent puts it.
TEST_F(PreviewPages, GeneratedMidpointsInfinityAndParent) {
  const PageReading& page = Generated();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  const std::vector<double> base1 = {2, 1, -3, 0.3, -0.2, 0.5}, base3 = {6, 2, -6, 0.3, -0.2, 0.5};
  const std::vector<double>& got1 = page.values.at("FOLW_Root|Base@1");
  const std::vector<double>& got3 = page.values.at("FOLW_Root|Base@3");
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(got1[i], base1[i]) << "midpoint, value " << i;
    EXPECT_NEAR(got3[i], base3[i], 1e-6) << "after the last key, value " << i;
  }
  const std::vector<double>& child = page.values.at("FOLW_Root|Base|Child@1");
  const Matrix3 turn = Euler("XYZ", &base1[3]);
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(child[6 + i], base1[i] + turn[i][0], 1e-12) << "child axis " << i;
}

class RotationOrder : public PreviewPages, public ::testing::WithParamInterface<const char*> {};

TEST_P(RotationOrder, ComposesTheTurnsInTheRecordsOrder) {
  const PageReading& page = Generated();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  const std::vector<double>& m = page.values.at(GetParam());  // 16 numbers, column by column
  ASSERT_EQ(m.size(), 16u);
  const Matrix3 expected = Euler(GetParam(), kOrderAngles);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[c * 4 + r], expected[r][c], 1e-12) << "row " << r << " column " << c;
}
INSTANTIATE_TEST_SUITE_P(Preview, RotationOrder, ::testing::ValuesIn(kOrders),
                         [](const ::testing::TestParamInfo<const char*>& order) { return std::string(order.param); });

TEST_F(PreviewPages, GeneratedCutsFieldOfViewMotionPathAndWhatCouldNotBePlaced) {
  const PageReading& page = Generated();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  const std::pair<const char*, const char*> cuts[] = {{"0", "CAM_A"},    {"0.99", "CAM_A"}, {"1", "CAM_B"},
                                                      {"1.99", "CAM_B"}, {"2", "CAM_A"},    {"3", "CAM_A"}};
  for (const auto& [time, camera] : cuts)
    EXPECT_EQ(page.texts.at(std::string("camera@") + time), camera) << time << " s";
  EXPECT_NEAR(page.values.at("fov").at(0), 2 * std::atan(12 / 21.8) * 180 / M_PI, 1e-9);
  const std::vector<double> rider = {1.5, 2.5, 3.5};  // halfway along its path at 1.5 s
  EXPECT_EQ(page.values.at("rider"), rider);
  const std::string& issues = page.texts.at("issues");
  EXPECT_NE(issues.find("FOLW_Root|Lost: leader \"LEAD_Nowhere\" is not in the file"), std::string::npos) << issues;
}

// The second curve layout: absolute handles, here at the thirds of the gap in time, so the value
// at time t is the Bezier polynomial at t / 3; linear post-infinity follows the last handle. The
// older layout's objects pass through their keys.
TEST_F(PreviewPages, BezierAndCrannnberryCurves) {
  const PageReading& page = Generated();
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  auto bezier = [](double s) { return 3 * (1 - s) * (1 - s) * s * 4 + 3 * (1 - s) * s * s * -2 + s * s * s; };
  const std::vector<double> expected = {0, bezier(0.25), bezier(0.5), 1, 1 + 1 * (1 - -2) / (3 - 2)};
  const std::vector<double>& got = page.values.at("bezier");
  ASSERT_EQ(got.size(), expected.size());
  for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], 1e-12) << "sample " << i;
  EXPECT_EQ(page.values.at("crannnberry"), (std::vector<double>{0, 0, 0, 0, 0, 0, 1, -2, 0, 0, 0.5, 0, 4, 0, 0, 0, 0, 0}));
}

// Previews name.nis and evaluates every object at the start, middle and end of the scene: the
// page's layout (1 for Crannnberry), its flagged curves, objects, matrix elements that are not
// finite, and followers but the placeholder.
std::vector<double> PreviewAndPlace(const std::string& chromium, const std::string& dir, const std::string& name) {
  EXPECT_EQ(Reelwright(dir, "preview " + name + ".nis -f").code, 0);
  const PageReading page = ReadPage(chromium, dir, name + ".html", R"(
    var m = api.model, bezier = 0, bad = 0;
    (m.doc.curves || []).forEach(function (c) { if (c.layout === 'bezier') ++bezier; });
    m.entities.forEach(function (e) { [0, 0.5, 1].forEach(function (f) {
      api.evaluate(e.name, m.start + f * (m.end - m.start)).matrix.forEach(function (v) { if (!isFinite(v)) ++bad; });
    }); });
    put('read', m.doc.layout === 'crannnberry' ? 1 : 0, bezier, m.entities.length, bad, (m.doc.followers || []).length - 1);
  )");
  EXPECT_TRUE(page.loaded) << "the page did not finish its probe";
  EXPECT_EQ(page.errors, "") << "the page reported errors";
  const auto read = page.values.find("read");
  return read == page.values.end() ? std::vector<double>(5, -1) : read->second;
}

// Files of the game's own kinds, made by the inspector's builders, through the whole road: the
// reader's second curve layout and the Crannnberry layout reach the page, which animates them.
TEST_F(PreviewPages, GameLayoutsEndToEnd) {
  test::WriteFileBytes(dir_ + "/game.nis", test::GameScene().Build());
  test::WriteFileBytes(dir_ + "/older.nis", test::CrannnberryTestFile().Build());
  const std::vector<double> game = PreviewAndPlace(chromium_, dir_, "game");
  EXPECT_EQ(game[1], 1) << "the flagged curve";
  EXPECT_GT(game[2], 0) << "objects placed";
  EXPECT_EQ(game[3], 0) << "matrix elements that are not finite";
  EXPECT_EQ(PreviewAndPlace(chromium_, dir_, "older"), (std::vector<double>{1, 0, 3, 0, -1})) << "two objects and a camera";
}

// Every real model's export gets a page that loads cleanly and places every follower at finite
// points over the whole scene (mrbox and skeleton have no keys: their export fails).
class SampleExport : public PreviewPages, public ::testing::WithParamInterface<const char*> {};

TEST_P(SampleExport, PagePlacesEveryFollower) {
  RW_SAMPLE_MODEL_OR_SKIP(model, std::string(GetParam()) + ".ms3d");
  ASSERT_EQ(Reelwright(dir_, "export '" + model + "' -q -f -o " + GetParam() + ".nis").code, 0);
  const std::vector<double> placed = PreviewAndPlace(chromium_, dir_, GetParam());
  EXPECT_EQ(placed[2], placed[4]) << "objects drawn, followers but the placeholder";
  EXPECT_EQ(placed[3], 0) << "matrix elements that are not finite";
}
INSTANTIATE_TEST_SUITE_P(Preview, SampleExport,
                         ::testing::Values("bonesgroup", "hog", "model", "ninja"),
                         [](const ::testing::TestParamInfo<const char*>& sample) { return std::string(sample.param); });

}  // namespace
}  // namespace rw
