// 4x4 matrices of 32-bit floats, row by row (element (r, c) is m[4r + c]). Points are row
// vectors on the left, so a translation stands in row 3 and a x b applies a first. Sums and
// products run in double; every element is rounded to a float where it is stored.
#ifndef REELWRIGHT_NIS_MATRIX4_H
#define REELWRIGHT_NIS_MATRIX4_H

namespace rw {

struct Matrix4 {
  float m[16];  // undefined until MatrixClear, MatrixIdentity or a rotation fills it
  float& at(int row, int col) { return m[4 * row + col]; }
  float at(int row, int col) const { return m[4 * row + col]; }
};

void MatrixClear(Matrix4& m);                                           // all 16 elements 0.0
void MatrixIdentity(Matrix4& m);                                        // 1.0 on the diagonal
void MatrixMultiply(Matrix4& dst, const Matrix4& a, const Matrix4& b);  // dst = a x b; dst may be a or b
void MatrixTranspose(Matrix4& dst, const Matrix4& src);                 // dst may be src
// Determinant (in double) of the 3x3 matrix left when row and col are struck out.
double MatrixMinor(const Matrix4& m, int row, int col);
// Determinant (in double) by expansion along row 0.
double MatrixDeterminant(const Matrix4& m);
// Rotations by angle radians about X, Y, Z for row vectors.
void MatrixRotationX(Matrix4& m, float angle);
void MatrixRotationY(Matrix4& m, float angle);
void MatrixRotationZ(Matrix4& m, float angle);

}  // namespace rw

#endif
