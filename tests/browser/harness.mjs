// SPDX-License-Identifier: MIT
//
// What every test in the browser needs: the site under `./run`, with a device of its own, Chromium,
// and an eye on whatever goes wrong in it. The rule to know: a page that logs an error, fails to
// load something or throws makes the test fail that opened it, whatever else it looked at.
import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const source = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
export const build = path.join(source, 'build');
export const root = path.join(build, 'browser/root');
export const languages = ['en', 'de', 'fr'];
export const widths = { desktop: 1280, phone: 390 };

const host = '127.0.0.1';
const startSeconds = 300;
const libraries = createRequire(path.join(build, 'browser-libraries/package.json'));
const { chromium } = libraries('playwright-core');
const axeSource = fs.readFileSync(libraries.resolve('axe-core/axe.min.js'), 'utf8');

async function freePort() {
  const server = net.createServer().listen(0, host);
  await new Promise((resolve) => server.once('listening', resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

export class Site {
  // A device as it comes from the factory, behind the real web server.
  static async start() {
    const site = new Site();
    for (const state of ['lib/sysmgr', 'run/sysmgr']) {
      fs.rmSync(path.join(root, 'var', state), { recursive: true, force: true });
    }
    const port = await freePort();
    site.address = `http://${host}:${port}/`;
    site.process = spawn(path.join(source, 'run'), [], {
      cwd: '/',
      env: { ...process.env, VISTEL_RUN_PRESET: 'browser', PORT: String(port) },
      stdio: ['ignore', 'pipe', 'pipe'],
    });
    let output = '';
    await new Promise((resolve, reject) => {
      const deadline = setTimeout(() => reject(new Error(`no site: ${output}`)), startSeconds * 1000);
      const read = (text) => {
        output += text;
        if (!output.includes(site.address)) return;
        clearTimeout(deadline);
        resolve();
      };
      site.process.stdout.on('data', read);
      site.process.stderr.on('data', read);
      site.process.once('exit', () => reject(new Error(`./run ended: ${output}`)));
    });
    return site;
  }

  // The process ids of the programs of this site, by name.
  childNamed(name) {
    for (const entry of fs.readdirSync('/proc')) {
      if (!/^\d+$/.test(entry)) continue;
      try {
        const stat = fs.readFileSync(`/proc/${entry}/stat`, 'utf8');
        const end = stat.lastIndexOf(')');
        const parent = Number(stat.slice(end + 2).split(' ')[1]);
        if (parent === this.process.pid && stat.slice(stat.indexOf('(') + 1, end) === name) {
          return Number(entry);
        }
      } catch {
        // It has just ended.
      }
    }
    throw new Error(`no ${name}`);
  }

  async stop() {
    if (this.process.exitCode === null) {
      const ended = new Promise((resolve) => this.process.once('exit', resolve));
      this.process.kill('SIGTERM');
      await ended;
    }
  }

  url(page, language, more = '') {
    return `${this.address}?_file=/wgl/main.wgl&_style=std&_dir=std&_page=${page}&_lang=${language}${more}`;
  }

  // Asks the system manager as a person at a terminal would.
  control(...words) {
    return execFileSync(path.join(root, 'usr/sbin/sysmgrctl'), words, { encoding: 'utf8' });
  }

  value(key) {
    return this.control('cat', key);
  }
}

export class Browser {
  static async start() {
    const browser = new Browser();
    browser.profile = fs.mkdtempSync(path.join(os.tmpdir(), 'vistel-browser-'));
    browser.handle = await chromium.launch({
      executablePath: '/usr/bin/chromium',
      // Without them the browser looks for updates and the like, which nothing here answers.
      args: [
        '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync',
        '--disable-dev-shm-usage',
      ],
    });
    return browser;
  }

  async stop() {
    await this.handle.close();
    fs.rmSync(this.profile, { recursive: true, force: true });
  }

  // Runs `look` on a page of a context of its own and fails on everything that went wrong meanwhile;
  // `expected` are patterns of complaints that the test is about.
  async visit(options, look, expected = []) {
    const context = await this.handle.newContext({
      viewport: { width: widths.desktop, height: 900 },
      acceptDownloads: true,
      ...options,
    });
    const complaints = [];
    const page = await context.newPage();
    page.on('console', (message) => {
      if (['error', 'warning'].includes(message.type())) complaints.push(`console: ${message.text()}`);
    });
    page.on('pageerror', (error) => complaints.push(`script: ${error}`));
    page.on('requestfailed', (request) => {
      // A navigation to a download and a poll that a navigation cut off are no failures.
      if (request.failure().errorText === 'net::ERR_ABORTED') return;
      complaints.push(`request: ${request.url()} ${request.failure().errorText}`);
    });
    page.on('response', (response) => {
      if (response.status() >= 400) complaints.push(`status ${response.status()}: ${response.url()}`);
    });
    try {
      await look(page);
    } finally {
      await context.close();
    }
    assert.deepEqual(
      complaints.filter((text) => !expected.some((pattern) => pattern.test(text))), []);
  }
}

// What axe-core finds against WCAG 2.2 AA and its own best practices, a line each. `but` are rules
// that a page is excepted from.
export async function accessibilityFaults(page, but = []) {
  await page.evaluate(axeSource);
  const { violations } = await page.evaluate((rules) => globalThis.axe.run(document, {
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'],
    rules: Object.fromEntries(rules.map((rule) => [rule, { enabled: false }])),
  }), but);
  return violations.flatMap((rule) => rule.nodes.map((node) => `${rule.id}: ${node.html} ${node.failureSummary}`));
}

// What tidy has to say about a page's text, a line each. It takes aria-current and inputmode, which
// are in the standards that it checks against, for some maker's own.
export function htmlFaults(text) {
  try {
    execFileSync('tidy', ['-q', '-e', '-utf8', '--show-info', 'no', '--warn-proprietary-attributes', 'no'], { input: text, encoding: 'utf8', stdio: ['pipe', 'pipe', 'pipe'] });
  } catch (error) {
    return error.stderr.trim().split('\n');
  }
  return [];
}
