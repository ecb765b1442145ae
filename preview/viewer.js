// The viewer: draws the scene model with three.js, through a camera of the file (only what the
// game shows, with the script's fades, letterbox and captions) or from an orbit view (every
// object, label, path and frustum), and plays it. Every assumption about how the game reads a
// file is listed in docs/preview.md.
(function (global) {
  'use strict';

  var Model = global.ReelwrightSceneModel, Curves = global.ReelwrightCurves;
  var kColours = {ship: 0x4fc3f7, camera: 0xffd54f, effect: 0xef5350, target: 0xb0bec5, helper: 0xb0bec5};
  var kBackground = 0x10141c;
  var kLetterboxHeight = 0.125;  // each bar's share of the picture's height
  var kHiddenOpacity = 0.2;      // an object the script hides, seen from the orbit view

  function Element(tag, cls, text) {
    var el = document.createElement(tag);
    if (cls) el.className = cls;
    if (text !== undefined) el.textContent = text;
    return el;
  }

  // A marker at the object's own estimated size: a cone for a ship (nose along local +Z), an
  // octahedron for an effect, a box for a camera (looking down -Z) or a helper node.
  function MarkerFor(e) {
    var size = e.size, group = new THREE.Group(), mesh;
    var material = new THREE.MeshBasicMaterial({color: kColours[e.kind], wireframe: e.kind === 'effect', transparent: true});
    if (e.kind === 'ship') {
      mesh = new THREE.Mesh(new THREE.ConeGeometry(size * 0.3, size, 8), material);
      mesh.rotation.x = Math.PI / 2;
    } else if (e.kind === 'effect') {
      mesh = new THREE.Mesh(new THREE.OctahedronGeometry(size * 0.5), material);
    } else if (e.kind === 'camera') {
      mesh = new THREE.Mesh(new THREE.BoxGeometry(size * 0.6, size * 0.6, size), material);
    } else {
      mesh = new THREE.Mesh(new THREE.BoxGeometry(size, size, size), material);
    }
    group.add(mesh);
    group.userData.material = material;
    group.userData.axes = new THREE.AxesHelper(size);
    group.add(group.userData.axes);
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
      var halfV = Math.tan(Model.VerticalFov(cam, t) * Math.PI / 360) * depth, halfH = halfV * cam.hAperture / cam.vAperture;
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

  // Drawn over the picture through a camera: the fade (a black sheet) and the letterbox bars.
  function Overlay() {
    var scene = new THREE.Scene(), camera = new THREE.OrthographicCamera(-1, 1, 1, -1, -1, 1);
    function Sheet(height, y, opacity) {
      var mesh = new THREE.Mesh(new THREE.PlaneGeometry(2, height),
                                new THREE.MeshBasicMaterial({color: 0x000000, transparent: true, opacity: opacity, depthTest: false}));
      mesh.position.y = y;
      scene.add(mesh);
      return mesh;
    }
    var bars = [Sheet(2 * kLetterboxHeight, 1 - kLetterboxHeight, 1), Sheet(2 * kLetterboxHeight, kLetterboxHeight - 1, 1)];
    var fade = Sheet(2, 0, 0);
    return {
      draw: function (renderer, level, wide) {
        fade.material.opacity = level;
        fade.visible = level > 0;
        bars.forEach(function (b) { b.visible = wide; });
        if (!fade.visible && !wide) return;
        renderer.autoClear = false;
        renderer.render(scene, camera);
        renderer.autoClear = true;
      }
    };
  }

  function StartViewer(model, api, root) {
    var view = root.querySelector('#view');
    var labels = root.querySelector('#labels');
    var caption = root.querySelector('#caption');
    var renderer;
    try {
      renderer = new THREE.WebGLRenderer({canvas: view, antialias: true, preserveDrawingBuffer: true});
    } catch (err) {
      root.querySelector('#status').textContent = 'This browser cannot draw WebGL: ' + err.message;
      return;
    }
    renderer.setPixelRatio(global.devicePixelRatio || 1);
    var scene = new THREE.Scene();
    scene.background = new THREE.Color(kBackground);
    var overlay = Overlay();

    // Scene size, for the orbit camera and the grid, from every track.
    var samples = Math.min(2000, Math.max(2, Math.ceil((model.end - model.start) * model.fps) + 1));
    var box = new THREE.Box3();
    var tracks = new Map();
    model.entities.forEach(function (e) { tracks.set(e, []); });
    for (var i = 0; i < samples; ++i) {
      var worlds = Model.Pose(model, model.start + (model.end - model.start) * i / (samples - 1));
      worlds.forEach(function (m, e) {
        var p = new THREE.Vector3(m[12], m[13], m[14]);
        if (isFinite(p.x) && isFinite(p.y) && isFinite(p.z)) { tracks.get(e).push(p); box.expandByPoint(p); }
      });
    }
    if (box.isEmpty()) box.set(new THREE.Vector3(-1, -1, -1), new THREE.Vector3(1, 1, 1));
    // The orbit view takes in whole objects, whose sizes are their own.
    box.expandByScalar(model.entities.reduce(function (m, e) { return Math.max(m, e.size / 2); }, 0));
    var sphere = box.getBoundingSphere(new THREE.Sphere());
    var radius = Math.max(sphere.radius, 1);

    // What only the orbit view shows: the grid, tracks, motion paths, frustums, aim lines, labels.
    var helpers = [];
    function Helper(object) { scene.add(object); helpers.push(object); return object; }
    Helper(new THREE.GridHelper(radius * 4, 20, 0x37474f, 0x263238));
    var objects = model.entities.map(function (e) {
      Helper(new THREE.Line(new THREE.BufferGeometry().setFromPoints(tracks.get(e)),
                            new THREE.LineBasicMaterial({color: kColours[e.kind], transparent: true, opacity: 0.5})));
      var marker = MarkerFor(e);
      scene.add(marker);
      var label = Element('div', 'label ' + e.kind, e.label.substring(e.label.lastIndexOf('|') + 1));
      labels.appendChild(label);
      var o = {entity: e, marker: marker, label: label};
      if (e.camera) {
        o.frustum = Helper(FrustumFor(e.camera, Math.max(e.size * 3, radius * 0.1)));
        if (e.camera.target) {
          o.aim = Helper(new THREE.Line(new THREE.BufferGeometry().setFromPoints([new THREE.Vector3(), new THREE.Vector3()]),
                                        new THREE.LineDashedMaterial({color: kColours.camera, dashSize: e.size, gapSize: e.size * 0.5})));
          o.aim.frustumCulled = false;
        }
      }
      if (e.leader && e.leader.motionPath) {
        var nurb = e.leader.motionPath.nurb, domain = e.leader.motionPath.arc.domain, points = [];
        for (var k = 0; k <= 200; ++k) {
          var q = Curves.NurbPoint(nurb, domain[0] + (domain[1] - domain[0]) * k / 200);
          points.push(new THREE.Vector3(q[0], q[1], q[2]));
        }
        Helper(new THREE.Line(new THREE.BufferGeometry().setFromPoints(points), new THREE.LineBasicMaterial({color: 0x81c784})));
      }
      return o;
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
      var active = Model.ActiveCamera(model, t);
      var through = state.mode === 'camera' && active !== null;
      var worlds = Model.Pose(model, t);
      helpers.forEach(function (x) { x.visible = !through; });
      objects.forEach(function (o) {
        var e = o.entity, m = worlds.get(e), shown = Model.VisibleAt(e, t);
        o.marker.matrix.fromArray(m);
        o.marker.matrixWorldNeedsUpdate = true;
        o.marker.visible = through ? shown && Model.ShownThroughCamera(e) : true;
        o.marker.userData.material.opacity = shown ? 1 : kHiddenOpacity;
        o.marker.userData.axes.visible = !through;
        o.shown = o.marker.visible && !through;
        if (o.frustum) {
          o.frustum.matrix.fromArray(m);
          o.frustum.matrixWorldNeedsUpdate = true;
          o.frustum.userData.update(t);
        }
        if (o.aim) {
          var target = worlds.get(e.camera.target);
          o.aim.geometry.setFromPoints([new THREE.Vector3(m[12], m[13], m[14]), new THREE.Vector3(target[12], target[13], target[14])]);
          o.aim.computeLineDistances();
        }
      });
      var camera = orbitCamera;
      if (through) {
        var cam = Model.FindCamera(model, active);
        shotCamera.matrix.fromArray(worlds.get(cam.entity));
        shotCamera.matrixWorldNeedsUpdate = true;
        shotCamera.updateMatrixWorld(true);
        shotCamera.fov = Model.VerticalFov(cam, t);
        shotCamera.near = Math.max(cam.near, radius * 1e-4);
        shotCamera.far = Math.min(cam.far, radius * 1e3);
        camera = shotCamera;
      }
      camera.aspect = w / h;
      camera.updateProjectionMatrix();
      renderer.render(scene, camera);
      if (through) overlay.draw(renderer, Model.FadeAt(model, t), Model.WideScreenAt(model, t));
      var said = through ? Model.CaptionAt(model, t) : null;
      caption.textContent = said || '';
      caption.style.display = said ? '' : 'none';
      objects.forEach(function (o) {
        var p = new THREE.Vector3().setFromMatrixPosition(o.marker.matrix).project(camera);
        var visible = o.shown && p.z > -1 && p.z < 1;
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
    // "#t=2.5&view=camera&camera=CAM_B" opens the page at a time, in a view, through a camera
    // (the last only counts when the script makes no cuts).
    var hash = (global.location && global.location.hash || '').replace(/^#/, '').split('&');
    hash.forEach(function (part) {
      var kv = part.split('=');
      if (kv[0] === 't' && isFinite(parseFloat(kv[1]))) state.time = Math.min(Math.max(parseFloat(kv[1]), model.start), model.end);
      if (kv[0] === 'view' && (kv[1] === 'camera' || kv[1] === 'orbit')) state.mode = kv[1];
      var chosen = kv[0] === 'camera' ? Model.FindCamera(model, decodeURIComponent(kv[1] || '')) : null;
      if (chosen) root.querySelector('#camera').value = model.chosenCamera = chosen.name;
    });
    Draw();
    // When the first frame was drawn, in milliseconds since the page began to load: for the benchmark.
    document.documentElement.setAttribute('data-first-frame-ms', String(Math.round(global.performance.now())));
    global.requestAnimationFrame(Frame);
  }

  function FormatTime(t) { return t.toFixed(3).replace(/\.?0+$/, ''); }

  function BuildControls(model, root, state) {
    var slider = root.querySelector('#time');
    var play = root.querySelector('#play');
    var speed = root.querySelector('#speed');
    var clock = root.querySelector('#clock');
    var viewButton = root.querySelector('#viewmode');
    var marks = root.querySelector('#marks');
    var chooser = root.querySelector('#camera');
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

    // Without the script's cuts the user picks the camera to look through.
    if (!model.cuts.length && model.cameras.length) {
      model.cameras.forEach(function (c) { var o = Element('option', '', c.name); o.value = c.name; chooser.appendChild(o); });
      chooser.addEventListener('change', function () { model.chosenCamera = chooser.value; state.dirty = true; });
    } else {
      chooser.parentNode.style.display = 'none';
    }

    var list = root.querySelector('#events');
    model.events.forEach(function (e) {
      var where = e.block ? ' (' + e.block + ')' : '';
      var text = FormatTime(e.time) + ' s: ' + e.text + where;
      var item = Element('li', '', text);
      item.addEventListener('click', function () { state.time = Math.min(e.time, model.end); state.playing = false; state.dirty = true; });
      list.appendChild(item);
      if (e.time < model.start) return;
      var mark = Element('div', 'mark' + (e.function === 'cameraCut' ? ' cut' : ''));
      mark.style.left = (span > 0 ? (e.time - model.start) / span * 100 : 0) + '%';
      mark.title = text;
      marks.appendChild(mark);
    });
    if (!model.events.length) list.appendChild(Element('li', 'none', 'no script'));

    var held = root.querySelector('#holds');
    var d = model.doc;
    [d.title === null || d.title === undefined ? 'no NAME chunk' : 'title "' + d.title + '"',
     'frames per second ' + model.fps + ', from ' + model.start + ' s to ' + model.end + ' s',
     (d.curves || []).length + ' curves, ' + (d.leaders || []).length + ' leaders, ' + (d.followers || []).length +
       ' followers, ' + (d.cameras || []).length + ' cameras, ' + (d.nurbCurves || []).length + ' NURB curves, ' +
       (d.paths || []).length + ' motion paths',
     model.entities.length + ' objects drawn'].concat(model.notes).forEach(function (s) { held.appendChild(Element('li', '', s)); });
    var issues = root.querySelector('#issues');
    model.issues.forEach(function (s) { issues.appendChild(Element('li', '', s)); });
    if (!model.issues.length) issues.appendChild(Element('li', 'none', 'everything was placed'));

    var legend = root.querySelector('#legend');
    Object.keys(kColours).forEach(function (kind) {
      var item = Element('li', 'legend ' + kind, kind + ': ' + Model.kKindSizes[kind] + ' units');
      legend.appendChild(item);
    });
    legend.appendChild(Element('li', '', 'ships by type (estimates): ' + Model.kSizeTable.map(function (r) {
      return r.word + ' ' + r.size;
    }).join(', ')));

    return {
      show: function (t, active) {
        if (document.activeElement !== slider) slider.value = t;
        clock.textContent = t.toFixed(3) + ' s  frame ' + Math.round(t * model.fps) + '  ' + (active ? 'camera ' + active : 'no camera');
        play.textContent = state.playing ? 'pause' : 'play';
        viewButton.textContent = state.mode === 'orbit' ? 'through the camera' : 'orbit view';
      }
    };
  }

  // The page holds the document and the script's statements as JSON, and the keys as binary.
  function Start() {
    var data = document.getElementById('rw-scene');
    if (!data) return;
    var doc = JSON.parse(data.textContent);
    var keys = document.getElementById('rw-keys');
    if (keys && doc.curves && !Curves.AttachKeys(doc.curves, Curves.Base64Bytes(keys.textContent))) {
      document.querySelector('#status').textContent = 'the keys block does not fit the curves';
    }
    var eventsNode = document.getElementById('rw-events');
    var script = eventsNode ? JSON.parse(eventsNode.textContent) : null;
    var model = Model.BuildModel(doc, script);
    var api = Model.MakeApi(model);
    global.reelwrightPreview = api;
    StartViewer(model, api, document);
  }

  if (document.readyState === 'loading') document.addEventListener('DOMContentLoaded', Start);
  else Start();
})(window);
