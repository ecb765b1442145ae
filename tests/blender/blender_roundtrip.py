# Runs inside Blender: blender -b --factory-startup --python-exit-code 1 --python THIS --
#   REELWRIGHT ADDON_FOLDER EXAMPLES_FOLDER WORKDIR
# Builds the modder's flyby (a fighter flying past, cameras aimed by Track To, markers bound to
# cameras, the panel's properties), exports it through the add-on and checks what the user sees:
# the files, `reelwright check`, the motion as the preview evaluates it (the fighter stays in the
# active camera's picture), the scene left as it was, and Blender's reports for each problem.
import contextlib
import json
import os
import subprocess
import sys
import tempfile

import bpy
from mathutils import Euler, Vector

reelwright, addons, examples, work = sys.argv[sys.argv.index("--") + 1:]
sys.path[:0] = [addons, examples]
import flyby  # noqa: E402  (the example is the scene under test)

flyby.enable_addon()
bpy.context.preferences.addons["reelwright"].preferences.program = reelwright
os.makedirs(work, exist_ok=True)
NIS = os.path.join(work, "flyby.nis")
# The middle of a picture: a 100th of the way to its edge (a NIS camera's picture, 21.8 mm
# lens on 24 mm film, reaches 0.55 to the side of 1 ahead).
CENTRE = 0.01 * 12 / 21.8
failures = []


def fail(message):
    failures.append(message)


def run(*words):
    return subprocess.run([reelwright, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def export(path=NIS, **options):
    """Exports through the operator: (its result, the reports Blender printed)."""
    resolved = os.path.abspath(bpy.path.abspath(path))
    for stale in (resolved, os.path.splitext(resolved)[0] + ".script"):
        if os.path.exists(stale):
            os.remove(stale)
    with tempfile.TemporaryFile("w+") as out, redirected(out):
        try:
            result = bpy.ops.export_scene.reelwright_nis(filepath=path, **options)
        except RuntimeError:  # Blender raises an operator's error report
            result = {'ERROR'}
    return result, [line for line in captured if line.startswith(("Error:", "Warning:", "Info:"))]


captured = []


@contextlib.contextmanager
def redirected(out):
    """Blender prints reports on its own standard output: catch both streams for a while."""
    sys.stdout.flush()
    saved = [os.dup(1), os.dup(2)]
    os.dup2(out.fileno(), 1), os.dup2(out.fileno(), 2)
    try:
        yield
    finally:
        sys.stdout.flush()
        os.dup2(saved[0], 1), os.dup2(saved[1], 2)
        out.seek(0)
        captured[:] = out.read().splitlines()


def scene_state(scene):
    """What an export must leave as it was."""
    return (scene.frame_current, sorted(a.name for a in bpy.data.actions), dict(scene.items()),
            [(o.name, o.rotation_mode, tuple(o.location), o.animation_data and o.animation_data.action,
              [c.mute for c in o.constraints]) for o in scene.objects])


def curves_of(dump, name):
    curves = {c["name"]: c["keys"] for c in dump["curves"]}
    parts = ("translateX", "translateY", "translateZ", "rotateX", "rotateY", "rotateZ")
    return [curves["ANIM_Root|%s_%s" % (name, part)] for part in parts]


def active_cameras(script):
    """(second, camera) of each cut in the script's global section."""
    cuts, second = [], None
    for line in script.split("\n\n")[0].splitlines():
        if line.startswith("at "):
            second = int(line[3:])
        elif "cameraCut(" in line:
            cuts.append((second, line.split('"FOLW_Root|')[1].rstrip('")')))
    return cuts


def check_fighter_in_picture(dump, script):
    """At every key (every frame), the fighter is in the middle of the picture of the camera cut
    to last (both cameras track it), a camera looking down its own -Z axis and turned X, then Y,
    then Z."""
    fighter, cuts = curves_of(dump, "Interceptor"), active_cameras(script)
    if [c for _, c in cuts] != ["CAM_Wide", "CAM_Chase"]:
        return fail("cuts %s" % cuts)
    cameras = {name: curves_of(dump, name) for _, name in cuts}
    for index, key in enumerate(fighter[0]):
        name = [c for second, c in cuts if second <= key["time"] + 1e-6][-1]
        at = [curve[index]["value"] for curve in cameras[name]]
        turn = Euler(at[3:], 'XYZ').to_matrix()
        seen = turn.transposed() @ (Vector([c[index]["value"] for c in fighter[:3]]) - Vector(at[:3]))
        if seen.z >= 0 or abs(seen.x / -seen.z) > CENTRE or abs(seen.y / -seen.z) > CENTRE:
            return fail("at %.3f s the fighter is not in the middle of %s's picture (seen at %s)"
                        % (key["time"], name, seen))


def check_flyby():
    scene = flyby.build_scene()
    scene.frame_set(scene.frame_current)  # values as Blender shows them
    before = scene_state(scene)
    result, reports = export()
    if result != {'FINISHED'} or [r for r in reports if not r.startswith("Info:")]:
        return fail("flyby export: %s %s" % (result, reports))
    if scene_state(scene) != before:
        fail("the export changed the scene:\n%s\n%s" % (before, scene_state(scene)))
    if [f for f in os.listdir(work) if f.endswith((".glb", ".json"))]:
        fail("temporary files were left beside the output")
    checked = run("check", NIS, NIS[:-4] + ".script")
    if checked.returncode != 0 or "warning" in checked.stdout.lower():
        fail("reelwright check: exit %d\n%s%s" % (checked.returncode, checked.stdout, checked.stderr))
    dump = json.loads(run("dump", NIS, "--json", "--keys").stdout)
    followers = {f["name"]: (f["class"], f["blueprint"]) for f in dump["followers"]}
    if (followers.get("FOLW_Root|Interceptor"), followers.get("FOLW_Root|Mothership")) != (
            ("Ship", "Hgn_Interceptor"), ("Ship", "Vgr_MotherShip")):
        fail("followers %s" % followers)
    cameras = [(c["name"], c["centerOfInterest"]) for c in dump["cameras"]]
    if cameras != [("CAM_Wide", "FOLW_Root|Interceptor"), ("CAM_Chase", "FOLW_Root|Interceptor")]:
        fail("cameras %s" % cameras)  # CAM_Wide has no keys of its own: it must not be dropped
    if dump["info"]["fps"] != flyby.FPS or len(curves_of(dump, "CAM_Chase")[3]) != flyby.LAST_FRAME + 1:
        fail("not keyed at every frame: %s" % dump["info"])
    with open(NIS[:-4] + ".script") as text:
        script = text.read()
    check_fighter_in_picture(dump, script)
    if "at 9\n\tfadeTo(1, 1)\n" not in script or "\tat 6\n\t\tattack(\"FOLW_Root|Mothership\")" not in script:
        fail("script:\n" + script)

    result, _ = export(every_frame=False)
    dump = json.loads(run("dump", NIS, "--json", "--keys").stdout)
    counts = [len(curves_of(dump, name)[0]) for name in ("CAM_Chase", "CAM_Wide", "Mothership")]
    if result != {'FINISHED'} or counts != [2, 2, 2]:
        fail("authored keys only: %s, keys %s" % (result, counts))


def comment_of(size):
    """Pads the scene's model comment (its properties, the markers' events, OPT_FPS) to `size` bytes."""
    def pad(scene):
        from reelwright import export_nis, scene_rules
        lent, _ = export_nis.global_properties(scene)
        scene["Pad"] = ""
        scene["Pad"] = "x" * (size - len(scene_rules.comment_text(dict(scene_rules.plain_properties(scene), **lent))))
    return pad


def saved_blend(scene):
    os.makedirs(os.path.join(work, "saved"), exist_ok=True)
    bpy.ops.wm.save_as_mainfile(filepath=os.path.join(work, "saved", "flyby.blend"))


def no_program(scene):
    bpy.context.preferences.addons["reelwright"].preferences.program = os.path.join(work, "no-such-program")


# (case, change to the flyby, output path, expected result, a text each report must include)
CASES = [
    ("a marker off a whole second", lambda s: setattr(s.timeline_markers["fadeTo(1, 1)"], "frame", 285), NIS,
     'FINISHED', ["Warning: marker 'fadeTo(1, 1)' at frame 285 is 9.5 s", "it plays at 9 s"]),
    ("29.97 frames per second", lambda s: setattr(s.render, "fps_base", 1.001), NIS,
     'FINISHED', ["Warning: the file holds whole frames per second: the scene's 29.97 fps is written as 30"]),
    ("a typed OPT_FPS", lambda s: s.__setitem__("OPT_FPS", "24"), NIS,
     'FINISHED', ["Warning: the scene's OPT_FPS property (24 fps) is used"]),
    ("another lens", lambda s: setattr(s.objects["CAM_Wide"].data, "lens", 50), NIS,
     'FINISHED', ["Warning: CAM_Wide: a persp lens of 50 mm"]),
    ("a problem of the command", lambda s: setattr(s.objects["Mothership"], "scale", (2, 2, 2)), NIS,
     'FINISHED', ["Warning:", "scale"]),
    ("a name past the game's 31 bytes", lambda s: setattr(s.objects["Mothership"], "name", "M" * 32), NIS,
     'ERROR', ["Error: node 0 \"%s\"" % ("M" * 32), "Error: The export failed (exit code 2)"]),
    ("a model comment of exactly 1023 bytes", comment_of(1023), NIS, 'FINISHED', []),
    ("a model comment of 1024 bytes", comment_of(1024), NIS, 'ERROR', ["left over: marker 'fadeTo(1, 1)'; nothing"]),
    ("beside an unsaved .blend", lambda s: None, "//shot.nis", 'ERROR', ["Error: //shot.nis is beside the .blend"]),
    ("beside the saved .blend", saved_blend, "//shot.nis", 'FINISHED', []),
    ("no program", no_program, NIS, 'ERROR', ["Error: reelwright was not found"]),
]


def check_reports():
    for case, change, path, expected, texts in CASES:
        written = os.path.join(work, "saved", "shot.nis") if path.startswith("//") else path
        if os.path.exists(written):
            os.remove(written)
        change(flyby.build_scene())
        result, reports = export(path)
        if result != {expected} or any(not [r for r in reports if text in r] for text in texts):
            fail("%s: %s, reports:\n  %s" % (case, result, "\n  ".join(reports)))
        if os.path.exists(written) != (expected == 'FINISHED'):
            fail("%s: %s %s" % (case, written, "is missing" if expected == 'FINISHED' else "was written"))
    if os.path.exists(os.path.join("/", "shot.nis")):
        fail("a Blender-relative path went to the root of the file system")


check_flyby()
check_reports()
for failure in failures:
    print("FAILED: " + failure, file=sys.stderr)
sys.exit(1 if failures else 0)
