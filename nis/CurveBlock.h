// Curve blocks: the NIS record of one animation curve (counted name, key count, 32-byte keys,
// two trailing words), and the tangents of its keys.
#ifndef REELWRIGHT_NIS_CURVEBLOCK_H
#define REELWRIGHT_NIS_CURVEBLOCK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "liteiff/LiteIFF.h"

namespace rw {

constexpr size_t kCurveKeySize = 32;  // time, value (doubles), four tangent floats

struct Tangent {
  float x = 0;  // cosine of the tangent angle
  float y = 0;  // sine of the tangent angle
};

struct KeyTangent {
  Tangent in;
  Tangent out;  // always equal to in
};

// Tangent components of a curve, one entry per key (one 0.0 entry for a curve of 0 or 1 keys).
struct TangentArrays {
  std::vector<float> x;
  std::vector<float> y;
};

// Seven sample arrays of one entity sharing one time array, in seconds and radians.
struct CurveSamples {
  std::vector<float> times;
  std::vector<float> translate[3];  // X, Y, Z
  std::vector<float> rotate[3];     // X, Y, Z
  std::vector<float> visibility;
  void Clear();
};

// The unit tangent of the stretch from (x0, y0) to (x1, y1): angle = atan(dy / dx) in double,
// +-pi/2 when dx is exactly 0 (the sign of dy, + for 0). In and out are the same.
KeyTangent ComputeKeyTangent(float x0, float x1, float y0, float y1);
// The unit tangent of a stretch of slope dy / dx (dx not 0): cos and sin of atan(slope) in
// double, each rounded to float.
Tangent SlopeTangent(double slope);

// Empties and fills in and out: each key takes the slope of the stretch after it, the last key
// that of the stretch before it. A curve of 0 or 1 keys gets a single 0.0 in each array.
void ComputeCurveTangents(const std::vector<float>& times, const std::vector<float>& values, TangentArrays& in,
                          TangentArrays& out);

// One 32-byte key: time and value as doubles, then in X, in Y, out X, out Y as floats.
void WriteCurveKey(LiteIFF& iff, double time, double value, const KeyTangent& tangent);

// The seven curve blocks of an entity, named prefix + suffix, each with the key count
// times.size() and the two trailing words. Every value array is at least as long as times.
void WriteCurveSet(LiteIFF& iff, const std::string& prefix, const std::vector<float>& times,
                   const std::vector<float> (&translate)[3], const std::vector<float> (&rotate)[3],
                   const std::vector<float>& visibility, uint32_t trailer0, uint32_t trailer1);

}  // namespace rw

#endif
