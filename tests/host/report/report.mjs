// Reports of results in a temporary directory, which is removed at the end.
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {basename, join} from 'node:path';

const {KORVEL_HOST, KORVEL_MOTIONS} = process.env;
const root = mkdtempSync(join(tmpdir(), 'korvel-'));
process.on('exit', () => rmSync(root, {recursive: true}));

export const inOneLine = (text) => text.replace(/\s+/g, ' ');
const numbersOf = (line) => line.split(',').map(Number);

// The lines of an example.
export const example = (name) => readFileSync(join(KORVEL_MOTIONS, `${name}.csv`), 'utf8').trim().split('\n');

// Writes a file of this name, and returns its path.
export function write(name, lines) {
  const path = join(mkdtempSync(join(root, 'file-')), name);
  writeFileSync(path, [...lines, ''].join('\n'));
  return path;
}

// The report of a run, in a file of this name; `more` are further arguments.
export class Report {
  constructor(name, {results, side, summary}, more = []) {
    Object.assign(this, {results, side, summary, file: write(name, [results])});
    this.page = this.file.replace(/\.csv$/, '.html');
    writeFileSync(this.file.replace(/\.csv$/, '.json'), side);
    execFileSync(KORVEL_HOST, ['report', this.file, ...more, '-o', this.page]);
  }

  // Makes the report of a motion, a file or the name of an example, that runs with these options. `change` may replace
  // numbers of its results: (name, value) to value. `described` is added to their description.
  static of(motion, {options = [], more = [], change, described} = {}) {
    const path = motion.includes('/') ? motion : join(KORVEL_MOTIONS, `${motion}.csv`);
    const output = write('results.csv', []);
    const summary = execFileSync(
        KORVEL_HOST, ['run', path, ...options, '-o', output], {stdio: ['ignore', 'pipe', 'ignore'], encoding: 'utf8'});
    const [results, side] = ['csv', 'json'].map((ending) => readFileSync(output.replace(/csv$/, ending), 'utf8').trim());
    const [header, ...rows] = results.split('\n');
    const names = header.split(',');
    const changed = change && rows.map((row) => numbersOf(row).map((value, i) => change(names[i], value)).join(','));
    return new Report(`${basename(path, '.csv')}-results.csv`, {
      results: [header, ...changed ?? rows].join('\n'),
      side: JSON.stringify({...JSON.parse(side), ...described}),
      summary,
    }, more);
  }
  static inAir = (motion, more) => Report.of(motion, {options: ['--air'], ...more});
  static withLimits = (motion, options = []) =>
      Report.of(motion, {options: ['--limits', join(KORVEL_MOTIONS, '../limits.csv'), ...options]});

  // The terminal's summary in one line.
  get words() {
    return inOneLine(this.summary);
  }
  // The numbers of the results by name, in single precision but for the time.
  get columns() {
    return this.numbers ??= this.#read();
  }
  #read() {
    const [header, ...rows] = this.results.trim().split('\n');
    const numbers = rows.map(numbersOf);
    return Object.fromEntries(header.split(',').map(
        (name, i) => [name, numbers.map((row) => name === 'time' ? row[i] : Math.fround(row[i]))]));
  }

  // The point or the rotation of this name.
  point(name, sample, parts = ['x', 'y', 'z']) {
    return parts.map((part) => this.columns[`${name}_${part}`][sample]);
  }
}

// The data in a page.
export const textOf = ({page}) =>
    readFileSync(page, 'utf8').match(/<script type="application\/json" id="data">(.*?)<\/script>/s)[1];
