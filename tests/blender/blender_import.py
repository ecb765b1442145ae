# Runs inside Blender (blender -b --factory-startup --python-exit-code 1 --python THIS --
# REELWRIGHT ADDON_FOLDER EXAMPLES_FOLDER WORKDIR MAKE_IMPORT_FILES). Imports NIS files of every
# layout through File > Import and checks the scene against the file as the command reads it
# (`dump --frames` at every frame): objects, names, parents, classes, the lens, the events and the
# import's reports; then exports each scene again through the add-on and runs `reelwright compare`.
import json
import os
import subprocess
import sys
import tempfile

import addon_utils
import bpy
from mathutils import Matrix, Quaternion, Vector

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
    for collection in (bpy.data.objects, bpy.data.collections, bpy.data.actions, bpy.data.texts, bpy.data.cameras):
        for item in list(collection):
            collection.remove(item)
    bpy.context.scene.timeline_markers.clear()
    for key in list(bpy.context.scene.keys()):
        del bpy.context.scene[key]


def import_file(path):
    """Imports through the operator: {file name: object}, and the reports Blender printed."""
    sys.stdout.flush()
    saved = os.dup(1)
    with tempfile.TemporaryFile("w+") as out:
        os.dup2(out.fileno(), 1)
        try:
            result = bpy.ops.import_scene.reelwright_nis(filepath=path)
        finally:
            sys.stdout.flush()
            os.dup2(saved, 1)
            os.close(saved)
        out.seek(0)
        reports = [line for line in out.read().splitlines() if line.startswith(("Error:", "Warning:", "Info:"))]
    if result != {'FINISHED'}:
        fail("the import of %s did not finish" % path)
    return {obj["NIS Name"]: obj for obj in bpy.data.objects if "NIS Name" in obj and obj.type != 'CURVE'}, reports


# ---- The file's motion by the reference evaluation (`dump --frames`) ----------------------------

def poses(path, names):
    """{name: {frame: (position, quaternion)}} in the file's axes."""
    frames = json.loads(run("dump", path, "--frames", *names))
    return {name: {f["frame"]: (Vector(f["at"][i][:3]), Quaternion([f["at"][i][6]] + f["at"][i][3:6]))
                   for f in frames["frames"]} for i, name in enumerate(frames["followers"])}


def check_motion(path, objects, frames):
    """Every object's world transform in Blender is the file's, after the change of axes."""
    expected = poses(path, list(objects))
    for frame in frames:
        bpy.context.scene.frame_set(frame)
        for name, obj in objects.items():
            position, rotation = expected[name][frame]
            matrix = FILE_TO_BLENDER @ (Matrix.Translation(position) @ rotation.to_matrix().to_4x4())
            if obj.type != 'CAMERA':  # a camera's own axes are the file camera's: both look down -Z
                matrix = matrix @ FILE_TO_BLENDER.transposed()
            difference = max(abs(a - b) for row_a, row_b in zip(obj.matrix_world, matrix) for a, b in zip(row_a, row_b))
            if difference > 1e-3:
                fail("%s at frame %d:\n%s\nthe file has\n%s" % (obj.name, frame, obj.matrix_world, matrix))


def check_same_motion(before, after):
    """`reelwright compare --imported`: every follower plays the same in both files at every frame
    (1e-3 relative in position, 1e-3 radian in rotation), matched through the names the import
    gave, which the command knows as the add-on's import does."""
    done = subprocess.run([reelwright, "compare", before, after, "--imported"], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        fail("%s and %s differ (exit %d):\n%s" % (before, after, done.returncode, done.stdout))


def export_again(path):
    if bpy.ops.export_scene.reelwright_nis(filepath=path) != {'FINISHED'}:
        fail("the export of the imported scene did not finish")


# ---- The cases ----------------------------------------------------------------------------------

def check_game_file():
    """The game's conventions: frames in INFO, names to shorten, a camera record, a script."""
    clear()
    subprocess.run([make_files, work], check=True)
    nis = os.path.join(work, "game.nis")
    objects, reports = import_file(nis)
    expected_reports = [
        "Info: 4 objects are named otherwise than in the file, as the exporter needs; each keeps its file name "
        "in the property NIS Name",
        "Warning: Not mapped: 1 events of Nobody: no such follower (kept in the text game.script)",
        "Warning: Not mapped: 1 cameraCut or attack events name no follower (kept in the text game.script)",
        "Warning: Not mapped: 1 script lines that are no event (kept in the text game.script)",
        "Warning: Not mapped: 20 global events do not fit the 1,023 bytes of the scene's comment: they are markers "
        "named as the call, which the export refuses until some are taken out (all are in the text game.script)",
        "Info: Imported 6 objects (1 camera), 19 curves, 2 objects keyed at every frame, 45 events, "
        "1 motion path drawn"]
    if reports != expected_reports:
        fail("reports\n%s" % "\n".join(reports))
    scene = bpy.context.scene
    if (scene.render.fps, scene.frame_start, scene.frame_end) != (30, 0, 96):  # on to the script's last line
        fail("frame rate and range %s" % ((scene.render.fps, scene.frame_start, scene.frame_end),))
    expected = {  # file name: object name, type, parent, Sob Type, Sob Name
        "FOLW_Root|Formation": ("Formation", 'EMPTY', None, "Ship", "Hgn_Carrier"),
        LONG: ("Hgn_AssaultFrigate_Escort_Wing_", 'EMPTY', "Formation", "Ship", "Hgn_AssaultFrigate"),
        "FOLW_Root|Formation|Hgn_AssaultFrigate_Escort_Wing_Second":
            ("Hgn_AssaultFrigate_Escort_Win~2", 'EMPTY', "Formation", "Ship", "Hgn_AssaultFrigate"),
        "FOLW_Root|Camera1": ("CAM_CamShape1", 'CAMERA', None, None, None),
        "FOLW_Root|Formation|IG_Beacon": ("_IG_Beacon", 'EMPTY', "Formation", "Effect", None),
        "FOLW_Root|Scout": ("Scout", 'EMPTY', None, "Ship", "Hgn_Scout"),
    }
    got = {name: (o.name, o.type, o.parent and o.parent.name, o.get("Sob Type"), o.get("Sob Name"))
           for name, o in objects.items()}
    if got != expected:
        fail("objects\n%s\nexpected\n%s" % (got, expected))
    if bpy.data.objects["IG_curve1"].type != 'CURVE':
        fail("the scout's path is not drawn")
    for name, obj in objects.items():
        if len(obj.name.encode()) > 31 or not obj.animation_data or not obj.animation_data.action.fcurves:
            fail("%s: a name over 31 bytes or no keys" % obj.name)
    # Before, at, between and after the keys (0.5 s to 3 s), with linear and constant ends.
    check_motion(nis, objects, range(0, 91))

    camera = objects["FOLW_Root|Camera1"]
    lens = camera.data
    if ((lens.sensor_width, lens.sensor_height, lens.sensor_fit, lens.clip_start, lens.clip_end, camera["Center Of Interest"])
            != (36, 24, 'VERTICAL', 0.5, 20000, "Hgn_AssaultFrigate_Escort_Wing_")):
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
    # The export refuses more global events than its comment holds, until the user takes some out.
    again = os.path.join(work, "game-again.nis")
    try:
        export_again(again)
        fail("the export took more global events than the scene's comment holds")
    except RuntimeError as report:
        if "do not fit" not in str(report):
            fail("unexpected report %s" % report)
    for marker in [m for m in scene.timeline_markers if m.camera is None]:
        scene.timeline_markers.remove(marker)
    export_again(again)
    check_same_motion(nis, again)


def check_own_export_comes_back():
    """Our own example, imported and exported again, plays the same and keeps every event."""
    clear()
    source = os.path.join(examples, "fleet.nis")
    objects, _ = import_file(source)
    if sorted(o.name for o in objects.values()) != ["CAM_Main", "Fleet", "Ship1"]:
        fail("example objects %s" % sorted(objects))
    again = os.path.join(work, "again.nis")
    export_again(again)
    check_same_motion(source, again)
    statements = lambda path: sorted(line.strip() for line in open(path) if "(" in line)
    if statements(os.path.join(examples, "fleet.script")) != statements(os.path.join(work, "again.script")):
        fail("the script's events changed:\n%s" % open(os.path.join(work, "again.script")).read())
    # A second import into the same file: Blender names the new objects otherwise, and says so.
    _, reports = import_file(source)
    if "Warning: Names taken by objects already in the file, so Blender named these otherwise and the export " \
       "will too: Fleet, Ship1, CAM_Main" not in reports:
        fail("a second import's reports:\n%s" % "\n".join(reports))


def check_other_layouts():
    """A look-at rig, the older record layout, and Crannnberry: keyed at every frame by the
    reference evaluation, the rig's camera also aimed by Track To; each plays the same after the
    export."""
    for file, aimed in (("rig.nis", "CAM_Main"), ("older.nis", None), ("crannnberry.nis", None)):
        clear()
        nis = os.path.join(work, file)
        objects, _ = import_file(nis)
        scene = bpy.context.scene
        check_motion(nis, objects, range(scene.frame_start, scene.frame_end + 1))
        tracks = {o.name: c.target.name for o in objects.values() for c in o.constraints if c.type == 'TRACK_TO'}
        if aimed and tracks != {aimed: "_CAM_Main_view"} or not aimed and tracks:
            fail("%s: Track To constraints %s" % (file, tracks))
        # The rig's view stands under "Rig", which no follower holds: an empty keeps its path.
        view = bpy.data.objects.get("_CAM_Main_view")
        if aimed and (view.parent.name, "NIS Name" in view.parent) != ("Rig", False):
            fail("the view's parent %s" % view.parent)
        again = os.path.join(work, "again-" + file)
        export_again(again)
        check_same_motion(nis, again)


def check_refusals():
    """A missing program, a file that is no NIS and a command that stops midway end in Blender's
    error report, leaving the scene as it was; a cut file imports with a warning for each fault."""
    clear()
    preferences = bpy.context.preferences.addons[addon_name].preferences
    # A program that stops when asked for the frames: the import has made objects by then.
    stopping = os.path.join(work, "stops-at-frames.sh")
    with open(stopping, "w") as script:
        script.write('#!/bin/sh\ncase "$*" in *--frames*) echo "stopped here" >&2; exit 2;; esac\nexec "%s" "$@"\n'
                     % reelwright)
    os.chmod(stopping, 0o755)
    cases = [("no program", os.path.join(examples, "fleet.nis"), os.path.join(work, "none"), "reelwright was not found"),
             ("not a NIS file", os.path.join(examples, "fleet.script"), reelwright, "fleet.script"),
             ("stopped midway", os.path.join(work, "rig.nis"), stopping, "stopped here")]
    scene = bpy.context.scene
    scene.render.fps, scene.frame_start, scene.frame_end = 25, 3, 7
    for case, path, program, words in cases:
        preferences.program = program
        try:
            bpy.ops.import_scene.reelwright_nis(filepath=path)
            fail("%s: the import went on" % case)
        except RuntimeError as report:
            if words not in str(report):
                fail("%s: unexpected report %s" % (case, report))
        left = (len(bpy.data.objects), len(bpy.data.collections), len(bpy.data.actions), len(bpy.data.cameras),
                scene.render.fps, scene.frame_start, scene.frame_end)
        if left != (0, 0, 0, 0, 25, 3, 7):
            fail("%s: the import left %s behind" % (case, left))
    preferences.program = reelwright
    # A cut file: what it holds comes in, and each fault the reader met is a warning.
    cut = os.path.join(work, "cut.nis")
    with open(os.path.join(work, "game.nis"), "rb") as whole, open(cut, "wb") as part:
        part.write(whole.read(3000))
    _, reports = import_file(cut)
    if "Warning: FORM: length 7461 overruns the end of the file at 3000 by 4469 bytes (offset 4)" not in reports:
        fail("a cut file's reports:\n%s" % "\n".join(reports))


try:
    check_game_file()
    check_own_export_comes_back()
    check_other_layouts()
    check_refusals()
    print("Blender import: the scene agrees with the files")
except SystemExit as stop:
    print(stop, file=sys.stderr)
    sys.exit(1)
