// SPDX-License-Identifier: MIT
//
// The web interface as its users see it: a real browser, the real web server, program and system
// manager. Tests run in their order, on one device; each restores the device's settings. The jobs that they are
// there for are in jobs.test.mjs.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';

import {
  accessibilityFaults, control, home, htmlFaults, inBrowser, managerProcess, patient, picture, pictured, read, source, submit,
  text, url, valueOf, widths, withAndWithoutScript,
} from './harness.mjs';

const mac = '00:00:5E:00:53:02';
const languages = ['en', 'de', 'fr'];
// Tables that fit even on a narrow screen; other boxes scroll.
const unscrolled = ['home', 'powerline'];
// What a page needs beside its name.
const pages = {
  home: '', powerline: '', station: `&mac=${mac}`, power: '', settings: '', address: '', stored: '', join: '', maintenance: '',
  restore: '', firmware: '', restart: '', reset: '', done: '', diagnostics: '', help: '', nowhere: '',
};
const words = ['fs', 'ie6'];

const assertEventually = async (isTrue) => {
  for (let tries = 0; !await isTrue(); tries += 1) assert.ok(tries < 30);
};

inBrowser('the settings were lost: every page says so until somebody takes note', {}, async (page) => {
  for (const address of [
    ...Object.entries(pages).map(([name, more]) => url(name, pictured, more)), ...words.map((word) => `/?_file=${word}`),
  ]) {
    const html = await read(address);
    assert.ok(html.includes('id="lost"'), address);
    assert.deepEqual(htmlFaults(html), [], address);
  }
  await page.goto(url('settings', pictured));
  assert.deepEqual(await accessibilityFaults(page), []);
  await picture(page, 'lost');
  await submit(page, '#lost-noted');
  assert.ok(await page.isVisible('#settings-form'));
  assert.equal(await page.locator('#lost').count(), 0);
});

test('every page in every language is sound, and its links lead somewhere', async () => {
  const links = new Set();
  for (const language of languages) {
    const addresses = words.map((word) => `/?_file=${word}&_lang=${language}`);
    for (const [name, more] of Object.entries({ ...pages, '../main': '' })) addresses.push(url(name, language, more));
    for (const address of addresses) {
      const html = await read(address);
      assert.deepEqual(htmlFaults(html), [], address);
      assert.doesNotMatch(html, /WGL error|id="unreached"/, address);
      assert.ok(html.includes(`<html lang="${language}">`) && html.endsWith('</html>\n'), address);
      assert.equal(html.split('<h1>').length, 2, address);
      if (language === 'en') assert.equal(html.includes('There is no such page'), /nowhere|main&/.test(address), address);
      for (const [, link] of html.matchAll(/(?:href|src)="(?!\/\/)([^"#]+)/g)) links.add(link.replaceAll('&amp;', '&'));
    }
  }
  assert.ok(links.size > 50);
  for (const link of links) assert.ok(!(await read(link)).includes('WGL error'), link);
});

test('a link claims nothing that only a form can have done, in no language', async () => {
  for (const [query, page] of [
    [`station&mac=${mac}&form=name`, 'station'], ['maintenance&form=remove', 'maintenance'],
    ['stored', 'stored'], ['done', 'done'],
  ]) {
    const html = await read(url(query, 'en'));
    assert.ok(!html.includes('class="notice good"'), query);
    assert.match(html, new RegExp(`id="lang-de" href="[^"]*&amp;_page=${page}&amp;`));
  }
});

inBrowser('every page fits, is accessible and on record', {}, async (page) => {
  for (const [name, language, address] of [
    ...languages.flatMap((one) => Object.entries(pages).map(([name, more]) => [name, one, url(name, one, more)])),
    ...words.map((word) => [word, pictured, `${home}?_file=${word}&_lang=${pictured}`]),
  ]) {
    await page.goto(address);
    for (const [width, pixels] of Object.entries(widths)) {
      await page.setViewportSize({ width: pixels, height: 900 });
      if (language === pictured) await page.emulateMedia({ colorScheme: width === 'desktop' ? 'light' : 'dark' });
      const overflow = await page.evaluate((selector) => Array.from(document.querySelectorAll(selector),
        (box) => box.scrollWidth - box.clientWidth), unscrolled.includes(name) ? 'html, .wide' : 'html');
      assert.ok(Math.max(...overflow) <= 0, `${name} ${language}: ${overflow} pixels too wide at ${pixels}`);
      if (language === pictured && width !== 'narrowest') {
        // Without a style sheet, the browser chooses the size of a link.
        assert.deepEqual(await accessibilityFaults(page, name === 'ie6' ? ['target-size'] : []), [], name);
        await picture(page, `${name}-${width}`);
      }
    }
  }
});

inBrowser('the language follows the link, the last choice and the browser', { locale: 'fr-FR' }, async (page) => {
  await page.goto(home);
  assert.equal(await page.getAttribute('html', 'lang'), 'fr');
  for (const link of ['#lang-de', '#to-settings']) {
    await submit(page, link);
    assert.equal(await page.getAttribute('html', 'lang'), 'de');
  }
  await page.goto(home);
  await page.waitForURL(/_lang=de$/);
  assert.equal(await page.getAttribute('html', 'lang'), 'de');
  // A password can be seen while it is typed, and is one again when it is sent.
  await page.goto(url('settings', 'de'));
  await page.fill('#password', 'short');
  await page.click('#settings-form .reveal');
  assert.equal(await page.getAttribute('#password', 'type'), 'text');
  await submit(page, '#store');
  assert.equal(await page.getAttribute('#password', 'type'), 'password');
});

inBrowser('programs get the values of the pages, as JSON and as XML', {}, async (page) => {
  await page.goto(home);
  const { types, json, product, link, names } = await page.evaluate(async () => {
    const answers = await Promise.all(['getjson&_lang=de', 'sysinfo'].map((word) => fetch(`/?_file=${word}`)));
    const xml = new DOMParser().parseFromString(await answers[1].text(), 'text/xml');
    return {
      types: answers.map((answer) => answer.headers.get('Content-Type')),
      json: await answers[0].json(),
      product: xml.querySelector(':root > product').textContent,
      link: xml.querySelector(':root > network').getAttribute('link'),
      names: Array.from(xml.querySelectorAll(':root > powerline > station > name'), (name) => name.textContent),
    };
  });
  assert.deepEqual(types, ['text/javascript', 'text/xml']);
  assert.equal(json.system.product, product);
  assert.match(`${product} ${link}`, /. (up|down)$/);
  const [columns, ...stations] = json.stations;
  const named = stations.map((station) => station[columns.indexOf('name')]);
  assert.deepEqual(named, names.slice(-named.length));
  for (const hostile of ['"><img src=x onerror=alert(1)>', '<script>alert("powerline")</script>']) {
    assert.ok(named.includes(hostile) && names.length > named.length);
  }
});

withAndWithoutScript('settings: refused with the fault beside the field, or stored', async (page, scripts) => {
  const former = valueOf('System.DeviceName');
  const name = `Küche "<b>' & Co ${scripts}`;
  for (const [typed, faults, stored] of [
    [{ name: '' }, { name: /1 to 63/ }, former],
    [{ password: 'short' }, { password: /./ }, former],
    [{ name, zone: 'Europe/Paris' }, {}, name],
    [{ name: former, zone: 'Europe/Berlin' }, {}, former],
  ]) {
    await page.goto(url('settings', 'en'));
    const shown = {};    // as far as the field takes it
    for (const [id, value] of Object.entries(typed)) {
      await (id === 'zone' ? page.selectOption('#zone', value) : page.fill(`#${id}`, value));
      shown[id] = await page.inputValue(`#${id}`);
    }
    await submit(page, '#store');
    const done = stored === typed.name;
    assert.equal(await page.locator('#outcome.good').count(), done ? 1 : 0);
    assert.equal(valueOf('System.DeviceName'), stored);
    assert.match(await page.title(), done ? /^Done: / : /^Error: /);
    if (scripts) assert.equal(await page.evaluate(() => document.activeElement.id), done ? 'outcome' : 'summary');
    if (scripts) assert.deepEqual(await accessibilityFaults(page), []);
    if (done) await page.goto(url('settings', 'de'));
    assert.deepEqual(await page.$$eval('[aria-invalid]', (inputs) => inputs.map((input) => input.id)), Object.keys(faults));
    for (const [id, value] of Object.entries(shown)) {
      assert.equal(await page.inputValue(`#${id}`), id === 'password' ? '' : value);
    }
    for (const [id, fault] of Object.entries(faults)) {
      assert.ok((await page.getAttribute(`#${id}`, 'aria-describedby')).split(' ').includes(`${id}-error`), id);
      assert.match(await text(page, `#${id}-error`), fault);
      assert.equal(await page.locator(`#summary a[href="#${id}"]`).count(), 1);
    }
  }
});

inBrowser('a field is checked while it is typed into, and its value is in no address', {}, async (page) => {
  const asked = [];
  page.on('request', (request) => asked.push(request.url()));
  await page.clock.install();
  for (const [where, id, value, problem] of [
    ['settings', 'name', '', 'Geben Sie 1 bis 63 Zeichen ein.'],
    ['', 'name', 'Küche, {x}%41', ''],
    ['', 'password', 'secret', 'Geben Sie 8 bis 64 Zeichen ein.'],
    ['', 'password', '', ''],
    ['address', 'mask', '255.0.255.0', 'Geben Sie eine Netzmaske ein, zum Beispiel 255.255.255.0.'],
    ['', 'mask', ' 255,255,255.0', ''],
  ]) {
    if (where === 'address') await page.fill('#name', await page.getAttribute('#name', 'value'));
    if (where) await page.goto(url(where, 'de'));
    if (where === 'address') {
      assert.ok(!await page.isVisible('#mask'));
      await page.check('#mode-two');
    }
    await page.fill(`#${id}`, value);
    await page.clock.runFor(500);
    await page.waitForFunction(([error, expected]) => document.getElementById(error)?.textContent === expected,
      [`${id}-error`, problem], patient);
    assert.equal(await page.getAttribute(`#${id}`, 'aria-invalid'), problem === '' ? null : 'true');
  }
  assert.ok(!asked.some((address) => address.includes('secret')));
});

// With a clock that moves only when the test moves it; a reload would lose `kept`.
const live = (name, where, look) => inBrowser(name, {}, async (page) => {
  await page.clock.install();
  await page.goto(url(where, 'en'));
  await page.evaluate(() => { globalThis.kept = true; });
  await look(page, async (selector) => {
    await page.clock.runFor(6000);
    await page.waitForSelector(selector, { ...patient, state: 'attached' });
  });
  assert.ok(await page.evaluate(() => globalThis.kept));
});

live('live values: refreshed without a reload, not while hidden or paused, and said when they stop', 'home', async (page, refreshed) => {
  const first = await text(page, '#uptime');
  while (await text(page, '#uptime') === first) await refreshed('#live:not([hidden])');

  const hide = (hidden) => page.evaluate((value) => {
    Object.defineProperty(document, 'hidden', { value, configurable: true });
    document.dispatchEvent(new Event('visibilitychange'));
  }, hidden);
  let asked = 0;
  page.on('request', () => { asked += 1; });
  for (const [stop, go] of [[() => hide(true), () => hide(false)], [() => page.click('#pause'), () => page.click('#pause')]]) {
    await stop();
    asked = 0;
    await page.clock.runFor(60000);
    assert.equal(asked, 0);
    await Promise.all([page.waitForResponse(/getjson/, patient), go()]);
  }

  await page.evaluate(() => {    // a tenth of the page's own timeout
    const { timeout } = AbortSignal;
    AbortSignal.timeout = (milliseconds) => timeout.call(AbortSignal, milliseconds / 10);
  });
  process.kill(managerProcess, 'SIGSTOP');
  try {
    await refreshed('#offline:not([hidden])');
  } finally {
    process.kill(managerProcess, 'SIGCONT');
  }
  await refreshed('#offline[hidden]');
});

// From the first glance at home to a better socket, on a phone.
inBrowser('home says what is weak, its page what helps, and measures again meanwhile', {
  viewport: { width: widths.phone, height: 844 },
}, async (page) => {
  await page.clock.install();
  await page.goto(url('home', 'en'));
  assert.match(await text(page, 'h1'), /^All 7 adapters are connected\.$/);
  assert.match(await text(page, '#weak-label'), /^Two are weak:$/);
  const firstRow = await page.locator('#stations tbody tr').first().boundingBox();
  assert.ok(firstRow.y + firstRow.height < 844, 'the first adapter is on the first screen');
  assert.ok((await page.locator('header').boundingBox()).height < 60, 'the head is one line');
  // A name from a stranger is shown as it is; its line of the day arrives within a few seconds.
  await assertEventually(async () => {
    await page.reload();
    return await page.$$eval('.line', (lines) => lines.length > 6 && lines.every((line) => line.getBBox().width > 0));
  });
  for (const scheme of ['light', 'dark']) {
    await page.emulateMedia({ colorScheme: scheme });
    assert.deepEqual(await accessibilityFaults(page), []);
  }
  const name = await text(page, '#weak a');
  await submit(page, '#weak a');
  assert.equal(await text(page, 'h1'), name);
  assert.match(await text(page, '.verdict'), /^(Very weak|Weak)$/);
  assert.match(await text(page, '#advice'), /straight into the wall[^]*retransmitted/);
  const [bands, outlines] = [page.locator('table:has(caption:text("Signal-to-noise ratio")) tbody tr'), page.locator('.spectrum path')];
  assert.deepEqual([await bands.count(), await outlines.count()], [6, 6]);
  assert.match(await bands.last().textContent(), /25–30 MHz\d+(\.\d)? dB(Very weak|Weak)/);
  assert.match(await text(page, '#absence'), /not been away/);
  assert.ok(await page.$$eval('.chart path', (paths) => paths.every((path) => path.getBBox().width > 0)));
  assert.deepEqual(await accessibilityFaults(page), []);
  await picture(page, 'weak-phone');
  await page.evaluate(() => { globalThis.kept = true; });
  const measured = await text(page, '#gauge');
  while (await text(page, '#gauge') === measured) {
    // The page's patience is on that clock too: it does not move while an answer is on its way.
    const [answer] = await Promise.all([page.waitForResponse(/_page=station/, patient), page.clock.runFor(6000)]);
    await answer.finished();
    await page.waitForTimeout(100);
  }
  assert.ok(await page.evaluate(() => globalThis.kept));
  // A good one needs no advice.
  await page.goto(url('station', 'en', `&mac=${mac}`));
  assert.equal(await page.locator('#advice').count(), 0);
});

live('the table of stations is live, and sorts by each column, names as text', 'powerline', async (page, refreshed) => {
  const count = await page.locator('#stations tbody tr').count() + 1;
  control('set', 'HomePlug.AddStation=QRST-UVWX-YZAB-CDEF');
  await refreshed(`#stations tbody tr:nth-child(${count})`);
  const byText = (a, b) => a.localeCompare(b, 'en', { numeric: true });
  const byNumber = (a, b) => a - b;
  for (const [index, compare] of [byText, byText, byNumber, byNumber, byNumber, byNumber, byText].entries()) {
    const head = `#stations th:nth-child(${index + 1})`;
    for (const [sign, order] of [[1, 'ascending'], [-1, 'descending']]) {
      await page.click(`${head} button`);
      assert.equal(await page.getAttribute(head, 'aria-sort'), order);
      const cells = await page.$$eval(`#stations tbody tr > :nth-child(${index + 1})`,
        (found) => found.map((cell) => cell.dataset.rank ?? (cell.querySelector('span') ?? cell).textContent.trim()));
      assert.equal(cells.length, count);
      assert.deepEqual(cells, [...cells].sort((a, b) => sign * compare(a, b)));
      if (index === 0) assert.ok(cells.includes('"><img src=x onerror=alert(1)>'));
    }
  }
});

inBrowser('stations: added by their password and named, refused when it is wrong', { javaScriptEnabled: false }, async (page) => {
  const rows = page.locator('#stations tbody tr');
  await page.goto(url('powerline', 'en'));
  const before = await rows.count();
  for (const [password, added] of [['AAAA-BBBB-CCCC-DDDD', 0], ['ABCD-EFGH-IJKL-MNOP', 1]]) {
    await page.fill('#device-password', password);
    await submit(page, '#add');
    assert.equal(await page.locator('#outcome.good').count(), added);
    assert.equal(await rows.count(), before + added);
    if (!added) assert.match(await text(page, '#device-password-error'), /No adapter answers/);
    assert.equal(await page.inputValue('#device-password'), added ? '' : password);
  }
  await page.goto(url('station', 'en', `&mac=${mac}`));
  const own = await text(page, 'h1');
  for (const name of ['<i>Attic</i> & "more"', '']) {
    await page.fill('#station-name', name);
    await submit(page, '#rename');
    assert.equal(await text(page, 'h1'), name || own);
    assert.ok((await page.title()).startsWith(`Done: ${name || own} – `));
  }
});

inBrowser('both charts have their size, their axes and their bars', {}, async (page) => {
  const range = (first, last) => Array.from({ length: last + 1 - first }, (_, at) => first + at);
  for (const [name, id, top] of [['station', 'snr', 60], ['power', 'power', 55]]) {
    await page.goto(url(name, 'en', pages[name]));
    await page.click('details:has(.picture) summary');
    const { shown, natural, axes, heights, greens } = await page.$eval(`#${id}`, (image) => {
      const [width, height] = [image.naturalWidth, image.naturalHeight];
      const context = new OffscreenCanvas(width, height).getContext('2d');
      context.drawImage(image, 0, 0);
      const { data } = context.getImageData(0, 0, width, height);
      const color = (x, y) => data.subarray(4 * (y * width + x), 4 * (y * width + x) + 3).join();
      const [columns, rows] = [[...Array(width).keys()], [...Array(height).keys()]];
      const isAxis = (x, y) => color(x, y) === color(30, 385);
      const isBar = (x, y) => color(x, y) === '64,128,64';
      return {
        shown: [image.width, image.height],
        natural: [width, height],
        axes: [rows.filter((y) => isAxis(30, y)), columns.filter((x) => isAxis(x, 385)),
          rows.filter((y) => isAxis(25, y)), columns.filter((x) => isAxis(x, 390))],
        // How many pixels from the base line upward have the bars' colour, and how many have it at all.
        heights: columns.slice(31, 609).map((x) => rows.slice(0, 385).reverse().findIndex((y) => !isBar(x, y))),
        greens: rows.reduce((sum, y) => sum + columns.filter((x) => isBar(x, y)).length, 0),
      };
    });
    assert.deepEqual(shown, natural, name);
    // The axes are right beside and below the bars, with a tick for each 5 dB and 5 MHz.
    assert.deepEqual(axes, [range(top, 385), range(25, 609),
      [85, 135, 185, 235, 285, 335, 385], [96, 198, 301, 403, 506, 608]], name);
    const bars = heights.filter((height) => height > 100).length;
    assert.ok(bars > 400 && bars < 578, `${name}: ${bars} bars`);
    assert.equal(greens, heights.reduce((sum, height) => sum + height), name);
    // One band of radio amateurs, which is left out: carriers 498 to 522, bars 249 to 261.
    assert.ok(heights.slice(250, 260).every((height) => height <= 15), name);
  }
});

// Requests each template by its path, and each page, with values planted in every variable that any
// of them reads: a value is shown as text or not at all, and never becomes a key of a query.
inBrowser('nothing from a request or a device becomes markup or a query', {}, async (page) => {
  const canary = '"\'><b canary><script>alert()</script>';
  const unseen = 'System.ConfigShow';
  const values = [canary, 'yes', unseen, `x};${unseen};HomePlug.Stations{MacAddress=x`,
    `x,Value=y};${unseen};System.Check{Key=x`];
  const folder = path.join(source, 'site/wgl');
  const templates = fs.readdirSync(folder, { recursive: true }).filter((name) => name.endsWith('.wgl'));
  const names = new Set(templates.flatMap((name) =>
    [...fs.readFileSync(path.join(folder, name), 'utf8').matchAll(/\$\{([A-Za-z_]\w*)/g)].map((match) => match[1])));
  assert.ok(names.size > 40);
  const targets = [...words.map((word) => ({ _file: word })), ...templates.flatMap((name) => [
    { _file: `/wgl/${name}` }, { _file: '/wgl/main.wgl', _page: path.basename(name, '.wgl') }])];
  const forms = targets.flatMap((target) => values.map((value) => (
    { ...Object.fromEntries([...names].map((name) => [name, value])), key: unseen, ...target })));
  // Settings of the device, whose checks accept these texts.
  control('set', `System.DeviceName=${canary}`, `HomePlug.NetworkName=${canary}`);
  await page.goto(home);
  const planted = async (sent) => {
    const answers = [];
    for (const fields of sent) {
      // May be longer than the other kind; FormData would send every line by itself.
      const body = Object.entries(fields).map(([name, value]) =>
        `--part\r\nContent-Disposition: form-data; name="${name}"\r\n\r\n${value}\r\n`).join('');
      const headers = { 'Content-Type': 'multipart/form-data; boundary=part' };
      answers.push(await read('/', { method: 'POST', headers, body: `${body}--part--\r\n` }));
    }
    const found = await page.evaluate((texts) => texts.map((html) => {
      const document = new DOMParser().parseFromString(html, 'text/html');
      return /Missing or invalid|(<|&lt;)setting/.test(html) || document.querySelector('[canary], script:not([src])') !== null;
    }), answers);
    assert.equal(found.length, sent.length);
    return sent.filter((_, index) => found[index]);
  };
  assert.deepEqual(await planted(targets), []);
  // The stations, with names of their own, are in the network of that name only.
  control('set', 'HomePlug.NetworkName=HomePlug');
  assert.deepEqual(await planted(forms), []);
  control('set', 'System.DeviceName=Vistel');
  for (const part of ['field', 'change', 'changes', 'stations']) {
    assert.equal((await read(`/?_file=/wgl/std/${part}.wgl&key=a&hint=b`)).trim(), '', part);
  }
  // The program repeats the name of a refused template unchanged.
  const script = '<script>document.title="x"</script>';
  const response = await page.goto(`${home}?_file=${encodeURIComponent(`/x${script}`)}`);
  assert.ok((await response.text()).includes(script));
  assert.notEqual(await page.title(), 'x');
}, [/Content Security Policy/i, /sandbox/i, /NotSameOrigin/]);

inBrowser('the device does not answer: every page says so, once, and what to do', { javaScriptEnabled: false }, async (page) => {
  await page.goto(url('settings', 'de'));
  process.kill(managerProcess, 'SIGKILL');
  await page.fill('#name', 'Attic');
  await submit(page, '#store');
  assert.equal(await page.inputValue('#name'), 'Attic');
  assert.equal((await text(page, 'main')).match(/antwortet nicht/g).length, 1);
  assert.deepEqual(await page.$$eval('.error, .wrong, #summary', (found) => found.length), 0);
  await picture(page, 'unreachable-form');
  for (const [name, more] of Object.entries(pages)) {
    await page.goto(url(name, 'de', more));
    // The page concludes nothing from an empty answer, and offers nothing that can't work.
    const ownText = ['help', 'nowhere'].includes(name);
    assert.equal(await page.locator('main :is(form, button, table, dl, h2, p:empty, a[href*=syscfg])').count() > 0, name === 'help', name);
    assert.equal((await text(page, 'main')).match(/antwortet nicht/g)?.length ?? 0, ownText ? 0 : 1, name);
    assert.deepEqual(htmlFaults(await page.content()), [], name);
  }
  await submit(page, '#to-home');
  assert.ok(await page.isVisible('#unreached #reload'));
  await picture(page, 'unreachable');
});
