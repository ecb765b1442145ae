#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "nis/CurveBlock.h"
#include "nis/Matrix4.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

std::string FloatHex(float value) { return test::ToHex(std::string(reinterpret_cast<const char*>(&value), 4)); }

struct TangentCase {
  float x0, x1, y0, y1;
  const char* x;
  const char* y;
  const char* what;
};

TEST(ComputeKeyTangent, BytesOfEachKindOfStretch) {
  const TangentCase cases[] = {
      {1, 2, 11, 12, "F3 04 35 3F", "F3 04 35 3F", "rising 45 degrees"},
      {2, 1, 12, 11, "F3 04 35 3F", "F3 04 35 3F", "the same stretch looked at backwards"},
      {0, 1, 1, 0, "F3 04 35 3F", "F3 04 35 BF", "falling: X stays positive"},
      {0, 1, 5, 5, "00 00 80 3F", "00 00 00 00", "flat going forward"},
      {1, 0, 5, 5, "00 00 80 3F", "00 00 00 80", "flat last key: negative zero"},
      {1, 1, 0, 3, "32 31 8D 24", "00 00 80 3F", "equal times, rising: +pi/2, X about 6.12e-17"},
      {2, 2, 3, 0, "32 31 8D 24", "00 00 80 BF", "equal times, falling: -pi/2"},
      {1, 1, 2, 2, "32 31 8D 24", "00 00 80 3F", "equal times and values: +pi/2"},
      {1, 2, 0.5f, 1, "2E F9 64 3F", "2E F9 E4 3E", "slope 0.5: atan, cos, sin in double"},
  };
  for (const TangentCase& c : cases) {
    const KeyTangent t = ComputeKeyTangent(c.x0, c.x1, c.y0, c.y1);
    EXPECT_EQ(FloatHex(t.in.x), c.x) << c.what;
    EXPECT_EQ(FloatHex(t.in.y), c.y) << c.what;
    EXPECT_EQ(std::memcmp(&t.in, &t.out, sizeof t.in), 0) << c.what;
  }
}

TEST(ComputeCurveTangents, ShortCurvesAndSharedTimes) {
  TangentArrays in, out;
  in.x = {9, 9};  // stale entries are dropped
  ComputeCurveTangents({}, {}, in, out);
  EXPECT_EQ(in.x, std::vector<float>{0.0f});  // no keys: one unused 0.0 entry
  ComputeCurveTangents({4}, {7}, in, out);
  EXPECT_EQ(out.y, std::vector<float>{0.0f});  // one key: zeros, not the 1, 0 of a flat stretch
  // Keys 0 and 1 share a time: key 0 vertical, key 1 flat, key 2 the flat last key.
  ComputeCurveTangents({1, 1, 2}, {0, 3, 3}, in, out);
  ASSERT_EQ(in.x.size(), 3u);
  EXPECT_EQ(FloatHex(in.x[0]) + " | " + FloatHex(in.y[0]), "32 31 8D 24 | 00 00 80 3F");
  EXPECT_EQ(FloatHex(in.x[1]) + " | " + FloatHex(in.y[1]), "00 00 80 3F | 00 00 00 00");
  EXPECT_EQ(FloatHex(out.x[2]) + " | " + FloatHex(out.y[2]), "00 00 80 3F | 00 00 00 80");
  // Equal times at the end: the last key looks back with dy -3.
  ComputeCurveTangents({1, 2, 2}, {0, 0, 3}, in, out);
  EXPECT_EQ(in.y[1], 1.0f);
  EXPECT_EQ(in.y[2], -1.0f);
}

TEST(Matrix4, ProductsMinorsAndRotations) {
  Matrix4 m;
  MatrixIdentity(m);
  m.at(0, 0) = 2, m.at(1, 1) = 3, m.at(2, 2) = 4, m.at(3, 0) = 5;  // row 3 holds a translation
  EXPECT_EQ(MatrixDeterminant(m), 24.0);
  EXPECT_EQ(MatrixMinor(m, 0, 0), 12.0);
  MatrixTranspose(m, m);  // in place
  EXPECT_EQ(m.at(0, 3) * 10 + m.at(3, 0), 50.0f);
  const float sine = static_cast<float>(std::sin(0.5));  // in double, rounded at the store
  Matrix4 x, y, z, back;
  MatrixRotationX(x, 0.5f), MatrixRotationY(y, 0.5f), MatrixRotationZ(z, 0.5f), MatrixRotationZ(back, -0.5f);
  EXPECT_EQ(x.at(1, 2) + y.at(2, 0) + z.at(0, 1), 3 * sine);  // row vectors: +sin above, -sin below
  EXPECT_EQ(x.at(2, 1) + y.at(0, 2) + z.at(1, 0), -3 * sine);
  MatrixMultiply(z, z, back);  // dst may be an operand
  for (int e = 0; e < 16; ++e) EXPECT_NEAR(z.m[e], e % 5 == 0 ? 1.0 : 0.0, 1e-7) << e;
}

}  // namespace
}  // namespace rw
