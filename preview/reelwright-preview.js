// Reelwright preview: evaluates a NIS scene (as `reelwright dump --json --keys` describes it) at
// any time and plays it with three.js. The first half is plain evaluation with no drawing, so
// the tests can read back what the page computes; the second half is the viewer.
// Every assumption about how the game reads a file is listed in docs/preview.md.
(function (global) {
  'use strict';

  // ---------------------------------------------------------------------------------------
  // Curves

  // A tangent's slope. A tangent with no horizontal part (two keys at one time) has no finite
  // slope; it is taken as flat so that the stretch it ends stays between its keys.
  var kVerticalTangent = 1e-9;
  function Slope(x, y) { return Math.abs(x) < kVerticalTangent ? 0 : y / x; }

  // Cubic Hermite in (seconds, value) between two keys with slopes m0 and m1.
  function Hermite(t0, v0, m0, t1, v1, m1, t) {
    var dt = t1 - t0;
    if (!(dt > 0)) return v1;
    var s = (t - t0) / dt, s2 = s * s, s3 = s2 * s;
    return (2 * s3 - 3 * s2 + 1) * v0 + (s3 - 2 * s2 + s) * dt * m0 + (-2 * s3 + 3 * s2) * v1 + (s3 - s2) * dt * m1;
  }

  function BezierAt(p0, p1, p2, p3, s) {
    var r = 1 - s;
    return r * r * r * p0 + 3 * r * r * s * p1 + 3 * r * s * s * p2 + s * s * s * p3;
  }

  // A Bezier segment from absolute handles: find the parameter whose time is t (bisection; the
  // time is monotonic while the handles stay between the keys), then its value.
  function BezierSegment(k0, k1, t) {
    var x0 = k0.time, x1 = k0.outHandle[0], x2 = k1.inHandle[0], x3 = k1.time;
    var lo = 0, hi = 1;
    for (var i = 0; i < 60; ++i) {
      var mid = 0.5 * (lo + hi);
      if (BezierAt(x0, x1, x2, x3, mid) < t) lo = mid; else hi = mid;
    }
    return BezierAt(k0.value, k0.outHandle[1], k1.inHandle[1], k1.value, 0.5 * (lo + hi));
  }

  // The slope a key leaves with (out) or arrives with (in), for either layout.
  function KeySlope(curve, i, out) {
    var k = curve.keys[i];
    if (curve.layout === 'bezier') {
      var h = out ? k.outHandle : k.inHandle;
      var dx = out ? h[0] - k.time : k.time - h[0], dy = out ? h[1] - k.value : k.value - h[1];
      return dx > 0 ? dy / dx : 0;
    }
    var tan = out ? k.outTangent : k.inTangent;
    return Slope(tan[0], tan[1]);
  }

  // Outside the keys: 0 holds the end value, 1 goes on along the end's inner tangent (the
  // first key's out side, the last key's in side: the outer handles are (0, 0) in the second layout).
  function Extrapolate(curve, i, mode, t) {
    var k = curve.keys[i];
    if (mode !== 1) return k.value;
    return k.value + (t - k.time) * KeySlope(curve, i, i === 0);
  }

  // The value of a curve (with keys) at time t in seconds.
  function EvaluateCurve(curve, t) {
    var keys = curve.keys || [];
    var n = keys.length;
    if (n === 0) return 0;
    if (t <= keys[0].time) return t === keys[0].time || n === 1 ? keys[0].value : Extrapolate(curve, 0, curve.preInfinity, t);
    if (t >= keys[n - 1].time) return t === keys[n - 1].time ? keys[n - 1].value : Extrapolate(curve, n - 1, curve.postInfinity, t);
    var lo = 0, hi = n - 1;  // keys[lo].time < t < keys[hi].time
    while (hi - lo > 1) {
      var mid = (lo + hi) >> 1;
      if (keys[mid].time <= t) lo = mid; else hi = mid;
    }
    if (keys[lo].time === t) return keys[lo].value;
    var a = keys[lo], b = keys[hi];
    if (curve.layout === 'bezier') return BezierSegment(a, b, t);
    return Hermite(a.time, a.value, KeySlope(curve, lo, true), b.time, b.value, KeySlope(curve, hi, false), t);
  }

  // Kochanek-Bartels (tension, continuity, bias) through keys given as parallel arrays.
  function EvaluateTcb(times, values, tcb, t) {
    var n = times.length;
    if (n === 0) return 0;
    if (t <= times[0]) return values[0];
    if (t >= times[n - 1]) return values[n - 1];
    var i = 0;
    while (i < n - 2 && times[i + 1] <= t) ++i;
    function Tangent(k, incoming) {
      var p = values[Math.max(k - 1, 0)], c = values[k], q = values[Math.min(k + 1, n - 1)];
      var w = tcb && tcb[k] ? tcb[k] : [0, 0, 0];
      var tt = w[0], cc = w[1], bb = w[2];
      var fa = incoming ? (1 - tt) * (1 - cc) * (1 + bb) / 2 : (1 - tt) * (1 + cc) * (1 + bb) / 2;
      var fb = incoming ? (1 - tt) * (1 + cc) * (1 - bb) / 2 : (1 - tt) * (1 - cc) * (1 - bb) / 2;
      return fa * (c - p) + fb * (q - c);
    }
    var dt = times[i + 1] - times[i];
    if (!(dt > 0)) return values[i + 1];
    var s = (t - times[i]) / dt, s2 = s * s, s3 = s2 * s;
    return (2 * s3 - 3 * s2 + 1) * values[i] + (s3 - 2 * s2 + s) * Tangent(i, false) +
           (-2 * s3 + 3 * s2) * values[i + 1] + (s3 - s2) * Tangent(i + 1, true);
  }

  // ---------------------------------------------------------------------------------------
  // Matrices: 16 numbers, column by column (as three.js keeps them), acting on column vectors.

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

  // The rotation order as stored (" ZYX") is read backwards: "XYZ", X applied first.
  function RotationOrder(stored) {
    if (typeof stored !== 'string' || stored.length !== 4) return null;
    var order = stored.split('').reverse().join('').trim();
    return /^(?=.*X)(?=.*Y)(?=.*Z)[XYZ]{3}$/.test(order) ? order : null;
  }
  var kDefaultOrder = 'XYZ';

  // Rotation by angles (radians) about X, Y and Z, applied in the given order.
  function EulerMatrix(order, r) {
    var m = Identity();
    for (var i = 0; i < 3; ++i) {
      var axis = order[i];
      m = Multiply(AxisRotation(axis, r['XYZ'.indexOf(axis)]), m);
    }
    return m;
  }
  function Apply(m, p) {
    return [m[0] * p[0] + m[4] * p[1] + m[8] * p[2] + m[12], m[1] * p[0] + m[5] * p[1] + m[9] * p[2] + m[13],
            m[2] * p[0] + m[6] * p[1] + m[10] * p[2] + m[14]];
  }

  // ---------------------------------------------------------------------------------------
  // NURB curves (three.js's NURBS utilities do the de Boor step)

  // The file lists control points + degree - 1 knots; the full knot vector repeats both ends.
  function FullKnots(nurb) {
    var k = nurb.knots.slice();
    return [k[0]].concat(k, [k[k.length - 1]]);
  }
  function NurbPoint(nurb, u) {
    var knots = FullKnots(nurb), p = nurb.degree, n = nurb.controlPoints.length;
    u = Math.min(Math.max(u, knots[p]), knots[n]);
    var points = nurb.controlPoints.map(function (c) { return new THREE.Vector4(c[0], c[1], c[2], c[3]); });
    var h = THREE.NURBSUtils.calcBSplinePoint(p, knots, points, u);
    return h.w !== 0 ? [h.x / h.w, h.y / h.w, h.z / h.w] : [h.x, h.y, h.z];
  }
  function NurbDomain(nurb) {
    var knots = FullKnots(nurb);
    return [knots[nurb.degree], knots[nurb.controlPoints.length]];
  }
  function NurbUsable(nurb) {
    return nurb && nurb.degree >= 1 && nurb.controlPoints.length > nurb.degree &&
           nurb.knots.length === nurb.controlPoints.length + nurb.degree - 1 && typeof THREE !== 'undefined' &&
           THREE.NURBSUtils;
  }

  // ---------------------------------------------------------------------------------------
  // The scene model

  var kSlotKeys = ['translateXCurve', 'translateYCurve', 'translateZCurve', 'rotateXCurve', 'rotateYCurve', 'rotateZCurve'];

  function StripPrefix(name, prefix) { return name.indexOf(prefix) === 0 ? name.substring(prefix.length) : name; }
  function Finite(x) { return typeof x === 'number' && isFinite(x); }

  // The script's events: `at N` in seconds, `at frame N` in frames, `with NAME { ... }` blocks,
  // `--` comments. Each statement becomes one event.
  function ParseScript(text, fps) {
    var events = [], time = 0, block = null;
    var lines = text.split(/\r?\n/);
    for (var i = 0; i < lines.length; ++i) {
      var line = lines[i].replace(/--.*$/, '').trim();
      if (!line) continue;
      var m;
      if ((m = /^at\s+frame\s+([-+0-9.eE]+)$/.exec(line))) { time = parseFloat(m[1]) / fps; continue; }
      if ((m = /^at\s+([-+0-9.eE]+)$/.exec(line))) { time = parseFloat(m[1]); continue; }
      if ((m = /^with\s+(.+?)\s*(\{)?$/.exec(line))) { block = m[1]; continue; }
      if (line === '{') continue;
      if (line === '}') { block = null; time = 0; continue; }
      var call = /^([A-Za-z_][A-Za-z0-9_]*)\s*\((.*)\)\s*;?$/.exec(line);
      var args = call ? call[2] : '';
      var first = /^\s*"([^"]*)"/.exec(args);
      events.push({time: time, text: line, block: block, line: i + 1, function: call ? call[1] : null,
                   target: first ? first[1] : null});
    }
    return events;
  }

  // Builds everything the page shows from the dump document and the script text (or null).
  function BuildModel(doc, scriptText) {
    var model = {doc: doc, issues: [], notes: [], curves: {}, entities: [], byName: {}, cameras: [], events: [],
                 cuts: [], fps: 24, start: 0, end: 0, startFrame: 0, layout: doc.layout || 'homeworld2'};
    function Issue(text) { model.issues.push(text); }
    (doc.faults || []).forEach(function (f) { Issue('fault at byte ' + f.offset + ' (' + f.where + '): ' + f.message); });
    (doc.chunks || []).forEach(function Walk(c) {
      if (c.children) c.children.forEach(Walk);
      else if (c.decoded === false) Issue('chunk ' + c.id + ' at byte ' + c.offset + ' is not understood: not shown');
      else if (c.decoded === 'partial') Issue('chunk ' + c.id + ' at byte ' + c.offset + ' read only up to byte ' + c.stoppedAt + ': ' + c.stopReason);
    });

    var lastKey = 0;
    (doc.curves || []).forEach(function (c) {
      if (!(c.name in model.curves)) model.curves[c.name] = c;
      if (c.layout && c.layout !== 'tangents' && c.layout !== 'bezier') Issue('curve ' + c.name + ' has the layout "' + c.layout + '", which the preview does not animate: held at 0');
      if (c.timeRange) lastKey = Math.max(lastKey, c.timeRange[1]);
    });
    var info = doc.info;
    if (info && Finite(info.fps) && info.fps > 0) model.fps = info.fps;
    else if (doc.layout === 'crannnberry') model.notes.push('the file gives no frame rate: frames are counted at 24 per second');
    else Issue('INFO gives no frame rate above 0: played at 24 frames per second');
    if (doc.leaderVariant === 'older' || doc.followerVariant === 'older') {
      model.notes.push('older record layout: no rotation order, XYZ assumed; follower classes are numbers');
    }
    if (info) {
      // Our exporter writes whole seconds and never more than one second past the last key; the
      // game's files write frame numbers. A range end that far past the keys is read as frames.
      var frames = info.end > lastKey + 1;
      model.start = frames ? info.start / model.fps : info.start;
      model.end = frames ? info.end / model.fps : info.end;
      model.notes.push('INFO range ' + info.start + ' .. ' + info.end + ' read as ' + (frames ? 'frame numbers' : 'seconds'));
    }
    if (doc.layout === 'crannnberry' && doc.crannnberry) BuildCrannnberry(model, doc.crannnberry);
    else BuildHomeworld2(model, doc);
    if (!(model.end > model.start)) model.end = Math.max(model.start + 1, lastKey);

    if (scriptText !== null && scriptText !== undefined) {
      model.events = ParseScript(scriptText, model.fps);
      model.events.forEach(function (e) {
        e.afterEnd = e.time > model.end;
        if (e.function !== 'cameraCut') return;
        var cam = FindCamera(model, e.target);
        if (cam) model.cuts.push({time: e.time, camera: cam.name});
        else Issue('script line ' + e.line + ': cameraCut to "' + e.target + '", which names no camera of the file');
      });
      model.cuts.sort(function (a, b) { return a.time - b.time; });
    }
    return model;
  }

  function FindCamera(model, name) {
    for (var i = 0; i < model.cameras.length; ++i) if (model.cameras[i].name === name) return model.cameras[i];
    for (i = 0; i < model.cameras.length; ++i) if (model.cameras[i].followerName === name) return model.cameras[i];
    return null;
  }

  // One motion source (a leader or a follower's own slots): six values at time t.
  function SlotSource(model, owner, record, fallback, order) {
    var slots = kSlotKeys.map(function (key, i) {
      var name = record[key] || '';
      var curve = model.curves[name];
      if (curve) return {curve: curve};
      if (name !== '' && !owner.path) {
        model.issues.push(record.name + ': ' + key + ' "' + name + '" resolves nowhere: its start value ' + fallback[i] + ' is used');
      }
      return {value: Finite(fallback[i]) ? fallback[i] : 0};
    });
    return {slots: slots, order: order};
  }
  function SlotValues(source, t) {
    return source.slots.map(function (s) { return s.curve ? EvaluateCurve(s.curve, t) : s.value; });
  }
  function LocalMatrix(values, order) {
    return Multiply(Translation(values[0], values[1], values[2]), EulerMatrix(order, values.slice(3)));
  }

  function OrderOf(model, record) {
    var order = RotationOrder(record.rotationOrder);
    if (order) return order;
    if (record.rotationOrder !== null && record.rotationOrder !== undefined) {
      model.issues.push(record.name + ': rotation order "' + record.rotationOrder + '" is not understood: XYZ is used');
    }
    return kDefaultOrder;
  }

  function BuildHomeworld2(model, doc) {
    var leaders = {}, followedLeaders = {}, nurbs = {}, paths = {};
    (doc.leaders || []).forEach(function (l) { if (!(l.name in leaders)) leaders[l.name] = l; });
    (doc.nurbCurves || []).forEach(function (n) { nurbs[n.name] = n; });
    (doc.paths || []).forEach(function (p) { paths[p.name] = p; });
    var byPath = {};
    (doc.followers || []).forEach(function (f) {
      if (f.name === 'FOLW_Empty') { model.notes.push('placeholder FOLW_Empty: not drawn'); return; }
      var e = {name: f.name, kind: KindOf(f), label: f.name, record: f, path: StripPrefix(f.name, 'FOLW_'), parent: null};
      e.own = SlotSource(model, {}, f, f.numbers || [0, 0, 0, 0, 0, 0], OrderOf(model, f));
      var leader = f.leaderName ? leaders[f.leaderName] : null;
      if (leader) {
        followedLeaders[leader.name] = true;
        var motion = leader.pathName ? paths[leader.pathName] : null;
        if (leader.pathName && !motion) model.issues.push(leader.name + ': motion path "' + leader.pathName + '" is not in the file');
        var fallback = (leader.startPosition || [0, 0, 0]).concat(leader.startRotation || [0, 0, 0]);
        e.leader = SlotSource(model, {path: motion}, leader, fallback, OrderOf(model, leader));
        if (motion) AttachPath(model, e, leader, motion, nurbs);
      } else if (f.leaderName) {
        model.issues.push(f.name + ': leader "' + f.leaderName + '" is not in the file: placed by its own slots only');
      }
      model.entities.push(e);
      if (!(e.name in model.byName)) model.byName[e.name] = e;
      if (!(e.path in byPath)) byPath[e.path] = e;
    });
    Object.keys(leaders).forEach(function (name) {
      if (name !== 'LEAD_Empty' && !followedLeaders[name]) model.issues.push('leader ' + name + ' has no follower: not drawn');
    });
    // The name path gives the parent: Root|Fleet|Ship1 stands under Root|Fleet.
    model.entities.forEach(function (e) {
      var path = e.path, skipped = [];
      for (var cut = path.lastIndexOf('|'); cut > 0; cut = path.lastIndexOf('|')) {
        path = path.substring(0, cut);
        if (byPath[path] && byPath[path] !== e) { e.parent = byPath[path]; break; }
        if (path.indexOf('|') >= 0) skipped.push(path);
      }
      if (skipped.length && e.parent) model.issues.push(e.name + ': ' + skipped.join(', ') + ' not in the file: placed under ' + e.parent.name);
      else if (skipped.length) model.issues.push(e.name + ': ' + skipped.join(', ') + ' not in the file: placed at the top');
    });
    (doc.cameras || []).forEach(function (c) {
      var e = model.byName[c.followerName];
      if (!e) {
        model.issues.push('camera ' + c.name + ': follower "' + c.followerName + '" is not in the file: cannot be placed');
        return;
      }
      e.kind = 'camera';
      var p = c.focalLength, h = c.horizontalAperture, v = c.verticalAperture;
      var cam = {name: c.name, followerName: c.followerName, entity: e, record: c,
                 focal: Finite(p) && p > 0 ? p : 35, hAperture: Finite(h) && h > 0 ? h : 36, vAperture: Finite(v) && v > 0 ? v : 24,
                 near: Finite(c.nearClip) && c.nearClip > 0 ? c.nearClip : 1, far: Finite(c.farClip) && c.farClip > 0 ? c.farClip : 1e7,
                 focalCurve: model.curves[c.focalLengthCurve] || null, target: null};
      if (c.focalLengthCurve && !cam.focalCurve) model.issues.push('camera ' + c.name + ': focal length curve "' + c.focalLengthCurve + '" resolves nowhere: ' + cam.focal + ' mm is used');
      // Apertures below 5 can only be inches, as the modelling package keeps them.
      if (cam.hAperture < 5 && cam.vAperture < 5) { cam.hAperture *= 25.4; cam.vAperture *= 25.4; }
      if (c.centerOfInterest) {
        cam.target = model.byName[c.centerOfInterest] || null;
        if (!cam.target) model.issues.push('camera ' + c.name + ': centre of interest "' + c.centerOfInterest + '" is not in the file');
      }
      e.camera = cam;
      model.cameras.push(cam);
    });
  }

  function KindOf(f) {
    var c = (f.class || '').toLowerCase();
    if (c === 'camera') return 'camera';
    if (c === 'effect') return 'effect';
    if (c === 'none' || c === '' || c === 'camera_target') return 'other';
    return 'ship';
  }

  // A motion-path leader: its position is the NURB curve at u, where u comes from the path's
  // u-value curve, or runs evenly over the curve between the path's start and end times.
  function AttachPath(model, e, leader, path, nurbs) {
    var nurb = nurbs[path.nurbName];
    if (!NurbUsable(nurb)) {
      model.issues.push(leader.name + ': motion path ' + path.name + ' has no usable NURB curve "' + path.nurbName + '": its curves and start values are used');
      return;
    }
    var uCurve = model.curves[path.uValueCurve] || null;
    var domain = NurbDomain(nurb);
    e.motionPath = {nurb: nurb, uCurve: uCurve, domain: domain, start: path.startTime, end: path.endTime,
                    front: path.frontAxis, up: path.upAxis};
    model.notes.push(leader.name + ' follows motion path ' + path.name + (uCurve ? ' by its u-value curve' : ' evenly from ' + path.startTime + ' s to ' + path.endTime + ' s'));
  }

  function PathU(mp, t) {
    if (mp.uCurve) return EvaluateCurve(mp.uCurve, t);
    var span = mp.end - mp.start;
    var f = span > 0 ? Math.min(Math.max((t - mp.start) / span, 0), 1) : 0;
    return mp.domain[0] + f * (mp.domain[1] - mp.domain[0]);
  }

  // The leader's local matrix on its path: on the curve, its front axis along the curve's
  // direction and its up axis toward world up.
  function PathMatrix(mp, t) {
    var u = PathU(mp, t), du = (mp.domain[1] - mp.domain[0]) * 1e-4 || 1e-4;
    var p = NurbPoint(mp.nurb, u), q = NurbPoint(mp.nurb, Math.min(u + du, mp.domain[1]));
    if (q[0] === p[0] && q[1] === p[1] && q[2] === p[2]) { q = p; p = NurbPoint(mp.nurb, u - du); }
    var f = Normalize([q[0] - p[0], q[1] - p[1], q[2] - p[2]]) || [0, 0, 1];
    var s = Normalize(Cross(f, [0, 1, 0])) || [1, 0, 0];
    var up = Cross(s, f);
    var axes = [null, null, null];
    var frontAxis = mp.front % 3, upAxis = mp.up % 3;
    if (frontAxis === upAxis) upAxis = (frontAxis + 1) % 3;
    axes[frontAxis] = f; axes[upAxis] = up;
    var third = 3 - frontAxis - upAxis;
    axes[third] = (third + 1) % 3 === frontAxis ? Cross(f, up) : Cross(up, f);
    var pos = NurbPoint(mp.nurb, u);
    return [axes[0][0], axes[0][1], axes[0][2], 0, axes[1][0], axes[1][1], axes[1][2], 0,
            axes[2][0], axes[2][1], axes[2][2], 0, pos[0], pos[1], pos[2], 1];
  }
  function Cross(a, b) { return [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]]; }
  function Normalize(v) {
    var l = Math.sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return l > 1e-12 ? [v[0] / l, v[1] / l, v[2] / l] : null;
  }

  // The older layout's objects: one curve set per object, keys with tension, continuity, bias.
  function BuildCrannnberry(model, c) {
    if (c.info && Finite(c.info.start) && Finite(c.info.end)) { model.start = c.info.start; model.end = c.info.end; }
    function Source(r) {
      if (!r.times) return null;
      var arrays = [r.x, r.y, r.z, r.rotateX, r.rotateY, r.rotateZ];
      var offset = Finite(r.timeOffset) && r.timeOffset > 0 ? r.timeOffset : 0;
      return {tcb: function (t) {
        return arrays.map(function (a) { return a ? EvaluateTcb(r.times, a, r.tcb, t - offset) : 0; });
      }};
    }
    (c.objects || []).forEach(function (o) {
      var e = {name: o.name + '#' + o.instance, kind: 'ship', label: o.name + ' #' + o.instance, record: o, path: '', parent: null,
               own: Source(o)};
      if (!e.own) { model.issues.push('object ' + e.label + ': no keys in the document: not drawn'); return; }
      model.entities.push(e);
      model.byName[e.name] = e;
      if (o.parent !== -1) model.issues.push('object ' + e.label + ': parent ' + o.parent + ' is not followed: placed at the top');
    });
    (c.cameras || []).forEach(function (r, i) {
      var e = {name: 'camera #' + (i + 1), kind: 'camera', label: 'camera #' + (i + 1), record: r, path: '', parent: null, own: Source(r)};
      if (!e.own) { model.issues.push(e.label + ': no keys in the document: not drawn'); return; }
      e.camera = {name: e.name, followerName: e.name, entity: e, record: r, focal: 35, hAperture: 36, vAperture: 24, near: 1,
                  far: 1e7, focalCurve: null, target: null};
      model.entities.push(e);
      model.byName[e.name] = e;
      model.cameras.push(e.camera);
    });
    model.notes.push('Crannnberry layout: keys as tension/continuity/bias splines, rotations as radians in XYZ order, cameras at 35 mm');
  }

  // An entity at time t: its parent-relative values and its world matrix.
  function EntityLocal(e, t) {
    var m = Identity(), values = null;
    if (e.own && e.own.tcb) {
      values = e.own.tcb(t);
      return {values: values, matrix: LocalMatrix(values, kDefaultOrder)};
    }
    if (e.leader) {
      values = SlotValues(e.leader, t);
      if (e.motionPath) {
        // On a path only rotate slots that name curves add to the path's own turn.
        var turn = values.slice(3).map(function (v, i) { return e.leader.slots[3 + i].curve ? v : 0; });
        m = Multiply(PathMatrix(e.motionPath, t), EulerMatrix(e.leader.order, turn));
      } else {
        m = LocalMatrix(values, e.leader.order);
      }
    }
    var own = SlotValues(e.own, t);
    m = Multiply(m, LocalMatrix(own, e.own.order));
    return {values: values || own, ownValues: own, matrix: m};
  }
  function EntityWorld(e, t) {
    var m = EntityLocal(e, t).matrix;
    for (var p = e.parent, depth = 0; p && depth < 1000; p = p.parent, ++depth) m = Multiply(EntityLocal(p, t).matrix, m);
    return m;
  }

  function ActiveCamera(model, t) {
    var cam = model.cameras.length ? model.cameras[0].name : null;
    if (model.cuts.length && t < model.cuts[0].time) cam = model.cuts[0].camera;
    model.cuts.forEach(function (c) { if (c.time <= t) cam = c.camera; });
    return cam;
  }

  function FocalLength(cam, t) { return cam.focalCurve ? EvaluateCurve(cam.focalCurve, t) : cam.focal; }
  // Vertical field of view in degrees from the focal length and the vertical film aperture.
  function VerticalFov(cam, t) {
    var f = FocalLength(cam, t);
    return 2 * Math.atan(cam.vAperture / (2 * (f > 0 ? f : 35))) * 180 / Math.PI;
  }

  // ---------------------------------------------------------------------------------------
  // The test and scripting interface

  function MakeApi(model) {
    return {
      model: model,
      evaluate: function (name, t) {
        var e = model.byName[name];
        if (!e) return null;
        var local = EntityLocal(e, t), world = EntityWorld(e, t);
        return {local: local.values, matrix: world, position: [world[12], world[13], world[14]]};
      },
      activeCamera: function (t) { return ActiveCamera(model, t); },
      verticalFov: function (name, t) { var c = FindCamera(model, name); return c ? VerticalFov(c, t) : null; },
      evaluateCurve: EvaluateCurve,
      eulerMatrix: EulerMatrix,
      rotationOrder: RotationOrder,
      issues: model.issues,
      notes: model.notes,
      events: model.events,
      cuts: model.cuts
    };
  }

  // ---------------------------------------------------------------------------------------
  // The viewer

  function Element(tag, cls, text) {
    var el = document.createElement(tag);
    if (cls) el.className = cls;
    if (text !== undefined) el.textContent = text;
    return el;
  }

  var kColours = {ship: 0x4fc3f7, camera: 0xffd54f, effect: 0xef5350, other: 0xb0bec5};

  function MarkerFor(e, size) {
    var colour = kColours[e.kind];
    var group = new THREE.Group();
    var material = new THREE.MeshBasicMaterial({color: colour, wireframe: e.kind === 'effect'});
    var mesh;
    if (e.kind === 'ship') {
      mesh = new THREE.Mesh(new THREE.ConeGeometry(size * 0.4, size * 1.2, 8), material);
      mesh.rotation.x = Math.PI / 2;  // the nose points along local +Z
    } else if (e.kind === 'effect') {
      mesh = new THREE.Mesh(new THREE.OctahedronGeometry(size * 0.5), material);
    } else if (e.kind === 'camera') {
      mesh = new THREE.Mesh(new THREE.BoxGeometry(size * 0.5, size * 0.5, size * 0.8), material);
    } else {
      mesh = new THREE.Mesh(new THREE.BoxGeometry(size * 0.4, size * 0.4, size * 0.4), material);
    }
    group.add(mesh);
    group.add(new THREE.AxesHelper(size));
    group.matrixAutoUpdate = false;
    return group;
  }

  // Lines from the camera to the four corners of its picture, at a fixed depth, looking down -Z.
  function FrustumFor(cam, depth) {
    var geometry = new THREE.BufferGeometry();
    geometry.setAttribute('position', new THREE.Float32BufferAttribute(new Array(16 * 3).fill(0), 3));
    var lines = new THREE.LineSegments(geometry, new THREE.LineBasicMaterial({color: kColours.camera}));
    lines.matrixAutoUpdate = false;
    lines.frustumCulled = false;
    lines.userData.update = function (t) {
      var halfV = Math.tan(VerticalFov(cam, t) * Math.PI / 360) * depth, halfH = halfV * cam.hAperture / cam.vAperture;
      var c = [[-halfH, -halfV], [halfH, -halfV], [halfH, halfV], [-halfH, halfV]];
      var p = [];
      for (var i = 0; i < 4; ++i) {
        p.push(0, 0, 0, c[i][0], c[i][1], -depth);
        p.push(c[i][0], c[i][1], -depth, c[(i + 1) % 4][0], c[(i + 1) % 4][1], -depth);
      }
      geometry.attributes.position.array.set(p);
      geometry.attributes.position.needsUpdate = true;
    };
    return lines;
  }

  function StartViewer(model, api, root) {
    var view = root.querySelector('#view');
    var labels = root.querySelector('#labels');
    var renderer;
    try {
      renderer = new THREE.WebGLRenderer({canvas: view, antialias: true, preserveDrawingBuffer: true});
    } catch (err) {
      root.querySelector('#status').textContent = 'This browser cannot draw WebGL: ' + err.message;
      return;
    }
    renderer.setPixelRatio(global.devicePixelRatio || 1);
    var scene = new THREE.Scene();
    scene.background = new THREE.Color(0x10141c);

    // Scene size, for marker sizes and the orbit camera, from every path.
    var samples = Math.min(2000, Math.max(2, Math.ceil((model.end - model.start) * model.fps) + 1));
    var box = new THREE.Box3();
    var tracks = model.entities.map(function (e) {
      var points = [];
      for (var i = 0; i < samples; ++i) {
        var t = model.start + (model.end - model.start) * i / (samples - 1);
        var m = EntityWorld(e, t);
        var p = new THREE.Vector3(m[12], m[13], m[14]);
        if (isFinite(p.x) && isFinite(p.y) && isFinite(p.z)) { points.push(p); box.expandByPoint(p); }
      }
      return points;
    });
    if (box.isEmpty()) box.set(new THREE.Vector3(-1, -1, -1), new THREE.Vector3(1, 1, 1));
    var sphere = box.getBoundingSphere(new THREE.Sphere());
    var radius = Math.max(sphere.radius, 1);
    var size = radius * 0.06;

    scene.add(new THREE.GridHelper(radius * 4, 20, 0x37474f, 0x263238));
    var objects = model.entities.map(function (e, i) {
      var line = new THREE.Line(new THREE.BufferGeometry().setFromPoints(tracks[i]),
                                new THREE.LineBasicMaterial({color: kColours[e.kind], transparent: true, opacity: 0.5}));
      scene.add(line);
      var marker = MarkerFor(e, size);
      scene.add(marker);
      var label = Element('div', 'label ' + e.kind, e.label.substring(e.label.lastIndexOf('|') + 1));
      labels.appendChild(label);
      var o = {entity: e, marker: marker, label: label};
      if (e.camera) {
        o.frustum = FrustumFor(e.camera, size * 3);
        scene.add(o.frustum);
        if (e.camera.target) {
          o.aim = new THREE.Line(new THREE.BufferGeometry().setFromPoints([new THREE.Vector3(), new THREE.Vector3()]),
                                 new THREE.LineDashedMaterial({color: kColours.camera, dashSize: size, gapSize: size * 0.5}));
          o.aim.frustumCulled = false;
          scene.add(o.aim);
        }
      }
      return o;
    });
    model.entities.forEach(function (e) {
      if (e.motionPath) {
        var curve = new THREE.NURBSCurve(e.motionPath.nurb.degree, FullKnots(e.motionPath.nurb),
          e.motionPath.nurb.controlPoints.map(function (c) { return new THREE.Vector4(c[0], c[1], c[2], c[3]); }));
        scene.add(new THREE.Line(new THREE.BufferGeometry().setFromPoints(curve.getPoints(200)),
                                 new THREE.LineBasicMaterial({color: 0x81c784})));
      }
    });

    var orbitCamera = new THREE.PerspectiveCamera(45, 1, radius * 0.01, radius * 100);
    orbitCamera.position.copy(sphere.center).add(new THREE.Vector3(radius * 1.2, radius * 0.9, radius * 1.6));
    var controls = new THREE.OrbitControls(orbitCamera, view);
    controls.target.copy(sphere.center);
    controls.update();
    var shotCamera = new THREE.PerspectiveCamera(45, 1, 1, 1e7);
    shotCamera.matrixAutoUpdate = false;

    var state = {time: model.start, playing: false, speed: 1, mode: 'orbit', last: null, dirty: true};
    var ui = BuildControls(model, root, state);

    function Draw() {
      var t = state.time;
      var w = view.clientWidth || 800, h = view.clientHeight || 450;
      renderer.setSize(w, h, false);
      var active = ActiveCamera(model, t);
      objects.forEach(function (o) {
        var m = EntityWorld(o.entity, t);
        o.marker.matrix.fromArray(m);
        o.marker.matrixWorldNeedsUpdate = true;
        o.marker.visible = !(state.mode === 'camera' && o.entity.camera && o.entity.camera.name === active);
        if (o.frustum) {
          o.frustum.matrix.fromArray(m);
          o.frustum.matrixWorldNeedsUpdate = true;
          o.frustum.userData.update(t);
          o.frustum.visible = o.marker.visible;
        }
        if (o.aim) {
          var target = EntityWorld(o.entity.camera.target, t);
          o.aim.geometry.setFromPoints([new THREE.Vector3(m[12], m[13], m[14]), new THREE.Vector3(target[12], target[13], target[14])]);
          o.aim.computeLineDistances();
        }
      });
      var camera = orbitCamera;
      if (state.mode === 'camera' && active) {
        var cam = FindCamera(model, active);
        shotCamera.matrix.fromArray(EntityWorld(cam.entity, t));
        shotCamera.matrixWorldNeedsUpdate = true;
        shotCamera.updateMatrixWorld(true);
        shotCamera.fov = VerticalFov(cam, t);
        shotCamera.near = Math.max(cam.near, radius * 1e-4);
        shotCamera.far = Math.min(cam.far, radius * 1e3);
        camera = shotCamera;
      }
      camera.aspect = w / h;
      camera.updateProjectionMatrix();
      renderer.render(scene, camera);
      objects.forEach(function (o) {
        var p = new THREE.Vector3().setFromMatrixPosition(o.marker.matrix).project(camera);
        var visible = o.marker.visible && p.z > -1 && p.z < 1;
        o.label.style.display = visible ? '' : 'none';
        if (visible) o.label.style.transform = 'translate(' + ((p.x + 1) / 2 * w).toFixed(1) + 'px,' + ((1 - p.y) / 2 * h).toFixed(1) + 'px)';
      });
      ui.show(t, active);
    }

    // Draws only while playing or after a change: a still page costs nothing.
    function Frame(now) {
      if (state.playing && state.last !== null) {
        state.time += (now - state.last) / 1000 * state.speed;
        if (state.time >= model.end) { state.time = model.end; state.playing = false; }
      }
      state.last = now;
      if (state.playing || state.dirty) { state.dirty = false; Draw(); }
      global.requestAnimationFrame(Frame);
    }
    controls.addEventListener('change', function () { state.dirty = true; });
    global.addEventListener('resize', function () { state.dirty = true; });
    api.setTime = function (t) { state.time = Math.min(Math.max(t, model.start), model.end); Draw(); };
    api.setView = function (mode) { state.mode = mode; Draw(); };
    api.draw = Draw;
    state.redraw = Draw;
    // "#t=2.5&view=camera" opens the page at a time and in a view.
    var hash = (global.location && global.location.hash || '').replace(/^#/, '').split('&');
    hash.forEach(function (part) {
      var kv = part.split('=');
      if (kv[0] === 't' && isFinite(parseFloat(kv[1]))) state.time = Math.min(Math.max(parseFloat(kv[1]), model.start), model.end);
      if (kv[0] === 'view' && (kv[1] === 'camera' || kv[1] === 'orbit')) state.mode = kv[1];
    });
    Draw();
    global.requestAnimationFrame(Frame);
  }

  function BuildControls(model, root, state) {
    var slider = root.querySelector('#time');
    var play = root.querySelector('#play');
    var speed = root.querySelector('#speed');
    var clock = root.querySelector('#clock');
    var viewButton = root.querySelector('#viewmode');
    var marks = root.querySelector('#marks');
    var span = model.end - model.start;
    slider.min = model.start; slider.max = model.end; slider.step = 1 / model.fps;
    slider.addEventListener('input', function () { state.time = parseFloat(slider.value); state.playing = false; state.dirty = true; });
    function Toggle() {
      if (state.time >= model.end) state.time = model.start;
      state.playing = !state.playing;
      state.dirty = true;
    }
    function Step(frames) {
      state.playing = false;
      var frame = Math.round(state.time * model.fps) + frames;
      state.time = Math.min(Math.max(frame / model.fps, model.start), model.end);
      state.dirty = true;
    }
    function SwitchView() { state.mode = state.mode === 'orbit' ? 'camera' : 'orbit'; state.dirty = true; }
    play.addEventListener('click', Toggle);
    speed.addEventListener('change', function () { state.speed = parseFloat(speed.value); });
    viewButton.addEventListener('click', SwitchView);
    document.addEventListener('keydown', function (ev) {
      if (ev.target && ev.target.tagName === 'SELECT') return;
      if (ev.key === ' ') { Toggle(); ev.preventDefault(); }
      else if (ev.key === 'ArrowRight') { Step(1); ev.preventDefault(); }
      else if (ev.key === 'ArrowLeft') { Step(-1); ev.preventDefault(); }
      else if (ev.key === 'c' || ev.key === 'C') SwitchView();
    });

    var list = root.querySelector('#events');
    model.events.forEach(function (e) {
      var where = e.block ? ' (' + e.block + ')' : '';
      var text = e.time.toFixed(3).replace(/\.?0+$/, '') + ' s: ' + e.text + where + (e.afterEnd ? ': after the end' : '');
      var item = Element('li', e.afterEnd ? 'late' : '', text);
      item.addEventListener('click', function () { state.time = Math.min(e.time, model.end); state.playing = false; state.dirty = true; });
      list.appendChild(item);
      if (e.afterEnd || e.time < model.start) return;
      var mark = Element('div', 'mark' + (e.function === 'cameraCut' ? ' cut' : ''));
      mark.style.left = (span > 0 ? (e.time - model.start) / span * 100 : 0) + '%';
      mark.title = text;
      marks.appendChild(mark);
    });
    if (!model.events.length) list.appendChild(Element('li', 'none', 'no script'));

    var held = root.querySelector('#holds');
    var d = model.doc;
    [model.doc.title === null || model.doc.title === undefined ? 'no NAME chunk' : 'title "' + d.title + '"',
     'frames per second ' + model.fps + ', from ' + model.start + ' s to ' + model.end + ' s',
     (d.curves || []).length + ' curves, ' + (d.leaders || []).length + ' leaders, ' + (d.followers || []).length +
       ' followers, ' + (d.cameras || []).length + ' cameras, ' + (d.nurbCurves || []).length + ' NURB curves, ' +
       (d.paths || []).length + ' motion paths',
     model.entities.length + ' objects drawn'].concat(model.notes).forEach(function (s) { held.appendChild(Element('li', '', s)); });
    var issues = root.querySelector('#issues');
    model.issues.forEach(function (s) { issues.appendChild(Element('li', '', s)); });
    if (!model.issues.length) issues.appendChild(Element('li', 'none', 'everything was placed'));

    return {
      show: function (t, active) {
        if (document.activeElement !== slider) slider.value = t;
        clock.textContent = t.toFixed(3) + ' s  frame ' + Math.round(t * model.fps) + '  ' + (active ? 'camera ' + active : 'no camera');
        play.textContent = state.playing ? 'pause' : 'play';
        viewButton.textContent = state.mode === 'orbit' ? 'through the camera' : 'orbit view';
      }
    };
  }

  // ---------------------------------------------------------------------------------------
  // Start: the page holds the document as JSON and the script as base64.

  function Base64Text(b64) {
    var bin = global.atob(b64), bytes = new Uint8Array(bin.length);
    for (var i = 0; i < bin.length; ++i) bytes[i] = bin.charCodeAt(i);
    return new TextDecoder('utf-8').decode(bytes);
  }

  function Start() {
    var data = document.getElementById('rw-scene');
    if (!data) return;
    var doc = JSON.parse(data.textContent);
    var scriptNode = document.getElementById('rw-script');
    var scriptText = scriptNode && scriptNode.getAttribute('data-present') === 'yes' ? Base64Text(scriptNode.textContent.trim()) : null;
    var model = BuildModel(doc, scriptText);
    var api = MakeApi(model);
    global.reelwrightPreview = api;
    StartViewer(model, api, document);
  }

  global.reelwrightPreviewLibrary = {BuildModel: BuildModel, MakeApi: MakeApi, EvaluateCurve: EvaluateCurve, ParseScript: ParseScript};
  if (typeof document !== 'undefined') {
    if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', Start);
    else Start();
  }
})(typeof window !== 'undefined' ? window : this);
