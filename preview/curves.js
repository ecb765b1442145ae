// Curves: the values of ANIM curves (tangents or Bezier handles), of the older layout's tension /
// continuity / bias keys, and points on NURB curves, by time or by fraction of arc length.
// Plain numbers in and out, no drawing: the page and node's test runner load the same file.
(function (root, factory) {
  if (typeof module === 'object' && module.exports) module.exports = factory();
  else root.ReelwrightCurves = factory();
})(typeof globalThis !== 'undefined' ? globalThis : this, function () {
  'use strict';

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
  var kBisectionSteps = 60;
  function BezierSegment(k0, k1, t) {
    var x0 = k0.time, x1 = k0.outHandle[0], x2 = k1.inHandle[0], x3 = k1.time;
    var lo = 0, hi = 1;
    for (var i = 0; i < kBisectionSteps; ++i) {
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

  // The value of a curve (as the dump describes it, with keys) at time t in seconds.
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
    var lo = 0, hi = n - 1;  // times[lo] <= t < times[hi]
    while (hi - lo > 1) {
      var mid = (lo + hi) >> 1;
      if (times[mid] <= t) lo = mid; else hi = mid;
    }
    function Tangent(k, incoming) {
      var p = values[Math.max(k - 1, 0)], c = values[k], q = values[Math.min(k + 1, n - 1)];
      var w = tcb && tcb[k] ? tcb[k] : [0, 0, 0];
      var tt = w[0], cc = w[1], bb = w[2];
      var fa = incoming ? (1 - tt) * (1 - cc) * (1 + bb) / 2 : (1 - tt) * (1 + cc) * (1 + bb) / 2;
      var fb = incoming ? (1 - tt) * (1 + cc) * (1 - bb) / 2 : (1 - tt) * (1 - cc) * (1 - bb) / 2;
      return fa * (c - p) + fb * (q - c);
    }
    var dt = times[hi] - times[lo];
    if (!(dt > 0)) return values[hi];
    var s = (t - times[lo]) / dt, s2 = s * s, s3 = s2 * s;
    return (2 * s3 - 3 * s2 + 1) * values[lo] + (s3 - 2 * s2 + s) * Tangent(lo, false) +
           (-2 * s3 + 3 * s2) * values[hi] + (s3 - s2) * Tangent(hi, true);
  }

  // ---- NURB curves

  // The file lists control points + degree - 1 knots; the full knot vector repeats both ends.
  function FullKnots(nurb) {
    var k = nurb.knots;
    return [k[0]].concat(k, [k[k.length - 1]]);
  }
  function NurbUsable(nurb) {
    return !!nurb && nurb.degree >= 1 && nurb.controlPoints.length > nurb.degree &&
           nurb.knots.length === nurb.controlPoints.length + nurb.degree - 1;
  }
  function NurbDomain(nurb) {
    var knots = FullKnots(nurb);
    return [knots[nurb.degree], knots[nurb.controlPoints.length]];
  }

  // The rational B-spline at parameter u (clamped to the domain), by de Boor's algorithm on
  // homogeneous points.
  function NurbPoint(nurb, u) {
    var knots = FullKnots(nurb), p = nurb.degree, n = nurb.controlPoints.length;
    u = Math.min(Math.max(u, knots[p]), knots[n]);
    var span = p;
    while (span < n - 1 && u >= knots[span + 1]) ++span;
    var d = [];
    for (var j = 0; j <= p; ++j) {
      var c = nurb.controlPoints[span - p + j], w = c[3];
      d.push([c[0] * w, c[1] * w, c[2] * w, w]);
    }
    for (var r = 1; r <= p; ++r) {
      for (j = p; j >= r; --j) {
        var i = span - p + j, denominator = knots[i + p - r + 1] - knots[i];
        var a = denominator !== 0 ? (u - knots[i]) / denominator : 0;
        for (var axis = 0; axis < 4; ++axis) d[j][axis] = (1 - a) * d[j - 1][axis] + a * d[j][axis];
      }
    }
    var h = d[p];
    return h[3] !== 0 ? [h[0] / h[3], h[1] / h[3], h[2] / h[3]] : [h[0], h[1], h[2]];
  }

  function Distance(a, b) {
    var dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
    return Math.sqrt(dx * dx + dy * dy + dz * dz);
  }

  // A table from fraction of arc length to parameter: the curve is measured as a polyline of
  // `samples` chords at even parameter steps.
  function ArcTable(nurb, samples) {
    var domain = NurbDomain(nurb), us = [], lengths = [], previous = NurbPoint(nurb, domain[0]), length = 0;
    for (var i = 0; i <= samples; ++i) {
      var u = i === samples ? domain[1] : domain[0] + (domain[1] - domain[0]) * i / samples, point = NurbPoint(nurb, u);
      length += Distance(point, previous);
      us.push(u);
      lengths.push(length);
      previous = point;
    }
    return {nurb: nurb, us: us, lengths: lengths, total: length, domain: domain};
  }
  // The parameter at fraction f (0 to 1, clamped) of the curve's length: the table's sample
  // before it, then bisection on the chord from that sample, since the parameter runs unevenly
  // even within one sample's stretch.
  var kStretchBisectionSteps = 30;
  function ParameterAtFraction(table, f) {
    if (!(f > 0)) return table.us[0];
    var target = Math.min(f, 1) * table.total, lengths = table.lengths, lo = 0, hi = lengths.length;
    while (lo < hi) {  // the first sample whose length is not below the target
      var mid = (lo + hi) >> 1;
      if (lengths[mid] < target) lo = mid + 1; else hi = mid;
    }
    if (hi === 0) return table.us[0];
    if (hi >= lengths.length) return table.us[lengths.length - 1];
    var from = NurbPoint(table.nurb, table.us[hi - 1]), rest = target - lengths[hi - 1];
    var a = table.us[hi - 1], b = table.us[hi];
    for (var i = 0; i < kStretchBisectionSteps; ++i) {
      var m = 0.5 * (a + b);
      if (Distance(from, NurbPoint(table.nurb, m)) < rest) a = m; else b = m;
    }
    return 0.5 * (a + b);
  }

  // ---- keys as the page holds them

  // Gives each curve of the document its keys from the page's binary block: one byte per curve
  // (3: value and a tangent that is both in and out; 5: value, in, out), padded to 8 bytes; every
  // key's time as a little-endian double, curve by curve; then every key's floats. False, and no
  // keys, when the block does not fit the curves.
  function AttachKeys(curveList, bytes) {
    var head = Math.ceil(curveList.length / 8) * 8, total = 0, floats = 0;
    if (bytes.byteLength < head) return false;
    curveList.forEach(function (c, i) { total += c.keyCount || 0; floats += (c.keyCount || 0) * bytes[i]; });
    var bad = curveList.some(function (c, i) { return bytes[i] !== 3 && bytes[i] !== 5; });
    if (bad || bytes.byteLength !== head + total * 8 + floats * 4) return false;
    var view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength), k = 0, at = head + total * 8;
    curveList.forEach(function (c, n) {
      var bezier = c.layout === 'bezier', keys = [], count = bytes[n];
      for (var i = 0; i < (c.keyCount || 0); ++i, ++k, at += 4 * count) {
        var f = [];
        for (var j = 0; j < count; ++j) f.push(view.getFloat32(at + 4 * j, true));
        var key = {time: view.getFloat64(head + k * 8, true), value: f[0]};
        key[bezier ? 'inHandle' : 'inTangent'] = [f[1], f[2]];
        key[bezier ? 'outHandle' : 'outTangent'] = count === 5 ? [f[3], f[4]] : [f[1], f[2]];
        keys.push(key);
      }
      c.keys = keys;
    });
    return true;
  }
  function Base64Bytes(text) {
    var binary = atob(text.trim()), bytes = new Uint8Array(binary.length);
    for (var i = 0; i < binary.length; ++i) bytes[i] = binary.charCodeAt(i);
    return bytes;
  }

  return {AttachKeys: AttachKeys, Base64Bytes: Base64Bytes, EvaluateCurve: EvaluateCurve, EvaluateTcb: EvaluateTcb, FullKnots: FullKnots, NurbUsable: NurbUsable,
          NurbDomain: NurbDomain, NurbPoint: NurbPoint, ArcTable: ArcTable, ParameterAtFraction: ParameterAtFraction};
});
