// Compares the page's evaluator with `reelwright dump --frames`: node frames-agree.js PAGE.html
// FRAMES.json, the page from `reelwright preview` of the same file, read as the page reads its
// data. Prints each disagreement (at most a few) and exits 1 when there is one, 0 when every
// follower agrees at every frame.
'use strict';
const fs = require('fs');
const path = require('path');
const sceneModel = require(path.join(__dirname, '..', '..', 'preview', 'scene-model.js'));
const curves = require(path.join(__dirname, '..', '..', 'preview', 'curves.js'));

// The frames print translations to 4 decimals and quaternions to 6.
const kTranslationTolerance = 2e-4, kRotationTolerance = 1e-5;

function QuaternionMatrix([x, y, z, w]) {  // column by column, as the page keeps matrices
  return [1 - 2 * (y * y + z * z), 2 * (x * y + z * w), 2 * (x * z - y * w),
          2 * (x * y - z * w), 1 - 2 * (x * x + z * z), 2 * (y * z + x * w),
          2 * (x * z + y * w), 2 * (y * z - x * w), 1 - 2 * (x * x + y * y)];
}

const page = fs.readFileSync(process.argv[2], 'utf8');
const Block = (id) => new RegExp('<script type="[^"]*" id="' + id + '">([^<]*)</script>').exec(page)[1];
const doc = JSON.parse(Block('rw-scene'));
if (!curves.AttachKeys(doc.curves, curves.Base64Bytes(Block('rw-keys')))) throw new Error('the keys do not fit the curves');
const frames = JSON.parse(fs.readFileSync(process.argv[3], 'utf8'));
const model = sceneModel.BuildModel(doc, null);
const problems = [];
let compared = 0;
for (const frame of frames.frames) {
  frames.followers.forEach((name, i) => {
    const at = frame.at[i], e = model.byName.get(name);
    if (!e || at === null || at.some((v) => v === null)) return;  // the placeholder; a broken value
    const m = sceneModel.EntityWorld(model, e, frame.time), r = QuaternionMatrix(at.slice(3));
    const moved = [0, 1, 2].map((k) => Math.abs(m[12 + k] - at[k]) / Math.max(1, Math.abs(at[k])));
    const turned = [0, 1, 2, 4, 5, 6, 8, 9, 10].map((k, j) => Math.abs(m[k] - r[j]));
    ++compared;
    if (Math.max(...moved) > kTranslationTolerance || Math.max(...turned) > kRotationTolerance) {
      problems.push(`frame ${frame.frame} ${name}: page [${[m[12], m[13], m[14]]}], dump [${at.slice(0, 3)}], ` +
                    `rotation off by ${Math.max(...turned)}`);
    }
  });
}
if (!compared) problems.push('no pose was compared');
problems.slice(0, 5).forEach((p) => console.log(p));
console.log(`${compared} poses compared, ${problems.length} disagree`);
process.exit(problems.length ? 1 : 0);
