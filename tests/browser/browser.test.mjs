// SPDX-License-Identifier: MIT
//
// The web interface as its users see it: a real browser, the real web server, program and system
// manager. Tests run in their order, on one device; each restores the device's state.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import {
  accessibilityFaults, Browser, build, htmlFaults, languages, root, site, source, widths,
} from './harness.mjs';

const screenshots = path.join(build, 'served/screenshots');
const mac = '00:00:5E:00:53:02';
// The fields that a page needs beside its name, and its heading.
const pages = {
  home: ['', /Vistel/], powerline: ['', 'Powerline'], station: [`&mac=${mac}`, /./],
  power: ['', 'Output power'], settings: ['', 'Settings'], stored: ['', 'Settings'],
  maintenance: ['', 'Maintenance'], restore: ['', 'Restore the configuration'],
  firmware: ['', 'Firmware update'], restart: ['', 'Restart'], reset: ['', 'Factory settings'],
  done: ['', 'Maintenance'], diagnostics: ['', 'Diagnostics'],
  help: ['', 'Where to plug in the adapter'], nowhere: ['', 'There is no such page'],
};
const words = ['fs', 'ie6'];
// Pictures and accessibility are checked in one language only, the one with the longest words.
const pictured = 'de';
const narrowest = 320;
// Tables that fit even on a narrow screen; other boxes scroll.
const unscrolled = ['home', 'powerline'];
// The page without the parts that depend on the time of day.
const patient = { timeout: 15000 };

let browser;
before(async () => {
  fs.rmSync(screenshots, { recursive: true, force: true });
  fs.mkdirSync(screenshots, { recursive: true });
  browser = await Browser.start();
});
after(() => browser?.stop());

const visit = (options, look, expected) => browser.visit(options, look, expected);
const open = async (page, ...where) => {
  await page.goto(site.url(...where));
  return page;
};
const submit = (page, selector) =>
  Promise.all([page.waitForNavigation(patient), page.click(selector)]);
const text = (page, selector) => page.textContent(selector).then((found) => found.trim());
const picture = (page, name) =>
  page.screenshot({ path: path.join(screenshots, `${name}.png`), fullPage: true });
const configuration = () => site.value('System.ConfigShow');

async function withUpload(name, content, use) {
  const folder = fs.mkdtempSync(path.join(build, 'served/upload-'));
  const file = path.join(folder, name);
  fs.writeFileSync(file, content);
  try {
    return await use(file);
  } finally {
    fs.rmSync(folder, { recursive: true, force: true });
  }
}

test('every page in every language is sound, and its links lead somewhere', async () => {
  const links = new Set();
  for (const language of languages) {
    const addresses = words.map((word) => [`/?_file=${word}&_lang=${language}`, /./]);
    addresses.push([site.url('../main', language), pages.nowhere[1]]);
    for (const [name, [more, heading]] of Object.entries(pages)) addresses.push([site.url(name, language, more), heading]);
    for (const [address, heading] of addresses) {
      const html = await site.read(address);
      assert.deepEqual(htmlFaults(html), [], address);
      assert.doesNotMatch(html, /WGL error|id="unreached"/, address);
      assert.ok(html.includes(`<html lang="${language}">`) && html.endsWith('</html>\n'), address);
      const headings = [...html.matchAll(/<h1>(.*)<\/h1>/g)].map((match) => match[1]);
      if (!address.includes('_file=fs')) assert.equal(headings.length, 1, address);
      if (language === 'en' && headings.length > 0) assert.match(headings[0], new RegExp(heading), address);
      for (const [, link] of html.matchAll(/(?:href|src)="([^"#]+)/g)) links.add(link.replaceAll('&amp;', '&'));
    }
  }
  assert.ok(links.size > 50);
  for (const link of links) assert.ok(!(await site.read(link)).includes('WGL error'), link);
});

test('a link claims nothing that only a form can have done, in no language', async () => {
  for (const [query, page] of [
    [`station&mac=${mac}&form=name`, 'station'], ['maintenance&form=remove', 'maintenance'],
    ['stored', 'settings'], ['done', 'maintenance'],
  ]) {
    const html = await site.read(site.url(query, 'en'));
    assert.ok(!html.includes('class="notice good"'), query);
    assert.match(html, new RegExp(`id="lang-de" href="[^"]*&amp;_page=${page}&amp;`));
  }
});

test('every page, width and scheme: accessible, and on record', async () => {
  for (const [width, pixels] of Object.entries(widths)) {
    const colorScheme = width === 'phone' ? 'dark' : 'light';
    await visit({ viewport: { width: pixels, height: 900 }, colorScheme }, async (page) => {
      for (const [name, [more]] of Object.entries(pages)) {
        await open(page, name, pictured, more);
        assert.deepEqual(await accessibilityFaults(page), [], `${name} ${width}`);
        await picture(page, `${name}-${width}`);
      }
    });
  }
  await visit({}, async (page) => {
    for (const word of words) {
      await page.goto(`${site.address}?_file=${word}&_lang=${pictured}`);
      // Without a style sheet, the browser chooses the size of a link.
      assert.deepEqual(await accessibilityFaults(page, word === 'ie6' ? ['target-size'] : []), [], word);
      await picture(page, word);
    }
  });
});

test('every page and language fits on every width', async () => {
  await visit({}, async (page) => {
    for (const language of languages) {
      for (const [name, [more]] of Object.entries(pages)) {
        await open(page, name, language, more);
        for (const width of [...Object.values(widths), narrowest]) {
          await page.setViewportSize({ width, height: 900 });
          const overflow = await page.$$eval(unscrolled.includes(name) ? 'html, .wide' : 'html',
            (boxes) => boxes.map((box) => box.scrollWidth - box.clientWidth));
          assert.ok(Math.max(...overflow) <= 0, `${name} ${language}: ${overflow} pixels too wide at ${width}`);
        }
      }
    }
  });
});

test('the language follows the link, the browser and nothing else', async () => {
  await visit({ locale: 'fr-FR' }, async (page) => {
    await page.goto(site.address);
    assert.equal(await page.getAttribute('html', 'lang'), 'fr');
    for (const link of ['#lang-de', '#to-settings']) {
      await submit(page, link);
      assert.equal(await page.getAttribute('html', 'lang'), 'de');
    }
  });
});

test('settings: refused with the fault beside the field, then stored; with a script and without', async () => {
  const former = site.value('System.DeviceName');
  const typed = '"\'><b>&%41 +`~> ${_file} <~ get `_file` ~> äöü €';
  for (const javaScriptEnabled of [true, false]) {
    const stored = site.value('System.DeviceName');
    await visit({ javaScriptEnabled }, async (page) => {
      await open(page, 'settings', 'en');
      await page.check('#mode-two');
      const fields = await page.$$eval('#settings-form input[type=text]', (inputs) => inputs.map((input) => `#${input.id}`));
      assert.ok(fields.length >= 5);
      const shown = {};    // as far as the field takes it
      for (const field of fields) {
        await page.fill(field, field === '#name' ? '' : typed);
        shown[field] = await page.inputValue(field);
      }
      await submit(page, '#store');
      assert.equal(await page.getAttribute('#zone', 'aria-invalid'), 'true');
      assert.ok((await page.getAttribute('#zone', 'aria-describedby')).includes('zone-error'));
      assert.match(await text(page, '#zone-error'), /time zone such as Europe\/Berlin/);
      for (const field of fields) assert.equal(await page.inputValue(field), shown[field]);
      assert.equal(await page.locator('#summary a[href="#name"], #summary a[href="#zone"]').count(), 2);
      if (javaScriptEnabled) assert.deepEqual(await accessibilityFaults(page), []);
      assert.equal(site.value('System.DeviceName'), stored);

      await open(page, 'settings', 'en');
      const name = `Küche "<b>' & Co ${javaScriptEnabled}`;
      await page.fill('#name', name);
      await page.fill('#zone', 'Europe/Paris');
      await submit(page, '#store');
      assert.ok(await page.isVisible('#outcome.good'));
      assert.equal(site.value('System.DeviceName'), name);
      await open(page, 'settings', 'de');
      assert.equal(await page.inputValue('#name'), name);

      await page.check('#mode-two');
      for (const [id, value] of [['address', '192.168.1.10'], ['mask', '255.255.255.0'], ['gateway', '10.0.0.1']]) {
        await page.fill(`#${id}`, value);
      }
      await submit(page, '#store');
      assert.equal(await page.locator('.wrong > [aria-invalid][aria-describedby~="together"]').count(), 3);
      assert.ok(await page.isVisible('#together'));

      await page.fill('#password', 'short');
      await submit(page, '#store-password');
      assert.equal(await page.inputValue('#password'), '');
      assert.ok(await page.isVisible('#password-error'));
    });
  }
  site.control('set', `System.DeviceName=${former}`, 'System.TimeZone=Europe/Berlin');
});

test('a field is checked while it is typed into, and its value is in no address', async () => {
  await visit({}, async (page) => {
    const asked = [];
    page.on('request', (request) => asked.push(request.url()));
    await open(page, 'settings', 'de');
    assert.ok(!await page.isVisible('#address'));
    await page.check('#mode-two');
    for (const [id, value, problem] of [
      ['name', '', 'Geben Sie 1 bis 63 Zeichen ein.'], ['name', 'Küche, {x}%41', ''],
      ['mask', '255.0.255.0', 'Geben Sie eine Netzmaske ein, zum Beispiel 255.255.255.0.'],
      ['mask', '255.255.255.0', ''], ['password', 'secret', 'Geben Sie 8 bis 64 Zeichen ein.'],
    ]) {
      await page.fill(`#${id}`, value);
      await page.waitForFunction(([error, expected]) => document.getElementById(error)?.textContent === expected,
        [`${id}-error`, problem], patient);
      assert.equal(await page.getAttribute(`#${id}`, 'aria-invalid'), problem && 'true' || null);
    }
    assert.ok(!asked.some((url) => url.includes('secret')));
  });
});

test('live values: refreshed without a reload, not while hidden, and said when they stop', async () => {
  await visit({}, async (page) => {
    await page.clock.install();
    await open(page, 'home', 'en');
    const hide = (hidden) => page.evaluate((value) => {
      Object.defineProperty(document, 'hidden', { value, configurable: true });
      document.dispatchEvent(new Event('visibilitychange'));
    }, hidden);
    const refreshed = async (selector) => {
      await page.clock.runFor(6000);
      await page.waitForSelector(selector, { ...patient, state: 'attached' });
    };
    await page.evaluate(() => { globalThis.kept = true; });
    const first = await text(page, '#uptime');
    while (await text(page, '#uptime') === first) await refreshed('#live:not([hidden])');
    assert.ok(await page.evaluate(() => globalThis.kept));

    await hide(true);
    let asked = 0;
    page.on('request', () => { asked += 1; });
    await page.clock.runFor(60000);
    assert.equal(asked, 0);
    await hide(false);
    await page.waitForSelector('#live:not([hidden])', patient);
    assert.ok(asked > 0);

    // A tenth of the page's own timeout.
    await page.evaluate(() => {
      const { timeout } = AbortSignal;
      AbortSignal.timeout = (milliseconds) => timeout.call(AbortSignal, milliseconds / 10);
    });
    process.kill(site.manager(), 'SIGSTOP');
    try {
      await refreshed('#offline:not([hidden])');
    } finally {
      process.kill(site.manager(), 'SIGCONT');
    }
    await refreshed('#offline[hidden]');
  });
});

test('the table of stations is live, and sorts by each column, names as text', async () => {
  await visit({}, async (page) => {
    await page.clock.install();
    await open(page, 'powerline', 'en');
    await page.evaluate(() => { globalThis.kept = true; });
    const rows = page.locator('#stations tbody tr');
    const before = await rows.count();
    site.control('set', 'HomePlug.AddStation=QRST-UVWX-YZAB-CDEF');
    await page.clock.runFor(6000);
    await rows.nth(before).waitFor(patient);
    assert.ok(await page.evaluate(() => globalThis.kept));
    const byName = (a, b) => a.localeCompare(b, 'en', { numeric: true });
    for (const [column, compare] of [
      [1, byName], [2, byName], [3, (a, b) => a - b], [4, (a, b) => a - b], [5, byName]]) {
      for (const [sign, order] of [[1, 'ascending'], [-1, 'descending']]) {
        const head = `#stations th:nth-child(${column})`;
        await page.click(`${head} button`);
        assert.equal(await page.getAttribute(head, 'aria-sort'), order);
        const cells = await page.$$eval(`#stations tbody tr > :nth-child(${column})`,
          (found) => found.map((cell) => (cell.querySelector('span') ?? cell).textContent.trim()));
        assert.equal(cells.length, before + 1);
        assert.deepEqual(cells, [...cells].sort((a, b) => sign * compare(a, b)));
        if (column === 1) assert.ok(cells.includes('"><img src=x onerror=alert(1)>'));
      }
    }
  });
});

test('stations: added by their password and named, refused when it is wrong', async () => {
  await visit({ javaScriptEnabled: false }, async (page) => {
    await open(page, 'powerline', 'en');
    const before = await page.locator('#stations tbody tr').count();
    await page.fill('#device-password', 'AAAA-BBBB-CCCC-DDDD');
    await submit(page, '#add');
    assert.match(await text(page, '#device-password-error'), /No adapter answers/);
    assert.equal(await page.inputValue('#device-password'), '');
    await page.fill('#device-password', 'ABCD-EFGH-IJKL-MNOP');
    await submit(page, '#add');
    assert.ok(await page.isVisible('#outcome.good'));
    assert.equal(await page.locator('#stations tbody tr').count(), before + 1);

    await open(page, 'station', 'en', `&mac=${mac}`);
    const own = await text(page, 'h1');
    for (const [name, shown] of [['<i>Attic</i> & "more"', '<i>Attic</i> & "more"'], ['', own]]) {
      await page.fill('#station-name', name);
      await submit(page, '#rename');
      assert.equal(await text(page, 'h1'), shown);
    }
  });
});

test('both charts have their size and their bars', async () => {
  await visit({}, async (page) => {
    for (const [name, id] of [['station', 'snr'], ['power', 'power']]) {
      await open(page, name, 'en', pages[name][0]);
      const chart = await page.$eval(`#${id}`, (image) => {
        const canvas = document.createElement('canvas');
        canvas.width = image.naturalWidth;
        canvas.height = image.naturalHeight;
        const context = canvas.getContext('2d');
        context.drawImage(image, 0, 0);
        const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
        const heights = [];
        for (let x = 31; x <= 608; x += 1) {
          let height = 0;
          while (height < 385) {
            const at = ((384 - height) * canvas.width + x) * 4;
            if (data[at] !== 64 || data[at + 1] !== 128 || data[at + 2] !== 64) break;
            height += 1;
          }
          heights.push(height);
        }
        return { shown: [image.width, image.height], natural: [canvas.width, canvas.height], heights };
      });
      assert.deepEqual(chart.shown, chart.natural, name);
      assert.ok(chart.natural[0] >= 640 && chart.natural[1] >= 420, name);
      const bars = chart.heights.filter((height) => height > 100).length;
      assert.ok(bars > 400 && bars < 578, `${name}: ${bars} bars`);
      // One band of radio amateurs, which is left out: carriers 498 to 522, bars 249 to 261.
      assert.ok(chart.heights.slice(250, 260).every((height) => height <= 15), name);
    }
  });
});

test('the downloads arrive under their names and can be opened', async () => {
  site.control('set', 'System.ConfigPassword=a good password');
  await visit({}, async (page) => {
    await open(page, 'maintenance', 'en');
    for (const [type, name, content] of [
      ['xml', /\.xml$/, /^<\?xml [^]*System\.DeviceName/],
      ['ac', /^vistel-autoconfig-.*\.xml$/, /^<\?xml [^]*HomePlug\.NetworkName/],
      ['cfg', /^vistel-config-.*\.cfg$/, /^[^<]/],
    ]) {
      const [download] = await Promise.all([
        page.waitForEvent('download', patient), page.click(`a[href*="_type=${type}"]`)]);
      assert.match(download.suggestedFilename(), name);
      assert.match(fs.readFileSync(await download.path(), 'utf8'), content, type);
    }
    assert.deepEqual(fs.readdirSync(path.join(root, 'var/run/sysmgr/files')), []);
  });
  site.control('set', 'System.ConfigPassword=');
});

test('a configuration: downloaded, changed, restored; with a script and without', async () => {
  const former = site.value('HomePlug.NetworkName');
  for (const javaScriptEnabled of [true, false]) {
    const saved = configuration();
    site.control('set', 'HomePlug.NetworkName=Another');
    await withUpload('saved.xml', saved, (file) => visit({ javaScriptEnabled }, async (page) => {
      await open(page, 'maintenance', 'en');
      await page.setInputFiles('#file', file);
      await submit(page, 'form[enctype] button');
      assert.match(await text(page, 'table.values'), new RegExp(`Another\\s*${former}`));
      if (javaScriptEnabled) {
        assert.deepEqual(await accessibilityFaults(page), []);
        await picture(page, 'restore-changes');
      }
      assert.equal(site.value('HomePlug.NetworkName'), 'Another');
      await submit(page, 'button[value="apply"]');
      assert.ok(await page.isVisible('.notice.good'));
      assert.equal(site.value('HomePlug.NetworkName'), former);
      assert.equal(configuration(), saved);
    }));
  }
});

test('uploads that are refused say why, and change nothing', async () => {
  const saved = configuration();
  for (const [where, name, content, reason] of [
    ['maintenance', 'cut.xml', saved.slice(0, saved.length / 2), /Die Datei ist kein wohlgeformtes XML\./],
    ['maintenance', 'more.xml', saved.replace('System.DeviceName', 'System.Unheard'),
      /System\.UnheardDiese Einstellung gibt es nicht\./],
    ['maintenance', 'many.xml', saved.replace('<setting', `${'<b/>\n'.repeat(11)}<setting`), /die ersten zehn Fehler/],
    ['firmware', 'picture.bin', 'GIF89a', /Diese Datei ist keine Firmware\./],
    ['firmware', 'line.bin', 'VISTEL-FIRMWARE 1\nModel: <b>\n\n', /fehlerhafte Zeile\.\s+Zeile des Kopfes: Model: <b>/],
    ['firmware', 'large.bin', Buffer.alloc(7 << 20), /The file is too large/],
  ]) {
    await withUpload(name, content, (file) => visit({ javaScriptEnabled: false }, async (page) => {
      await open(page, where, pictured);
      await page.setInputFiles('input[type=file]', file);
      await submit(page, 'form[enctype] button');
      assert.match(await text(page, 'main'), reason, name);
      await picture(page, `refused-${path.parse(name).name}`);
      if (name !== 'large.bin') {
        assert.match(await text(page, '#file-error'), /\S/, name);
        assert.equal(await page.getAttribute('#file', 'aria-invalid'), 'true');
      }
      assert.equal(configuration(), saved);
    }, [/413/]));
  }
});

test('restart and factory reset ask first', async () => {
  site.control('set', 'System.DeviceName=Changed');
  await visit({ javaScriptEnabled: false }, async (page) => {
    for (const name of ['restart', 'reset']) {
      await open(page, name, 'en');
      assert.equal(site.value('System.DeviceName'), 'Changed');
      await submit(page, 'main form button');
      assert.ok(await page.isVisible('.notice.good'), name);
    }
    assert.equal(site.value('System.DeviceName'), 'Vistel');
    await open(page, 'powerline', 'en');
    assert.equal(await page.locator('#stations tbody tr').count(), 7);
  });
});

// Requests each template by its path, and each page, with values planted in every variable that any
// of them reads: a value is shown as text or not at all, and never becomes a key of a query.
test('nothing from a request or a device becomes markup or a query', async () => {
  const canary = '"\'><b canary><script>alert()</script>';
  const unseen = 'System.ConfigShow';
  const values = [canary, 'yes', unseen, `x};${unseen};HomePlug.Stations{MacAddress=x`,
    `x,Value=y};${unseen};System.Check{Key=x`];
  const templates = fs.readdirSync(path.join(source, 'site/wgl'), { recursive: true })
    .filter((name) => name.endsWith('.wgl'));
  const names = new Set(templates.flatMap((name) =>
    [...fs.readFileSync(path.join(source, 'site/wgl', name), 'utf8').matchAll(/\$\{([A-Za-z_]\w*)/g)].map((match) => match[1])));
  assert.ok(names.size > 40);
  const targets = [...words.map((word) => ({ _file: word })), ...templates.flatMap((name) => [
    { _file: `/wgl/${name}` }, { _file: '/wgl/main.wgl', _page: path.basename(name, '.wgl') }])];
  const forms = targets.flatMap((target) => values.map((value) => (
    { ...Object.fromEntries([...names].map((name) => [name, value])), key: unseen, ...target })));
  // Settings of the device, whose checks accept these texts.
  site.control('set', `System.DeviceName=${canary}`, `HomePlug.NetworkName=${canary}`);
  await visit({}, async (page) => {
    await page.goto(site.address);
    const faults = await page.evaluate(async (requests) => {
      const found = [];
      for (const request of requests) {
        const html = await (await fetch('/', { method: 'POST', body: new URLSearchParams(request) })).text();
        const document = new DOMParser().parseFromString(html, 'text/html');
        if (/Missing or invalid|(<|&lt;)setting/.test(html) ||
          document.querySelector('[canary], script:not([src])')) found.push(request);
      }
      return found;
    }, forms);
    assert.deepEqual(faults, []);
    for (const part of ['text-field', 'choice-field']) {
      assert.match(await site.read(`/?_file=/wgl/std/${part}.wgl&key=a`), /WGL error/);
    }
    // The program repeats the name of a refused template unchanged.
    const script = '<script>document.title="x"</script>';
    const response = await page.goto(`${site.address}?_file=${encodeURIComponent(`/x${script}`)}`);
    assert.ok((await response.text()).includes(script));
    assert.notEqual(await page.title(), 'x');
  }, [/Content Security Policy/i, /sandbox/i]);
  site.control('set', 'System.DeviceName=Vistel', 'HomePlug.NetworkName=HomePlug');
});

test('the device does not answer: every page says so and what to do', async () => {
  process.kill(site.manager(), 'SIGKILL');
  await visit({ javaScriptEnabled: false }, async (page) => {
    for (const [name, [more]] of Object.entries(pages)) {
      await open(page, name, 'de', more);
      assert.ok(await page.isVisible('#unreached'), name);
      // The page concludes nothing from an empty answer, and offers nothing that can't work.
      assert.equal(await page.locator('#unknown, #live, #stations, a[href*=syscfg]').count(), 0, name);
      assert.doesNotMatch(await text(page, 'main'), /keine andere Station|Stationen\s+0/, name);
      assert.deepEqual(htmlFaults(await page.content()), [], name);
    }
    await picture(page, 'unreachable');
  });
});
