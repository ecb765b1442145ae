#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

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

// The bytes of WriteCurveSet with the given translate X values, all else 0.
std::string CurveSetBytes(const std::string& prefix, const std::vector<float>& times, const std::vector<float>& xs,
                          uint32_t trailer0, uint32_t trailer1) {
  test::ScratchDir scratch;
  const std::vector<float> zeros(times.size(), 0.0f);
  const std::vector<float> translate[3] = {xs, zeros, zeros}, rotate[3] = {zeros, zeros, zeros};
  {
    LiteIFF iff;
    if (!iff.Attach(scratch.Path("curves").c_str())) return "";
    WriteCurveSet(iff, prefix, times, translate, rotate, zeros, trailer0, trailer1);
  }
  return test::ReadFileBytes(scratch.Path("curves"));
}

TEST(WriteCurveSet, KeyBytesAndEmptyBlocks) {
  // First block: name "P_translateX", count 2, key 0 = time 1.0, value 11.0, four tangents of 45 degrees.
  const std::string keyed = CurveSetBytes("P", {1, 2}, {11, 12}, 0, 0);
  EXPECT_EQ(test::ToHex(keyed.substr(0, 52)),
            "0C 00 00 00 50 5F 74 72 61 6E 73 6C 61 74 65 58 02 00 00 00 "
            "00 00 00 00 00 00 F0 3F 00 00 00 00 00 00 26 40 F3 04 35 3F F3 04 35 3F F3 04 35 3F F3 04 35 3F");
  EXPECT_EQ(keyed.size(), 7 * (4 + 4 + 64 + 8) + 4 * 12 + 3 * 9u);  // all seven suffixes, in order
  // No keys: each block is the name, count 0 and the two trailing words, handed through unchanged.
  const std::string empty = CurveSetBytes("Q", {}, {}, 5, 6);
  EXPECT_EQ(empty.substr(0, 28),
            test::FromHex("0C 00 00 00") + "Q_translateX" + test::FromHex("00 00 00 00 05 00 00 00 06 00 00 00"));
  EXPECT_EQ(empty.substr(empty.size() - 28),
            test::FromHex("0C 00 00 00") + "Q_visibility" + test::FromHex("00 00 00 00 05 00 00 00 06 00 00 00"));
  EXPECT_EQ(empty.size(), 7 * 16 + 4 * 12 + 3 * 9u);
}

Matrix4 Diagonal(float a, float b, float c, float d) {
  Matrix4 m;
  MatrixClear(m);
  m.at(0, 0) = a, m.at(1, 1) = b, m.at(2, 2) = c, m.at(3, 3) = d;
  return m;
}

TEST(Matrix4, ProductsMinorsAndRotations) {
  Matrix4 m = Diagonal(2, 3, 4, 1);
  m.at(3, 0) = 5;  // a translation in row 3 leaves the determinant alone
  EXPECT_EQ(MatrixDeterminant(m), 24.0);
  EXPECT_EQ(MatrixMinor(m, 0, 0), 12.0);
  EXPECT_EQ(MatrixMinor(m, 3, 0), 0.0);
  MatrixTranspose(m, m);  // in place
  EXPECT_EQ(m.at(0, 3), 5.0f);
  EXPECT_EQ(m.at(3, 0), 0.0f);
  Matrix4 a;
  MatrixRotationZ(a, 0.5f);
  EXPECT_EQ(a.at(0, 1), static_cast<float>(std::sin(0.5)));  // row vectors: sin at (0, 1), -sin at (1, 0)
  EXPECT_EQ(a.at(1, 0), -static_cast<float>(std::sin(0.5)));
  MatrixRotationY(m, 0.5f);
  EXPECT_EQ(m.at(2, 0), static_cast<float>(std::sin(0.5)));
  MatrixRotationX(m, 0.5f);
  EXPECT_EQ(m.at(1, 2), static_cast<float>(std::sin(0.5)));
  Matrix4 back;
  MatrixRotationZ(back, -0.5f);
  MatrixMultiply(a, a, back);  // dst may be an operand
  for (int e = 0; e < 16; ++e) EXPECT_NEAR(a.m[e], e % 5 == 0 ? 1.0 : 0.0, 1e-7) << e;
}

}  // namespace
}  // namespace rw
