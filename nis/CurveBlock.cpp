#include "nis/CurveBlock.h"

#include <cmath>

#include "nis/NisFormat.h"
#include "nis/NisWrite.h"

namespace rw {

void CurveSamples::Clear() {
  times.clear();
  for (auto& axis : translate) axis.clear();
  for (auto& axis : rotate) axis.clear();
  visibility.clear();
}

KeyTangent ComputeKeyTangent(float x0, float x1, float y0, float y1) {
  const double dx = static_cast<double>(x1) - static_cast<double>(x0);
  const double dy = static_cast<double>(y1) - static_cast<double>(y0);
  // Equal times would divide by zero: the tangent stands vertical instead.
  const double angle = dx != 0.0 ? std::atan(dy / dx) : (dy < 0.0 ? -kQuarterTurn : kQuarterTurn);
  KeyTangent result;
  result.in.x = static_cast<float>(std::cos(angle));
  result.in.y = static_cast<float>(std::sin(angle));
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
    const size_t other = i + 1 < n ? i + 1 : i - 1;  // the last key looks back
    const KeyTangent t = ComputeKeyTangent(times[i], times[other], values[i], values[other]);
    in.x.push_back(t.in.x);
    in.y.push_back(t.in.y);
    out.x.push_back(t.out.x);
    out.y.push_back(t.out.y);
  }
}

void WriteCurveKey(LiteIFF& iff, double time, double value, const KeyTangent& tangent) {
  WriteF64(iff, time);
  WriteF64(iff, value);
  WriteF32(iff, tangent.in.x);
  WriteF32(iff, tangent.in.y);
  WriteF32(iff, tangent.out.x);
  WriteF32(iff, tangent.out.y);
}

namespace {

void WriteCurveBlock(LiteIFF& iff, const std::string& name, const std::vector<float>& times,
                     const std::vector<float>& values, uint32_t trailer0, uint32_t trailer1) {
  TangentArrays in, out;
  ComputeCurveTangents(times, values, in, out);
  iff.WriteString(name);
  WriteU32(iff, static_cast<uint32_t>(times.size()));
  for (size_t i = 0; i < times.size(); ++i) {
    KeyTangent tangent;
    tangent.in = {in.x[i], in.y[i]};
    tangent.out = {out.x[i], out.y[i]};
    WriteCurveKey(iff, times[i], values[i], tangent);
  }
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
    WriteCurveBlock(iff, prefix + kCurveSuffixes[c], times, *curves[c], trailer0, trailer1);
}

}  // namespace rw
