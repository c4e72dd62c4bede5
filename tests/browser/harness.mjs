// SPDX-License-Identifier: MIT
//
// Everything that the tests in the browser share: the site, its device, Chromium, and its errors.
// The rule to know: if a page logs an error, throws or fails to load something, the test that
// opened it fails.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { after, test } from 'node:test';
import { fileURLToPath } from 'node:url';

export const source = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const build = path.join(source, 'build');
// Of the device that ./run serves.
export const served = path.join(build, process.env.VISTEL_RUN_PRESET);
export const root = path.join(served, 'root');
export const widths = { desktop: 1280, phone: 390, narrowest: 320 };

const libraries = createRequire(path.join(build, 'browser-libraries/package.json'));
const { chromium } = libraries('playwright-core');
const axeSource = fs.readFileSync(libraries.resolve('axe-core/axe.min.js'), 'utf8');
// How long the device may take to answer, on a busy machine.
export const patient = { timeout: 15000 };

const address = process.env.VISTEL_ADDRESS;
export const home = address;
export const managerProcess = Number(process.env.VISTEL_MANAGER);
export const deviceProcess = Number(process.env.VISTEL_DEVICE);
export const url = (page, language, more = '') =>
  `${address}?_file=/wgl/main.wgl&_style=std&_dir=std&_page=${page}&_lang=${language}${more}`;

// A page as text, without a browser; `options` are those of fetch.
export async function read(link, options = {}) {
  const response = await fetch(new URL(link, address), options);
  assert.equal(response.status, 200, link);
  return response.text();
}

// Runs sysmgrctl, as a user at a terminal would.
export const control = (...words) =>
  execFileSync(path.join(root, 'usr/sbin/sysmgrctl'), words, { encoding: 'utf8' });
export const valueOf = (key) => control('cat', key);

const browser = await chromium.launch({
  executablePath: '/usr/bin/chromium-headless-shell',
  // Without these, the browser looks for updates and the like, and gets no answer here.
  args: [
    '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--disable-dev-shm-usage',
  ],
});
after(() => browser.close());

// What tests do on a page; `picture` leaves a screenshot on record.
const screenshots = path.join(served, 'screenshots');
fs.rmSync(screenshots, { recursive: true, force: true });
fs.mkdirSync(screenshots, { recursive: true });
export const submit = (page, selector) => Promise.all([page.waitForNavigation(patient), page.click(selector)]);
export const text = (page, selector) => page.textContent(selector).then((found) => found.trim());
export const picture = (page, name) =>
  page.screenshot({ path: path.join(screenshots, `${name}.jpeg`), fullPage: true });
// Pictures and accessibility are checked in one language only, the one with the longest words.
export const pictured = 'de';

// A test in a context of its own, which fails if anything went wrong in its page meanwhile; `expected`
// are patterns of complaints that the test is about.
export const inBrowser = (name, options, look, expected = []) => test(name, async () => {
  const context = await browser.newContext({ viewport: { width: widths.desktop, height: 900 }, ...options });
  const complaints = [];
  const page = await context.newPage();
  page.on('console', (message) => {
    if (['error', 'warning'].includes(message.type())) complaints.push(`console: ${message.text()}`);
  });
  page.on('pageerror', (error) => complaints.push(`script: ${error}`));
  page.on('requestfailed', (request) => {
    // A navigation to a download and a poll that a navigation cut off are no failures.
    if (request.failure().errorText !== 'net::ERR_ABORTED') complaints.push(`request: ${request.url()}`);
  });
  page.on('response', (response) => {
    if (response.status() >= 400) complaints.push(`status ${response.status()}: ${response.url()}`);
  });
  try {
    await look(page, options.javaScriptEnabled);
  } finally {
    await context.close();
  }
  assert.deepEqual(complaints.filter((text) => !expected.some((pattern) => pattern.test(text))), []);
});

export const withAndWithoutScript = (name, look) => [true, false].forEach((javaScriptEnabled) =>
  inBrowser(`${name}, ${javaScriptEnabled ? 'with' : 'without'} a script`, { javaScriptEnabled }, look));

// What axe-core finds against WCAG 2.2 AA and its own best practices, a line each. `but` are rules
// that a page is excepted from.
export async function accessibilityFaults(page, but = []) {
  if (!await page.evaluate(() => 'axe' in globalThis)) await page.evaluate(axeSource);
  const { violations } = await page.evaluate((rules) => globalThis.axe.run(document, {
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'],
    resultTypes: ['violations'],
    rules: Object.fromEntries(rules.map((rule) => [rule, { enabled: false }])),
  }), but);
  return violations.flatMap((rule) => rule.nodes.map((node) => `${rule.id}: ${node.html} ${node.failureSummary}`));
}

// What tidy has to say about a page's text, a line each. It takes aria-current and inputmode, which
// are in the standards that it checks against, for some maker's own.
export function htmlFaults(text) {
  try {
    execFileSync('tidy', ['-q', '-e', '-utf8', '--show-info', 'no', '--warn-proprietary-attributes', 'no'],
      { input: text, encoding: 'utf8', stdio: ['pipe', 'pipe', 'pipe'] });
  } catch (error) {
    return error.stderr.trim().split('\n');
  }
  return [];
}
