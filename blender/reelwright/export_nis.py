# File > Export > Homeworld 2 NIS (.nis): checks the scene, bakes its motion, writes it to a
# temporary .glb with Blender's own glTF exporter (custom properties go along as extras), runs
# `reelwright export` on it and shows the run's problems as Blender reports, each by its kind.
import contextlib
import json
import os
import shutil
import subprocess
import tempfile

import bpy
from bpy.props import BoolProperty, StringProperty
from bpy_extras.io_utils import ExportHelper

from . import scene_rules as rules
from .bake import BakedScene

KINDS = {"error": 'ERROR', "warning": 'WARNING', "info": 'INFO'}


def program_path(context):
    addon = context.preferences.addons.get(__package__)
    name = addon.preferences.program if addon else "reelwright"
    name = bpy.path.abspath(name) if os.sep in name else name
    return shutil.which(name) or (name if os.path.isfile(name) else None)


def script_path(nis):
    """The .script the command writes beside a NIS file."""
    return os.path.splitext(nis)[0] + ".script"


def output_path(path):
    """The NIS path as a file system path: `//` means beside the .blend. None when the path is
    relative to a .blend that has not been saved."""
    if path.startswith("//") and not bpy.data.filepath:
        return None
    return os.path.abspath(bpy.path.abspath(path))


@contextlib.contextmanager
def lent_properties(owner, values, replaced=lambda key: False):
    """Sets custom properties for a while: `values` are set and keys that `replaced` picks are
    removed; afterwards the owner has exactly the properties it had."""
    saved = {key: owner[key] for key in owner.keys() if key in values or replaced(key)}
    for key in saved:
        del owner[key]
    try:
        for key, value in values.items():
            owner[key] = value
        yield
    finally:
        for key in values:
            if key in owner.keys():
                del owner[key]
        for key, value in saved.items():
            owner[key] = value


def object_problems(scene):
    """Problems of objects the game will not see as the scene shows them."""
    problems = []
    names = {obj.name for obj in scene.objects}
    for obj in scene.objects:
        if obj.name.startswith(rules.IGNORED_PREFIX):
            continue
        problems += rules.typed_event_problems(obj.name, rules.read_events(obj))
        target = obj.get(rules.CENTER_OF_INTEREST)
        if target and str(target) not in names:
            problems.append(('WARNING', "%s: its Center Of Interest %r names no object of the scene"
                             % (obj.name, str(target))))
        if obj.type == 'CAMERA' and not obj.name.startswith(rules.CAMERA_PREFIX):
            problems.append(('WARNING', "%s is a camera, but the game only sees objects named %s... as "
                             "cameras: it is exported as a plain object" % (obj.name, rules.CAMERA_PREFIX)))
        elif obj.type == 'CAMERA':
            lens = rules.lens_problem(obj)
            if lens:
                problems.append(('WARNING', lens))
        left = rules.events_left_over(rules.plain_properties(obj), rules.read_events(obj))
        if left:
            problems.append(('ERROR', "%s: its comment holds %d bytes at most: the last %d of its events "
                             "do not fit" % (obj.name, rules.COMMENT_BYTES, left)))
    return problems


def global_properties(scene):
    """(properties to lend the scene for the export, problems)."""
    fps, warnings = rules.file_rate(scene)
    problems = [('WARNING', warning) for warning in warnings]
    texts, sources, event_problems = rules.global_events(scene)
    problems += event_problems
    lent = rules.event_properties(texts)
    lent[rules.FPS_OPTION] = fps
    left = rules.events_left_over(dict(rules.plain_properties(scene), **lent), texts)
    if left:
        over = texts[len(texts) - left:]
        named = ["marker %r" % source if source else "typed event %r" % text
                 for text, source in zip(over, sources[len(texts) - left:])]
        problems.append(('ERROR', "the global events do not fit the model comment's %d bytes, left over: %s; "
                         "nothing was written" % (rules.COMMENT_BYTES, ", ".join(named))))
    return lent, problems


def write_glb(path):
    options = dict(filepath=path, export_format='GLB', export_extras=True, export_cameras=True,
                   export_yup=True, export_animations=True, export_force_sampling=False)
    known = bpy.ops.export_scene.gltf.get_rna_type().properties.keys()
    # Every object's action in one glTF animation: Blender 3.6 and later say so with a mode.
    if "export_animation_mode" in known:
        options["export_animation_mode"] = 'ACTIVE_ACTIONS'
    else:
        options["export_nla_strips"] = False
    if "use_active_scene" in known:  # the scene that was baked, not every scene of the file
        options["use_active_scene"] = True
    # Keys that repeat their neighbours are the motion too: a still camera must keep its keys.
    for name in ("export_optimize_animation_size", "export_optimize_animation_keep_anim_object"):
        if name in known:
            options[name] = name.endswith("keep_anim_object")
    bpy.ops.export_scene.gltf(**options)


def read_report(path):
    """The command's report, or None when it wrote none."""
    try:
        with open(path, encoding="utf-8") as text:
            report = json.load(text)
    except (OSError, ValueError):
        return None
    return report if isinstance(report, dict) and report.get("format") == "reelwright-report" else None


class ExportNis(bpy.types.Operator, ExportHelper):
    """Export the scene as a Homeworld 2 NIS cinematic and its .script"""
    bl_idname = "export_scene.reelwright_nis"
    bl_label = "Export Homeworld 2 NIS"
    filename_ext = ".nis"
    filter_glob: StringProperty(default="*.nis", options={'HIDDEN'})
    every_frame: BoolProperty(
        name="Key Every Frame",
        description="Key every object at every frame of the scene with what Blender shows (constraints, "
                    "drivers and all), so the game plays what Blender plays. Off: only the frames of each "
                    "object's own keys, for smaller files; the motion between keys then follows the "
                    "exporter's own curves, not Blender's",
        default=True,
    )

    def draw(self, context):
        layout = self.layout
        layout.prop(self, "every_frame")
        script = script_path(output_path(self.filepath) or self.filepath)
        box = layout.box()
        box.label(text="Also writes %s beside it" % os.path.basename(script))
        if os.path.exists(script):
            box.label(text="and replaces the one that is there", icon='ERROR')

    def execute(self, context):
        program = program_path(context)
        if not program:
            self.report({'ERROR'}, "reelwright was not found: name the program in the add-on's preferences")
            return {'CANCELLED'}
        nis = output_path(self.filepath)
        if nis is None:
            self.report({'ERROR'}, "%s is beside the .blend file, which is not saved yet: save it first, "
                        "or choose a full path" % self.filepath)
            return {'CANCELLED'}
        scene = context.scene
        lent, problems = global_properties(scene)
        problems += object_problems(scene)
        for kind, text in problems:
            self.report({kind}, text)
        if any(kind == 'ERROR' for kind, _ in problems):
            return {'CANCELLED'}
        folder = tempfile.mkdtemp(prefix="reelwright-")
        try:
            glb, report = os.path.join(folder, "scene.glb"), os.path.join(folder, "report.json")
            with BakedScene(scene, self.every_frame), lent_properties(scene, lent, rules.is_event_key):
                write_glb(glb)
            # The file browser has already asked before replacing the .nis; its dialog says the
            # .script beside it is replaced too.
            run = subprocess.run([program, "export", glb, "-o", nis, "--force", "--report", report],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, errors="replace")
            result = read_report(report)
        except (OSError, RuntimeError) as problem:
            self.report({'ERROR'}, "Reelwright: %s" % problem)
            return {'CANCELLED'}
        finally:
            shutil.rmtree(folder, ignore_errors=True)
        print(run.stdout)  # the whole export log, in the system console
        return self.show_result(run, result, nis, glb)

    def show_result(self, run, result, nis, glb):
        if result is None:  # no report: the command stopped before it could write one
            for line in run.stderr.splitlines() or ["reelwright stopped with exit code %d" % run.returncode]:
                self.report({'ERROR'}, line)
            return {'CANCELLED'}
        for problem in result.get("problems", []):
            text = problem.get("text", "").replace(glb + ": ", "").strip()  # the .glb is the add-on's own
            self.report({KINDS.get(problem.get("severity"), 'ERROR')}, text)
        if result.get("result") != "ok" or run.returncode != 0:
            self.report({'ERROR'}, "The export failed (exit code %d): files that were there are as they were"
                        % run.returncode)
            return {'CANCELLED'}
        self.report({'INFO'}, "Exported %s and %s" % (nis, script_path(nis)))
        return {'FINISHED'}


def menu_entry(self, context):
    self.layout.operator(ExportNis.bl_idname, text="Homeworld 2 NIS (.nis)")


classes = (ExportNis,)


def register():
    for cls in classes:
        bpy.utils.register_class(cls)
    bpy.types.TOPBAR_MT_file_export.append(menu_entry)


def unregister():
    bpy.types.TOPBAR_MT_file_export.remove(menu_entry)
    for cls in reversed(classes):
        bpy.utils.unregister_class(cls)
