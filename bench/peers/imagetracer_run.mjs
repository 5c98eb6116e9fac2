// Traces raw RGBA pixels with imagetracerjs (its default options but the colour count) and
// writes its paths as text, one "P r g b hole segments" line a path followed by one line a
// segment ("L x1 y1 x2 y2" or "Q x1 y1 x2 y2 x3 y3"); prints "ms=<median>" of the rounds, each
// round the trace and the SVG string.
//   node imagetracer_run.mjs pixels.rgba width height colours rounds paths.txt
// Exits with status 2 when imagetracerjs is not installed (scripts/bench-peers.sh installs it).
import { readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';

const require = createRequire(import.meta.url);
let tracer;
try {
  tracer = require('imagetracerjs');
} catch {
  console.error('imagetracerjs is not installed; run scripts/bench-peers.sh');
  process.exit(2);
}

const [file, w, h, colours, rounds, out] = process.argv.slice(2);
const image = { width: +w, height: +h, data: new Uint8ClampedArray(readFileSync(file)) };
const options = { numberofcolors: +colours };
let traced;
const times = [];
for (let i = 0; i < +rounds; i++) {
  const t0 = process.hrtime.bigint();
  traced = tracer.imagedataToTracedata(image, options);
  tracer.getsvgstring(traced, options);
  times.push(Number(process.hrtime.bigint() - t0) / 1e6);
}
times.sort((a, b) => a - b);
let text = '';
traced.layers.forEach((layer, k) => {
  const c = traced.palette[k];
  for (const p of layer) {
    text += `P ${c.r} ${c.g} ${c.b} ${p.isholepath ? 1 : 0} ${p.segments.length}\n`;
    for (const s of p.segments)
      text += s.type === 'L' ? `L ${s.x1} ${s.y1} ${s.x2} ${s.y2}\n`
                             : `Q ${s.x1} ${s.y1} ${s.x2} ${s.y2} ${s.x3} ${s.y3}\n`;
  }
});
writeFileSync(out, text);
console.log(`ms=${times[Math.floor(times.length / 2)]}`);
