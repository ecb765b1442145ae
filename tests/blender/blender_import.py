# Runs inside Blender (blender -b --factory-startup --python-exit-code 1 --python THIS --
# REELWRIGHT ADDON_FOLDER EXAMPLES_FOLDER WORKDIR MAKE_IMPORT_FILES). Imports NIS files through File > Import and
# checks the scene against the file as `reelwright dump` reads it: objects, names, parents, classes,
# the motion at frames between and beyond the keys, the lens, the events; then exports our own
# example again through the add-on and compares the two files.
import json
import math
import os
import subprocess
import sys

import addon_utils
import bpy
from mathutils import Euler, Matrix, Vector

reelwright, addons, examples, work, make_files = sys.argv[sys.argv.index("--") + 1:]
examples = os.path.join(examples, "golden")
os.makedirs(work, exist_ok=True)
sys.path.insert(0, addons)
addon_name = "reelwright"
addon_utils.enable(addon_name, default_set=True)
bpy.context.preferences.addons[addon_name].preferences.program = reelwright

FILE_TO_BLENDER = Matrix(((1, 0, 0), (0, 0, -1), (0, 1, 0))).to_4x4()
LONG = "FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Leader"


def fail(message):
    raise SystemExit("FAILED: " + message)


def run(*words):
    done = subprocess.run([reelwright, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        fail("reelwright %s: exit %d\n%s" % (" ".join(words), done.returncode, done.stderr))
    return done.stdout


def clear():
    for collection in (bpy.data.objects, bpy.data.collections, bpy.data.actions, bpy.data.texts):
        for item in list(collection):
            collection.remove(item)
    bpy.context.scene.timeline_markers.clear()
    for key in list(bpy.context.scene.keys()):
        del bpy.context.scene[key]


def import_file(path):
    if bpy.ops.import_scene.reelwright_nis(filepath=path) != {'FINISHED'}:
        fail("the import of %s did not finish" % path)
    return {obj["NIS Name"]: obj for obj in bpy.data.objects}


# ---- The file's motion, evaluated here from the dump on its own terms --------------------------

def bezier_at(p0, p1, p2, p3, t):
    """Value of a cubic Bezier in (time, value) at time t, found by bisection on the time."""
    low, high = 0.0, 1.0
    point = lambda u, i: ((1 - u) ** 3 * p0[i] + 3 * (1 - u) ** 2 * u * p1[i] + 3 * (1 - u) * u * u * p2[i]
                          + u ** 3 * p3[i])
    for _ in range(60):
        middle = (low + high) / 2
        low, high = (middle, high) if point(middle, 0) < t else (low, middle)
    return point(low, 1)


def curve_at(curve, t):
    keys = curve["keys"]
    slope = lambda tangent: tangent[1] / tangent[0] if tangent[0] else 0.0
    first, last = keys[0], keys[-1]
    if t <= first["time"] or t >= last["time"]:
        key, linear = (first, curve["preInfinity"]) if t <= first["time"] else (last, curve["postInfinity"])
        if not linear:
            return key["value"]
        if curve["layout"] == "bezier":
            handle = key["outHandle"] if key is first else key["inHandle"]
            rate = (handle[1] - key["value"]) / (handle[0] - key["time"])
        else:
            rate = slope(key["inTangent"] if key is first else key["outTangent"])
        return key["value"] + rate * (t - key["time"])
    for a, b in zip(keys, keys[1:]):
        if a["time"] <= t <= b["time"]:
            if curve["layout"] == "bezier":
                return bezier_at((a["time"], a["value"]), a["outHandle"], b["inHandle"], (b["time"], b["value"]), t)
            h, s = b["time"] - a["time"], (t - a["time"]) / (b["time"] - a["time"])
            m0, m1 = slope(a["outTangent"]) * h, slope(b["inTangent"]) * h
            return ((2 * s ** 3 - 3 * s ** 2 + 1) * a["value"] + (s ** 3 - 2 * s ** 2 + s) * m0
                    + (-2 * s ** 3 + 3 * s ** 2) * b["value"] + (s ** 3 - s ** 2) * m1)


def local_at(dump, leader, t):
    """The leader's transform in the file's axes: its curves (or start values), turned about the
    parent's axes in the order its text gives read backwards."""
    curves = {c["name"]: c for c in dump["curves"]}
    fields = ["translateXCurve", "translateYCurve", "translateZCurve", "rotateXCurve", "rotateYCurve", "rotateZCurve"]
    starts = leader["startPosition"] + leader["startRotation"]
    values = [curve_at(curves[leader[f]], t) if leader[f] in curves else s for f, s in zip(fields, starts)]
    rotation = Matrix.Identity(4)
    for axis in leader["rotationOrder"].strip()[::-1]:
        rotation = Matrix.Rotation(values[3 + "XYZ".index(axis)], 4, axis) @ rotation
    return Matrix.Translation(Vector(values[:3])) @ rotation


def world_at(dump, name, t):
    """A follower's world transform in the file's axes: its leaders up the name path, through
    the followers the file holds."""
    leaders = {l["name"]: l for l in dump["leaders"]}
    followers = {f["name"]: f for f in dump["followers"]}
    world = Matrix.Identity(4)
    while name in followers:
        world = local_at(dump, leaders[followers[name]["leaderName"]], t) @ world
        name = name.rpartition("|")[0]
    return world


def largest_difference(a, b):
    return max(abs(x - y) for row_a, row_b in zip(a, b) for x, y in zip(row_a, row_b))


def check_motion(dump, objects, frames):
    fps = bpy.context.scene.render.fps
    for frame in frames:
        bpy.context.scene.frame_set(frame)
        for name, obj in objects.items():
            expected = FILE_TO_BLENDER @ world_at(dump, name, frame / fps) @ FILE_TO_BLENDER.transposed()
            if obj.type == 'CAMERA':  # both look down their own -Z
                expected = expected @ Matrix.Rotation(math.pi / 2, 4, 'X')
            if largest_difference(obj.matrix_world, expected) > 1e-4:
                fail("%s at frame %d:\n%s\nthe file has\n%s" % (obj.name, frame, obj.matrix_world, expected))


def follower_path(obj):
    return "FOLW_Root|" + ("|".join([follower_path(obj.parent)[10:], obj.name]) if obj.parent else obj.name)


def check_exported_again(objects, before, frames):
    """The scene exported through the add-on moves as the file did at every frame."""
    again = os.path.join(work, "game-again.nis")
    scene = bpy.context.scene
    try:
        bpy.ops.export_scene.reelwright_nis(filepath=again)
        fail("the export took more global events than the scene's comment holds")
    except RuntimeError as report:
        if "do not fit" not in str(report):
            fail("unexpected report %s" % report)
    for marker in [m for m in scene.timeline_markers if m.camera is None]:  # what the user takes out
        scene.timeline_markers.remove(marker)
    if bpy.ops.export_scene.reelwright_nis(filepath=again) != {'FINISHED'}:
        fail("the export of the imported game file did not finish")
    after = json.loads(run("dump", again, "--json", "--keys"))
    fps = bpy.context.scene.render.fps
    for name, obj in objects.items():
        for frame in frames:
            old, new = world_at(before, name, frame / fps), world_at(after, follower_path(obj), frame / fps)
            if largest_difference(old, new) > 1e-3:
                fail("%s at frame %d moves otherwise after the export:\n%s\n%s" % (obj.name, frame, old, new))


# ---- The cases ----------------------------------------------------------------------------------

def check_game_file():
    """The game's conventions: frames in INFO, names to shorten, a camera record, a script."""
    clear()
    subprocess.run([make_files, work], check=True)
    nis = os.path.join(work, "game.nis")
    objects = import_file(nis)
    scene = bpy.context.scene
    if (scene.render.fps, scene.frame_start, scene.frame_end) != (30, 0, 90):
        fail("frame rate and range %s" % ((scene.render.fps, scene.frame_start, scene.frame_end),))
    expected = {  # file name: object name, type, parent, Sob Type, Sob Name
        "FOLW_Root|Formation": ("Formation", 'EMPTY', None, "Ship", "Hgn_Carrier"),
        LONG: ("Hgn_AssaultFrigate_Escort_Wing_", 'EMPTY', "Formation", "Ship", "Hgn_AssaultFrigate"),
        "FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Second":
            ("Hgn_AssaultFrigate_Escort_Win~2", 'EMPTY', "Formation", "Ship", "Hgn_AssaultFrigate"),
        "FOLW_Root|Camera1": ("CAM_CamShape1", 'CAMERA', None, None, None),
        "FOLW_Root|Formation|IG_Beacon": ("_IG_Beacon", 'EMPTY', "Formation", "Effect", None),
    }
    got = {name: (o.name, o.type, o.parent and o.parent.name, o.get("Sob Type"), o.get("Sob Name"))
           for name, o in objects.items()}
    if got != expected:
        fail("objects\n%s\nexpected\n%s" % (got, expected))
    for name, obj in objects.items():
        if len(obj.name.encode()) > 31 or not obj.animation_data or not obj.animation_data.action.fcurves:
            fail("%s: a name over 31 bytes or no keys" % obj.name)
    dump = json.loads(run("dump", nis, "--json", "--keys"))
    # Before, at, between and after the keys (0.5 s to 3 s), with linear and constant ends.
    check_motion(dump, objects, [0, 7, 15, 20, 30, 37, 45, 52, 60, 75, 82, 90])

    camera = objects["FOLW_Root|Camera1"]
    lens = camera.data
    if ((lens.sensor_width, lens.sensor_height, lens.clip_start, lens.clip_end, camera["Center Of Interest"])
            != (36, 24, 0.5, 20000, "Hgn_AssaultFrigate_Escort_Wing_")):
        fail("camera %s" % ((lens.sensor_width, lens.sensor_height, lens.clip_start, lens.clip_end),))
    for frame, focal in ((0, 35), (90, 50)):
        scene.frame_set(frame)
        if abs(lens.lens - focal) > 1e-4:
            fail("lens at frame %d: %g, not %g" % (frame, lens.lens, focal))

    # Events: the cut a marker bound to the camera, a call at a frame in seconds, renamed targets.
    # Global events fill the scene's comment up to its 1,023 bytes; the rest are markers.
    markers = [(m.name, m.frame, m.camera and m.camera.name) for m in scene.timeline_markers]
    if markers[0] != ("CAM_CamShape1", 30, "CAM_CamShape1"):
        fail("markers %s" % markers)
    events = [scene.get("Event%d" % i) for i in range(scene.get("Num Events", 0))]
    if events[:3] != ["0|fadeSet|1", '1|attack|"Hgn_AssaultFrigate_Escort_Wing_"', '1.5|cameraBlendIn|"CAM_CamShape1",4']:
        fail("scene events %s" % events)
    speech = sorted([e.split("|", 1)[1] for e in events[3:]] + [m[0] for m in markers[1:] if m[1] == 90])
    if len(speech) != 40 or len(markers) + len(events) != 44:
        fail("%d speech events, %d markers" % (len(speech), len(markers)))
    second = objects["FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Second"]
    if (second.get("Num Events"), second.get("Event0")) != (1, "2|hide|"):
        fail("object events %s" % dict(second.items()))
    with open(os.path.join(work, "game.script")) as script:
        if bpy.data.texts[scene["NIS Script"]].as_string() != script.read():
            fail("the script is not kept whole as a text")
    check_exported_again(objects, dump, range(0, 91))


def check_own_export_comes_back():
    """Our own example, imported and exported again, gives the same curves and events."""
    clear()
    source = os.path.join(examples, "fleet.nis")
    objects = import_file(source)
    if sorted(o.name for o in objects.values()) != ["CAM_Main", "Fleet", "Ship1"]:
        fail("example objects %s" % sorted(objects))
    again = os.path.join(work, "again.nis")
    if bpy.ops.export_scene.reelwright_nis(filepath=again) != {'FINISHED'}:
        fail("the export of the imported example did not finish")
    before, after = (json.loads(run("dump", path, "--json", "--keys")) for path in (source, again))
    times = [key["time"] for key in before["curves"][1]["keys"]]
    for name in objects:
        for t in times:
            if largest_difference(world_at(before, name, t), world_at(after, name, t)) > 1e-4:
                fail("%s at %g s moves otherwise after the round trip" % (name, t))
    statements = lambda path: sorted(line.strip() for line in open(path) if "(" in line)
    if statements(os.path.join(examples, "fleet.script")) != statements(os.path.join(work, "again.script")):
        fail("the script's events changed:\n%s" % open(os.path.join(work, "again.script")).read())


def check_refusals():
    """A missing program and a file that is no NIS stop with Blender's error report, adding nothing."""
    clear()
    preferences = bpy.context.preferences.addons[addon_name].preferences
    cases = [("no program", os.path.join(examples, "fleet.nis"), os.path.join(work, "none"), "reelwright was not found"),
             ("not a NIS file", os.path.join(examples, "fleet.script"), reelwright, "fleet.script")]
    for case, path, program, words in cases:
        preferences.program = program
        try:
            bpy.ops.import_scene.reelwright_nis(filepath=path)
            fail("%s: the import went on" % case)
        except RuntimeError as report:
            if words not in str(report):
                fail("%s: unexpected report %s" % (case, report))
        if len(bpy.data.objects) or len(bpy.data.collections):
            fail("%s: the import left objects behind" % case)
    preferences.program = reelwright


try:
    check_game_file()
    check_own_export_comes_back()
    check_refusals()
    print("Blender import: the scene agrees with the files")
except SystemExit as stop:
    print(stop, file=sys.stderr)
    sys.exit(1)
