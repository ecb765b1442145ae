# What the exporter reads from a Blender scene, and the checks the add-on makes before it writes
# anything: the custom properties that carry classes, names and events, the frame rate, events
# from timeline markers, whole seconds, the size of a comment and the game's lens.
import re

# Custom property names the glTF reader turns into comment lines (Key=Value).
SOB_TYPE = "Sob Type"
SOB_NAME = "Sob Name"
CENTER_OF_INTEREST = "Center Of Interest"
NUM_EVENTS = "Num Events"
EVENT = "Event"
FPS_OPTION = "OPT_FPS"

# The classes the game's own cinematics use; any other text is passed on as typed.
GAME_CLASSES = ("Ship", "camera", "Effect", "Salvage", "camera_target")

# Every camera of a NIS file has this lens and film (millimetres); the picture is as tall as
# the film, its width follows the film's 31.92 : 24.
GAME_LENS = 21.8
GAME_FILM = (31.92, 24.0)

# A comment is read through a buffer of 1024 bytes: 1023 characters and the terminator.
COMMENT_BYTES = 1023

CAMERA_PREFIX = "CAM_"
IGNORED_PREFIX = "IG_"
# What the glTF exporter keeps out of extras.
NOT_EXPORTED = {"cycles", "cycles_visibility", "cycles_curves", "glTF2ExportSettings", "_RNA_UI"}

CALL = re.compile(r"^\s*([A-Za-z_]\w*)\s*\((.*)\)\s*$", re.S)
EVENT_KEY = re.compile(r"^Event[0-9]+$")


def leading_number(text):
    """The number the exporter reads from the start of a text: digits, '.' or ',' for the
    fraction; no sign. Anything it cannot read counts as 0."""
    match = re.match(r"[0-9]*(?:[.,][0-9]*)?", str(text))
    digits = match.group(0).replace(",", ".")
    return float(digits) if digits.strip(".") else 0.0


def is_event_key(key):
    """Num Events and Event0, Event1, ...: the properties that hold events."""
    return key == NUM_EVENTS or bool(EVENT_KEY.match(key))


def read_events(owner):
    """The event texts of an object or scene, as the exporter reads them."""
    count = int(leading_number(owner.get(NUM_EVENTS, 0)))
    return [str(owner.get(EVENT + str(i), "")) for i in range(count)]


def event_properties(texts):
    """The custom properties that hold these events, to replace every Num Events and EventN."""
    properties = {NUM_EVENTS: len(texts)} if texts else {}
    properties.update({EVENT + str(i): text for i, text in enumerate(texts)})
    return properties


def write_events(owner, texts):
    for key in [k for k in owner.keys() if is_event_key(k)]:
        del owner[key]
    for key, value in event_properties(texts).items():
        owner[key] = value


def event_text(seconds, function, arguments):
    return "%d|%s|%s" % (seconds, function, arguments)


def split_event(text):
    """(time text, function, arguments) of an event text, or None without two '|'."""
    if text.count("|") < 2:
        return None
    time, rest = text.split("|", 1)
    function, arguments = rest.rsplit("|", 1)
    return time, function, arguments


def scene_rate(scene):
    """The scene's frames per second as Blender plays them (may have a fraction)."""
    return scene.render.fps / scene.render.fps_base


def file_rate(scene):
    """(frames per second the file gets, warnings). A hand-typed OPT_FPS wins over the
    scene's own rate; the file holds a whole number."""
    rate = scene_rate(scene)
    whole = max(1, round(rate))
    warnings = []
    if FPS_OPTION in scene.keys():
        typed = int(leading_number(scene[FPS_OPTION]))
        if typed > 0:
            if typed != whole or abs(rate - whole) > 1e-6:
                warnings.append("the scene's %s property (%d fps) is used, not the scene's frame rate "
                                "(%g fps)" % (FPS_OPTION, typed, rate))
            return typed, warnings
        warnings.append("the scene's %s property %r is no frame rate: the scene's rate is used"
                        % (FPS_OPTION, scene[FPS_OPTION]))
    if abs(rate - whole) > 1e-6:
        warnings.append("the file holds whole frames per second: the scene's %g fps is written as %d"
                        % (rate, whole))
    return whole, warnings


def whole_second(seconds):
    """The second an event at `seconds` plays at: the script holds whole seconds, counted
    from 0, and drops a fraction."""
    return max(0, int(seconds + 1e-6))


def is_whole(seconds):
    return seconds > -1e-6 and abs(seconds - round(seconds)) < 1e-6


def marker_events(scene):
    """(events, problems): the timeline markers as (seconds, event text, marker name), in the
    order of their frames. A marker bound to a camera cuts to it; a marker named as a call
    (fade(1, 2)) is that call. Problems are (severity, text)."""
    rate = scene_rate(scene)
    events, problems = [], []
    for marker in sorted(scene.timeline_markers, key=lambda m: (m.frame, m.name)):
        seconds = marker.frame / rate
        second = whole_second(seconds)
        found = []
        if marker.camera is not None:
            found.append(event_text(second, "cameraCut", '"%s"' % marker.camera.name))
            if not marker.camera.name.startswith(CAMERA_PREFIX):
                problems.append(("WARNING", "marker %r cuts to %r, whose name does not begin with %s: "
                                 "the game has no such camera" % (marker.name, marker.camera.name,
                                                                  CAMERA_PREFIX)))
        call = CALL.match(marker.name)
        if call:
            found.append(event_text(second, call.group(1), call.group(2)))
        if not found:
            problems.append(("INFO", "marker %r is no event (neither bound to a camera nor "
                             "named as a call such as fade(1, 2))" % marker.name))
            continue
        if not is_whole(seconds):
            problems.append(("WARNING", "marker %r at frame %d is %.3g s into the scene; the script "
                             "holds whole seconds: it plays at %d s" % (marker.name, marker.frame,
                                                                        seconds, second)))
        events.extend((second, text, marker.name) for text in found)
    return events, problems


def typed_event_problems(owner_name, texts):
    """Warnings for typed events the script cannot hold as written."""
    problems = []
    for i, text in enumerate(texts):
        parts = split_event(text)
        if parts is None:
            problems.append(("WARNING", "%s: Event%d %r is not time|function|arguments" % (owner_name, i, text)))
        elif not re.fullmatch(r"[0-9]+", parts[0]):
            problems.append(("WARNING", "%s: Event%d %r: the script holds whole seconds: it plays at %d s"
                             % (owner_name, i, text, int(leading_number(parts[0])))))
    return problems


def global_events(scene):
    """(event texts, their sources, problems): the scene's typed events and its markers, ordered
    by their second (typed ones first within a second). A source names a marker or is None."""
    typed = read_events(scene)
    problems = typed_event_problems("scene", typed)
    markers, marker_problems = marker_events(scene)
    problems += marker_problems
    merged = [(int(leading_number(t.split("|", 1)[0])), 0, i, t, None) for i, t in enumerate(typed)]
    merged += [(second, 1, i, text, name) for i, (second, text, name) in enumerate(markers)]
    merged.sort()
    return [m[3] for m in merged], [m[4] for m in merged], problems


def number_text(value):
    """A number as the glTF reader writes it into a comment."""
    if isinstance(value, float) and not value.is_integer():
        return "%.15g" % value
    return str(int(value))


def comment_text(properties):
    """The comment the glTF reader makes of custom properties: a 'comment' text first, then
    every other text or number as Key=Value, in name order; other kinds have no line."""
    lines = []
    if isinstance(properties.get("comment"), str):
        lines.append(properties["comment"])
    for key in sorted(properties):
        value = properties[key]
        if key == "comment" or key in NOT_EXPORTED or isinstance(value, bool):
            continue
        if isinstance(value, str):
            lines.append("%s=%s" % (key, value))
        elif isinstance(value, (int, float)):
            lines.append("%s=%s" % (key, number_text(value)))
    return "\n".join(lines)


def plain_properties(owner):
    return {key: owner[key] for key in owner.keys()}


def events_left_over(properties, texts):
    """How many of `texts` (from the end) do not fit the comment beside `properties`: 0 when the
    whole comment fits in its 1023 bytes."""
    base = {k: v for k, v in properties.items() if not is_event_key(k)}
    for kept in range(len(texts), -1, -1):
        trial = dict(base, **event_properties(texts[:kept]))
        if len(comment_text(trial).encode("utf-8")) <= COMMENT_BYTES:
            return len(texts) - kept
    return len(texts)


def lens_problem(obj):
    """A warning when a camera's lens differs from the game's, or None."""
    camera = obj.data
    film = (camera.sensor_width, camera.sensor_height)
    if (camera.type == 'PERSP' and abs(camera.lens - GAME_LENS) < 0.005 and camera.sensor_fit == 'VERTICAL'
            and all(abs(a - b) < 0.005 for a, b in zip(film, GAME_FILM))):
        return None
    return ("%s: a %s lens of %g mm on %g x %g mm film (fit %s); the game shows %g mm on %g x %g mm film, "
            "as tall as the picture: 'Set Game Lens' in its Homeworld 2 panel sets that"
            % (obj.name, camera.type.lower(), camera.lens, film[0], film[1], camera.sensor_fit.lower(),
               GAME_LENS, GAME_FILM[0], GAME_FILM[1]))


def set_game_lens(camera):
    camera.type = 'PERSP'
    camera.lens_unit = 'MILLIMETERS'
    camera.lens = GAME_LENS
    camera.sensor_width, camera.sensor_height = GAME_FILM
    camera.sensor_fit = 'VERTICAL'
