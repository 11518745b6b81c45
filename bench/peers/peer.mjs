// Times uDSV on a table: peer.mjs FILE-OR-URL RUNS. Prints name, median seconds, sum of the numbers. A file's
// text is in memory, and decoded, before the time begins.
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

const { inferSchema, initParser } = createRequire(process.cwd() + '/')('udsv');
const [source, runs] = process.argv.slice(2);
const recorded = source.startsWith('http') ? null : readFileSync(source, 'utf8');
const seconds = [];
let columns;
for (let run = 0; run <= Number(runs); ++run) {
  const start = performance.now();
  const text = recorded ?? (await (await fetch(source)).text());
  columns = initParser(inferSchema(text)).typedCols(text);
  seconds.push((performance.now() - start) / 1e3);
}
let total = 0;
for (const column of columns.slice(1)) for (const value of column) total += value;
const sorted = seconds.slice(1).sort((a, b) => a - b);
console.log(['uDSV', sorted[sorted.length >> 1], total].join('\t'));
