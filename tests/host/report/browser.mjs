// A browser that reaches nothing, and pages of results in it.
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {basename, join} from 'node:path';
import {pathToFileURL} from 'node:url';
import {chromium} from 'playwright-core';

const {KORVEL_HOST, KORVEL_MOTIONS, CHROMIUM} = process.env;

const quiet = [
  '--no-sandbox', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update',
  '--disable-sync',
];
const software_webgl = ['--use-gl=angle', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'];
export const no_webgl = ['--disable-gpu', '--disable-3d-apis'];

export const launch = (graphics = software_webgl) =>
    chromium.launch({executablePath: CHROMIUM, args: [...quiet, ...graphics]});

export const motions = KORVEL_MOTIONS;
const soles = join(motions, 'soles.csv');

const resultsName = (motion) => `${basename(motion, '.csv')}-results.csv`;
const numbersOf = (line) => line.split(',').map(Number);

// The report of results, a text, in a file of this name; `more` are further arguments.
export class Report {
  constructor(name, results, more = []) {
    this.folder = mkdtempSync(join(tmpdir(), 'korvel-'));
    this.results = results;
    this.page = join(this.folder, 'page.html');
    writeFileSync(join(this.folder, name), results);
    execFileSync(KORVEL_HOST, ['report', join(this.folder, name), ...more, '-o', this.page]);
  }

  // Of a motion on the ground, with the soles of this robot or without.
  static onGround(motion, more = ['--soles', soles]) {
    const folder = mkdtempSync(join(tmpdir(), 'korvel-'));
    const results = join(folder, 'results.csv');
    execFileSync(KORVEL_HOST, ['run', motion, '--soles', soles, '-o', results], {stdio: ['ignore', 'ignore', 'ignore']});
    const text = readFileSync(results, 'utf8');
    rmSync(folder, {recursive: true});
    return new Report(resultsName(motion), text, more);
  }

  // Of a motion. `change` may say what else stands in its results: (name, value) to value.
  static ofMotion(motion, change = (_, value) => value) {
    const folder = mkdtempSync(join(tmpdir(), 'korvel-'));
    const results = join(folder, 'results.csv');
    execFileSync(KORVEL_HOST, ['run', motion, '-o', results]);
    const [header, ...rows] = readFileSync(results, 'utf8').trim().split('\n');
    rmSync(folder, {recursive: true});
    const names = header.split(',');
    const changed = rows.map((row) => numbersOf(row).map((value, i) => change(names[i], value)).join(','));
    return new Report(resultsName(motion), [header, ...changed, ''].join('\n'));
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

  // The page, opened from disk, offline, after `before` ran in it. `faults` collects what it may not do: errors, requests.
  async open(browser, options = {}, before) {
    const context = await browser.newContext(
        {viewport: {width: 1280, height: 900}, reducedMotion: 'reduce', offline: true, ...options});
    const page = await context.newPage();
    const url = pathToFileURL(this.page).href;
    page.faults = [];
    page.on('request', (request) => {
      if (request.url() !== url && !request.url().startsWith('data:')) page.faults.push(request.url());
    });
    page.on('pageerror', (error) => page.faults.push(error.stack));
    page.on('console', (message) => {
      if (message.type() === 'error') page.faults.push(message.text());
    });
    if (before) await page.addInitScript(before);
    await page.goto(url);
    await page.waitForFunction(() => globalThis.korvel || document.querySelector('#failure').checkVisibility());
    return page;
  }

  remove() {
    rmSync(this.folder, {recursive: true});
  }
}

// After the figure has been drawn again.
export const drawn = (page) =>
    page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
