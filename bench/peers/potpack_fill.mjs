// Packs the rectangles of a JSON file ([[w, h], ...]) with potpack and prints one line:
//   fill=<ratio> w=<width> h=<height> rects_per_s=<rate>
// Exits with status 2 when potpack is not installed (scripts/bench-peers.sh installs it).
import { readFileSync } from 'node:fs';

let potpack;
try {
  potpack = (await import('potpack')).default;
} catch {
  console.error('potpack is not installed; run scripts/bench-peers.sh');
  process.exit(2);
}

const sizes = JSON.parse(readFileSync(process.argv[2], 'utf8'));
const make = () => sizes.map(([w, h]) => ({ w, h }));
let result = potpack(make());  // warm-up, and the result reported
const rounds = 5;
const times = [];
for (let i = 0; i < rounds; i++) {
  const boxes = make();
  const t0 = process.hrtime.bigint();
  result = potpack(boxes);
  times.push(Number(process.hrtime.bigint() - t0) / 1e9);
}
times.sort((a, b) => a - b);
const median = times[Math.floor(rounds / 2)];
console.log(`fill=${result.fill} w=${result.w} h=${result.h} rects_per_s=${sizes.length / median}`);
