# Reelwright for Blender: Homeworld 2 cinematics (NIS files) made in Blender.
#
# A package of modules, each registering its own classes: `export_nis` (File > Export >
# Homeworld 2 NIS), `panel` (the Homeworld 2 panels of objects and the scene). An import module
# joins by being named in MODULES. The same folder is a legacy add-on for Blender 3.4 to 4.1
# (bl_info) and an extension for Blender 4.2 and later (blender_manifest.toml).
import importlib

import bpy
from bpy.props import StringProperty

bl_info = {
    "name": "Reelwright: Homeworld 2 NIS",
    "description": "Homeworld 2 cinematics: exports the scene's objects, motion and events as a NIS file, and imports NIS files",
    "version": (0, 9, 0),
    "blender": (3, 4, 0),
    "location": "File > Export and File > Import > Homeworld 2 NIS (.nis); Properties > Object and Scene > Homeworld 2",
    "category": "Import-Export",
}

# The modules that register classes, in order.
MODULES = ["export_nis", "import_nis", "panel"]


class ReelwrightPreferences(bpy.types.AddonPreferences):
    bl_idname = __package__

    program: StringProperty(
        name="reelwright program",
        description="The reelwright command: a full path, or a name found on PATH",
        default="reelwright",
        subtype='FILE_PATH',
    )

    def draw(self, context):
        self.layout.prop(self, "program")


def modules():
    return [importlib.import_module("." + name, __package__) for name in MODULES]


def register():
    bpy.utils.register_class(ReelwrightPreferences)
    for module in modules():
        module.register()


def unregister():
    for module in reversed(modules()):
        module.unregister()
    bpy.utils.unregister_class(ReelwrightPreferences)
