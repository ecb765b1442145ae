# Bakes what the scene shows into keys for the export, and puts the scene back afterwards.
#
# Blender's glTF exporter writes an object's own keys: what constraints (Track To, Follow Path,
# Child Of...), drivers or the NLA add is lost, and an object without keys has no motion at all.
# So for the time of the export every object gets an action of its own, keyed with its visual
# transform (the transform that, without constraints, puts it where Blender shows it), its
# constraints and delta transforms are switched off, and all of it is undone in the end.
import bpy

TRANSFORMS = ("location", "rotation_euler", "rotation_quaternion", "rotation_axis_angle", "scale",
              "delta_location", "delta_rotation_euler", "delta_rotation_quaternion", "delta_scale")
NEUTRAL_DELTAS = {"delta_location": (0, 0, 0), "delta_rotation_euler": (0, 0, 0),
                  "delta_rotation_quaternion": (1, 0, 0, 0), "delta_scale": (1, 1, 1)}
CHANNELS = (("location", 3), ("rotation_quaternion", 4), ("scale", 3))


def linear_interpolation():
    """The number that stands for straight lines between keys, for foreach_set."""
    return bpy.types.Keyframe.bl_rna.properties["interpolation"].enum_items["LINEAR"].value


def authored_frames(obj):
    """The frames at which the object's own action has keys."""
    action = obj.animation_data.action if obj.animation_data else None
    if action is None:
        return set()
    return {point.co[0] for curve in action_curves(action) for point in curve.keyframe_points}


def action_curves(action):
    # Blender 4.4 keeps keys in layers and slots; `fcurves` is the older view of the same.
    if hasattr(action, "layers") and action.layers:
        return [c for layer in action.layers for strip in layer.strips
                for bag in getattr(strip, "channelbags", ()) for c in bag.fcurves]
    return list(action.fcurves)


def new_action_curves(obj, name):
    """A new action given to `obj`, and a function making its F-curves."""
    action = bpy.data.actions.new(name)
    if obj.animation_data is None:
        obj.animation_data_create()
    obj.animation_data.action = action
    if hasattr(action, "slots") and bpy.app.version >= (4, 4, 0):
        slot = action.slots.new(id_type='OBJECT', name=obj.name)
        obj.animation_data.action_slot = slot
        bag = action.layers.new("Layer").strips.new(type='KEYFRAME').channelbag(slot, ensure=True)
        return action, bag.fcurves.new
    return action, action.fcurves.new


class BakedScene:
    """Context manager: inside it every object of `scene` moves by baked keys alone, at every
    frame of the scene (every_frame) or at the frames of its own keys. Leaves the scene as it was."""

    def __init__(self, scene, every_frame=True):
        self.scene, self.every_frame = scene, every_frame
        self.objects = list(scene.objects)
        self.saved, self.actions = [], []

    def frames(self):
        """For each object, the frames it gets keys at."""
        scene = self.scene
        every = [float(f) for f in range(scene.frame_start, scene.frame_end + 1)]
        if self.every_frame:
            return {obj: every for obj in self.objects}
        chosen = {}
        for obj in self.objects:
            frames, above = authored_frames(obj), obj.parent
            while not frames and above is not None:  # keyless: moves at its parent's keys
                frames, above = authored_frames(above), above.parent
            chosen[obj] = sorted(frames) or [every[0], every[-1]]
        return chosen

    def sample(self, frames):
        """Every object's world matrix at each frame it needs (and its parent's frames)."""
        needed = sorted({f for obj in self.objects for f in frames[obj]})
        worlds = {obj: {} for obj in self.objects}
        for frame in needed:
            self.scene.frame_set(int(frame // 1), subframe=frame % 1)
            graph = bpy.context.evaluated_depsgraph_get()
            for obj in self.objects:
                worlds[obj][frame] = obj.evaluated_get(graph).matrix_world.copy()
        return worlds

    def __enter__(self):
        scene = self.scene
        self.frame = (scene.frame_current, scene.frame_subframe)
        frames = self.frames()
        worlds = self.sample(frames)
        for obj in self.objects:
            self.save(obj)
        try:
            for obj in self.objects:
                self.key(obj, frames[obj], worlds)
            scene.frame_set(self.frame[0], subframe=self.frame[1])
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def save(self, obj):
        data = obj.animation_data
        self.saved.append((obj, obj.rotation_mode, {name: tuple(getattr(obj, name)) for name in TRANSFORMS},
                           [(c, c.mute) for c in obj.constraints], data is not None,
                           data.action if data else None, getattr(data, "action_slot", None)))

    def key(self, obj, frames, worlds):
        for constraint in obj.constraints:
            constraint.mute = True
        for name, value in NEUTRAL_DELTAS.items():
            setattr(obj, name, value)
        obj.rotation_mode = 'QUATERNION'
        action, new_curve = new_action_curves(obj, "Reelwright bake " + obj.name)
        self.actions.append(action)
        values, previous = {name: [] for name, _ in CHANNELS}, None
        for frame in frames:
            basis = self.basis(obj, frame, worlds)
            location, rotation, scale = basis.decompose()
            if previous is not None and previous.dot(rotation) < 0:
                rotation.negate()  # the same turn, without a jump between keys
            previous = rotation
            for name, value in (("location", location), ("rotation_quaternion", rotation), ("scale", scale)):
                values[name].append((frame, tuple(value)))
        for name, size in CHANNELS:
            for index in range(size):
                curve = new_curve(name, index=index)
                curve.keyframe_points.add(len(frames))
                curve.keyframe_points.foreach_set("co", [x for f, v in values[name] for x in (f, v[index])])
                curve.keyframe_points.foreach_set("interpolation", [linear_interpolation()] * len(frames))
                curve.update()

    def basis(self, obj, frame, worlds):
        """The object's own transform that, without constraints, puts it at its world matrix."""
        world = worlds[obj][frame]
        if obj.parent is None:
            return world
        parent = worlds[obj.parent][frame] if obj.parent in worlds else obj.parent.matrix_world
        return (parent @ obj.matrix_parent_inverse).inverted_safe() @ world

    def __exit__(self, *problem):
        for obj, mode, transforms, constraints, had_data, action, slot in reversed(self.saved):
            if had_data:
                obj.animation_data.action = action
                if slot is not None:
                    obj.animation_data.action_slot = slot
            elif obj.animation_data is not None:
                obj.animation_data_clear()
            obj.rotation_mode = mode
            for name, value in transforms.items():
                setattr(obj, name, value)
            for constraint, mute in constraints:
                constraint.mute = mute
        for action in self.actions:
            bpy.data.actions.remove(action)
        self.saved, self.actions = [], []
        self.scene.frame_set(self.frame[0], subframe=self.frame[1])
        return False

