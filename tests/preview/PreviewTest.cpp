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

// The game's conventions (NisTestFiles.h): a fighter at the origin, where the camera's look-at rig
// aims it and where its view node stands. The script hides the fighter, then fades out.
const char kShotScript[] = "at 1\n\tfadeSet(1)\nwith FOLW_Root|Ship {\n\tat 0.5\n\thide()\n}\n";

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
    test::WriteFileBytes(dir + "/shot.nis", test::GameScene().Build());
    test::WriteFileBytes(dir + "/shot.script", kShotScript);
    made_ = made_.code ? made_ : Reelwright(dir, "preview shot.nis");
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

  static inline std::string chromium_, dir_;
  static inline Outcome made_;
};

// Pixels of the view through the camera that are not the background, and that are not black.
const char kCountPixels[] = R"(
    function Count(name) {
      var view = document.getElementById('view'), copy = document.createElement('canvas');
      copy.width = view.width; copy.height = view.height;
      var g = copy.getContext('2d'); g.drawImage(view, 0, 0);
      var d = g.getImageData(0, 0, copy.width, copy.height).data, drawn = 0, lit = 0;
      for (var i = 0; i < d.length; i += 4) {
        if (Math.abs(d[i] - 16) + Math.abs(d[i + 1] - 20) + Math.abs(d[i + 2] - 28) > 24) ++drawn;
        if (d[i] + d[i + 1] + d[i + 2] > 8) ++lit;
      }
      put(name, drawn, lit, copy.width * copy.height);
    }
  )";

// Every bone of the example at every key time, its active camera at each cut, and the pixels the
// view through the camera drew at frame 48.
const PageReading& PreviewPages::Example() {
  static const PageReading reading = ReadPage(chromium_, dir_, "fleet.html", std::string(kCountPixels) + R"(
    var names = ['FOLW_Root|Fleet', 'FOLW_Root|Fleet|Ship1', 'FOLW_Root|CAM_Main'];
    var times = api.model.curves.get('ANIM_Root|Fleet_translateX').keys.map(function (k) { return k.time; });
    put('times', ...times);
    names.forEach(function (n) { times.forEach(function (t, k) {
      var e = api.evaluate(n, t); put(n + '@' + k, ...e.local, ...e.position);
    }); });
    api.cuts.forEach(function (c, i) { say('cut' + i, c.time + ' ' + c.camera + ' ' + api.activeCamera(c.time)); });
    say('cuts', api.cuts.length);
    api.setView('camera'); api.setTime(2); Count('pixels');
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
  ASSERT_EQ(pixels.size(), 3u);
  EXPECT_GT(pixels[0], pixels[2] * 0.002) << "the view through the camera at frame 48 is (nearly) blank";
}

// Through the camera the fighter is drawn until the script hides it; then its view node and the
// camera's helpers stay undrawn, so the picture is empty; the fade then blacks it out.
TEST_F(PreviewPages, ThroughTheCameraOnlyTheGamesClassesThenTheFade) {
  const PageReading page = ReadPage(chromium_, dir_, "shot.html", std::string(kCountPixels) + R"(
    api.setView('camera');
    [0.25, 0.75, 1.5].forEach(function (t) { api.setTime(t); Count('at' + t); });
  )");
  ASSERT_NO_FATAL_FAILURE(ExpectNoPageErrors(page));
  const std::vector<double>&shown = page.values.at("at0.25"), &hidden = page.values.at("at0.75"),
                            &faded = page.values.at("at1.5");
  EXPECT_GT(shown[0], shown[2] * 0.01) << "the fighter is drawn";
  EXPECT_EQ(hidden[0], 0) << "only the hidden fighter's helpers were there to draw";
  EXPECT_EQ(hidden[1], hidden[2]) << "the background, before the fade";
  EXPECT_EQ(faded[1], 0) << "the fade leaves the picture black";
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

// Names like JavaScript's own properties or that would end the page's data, and a name path
// 10,000 levels deep: the page opens and places every follower.
TEST_F(PreviewPages, OddNamesAndADeepPathOpen) {
  test::TestScene scene;
  scene.curves.push_back("valueOf");
  scene.leaders.push_back({"toString", "", {"valueOf", "", "", "", "", ""}});
  std::string deep = "FOLW_a";
  for (int level = 1; level < 10000; ++level) deep += "|a";
  for (const std::string& name : {std::string("__proto__"), std::string("constructor"), std::string("</script><b>x"), deep})
    scene.followers.push_back({name, "toString", "Ship", "hasOwnProperty", test::CurveSlots{}});
  test::WriteFileBytes(dir_ + "/odd.nis", scene.Build());
  EXPECT_EQ(PreviewAndPlace(chromium_, dir_, "odd"), (std::vector<double>{0, 0, 4, 0, 4}));
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

// Two leaders on a bent NURB curve of degree 2 by a u-value curve, one turned along it and
// rolled by a front twist, one only placed, each with a follower a unit ahead.
test::TestScene PathLeaders() {
  test::TestScene t;
  t.keyedCurves = {{"u", {{0, 0}, {3, 1}}}, {"twist", {{0, 0}, {3, 1.5}}}};
  for (uint8_t follow : {0, 1}) {
    const std::string n = std::to_string(follow);
    test::TestScene::Path path{"path" + n, "arc" + n, follow, 2, 1, "u", "twist"};
    path.degree = 2;
    path.points = {{0, 0, 0, 1}, {4, 6, 0, 1}, {10, 0, 2, 1}, {12, 3, 5, 1}};
    path.knots = {0, 0, 1, 2, 2};
    t.paths.push_back(path);
    t.leaders.push_back({"LEAD_P" + n, path.name, {"a", "b", "c", path.name, path.name, path.name}, {0, 0, 0, 0.3, 0.2, 0.1}});
    t.followers.push_back({"FOLW_P" + n, "LEAD_P" + n, "Ship", "", test::CurveSlots{}, {0, 0, 1, 0, 0, 0}});
  }
  return t;
}

// The page, reading its own data (the document, its keys in binary), agrees with `dump --frames`
// at every frame, for every follower, on a file of each layout: our export, the game's
// conventions (a flagged curve, a look-at rig), path leaders, the older records, Crannnberry.
TEST(PageEvaluator, AgreesWithTheDumpsFramesOnEveryLayout) {
  const Outcome node = test::Run("", "command -v node || command -v nodejs");
  if (node.code != 0) GTEST_SKIP() << "node is not installed (Debian: apt-get install nodejs): the comparison is skipped";
  if (!PreviewLibraryPresent()) GTEST_SKIP() << kNoLibrary;
  test::ScratchDir scratch;
  ASSERT_EQ(Reelwright(scratch.dir(), "export '" RW_EXAMPLES_DIR "/fleet.ms3d' -q -o ours.nis").code, 0);
  test::WriteFileBytes(scratch.Path("game.nis"), test::GameScene().Build());
  test::WriteFileBytes(scratch.Path("paths.nis"), PathLeaders().Build());
  test::WriteFileBytes(scratch.Path("older.nis"), test::OlderFileWithPath());
  test::WriteFileBytes(scratch.Path("crannnberry.nis"), test::CrannnberryTestFile().Build());
  for (const char* name : {"ours", "game", "paths", "older", "crannnberry"}) {
    SCOPED_TRACE(name);
    const std::string nis = std::string(name) + ".nis";
    ASSERT_EQ(Reelwright(scratch.dir(), "preview " + nis + " -f -o page.html").code, 0);
    ASSERT_EQ(Reelwright(scratch.dir(), "dump " + nis + " --frames > frames.json").code, 0);
    const Outcome agree = test::Run(scratch.dir(), node.out.substr(0, node.out.find('\n')) +
                                                 " '" RW_PREVIEW_TESTS "/frames-agree.js' page.html frames.json");
    EXPECT_EQ(agree.code, 0) << agree.out << agree.err;
  }
}

// The command: arguments, exit codes, messages, and what it leaves, without a browser.
TEST(PreviewCommand, ArgumentsExitCodesAndFiles) {
  if (!PreviewLibraryPresent()) GTEST_SKIP() << kNoLibrary;
  test::ScratchDir scratch;
  const std::string nis = test::TestScene::Default().Build();
  const std::string seeHelp = "reelwright: see 'reelwright --help'\n";
  const struct {
    std::string args;
    int code;
    std::string out, err;
    std::string written;  // the page it writes, or ""
  } cases[] = {
      {"preview", 2, "", "reelwright: error: preview needs a NIS file and at most one script\n" + seeHelp, ""},
      {"preview a.nis b.script c.nis", 2, "", "reelwright: error: preview needs a NIS file and at most one script\n" + seeHelp, ""},
      {"preview a.nis -o", 2, "", "reelwright: error: -o needs a file name\n" + seeHelp, ""},
      {"preview a.nis --bogus", 2, "", "reelwright: error: unknown option --bogus\n" + seeHelp, ""},
      {"preview missing.nis", 2, "", "reelwright: missing.nis: cannot open the file (No such file or directory)\n", ""},
      {"preview text.nis", 2, "", "reelwright: text.nis: offset 0: found 'NOT ' where a NIS file has 'FORM'\n", ""},
      {"preview a.nis", 2, "", "reelwright: a.html: error: exists; use --force to replace it\n", ""},
      {"preview a.nis -o sub.d", 2, "", "reelwright: sub.d: error: is a folder\n", ""},
      {"preview a.nis -f -o a.script", 2, "", "reelwright: a.script: error: is the script; the page cannot replace it\n", ""},
      {"preview a.nis gone.script -o x.html", 2, "",
       "reelwright: gone.script: cannot open the file (No such file or directory)\n", ""},
      {"preview a.nis -f", 0, "preview written to a.html (script a.script)\n", "", "a.html"},
      {"preview a.nis --force -o b.html", 0, "preview written to b.html (script a.script)\n", "", "b.html"},
      {"preview bare.nis", 0, "preview written to bare.html (no script)\n", "", "bare.html"},
      {"preview cut.nis", 1, "preview written to cut.html (no script)\n",
       "reelwright: cut.nis: 3 structural faults, listed in the preview\n", "cut.html"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    std::filesystem::remove_all(scratch.dir());
    std::filesystem::create_directories(scratch.Path("sub.d"));
    for (const char* name : {"a.nis", "bare.nis"}) test::WriteFileBytes(scratch.Path(name), nis);
    test::WriteFileBytes(scratch.Path("cut.nis"), nis.substr(0, nis.size() - 10));
    test::WriteFileBytes(scratch.Path("text.nis"), "NOT A NIS FILE");
    test::WriteFileBytes(scratch.Path("a.script"), "at 0\n\tfade(1)\n");
    test::WriteFileBytes(scratch.Path("a.html"), "keep");
    const Outcome run = Reelwright(scratch.dir(), c.args);
    EXPECT_EQ(run.code, c.code);
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(run.err, c.err);
    if (c.written != "a.html") {
      EXPECT_EQ(test::ReadFileBytes(scratch.Path("a.html")), "keep");
    }
    for (const char* name : {"b.html", "bare.html", "cut.html", "x.html"}) {
      EXPECT_EQ(test::FileExists(scratch.Path(name)), c.written == name) << name;
    }
    if (c.written.empty()) continue;
    const std::string page = test::ReadFileBytes(scratch.Path(c.written));
    EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);
    for (const char* slot : {"@@TITLE@@", "@@SCENE_JSON@@", "@@EVENTS_JSON@@", "@@THREE_JS@@", "@@VIEWER_JS@@"})
      EXPECT_EQ(page.find(slot), std::string::npos) << slot << " was left unfilled";
    EXPECT_NE(page.find("content=\"default-src 'none';"), std::string::npos) << "the page may reach the network";
  }
}

}  // namespace
}  // namespace rw
