// Runs paper.js boolean operations on the cases of a text file and prints their results.
// Input, one item a line:  case <unite|intersect|subtract>  /  a <path>  /  b <path>
// where <path> is a closed path's nodes as numbers: in.x in.y anchor.x anchor.y out.x out.y ...
// (absolute coordinates). Output, per case:  case <median ms> <paths>, then one line per
// result path:  path <nodes as above>. Medians of 5 timed runs after one warm-up; the time
// covers the operation only (the operands are built before). Exits with status 2 when paper is
// not installed (scripts/bench-peers.sh installs it).
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

const require = createRequire(import.meta.url);
let paper;
try {
  paper = require('paper');
} catch {
  console.error('paper is not installed; run scripts/bench-peers.sh');
  process.exit(2);
}
paper.setup(new paper.Size(100, 100));

const cases = [];
for (const line of readFileSync(process.argv[2], 'utf8').split('\n')) {
  const [kind, ...rest] = line.trim().split(/\s+/);
  if (kind === 'case') cases.push({ op: rest[0], a: [], b: [] });
  else if (kind === 'a' || kind === 'b') cases[cases.length - 1][kind].push(rest.map(Number));
}

function compound(paths) {
  const children = paths.map((v) => {
    const segs = [];
    for (let i = 0; i + 5 < v.length; i += 6) {
      const p = new paper.Point(v[i + 2], v[i + 3]);
      segs.push(new paper.Segment(p, new paper.Point(v[i], v[i + 1]).subtract(p),
                                  new paper.Point(v[i + 4], v[i + 5]).subtract(p)));
    }
    return new paper.Path({ segments: segs, closed: true, insert: false });
  });
  return new paper.CompoundPath({ children, fillRule: 'nonzero', insert: false });
}

const out = [];
for (const c of cases) {
  const a = compound(c.a), b = compound(c.b);
  let result = a[c.op](b, { insert: false });
  const times = [];
  for (let r = 0; r < 5; r++) {
    const t0 = process.hrtime.bigint();
    result = a[c.op](b, { insert: false });
    times.push(Number(process.hrtime.bigint() - t0) / 1e6);
  }
  times.sort((x, y) => x - y);
  const paths = result.children ? result.children : [result];
  out.push(`case ${times[2]} ${paths.length}`);
  for (const p of paths) {
    const v = [];
    for (const s of p.segments) {
      const q = s.point, i = q.add(s.handleIn), o = q.add(s.handleOut);
      v.push(i.x, i.y, q.x, q.y, o.x, o.y);
    }
    out.push('path ' + v.join(' '));
  }
}
console.log(out.join('\n'));
