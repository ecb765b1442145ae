// node --test: the scene model on documents shaped as `dump --json --keys` prints them and
// statements shaped as the page holds them: parents, odd and deep names, motion paths, look-at
// rigs, cameras and the script's events.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const sceneModel = require('./scene-model.js');

const kSlots = ['translateXCurve', 'translateYCurve', 'translateZCurve', 'rotateXCurve', 'rotateYCurve', 'rotateZCurve'];

function Document() {
  return {layout: 'homeworld2', info: {fps: 24, start: 0, end: 3}, curves: [], nurbCurves: [], paths: [], leaders: [],
          followers: [], cameras: [], faults: [], chunks: [],
          scene: {fps: 24, infoUnit: 'seconds', start: 0, end: 3, paths: [], leaders: [], followers: [], cameras: [], notes: []}};
}
function Index(doc, path) {
  const i = doc.scene.followers.findIndex((f) => f.namePath === path || f.name === path);
  return i < 0 ? null : i;
}
// A follower and its leader, as the records and as the scene section reads them: the leader's
// start values place it; `slots` and `own` name curves by slot; `parent` and `aimAt` are paths.
function Add(doc, name, values, options = {}) {
  const leader = {name: 'LEAD_' + name, pathName: '', startPosition: values.slice(0, 3), startRotation: values.slice(3),
                  rotationOrder: ' ZYX'};
  const follower = {name: options.follower || 'FOLW_' + name, leaderName: leader.name, class: options.class || 'Ship',
                    blueprint: options.blueprint || '', numbers: [0, 0, 0, 0, 0, 0], rotationOrder: ' ZYX'};
  const uses = (names) => kSlots.map((key, i) => ((names || [])[i] ? 'curve' : 'empty'));
  kSlots.forEach((key, i) => { leader[key] = (options.slots || [])[i] || ''; follower[key] = (options.own || [])[i] || ''; });
  doc.scene.leaders.push({name: leader.name, slots: uses(options.slots), turnOrder: 'XYZ', onPath: options.path !== undefined,
                          path: options.path === undefined ? null : options.path});
  doc.scene.followers.push({name: follower.name, namePath: name, kind: options.kind || 'ship', leader: doc.leaders.length,
                            parent: Index(doc, options.parent), aimAt: Index(doc, options.aimAt), camera: null,
                            slots: uses(options.own), turnOrder: 'XYZ'});
  doc.leaders.push(leader);
  doc.followers.push(follower);
}
// A straight curve from (0 s, v0) to (2 s, v1).
function Line(name, v0, v1) {
  const a = Math.atan((v1 - v0) / 2), tangent = [Math.cos(a), Math.sin(a)];
  const key = (time, value) => ({time, value, inTangent: tangent, outTangent: tangent});
  return {name, layout: 'tangents', preInfinity: 0, postInfinity: 0, timeRange: [0, 2], keys: [key(0, v0), key(2, v1)]};
}
function Camera(doc, name, follower, extra = {}) {
  doc.scene.cameras.push({name, follower: Index(doc, follower), centerOfInterest: null, focalLengthCurve: null});
  doc.cameras.push(Object.assign({name, followerName: follower, centerOfInterest: '', focalLengthCurve: '', focalLength: 21.8,
                                  horizontalAperture: 31.92, verticalAperture: 24, nearClip: 1, farClip: 1e7}, extra));
}
// Statements: [unit, time, block, function, arguments], at 24 frames per second.
function Script(rows) {
  return {statements: rows.map(([unit, time, block, fn, args], i) => ({line: i + 1, unit, time, block, text: fn + '(...)',
                                                                        seconds: unit === 'frames' ? time / 24 : time,
                                                                        function: fn, arguments: args || []})), problems: []};
}
function Near(got, expected, what) {
  assert.equal(got.length, expected.length, what);
  got.forEach((v, i) => assert.ok(Math.abs(v - expected[i]) < 1e-9, `${what}: [${got}] is not [${expected}]`));
}
function Position(model, name, t) { return sceneModel.MakeApi(model).evaluate(name, t).position; }

test('objects stand under their parents, or at their leaders alone', () => {
  const doc = Document();
  Add(doc, 'Root|Base', [1, 0, 0, 0, Math.PI / 2, 0]);
  Add(doc, 'Root|Base|Child', [0, 0, 1, 0, 0, 0], {parent: 'Root|Base'});
  Add(doc, 'Root|Gone|Orphan', [0, 5, 0, 0, 0, 0]);
  const model = sceneModel.BuildModel(doc, null);
  Near(Position(model, 'FOLW_Root|Base|Child', 0), [2, 0, 0], 'the child, turned and moved by its parent');
  Near(Position(model, 'FOLW_Root|Gone|Orphan', 0), [0, 5, 0], 'the orphan, at its leader');
  assert.deepEqual(model.issues, []);
});

test('names like JavaScript properties are names like any other', () => {
  const doc = Document();
  const names = ['constructor', '__proto__', 'valueOf', 'hasOwnProperty'];
  names.forEach((name, i) => {
    doc.curves.push(Line(name, 0, 2 * (i + 1)));
    Add(doc, name, [0, 0, 0, 0, 0, 0], {follower: name, slots: [name]});
    doc.scene.followers[i].namePath = name;
  });
  Add(doc, 'constructor|toString', [0, 1, 0, 0, 0, 0], {parent: 'constructor'});
  const model = sceneModel.BuildModel(doc, null);
  names.forEach((name, i) => Near(Position(model, name, 1), [i + 1, 0, 0], name));
  Near(Position(model, 'FOLW_constructor|toString', 1), [1, 1, 0], 'under the follower named "constructor"');
  assert.deepEqual(model.issues, []);
});

test('a name 10,000 levels deep opens, and a chain 3,000 deep is placed level by level', () => {
  const doc = Document();
  let path = 'a';
  for (let depth = 1; depth <= 3000; ++depth, path += '|a') Add(doc, path, [1, 0, 0, 0, 0, 0], {parent: path.slice(0, -2) || undefined});
  Add(doc, 'x|'.repeat(10000) + 'x', [0, 0, 7, 0, 0, 0]);
  const model = sceneModel.BuildModel(doc, null);
  Near(Position(model, 'FOLW_' + path.slice(0, -2), 0), [3000, 0, 0], 'the deepest of the chain');
  Near(Position(model, 'FOLW_' + 'x|'.repeat(10000) + 'x', 0), [0, 0, 7], 'the deep name, at its leader');
});

test('a motion path places its leader by fraction of length, and turns it when it follows', () => {
  for (const follows of [0, 1]) {
    const doc = Document();
    doc.nurbCurves.push({name: 'curve1', degree: 1, form: 1, controlPoints: [[0, 0, 0, 1], [1, 0, 0, 1], [5, 0, 0, 1]], knots: [0, 1, 2]});
    doc.paths.push({name: 'path1', flag: follows, frontAxis: 2, upAxis: 1, uValueCurve: '', frontTwistCurve: '', upTwistCurve: '',
                    sideTwistCurve: '', startTime: 0, endTime: 2, nurbName: 'curve1'});
    doc.scene.paths.push({name: 'path1', usable: true, turns: follows === 1, uValueCurve: null, frontTwistCurve: null,
                          frontAxis: 2, upAxis: 1});
    Add(doc, 'Root|Rider', [0, 0, 0, 0, 0, 0], {path: 0});
    Add(doc, 'Root|Rider|Nose', [0, 0, 1, 0, 0, 0], {parent: 'Root|Rider'});
    const model = sceneModel.BuildModel(doc, null);
    Near(Position(model, 'FOLW_Root|Rider', 1), [2.5, 0, 0], `half its length at half its time (follows ${follows})`);
    Near(Position(model, 'FOLW_Root|Rider|Nose', 1), follows ? [3.5, 0, 0] : [2.5, 0, 1], `its nose (follows ${follows})`);
    assert.deepEqual(model.issues, []);
  }
});

test('cameras: the field of view, a look-at rig\'s aim, and the cut in force', () => {
  const doc = Document();
  Add(doc, 'Root|Ship', [10, 0, 0, 0, 0, 0]);
  Add(doc, 'Rig|CAM_A_view', [10, 0, 0, 0, 0, 0], {kind: 'target'});
  Add(doc, 'Root|CAM_A', [0, 0, 0, 0, 0, 0], {kind: 'camera', aimAt: 'Rig|CAM_A_view'});
  Add(doc, 'Root|CAM_B', [0, 5, 0, 0, 0, 0], {kind: 'camera'});
  Camera(doc, 'CAM_A', 'FOLW_Root|CAM_A');
  Camera(doc, 'CAM_B', 'FOLW_Root|CAM_B', {focalLength: 1, horizontalAperture: 1.26, verticalAperture: 0.945});
  const plain = sceneModel.BuildModel(doc, null);
  assert.ok(Math.abs(sceneModel.VerticalFov(plain.cameras[0], 0) - 2 * Math.atan(12 / 21.8) * 180 / Math.PI) < 1e-9);
  assert.ok(Math.abs(plain.cameras[1].vAperture - 0.945 * 25.4) < 1e-9, 'apertures below 5 are inches');
  const m = sceneModel.EntityWorld(plain, plain.byName.get('FOLW_Root|CAM_A'), 0);
  Near([-m[8], -m[9], -m[10]], [1, 0, 0], 'the rig camera looks down -Z at its view');
  assert.deepEqual(plain.issues, []);
  // Without cuts the first camera, or the one the user picks; with cuts, the cut in force.
  assert.equal(sceneModel.ActiveCamera(plain, 1), 'CAM_A');
  plain.chosenCamera = 'CAM_B';
  assert.equal(sceneModel.ActiveCamera(plain, 1), 'CAM_B');
  const cut = sceneModel.BuildModel(doc, Script([['seconds', 1, '', 'cameraCut', ['CAM_B']],
                                                 ['frames', 48, '', 'cameraBlendIn', ['FOLW_Root|CAM_A', '4']],
                                                 ['seconds', 3, '', 'cameraBlendIn', ['4']]]));
  const cases = [[0, 'CAM_B'], [0.99, 'CAM_B'], [1, 'CAM_B'], [1.99, 'CAM_B'], [2, 'CAM_A'], [3, 'CAM_A']];
  for (const [t, camera] of cases) assert.equal(sceneModel.ActiveCamera(cut, t), camera, `at ${t} s`);
});

test('the script hides and shows objects, fades, letterboxes and captions the picture', () => {
  const doc = Document();
  Add(doc, 'Root|Ship', [0, 0, 0, 0, 0, 0]);
  Add(doc, 'Root|Late', [0, 0, 0, 0, 0, 0]);
  const model = sceneModel.BuildModel(doc, Script([
    ['seconds', 1, 'FOLW_Root|Ship', 'hide'], ['seconds', 2, 'FOLW_Root|Ship', 'show'], ['seconds', 2, 'Late', 'show'],
    ['seconds', 0, '', 'fadeSet', ['1']], ['seconds', 1, '', 'fadeTo', ['0', '2']], ['seconds', 5, '', 'fadeTo', ['1', '0']],
    ['seconds', 1, '', 'wideScreenIn', ['1']], ['seconds', 4, '', 'wideScreenOut'],
    ['seconds', 2, '', 'speechEventActor', ['$56120', '2', '2']], ['seconds', 2, 'Nobody', 'hide']]));
  const api = sceneModel.MakeApi(model);
  const cases = [
    // time, Ship shown, Late shown, fade, letterbox, caption
    [0, true, false, 1, false, null],
    [1, false, false, 1, true, null],
    [2, true, true, 0.5, true, '$56120'],
    [3, true, true, 0, true, '$56120'],
    [6, true, true, 1, false, null],
  ];
  for (const [t, ship, late, fade, wide, caption] of cases) {
    assert.deepEqual([api.visible('FOLW_Root|Ship', t), api.visible('FOLW_Root|Late', t), api.fade(t),
                      sceneModel.WideScreenAt(model, t), sceneModel.CaptionAt(model, t)], [ship, late, fade, wide, caption], `at ${t} s`);
  }
  assert.equal(model.end, 5, 'played on to the last event');
  assert.ok(model.notes.includes('script line 10: hide in block "Nobody", which names no object of the file'));
});

test('through a camera only the game\'s classes, each at its estimated size', () => {
  const doc = Document();
  const cases = [['ship', 'Ship', 'Hgn_Mothership', true, 2500], ['ship', 'Frigate', 'Ship1', true, 200],
                 ['effect', 'Effect', '', true, 60], ['ship', 'Salvage', '', true, 150], ['target', 'camera_target', '', false, 10],
                 ['helper', 'None', '', false, 10]];
  cases.forEach(([kind, cls, blueprint], i) => Add(doc, 'Root|O' + i, [0, 0, 0, 0, 0, 0], {kind, class: cls, blueprint}));
  const model = sceneModel.BuildModel(doc, null);
  cases.forEach(([kind, cls, blueprint, shown, size], i) => {
    const e = model.byName.get('FOLW_Root|O' + i);
    assert.deepEqual([sceneModel.ShownThroughCamera(e), e.size], [shown, size], cls + ' ' + blueprint);
  });
});

test('the older layout\'s objects pass through their keys', () => {
  const keys = [0, 0, 0], tcb = [[0, 0, 0], [0, 0, 0], [0, 0, 0]];
  const scene = {fps: 24, start: 0, end: 2, leaders: [], cameras: [], notes: [],
                 followers: [{name: 'Hgn_MS#0', namePath: 'Hgn_MS#0', kind: 'ship', leader: null, parent: null, aimAt: null}]};
  const model = sceneModel.BuildModel({layout: 'crannnberry', scene, crannnberry: {info: {start: 0, end: 2}, cameras: [], objects: [
    {name: 'Hgn_MS', instance: 0, parent: -1, timeOffset: -1, times: [0, 1, 2], tcb, x: [0, 1, 4], y: [0, -2, 0], z: keys,
     rotateX: keys, rotateY: [0, 0.5, 0], rotateZ: keys}]}}, null);
  const api = sceneModel.MakeApi(model);
  assert.deepEqual([0, 1, 2].map((t) => api.evaluate('Hgn_MS#0', t).local),
                   [[0, 0, 0, 0, 0, 0], [1, -2, 0, 0, 0.5, 0], [4, 0, 0, 0, 0, 0]]);
});
