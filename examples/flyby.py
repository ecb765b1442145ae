# A Homeworld 2 cinematic made in Blender, to copy from: a Hiigaran interceptor flies past a
# Vaygr mothership; a wide camera beside the mothership pans with the fighter, then a chase
# camera follows it.
#
#   blender -b --factory-startup --python examples/flyby.py -- OUT.nis [REELWRIGHT] [SAVE.blend]
#
# builds the scene, exports it through the add-on (OUT.nis and OUT.script) and, if asked, saves
# the .blend. REELWRIGHT is the command (default: `reelwright` on PATH). The add-on is taken from
# Blender's installed add-ons, or from this repository's blender/ folder.
#
# Units: positions are Blender units, which the file keeps as they are (Blender's Z up becomes
# the file's Y up); angles are radians in the file; times are seconds (the scene runs at 30
# frames per second: frame 150 is 5 s); the lens is millimetres.
# Cameras look down their own -Z axis, as every Blender camera does, and are aimed here by Track
# To constraints, which the add-on bakes into keys. The ships' noses point down their local -Y
# axis in Blender (+Z in the file), the axis the preview draws as the nose: the game's own
# convention for a ship's nose is not known to us.
import math
import os
import sys

import addon_utils
import bpy

FPS, LAST_FRAME = 30, 300  # 10 seconds


def enable_addon():
    here = os.path.dirname(os.path.abspath(__file__))
    if not addon_utils.check("reelwright")[0]:
        sys.path.insert(0, os.path.join(here, "..", "blender"))
    addon_utils.enable("reelwright", default_set=True)


def add(scene, name, data=None):
    obj = bpy.data.objects.new(name, data)
    scene.collection.objects.link(obj)
    if data is None:
        obj.empty_display_type, obj.empty_display_size = 'ARROWS', 20
    return obj


def fly(obj, keys):
    """Location keys: (frame, (x, y, z)) in Blender units."""
    for frame, location in keys:
        obj.location = location
        obj.keyframe_insert("location", frame=frame)


def camera(scene, name, target):
    """A camera with the game's lens, aimed at `target` by a Track To constraint."""
    cam = add(scene, name, bpy.data.cameras.new(name))
    with bpy.context.temp_override(object=cam):
        bpy.ops.reelwright.set_game_lens()
    aim = cam.constraints.new('TRACK_TO')
    aim.target, aim.track_axis, aim.up_axis = target, 'TRACK_NEGATIVE_Z', 'UP_Y'
    cam.reelwright_sob_type = "camera"
    cam.reelwright_center_of_interest = target.name
    return cam


def marker(scene, name, frame, cut_to=None):
    mark = scene.timeline_markers.new(name, frame=frame)
    mark.camera = cut_to
    return mark


def build_scene():
    """The flyby, in a fresh scene."""
    bpy.ops.wm.read_homefile(use_empty=True)
    scene = bpy.context.scene
    scene.render.fps, scene.render.fps_base = FPS, 1
    scene.frame_start, scene.frame_end = 0, LAST_FRAME

    mothership = add(scene, "Mothership")  # stands still: it needs no keys
    mothership.reelwright_sob_type, mothership.reelwright_sob_name = "Ship", "Vgr_MotherShip"

    fighter = add(scene, "Interceptor")
    fighter.reelwright_sob_type, fighter.reelwright_sob_name = "Ship", "Hgn_Interceptor"
    fighter.rotation_euler = (0, 0, math.pi / 2)  # nose (-Y) along the flight, +X
    fly(fighter, [(0, (-400, 200, 50)), (LAST_FRAME, (400, 200, 50))])
    fighter["Num Events"] = 1
    fighter["Event0"] = '6|attack|"Mothership"'  # at 6 s the fighter's script attacks

    wide = camera(scene, "CAM_Wide", fighter)  # no keys of its own: it stands and pans
    wide.location = (0, -900, 250)
    chase = camera(scene, "CAM_Chase", fighter)
    fly(chase, [(0, (-520, 60, 90)), (LAST_FRAME, (260, -40, 40))])

    marker(scene, "F_00", 0, wide)  # from 0 s the wide shot
    marker(scene, "F_150", 150, chase)  # from 5 s the chase
    marker(scene, "fadeTo(1, 1)", 270)  # at 9 s the picture fades to black over a second
    return scene


def main(argv):
    nis = os.path.abspath(argv[0])
    enable_addon()
    if len(argv) > 1:
        bpy.context.preferences.addons["reelwright"].preferences.program = argv[1]
    build_scene()
    result = bpy.ops.export_scene.reelwright_nis(filepath=nis)
    if len(argv) > 2:
        bpy.ops.wm.save_as_mainfile(filepath=os.path.abspath(argv[2]))
    return result == {'FINISHED'}


if __name__ == "__main__":
    arguments = sys.argv[sys.argv.index("--") + 1:] if "--" in sys.argv else []
    if not arguments:
        sys.exit("usage: blender -b --factory-startup --python flyby.py -- OUT.nis [REELWRIGHT] [SAVE.blend]")
    sys.exit(0 if main(arguments) else 1)
