// Transforms: 4x4 matrices as 16 numbers, column by column (as three.js keeps them), acting on
// column vectors; turns about the parent's axes in a record's rotation order; the frame a motion
// path gives its leader.
(function (root, factory) {
  if (typeof module === 'object' && module.exports) module.exports = factory();
  else root.ReelwrightTransforms = factory();
})(typeof globalThis !== 'undefined' ? globalThis : this, function () {
  'use strict';

  function Identity() { return [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]; }
  function Multiply(a, b) {
    var r = new Array(16);
    for (var c = 0; c < 4; ++c) {
      for (var row = 0; row < 4; ++row) {
        var sum = 0;
        for (var k = 0; k < 4; ++k) sum += a[k * 4 + row] * b[c * 4 + k];
        r[c * 4 + row] = sum;
      }
    }
    return r;
  }
  function Translation(x, y, z) { var m = Identity(); m[12] = x; m[13] = y; m[14] = z; return m; }

  // Right-handed turns about one axis: a positive angle turns Y toward Z, Z toward X, X toward Y.
  function AxisRotation(axis, a) {
    var c = Math.cos(a), s = Math.sin(a), m = Identity();
    var i = axis === 'X' ? 1 : axis === 'Y' ? 2 : 0, j = axis === 'X' ? 2 : axis === 'Y' ? 0 : 1;
    m[i * 4 + i] = c; m[j * 4 + j] = c; m[i * 4 + j] = s; m[j * 4 + i] = -s;
    return m;
  }

  // Rotation by angles (radians) about X, Y and Z, turning in `order` ("XYZ": X first), each
  // about the parent's axes.
  function EulerMatrix(order, r) {
    var m = Identity();
    for (var i = 0; i < 3; ++i) {
      var axis = order[i];
      m = Multiply(AxisRotation(axis, r['XYZ'.indexOf(axis)]), m);
    }
    return m;
  }
  // Translation and turns from six values: translate X, Y, Z, rotate X, Y, Z.
  function LocalMatrix(values, order) {
    return Multiply(Translation(values[0], values[1], values[2]), EulerMatrix(order, values.slice(3)));
  }
  function Apply(m, p) {
    return [m[0] * p[0] + m[4] * p[1] + m[8] * p[2] + m[12], m[1] * p[0] + m[5] * p[1] + m[9] * p[2] + m[13],
            m[2] * p[0] + m[6] * p[1] + m[10] * p[2] + m[14]];
  }

  function Cross(a, b) { return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]]; }
  function Normalize(v) {
    var l = Math.sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return l > 1e-12 ? [v[0] / l, v[1] / l, v[2] / l] : null;
  }

  // The frame at `position` whose front axis (0 X, 1 Y, 2 Z) points along `direction` and whose
  // up axis leans toward world +Y; the third axis completes a right-handed frame.
  function PathFrame(position, direction, frontAxis, upAxis) {
    var f = Normalize(direction) || [0, 0, 1];
    var s = Normalize(Cross(f, [0, 1, 0])) || [1, 0, 0];
    var up = Cross(s, f);
    var front = ((frontAxis % 3) + 3) % 3, upIndex = ((upAxis % 3) + 3) % 3;
    if (front === upIndex) upIndex = (front + 1) % 3;
    var axes = [null, null, null];
    axes[front] = f; axes[upIndex] = up;
    var third = 3 - front - upIndex;
    axes[third] = (third + 1) % 3 === front ? Cross(f, up) : Cross(up, f);
    return [axes[0][0], axes[0][1], axes[0][2], 0, axes[1][0], axes[1][1], axes[1][2], 0,
            axes[2][0], axes[2][1], axes[2][2], 0, position[0], position[1], position[2], 1];
  }

  // A turn about the local axis (0 X, 1 Y, 2 Z), for a path's front twist.
  function TwistMatrix(axis, angle) { return AxisRotation('XYZ'[((axis % 3) + 3) % 3], angle); }

  return {Identity: Identity, Multiply: Multiply, Translation: Translation, AxisRotation: AxisRotation,
          EulerMatrix: EulerMatrix,
          LocalMatrix: LocalMatrix, Apply: Apply, Cross: Cross, Normalize: Normalize, PathFrame: PathFrame,
          TwistMatrix: TwistMatrix};
});
