// SPDX-License-Identifier: MIT
//
// Files that people take from the device and give it: backups and firmware. Tests run in their order; each restores
// the device's settings.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {
  accessibilityFaults, control, inBrowser, patient, picture, pictured, root, submit, text, url, valueOf, withAndWithoutScript,
} from './harness.mjs';

const configuration = () => valueOf('System.ConfigShow');

async function upload(page, where, content) {
  await page.goto(url(where, pictured));
  await page.setInputFiles('#file', { name: 'file', mimeType: 'text/xml', buffer: Buffer.from(content) });
  await submit(page, 'form[enctype] button');
}

inBrowser('the downloads arrive under their names and can be opened', {}, async (page) => {
  control('set', 'System.ConfigPassword=a good password');
  await page.goto(url('maintenance', 'en'));
  for (const [type, name, content] of [
    ['xml', /^Vistel-\d{4}-\d\d-\d\d\.xml$/, /^<\?xml [^]*System\.DeviceName/],
    ['ac', /^Vistel-shared-\d{4}-\d\d-\d\d\.xml$/, /^<\?xml [^]*HomePlug\.NetworkName/],
    ['cfg', /^Vistel-\d{4}-\d\d-\d\d\.cfg$/, /^[^<]/],
  ]) {
    const [download] = await Promise.all([page.waitForEvent('download', patient), page.click(`a[href*="_type=${type}"]`)]);
    assert.match(download.suggestedFilename(), name);
    assert.match(fs.readFileSync(await download.path(), 'utf8'), content, type);
  }
  assert.deepEqual(fs.readdirSync(path.join(root, 'var/run/sysmgr/files')), []);
  control('set', 'System.ConfigPassword=');
});

inBrowser('a backup of newer firmware: what fits is restored, the rest is told', { javaScriptEnabled: false }, async (page) => {
  const saved = configuration();
  await upload(page, 'maintenance', saved.replace('model="1"', 'model="9"').replace('System.DeviceName', 'System.Unheard')
    .replace('Led">1', 'Led">on').replace('<setting', '<b/><setting').replace('Berlin', 'Paris'));
  assert.match(await text(page, 'table:has(#changes)'), /ZeitzoneEurope\/BerlinEurope\/Paris$/);
  assert.deepEqual(await page.$$eval('table:has(#mistakes) tbody tr', (rows) => rows.map((row) => row.textContent)), [
    'Die DateiDie Sicherung hat eine neuere Version, als dieser Adapter kennt.', 'Zeile 3Dieses Element ist unbekannt.',
    'System.UnheardDiese Einstellung gibt es nicht.', 'LEDsWählen Sie 0 oder 1.',
  ]);
  await picture(page, 'restore-left-out');
  assert.equal(configuration(), saved);
  await submit(page, 'button[value="apply"]');
  assert.equal(configuration(), saved.replace('Berlin', 'Paris'));
  await page.goto(url('diagnostics', 'fr'));
  const [first] = await page.$$eval('#events ~ tbody tr', (rows) => rows.map((row) => row.textContent));
  assert.match(first, /^\d\d\/\d\d\/\d{4} \d\d:\d\dDes réglages sauvegardés ont été restaurés\. $/);
  control('set', 'System.TimeZone=Europe/Berlin');
});

withAndWithoutScript('a configuration: uploaded, looked at, restored', async (page, scripts) => {
  const [former, saved] = [valueOf('HomePlug.NetworkName'), configuration()];
  control('set', 'HomePlug.NetworkName=Another');
  await upload(page, 'maintenance', saved);
  assert.match(await text(page, 'table.values'), new RegExp(`Another\\s*${former}`));
  if (scripts) {
    assert.deepEqual(await accessibilityFaults(page), []);
    await picture(page, 'restore-changes');
  }
  assert.equal(valueOf('HomePlug.NetworkName'), 'Another');
  await submit(page, 'button[value="apply"]');
  assert.ok(await page.isVisible('.notice.good'));
  assert.equal(configuration(), saved);
});

inBrowser('uploads that are refused say why, and change nothing', { javaScriptEnabled: false }, async (page) => {
  const saved = configuration();
  for (const [name, where, content, reason] of [
    ['cut', 'maintenance', saved.slice(0, saved.length / 2), /Die Datei ist kein wohlgeformtes XML\./],
    ['many', 'maintenance', saved.replace(/<setting.*\n/g, '<b/>\n'.repeat(2)), /die ersten zehn;/],
    ['picture', 'firmware', 'GIF89a', /Diese Datei ist keine Firmware\./],
    ['line', 'firmware', 'VISTEL-FIRMWARE 1\nModel: <b>\n\n', /fehlerhafte Zeile\.\s+Zeile des Kopfes: Model: <b>/],
    ['large', 'firmware', Buffer.alloc(7 << 20), /The file is too large/],
  ]) {
    await upload(page, where, content);
    assert.match(await text(page, 'main'), reason, name);
    await picture(page, `refused-${name}`);
    if (name !== 'large') {
      assert.match(await text(page, '#file-error'), /./, name);
      assert.equal(await page.getAttribute('#file', 'aria-invalid'), 'true');
    }
    assert.equal(configuration(), saved);
  }
}, [/413/]);

inBrowser('restart and factory reset ask first', { javaScriptEnabled: false }, async (page) => {
  control('set', 'System.DeviceName=Changed');
  for (const name of ['restart', 'reset']) {
    await page.goto(url(name, 'en'));
    assert.equal(valueOf('System.DeviceName'), 'Changed');
    await submit(page, 'main form button');
    assert.ok(await page.isVisible('.notice.good'), name);
  }
  assert.equal(valueOf('System.DeviceName'), 'Vistel');
  await page.goto(url('powerline', 'en'));
  assert.equal(await page.locator('#stations tbody tr').count(), 7);
});
