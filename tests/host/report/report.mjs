// Reports of results in a temporary directory.
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {basename, join} from 'node:path';

const {KORVEL_HOST, KORVEL_MOTIONS} = process.env;

export const motions = KORVEL_MOTIONS;

const resultsName = (motion) => `${basename(motion, '.csv')}-results.csv`;
export const inOneLine = (text) => text.replace(/\s+/g, ' ');
const numbersOf = (line) => line.split(',').map(Number);

// The texts of results and of the file beside them, and the summary in the terminal.
function run(motion, more) {
  const folder = mkdtempSync(join(tmpdir(), 'korvel-'));
  const summary = execFileSync(
      KORVEL_HOST, ['run', motion, ...more, '-o', join(folder, 'results.csv')], {stdio: ['ignore', 'pipe', 'ignore'], encoding: 'utf8'});
  const [results, side] = ['results.csv', 'results.json'].map((name) => readFileSync(join(folder, name), 'utf8'));
  rmSync(folder, {recursive: true});
  return {results, side, summary};
}

// The report of a run, in a file of this name; `more` are further arguments.
export class Report {
  constructor(name, {results, side, summary}, more = []) {
    this.folder = mkdtempSync(join(tmpdir(), 'korvel-'));
    Object.assign(this, {results, side, summary, file: join(this.folder, name)});
    this.page = join(this.folder, 'page.html');
    writeFileSync(join(this.folder, name), results);
    writeFileSync(join(this.folder, name.replace(/\.csv$/, '.json')), side);
    execFileSync(KORVEL_HOST, ['report', join(this.folder, name), ...more, '-o', this.page]);
  }

  // Makes the report of a motion on the ground.
  static onGround(motion, more) {
    return new Report(resultsName(motion), run(motion, []), more);
  }

  // Makes the report of a motion that is compared with examples/limits.csv.
  static withLimits(motion, options = []) {
    return new Report(resultsName(motion), run(motion, ['--limits', join(motions, '..', 'limits.csv'), ...options]));
  }

  // Makes the report of a motion in the air. `change` may replace numbers of its results: (name, value) to value.
  // `described` is added to their description.
  static ofMotion(motion, change = (_, value) => value, described = {}) {
    const {results, side} = run(motion, ['--air']);
    const [header, ...rows] = results.trim().split('\n');
    const names = header.split(',');
    const changed = rows.map((row) => numbersOf(row).map((value, i) => change(names[i], value)).join(','));
    return new Report(resultsName(motion), {results: [header, ...changed, ''].join('\n'), side: JSON.stringify({...JSON.parse(side), ...described})});
  }

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

  point(name, sample) {
    return ['x', 'y', 'z'].map((axis) => this.columns[`${name}_${axis}`][sample]);
  }

  remove() {
    rmSync(this.folder, {recursive: true});
  }
}

// The data in a page.
export const textOf = ({page}) =>
    readFileSync(page, 'utf8').match(/<script type="application\/json" id="data">(.*?)<\/script>/s)[1];
