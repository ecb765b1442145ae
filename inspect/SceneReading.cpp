#include "inspect/SceneReading.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace rw {
namespace {

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<double, 9>;

constexpr const char* kFollowerPrefix = "FOLW_";
constexpr const char* kAimGroupSuffix = "_group";
constexpr const char* kAimViewSuffix = "_view";
constexpr char kPathSeparator = '|';
// A tangent with no horizontal part (two keys at one time) has no finite slope; it is taken as
// flat so that the stretch it ends stays between its keys.
constexpr double kVerticalTangent = 1e-9;
// Bisection steps that find a Bezier segment's parameter to double precision.
constexpr int kBezierSteps = 60;
// Bisection steps within one stretch of the arc-length table: far below a thousandth of it.
constexpr int kBisectionSteps = 30;
// PATH follow byte values that turn the leader along the path (0 only places it).
constexpr uint8_t kFollowOn = 1, kFollowOnToo = 255;
// The highest degree the modelling package offers; evaluation costs grow with its square.
constexpr int32_t kMaxNurbDegree = 7;
// Arc-length table: samples per knot span, and bounds on the whole table.
constexpr size_t kArcSamplesPerSpan = 32, kMinArcSamples = 256, kMaxArcSamples = 65536;
// A file that claims more frames than this is not played to its end.
constexpr int64_t kMaxFrames = 10000000;
// Look-at rigs aiming at rigs: deeper chains are left unaimed.
constexpr int kMaxAimDepth = 64;

bool EndsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// ---- matrices: 3x3, row by row, acting on column vectors ----

Mat3 Multiply(const Mat3& a, const Mat3& b) {
  Mat3 r{};
  for (int row = 0; row < 3; ++row)
    for (int col = 0; col < 3; ++col)
      r[row * 3 + col] = a[row * 3] * b[col] + a[row * 3 + 1] * b[3 + col] + a[row * 3 + 2] * b[6 + col];
  return r;
}
Vec3 Apply(const Mat3& m, const Vec3& v) {
  return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
          m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}
// Right-handed turn about one axis: a positive angle turns Y toward Z, Z toward X, X toward Y.
Mat3 AxisRotation(int axis, double angle) {
  double c = std::cos(angle), s = std::sin(angle);
  Mat3 m{{1, 0, 0, 0, 1, 0, 0, 0, 1}};
  int i = (axis + 1) % 3, j = (axis + 2) % 3;
  m[i * 3 + i] = c;
  m[j * 3 + j] = c;
  m[j * 3 + i] = s;
  m[i * 3 + j] = -s;
  return m;
}
Vec3 Cross(const Vec3& a, const Vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
bool Normalize(Vec3& v) {
  double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  if (!(length > 1e-12) || !std::isfinite(length)) return false;
  for (double& x : v) x /= length;
  return true;
}
// The matrix whose columns are the three axes.
Mat3 FromColumns(const std::array<Vec3, 3>& axes) {
  Mat3 m{};
  for (int col = 0; col < 3; ++col)
    for (int row = 0; row < 3; ++row) m[row * 3 + col] = axes[col][row];
  return m;
}

ScenePose Compose(const ScenePose& outer, const ScenePose& inner) {
  ScenePose r;
  r.rotation = Multiply(outer.rotation, inner.rotation);
  Vec3 moved = Apply(outer.rotation, inner.translation);
  for (int i = 0; i < 3; ++i) r.translation[i] = moved[i] + outer.translation[i];
  return r;
}

// ---- curves ----

double Slope(float x, float y) { return std::fabs(x) < kVerticalTangent ? 0 : double(y) / double(x); }

double Hermite(double t0, double v0, double m0, double t1, double v1, double m1, double t) {
  double dt = t1 - t0;
  if (!(dt > 0)) return v1;
  double s = (t - t0) / dt, s2 = s * s, s3 = s2 * s;
  return (2 * s3 - 3 * s2 + 1) * v0 + (s3 - 2 * s2 + s) * dt * m0 + (-2 * s3 + 3 * s2) * v1 + (s3 - s2) * dt * m1;
}

double BezierAt(double p0, double p1, double p2, double p3, double s) {
  double r = 1 - s;
  return r * r * r * p0 + 3 * r * r * s * p1 + 3 * r * s * s * p2 + s * s * s * p3;
}

// A segment between absolute handles: the parameter whose time is t (the time runs monotonic
// while the handles stay between the keys), then its value.
double BezierSegment(const NisKey& a, const NisKey& b, double t) {
  double lo = 0, hi = 1;
  for (int i = 0; i < kBezierSteps; ++i) {
    double mid = 0.5 * (lo + hi);
    (BezierAt(a.time, a.out[0], b.in[0], b.time, mid) < t ? lo : hi) = mid;
  }
  return BezierAt(a.value, a.out[1], b.in[1], b.value, 0.5 * (lo + hi));
}

// The slope a key leaves with (out) or arrives with (in), in either layout.
double KeySlope(const NisCurve& curve, size_t i, bool out) {
  const NisKey& k = curve.keys[i];
  if (curve.layout == NisCurveLayout::kBezier) {
    const auto& h = out ? k.out : k.in;
    double dx = out ? h[0] - k.time : k.time - h[0], dy = out ? h[1] - k.value : k.value - h[1];
    return dx > 0 ? dy / dx : 0;
  }
  return out ? Slope(k.out[0], k.out[1]) : Slope(k.in[0], k.in[1]);
}

// Outside the keys: linear (1) goes on along the end key's inner side; the flagged layout's
// outer handles are (0, 0), so only the inner side has a slope.
double Extrapolate(const NisCurve& curve, size_t i, uint32_t mode, double t) {
  const NisKey& k = curve.keys[i];
  if (mode != 1) return k.value;
  return k.value + (t - k.time) * KeySlope(curve, i, i == 0);
}

// Kochanek-Bartels (tension, continuity, bias) through keys at `times`.
double EvaluateTcb(const std::vector<float>& times, const std::vector<float>& values,
                   const std::vector<std::array<float, 3>>& tcb, double t) {
  size_t n = std::min(times.size(), values.size());
  if (n == 0) return 0;
  if (t <= times[0]) return values[0];
  if (t >= times[n - 1]) return values[n - 1];
  size_t i = size_t(std::upper_bound(times.begin(), times.begin() + n, float(t)) - times.begin());
  i = std::min(std::max<size_t>(i, 1), n - 1) - 1;
  auto tangent = [&](size_t k, bool incoming) {
    double p = values[k > 0 ? k - 1 : 0], c = values[k], q = values[std::min(k + 1, n - 1)];
    std::array<float, 3> w = k < tcb.size() ? tcb[k] : std::array<float, 3>{};
    double tt = w[0], cc = w[1], bb = w[2];
    double fa = incoming ? (1 - tt) * (1 - cc) * (1 + bb) / 2 : (1 - tt) * (1 + cc) * (1 + bb) / 2;
    double fb = incoming ? (1 - tt) * (1 + cc) * (1 - bb) / 2 : (1 - tt) * (1 - cc) * (1 - bb) / 2;
    return fa * (c - p) + fb * (q - c);
  };
  double dt = double(times[i + 1]) - times[i];
  if (!(dt > 0)) return values[i + 1];
  double s = (t - times[i]) / dt, s2 = s * s, s3 = s2 * s;
  return (2 * s3 - 3 * s2 + 1) * values[i] + (s3 - 2 * s2 + s) * tangent(i, false) +
         (-2 * s3 + 3 * s2) * values[i + 1] + (s3 - s2) * tangent(i + 1, true);
}

// ---- NURB curves ----

// The file lists control points + degree - 1 knots; the full vector repeats both ends once more.
double FullKnot(const NisNurbCurve& nurb, size_t i) {
  if (i == 0) return nurb.knots.front();
  if (i > nurb.knots.size()) return nurb.knots.back();
  return nurb.knots[i - 1];
}

bool NurbUsable(const NisNurbCurve& nurb) {
  size_t n = nurb.controlPoints.size();
  if (nurb.degree < 1 || nurb.degree > kMaxNurbDegree || n <= size_t(nurb.degree)) return false;
  if (nurb.knots.size() != n + size_t(nurb.degree) - 1) return false;
  for (size_t i = 0; i < nurb.knots.size(); ++i) {
    if (!std::isfinite(nurb.knots[i]) || (i > 0 && nurb.knots[i] < nurb.knots[i - 1])) return false;
  }
  for (const auto& point : nurb.controlPoints)
    for (double x : point)
      if (!std::isfinite(x)) return false;
  return FullKnot(nurb, size_t(nurb.degree)) < FullKnot(nurb, n);
}

// The point at curve parameter u (clamped to the domain), by de Boor's steps on weighted points.
Vec3 NurbPoint(const NisNurbCurve& nurb, double u) {
  const size_t p = size_t(nurb.degree), n = nurb.controlPoints.size();
  u = std::min(std::max(u, FullKnot(nurb, p)), FullKnot(nurb, n));
  // FullKnot(span) <= u < FullKnot(span + 1), the last non-empty span at the domain's end.
  size_t span = size_t(std::upper_bound(nurb.knots.begin(), nurb.knots.end(), u) - nurb.knots.begin());
  span = std::min(std::max(span, p), n - 1);
  std::array<std::array<double, 4>, kMaxNurbDegree + 1> d{};
  for (size_t j = 0; j <= p; ++j) {
    const auto& c = nurb.controlPoints[span - p + j];
    d[j] = {c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]};
  }
  for (size_t r = 1; r <= p; ++r) {
    for (size_t j = p; j >= r; --j) {
      size_t i = span - p + j;
      double lo = FullKnot(nurb, i), hi = FullKnot(nurb, i + p + 1 - r);
      double a = hi > lo ? (u - lo) / (hi - lo) : 0;
      for (int k = 0; k < 4; ++k) d[j][k] = (1 - a) * d[j - 1][k] + a * d[j][k];
    }
  }
  double w = d[p][3];
  if (w == 0) return {d[p][0], d[p][1], d[p][2]};
  return {d[p][0] / w, d[p][1] / w, d[p][2] / w};
}

double Distance(const Vec3& a, const Vec3& b) {
  return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

void BuildArcTable(SceneMotionPath& motion) {
  const NisNurbCurve& nurb = *motion.nurb;
  size_t spans = nurb.controlPoints.size() - size_t(nurb.degree);
  size_t samples = std::min(std::max(spans * kArcSamplesPerSpan, kMinArcSamples), kMaxArcSamples);
  double lo = FullKnot(nurb, size_t(nurb.degree)), hi = FullKnot(nurb, nurb.controlPoints.size());
  motion.parameters.resize(samples + 1);
  motion.lengths.resize(samples + 1);
  Vec3 previous = NurbPoint(nurb, lo);
  double length = 0;
  for (size_t i = 0; i <= samples; ++i) {
    double u = i == samples ? hi : lo + (hi - lo) * double(i) / double(samples);
    Vec3 point = NurbPoint(nurb, u);
    length += Distance(point, previous);
    motion.parameters[i] = u;
    motion.lengths[i] = length;
    previous = point;
  }
}

// The curve parameter at a fraction (0 to 1, clamped) of the arc length: the table's sample
// before it, then bisection on the chord from that sample, since the parameter runs unevenly
// even within one sample's stretch.
double ParameterAtFraction(const SceneMotionPath& motion, double fraction) {
  const auto& lengths = motion.lengths;
  if (!(fraction > 0)) return motion.parameters.front();
  double target = std::min(fraction, 1.0) * lengths.back();
  size_t hi = size_t(std::lower_bound(lengths.begin(), lengths.end(), target) - lengths.begin());
  if (hi == 0) return motion.parameters.front();
  if (hi >= lengths.size()) return motion.parameters.back();
  double lo = motion.parameters[hi - 1], up = motion.parameters[hi];
  Vec3 from = NurbPoint(*motion.nurb, lo);
  double rest = target - lengths[hi - 1];
  for (int i = 0; i < kBisectionSteps; ++i) {
    double mid = 0.5 * (lo + up);
    (Distance(from, NurbPoint(*motion.nurb, mid)) < rest ? lo : up) = mid;
  }
  return 0.5 * (lo + up);
}

double PathFraction(const SceneMotionPath& motion, double t) {
  if (motion.uValue) return EvaluateCurve(*motion.uValue, t);
  double span = motion.endTime - motion.startTime;
  return span > 0 ? (t - motion.startTime) / span : 0;
}

// The axes of a leader turned along its path: the front axis along the curve, the up axis
// toward world +Y, the third completing a right-handed frame.
Mat3 PathFrame(const SceneMotionPath& motion, double u) {
  const NisNurbCurve& nurb = *motion.nurb;
  double lo = motion.parameters.front(), hi = motion.parameters.back(), du = (hi - lo) * 1e-5;
  Vec3 a = NurbPoint(nurb, std::max(u - du, lo)), b = NurbPoint(nurb, std::min(u + du, hi));
  Vec3 front = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  if (!Normalize(front)) front = {0, 0, 1};
  Vec3 side = Cross(front, {0, 1, 0});
  if (!Normalize(side)) side = {1, 0, 0};
  Vec3 up = Cross(side, front);
  int frontAxis = motion.frontAxis, upAxis = motion.upAxis;
  std::array<Vec3, 3> axes{};
  axes[frontAxis] = front;
  axes[upAxis] = up;
  int third = 3 - frontAxis - upAxis;
  axes[third] = (third + 1) % 3 == frontAxis ? Cross(front, up) : Cross(up, front);
  return FromColumns(axes);
}

// ---- reading ----

// Crannnberry key times are shifted by a positive time offset; -1 (seen) shifts nothing.
double TimeOffset(const CrannnberryKeys& keys) {
  return std::isfinite(keys.timeOffset) && keys.timeOffset > 0 ? keys.timeOffset : 0;
}

// The stored order (" ZYX") read backwards: the axes in the order they turn.
bool ParseOrder(const std::optional<std::string>& stored, std::array<int, 3>& order) {
  if (!stored || stored->size() != 4) return false;
  std::string text(stored->rbegin(), stored->rend());
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  if (text.size() != 3) return false;
  int seen = 0;
  for (int i = 0; i < 3; ++i) {
    if (text[i] < 'X' || text[i] > 'Z') return false;
    order[i] = text[i] - 'X';
    seen |= 1 << order[i];
  }
  return seen == 7;
}

template <class Record>
std::unordered_map<std::string_view, size_t> FirstByName(const std::vector<Record>& records) {
  std::unordered_map<std::string_view, size_t> map;
  for (size_t i = 0; i < records.size(); ++i) map.emplace(records[i].name, i);
  return map;
}

std::string_view LastPathPart(std::string_view path) {
  size_t cut = path.rfind(kPathSeparator);
  return cut == std::string_view::npos ? path : path.substr(cut + 1);
}

std::string_view ParentPath(std::string_view path) {
  size_t cut = path.rfind(kPathSeparator);
  return cut == std::string_view::npos ? std::string_view() : path.substr(0, cut);
}

SceneKind KindOfClass(const NisFollower& follower) {
  if (follower.classNumber) return *follower.classNumber == 0 ? SceneKind::kShip : SceneKind::kHelper;
  std::string lower = follower.objectClass;
  for (char& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "camera") return SceneKind::kCamera;
  if (lower == "effect") return SceneKind::kEffect;
  if (lower == "camera_target") return SceneKind::kTarget;
  if (lower.empty() || lower == "none") return SceneKind::kHelper;
  return SceneKind::kShip;
}

// Frames of the playback range, at most kMaxFrames of them from a first frame in [0, kMaxFrames];
// false when the range was cut.
bool SetFrames(SceneReading& scene) {
  double first = std::ceil(scene.start * scene.fps - 1e-6), last = std::ceil(scene.end * scene.fps - 1e-6);
  first = std::isfinite(first) ? std::min(std::max(first, 0.0), double(kMaxFrames)) : 0;
  bool whole = last - first <= double(kMaxFrames);
  last = std::isfinite(last) ? std::min(std::max(last, first), first + double(kMaxFrames)) : first;
  scene.firstFrame = int64_t(first);
  scene.lastFrame = int64_t(last);
  return whole;
}

class SceneReader {
 public:
  explicit SceneReader(const NisDocument& doc) : doc_(doc) {
    for (const NisCurve& curve : doc.curves) curves_.emplace(curve.name, &curve);
  }

  SceneReading Read() {
    scene_.layout = doc_.layout;
    if (doc_.layout == NisLayout::kCrannnberry && doc_.crannnberry) {
      ReadCrannnberry(*doc_.crannnberry);
    } else {
      ReadTimes();
      ReadPaths();
      ReadLeaders();
      ReadFollowers();
      ReadCameras();
    }
    SetPlayback();
    return std::move(scene_);
  }

 private:
  void Note(std::string text) { scene_.notes.push_back(std::move(text)); }

  void ReadTimes() {
    for (const NisCurve& curve : doc_.curves)
      for (const NisKey& key : curve.keys)
        if (std::isfinite(key.time)) scene_.lastKeyTime = std::max(scene_.lastKeyTime, key.time);
    if (!doc_.info) return Note("no INFO chunk: played from 0 s to the last key");
    const NisInfo& info = *doc_.info;
    if (info.fps > 0) {
      scene_.fps = info.fps;
    } else {
      Note("INFO gives no frame rate above 0: " + std::to_string(int(kDefaultSceneFps)) + " frames per second used");
    }
    bool frames = double(info.end) > scene_.lastKeyTime + 1;
    scene_.infoUnit = frames ? SceneTimeUnit::kFrames : SceneTimeUnit::kSeconds;
    double scale = frames ? 1 / scene_.fps : 1;
    scene_.infoStart = info.start * scale;
    scene_.infoEnd = info.end * scale;
  }

  void SetPlayback() {
    scene_.start = scene_.infoStart;
    scene_.end = std::max(scene_.infoEnd, scene_.lastKeyTime);
    if (!SetFrames(scene_)) Note("more than " + std::to_string(kMaxFrames) + " frames: played only that far");
  }

  // Fills a record's slots from its curve names and stored values.
  SceneSlots Slots(const std::array<std::string, kCurveSlotCount>& names, const std::array<double, 6>& values,
                   const std::optional<std::string>& order, const std::string& owner) {
    SceneSlots slots;
    slots.values = values;
    for (int slot = 0; slot < kCurveSlotCount; ++slot) {
      auto found = curves_.find(names[slot]);
      if (found != curves_.end()) {
        slots.curves[slot] = found->second;
        slots.uses[slot] = SlotUse::kCurve;
      } else {
        slots.uses[slot] = names[slot].empty() ? SlotUse::kEmpty : SlotUse::kUnresolved;
      }
    }
    slots.orderUnderstood = ParseOrder(order, slots.order);
    if (!slots.orderUnderstood && order) {
      Note(owner + ": rotation order " + QuoteText(*order) + " is not understood: X, Y, Z used");
    }
    return slots;
  }

  void ReadPaths() {
    auto nurbs = FirstByName(doc_.nurbCurves);
    for (const NisPath& path : doc_.paths) {
      SceneMotionPath motion;
      motion.name = path.name;
      motion.turns = path.flag == kFollowOn || path.flag == kFollowOnToo;
      motion.uValue = Curve(path.curves[0]);
      motion.frontTwist = Curve(path.curves[1]);
      motion.frontAxis = int(path.frontAxis % 3);
      motion.upAxis = int(path.upAxis % 3);
      if (motion.upAxis == motion.frontAxis) motion.upAxis = (motion.frontAxis + 1) % 3;
      motion.startTime = path.startTime;
      motion.endTime = path.endTime;
      auto nurb = nurbs.find(path.nurbName);
      if (nurb != nurbs.end() && NurbUsable(doc_.nurbCurves[nurb->second])) {
        motion.nurb = &doc_.nurbCurves[nurb->second];
        motion.usable = true;
        BuildArcTable(motion);
      }
      scene_.paths.push_back(std::move(motion));
    }
  }

  void ReadLeaders() {
    std::unordered_map<std::string_view, size_t> paths;
    for (size_t i = 0; i < scene_.paths.size(); ++i) paths.emplace(scene_.paths[i].name, i);
    bool older = false;
    for (const NisLeader& record : doc_.leaders) {
      SceneLeader leader;
      leader.name = record.name;
      std::array<double, 6> start{};
      std::copy(record.startPosition.begin(), record.startPosition.end(), start.begin());
      std::copy(record.startRotation.begin(), record.startRotation.end(), start.begin() + 3);
      leader.slots = Slots(record.curves, start, record.rotationOrder, record.name);
      older = older || !record.rotationOrder;
      leader.onPath = !record.pathName.empty();
      if (leader.onPath) {
        for (SlotUse& use : leader.slots.uses)
          if (use == SlotUse::kUnresolved) use = SlotUse::kPathDriven;
        auto path = paths.find(record.pathName);
        if (path == paths.end()) {
          Note(record.name + ": motion path " + QuoteText(record.pathName) + " is not in the file: its slots are used");
        } else {
          leader.path = path->second;
          const NisPath& pathRecord = doc_.paths[path->second];
          if (!scene_.paths[path->second].usable) {
            Note(leader.name + ": motion path " + QuoteText(pathRecord.name) + " has no usable NURB curve " +
                 QuoteText(pathRecord.nurbName) + ": its slots are used");
          }
        }
      }
      scene_.leaders.push_back(std::move(leader));
    }
    if (older) Note("older record layout: no rotation order, X, Y, Z used");
  }

  const NisCurve* Curve(const std::string& name) const {
    auto found = curves_.find(name);
    return found == curves_.end() ? nullptr : found->second;
  }

  void ReadFollowers() {
    auto leaders = FirstByName(doc_.leaders);
    const size_t prefixLength = std::char_traits<char>::length(kFollowerPrefix);
    std::unordered_map<std::string_view, size_t> byPath, byLastPart;
    for (size_t i = 0; i < doc_.followers.size(); ++i) {
      const NisFollower& record = doc_.followers[i];
      SceneFollower follower;
      follower.name = record.name;
      follower.namePath =
          record.name.compare(0, prefixLength, kFollowerPrefix) == 0 ? record.name.substr(prefixLength) : record.name;
      follower.kind = KindOfClass(record);
      follower.own = Slots(record.curves, record.numbers, record.rotationOrder, record.name);
      if (!record.leaderName.empty()) {
        auto leader = leaders.find(record.leaderName);
        if (leader != leaders.end()) {
          follower.leader = leader->second;
        } else {
          follower.leaderMissing = true;
          Note(record.name + ": leader " + QuoteText(record.leaderName) +
               " is not in the file: placed by its own slots only");
        }
      }
      scene_.followers.push_back(std::move(follower));
    }
    // The maps point into the scene's own names, which stay where they are from here on.
    for (size_t i = 0; i < scene_.followers.size(); ++i) {
      byPath.emplace(scene_.followers[i].namePath, i);
      byLastPart.emplace(LastPathPart(scene_.followers[i].namePath), i);
    }
    for (size_t i = 0; i < scene_.followers.size(); ++i) {
      FindAim(scene_.followers[i], doc_.followers[i], byLastPart);
      FindParent(scene_.followers[i], i, byPath);
    }
  }

  // "<X>_group" in a rotate slot, with a follower whose name path is "<X>_view" or "...|<X>_view".
  void FindAim(SceneFollower& follower, const NisFollower& record,
               const std::unordered_map<std::string_view, size_t>& byLastPart) {
    const size_t suffixLength = std::char_traits<char>::length(kAimGroupSuffix);
    for (int slot = kFirstRotateSlot; slot < kCurveSlotCount; ++slot) {
      const std::string& name = record.curves[slot];
      if (follower.own.uses[slot] == SlotUse::kCurve || !EndsWith(name, kAimGroupSuffix) ||
          name.size() == suffixLength) {
        continue;
      }
      auto view = byLastPart.find(name.substr(0, name.size() - suffixLength) + kAimViewSuffix);
      if (view == byLastPart.end()) continue;
      follower.own.uses[slot] = SlotUse::kAimGroup;
      if (follower.aimAt == kNoIndex) follower.aimAt = view->second;
    }
  }

  // The name path's parent when FOLW holds it; a rig's missing "_group" is passed over.
  void FindParent(SceneFollower& follower, size_t index, const std::unordered_map<std::string_view, size_t>& byPath) {
    std::string_view parent = ParentPath(follower.namePath);
    if (parent.empty()) return;
    auto found = byPath.find(parent);
    if (found == byPath.end() && follower.aimAt != kNoIndex && EndsWith(parent, kAimGroupSuffix)) {
      parent = ParentPath(parent);
      found = parent.empty() ? byPath.end() : byPath.find(parent);
    }
    if (found != byPath.end() && found->second != index) follower.parent = found->second;
  }

  void ReadCameras() {
    std::unordered_map<std::string_view, size_t> followers;
    for (size_t i = 0; i < scene_.followers.size(); ++i) followers.emplace(scene_.followers[i].name, i);
    auto find = [&](const std::string& name) {
      auto found = followers.find(name);
      return found == followers.end() ? kNoIndex : found->second;
    };
    for (const NisCamera& record : doc_.cameras) {
      SceneCamera camera;
      camera.name = record.name;
      camera.follower = find(record.followerName);
      camera.centerOfInterest = find(record.centerOfInterest);
      camera.focalLength = Curve(record.focalLengthCurve);
      camera.params = record.params;
      if (camera.follower == kNoIndex) {
        Note("camera " + QuoteText(record.name) + ": follower " + QuoteText(record.followerName) +
             " is not in the file: it cannot be placed");
      } else {
        SceneFollower& follower = scene_.followers[camera.follower];
        follower.kind = SceneKind::kCamera;
        if (follower.camera == kNoIndex) follower.camera = scene_.cameras.size();
      }
      scene_.cameras.push_back(std::move(camera));
    }
  }

  void ReadCrannnberry(const CrannnberryScene& file) {
    Note("no frame rate in the file: " + std::to_string(int(kDefaultSceneFps)) + " frames per second used");
    Note("keys as tension, continuity and bias splines; rotations in radians turning X, Y, Z");
    if (file.info && std::isfinite(file.info->start) && std::isfinite(file.info->end)) {
      scene_.infoStart = file.info->start;
      scene_.infoEnd = file.info->end;
    }
    auto add = [&](std::string name, SceneKind kind, const CrannnberryKeys& keys) {
      SceneFollower follower;
      follower.name = follower.namePath = std::move(name);
      follower.kind = kind;
      follower.keys = &keys;
      for (float time : keys.times)
        if (std::isfinite(time)) scene_.lastKeyTime = std::max(scene_.lastKeyTime, double(time) + TimeOffset(keys));
      scene_.followers.push_back(std::move(follower));
    };
    for (const CrannnberryObject& object : file.objects) {
      std::string name = object.name + "#" + std::to_string(object.instance);
      if (object.parent != -1)
        Note(name + ": parent " + std::to_string(object.parent) + " is not followed: placed at the top");
      add(name, SceneKind::kShip, object.keys);
    }
    for (size_t i = 0; i < file.cameras.size(); ++i) {
      add("camera#" + std::to_string(i + 1), SceneKind::kCamera, file.cameras[i].keys);
    }
  }

  const NisDocument& doc_;
  SceneReading scene_;
  std::unordered_map<std::string_view, const NisCurve*> curves_;  // the first curve of each name
};

double SlotValue(const SceneSlots& slots, int slot, double t) {
  return slots.curves[slot] ? EvaluateCurve(*slots.curves[slot], t) : slots.values[slot];
}

ScenePose SlotsPose(const SceneSlots& slots, double t) {
  ScenePose pose;
  for (int axis = 0; axis < 3; ++axis) pose.translation[axis] = SlotValue(slots, axis, t);
  pose.rotation = EulerRotation(slots.order, {SlotValue(slots, 3, t), SlotValue(slots, 4, t), SlotValue(slots, 5, t)});
  return pose;
}

ScenePose CrannnberryPose(const CrannnberryKeys& keys, double t) {
  double local = t - TimeOffset(keys);
  std::array<double, kChannelCount> v{};
  for (int c = 0; c < kChannelCount; ++c) v[c] = EvaluateTcb(keys.times, keys.channels[c], keys.tcb, local);
  ScenePose pose;
  pose.translation = {v[0], v[1], v[2]};
  pose.rotation = EulerRotation({0, 1, 2}, {v[3], v[4], v[5]});
  return pose;
}

// -Z toward `direction`, +Y as near world up as it can be.
bool AimRotation(Vec3 direction, Mat3& rotation) {
  if (!Normalize(direction)) return false;
  Vec3 z = {-direction[0], -direction[1], -direction[2]};
  Vec3 x = Cross({0, 1, 0}, z);
  if (!Normalize(x)) x = {1, 0, 0};
  rotation = FromColumns({x, Cross(z, x), z});
  return true;
}

}  // namespace

const char* SceneKindName(SceneKind kind) {
  switch (kind) {
    case SceneKind::kShip:
      return "ship";
    case SceneKind::kEffect:
      return "effect";
    case SceneKind::kCamera:
      return "camera";
    case SceneKind::kTarget:
      return "target";
    case SceneKind::kHelper:
      break;
  }
  return "helper";
}

const char* SlotUseName(SlotUse use) {
  switch (use) {
    case SlotUse::kEmpty:
      return "empty";
    case SlotUse::kCurve:
      return "curve";
    case SlotUse::kPathDriven:
      return "path";
    case SlotUse::kAimGroup:
      return "aim";
    case SlotUse::kUnresolved:
      break;
  }
  return "unresolved";
}

SceneReading ReadScene(const NisDocument& doc) { return SceneReader(doc).Read(); }

void PlayUntil(SceneReading& scene, double seconds) {
  if (!(seconds > scene.end)) return;
  scene.end = seconds;
  SetFrames(scene);
}

double EvaluateCurve(const NisCurve& curve, double t) {
  const auto& keys = curve.keys;
  size_t n = keys.size();
  if (n == 0) return 0;
  if (t <= keys[0].time) {
    return t == keys[0].time || n == 1 ? keys[0].value : Extrapolate(curve, 0, curve.preInfinity, t);
  }
  if (t >= keys[n - 1].time) {
    return t == keys[n - 1].time ? keys[n - 1].value : Extrapolate(curve, n - 1, curve.postInfinity, t);
  }
  size_t lo = 0, hi = n - 1;  // keys[lo].time < t < keys[hi].time
  while (hi - lo > 1) {
    size_t mid = lo + (hi - lo) / 2;
    (keys[mid].time <= t ? lo : hi) = mid;
  }
  if (keys[lo].time == t) return keys[lo].value;
  const NisKey &a = keys[lo], &b = keys[hi];
  if (curve.layout == NisCurveLayout::kBezier) return BezierSegment(a, b, t);
  return Hermite(a.time, a.value, KeySlope(curve, lo, true), b.time, b.value, KeySlope(curve, hi, false), t);
}

std::array<double, 4> PoseQuaternion(const ScenePose& pose) {
  const Mat3& m = pose.rotation;
  std::array<double, 4> q{};  // x, y, z, w
  double trace = m[0] + m[4] + m[8];
  if (trace > 0) {
    double s = 2 * std::sqrt(trace + 1);
    q = {(m[7] - m[5]) / s, (m[2] - m[6]) / s, (m[3] - m[1]) / s, s / 4};
  } else if (m[0] > m[4] && m[0] > m[8]) {
    double s = 2 * std::sqrt(1 + m[0] - m[4] - m[8]);
    q = {s / 4, (m[1] + m[3]) / s, (m[2] + m[6]) / s, (m[7] - m[5]) / s};
  } else if (m[4] > m[8]) {
    double s = 2 * std::sqrt(1 + m[4] - m[0] - m[8]);
    q = {(m[1] + m[3]) / s, s / 4, (m[5] + m[7]) / s, (m[2] - m[6]) / s};
  } else {
    double s = 2 * std::sqrt(1 + m[8] - m[0] - m[4]);
    q = {(m[2] + m[6]) / s, (m[5] + m[7]) / s, s / 4, (m[3] - m[1]) / s};
  }
  double length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  double sign = q[3] < 0 ? -1 : 1;
  for (double& x : q) x = length > 0 ? sign * x / length : x;
  return q;
}

std::array<double, 9> EulerRotation(const std::array<int, 3>& order, const std::array<double, 3>& angles) {
  Mat3 m{{1, 0, 0, 0, 1, 0, 0, 0, 1}};
  for (int axis : order) m = Multiply(AxisRotation(axis, angles[axis]), m);
  return m;
}

ScenePose LeaderPose(const SceneReading& scene, size_t index, double t) {
  const SceneLeader& leader = scene.leaders[index];
  ScenePose pose = SlotsPose(leader.slots, t);
  if (leader.path == kNoIndex || !scene.paths[leader.path].usable) return pose;
  const SceneMotionPath& motion = scene.paths[leader.path];
  double u = ParameterAtFraction(motion, PathFraction(motion, t));
  pose.translation = NurbPoint(*motion.nurb, u);
  if (motion.turns) {
    double twist = motion.frontTwist ? EvaluateCurve(*motion.frontTwist, t) : 0;
    pose.rotation = Multiply(PathFrame(motion, u), AxisRotation(motion.frontAxis, twist));
  }
  return pose;
}

ScenePose FollowerOwnPose(const SceneReading& scene, size_t index, double t) {
  const SceneFollower& follower = scene.followers[index];
  if (follower.keys) return CrannnberryPose(*follower.keys, t);
  return SlotsPose(follower.own, t);
}

SceneEvaluator::SceneEvaluator(const SceneReading& scene)
    : scene_(scene),
      poses_(scene.followers.size()),
      states_(scene.followers.size(), State::kNone),
      chains_(kMaxAimDepth + 1) {}

void SceneEvaluator::SetTime(double seconds) {
  time_ = seconds;
  std::fill(states_.begin(), states_.end(), State::kNone);
}

ScenePose SceneEvaluator::Unaimed(size_t index) {
  const SceneFollower& follower = scene_.followers[index];
  ScenePose pose = FollowerOwnPose(scene_, index, time_);
  if (follower.leader != kNoIndex) pose = Compose(LeaderPose(scene_, follower.leader, time_), pose);
  if (follower.parent != kNoIndex) pose = Compose(poses_[follower.parent], pose);
  return pose;
}

const ScenePose& SceneEvaluator::World(size_t index) {
  if (states_[index] != State::kNone) return poses_[index];
  // Parents first, from the top down, without recursion: name paths may be deep. A rig's aim
  // may need another chain while this one is worked: each depth has its own list, all made
  // at the start so that none moves.
  std::vector<size_t>& chain = chains_[aimDepth_];
  chain.clear();
  for (size_t i = index; i != kNoIndex && states_[i] == State::kNone; i = scene_.followers[i].parent)
    chain.push_back(i);
  for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
    size_t i = *it;
    if (states_[i] != State::kNone) continue;  // placed while aiming a rig above it
    poses_[i] = Unaimed(i);
    states_[i] = State::kWorking;  // a rig's target under the rig sees it unaimed
    size_t target = scene_.followers[i].aimAt;
    if (target != kNoIndex && target != i && aimDepth_ < kMaxAimDepth) {
      ++aimDepth_;
      Vec3 at = World(target).translation;
      --aimDepth_;
      const Vec3& from = poses_[i].translation;
      AimRotation({at[0] - from[0], at[1] - from[1], at[2] - from[2]}, poses_[i].rotation);
    }
    states_[i] = State::kDone;
  }
  return poses_[index];
}

}  // namespace rw
