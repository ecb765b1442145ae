// The scene model: from the file's document (as `reelwright dump --json --keys` prints it) and
// the script's statements (as the script reader gives them), the objects of the scene, where
// each stands at any time, which camera is active, and what the script's events do to the
// picture. Names are looked up in Maps, so a name like "constructor" is a name like any other.
(function (root, factory) {
  if (typeof module === 'object' && module.exports) module.exports = factory(require('./curves.js'), require('./transforms.js'));
  else root.ReelwrightSceneModel = factory(root.ReelwrightCurves, root.ReelwrightTransforms);
})(typeof globalThis !== 'undefined' ? globalThis : this, function (curves, transforms) {
  'use strict';

  var EvaluateCurve = curves.EvaluateCurve, Multiply = transforms.Multiply, LocalMatrix = transforms.LocalMatrix;
  var kSlotKeys = ['translateXCurve', 'translateYCurve', 'translateZCurve', 'rotateXCurve', 'rotateYCurve', 'rotateZCurve'];
  var kDefaultFps = 24;
  var kFollowerPrefix = 'FOLW_';
  var kAimGroupSuffix = '_group', kAimViewSuffix = '_view';
  var kCaptionSeconds = 4;  // how long a speech call's string key stays on screen
  // The older record layout stores the class as a number: 0 is a ship, 11 cameras, views and helpers.
  var kOlderShipClass = 0;

  // Estimated sizes in world units (the game's sizes are not in the files): the first row whose
  // word stands in the object's class or blueprint, else its kind's size.
  var kSizeTable = [
    {word: 'mothership', size: 2500}, {word: 'shipyard', size: 2500}, {word: 'carrier', size: 900},
    {word: 'battlecruiser', size: 1000}, {word: 'destroyer', size: 600}, {word: 'cruiser', size: 800},
    {word: 'frigate', size: 200}, {word: 'collector', size: 120}, {word: 'refinery', size: 300},
    {word: 'corvette', size: 60}, {word: 'platform', size: 60}, {word: 'fighter', size: 25}, {word: 'scout', size: 20},
    {word: 'interceptor', size: 25}, {word: 'bomber', size: 30}, {word: 'probe', size: 10}, {word: 'asteroid', size: 400}
  ];
  var kKindSizes = {ship: 150, effect: 60, camera: 20, other: 10};

  function Finite(x) { return typeof x === 'number' && isFinite(x); }
  function StripPrefix(name, prefix) { return name.indexOf(prefix) === 0 ? name.substring(prefix.length) : name; }
  function EndsWith(text, suffix) { return text.length >= suffix.length && text.substring(text.length - suffix.length) === suffix; }
  function FirstOfEach(records) {
    var map = new Map();
    (records || []).forEach(function (r) { if (!map.has(r.name)) map.set(r.name, r); });
    return map;
  }

  function KindOf(f) {
    if (f.class === null || f.class === undefined) return f.classNumber === kOlderShipClass ? 'ship' : 'other';
    var c = String(f.class).toLowerCase();
    if (c === 'camera') return 'camera';
    if (c === 'effect') return 'effect';
    if (c === 'none' || c === '' || c === 'camera_target') return 'other';
    return 'ship';
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
            events: [], cuts: [], fades: [], wideScreen: [], captions: [], fps: kDefaultFps, start: 0, end: 0,
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

    var lastKey = 0;
    (doc.curves || []).forEach(function (c) {
      if (!model.curves.has(c.name)) model.curves.set(c.name, c);
      if (c.layout && c.layout !== 'tangents' && c.layout !== 'bezier') Issue('curve ' + c.name + ' has the layout "' + c.layout + '", which the preview does not animate: held at 0');
      if (c.timeRange) lastKey = Math.max(lastKey, c.timeRange[1]);
    });
    var info = doc.info;
    if (info && Finite(info.fps) && info.fps > 0) model.fps = info.fps;
    else if (doc.layout === 'crannnberry') model.notes.push('the file gives no frame rate: frames are counted at ' + kDefaultFps + ' per second');
    else Issue('INFO gives no frame rate above 0: played at ' + kDefaultFps + ' frames per second');
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
    // A parent's name path is a part of its child's: sorted by length, parents come first.
    model.order = model.entities.slice().sort(function (a, b) { return a.path.length - b.path.length; });
    if (script) ReadEvents(model, script);
    // Playback runs on to the last key and the last event: INFO's range is only the editor's.
    var lastEvent = model.events.reduce(function (m, e) { return Math.max(m, e.time); }, 0);
    var last = Math.max(lastKey, lastEvent);
    if (last > model.end) {
      if (model.end > model.start) model.notes.push('played on past INFO\'s end to ' + last + ' s, the last key or event');
      model.end = last;
    }
    if (!(model.end > model.start)) model.end = model.start + 1;
    return model;
  }

  // ---- objects of the game's usual layout

  // One motion source (a leader or a follower's own slots): a curve or a value per slot.
  function SlotSource(model, owner, record, fallback, order) {
    var slots = kSlotKeys.map(function (key, i) {
      var name = record[key] || '';
      var curve = model.curves.get(name);
      if (curve) return {curve: curve};
      if (name !== '' && !owner.path && !(owner.aimed && i >= 3)) {
        model.issues.push(record.name + ': ' + key + ' "' + name + '" resolves nowhere: its start value ' + fallback[i] + ' is used');
      }
      return {value: Finite(fallback[i]) ? fallback[i] : 0};
    });
    return {slots: slots, order: order};
  }
  function SlotValues(source, t) {
    return source.slots.map(function (s) { return s.curve ? EvaluateCurve(s.curve, t) : s.value; });
  }

  function OrderOf(model, record) {
    var order = transforms.RotationOrder(record.rotationOrder);
    if (order) return order;
    if (record.rotationOrder !== null && record.rotationOrder !== undefined) {
      model.issues.push(record.name + ': rotation order "' + record.rotationOrder + '" is not understood: XYZ is used');
    }
    return transforms.kDefaultOrder;
  }

  // "<X>_group" in a rotate slot, with a follower "<X>_view" or "...|<X>_view": a look-at rig.
  function AimTarget(slots, viewsByName) {
    for (var i = 3; i < 6; ++i) {
      var name = slots[kSlotKeys[i]] || '';
      if (EndsWith(name, kAimGroupSuffix) && name.length > kAimGroupSuffix.length) {
        var view = viewsByName.get(name.substring(0, name.length - kAimGroupSuffix.length) + kAimViewSuffix);
        if (view) return view;
      }
    }
    return null;
  }

  function BuildHomeworld2(model, doc) {
    var leaders = FirstOfEach(doc.leaders), nurbs = FirstOfEach(doc.nurbCurves), paths = FirstOfEach(doc.paths);
    var followedLeaders = new Set(), byPath = new Map(), views = new Map();
    (doc.followers || []).forEach(function (f) {
      var last = f.name.substring(f.name.lastIndexOf('|') + 1);
      if (EndsWith(last, kAimViewSuffix) && !views.has(last)) views.set(last, f.name);
    });
    var aims = [];
    (doc.followers || []).forEach(function (f) {
      if (f.name === 'FOLW_Empty') { model.notes.push('placeholder FOLW_Empty: not drawn'); return; }
      var kind = KindOf(f);
      var e = {name: f.name, kind: kind, label: f.name, record: f, path: StripPrefix(f.name, kFollowerPrefix), parent: null,
               visibility: [], size: SizeOf(kind, [String(f.class || ''), f.blueprint || ''])};
      var view = AimTarget(f, views);
      if (view) aims.push({entity: e, view: view});
      e.own = SlotSource(model, {aimed: !!view}, f, f.numbers || [0, 0, 0, 0, 0, 0], OrderOf(model, f));
      var leader = f.leaderName ? leaders.get(f.leaderName) : null;
      if (leader) {
        followedLeaders.add(leader.name);
        var motion = leader.pathName ? paths.get(leader.pathName) : null;
        if (leader.pathName && !motion) model.issues.push(leader.name + ': motion path "' + leader.pathName + '" is not in the file');
        var fallback = (leader.startPosition || [0, 0, 0]).concat(leader.startRotation || [0, 0, 0]);
        e.leader = SlotSource(model, {path: motion}, leader, fallback, OrderOf(model, leader));
        if (motion) AttachPath(model, e, leader, motion, nurbs);
      } else if (f.leaderName) {
        model.issues.push(f.name + ': leader "' + f.leaderName + '" is not in the file: placed by its own slots only');
      }
      model.entities.push(e);
      if (!model.byName.has(e.name)) model.byName.set(e.name, e);
      if (!byPath.has(e.path)) byPath.set(e.path, e);
    });
    leaders.forEach(function (l, name) {
      if (name !== 'LEAD_Empty' && !followedLeaders.has(name)) model.issues.push('leader ' + name + ' has no follower: not drawn');
    });
    // The name path gives the parent: Root|Fleet|Ship1 stands under Root|Fleet. A parent that
    // FOLW does not hold leaves the follower to its leader alone (the game's files do this).
    var unparented = 0;
    model.entities.forEach(function (e) {
      var cut = e.path.lastIndexOf('|');
      if (cut <= 0) return;
      var parent = byPath.get(e.path.substring(0, cut));
      if (parent && parent !== e) e.parent = parent;
      else if (e.path.indexOf('|') !== cut) ++unparented;
    });
    if (unparented) model.notes.push(unparented + ' followers name a parent that the file does not hold: each is placed by its leader');
    aims.forEach(function (a) {
      a.entity.aim = model.byName.get(a.view) || null;
      model.notes.push(a.entity.name + ' is aimed at ' + a.view + ' by a look-at rig');
    });
    (doc.cameras || []).forEach(function (c) { AddCamera(model, c); });
  }

  function AddCamera(model, c) {
    var e = model.byName.get(c.followerName);
    if (!e) {
      model.notes.push('camera ' + c.name + ': follower "' + c.followerName + '" is not in the file: it cannot be looked through');
      return;
    }
    e.kind = 'camera';
    e.size = kKindSizes.camera;
    var p = c.focalLength, h = c.horizontalAperture, v = c.verticalAperture;
    var cam = {name: c.name, followerName: c.followerName, entity: e, record: c,
               focal: Finite(p) && p > 0 ? p : 35, hAperture: Finite(h) && h > 0 ? h : 36, vAperture: Finite(v) && v > 0 ? v : 24,
               near: Finite(c.nearClip) && c.nearClip > 0 ? c.nearClip : 1, far: Finite(c.farClip) && c.farClip > 0 ? c.farClip : 1e7,
               focalCurve: model.curves.get(c.focalLengthCurve) || null, target: null};
    if (c.focalLengthCurve && !cam.focalCurve) model.issues.push('camera ' + c.name + ': focal length curve "' + c.focalLengthCurve + '" resolves nowhere: ' + cam.focal + ' mm is used');
    // Apertures below 5 can only be inches, as the modelling package keeps them.
    if (cam.hAperture < 5 && cam.vAperture < 5) { cam.hAperture *= 25.4; cam.vAperture *= 25.4; }
    if (c.centerOfInterest) {
      cam.target = model.byName.get(c.centerOfInterest) || null;
      if (!cam.target) model.notes.push('camera ' + c.name + ': centre of interest "' + c.centerOfInterest + '" is not in the file');
    }
    e.camera = cam;
    model.cameras.push(cam);
  }

  // A motion-path leader rides the path's NURB curve: its u-value curve gives the fraction of
  // the curve's length (0 to 1), else the fraction runs evenly from the path's start to its end
  // time. A path whose follow flag is set turns the leader along it.
  function AttachPath(model, e, leader, path, nurbs) {
    var nurb = nurbs.get(path.nurbName);
    if (!curves.NurbUsable(nurb)) {
      model.issues.push(leader.name + ': motion path ' + path.name + ' has no usable NURB curve "' + path.nurbName + '": its curves and start values are used');
      return;
    }
    var uCurve = model.curves.get(path.uValueCurve) || null;
    e.motionPath = {nurb: nurb, arc: curves.ArcTable(nurb), uCurve: uCurve, start: path.startTime, end: path.endTime,
                    front: path.frontAxis, up: path.upAxis, follows: path.flag !== 0,
                    twist: model.curves.get(path.frontTwistCurve) || null};
    model.notes.push(leader.name + ' follows motion path ' + path.name + (uCurve ? ' by its u-value curve' : ' evenly from ' + path.startTime + ' s to ' + path.endTime + ' s'));
  }

  function PathFraction(mp, t) {
    if (mp.uCurve) return EvaluateCurve(mp.uCurve, t);
    var span = mp.end - mp.start;
    return span > 0 ? Math.min(Math.max((t - mp.start) / span, 0), 1) : 0;
  }

  // The leader on its path: on the curve, turned along it when the path follows.
  function PathMatrix(mp, t, ownTurn) {
    var u = curves.ParameterAtFraction(mp.arc, PathFraction(mp, t));
    var position = curves.NurbPoint(mp.nurb, u);
    if (!mp.follows) return Multiply(transforms.Translation(position[0], position[1], position[2]), ownTurn);
    var domain = mp.arc.domain, du = (domain[1] - domain[0]) * 1e-4 || 1e-4;
    var a = curves.NurbPoint(mp.nurb, Math.max(u - du, domain[0])), b = curves.NurbPoint(mp.nurb, Math.min(u + du, domain[1]));
    var m = transforms.PathFrame(position, [b[0] - a[0], b[1] - a[1], b[2] - a[2]], mp.front, mp.up);
    if (mp.twist) m = Multiply(m, transforms.TwistMatrix(mp.front, EvaluateCurve(mp.twist, t)));
    return m;
  }

  // ---- objects of the Crannnberry layout: one key set per object, tension / continuity / bias

  function BuildCrannnberry(model, c) {
    if (c.info && Finite(c.info.start) && Finite(c.info.end)) { model.start = c.info.start; model.end = c.info.end; }
    function Source(r) {
      if (!r.times) return null;
      var arrays = [r.x, r.y, r.z, r.rotateX, r.rotateY, r.rotateZ];
      var offset = Finite(r.timeOffset) && r.timeOffset > 0 ? r.timeOffset : 0;
      return {tcb: function (t) {
        return arrays.map(function (a) { return a ? curves.EvaluateTcb(r.times, a, r.tcb, t - offset) : 0; });
      }};
    }
    function Add(e, record) {
      e.own = Source(record);
      if (!e.own) { model.issues.push(e.label + ': no keys in the document: not drawn'); return false; }
      model.entities.push(e);
      model.byName.set(e.name, e);
      return true;
    }
    (c.objects || []).forEach(function (o) {
      Add({name: o.name + '#' + o.instance, kind: 'ship', label: o.name + ' #' + o.instance, record: o, path: '', parent: null,
           visibility: [], size: SizeOf('ship', [o.name])}, o);
    });
    (c.cameras || []).forEach(function (r, i) {
      var e = {name: 'camera #' + (i + 1), kind: 'camera', label: 'camera #' + (i + 1), record: r, path: '', parent: null,
               visibility: [], size: kKindSizes.camera};
      if (!Add(e, r)) return;
      e.camera = {name: e.name, followerName: e.name, entity: e, record: r, focal: 35, hAperture: 36, vAperture: 24, near: 1,
                  far: 1e7, focalCurve: null, target: null};
      model.cameras.push(e.camera);
    });
    model.notes.push('Crannnberry layout: keys as tension/continuity/bias splines, rotations as radians in XYZ order, cameras at 35 mm');
  }

  // ---- where each object stands

  // An entity's matrix relative to its parent at time t, and the six values that made it.
  function EntityLocal(e, t) {
    if (e.own && e.own.tcb) {
      var values = e.own.tcb(t);
      return {values: values, matrix: LocalMatrix(values, transforms.kDefaultOrder)};
    }
    var m = transforms.Identity(), leaderValues = null;
    if (e.leader) {
      leaderValues = SlotValues(e.leader, t);
      if (e.motionPath) {
        m = PathMatrix(e.motionPath, t, transforms.EulerMatrix(e.leader.order, leaderValues.slice(3)));
      } else {
        m = LocalMatrix(leaderValues, e.leader.order);
      }
    }
    var own = SlotValues(e.own, t);
    m = Multiply(m, LocalMatrix(own, e.own.order));
    return {values: leaderValues || own, ownValues: own, matrix: m};
  }

  // Every object's world matrix at time t, parents before children, each parent's once: a
  // chain 10,000 deep costs 10,000 products, not 10,000 squared. The last time is kept.
  function Pose(model, t) {
    if (model.poseCache && model.poseCache.time === t) return model.poseCache.worlds;
    var worlds = new Map();
    model.order.forEach(function (e) {
      var local = EntityLocal(e, t).matrix;
      worlds.set(e, e.parent && worlds.has(e.parent) ? Multiply(worlds.get(e.parent), local) : local);
    });
    model.order.forEach(function (e) { if (e.aim && worlds.has(e.aim)) worlds.set(e, Aimed(worlds.get(e), worlds.get(e.aim))); });
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

  function Seconds(model, s) {
    if (s.unit === 'frames') return s.time / model.fps;
    return s.unit === 'seconds' ? s.time : 0;
  }

  // The objects a `with` block names: a follower by its name, by its name without "FOLW_", or
  // by the last part of its name path.
  function BlockTargets(model, name) {
    var e = model.byName.get(name) || model.byName.get(kFollowerPrefix + name);
    if (e) return [e];
    return model.entities.filter(function (x) { return x.path.substring(x.path.lastIndexOf('|') + 1) === name; });
  }

  function Argument(event, i) { return event.arguments && i < event.arguments.length ? event.arguments[i] : null; }
  function Number0(text, fallback) { var v = parseFloat(text); return Finite(v) ? v : fallback; }

  function ReadEvents(model, script) {
    (script.problems || []).forEach(function (p) { model.notes.push('script line ' + p.line + ': ' + p.what); });
    model.events = (script.statements || []).map(function (s) {
      return {time: Seconds(model, s), text: s.text, block: s.block || null, line: s.line, function: s.function || null,
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
    return 2 * Math.atan(cam.vAperture / (2 * (f > 0 ? f : 35))) * 180 / Math.PI;
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
