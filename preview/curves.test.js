// node --test: curve values between and outside keys, in both ANIM layouts and the older
// layout's splines, and points on NURB curves by parameter and by fraction of length.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const curves = require('./curves.js');

// Two keys at 0 s and 2 s on the straight line from v0 to v1, each with the line's unit tangent.
function Line(v0, v1, pre, post) {
  const a = Math.atan((v1 - v0) / 2), tangent = [Math.cos(a), Math.sin(a)];
  const key = (time, value) => ({time, value, inTangent: tangent, outTangent: tangent});
  return {layout: 'tangents', preInfinity: pre, postInfinity: post, keys: [key(0, v0), key(2, v1)]};
}

test('tangent curves: exact at keys, on the line between, held or continued outside', () => {
  const cases = [
    {name: 'at the first key', curve: Line(1, 5, 0, 0), t: 0, value: 1},
    {name: 'midpoint is the mean', curve: Line(1, 5, 0, 0), t: 1, value: 3},
    {name: 'at the last key', curve: Line(1, 5, 0, 0), t: 2, value: 5},
    {name: 'constant after the end', curve: Line(1, 5, 0, 0), t: 3, value: 5},
    {name: 'linear after the end', curve: Line(1, 5, 0, 1), t: 3, value: 7},
    {name: 'linear before the start', curve: Line(1, 5, 1, 0), t: -1, value: -1},
    {name: 'no keys', curve: {keys: []}, t: 1, value: 0},
  ];
  for (const c of cases) assert.ok(Math.abs(curves.EvaluateCurve(c.curve, c.t) - c.value) < 1e-12, c.name);
});

// Handles at the thirds of the gap in time: the value at t is the Bezier polynomial at t / 3.
test('Bezier curves follow their absolute handles', () => {
  const curve = {layout: 'bezier', preInfinity: 0, postInfinity: 1, keys: [
    {time: 0, value: 0, inHandle: [0, 0], outHandle: [1, 4]},
    {time: 3, value: 1, inHandle: [2, -2], outHandle: [0, 0]}]};
  const bezier = (s) => 3 * (1 - s) * (1 - s) * s * 4 + 3 * (1 - s) * s * s * -2 + s * s * s;
  const cases = [[0, 0], [0.75, bezier(0.25)], [1.5, bezier(0.5)], [3, 1], [4, 1 + (1 - -2) / (3 - 2)]];
  for (const [t, value] of cases) assert.ok(Math.abs(curves.EvaluateCurve(curve, t) - value) < 1e-12, `at ${t} s`);
});

test('tension / continuity / bias splines pass through their keys and hold outside', () => {
  const times = [0, 1, 2], values = [0, -2, 4], tcb = [[0, 0, 0], [0, 0, 0], [0, 0, 0]];
  for (const [t, value] of [[-1, 0], [0, 0], [1, -2], [2, 4], [3, 4]]) assert.equal(curves.EvaluateTcb(times, values, tcb, t), value);
});

test('NURB points by parameter and by fraction of arc length', () => {
  // A line whose parameter runs unevenly: 1 unit for its first metre, 1 for the next four.
  const line = {degree: 1, controlPoints: [[0, 0, 0, 1], [1, 0, 0, 1], [5, 0, 0, 1]], knots: [0, 1, 2]};
  assert.ok(curves.NurbUsable(line));
  assert.deepEqual(curves.NurbDomain(line), [0, 2]);
  assert.deepEqual(curves.NurbPoint(line, 1), [1, 0, 0]);
  assert.deepEqual(curves.NurbPoint(line, 9), [5, 0, 0], 'clamped to the domain');
  const arc = curves.ArcTable(line, 256);
  for (const [fraction, x] of [[0, 0], [0.1, 0.5], [0.5, 2.5], [1, 5]]) {
    assert.ok(Math.abs(curves.NurbPoint(line, curves.ParameterAtFraction(arc, fraction))[0] - x) < 1e-9, `fraction ${fraction}`);
  }
  // A quadratic arc with weights: the middle point pulls the curve toward it.
  const arch = {degree: 2, controlPoints: [[0, 0, 0, 1], [1, 2, 0, 1], [2, 0, 0, 1]], knots: [0, 0, 1, 1]};
  assert.deepEqual(curves.NurbPoint(arch, 0.5), [1, 1, 0]);
  for (const unusable of [{degree: 2, controlPoints: [[0, 0, 0, 1], [1, 0, 0, 1]], knots: [0, 1, 1]},
                          {degree: 1, controlPoints: [[0, 0, 0, 1], [1, 0, 0, 1]], knots: [0, 1, 2]}, undefined]) {
    assert.equal(curves.NurbUsable(unusable), false);
  }
});

test('keys from the page\'s binary block: floats per curve, times as doubles, then the floats; another size is refused', () => {
  const bytes = new Uint8Array(8 + 2 * 8 + (3 + 5) * 4), view = new DataView(bytes.buffer);
  bytes.set([3, 5]);
  view.setFloat64(8, 1 / 3, true);
  view.setFloat64(16, 2.5, true);
  [7, 1, 0, -2, 0.5, 0.25, 0.75, 0.125].forEach((v, i) => view.setFloat32(24 + 4 * i, v, true));
  const list = [{layout: 'tangents', keyCount: 1}, {layout: 'bezier', keyCount: 1}];
  assert.equal(curves.AttachKeys(list, bytes), true);
  assert.deepEqual(list.map((c) => c.keys), [[{time: 1 / 3, value: 7, inTangent: [1, 0], outTangent: [1, 0]}],
                                             [{time: 2.5, value: -2, inHandle: [0.5, 0.25], outHandle: [0.75, 0.125]}]]);
  for (const broken of [bytes.subarray(0, bytes.length - 1), Uint8Array.of(4, 5, 0, 0, 0, 0, 0, 0, ...bytes.subarray(8))]) {
    assert.equal(curves.AttachKeys(list, broken), false);
  }
  assert.deepEqual(curves.Base64Bytes(' AAEC/w== '), new Uint8Array([0, 1, 2, 255]));
});
