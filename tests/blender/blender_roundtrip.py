# Runs inside Blender (blender -b --factory-startup --python-exit-code 1 --python THIS -- REELWRIGHT ADDON WORKDIR).
# Builds a small cinematic (a fleet of empties, a ship under it, a camera and a guide, with keys
# and custom properties), exports it through the add-on's menu operator, and checks the NIS file
# and script with `reelwright check` and `reelwright dump --json --keys` against the scene.
import json
import math
import os
import subprocess
import sys

import addon_utils
import bpy
from mathutils import Euler, Matrix

reelwright, addon_file, work = sys.argv[sys.argv.index("--") + 1:]
os.makedirs(work, exist_ok=True)
sys.path.insert(0, os.path.dirname(addon_file))
addon_name = os.path.splitext(os.path.basename(addon_file))[0]
addon_utils.enable(addon_name, default_set=True)
bpy.context.preferences.addons[addon_name].preferences.program = reelwright

FPS, FIRST, LAST = 24, 1, 48
# Blender's Z-up axes to glTF's (and the NIS file's) Y-up axes: (x, y, z) -> (x, z, -y).
TO_Y_UP = Matrix(((1, 0, 0), (0, 0, 1), (0, -1, 0)))
# A glTF camera looks down its -Z axis, a Blender camera down its own -Z too, but after the
# axis change the exporter turns camera nodes a quarter turn about X.
CAMERA_FIX = Matrix.Rotation(-math.pi / 2, 3, 'X')


def build_scene():
    for obj in list(bpy.data.objects):
        bpy.data.objects.remove(obj)
    scene = bpy.context.scene
    scene.render.fps, scene.render.fps_base = FPS, 1
    scene.frame_start, scene.frame_end = FIRST, LAST
    scene["Num Events"] = 1
    scene["Event0"] = '0|cameraCut|"CAM_Main"'

    def add(name, data=None, parent=None):
        obj = bpy.data.objects.new(name, data)
        scene.collection.objects.link(obj)
        obj.parent = parent
        return obj

    def key(obj, frame, location, rotation):
        obj.location, obj.rotation_euler = location, rotation
        obj.keyframe_insert("location", frame=frame)
        obj.keyframe_insert("rotation_euler", frame=frame)

    fleet = add("Fleet")
    key(fleet, FIRST, (0, 0, 0), (0, 0, 0))
    key(fleet, LAST, (10, 4, 0), (0, 0, 0.5))
    ship = add("Ship1", parent=fleet)
    ship["Sob Type"], ship["Sob Name"] = "Frigate", "Ship1"
    key(ship, FIRST, (1, 2, 3), (0, 0, 0))
    key(ship, LAST, (1, 2, 5), (0.3, 0.2, 0.5))
    camera = add("CAM_Main", bpy.data.cameras.new("lens"))
    camera["Center Of Interest"] = "Ship1"
    key(camera, FIRST, (0, -20, 5), (math.radians(80), 0, 0))
    key(camera, LAST, (8, -20, 5), (math.radians(80), 0, math.radians(20)))
    add("IG_Guide")
    return scene


def expected_motion(scene, obj, frame):
    """The object's parent-relative location and rotation matrix at `frame`, in Y-up axes."""
    scene.frame_set(frame)
    local = obj.matrix_parent_inverse @ obj.matrix_basis if obj.parent else obj.matrix_basis
    rotation = TO_Y_UP @ local.to_3x3() @ TO_Y_UP.transposed()
    if obj.type == 'CAMERA':
        rotation = rotation @ CAMERA_FIX
    return TO_Y_UP @ local.to_translation(), rotation


def run(*words):
    return subprocess.run([reelwright, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def fail(message):
    raise SystemExit("FAILED: " + message)


def check_curves(scene, dump, path, obj, camera):
    curves = {c["name"]: c for c in dump["curves"]}
    prefix = "ANIM_" + path + "_"
    for frame in range(FIRST, LAST + 1):
        location, rotation = expected_motion(scene, obj, frame)
        index = frame - FIRST
        values = {axis: curves[prefix + axis]["keys"][index]["value"]
                  for axis in ("translateX", "translateY", "translateZ", "rotateX", "rotateY", "rotateZ")}
        time = curves[prefix + "translateX"]["keys"][index]["time"]
        if abs(time - frame / FPS) > 1e-6:
            fail("%s key %d is at %g s, not %g" % (path, index, time, frame / FPS))
        got = (values["translateX"], values["translateY"], values["translateZ"])
        if any(abs(a - b) > 1e-4 for a, b in zip(got, location)):
            fail("%s at frame %d is at %s, the scene has %s" % (path, frame, got, tuple(location)))
        # A camera's curves, half turn included, turn it as the scene does: it looks where it looks there.
        euler = Euler((values["rotateX"], values["rotateY"], values["rotateZ"]), 'XYZ')
        difference = euler.to_matrix() - rotation
        if max(abs(v) for row in difference for v in row) > 1e-4:
            fail("%s at frame %d turns by %s, the scene by %s" % (path, frame, tuple(euler), rotation))


def check_missing_program(nis):
    """Without the program the operator stops with an error report and writes nothing."""
    preferences = bpy.context.preferences.addons[addon_name].preferences
    preferences.program = os.path.join(work, "no-such-reelwright")
    try:
        bpy.ops.export_scene.reelwright_nis(filepath=nis)
        fail("the export went on without the program")
    except RuntimeError as report:  # Blender raises an operator's error report
        if "reelwright was not found" not in str(report):
            fail("unexpected report: %s" % report)
    finally:
        preferences.program = reelwright
    if os.path.exists(nis):
        fail("a NIS file was written without the program")


def main():
    scene = build_scene()
    nis = os.path.join(work, "fleet.nis")
    script = os.path.join(work, "fleet.script")
    for stale in (nis, script):
        if os.path.exists(stale):
            os.remove(stale)
    check_missing_program(nis)
    if bpy.ops.export_scene.reelwright_nis(filepath=nis) != {'FINISHED'}:
        fail("the export operator did not finish")
    if "OPT_FPS" in scene.keys():
        fail("the add-on left its lent OPT_FPS on the scene")
    if [f for f in os.listdir(work) if f.endswith(".glb")]:
        fail("a temporary .glb was left beside the output")

    checked = run("check", nis, script)
    if checked.returncode != 0:
        fail("reelwright check: exit %d\n%s%s" % (checked.returncode, checked.stdout, checked.stderr))
    dumped = run("dump", nis, "--json", "--keys")
    if dumped.returncode != 0:
        fail("reelwright dump: exit %d\n%s" % (dumped.returncode, dumped.stderr))
    dump = json.loads(dumped.stdout)

    paths = {"Root|Fleet": "Fleet", "Root|Fleet|Ship1": "Ship1", "Root|CAM_Main": "CAM_Main"}
    leaders = [leader["name"] for leader in dump["leaders"]]
    if sorted(leaders) != sorted(["LEAD_Empty"] + ["LEAD_" + p for p in paths]):
        fail("leaders %s" % leaders)
    if len(dump["curves"]) != 1 + 7 * len(paths):
        fail("%d curves" % len(dump["curves"]))
    if dump["info"] != {"fps": FPS, "start": 0, "end": 3}:
        fail("header %s" % dump["info"])
    for path, name in paths.items():
        check_curves(scene, dump, path, bpy.data.objects[name], name.startswith("CAM_"))

    ship = next(f for f in dump["followers"] if f["name"] == "FOLW_Root|Fleet|Ship1")
    if (ship["class"], ship["blueprint"]) != ("Frigate", "Ship1"):
        fail("ship follower %s" % ship)
    camera = dump["cameras"][0]
    if (camera["name"], camera["centerOfInterest"]) != ("CAM_Main", "FOLW_Root|Fleet|Ship1"):
        fail("camera %s" % camera)
    with open(script) as text:
        if 'cameraCut("FOLW_Root|CAM_Main")' not in text.read():
            fail("the script has no camera cut")
    print("Blender round trip: scene, NIS and script agree")


try:
    main()
except SystemExit as stop:
    print(stop, file=sys.stderr)
    sys.exit(1)
