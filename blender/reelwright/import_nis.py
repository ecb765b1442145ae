# Reelwright for Blender: File > Import > Homeworld 2 NIS (.nis).
#
# The file is read by the reelwright command only (`dump --json --keys`, and `dump --frames` for
# motion that has no curve of its own), so Blender, the preview and `check` agree on what a file
# means. Followers become objects (cameras for camera records), curves become F-curves with the
# file's own tangents, and the .script beside the file becomes markers, the panel's events and a
# text block, its events as the dump's script section chose and renamed them. Objects take the
# names the dump gives them (the scene section's import nodes), the same names `reelwright
# import` gives, so the scene exports again under names known in advance.
import json
import math
import os
import subprocess

import bpy
from bpy.props import StringProperty
from bpy_extras.io_utils import ImportHelper
from mathutils import Matrix, Quaternion, Vector

from . import scene_rules as rules
from .export_nis import program_path

FOLLOWER_PREFIX = "FOLW_"
# The file is Y up, Blender Z up: a file vector (x, y, z) is Blender's (x, -z, y).
# Where a file axis lands in Blender (index) and with which sign.
AXIS_IN_BLENDER = {"X": (0, 1.0), "Y": (2, 1.0), "Z": (1, -1.0)}
BLENDER_AXIS_LETTER = "XYZ"
# A Blender camera looks down its local -Z; after the axis change a file camera, which looks down
# its own -Z too, needs its local frame turned a quarter turn about X.
CAMERA_TURN = Matrix.Rotation(math.pi / 2, 4, 'X')
CAMERA_TURN_QUATERNION = CAMERA_TURN.to_quaternion()
KIND_DRAW = {"ship": 'ARROWS', "effect": 'SPHERE', "target": 'CUBE'}
SLOT_FIELDS = ("translateXCurve", "translateYCurve", "translateZCurve", "rotateXCurve", "rotateYCurve", "rotateZCurve")
# Class numbers of the older record layout: 0 is a ship, 11 cameras, views and helper nodes.
OLDER_CLASSES = {0: "Ship", 11: "camera"}
INFINITY_CONSTANT, INFINITY_LINEAR = 0, 1
VERTICAL_TANGENT = 1e-9


class ImportProblem(Exception):
    """A reason to stop the import, shown as Blender's error report."""


def run_dump(program, *words):
    run = subprocess.run([program, "dump", *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    message = run.stderr.decode("utf-8", "replace").strip()
    if run.returncode not in (0, 1):
        raise ImportProblem(message or "reelwright dump failed with exit code %d" % run.returncode)
    try:
        return json.loads(run.stdout), message
    except ValueError as problem:
        raise ImportProblem("reelwright dump gave no readable JSON: %s" % problem)


# ---- Names ------------------------------------------------------------------------------------

def name_path(follower_name):
    """The parts of a follower's name path: FOLW_Root|Fleet|Ship1 gives [Root, Fleet, Ship1]."""
    if follower_name.startswith(FOLLOWER_PREFIX):
        follower_name = follower_name[len(FOLLOWER_PREFIX):]
    return follower_name.split("|")


# ---- Curves --------------------------------------------------------------------------------------

def tangent_slope(tangent):
    """Value per second of a (seconds, value) tangent; a vertical one (two keys at one time) has
    no finite slope and counts as flat."""
    x, y = float(tangent[0]), float(tangent[1])
    return y / x if abs(x) >= VERTICAL_TANGENT else 0.0


def curve_points(curve, fps, sign):
    """Frames, values and both handles of a curve's keys, in Blender's units. A tangent key's
    handles lie a third of the way to the neighbouring key along its tangent, which makes each
    Bezier segment the file's cubic Hermite segment; a Bezier key's handles are the file's own."""
    keys = curve["keys"]
    n = len(keys)
    times = [float(k["time"]) for k in keys]
    values = [sign * float(k["value"]) for k in keys]
    left, right = [], []
    for i, key in enumerate(keys):
        if curve["layout"] == "bezier":
            handles = [None, None]
            for side, field, exists in ((0, "inHandle", i > 0), (1, "outHandle", i < n - 1)):
                if exists:
                    handles[side] = (float(key[field][0]) * fps, sign * float(key[field][1]))
            mirror = lambda h: (2 * times[i] * fps - h[0], 2 * values[i] - h[1])
            handles[0] = handles[0] or (mirror(handles[1]) if handles[1] else (times[i] * fps - 1, values[i]))
            handles[1] = handles[1] or mirror(handles[0])
            left.append(handles[0])
            right.append(handles[1])
            continue
        before = times[i] - times[i - 1] if i > 0 else (times[1] - times[0] if n > 1 else 1.0)
        after = times[i + 1] - times[i] if i < n - 1 else before
        before, after = before or 1.0, after or 1.0
        m_in, m_out = tangent_slope(key["inTangent"]), tangent_slope(key["outTangent"])
        # Beyond the ends the curve goes on along the end key's inner side; a lone key holds.
        m_in, m_out = (m_out if i == 0 else m_in), (m_in if i == n - 1 else m_out)
        if n == 1:
            m_in = m_out = 0.0
        left.append(((times[i] - before / 3) * fps, values[i] - sign * m_in * before / 3))
        right.append(((times[i] + after / 3) * fps, values[i] + sign * m_out * after / 3))
    return [t * fps for t in times], values, left, right


def flat(pairs):
    return [v for pair in pairs for v in pair]


def set_keys(fcurve, frames, values, left, right, interpolations=None):
    """Puts the keys in by whole arrays; their handles are FREE so that Blender keeps them."""
    points = fcurve.keyframe_points
    points.add(len(frames))
    points.foreach_set("co", flat(zip(frames, values)))
    points.foreach_set("handle_left", flat(left))
    points.foreach_set("handle_right", flat(right))
    for point in points:
        point.handle_left_type = point.handle_right_type = 'FREE'
    for index, interpolation in (interpolations or {}).items():
        points[index].interpolation = interpolation


def add_curve(action, path, index, group, curve, fps, sign, scene_range):
    """An F-curve for a file curve, extrapolated as the file's ends say. Where the keys stop short
    of the scene's range, a key at the range's end carries the end's motion on (held, or along
    the end's tangent) as a straight stretch: Blender has one extrapolation mode per curve, and
    an exporter sampling the keys' span then sees the whole motion."""
    fcurve = action.fcurves.new(path, index=index, action_group=group)
    frames, values, left, right = curve_points(curve, fps, sign)
    pre, post = curve.get("preInfinity", 0), curve.get("postInfinity", 0)
    linear = INFINITY_LINEAR in (pre, post) and len(frames) > 1
    first, last = scene_range
    straight = {}  # key index -> interpolation of the stretch behind it
    if linear and frames[0] > first:
        rate = (values[0] - left[0][1]) / (frames[0] - left[0][0]) if pre == INFINITY_LINEAR else 0.0
        value = values[0] - rate * (frames[0] - first)
        frames.insert(0, first)
        values.insert(0, value)
        left.insert(0, (first - 1, value - rate))
        right.insert(0, (first + 1, value + rate))
        straight[0] = 'LINEAR' if pre == INFINITY_LINEAR else 'CONSTANT'
    if linear and frames[-1] < last:
        rate = (right[-1][1] - values[-1]) / (right[-1][0] - frames[-1]) if post == INFINITY_LINEAR else 0.0
        value = values[-1] + rate * (last - frames[-1])
        straight[len(frames) - 1] = 'LINEAR' if post == INFINITY_LINEAR else 'CONSTANT'
        frames.append(last)
        values.append(value)
        left.append((last - 1, value - rate))
        right.append((last + 1, value + rate))
    set_keys(fcurve, frames, values, left, right, straight)
    fcurve.extrapolation = 'LINEAR' if linear else 'CONSTANT'
    return fcurve


def add_constant(action, path, index, group, value, frame):
    fcurve = action.fcurves.new(path, index=index, action_group=group)
    set_keys(fcurve, [frame], [value], [(frame - 1, value)], [(frame + 1, value)])
    return fcurve


def blender_rotation_mode(turn_order):
    """Blender's Euler mode for the file's turn order ("XYZ": X turns first, then Y, then Z,
    about the parent's axes, as Blender's XYZ does): after the axis change file Y is Blender Z."""
    return "".join(BLENDER_AXIS_LETTER[AXIS_IN_BLENDER[a][0]] for a in turn_order)


def blender_pose(at):
    """A file pose [x, y, z, qx, qy, qz, qw] (Y up) as Blender's position and rotation: the
    change of axes maps a vector (x, y, z) to (x, -z, y), and a rotation's axis likewise."""
    x, y, z, qx, qy, qz, qw = at
    return Vector((x, -z, y)), Quaternion((qw, qx, -qz, qy))


# ---- The scene -----------------------------------------------------------------------------------

class SceneBuilder:
    """Builds the Blender scene from the dump: `scene` says what each record is and where it
    stands, the records give names, classes, curves and lenses."""

    def __init__(self, context, dump, filepath, program):
        self.context, self.dump, self.filepath, self.program = context, dump, filepath, program
        self.scene = context.scene
        self.reading = dump["scene"]
        self.curves = {c["name"]: c for c in dump["curves"]}
        self.records = {f["name"]: f for f in dump["followers"]}
        self.leader_records = dump["leaders"]
        self.objects = []  # Blender object of each scene follower (None for the exporter's placeholder)
        self.renamed = 0  # objects named otherwise than their follower
        self.taken = []  # names Blender's objects held already, so Blender gave others
        self.count = {"objects": 0, "cameras": 0, "curves": 0, "sampled": 0, "events": 0, "paths": 0}
        self.unmapped = []
        self.node_objects = {}  # Blender object of each import node, by the node's name in the dump

    def set_time(self):
        """The frame rate, and the playback range in frames (INFO's range, on to the last key)."""
        render = self.scene.render
        self.saved_time = (render.fps, render.fps_base, self.scene.frame_start, self.scene.frame_end)
        self.fps = int(self.reading["fps"])
        self.scene.render.fps, self.scene.render.fps_base = self.fps, 1.0
        first, last = int(self.reading["firstFrame"]), int(self.reading["lastFrame"])
        self.range = (first, max(last, first + 1))
        self.scene.frame_start, self.scene.frame_end = self.range

    def discard(self):
        """Takes back what a stopped import made: its objects, their data and keys, the
        collection, and the scene's frame rate and range."""
        if hasattr(self, "collection"):
            for obj in list(self.collection.objects):
                data = obj.data
                for owner in (obj, data):
                    if owner is not None and owner.animation_data and owner.animation_data.action:
                        bpy.data.actions.remove(owner.animation_data.action)
                bpy.data.objects.remove(obj)
                if data is not None:
                    getattr(bpy.data, "cameras" if isinstance(data, bpy.types.Camera) else "curves").remove(data)
            bpy.data.collections.remove(self.collection)
        if hasattr(self, "saved_time"):
            render = self.scene.render
            render.fps, render.fps_base, self.scene.frame_start, self.scene.frame_end = self.saved_time

    def make_collection(self):
        title = os.path.splitext(os.path.basename(self.filepath))[0]
        self.collection = bpy.data.collections.new(title)
        self.scene.collection.children.link(self.collection)

    def make_objects(self):
        """An object for every import node, parents first: each follower's but the exporter's
        placeholder, and an empty for each part of a name path that no follower holds."""
        followers = self.reading["followers"]
        cameras = self.reading["cameras"]
        self.objects = [None] * len(followers)
        # The follower each follower's object moves with: the nearest follower above it.
        self.anchors = [None] * len(followers)
        nodes, node_anchors = [], []
        for node in self.reading["importNodes"]:
            index = node["follower"]
            follower = followers[index] if index is not None else None
            record = self.records.get(follower["name"], {}) if follower else {}
            camera = cameras[follower["camera"]] if follower and follower["camera"] is not None else None
            name = node["name"]
            obj = bpy.data.objects.new(name, bpy.data.cameras.new(name) if node["camera"] else None)
            if obj.name != name:
                self.taken.append(name)
            if node["camera"]:
                rules.set_game_lens(obj.data)  # the lens the game shows, where no record gives one
                if camera:
                    self.set_lens(obj.data, self.dump["cameras"][follower["camera"]])
                    obj["NIS Camera"] = camera["name"]
                self.count["cameras"] += 1
            else:
                obj.empty_display_type = KIND_DRAW.get(follower["kind"], 'PLAIN_AXES') if follower else 'PLAIN_AXES'
                if self.class_of(record):
                    obj["Sob Type"] = self.class_of(record)
            self.collection.objects.link(obj)
            if follower:
                obj["NIS Name"] = follower["name"]
                self.renamed += name != name_path(follower["name"])[-1]
                self.objects[index] = obj
            if record.get("blueprint"):
                obj["Sob Name"] = record["blueprint"]
            parent = nodes[node["parent"]] if node["parent"] is not None else None
            anchor = node_anchors[node["parent"]] if node["parent"] is not None else None
            if index is not None:
                self.anchors[index] = anchor
            node_anchors.append(anchor if index is None else index)
            if parent is not None:
                obj.parent = parent
                # A child of a camera is placed in the file's frame, not the camera's turned one.
                if parent.type == 'CAMERA':
                    obj.matrix_parent_inverse = CAMERA_TURN.inverted()
            if index is None:
                # It stands where its parent does; one key keeps it in the export.
                self.animate_by_curves(obj, [("static", 0.0)] * 6, "XYZ")
            nodes.append(obj)
            self.node_objects[name] = obj
            self.count["objects"] += 1
        for number, camera in enumerate(cameras):
            if camera["follower"] is None:
                self.unmapped.append("camera %s: its follower is not in the file" % camera["name"])
            elif followers[camera["follower"]]["camera"] != number:
                self.unmapped.append("camera %s: its follower %s is another camera's already"
                                     % (camera["name"], followers[camera["follower"]]["name"]))
            elif camera["centerOfInterest"] is not None and self.objects[camera["centerOfInterest"]]:
                self.objects[camera["follower"]]["Center Of Interest"] = self.objects[camera["centerOfInterest"]].name

    @staticmethod
    def class_of(record):
        if record.get("class") is not None:
            return record["class"]
        number = record.get("classNumber")
        return OLDER_CLASSES.get(number, str(number)) if number is not None else ""

    def set_lens(self, data, camera):
        # The game shows the film's height as the picture's, as the export's lens check says.
        data.type, data.lens_unit, data.sensor_fit = 'PERSP', 'MILLIMETERS', 'VERTICAL'
        data.lens = camera["focalLength"]
        data.sensor_width, data.sensor_height = camera["horizontalAperture"], camera["verticalAperture"]
        data.clip_start, data.clip_end = camera["nearClip"], camera["farClip"]
        focal = self.curves.get(camera.get("focalLengthCurve") or "")
        if focal and focal["keys"]:
            data.animation_data_create().action = bpy.data.actions.new(data.name + "Lens")
            add_curve(data.animation_data.action, "lens", 0, "Lens", focal, self.fps, 1.0, self.range)
            self.count["curves"] += 1

    def draw_nurb_curves(self):
        """The motion paths' NURB curves, for reference only: Blender's splines cannot take the
        file's knots, so the motion itself comes from the reference evaluation. The IG_ prefix
        keeps them out of the export."""
        for record in self.dump.get("nurbCurves", []):
            data = bpy.data.curves.new(record["name"] or "path", 'CURVE')
            data.dimensions = '3D'
            spline = data.splines.new('NURBS')
            points = record["controlPoints"]
            spline.points.add(len(points) - 1)
            spline.points.foreach_set("co", [v for x, y, z, w in points for v in (x, -z, y, w)])
            spline.order_u = max(2, min(6, int(record["degree"]) + 1))
            spline.use_endpoint_u = record.get("form") == 1
            spline.use_cyclic_u = record.get("form") == 3
            obj = bpy.data.objects.new(rules.IGNORED_PREFIX + data.name, data)
            self.collection.objects.link(obj)
            obj["NIS Name"] = record["name"]
            self.count["paths"] += 1

    # ---- Motion: F-curves where one record's curves place the follower, keys at every frame
    # from the reference evaluation otherwise.
    def slot_values(self, record, slots, stored):
        """Each of six slots: ("curve", curve) where it names a curve with keys, ("static", value)
        otherwise: 0 for a curve without keys, the record's stored value where it names none."""
        result = []
        for field, word, value in zip(SLOT_FIELDS, slots, stored):
            curve = self.curves.get(record.get(field) or "") if word == "curve" else None
            if curve is None:
                result.append(("static", float(value)))
            else:
                result.append(("curve", curve) if curve["keys"] else ("static", 0.0))
        return result

    def motion_source(self, index):
        """(six slots, turn order) that alone place the follower relative to its parent, or None
        when its motion needs the reference evaluation: a motion path, a look-at rig, a leader
        and motion of its own together, a Crannnberry object."""
        follower = self.reading["followers"][index]
        record = self.records.get(follower["name"])
        # Curves are relative to the file's parent; an object under another follower is sampled.
        if record is None or follower["aimAt"] is not None or self.anchors[index] != follower["parent"]:
            return None
        own = self.slot_values(record, follower["slots"], record.get("numbers") or [0] * 6)
        if follower["leader"] is None:
            return own, follower["turnOrder"]
        leader = self.reading["leaders"][follower["leader"]]
        if leader["path"] is not None and self.reading["paths"][leader["path"]]["usable"]:
            return None
        if any(kind == "curve" and any(k["value"] for k in value["keys"]) or kind == "static" and value
               for kind, value in own):
            return None
        lead = self.leader_records[follower["leader"]]
        stored = list(lead["startPosition"]) + list(lead["startRotation"])
        return self.slot_values(lead, leader["slots"], stored), leader["turnOrder"]

    def animate(self):
        """Motion for every object, under Blender's progress indicator."""
        sampled = []
        wm = self.context.window_manager
        wm.progress_begin(0, max(1, len(self.objects)))
        try:
            for index, obj in enumerate(self.objects):
                wm.progress_update(index)
                if obj is None:
                    continue
                source = self.motion_source(index)
                # A camera's quarter turn joins its X angle only where X turns first.
                if source is None or (obj.type == 'CAMERA' and blender_rotation_mode(source[1])[0] != "X"):
                    sampled.append(index)
                else:
                    self.animate_by_curves(obj, *source)
            if sampled:
                self.animate_by_samples(sampled)
        finally:
            wm.progress_end()

    def new_action(self, obj):
        obj.animation_data_create()
        obj.animation_data.action = bpy.data.actions.new(obj.name + "Action")
        return obj.animation_data.action

    def animate_by_curves(self, obj, slots, turn_order):
        obj.rotation_mode = blender_rotation_mode(turn_order)
        action = self.new_action(obj)
        for slot, (kind, source) in enumerate(slots):
            axis, sign = AXIS_IN_BLENDER["XYZ"[slot % 3]]
            path = "location" if slot < 3 else "rotation_euler"
            # A camera's local frame is turned a quarter turn about X, applied first.
            turn = math.pi / 2 if obj.type == 'CAMERA' and slot == 3 else 0.0
            if kind == "curve":
                fcurve = add_curve(action, path, axis, obj.name, source, self.fps, sign, self.range)
                if turn:
                    for point in fcurve.keyframe_points:
                        for field in ("co", "handle_left", "handle_right"):
                            getattr(point, field)[1] += turn
                self.count["curves"] += 1
            else:
                # A follower without keys of its own still gets one, so the export keeps it.
                add_constant(action, path, axis, obj.name, sign * source + turn, self.range[0])

    def animate_by_samples(self, indexes):
        """Keys at every frame from the reference evaluation (`dump --frames`), relative to the
        Blender parent; a look-at rig also gets its Track To constraint."""
        followers = self.reading["followers"]
        wanted = sorted(set(indexes) | {self.anchors[i] for i in indexes if self.anchors[i] is not None})
        frames, _ = run_dump(self.program, self.filepath, "--frames", *[followers[i]["name"] for i in wanted])
        column = {index: position for position, index in enumerate(wanted)}
        for index in indexes:
            parent = self.anchors[index]
            self.key_every_frame(self.objects[index], frames["frames"], column[index], column.get(parent),
                                 followers[index].get("turnOrder") or "XYZ", followers[index]["kind"] == "camera")
            aim = followers[index]["aimAt"]
            if aim is not None and self.objects[aim] is not None:
                track = self.objects[index].constraints.new('TRACK_TO')
                track.target, track.track_axis, track.up_axis = self.objects[aim], 'TRACK_NEGATIVE_Z', 'UP_Y'
            self.count["sampled"] += 1

    def key_every_frame(self, obj, frames, column, parent_column, turn_order, camera):
        """Location and rotation keys from the world poses of `frames` (the follower's in
        `column`, its parent's in `parent_column`), straight between frames. A parent camera's
        quarter turn is undone by its child's parent inverse, so the parent counts by its file
        pose alone. A frame with a pose that is not finite (a broken file) gets no key."""
        obj.rotation_mode = mode = blender_rotation_mode(turn_order)
        numbers, rows, previous = [], [], None
        for frame in frames:
            try:
                position, rotation = blender_pose(frame["at"][column])
                if camera:
                    rotation = rotation @ CAMERA_TURN_QUATERNION
                if parent_column is not None:
                    parent_position, parent_rotation = blender_pose(frame["at"][parent_column])
                    parent_rotation.conjugate()
                    position, rotation = parent_rotation @ (position - parent_position), parent_rotation @ rotation
            except TypeError:
                continue
            previous = rotation.to_euler(mode, previous) if previous else rotation.to_euler(mode)
            numbers.append(frame["frame"])
            rows.append((*position, *previous))
        if not numbers:
            numbers, rows = [self.range[0]], [(0.0,) * 6]
        action = self.new_action(obj)
        linear = bpy.types.Keyframe.bl_rna.properties["interpolation"].enum_items["LINEAR"].value
        co = [0.0] * (2 * len(numbers))
        co[0::2] = numbers
        for channel, values in enumerate(zip(*rows)):
            path = "location" if channel < 3 else "rotation_euler"
            points = action.fcurves.new(path, index=channel % 3, action_group=obj.name).keyframe_points
            points.add(len(numbers))
            co[1::2] = values
            points.foreach_set("co", co)
            # Straight between frames: no handles to keep, and interpolation takes foreach_set.
            points.foreach_set("interpolation", [linear] * len(numbers))

    # ---- The script
    def read_script(self):
        """The script beside the file as a text block, and the events the dump chose from it."""
        script_path = os.path.splitext(self.filepath)[0] + ".script"
        chosen = self.dump.get("script")
        if chosen is None or not os.path.isfile(script_path):
            return
        with open(script_path, "rb") as handle:
            data = handle.read()
        try:
            text = data.decode("utf-8")
        except UnicodeDecodeError:  # the game's own scripts are Windows-1252
            text = data.decode("cp1252", "replace")
        block = bpy.data.texts.new(os.path.basename(script_path))
        block.from_string(text)
        self.scene["NIS Script"] = block.name
        for line in chosen["leftOut"]:
            self.unmapped.append("%s (kept in the text %s)" % (line, block.name))
        self.place_events(chosen["events"], block.name)

    def event_object(self, node):
        """The object of an import node the dump names (None for none), and its name where
        Blender named it otherwise than the dump."""
        obj = self.node_objects.get(node) if node is not None else None
        return obj, (obj.name if obj is not None and obj.name != node else None)

    def place_events(self, events, text_name):
        scene_events, object_events = [], {}
        for event in events:
            seconds, function, arguments = event["seconds"], event["function"], event["arguments"]
            target, renamed = self.event_object(event["target"])
            if renamed:
                arguments = '"%s"' % renamed
            frame = round(seconds * self.fps)
            time_text = "%d" % seconds if seconds == int(seconds) else ("%.6g" % seconds)
            text = "%s|%s|%s" % (time_text, function, arguments)
            self.count["events"] += 1
            if event["block"] is None and function == "cameraCut" and target is not None and target.type == 'CAMERA':
                marker = self.scene.timeline_markers.new(target.name, frame=frame)
                marker.camera = target
            elif event["block"] is None:
                scene_events.append((frame, text, function + "(" + arguments + ")"))
            else:
                object_events.setdefault(self.event_object(event["block"])[0], []).append(text)
        # The export writes the global events, camera cuts among them, into one comment of
        # 1,023 bytes; the typed events that do not fit stay as markers named as the call, which
        # the export names when it refuses them.
        cuts = [rules.event_text(int(m.frame / self.fps), "cameraCut", '"%s"' % m.camera.name)
                for m in self.scene.timeline_markers if m.camera is not None]
        # In the export's order: by second, typed events before markers, each in its own order.
        merged = sorted([(int(rules.leading_number(e)), 0, i, e) for i, (_, e, _) in enumerate(scene_events)] +
                        [(int(rules.leading_number(e)), 1, i, e) for i, e in enumerate(cuts)])
        base = dict(rules.plain_properties(self.scene), **{rules.FPS_OPTION: self.fps})
        over = rules.events_left_over(base, [m[3] for m in merged])
        left = {i for _, kind, i, _ in merged[len(merged) - over:] if kind == 0}
        rules.write_events(self.scene, [e for i, (_, e, _) in enumerate(scene_events) if i not in left])
        for i, (frame, _, call) in enumerate(scene_events):
            if i in left and self.scene.timeline_markers.new(call, frame=frame).name != call:
                self.unmapped.append("the event %s is too long for a marker's name" % call)  # cut at 63 bytes
        if left:
            self.unmapped.append("%d global events do not fit the 1,023 bytes of the scene's comment: they are "
                                 "markers named as the call, which the export refuses until some are taken out "
                                 "(all are in the text %s)" % (len(left), text_name))
        for obj, texts in object_events.items():
            left = rules.events_left_over(rules.plain_properties(obj), texts)
            rules.write_events(obj, texts[:len(texts) - left])
            if left:
                self.unmapped.append("%s: %d events do not fit its comment (kept in the text %s)"
                                     % (obj.name, left, text_name))

    def report_text(self):
        c = self.count

        def counted(n, noun):
            return "%d %s%s" % (n, noun, "" if n == 1 else "s")

        text = "Imported %s (%s), %s, %s keyed at every frame, %s" % (
            counted(c["objects"], "object"), counted(c["cameras"], "camera"), counted(c["curves"], "curve"),
            counted(c["sampled"], "object"), counted(c["events"], "event"))
        return text + (", %s drawn" % counted(c["paths"], "motion path") if c["paths"] else "")


class ImportNis(bpy.types.Operator, ImportHelper):
    """Import a Homeworld 2 NIS cinematic and the .script beside it"""
    bl_idname = "import_scene.reelwright_nis"
    bl_label = "Import Homeworld 2 NIS"
    bl_options = {'REGISTER', 'UNDO'}
    filename_ext = ".nis"
    filter_glob: StringProperty(default="*.nis", options={'HIDDEN'})

    def execute(self, context):
        program = program_path(context)
        if not program:
            self.report({'ERROR'}, "reelwright was not found: name the program in the add-on's preferences")
            return {'CANCELLED'}
        builder = None
        try:
            dump, message = run_dump(program, self.filepath, "--json", "--keys")
            if "scene" not in dump:
                raise ImportProblem("%s gives no scene reading: the import needs a newer reelwright" % program)
            builder = SceneBuilder(context, dump, self.filepath, program)
            builder.set_time()
            builder.make_collection()
            builder.make_objects()
            builder.draw_nurb_curves()
            builder.animate()
            builder.read_script()
        except (OSError, ImportProblem) as problem:
            if builder is not None:
                builder.discard()
            self.report({'ERROR'}, "Reelwright: %s" % problem)
            return {'CANCELLED'}
        for fault in dump.get("faults", []):
            self.report({'WARNING'}, "%s: %s (offset %d)" % (fault["where"], fault["message"], fault["offset"]))
        if builder.renamed:
            self.report({'INFO'}, "%d objects are named otherwise than in the file, as the exporter needs; "
                                  "each keeps its file name in the property NIS Name" % builder.renamed)
        if builder.taken:
            self.report({'WARNING'}, "Names taken by objects already in the file, so Blender named these "
                                     "otherwise and the export will too: " + ", ".join(builder.taken))
        for line in builder.unmapped:
            self.report({'WARNING'}, "Not mapped: " + line)
        self.report({'INFO'}, builder.report_text())
        return {'FINISHED'}


def menu_entry(self, context):
    self.layout.operator(ImportNis.bl_idname, text="Homeworld 2 NIS (.nis)")


def register():
    bpy.utils.register_class(ImportNis)
    bpy.types.TOPBAR_MT_file_import.append(menu_entry)


def unregister():
    bpy.types.TOPBAR_MT_file_import.remove(menu_entry)
    bpy.utils.unregister_class(ImportNis)


if __name__ == "__main__":
    register()
