# Reelwright for Blender: File > Export > Homeworld 2 NIS (.nis).
#
# Writes the scene to a temporary .glb with Blender's own glTF exporter (custom properties go
# along as extras), runs `reelwright export` on it, shows the export log in Blender's reports,
# and removes the temporary file. Objects are bones by their names (CAM_ for cameras, IG_ for
# guides), custom properties are their comments (Sob Type, Center Of Interest, Num Events,
# Event0, ...), and the scene's custom properties are the model comment.
import os
import shutil
import subprocess
import tempfile

import bpy
from bpy.props import StringProperty
from bpy_extras.io_utils import ExportHelper

# File > Import lives in its own module beside this one (absent when this file is installed alone).
try:
    from . import reelwright_nis_import as nis_import
except ImportError:
    try:
        import reelwright_nis_import as nis_import
    except ImportError:
        nis_import = None

bl_info = {
    "name": "Reelwright: Homeworld 2 NIS export",
    "description": "Exports the scene's objects and their animation as a Homeworld 2 NIS cinematic",
    "version": (0, 9, 0),
    "blender": (3, 4, 0),
    "location": "File > Export > Homeworld 2 NIS (.nis)",
    "category": "Import-Export",
}

FPS_OPTION = "OPT_FPS"


class ReelwrightPreferences(bpy.types.AddonPreferences):
    bl_idname = __name__

    program: StringProperty(
        name="reelwright program",
        description="The reelwright command: a full path, or a name found on PATH",
        default="reelwright",
        subtype='FILE_PATH',
    )

    def draw(self, context):
        self.layout.prop(self, "program")


def program_path(context):
    addon = context.preferences.addons.get(__name__)
    name = addon.preferences.program if addon else "reelwright"
    name = bpy.path.abspath(name) if os.sep in name else name
    return shutil.which(name) or (name if os.path.isfile(name) else None)


def write_glb(context, path):
    """The scene as glTF, with custom properties as extras. Without an OPT_FPS property of its
    own, the scene's frame rate is lent to it for the export, so key times become the same frames."""
    scene = context.scene
    lent_fps = FPS_OPTION not in scene.keys()
    if lent_fps:
        scene[FPS_OPTION] = round(scene.render.fps / scene.render.fps_base)
    options = dict(filepath=path, export_format='GLB', export_extras=True, export_cameras=True,
                   export_yup=True, export_animations=True)
    # Every object's action in one glTF animation: Blender 3.6 and later say so with a mode.
    if "export_animation_mode" in bpy.ops.export_scene.gltf.get_rna_type().properties.keys():
        options["export_animation_mode"] = 'ACTIVE_ACTIONS'
    else:
        options["export_nla_strips"] = False
    try:
        bpy.ops.export_scene.gltf(**options)
    finally:
        if lent_fps:
            del scene[FPS_OPTION]


class ExportNis(bpy.types.Operator, ExportHelper):
    """Export the scene as a Homeworld 2 NIS cinematic and its .script"""
    bl_idname = "export_scene.reelwright_nis"
    bl_label = "Export Homeworld 2 NIS"
    filename_ext = ".nis"
    filter_glob: StringProperty(default="*.nis", options={'HIDDEN'})

    def execute(self, context):
        program = program_path(context)
        if not program:
            self.report({'ERROR'}, "reelwright was not found: name the program in the add-on's preferences")
            return {'CANCELLED'}
        folder = tempfile.mkdtemp(prefix="reelwright-")
        try:
            glb = os.path.join(folder, "scene.glb")
            write_glb(context, glb)
            # The file browser has already asked before replacing an existing file.
            run = subprocess.run([program, "export", glb, "-o", self.filepath, "--force"],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, errors="replace")
        except (OSError, RuntimeError) as problem:
            self.report({'ERROR'}, "Reelwright: %s" % problem)
            return {'CANCELLED'}
        finally:
            shutil.rmtree(folder, ignore_errors=True)
        return self.show_result(run)

    def show_result(self, run):
        for line in run.stdout.splitlines():
            if line.strip():
                self.report({'WARNING'} if "WARNING" in line or "ERROR" in line else {'INFO'}, line)
        problems = [line for line in run.stderr.splitlines() if line.strip()]
        for line in problems:
            self.report({'ERROR'} if run.returncode != 0 else {'WARNING'}, line)
        if run.returncode != 0:
            return {'CANCELLED'}
        self.report({'INFO'}, "Exported %s" % self.filepath)
        return {'FINISHED'}


def menu_entry(self, context):
    self.layout.operator(ExportNis.bl_idname, text="Homeworld 2 NIS (.nis)")


classes = (ReelwrightPreferences, ExportNis)


def register():
    for cls in classes:
        bpy.utils.register_class(cls)
    bpy.types.TOPBAR_MT_file_export.append(menu_entry)
    if nis_import:
        nis_import.register()


def unregister():
    if nis_import:
        nis_import.unregister()
    bpy.types.TOPBAR_MT_file_export.remove(menu_entry)
    for cls in reversed(classes):
        bpy.utils.unregister_class(cls)


if __name__ == "__main__":
    register()
