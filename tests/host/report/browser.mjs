// A browser that reaches nothing, and pages in it.
import {readFileSync, writeFileSync} from 'node:fs';
import {pathToFileURL} from 'node:url';
import {chromium} from 'playwright-core';
import {textOf} from './report.mjs';

const quiet = [
  '--no-sandbox', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update',
  '--disable-sync',
];
const software_webgl = ['--use-gl=angle', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'];
export const no_webgl = ['--disable-gpu', '--disable-3d-apis'];

export const launch = (graphics = software_webgl) =>
    chromium.launch({executablePath: process.env.CHROMIUM, args: [...quiet, ...graphics]});

// The page with these data that hands out its parts, in the place of the one that ships.
const hooked = readFileSync('hooked.html', 'utf8');

// The page, opened from disk, offline, after `before` ran in it. `faults` collects what it may not do: errors, requests.
export async function open(report, browser, options = {}, before) {
  const context = await browser.newContext(
      {viewport: {width: 1280, height: 900}, reducedMotion: 'reduce', offline: true, ...options});
  const page = await context.newPage();
  const hooks = `${report.page}.hooked.html`;
  writeFileSync(hooks, hooked.replace('@KORVEL_REPORT_DATA@', () => textOf(report)));
  const url = pathToFileURL(hooks).href;
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

// Waits until the figure has been drawn again.
export const drawn = (page) =>
    page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
