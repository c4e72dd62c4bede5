// SPDX-License-Identifier: MIT
//
// Everything that the tests in the browser share: the site, its device, Chromium, and its errors.
// The rule to know: if a page logs an error, throws or fails to load something, the test that
// opened it fails.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const source = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
export const build = path.join(source, 'build');
export const root = path.join(build, 'served/root');
export const languages = ['en', 'de', 'fr'];
export const widths = { desktop: 1280, phone: 390 };

const libraries = createRequire(path.join(build, 'browser-libraries/package.json'));
const { chromium } = libraries('playwright-core');
const axeSource = fs.readFileSync(libraries.resolve('axe-core/axe.min.js'), 'utf8');

// The site at the address that served.py prints.
export const site = {
  address: process.env.VISTEL_ADDRESS,

  url(page, language, more = '') {
    return `${this.address}?_file=/wgl/main.wgl&_style=std&_dir=std&_page=${page}&_lang=${language}${more}`;
  },

  // A page as text, without a browser.
  async read(address) {
    const response = await fetch(new URL(address, this.address));
    assert.equal(response.status, 200, address);
    return response.text();
  },

  // The process id of the system manager.
  manager() {
    const children = fs.readFileSync(`/proc/${process.env.VISTEL_RUN}/task/${process.env.VISTEL_RUN}/children`, 'utf8');
    return Number(children.trim().split(' ').find((pid) => fs.readFileSync(`/proc/${pid}/comm`, 'utf8') === 'sysmgrd\n'));
  },

  // Runs sysmgrctl, as a user at a terminal would.
  control(...words) {
    return execFileSync(path.join(root, 'usr/sbin/sysmgrctl'), words, { encoding: 'utf8' });
  },

  value(key) {
    return this.control('cat', key);
  },
};

export class Browser {
  static async start() {
    const browser = new Browser();
    browser.profile = fs.mkdtempSync(path.join(os.tmpdir(), 'vistel-browser-'));
    browser.handle = await chromium.launch({
      executablePath: '/usr/bin/chromium',
      // Without these, the browser looks for updates and the like, and gets no answer here.
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

  // Runs `look` on a page with a context of its own and fails on every error meanwhile; `expected`
  // are patterns of errors that the test expects.
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
      // A navigation that becomes a download is not a failure, nor is a poll that a navigation
      // aborts.
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

// The findings of axe-core about WCAG 2.2 AA and its own best practices, a line each. `but` are
// rules that don't apply to the page.
export async function accessibilityFaults(page, but = []) {
  await page.evaluate(axeSource);
  const { violations } = await page.evaluate((rules) => globalThis.axe.run(document, {
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'],
    rules: Object.fromEntries(rules.map((rule) => [rule, { enabled: false }])),
  }), but);
  return violations.flatMap((rule) => rule.nodes.map((node) => `${rule.id}: ${node.html} ${node.failureSummary}`));
}

// The complaints of tidy about a page's text, a line each. Warnings about proprietary attributes are
// off, because tidy takes aria-current and inputmode for such, although they are standard.
export function htmlFaults(text) {
  try {
    execFileSync('tidy', ['-q', '-e', '-utf8', '--show-info', 'no', '--warn-proprietary-attributes', 'no'], { input: text, encoding: 'utf8', stdio: ['pipe', 'pipe', 'pipe'] });
  } catch (error) {
    return error.stderr.trim().split('\n');
  }
  return [];
}
