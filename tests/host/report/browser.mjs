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

// Runs a motion and writes its report. `columns` are the numbers of the results by name, read here. `change` may say
// what else stands in the results: (name, value) to value.
export class Report {
  constructor(motion, change) {
    this.folder = mkdtempSync(join(tmpdir(), 'korvel-'));
    const results = join(this.folder, `${basename(motion, '.csv')}-results.csv`);
    this.page = join(this.folder, 'page.html');
    execFileSync(KORVEL_HOST, ['run', motion, '-o', results]);
    const [names, ...rows] = readFileSync(results, 'utf8').trim().split('\n').map((line) => line.split(','));
    const numbers = rows.map((row) => row.map((field, i) => change ? change(names[i], Number(field)) : Number(field)));
    if (change) writeFileSync(results, [names, ...numbers].map((row) => `${row.join(',')}\n`).join(''));
    execFileSync(KORVEL_HOST, ['report', results, '-o', this.page]);
    this.columns = Object.fromEntries(names.map((name, i) => [name, numbers.map((row) => row[i])]));
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
    return page;
  }

  remove() {
    rmSync(this.folder, {recursive: true});
  }
}

// After the figure has been drawn again.
export const drawn = (page) =>
    page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
