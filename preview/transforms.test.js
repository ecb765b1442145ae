// node --test: turns composed in an order about the parent's axes, and the frame a motion path gives.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const transforms = require('./transforms.js');

function Near(got, expected, what) {
  got.forEach((v, i) => assert.ok(Math.abs(v - expected[i]) < 1e-12, `${what}: [${got}] is not [${expected}]`));
}

// A quarter turn about each of two axes moves +Y to a different place in each order: the first
// letter turns first, about the parent's axes.
test('turns apply in the given order', () => {
  const q = Math.PI / 2;
  const cases = [
    {order: 'XYZ', angles: [q, q, 0], y: [1, 0, 0]},   // X: +Y to +Z, then Y: +Z to +X
    {order: 'YXZ', angles: [q, q, 0], y: [0, 0, 1]},   // Y leaves +Y, then X: +Y to +Z
    {order: 'XZY', angles: [q, 0, q], y: [0, 0, 1]},   // X: +Y to +Z, Z leaves it
    {order: 'ZXY', angles: [q, 0, q], y: [-1, 0, 0]},  // Z: +Y to -X, X leaves it
    {order: 'ZYX', angles: [0, q, q], y: [0, 0, 1]},   // Z: +Y to -X, Y: -X to +Z
    {order: 'YZX', angles: [0, q, q], y: [-1, 0, 0]},  // Y leaves +Y, Z: +Y to -X
  ];
  for (const c of cases) Near(transforms.Apply(transforms.EulerMatrix(c.order, c.angles), [0, 1, 0]), c.y, c.order);
  const m = transforms.LocalMatrix([1, 2, 3, q, 0, 0], 'XYZ');
  Near(transforms.Apply(m, [0, 1, 0]), [1, 2, 4], 'turned, then moved');
});

test('a path frame points its front axis along the path, its up axis toward +Y, right-handed', () => {
  const cases = [
    {front: 2, up: 1, columns: [[0, 0, -1], [0, 1, 0], [1, 0, 0]]},
    {front: 0, up: 1, columns: [[1, 0, 0], [0, 1, 0], [0, 0, 1]]},
    {front: 1, up: 1, columns: [[0, 0, 1], [1, 0, 0], [0, 1, 0]]},  // up falls to the next axis, Z
  ];
  for (const c of cases) {
    const m = transforms.PathFrame([7, 8, 9], [2, 0, 0], c.front, c.up);
    Near([m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10], m[12], m[13], m[14]], c.columns.flat().concat([7, 8, 9]),
         `front ${c.front} up ${c.up}`);
  }
});
