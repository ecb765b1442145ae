#include "nis/Matrix4.h"

#include <cmath>

namespace rw {

void MatrixClear(Matrix4& m) {
  for (float& e : m.m) e = 0.0f;
}

void MatrixIdentity(Matrix4& m) {
  MatrixClear(m);
  for (int i = 0; i < 4; ++i) m.at(i, i) = 1.0f;
}

void MatrixMultiply(Matrix4& dst, const Matrix4& a, const Matrix4& b) {
  Matrix4 product;
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      double sum = 0.0;
      for (int k = 0; k < 4; ++k) sum += static_cast<double>(a.at(r, k)) * static_cast<double>(b.at(k, c));
      product.at(r, c) = static_cast<float>(sum);
    }
  }
  dst = product;
}

void MatrixTranspose(Matrix4& dst, const Matrix4& src) {
  Matrix4 turned;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) turned.at(r, c) = src.at(c, r);
  dst = turned;
}

double MatrixMinor(const Matrix4& m, int row, int col) {
  double s[9];
  int n = 0;
  for (int r = 0; r < 4; ++r) {
    if (r == row) continue;
    for (int c = 0; c < 4; ++c)
      if (c != col) s[n++] = m.at(r, c);
  }
  return s[0] * (s[4] * s[8] - s[5] * s[7]) - s[1] * (s[3] * s[8] - s[5] * s[6]) + s[2] * (s[3] * s[7] - s[4] * s[6]);
}

double MatrixDeterminant(const Matrix4& m) {
  return m.at(0, 0) * MatrixMinor(m, 0, 0) - m.at(0, 1) * MatrixMinor(m, 0, 1) + m.at(0, 2) * MatrixMinor(m, 0, 2) -
         m.at(0, 3) * MatrixMinor(m, 0, 3);
}

namespace {

// Fills the four elements of a plane rotation: (i, i) and (j, j) cos, (i, j) sin, (j, i) -sin.
void PlaneRotation(Matrix4& m, int i, int j, float angle) {
  MatrixIdentity(m);
  const float cosine = static_cast<float>(std::cos(static_cast<double>(angle)));
  const float sine = static_cast<float>(std::sin(static_cast<double>(angle)));
  m.at(i, i) = cosine;
  m.at(j, j) = cosine;
  m.at(i, j) = sine;
  m.at(j, i) = -sine;
}

}  // namespace

void MatrixRotationX(Matrix4& m, float angle) { PlaneRotation(m, 1, 2, angle); }
void MatrixRotationY(Matrix4& m, float angle) { PlaneRotation(m, 2, 0, angle); }
void MatrixRotationZ(Matrix4& m, float angle) { PlaneRotation(m, 0, 1, angle); }

}  // namespace rw
