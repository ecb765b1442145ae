// The scene model: from the file's document (as `reelwright dump --json --keys` prints it, its
// "scene" section saying which record is what and who stands under whom) and the script's
// statements (as the script reader gives them), where each object stands at any time, which
// camera is active, and what the script's events do to the picture. The reading is the scene
// section's; this file only evaluates it, between frames too. Names are looked up in Maps, so
// a name like "constructor" is a name like any other.
(function (root, factory) {
  if (typeof module === 'object' && module.exports) module.exports = factory(require('./curves.js'), require('./transforms.js'));
  else root.ReelwrightSceneModel = factory(root.ReelwrightCurves, root.ReelwrightTransforms);
})(typeof globalThis !== 'undefined' ? globalThis : this, function (curves, transforms) {
  'use strict';

  var EvaluateCurve = curves.EvaluateCurve, Multiply = transforms.Multiply, LocalMatrix = transforms.LocalMatrix;
  var kSlotKeys = ['translateXCurve', 'translateYCurve', 'translateZCurve', 'rotateXCurve', 'rotateYCurve', 'rotateZCurve'];
  var kCaptionSeconds = 4;  // how long a speech call's string key stays on screen
  var kMaxAimDepth = 64;
  var kPlaceholder = 'FOLW_Empty';  // our exporter's follower of no bone    // rigs aiming at rigs: no deeper than this
  // The arc-length table of a motion path: samples per span of the NURB curve, within bounds,
  // as the scene reading measures it (inspect/SceneReading.cpp), so both find the same places.
  var kArcSamplesPerSpan = 32, kMinArcSamples = 256, kMaxArcSamples = 65536;
  // The lens our exporter gives every camera: focal length and film apertures in millimetres.
  var kGameLens = {focal: 21.8, h: 31.92, v: 24};

  // Estimated sizes in world units (the game's sizes are not in the files): the first row whose
  // word stands in the object's class or blueprint, else its kind's size.
  var kSizeTable = [
    {word: 'mothership', size: 2500}, {word: 'shipyard', size: 2500}, {word: 'carrier', size: 900},
    {word: 'battlecruiser', size: 1000}, {word: 'destroyer', size: 600}, {word: 'cruiser', size: 800},
    {word: 'frigate', size: 200}, {word: 'collector', size: 120}, {word: 'refinery', size: 300},
    {word: 'corvette', size: 60}, {word: 'platform', size: 60}, {word: 'fighter', size: 25}, {word: 'scout', size: 20},
    {word: 'interceptor', size: 25}, {word: 'bomber', size: 30}, {word: 'probe', size: 10}, {word: 'asteroid', size: 400}
  ];
  var kKindSizes = {ship: 150, effect: 60, camera: 20, target: 10, helper: 10};

  function Finite(x) { return typeof x === 'number' && isFinite(x); }
  function FirstOfEach(records) {
    var map = new Map();
    (records || []).forEach(function (r) { if (!map.has(r.name)) map.set(r.name, r); });
    return map;
  }

  function SizeOf(kind, words) {
    var text = words.join(' ').toLowerCase();
    if (kind === 'ship' || kind === 'effect') {
      for (var i = 0; i < kSizeTable.length; ++i) if (text.indexOf(kSizeTable[i].word) >= 0) return kSizeTable[i].size;
    }
    return kKindSizes[kind];
  }

  function NewModel(doc) {
    return {doc: doc, issues: [], notes: [], curves: new Map(), entities: [], byName: new Map(), cameras: [],
            events: [], cuts: [], fades: [], wideScreen: [], captions: [], fps: 24, start: 0, end: 0,
            layout: doc.layout || 'homeworld2', chosenCamera: null, poseCache: null};
  }

  // Builds everything the page shows from the dump document and the script's statements (or null).
  function BuildModel(doc, script) {
    var model = NewModel(doc);
    function Issue(text) { model.issues.push(text); }
    (doc.faults || []).forEach(function (f) { Issue('fault at byte ' + f.offset + ' (' + f.where + '): ' + f.message); });
    (doc.chunks || []).forEach(function (form) {
      (form.children || [form]).forEach(function (c) {
        if (c.decoded === false) Issue('chunk ' + c.id + ' at byte ' + c.offset + ' is not understood: not shown');
        else if (c.decoded === 'partial') Issue('chunk ' + c.id + ' at byte ' + c.offset + ' read only up to byte ' + c.stoppedAt + ': ' + c.stopReason);
      });
    });

    (doc.curves || []).forEach(function (c) {
      if (!model.curves.has(c.name)) model.curves.set(c.name, c);
      if (c.layout && c.layout !== 'tangents' && c.layout !== 'bezier') Issue('curve ' + c.name + ' has the layout "' + c.layout + '", which the preview does not animate: held at 0');
    });
    var scene = doc.scene;
    if (!scene) {
      Issue('the document has no scene section: nothing is placed');
      model.end = 1;
      return model;
    }
    model.fps = scene.fps;
    model.start = scene.start;
    model.end = scene.end;
    (scene.notes || []).forEach(Issue);
    if (doc.info) model.notes.push('INFO range ' + doc.info.start + ' .. ' + doc.info.end + ' read as ' + scene.infoUnit);
    PlaceObjects(model, doc, scene);
    if (script) ReadEvents(model, script);
    // Playback runs on to the last event too.
    model.events.forEach(function (e) { model.end = Math.max(model.end, e.time); });
    if (!(model.end > model.start)) model.end = model.start + 1;
    return model;
  }

  // ---- the objects, as the scene section reads them

  // A leader's or follower's six slots: a curve where the reading found one, else the stored value.
  function SlotSource(model, record, stored, slots, turnOrder) {
    return {order: turnOrder || 'XYZ', slots: kSlotKeys.map(function (key, i) {
      var curve = slots && slots[i] === 'curve' ? model.curves.get(record[key]) : null;
      return curve ? {curve: curve} : {value: Finite(stored[i]) ? stored[i] : 0};
    })};
  }
  function SlotValues(source, t) {
    return source.slots.map(function (s) { return s.curve ? EvaluateCurve(s.curve, t) : s.value; });
  }

  // The key arrays of a Crannnberry object or camera, as a source of six values.
  function KeySource(r) {
    if (!r || !r.times) return null;
    var arrays = [r.x, r.y, r.z, r.rotateX, r.rotateY, r.rotateZ];
    var offset = Finite(r.timeOffset) && r.timeOffset > 0 ? r.timeOffset : 0;  // -1 (seen) shifts nothing
    return {tcb: function (t) {
      return arrays.map(function (a) { return a ? curves.EvaluateTcb(r.times, a, r.tcb, t - offset) : 0; });
    }};
  }

  // A motion path as the scene section reads it, with its NURB curve and arc-length table.
  function PathOf(model, doc, path, record) {
    if (!path.usable) return null;
    var nurb = FirstOfEach(doc.nurbCurves).get(record.nurbName);
    var spans = nurb.controlPoints.length - nurb.degree;
    return {nurb: nurb, uCurve: path.uValueCurve === null ? null : model.curves.get(path.uValueCurve) || null,
            twist: path.frontTwistCurve === null ? null : model.curves.get(path.frontTwistCurve) || null,
            start: record.startTime, end: record.endTime, front: path.frontAxis, up: path.upAxis, follows: path.turns,
            arc: curves.ArcTable(nurb, Math.min(Math.max(spans * kArcSamplesPerSpan, kMinArcSamples), kMaxArcSamples))};
  }

  function LeaderOf(model, paths, leader, record) {
    var stored = (record.startPosition || [0, 0, 0]).concat(record.startRotation || [0, 0, 0]);
    var source = SlotSource(model, record, stored, leader.slots, leader.turnOrder);
    if (leader.onPath && leader.path !== null && leader.path !== undefined) source.motionPath = paths[leader.path];
    return source;
  }

  function PlaceObjects(model, doc, scene) {
    var crannnberry = doc.layout === 'crannnberry' && doc.crannnberry;
    var objects = crannnberry ? (doc.crannnberry.objects || []).concat(doc.crannnberry.cameras || []) : doc.followers || [];
    var paths = (scene.paths || []).map(function (p, i) { return PathOf(model, doc, p, doc.paths[i]); });
    var leaders = (scene.leaders || []).map(function (l, i) { return LeaderOf(model, paths, l, doc.leaders[i]); });
    model.entities = (scene.followers || []).map(function (f, i) {
      var record = objects[i] || {};
      var e = {name: f.name, kind: f.kind, label: f.name, record: record, path: f.namePath || f.name, parent: null, aim: null,
               visibility: [], size: SizeOf(f.kind, [String(record.class || ''), record.blueprint || '', f.name])};
      e.own = crannnberry ? KeySource(record) : SlotSource(model, record, record.numbers || [], f.slots, f.turnOrder);
      if (!e.own) e.own = SlotSource(model, record, [], null, 'XYZ');
      if (f.leader !== null && f.leader !== undefined) e.leader = leaders[f.leader];
      if (!model.byName.has(e.name)) model.byName.set(e.name, e);
      return e;
    });
    (scene.followers || []).forEach(function (f, i) {
      var e = model.entities[i];
      if (f.parent !== null && f.parent !== undefined) e.parent = model.entities[f.parent];
      if (f.aimAt !== null && f.aimAt !== undefined) e.aim = model.entities[f.aimAt];
    });
    // The placeholder is no object of the scene.
    model.entities = model.entities.filter(function (e) { return e.name !== kPlaceholder; });
    model.byName.delete(kPlaceholder);
    (scene.cameras || []).forEach(function (c, i) {
      if (c.follower === null || c.follower === undefined) return;
      AddCamera(model, scene.followers[c.follower].name, doc.cameras[i], c);
    });
    // Crannnberry cameras are followers of their own, with no lens in the file: they get the lens
    // our exporter writes, as both imports give them.
    model.entities.forEach(function (e) {
      if (e.kind === 'camera' && !e.camera) {
        AddCamera(model, e.name, {name: e.name, focalLength: kGameLens.focal, horizontalAperture: kGameLens.h,
                                  verticalAperture: kGameLens.v}, {});
      }
    });
  }

  function AddCamera(model, followerName, c, reading) {
    var e = model.byName.get(followerName);
    if (!e || e.camera) return;
    e.size = kKindSizes.camera;
    var p = c.focalLength, h = c.horizontalAperture, v = c.verticalAperture;
    var cam = {name: c.name, followerName: followerName, entity: e, record: c,
               focal: Finite(p) && p > 0 ? p : kGameLens.focal, hAperture: Finite(h) && h > 0 ? h : kGameLens.h,
               vAperture: Finite(v) && v > 0 ? v : kGameLens.v,
               near: Finite(c.nearClip) && c.nearClip > 0 ? c.nearClip : 1, far: Finite(c.farClip) && c.farClip > 0 ? c.farClip : 1e7,
               focalCurve: reading.focalLengthCurve ? model.curves.get(reading.focalLengthCurve) || null : null, target: null};
    // Apertures below 5 can only be inches, as the modelling package keeps them.
    if (cam.hAperture < 5 && cam.vAperture < 5) { cam.hAperture *= 25.4; cam.vAperture *= 25.4; }
    if (reading.centerOfInterest !== null && reading.centerOfInterest !== undefined) {
      cam.target = model.byName.get(model.doc.scene.followers[reading.centerOfInterest].name) || null;
    }
    e.camera = cam;
    model.cameras.push(cam);
  }

  function PathFraction(mp, t) {
    if (mp.uCurve) return EvaluateCurve(mp.uCurve, t);
    var span = mp.end - mp.start;
    return span > 0 ? (t - mp.start) / span : 0;
  }

  // The leader on its path: on the curve, turned along it when the path follows.
  function PathMatrix(mp, t, ownTurn) {
    var u = curves.ParameterAtFraction(mp.arc, PathFraction(mp, t));
    var position = curves.NurbPoint(mp.nurb, u);
    if (!mp.follows) return Multiply(transforms.Translation(position[0], position[1], position[2]), ownTurn);
    var domain = mp.arc.domain, du = (domain[1] - domain[0]) * 1e-5;
    var a = curves.NurbPoint(mp.nurb, Math.max(u - du, domain[0])), b = curves.NurbPoint(mp.nurb, Math.min(u + du, domain[1]));
    var m = transforms.PathFrame(position, [b[0] - a[0], b[1] - a[1], b[2] - a[2]], mp.front, mp.up);
    if (mp.twist) m = Multiply(m, transforms.TwistMatrix(mp.front, EvaluateCurve(mp.twist, t)));
    return m;
  }

  // ---- where each object stands

  // An entity's matrix relative to its parent at time t, and the six values that made it.
  function EntityLocal(e, t) {
    if (e.own.tcb) {
      var values = e.own.tcb(t);
      return {values: values, matrix: LocalMatrix(values, 'XYZ')};
    }
    var m = transforms.Identity(), leaderValues = null;
    if (e.leader) {
      leaderValues = SlotValues(e.leader, t);
      if (e.leader.motionPath) {
        m = PathMatrix(e.leader.motionPath, t, transforms.EulerMatrix(e.leader.order, leaderValues.slice(3)));
      } else {
        m = LocalMatrix(leaderValues, e.leader.order);
      }
    }
    var own = SlotValues(e.own, t);
    m = Multiply(m, LocalMatrix(own, e.own.order));
    return {values: leaderValues || own, ownValues: own, matrix: m};
  }

  // Every object's world matrix at time t, each worked out once, parents first and without
  // recursion (a chain 10,000 deep costs 10,000 products); a look-at rig is turned to its view
  // once the view is placed. The last time is kept.
  function Pose(model, t) {
    if (model.poseCache && model.poseCache.time === t) return model.poseCache.worlds;
    var worlds = new Map(), aimDepth = 0;
    function World(e) {
      var chain = [];
      for (var x = e; x && !worlds.has(x); x = x.parent) chain.push(x);
      for (var i = chain.length - 1; i >= 0; --i) {
        x = chain[i];
        if (worlds.has(x)) continue;
        var local = EntityLocal(x, t).matrix, m = x.parent ? Multiply(worlds.get(x.parent), local) : local;
        worlds.set(x, m);  // a view under its own rig sees the rig unaimed
        if (x.aim && x.aim !== x && aimDepth < kMaxAimDepth) {
          ++aimDepth;
          var target = World(x.aim);
          --aimDepth;
          worlds.set(x, Aimed(m, target));
        }
      }
      return worlds.get(e);
    }
    model.entities.forEach(World);
    model.poseCache = {time: t, worlds: worlds};
    return worlds;
  }
  function EntityWorld(model, e, t) { return Pose(model, t).get(e); }

  // A look-at rig turns its camera, at its place, to look down -Z at the view node, +Y up.
  function Aimed(m, target) {
    var eye = [m[12], m[13], m[14]];
    var back = transforms.Normalize([eye[0] - target[12], eye[1] - target[13], eye[2] - target[14]]);
    if (!back) return m;
    var side = transforms.Normalize(transforms.Cross([0, 1, 0], back)) || [1, 0, 0];
    var up = transforms.Cross(back, side);
    return [side[0], side[1], side[2], 0, up[0], up[1], up[2], 0, back[0], back[1], back[2], 0, eye[0], eye[1], eye[2], 1];
  }

  // ---- the script's events

  // The objects a `with` block names: a follower by its name, by its name without "FOLW_", or
  // by the last part of its name path.
  function BlockTargets(model, name) {
    var e = model.byName.get(name) || model.byName.get('FOLW_' + name);
    if (e) return [e];
    return model.entities.filter(function (x) { return x.path.substring(x.path.lastIndexOf('|') + 1) === name; });
  }

  function Argument(event, i) { return event.arguments && i < event.arguments.length ? event.arguments[i] : null; }
  function Number0(text, fallback) { var v = parseFloat(text); return Finite(v) ? v : fallback; }

  function ReadEvents(model, script) {
    (script.problems || []).forEach(function (p) { model.notes.push('script line ' + p.line + ': ' + p.what); });
    model.events = (script.statements || []).map(function (s) {
      return {time: s.seconds, text: s.text, block: s.block || null, line: s.line, function: s.function || null,
              arguments: s.arguments || []};
    });
    model.events.forEach(function (e) {
      var fn = e.function, first = Argument(e, 0);
      if (fn === 'cameraCut' || (fn === 'cameraBlendIn' && e.arguments.length >= 2)) {
        var cam = FindCamera(model, first);
        if (cam) model.cuts.push({time: e.time, camera: cam.name});
        else model.issues.push('script line ' + e.line + ': ' + fn + ' to "' + first + '", which names no camera of the file');
      } else if ((fn === 'hide' || fn === 'show') && e.block !== null) {
        var targets = BlockTargets(model, e.block);
        targets.forEach(function (x) { x.visibility.push({time: e.time, visible: fn === 'show'}); });
        if (!targets.length) model.notes.push('script line ' + e.line + ': ' + fn + ' in block "' + e.block + '", which names no object of the file');
      } else if (fn === 'fadeSet') {
        model.fades.push({time: e.time, level: Number0(first, 0), duration: 0});
      } else if (fn === 'fadeTo') {
        model.fades.push({time: e.time, level: Number0(first, 0), duration: Math.max(Number0(Argument(e, 1), 0), 0)});
      } else if (fn === 'wideScreenIn' || fn === 'wideScreenOut') {
        model.wideScreen.push({time: e.time, on: fn === 'wideScreenIn'});
      } else if (fn && fn.indexOf('speech') === 0 && first && first.charAt(0) === '$') {
        model.captions.push({time: e.time, text: first});
      }
    });
    function ByTime(a, b) { return a.time - b.time; }
    [model.cuts, model.fades, model.wideScreen, model.captions].forEach(function (list) { list.sort(ByTime); });
    model.entities.forEach(function (x) { x.visibility.sort(ByTime); });
  }

  // Shown, unless hidden by the script; an object whose first event is show() starts hidden.
  function VisibleAt(e, t) {
    var list = e.visibility, visible = !(list.length && list[0].visible);
    for (var i = 0; i < list.length && list[i].time <= t; ++i) visible = list[i].visible;
    return visible;
  }

  // How far the picture is faded out at time t: 0 clear, 1 black. fadeTo moves from the level
  // it starts at to its own over its seconds.
  function FadeAt(model, t) {
    var level = 0;
    for (var i = 0; i < model.fades.length && model.fades[i].time <= t; ++i) {
      var f = model.fades[i], from = level;
      level = f.duration > 0 && t < f.time + f.duration ? from + (f.level - from) * (t - f.time) / f.duration : f.level;
    }
    return Math.min(Math.max(level, 0), 1);
  }
  function WideScreenAt(model, t) {
    var on = false;
    for (var i = 0; i < model.wideScreen.length && model.wideScreen[i].time <= t; ++i) on = model.wideScreen[i].on;
    return on;
  }
  function CaptionAt(model, t) {
    var text = null;
    model.captions.forEach(function (c) { if (c.time <= t && t < c.time + kCaptionSeconds) text = c.text; });
    return text;
  }

  // ---- cameras

  function FindCamera(model, name) {
    for (var i = 0; i < model.cameras.length; ++i) if (model.cameras[i].name === name) return model.cameras[i];
    for (i = 0; i < model.cameras.length; ++i) if (model.cameras[i].followerName === name) return model.cameras[i];
    return null;
  }

  // The script's cut in force (before the first cut, the first cut's camera); without cuts the
  // camera the user chose, else the file's first.
  function ActiveCamera(model, t) {
    if (!model.cuts.length) return model.chosenCamera || (model.cameras.length ? model.cameras[0].name : null);
    var cam = model.cuts[0].camera;
    for (var i = 0; i < model.cuts.length && model.cuts[i].time <= t; ++i) cam = model.cuts[i].camera;
    return cam;
  }

  function FocalLength(cam, t) { return cam.focalCurve ? EvaluateCurve(cam.focalCurve, t) : cam.focal; }
  // Vertical field of view in degrees from the focal length and the vertical film aperture.
  function VerticalFov(cam, t) {
    var f = FocalLength(cam, t);
    return 2 * Math.atan(cam.vAperture / (2 * (f > 0 ? f : kGameLens.focal))) * 180 / Math.PI;
  }

  // Through a camera the game shows its own classes only: ships, effects and the like.
  function ShownThroughCamera(e) { return e.kind === 'ship' || e.kind === 'effect'; }

  // ---- the page's scripting and test interface

  function MakeApi(model) {
    return {
      model: model,
      evaluate: function (name, t) {
        var e = model.byName.get(name);
        if (!e) return null;
        var world = EntityWorld(model, e, t);
        return {local: EntityLocal(e, t).values, matrix: world, position: [world[12], world[13], world[14]]};
      },
      activeCamera: function (t) { return ActiveCamera(model, t); },
      verticalFov: function (name, t) { var c = FindCamera(model, name); return c ? VerticalFov(c, t) : null; },
      visible: function (name, t) { var e = model.byName.get(name); return e ? VisibleAt(e, t) : null; },
      fade: function (t) { return FadeAt(model, t); },
      issues: model.issues,
      notes: model.notes,
      events: model.events,
      cuts: model.cuts
    };
  }

  return {BuildModel: BuildModel, MakeApi: MakeApi, EntityLocal: EntityLocal, EntityWorld: EntityWorld, Pose: Pose,
          ActiveCamera: ActiveCamera, FindCamera: FindCamera, VerticalFov: VerticalFov, VisibleAt: VisibleAt,
          FadeAt: FadeAt, WideScreenAt: WideScreenAt, CaptionAt: CaptionAt, ShownThroughCamera: ShownThroughCamera,
          kSizeTable: kSizeTable, kKindSizes: kKindSizes};
});
