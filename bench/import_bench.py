# Times File > Import > Homeworld 2 NIS on one file, inside background Blender, so Blender's own
# start is not counted:
#   blender -b --factory-startup --python bench/import_bench.py -- REELWRIGHT ADDON_FOLDER FILE.nis [RUNS]
# Prints the file's size, what the import made, and the best and the median of RUNS imports.
import os
import statistics
import sys
import time

import addon_utils
import bpy

reelwright, addons, nis, *rest = sys.argv[sys.argv.index("--") + 1:]
runs = int(rest[0]) if rest else 3
sys.path.insert(0, os.path.abspath(addons))
addon_name = "reelwright"
addon_utils.enable(addon_name, default_set=True)
bpy.context.preferences.addons[addon_name].preferences.program = reelwright

seconds = []
for run in range(runs):
    for blocks in (bpy.data.objects, bpy.data.cameras, bpy.data.actions, bpy.data.collections, bpy.data.texts):
        for block in list(blocks):
            blocks.remove(block)
    start = time.perf_counter()
    bpy.ops.import_scene.reelwright_nis(filepath=nis)
    seconds.append(time.perf_counter() - start)
curves = sum(len(a.fcurves) for a in bpy.data.actions)
keys = sum(len(f.keyframe_points) for a in bpy.data.actions for f in a.fcurves)
print("import_bench: %s, %.1f MB: %d objects, %d F-curves, %d keys; best %.2f s, median %.2f s of %d"
      % (os.path.basename(nis), os.path.getsize(nis) / 1e6, len(bpy.data.objects), curves, keys,
         min(seconds), statistics.median(seconds), runs))
