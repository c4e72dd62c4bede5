// SPDX-License-Identifier: MIT
//
// The web interface as people meet it: a real browser, the real web server, program and system
// manager. Tests run in their order, on one device; each leaves it as it found it.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { after, before, test } from 'node:test';

import {
  accessibilityFaults, Browser, build, htmlFaults, languages, root, Site, widths,
} from './harness.mjs';

const screenshots = path.join(build, 'browser/screenshots');
const mac = '00:0B:3B:7F:01:02';
const pages = {
  home: '', powerline: '', station: `&mac=${mac}`, power: '', settings: '', stored: '',
  maintenance: '', restore: '', firmware: '', restart: '', reset: '', done: '', diagnostics: '',
  help: '', nowhere: '',
};
const narrowest = 320;
// Tables that fit even then; other boxes scroll.
const unscrolled = ['home', 'powerline'];
// The page's own answer, not what of it depends on the time of day.
const patient = { timeout: 15000 };

let site;
let browser;
before(async () => {
  fs.rmSync(screenshots, { recursive: true, force: true });
  fs.mkdirSync(screenshots, { recursive: true });
  site = await Site.start();
  browser = await Browser.start();
}, { timeout: 400000 });
after(async () => {
  await browser?.stop();
  await site?.stop();
});

const visit = (options, look, expected) => browser.visit(options, look, expected);
const open = async (page, ...where) => {
  await page.goto(site.url(...where));
  return page;
};
const submit = (page, selector) =>
  Promise.all([page.waitForNavigation(patient), page.click(selector)]);
const text = (page, selector) => page.textContent(selector).then((words) => words.trim());

// A configuration of the device, as the plain download gives it.
const configuration = () => site.value('System.ConfigShow');

async function withUpload(name, content, use) {
  const folder = fs.mkdtempSync(path.join(build, 'browser/upload-'));
  const file = path.join(folder, name);
  fs.writeFileSync(file, content);
  try {
    return await use(file);
  } finally {
    fs.rmSync(folder, { recursive: true, force: true });
  }
}

test('every page, language, width and scheme: sound, accessible, and on record', async () => {
  for (const language of languages) {
    for (const [width, pixels] of Object.entries(widths)) {
      const colorScheme = width === 'phone' ? 'dark' : 'light';
      await visit({ viewport: { width: pixels, height: 900 }, colorScheme }, async (page) => {
        for (const [name, more] of Object.entries(pages)) {
          const where = `${name} ${language} ${width}`;
          const response = await page.goto(site.url(name, language, more));
          const source = await response.text();
          assert.deepEqual(htmlFaults(source), [], where);
          assert.ok(!source.includes('WGL error'), where);
          assert.equal(await page.getAttribute('html', 'lang'), language);
          assert.equal(await page.locator('h1').count(), 1, where);
          assert.deepEqual(await accessibilityFaults(page), [], where);
          await page.screenshot({ path: path.join(screenshots, `${name}-${language}-${width}.png`), fullPage: true });
          for (const actual of width === 'phone' ? [pixels, narrowest] : [pixels]) {
            await page.setViewportSize({ width: actual, height: 900 });
            const overflow = await page.$$eval(unscrolled.includes(name) ? 'html, .wide' : 'html',
              (boxes) => boxes.map((box) => box.scrollWidth - box.clientWidth));
            assert.ok(Math.max(...overflow) <= 0, `${where}: ${overflow} pixels too wide at ${actual}`);
          }
          await page.setViewportSize({ width: pixels, height: 900 });
        }
      });
    }
  }
});

test('the entry points beside the pages', async () => {
  await visit({}, async (page) => {
    for (const language of languages) {
      for (const word of ['fs', 'ie6']) {
        const response = await page.goto(`${site.address}?_file=${word}&_lang=${language}`);
        assert.deepEqual(htmlFaults(await response.text()), []);
        // Without a style sheet, how large a link is is the browser's choice.
        const but = word === 'ie6' ? ['target-size'] : [];
        assert.deepEqual(await accessibilityFaults(page, but), [], word);
        await page.screenshot({ path: path.join(screenshots, `${word}-${language}.png`), fullPage: true });
      }
    }
    const names = await page.evaluate(async () => {
      const values = JSON.parse(await (await fetch('/?_file=getjson')).text());
      const document = new DOMParser().parseFromString(await (await fetch('/?_file=sysinfo')).text(), 'text/xml');
      if (document.querySelector('parsererror')) throw new Error('sysinfo is no XML');
      const column = values.stations[0].indexOf('name');
      return { json: values.stations.slice(1).map((row) => row[column]), xml: document.documentElement.textContent };
    });
    assert.ok(names.json.includes('<script>alert("powerline")</script>'));
    for (const name of names.json) assert.ok(names.xml.includes(name), name);
  });
});

test('the language follows the link, the browser and nothing else', async () => {
  await visit({ locale: 'fr-FR' }, async (page) => {
    await page.goto(site.address);
    assert.equal(await page.getAttribute('html', 'lang'), 'fr');
    await submit(page, '#lang-de');
    assert.equal(await page.getAttribute('html', 'lang'), 'de');
    await submit(page, '#to-settings');
    assert.equal(await page.getAttribute('html', 'lang'), 'de');
  });
});

test('settings: refused with the fault beside the field, then stored; with a script and without', async () => {
  const former = site.value('System.DeviceName');
  for (const javaScriptEnabled of [true, false]) {
    const stored = site.value('System.DeviceName');
    await visit({ javaScriptEnabled }, async (page) => {
      await open(page, 'settings', 'en');
      await page.fill('#name', '');
      await page.fill('#zone', 'no zone');
      await submit(page, '#store');
      assert.equal(await page.getAttribute('#zone', 'aria-invalid'), 'true');
      assert.ok((await page.getAttribute('#zone', 'aria-describedby')).includes('zone-error'));
      assert.match(await text(page, '#zone-error'), /time zone such as Europe\/Berlin/);
      assert.equal(await page.inputValue('#zone'), 'no zone');
      assert.equal(await page.locator('#summary a[href="#name"], #summary a[href="#zone"]').count(), 2);
      if (javaScriptEnabled) assert.deepEqual(await accessibilityFaults(page), []);
      assert.equal(site.value('System.DeviceName'), stored);

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
    await open(page, 'settings', 'fr');
    assert.ok(!await page.isVisible('#address'));
    await page.check('#mode-two');
    await page.fill('#address', '300.1.1.1');
    await page.waitForSelector('#address[aria-invalid]', patient);
    await page.fill('#address', '192.168.1.9');
    await page.waitForSelector('#address:not([aria-invalid])', patient);
    await page.fill('#password', 'secret');
    await page.waitForSelector('#password[aria-invalid]', patient);
    assert.ok(!asked.some((url) => url.includes('secret')));
  });
});

test('live values: refreshed without a reload, not while hidden, and said when they stop', async () => {
  await visit({}, async (page) => {
    await open(page, 'home', 'en');
    const first = await text(page, '#uptime');
    await page.waitForFunction((old) => document.getElementById('uptime').textContent.trim() !== old, first, patient);
    assert.equal(await page.evaluate(() => performance.getEntriesByType('navigation').length), 1);
    let asked = 0;
    page.on('request', () => { asked += 1; });
    await page.evaluate(() => {
      Object.defineProperty(document, 'hidden', { value: true, configurable: true });
      document.dispatchEvent(new Event('visibilitychange'));
    });
    asked = 0;
    await page.waitForTimeout(6500);
    assert.equal(asked, 0);
    await page.evaluate(() => {
      delete document.hidden;
      document.dispatchEvent(new Event('visibilitychange'));
    });
    await page.waitForFunction(() => !document.getElementById('live').hidden, null, patient);

    const manager = site.childNamed('sysmgrd');
    process.kill(manager, 'SIGSTOP');
    try {
      await page.waitForSelector('#offline:not([hidden])', { timeout: 30000 });
    } finally {
      process.kill(manager, 'SIGCONT');
    }
    await page.waitForSelector('#offline[hidden]', { timeout: 30000, state: 'attached' });
  });
});

test('the table of stations is live, and sorts by each column, names as text', async () => {
  await visit({}, async (page) => {
    await open(page, 'powerline', 'en');
    const rows = await page.locator('#stations tbody tr').count();
    site.control('set', 'HomePlug.AddStation=QRST-UVWX-YZAB-CDEF');
    await page.waitForFunction(
      (count) => document.querySelectorAll('#stations tbody tr').length === count, rows + 1, patient);
    assert.equal(await page.evaluate(() => performance.getEntriesByType('navigation').length), 1);
    const column = (number) => page.$$eval(`#stations tbody tr > :nth-child(${number})`,
      (cells) => cells.map((cell) => cell.textContent.trim()));
    for (const sign of [1, -1]) {
      await page.click('#stations th:nth-child(3) button');
      const rates = (await column(3)).map(Number);
      assert.ok(rates.length >= 7);
      assert.deepEqual(rates, [...rates].sort((a, b) => sign * (a - b)));
    }
    await page.click('#stations th:nth-child(1) button');
    assert.equal(await page.getAttribute('#stations th:nth-child(1)', 'aria-sort'), 'ascending');
    assert.ok((await column(1)).includes('"><img src=x onerror=alert(1)>'));
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
    await page.fill('#station-name', '<i>Attic</i> & "more"');
    await submit(page, '#rename');
    assert.equal(await text(page, 'h1'), '<i>Attic</i> & "more"');
    await page.fill('#station-name', '');
    await submit(page, '#rename');
    assert.equal(await text(page, 'h1'), own);
  });
});

test('both charts have their size and their bars', async () => {
  await visit({}, async (page) => {
    for (const [name, id, more] of [['station', 'snr', `&mac=${mac}`], ['power', 'power', '']]) {
      await open(page, name, 'en', more);
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
      // The bands of radio amateurs are left out: carriers 498 to 522, bars 249 to 261.
      assert.ok(chart.heights.slice(250, 260).every((height) => height <= 15), name);
    }
  });
});

test('the downloads arrive under their names and can be opened', async () => {
  site.control('set', 'System.ConfigPassword=a good password');
  await visit({}, async (page) => {
    for (const [type, name, content] of [
      ['xml', /\.xml$/, /^<\?xml [^]*System\.DeviceName/],
      ['ac', /^vistel-autoconfig-.*\.xml$/, /^<\?xml [^]*HomePlug\.NetworkName/],
      ['cfg', /^vistel-config-.*\.cfg$/, /^[^<]/],
    ]) {
      await open(page, 'maintenance', 'en');
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
        await page.screenshot({ path: path.join(screenshots, 'restore-changes.png'), fullPage: true });
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
  await visit({ javaScriptEnabled: false }, async (page) => {
    for (const [where, name, content, reason] of [
      ['maintenance', 'cut.xml', saved.slice(0, saved.length / 2), /\S/],
      ['maintenance', 'more.xml', saved.replace('System.DeviceName', 'System.Unheard'), /System\.Unheard/],
      ['firmware', 'picture.bin', 'GIF89a', /\S/],
    ]) {
      await withUpload(name, content, async (file) => {
        await open(page, where, 'en');
        await page.setInputFiles('input[type=file]', file);
        await submit(page, 'form[enctype] button');
        assert.match(await text(page, '#file-error'), reason, name);
        assert.equal(configuration(), saved);
      });
    }
  });
  await withUpload('large.bin', Buffer.alloc(7 << 20), (file) => visit({}, async (page) => {
    await open(page, 'firmware', 'en');
    await page.setInputFiles('input[type=file]', file);
    await page.click('form[enctype] button');
    await page.waitForSelector('text=413', { timeout: 20000 }).catch(() => {});
    assert.match(await page.title(), /413|too large/i);
  }, [/413/]));
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

test('nothing from a request or a device becomes markup', async () => {
  const canary = '"\'><vistel-canary onclick=x data-canary></vistel-canary><script>document.title="canary"</script>';
  const names = ['_style', '_dir', '_page', '_plain', '_type', '_lang', '_okpage', 'mac', 'form', 'field', 'value',
    'key', 'label', 'hint', 'id', 'list', 'kind', 'keys', 'most', 'summary', 'words', 'foreign', 'view', 'title',
    'section', 'link', 'name', 'state', 'rows', 'fields', 'hidden', '_errorcount', '_error_System_DeviceName',
    '_sys_System_DeviceName', '_error_consistency', '_actlang'];
  const plant = (leave) => names.filter((name) => name !== leave)
    .map((name) => `&${name}=${encodeURIComponent(canary)}`).join('');
  const clean = async (page, where) => {
    assert.equal(await page.locator('vistel-canary, [data-canary]').count(), 0, where);
    assert.notEqual(await page.title(), 'canary', where);
  };
  await visit({}, async (page) => {
    for (const name of Object.keys(pages)) {
      await page.goto(`${site.address}?_file=/wgl/main.wgl&_page=${name}${plant('_page')}`);
      await clean(page, name);
    }
    for (const word of ['fs', 'ie6']) {
      await page.goto(`${site.address}?_file=${word}${plant()}`);
      await clean(page, word);
    }
    // Any template can be asked for by itself.
    for (const file of fs.readdirSync(path.join(root, 'usr/www/wgl/std'))) {
      await page.goto(`${site.address}?_file=/wgl/std/${file}${plant()}`);
      await clean(page, file);
    }
    // What the device holds: texts that its own checks let through.
    const text = canary.slice(0, 63);
    site.control('set', `System.DeviceName=${text}`, `HomePlug.NetworkName=${text}`);
    for (const [name, more] of Object.entries(pages)) {
      await page.goto(site.url(name, 'en', more));
      await clean(page, name);
    }
    site.control('set', 'System.DeviceName=Vistel', 'HomePlug.NetworkName=HomePlug');
    // The program repeats the name of a template that it refuses, as it came.
    const response = await page.goto(`${site.address}?_file=${encodeURIComponent(`/x${canary}`)}`);
    assert.ok((await response.text()).includes('<script>document.title="canary"</script>'));
    assert.notEqual(await page.title(), 'canary');
  }, [/Content Security Policy/i, /sandbox/i, /status 403/, /Failed to load resource/]);
});

test('the device does not answer: every page says so and what to do', async () => {
  const manager = site.childNamed('sysmgrd');
  process.kill(manager, 'SIGKILL');
  await visit({ javaScriptEnabled: false }, async (page) => {
    for (const [name, more] of Object.entries(pages)) {
      await open(page, name, 'de', more);
      assert.ok(await page.isVisible('#unreached'), name);
      // Nothing is concluded from an empty answer, and nothing is offered that it can't give.
      assert.equal(await page.locator('#unknown, #live, #stations, a[href*=syscfg]').count(), 0, name);
      assert.doesNotMatch(await text(page, 'main'), /keine andere Station|Stationen\s+0/, name);
      assert.deepEqual(htmlFaults(await page.content()), [], name);
    }
    await page.screenshot({ path: path.join(screenshots, 'unreachable-de.png'), fullPage: true });
  });
});
