#include "nis/CurveBlock.h"

#include <cmath>
#include <cstring>

#include "nis/NisFormat.h"
#include "nis/NisWrite.h"

namespace rw {

void CurveSamples::Clear() {
  times.clear();
  for (auto& axis : translate) axis.clear();
  for (auto& axis : rotate) axis.clear();
  visibility.clear();
}

namespace {

Tangent UnitTangent(double angle) { return {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))}; }

// One unit in the last place of a double of magnitude 1.
constexpr double kDoubleUnit = 2.220446049250313e-16;  // 2^-52
// Slopes whose tangent the quick way below may give: beyond them it would underflow, overflow
// or lose its bound, and the library calls answer.
constexpr double kQuickSlopeMin = 1e-30;
constexpr double kQuickSlopeMax = 1e6;

// True, with f the float, when every double within bound of v rounds to the same float.
bool RoundsSurely(double v, double bound, float& f) {
  f = static_cast<float>(v);
  return static_cast<float>(v - bound) == f && static_cast<float>(v + bound) == f;
}

// cos(atan(slope)) and sin(atan(slope)) rounded to float are what the file holds. Each is also
// 1 / sqrt(1 + slope^2) and slope / sqrt(1 + slope^2), several times faster to compute. The
// two ways can differ in the last bits of the double: the library's atan, cos and sin are each
// within about 1 unit in the last place (its angle error grows in the cosine by |slope|), the
// quick way within 4 roundings. The bounds below are four times those sums: when every double
// within them rounds to one float, the library's double rounds to it too and the bits are
// the same. Otherwise (rarely: about one value in a million) the caller asks the library.
bool QuickSlopeTangent(double slope, Tangent& tangent) {
  const double size = std::fabs(slope);
  if (!(size >= kQuickSlopeMin && size <= kQuickSlopeMax)) return false;  // also NaN
  const double cosine = 1.0 / std::sqrt(1.0 + slope * slope);
  const double sine = slope * cosine;
  const double cosineBound = cosine * (16.0 + 8.0 * size) * kDoubleUnit;
  const double sineBound = std::fabs(sine) * 16.0 * kDoubleUnit;
  return RoundsSurely(cosine, cosineBound, tangent.x) && RoundsSurely(sine, sineBound, tangent.y);
}

}  // namespace

Tangent SlopeTangent(double slope) {
  // A flat stretch (every visibility key, any held value) skips the three calls: atan, cos and
  // sin of a signed zero are exact (1 and the same zero), so the bits are those the calls give.
  if (slope == 0.0) return {1.0f, static_cast<float>(slope)};
  Tangent tangent;
  if (QuickSlopeTangent(slope, tangent)) return tangent;
  return UnitTangent(std::atan(slope));
}

namespace {

Tangent StretchTangent(float x0, float x1, float y0, float y1) {
  const double dx = static_cast<double>(x1) - static_cast<double>(x0);
  const double dy = static_cast<double>(y1) - static_cast<double>(y0);
  // Equal times would divide by zero: the tangent stands vertical instead.
  if (dx == 0.0) return UnitTangent(dy < 0.0 ? -kQuarterTurn : kQuarterTurn);
  return SlopeTangent(dy / dx);
}

// The tangent of key i of n keys (n >= 2): the stretch after it, the last key's the one before.
Tangent TangentOfKey(const float* times, const float* values, size_t n, size_t i) {
  const size_t other = i + 1 < n ? i + 1 : i - 1;
  return StretchTangent(times[i], times[other], values[i], values[other]);
}

// One 32-byte key assembled in place and written as one block; in and out are the same.
void WriteKey(LiteIFF& iff, double time, double value, Tangent tangent) {
  uint8_t key[kCurveKeySize];
  std::memcpy(key, &time, 8);
  std::memcpy(key + 8, &value, 8);
  std::memcpy(key + 16, &tangent.x, 4);
  std::memcpy(key + 20, &tangent.y, 4);
  std::memcpy(key + 24, &tangent.x, 4);
  std::memcpy(key + 28, &tangent.y, 4);
  iff.Write(key, sizeof key, 1);
}

}  // namespace

KeyTangent ComputeKeyTangent(float x0, float x1, float y0, float y1) {
  KeyTangent result;
  result.in = StretchTangent(x0, x1, y0, y1);
  result.out = result.in;
  return result;
}

void ComputeCurveTangents(const std::vector<float>& times, const std::vector<float>& values, TangentArrays& in,
                          TangentArrays& out) {
  in.x.clear();
  in.y.clear();
  out.x.clear();
  out.y.clear();
  const size_t n = times.size();
  if (n <= 1) {
    for (std::vector<float>* a : {&in.x, &in.y, &out.x, &out.y}) a->push_back(0.0f);
    return;
  }
  for (size_t i = 0; i < n; ++i) {
    const Tangent t = TangentOfKey(times.data(), values.data(), n, i);
    in.x.push_back(t.x);
    in.y.push_back(t.y);
    out.x.push_back(t.x);
    out.y.push_back(t.y);
  }
}

void WriteCurveKey(LiteIFF& iff, double time, double value, const KeyTangent& tangent) {
  uint8_t key[kCurveKeySize];
  std::memcpy(key, &time, 8);
  std::memcpy(key + 8, &value, 8);
  std::memcpy(key + 16, &tangent.in.x, 4);
  std::memcpy(key + 20, &tangent.in.y, 4);
  std::memcpy(key + 24, &tangent.out.x, 4);
  std::memcpy(key + 28, &tangent.out.y, 4);
  iff.Write(key, sizeof key, 1);
}

namespace {

// One curve: the counted name prefix + suffix, the key count, the keys, the two trailing words.
// A lone key takes the zero tangent; more take each one's stretch, computed as it is written.
void WriteCurveBlock(LiteIFF& iff, const std::string& prefix, const char* suffix, const std::vector<float>& times,
                     const std::vector<float>& values, uint32_t trailer0, uint32_t trailer1) {
  const size_t n = times.size();
  iff.WriteJoinedString(prefix, suffix);
  WriteU32(iff, static_cast<uint32_t>(n));
  if (n == 1) WriteKey(iff, times[0], values[0], Tangent());
  for (size_t i = 0; n > 1 && i < n; ++i)
    WriteKey(iff, times[i], values[i], TangentOfKey(times.data(), values.data(), n, i));
  WriteU32(iff, trailer0);
  WriteU32(iff, trailer1);
}

}  // namespace

void WriteCurveSet(LiteIFF& iff, const std::string& prefix, const std::vector<float>& times,
                   const std::vector<float> (&translate)[3], const std::vector<float> (&rotate)[3],
                   const std::vector<float>& visibility, uint32_t trailer0, uint32_t trailer1) {
  const std::vector<float>* curves[kCurvesPerEntity] = {&translate[0], &translate[1], &translate[2], &rotate[0],
                                                        &rotate[1],    &rotate[2],    &visibility};
  for (int c = 0; c < kCurvesPerEntity; ++c)
    WriteCurveBlock(iff, prefix, kCurveSuffixes[c], times, *curves[c], trailer0, trailer1);
}

}  // namespace rw
