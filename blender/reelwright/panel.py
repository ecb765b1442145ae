# The Homeworld 2 panels: in an object's properties its class, blueprint, centre of interest and
# events; in the scene's properties the frame rate and the global events. Every field reads and
# writes the object's or scene's own custom properties, the ones the exporter reads, so a scene
# typed by hand and a scene made here are the same.
import bpy
from bpy.props import EnumProperty, IntProperty, StringProperty

from . import scene_rules as rules


def custom_text(key):
    """A text field kept in the custom property `key`; an empty text removes the property."""
    def get(owner):
        return str(owner.get(key, ""))

    def set(owner, value):
        if value:
            owner[key] = value
        elif key in owner.keys():
            del owner[key]
    return get, set


def class_suggestions(obj, context, typed):
    return [name for name in rules.GAME_CLASSES if typed.lower() in name.lower()] or [typed]


def text_property(key, description, **more):
    get, set = custom_text(key)
    return StringProperty(name=key, description=description, get=get, set=set, **more)


OBJECT_FIELDS = {
    "reelwright_sob_type": text_property(
        rules.SOB_TYPE, "The object's class in the game: Ship, camera, Effect, Salvage, camera_target "
        "or any other text", search=class_suggestions, search_options={'SUGGESTION'}),
    "reelwright_sob_name": text_property(
        rules.SOB_NAME, "The blueprint the game makes the object of, e.g. Hgn_Interceptor or Vgr_MotherShip"),
    "reelwright_center_of_interest": text_property(
        rules.CENTER_OF_INTEREST, "The object this camera looks at, as the game's camera rigs know it"),
}
OWNERS = [('OBJECT', "Object", "The active object's events"), ('SCENE', "Scene", "The scene's global events")]


def owner_of(context, kind):
    return context.scene if kind == 'SCENE' else context.object


class AddEvent(bpy.types.Operator):
    """Add an event at the current frame's second"""
    bl_idname = "reelwright.add_event"
    bl_label = "Add Event"
    bl_options = {'REGISTER', 'UNDO'}
    owner: EnumProperty(items=OWNERS)

    def execute(self, context):
        owner, scene = owner_of(context, self.owner), context.scene
        second = rules.whole_second(scene.frame_current / rules.scene_rate(scene))
        rules.write_events(owner, rules.read_events(owner) + [rules.event_text(second, "function", "")])
        return {'FINISHED'}


class RemoveEvent(bpy.types.Operator):
    """Remove this event"""
    bl_idname = "reelwright.remove_event"
    bl_label = "Remove Event"
    bl_options = {'REGISTER', 'UNDO'}
    owner: EnumProperty(items=OWNERS)
    index: IntProperty(min=0)

    def execute(self, context):
        owner = owner_of(context, self.owner)
        events = rules.read_events(owner)
        if self.index < len(events):
            del events[self.index]
            rules.write_events(owner, events)
        return {'FINISHED'}


class SetGameLens(bpy.types.Operator):
    """Give this camera the lens every camera of a NIS file has: 21.8 mm on 31.92 x 24 mm film, the
    film as tall as the picture"""
    bl_idname = "reelwright.set_game_lens"
    bl_label = "Set Game Lens"
    bl_options = {'REGISTER', 'UNDO'}

    @classmethod
    def poll(cls, context):
        return context.object is not None and context.object.type == 'CAMERA'

    def execute(self, context):
        rules.set_game_lens(context.object.data)
        return {'FINISHED'}


def draw_events(layout, owner, kind):
    column = layout.column(align=True)
    column.label(text="Events (seconds|function|arguments):")
    for index in range(len(rules.read_events(owner))):
        row = column.row(align=True)
        key = rules.EVENT + str(index)
        if key in owner.keys():
            row.prop(owner, '["%s"]' % key, text="")
        else:
            row.label(text="%s is missing" % key)
        remove = row.operator(RemoveEvent.bl_idname, text="", icon='X')
        remove.owner, remove.index = kind, index
    column.operator(AddEvent.bl_idname, icon='ADD').owner = kind


class ObjectPanel(bpy.types.Panel):
    bl_label = "Homeworld 2"
    bl_idname = "OBJECT_PT_reelwright"
    bl_space_type, bl_region_type, bl_context = 'PROPERTIES', 'WINDOW', "object"

    @classmethod
    def poll(cls, context):
        return context.object is not None

    def draw(self, context):
        obj, layout = context.object, self.layout
        if obj.name.startswith(rules.IGNORED_PREFIX):
            layout.label(text="Named IG_...: a guide, not exported")
            return
        layout.prop(obj, "reelwright_sob_type", text="Sob Type")
        layout.prop(obj, "reelwright_sob_name", text="Sob Name")
        if obj.type == 'CAMERA':
            if not obj.name.startswith(rules.CAMERA_PREFIX):
                layout.label(text="Name it CAM_... to make it a camera of the game", icon='ERROR')
            layout.prop_search(obj, "reelwright_center_of_interest", context.scene, "objects",
                               text="Center Of Interest")
            if rules.lens_problem(obj):
                layout.label(text="The game shows 21.8 mm on 31.92 x 24 mm film", icon='ERROR')
            layout.operator(SetGameLens.bl_idname, icon='CAMERA_DATA')
        draw_events(layout, obj, 'OBJECT')


class ScenePanel(bpy.types.Panel):
    bl_label = "Homeworld 2"
    bl_idname = "SCENE_PT_reelwright"
    bl_space_type, bl_region_type, bl_context = 'PROPERTIES', 'WINDOW', "scene"

    def draw(self, context):
        scene, layout = context.scene, self.layout
        row = layout.row(align=True)
        row.prop(scene.render, "fps")
        row.prop(scene.render, "fps_base", text="Base")
        if rules.FPS_OPTION in scene.keys():
            layout.prop(scene, '["%s"]' % rules.FPS_OPTION)
        fps, warnings = rules.file_rate(scene)
        layout.label(text="The file plays at %d frames per second" % fps)
        for warning in warnings:
            layout.label(text=warning, icon='ERROR')
        draw_events(layout, scene, 'SCENE')
        layout.label(text="Timeline markers are events too: bound to a camera, a cut to it;")
        layout.label(text="named as a call, e.g. fade(1, 2), that call")


classes = (AddEvent, RemoveEvent, SetGameLens, ObjectPanel, ScenePanel)


def register():
    for name, field in OBJECT_FIELDS.items():
        setattr(bpy.types.Object, name, field)
    for cls in classes:
        bpy.utils.register_class(cls)


def unregister():
    for cls in reversed(classes):
        bpy.utils.unregister_class(cls)
    for name in OBJECT_FIELDS:
        delattr(bpy.types.Object, name)
