// SPDX-License-Identifier: MIT
//
// Jobs that bring a person to the pages, from their first page to their last: what is sent twice, by two tabs or not
// at all; an address that is changed; an update. Each begins with the device as the one before has left it.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import path from 'node:path';
import {
  accessibilityFaults, control, deviceProcess, inBrowser, patient, picture, served, source, submit, text, url, valueOf, widths,
  withAndWithoutScript,
} from './harness.mjs';

control('set', 'System.SettingsLostNoted=1');
await import('./files.mjs');

const changes = () => valueOf('System.Changes{Key=System.DeviceName}.Number:format=scalar');
const phone = { viewport: { width: widths.phone, height: 844 } };

withAndWithoutScript('a form is done once: reload, back, a second click, and undo', async (page, scripts) => {
  await page.goto(url('settings', 'en'));
  await page.fill('#name', `Attic ${scripts}`);
  await submit(page, '#store');
  const before = changes();
  for (const again of [() => page.reload(), () => page.goBack(), () => page.goForward()]) {
    await again();
    assert.equal(changes(), before);
  }
  // A browser without scripts sends it again, and is told that it was done.
  await page.reload();
  if (!scripts) {
    assert.match(await text(page, '#repeated'), /done already/);
    await submit(page, '#repeated a');
  }
  assert.match(await text(page, 'table.values tbody'), new RegExp(`Attic ${scripts}\\s*At once`));
  if (scripts) await picture(page, 'stored-changes');
  await submit(page, '#undo');
  assert.equal(valueOf('System.DeviceName'), 'Vistel');
  assert.match(await text(page, '#outcome'), /undone/);
  await page.reload();
  assert.equal(valueOf('System.DeviceName'), 'Vistel');

  await page.goto(url('restart', 'en'));
  await submit(page, 'main form button');
  // Without a script, it looks after a while whether the adapter is back.
  if (!scripts) assert.match(await page.getAttribute('meta[http-equiv=refresh]', 'content'), /^60;.*_page=home$/);
  const restarts = valueOf('System.Actions{Key=System.Restart}.Form:format=scalar');
  await page.reload();
  assert.equal(valueOf('System.Actions{Key=System.Restart}.Form:format=scalar'), restarts);
  // It notices that the adapter is back.
  if (scripts) await page.waitForURL(/_page=home/, patient);
});

inBrowser('two tabs: an old one stores what was entered there, and asks about what both have changed', { javaScriptEnabled: false },
  async (page) => {
    await page.goto(url('settings', 'en'));
    const other = await page.context().newPage();
    await other.goto(url('settings', 'en'));
    await other.fill('#name', 'Cellar');
    await submit(other, '#store');
    await page.check('#led-two');
    await submit(page, '#store');
    assert.deepEqual([valueOf('System.DeviceName'), valueOf('System.Led')], ['Cellar', '0']);
    // Now both change the name.
    for (const tab of [page, other]) await tab.goto(url('settings', 'en'));
    await other.fill('#name', 'Roof');
    await submit(other, '#store');
    await page.fill('#name', 'Garage');
    await page.check('#led');
    await submit(page, '#store');
    assert.match(await text(page, '#name-error'), /changed elsewhere/);
    assert.match(await text(page, '.now'), /Roof/);
    assert.equal(await page.inputValue('#name'), 'Garage');
    assert.deepEqual([valueOf('System.DeviceName'), valueOf('System.Led')], ['Roof', '0']);
    await picture(page, 'changed-elsewhere');
    await submit(page, '#store');
    assert.deepEqual([valueOf('System.DeviceName'), valueOf('System.Led')], ['Garage', '1']);
    control('set', 'System.DeviceName=Vistel');
  });

withAndWithoutScript('nothing that was entered is lost', async (page, scripts) => {
  await page.goto(url('powerline', 'en'));
  await page.fill('#device-password', 'abcd efgh');
  await submit(page, '#add');
  await submit(page, '#lang-de');
  assert.equal(await page.inputValue('#device-password'), 'abcd efgh');
  assert.match(await text(page, '#device-password-error'), /vier Gruppen/);

  // Neither the other half of the page, nor another language, nor leaving it.
  await page.goto(url('settings', 'en'));
  await page.fill('#name', 'Küche & Co');
  await page.fill('#password', 'short');
  assert.equal(await page.isVisible('#password-strength:text("Easy to guess")'), scripts);
  await submit(page, '#store');
  await submit(page, '#lang-fr');
  assert.equal(await page.inputValue('#name'), 'Küche & Co');
  if (scripts) {
    await page.fill('#name', 'Attic <b>');
    await submit(page, '#lang-de');
    assert.equal(await page.inputValue('#name'), 'Attic <b>');
    const asked = [];
    page.on('dialog', (dialog) => asked.push(dialog.type()) && dialog.dismiss());
    await page.fill('#name', 'Attic');
    await page.click('#to-home');
    await page.waitForFunction(() => document.getElementById('name').value === 'Attic');
    assert.deepEqual(asked, ['beforeunload']);
  }
  for (let tries = 0; Number(valueOf('HomePlug.StationHistory:format=count')) < 7; tries += 1) {
    assert.ok(tries < 30, 'the adapters of before are not known');  // the device has started a moment ago
    await page.waitForTimeout(1000);
  }
  await page.fill('#password', 'long enough');
  await submit(page, '#store');
  assert.deepEqual([valueOf('System.DeviceName'), valueOf('System.FactorySecrets')], [scripts ? 'Attic' : 'Küche & Co', '0']);
  // Which adapters need the new password, on paper too.
  await submit(page, '#to-join');
  assert.ok(await page.locator('#others tbody tr').count() >= 7);
  await page.emulateMedia({ media: 'print' });
  assert.ok(await page.isVisible('#others') && !await page.isVisible('header, .actions'));
  await page.emulateMedia({ media: null });
  control('set', 'System.DeviceName=Vistel', 'HomePlug.NetworkPassword=HomePlugAV');

  // A backup whose password was wrong needs only the password.
  control('set', 'System.ConfigPassword=a good password');
  await page.goto(url('maintenance', 'en'));
  const [download] = await Promise.all([page.waitForEvent('download', patient), page.click('a[href*="_type=cfg"]')]);
  control('set', 'System.ConfigPassword=');
  await page.setInputFiles('#file', await download.path());
  await submit(page, 'form:has(#file) button');
  await page.fill('#open', 'a good password');
  await submit(page, '#open-form button');
  assert.match(await text(page, 'main'), /nothing to restore/);
  control('set', 'System.ConfigRestore=drop');
});

inBrowser('the address: shown before, tried, confirmed where it is, or returned', phone, async (page) => {
  await page.goto(url('settings', 'en'));
  await submit(page, '#to-address');
  assert.equal(await page.getAttribute('#address', 'inputmode'), 'decimal');
  await page.check('#mode-two');
  assert.deepEqual(await page.$$eval('#static-fields input', (inputs) => inputs.map((input) => input.value)),
    ['192.168.1.57', '255.255.255.0', '192.168.1.1']);
  for (const [typed, where] of [['192.168.1', '#address-error'], [' 10,0.0.9', '#preview'], [' 192,168.1.77 ', '#preview']]) {
    await page.fill('#address', typed);
    await submit(page, '#next');
    await page.waitForSelector(where, patient);
    if (typed.startsWith(' 10')) {    // fine, but not together with the others
      await submit(page, '#change');
      assert.match(await text(page, '#summary'), /different devices of one network/);
    }
  }
  assert.equal(await text(page, '#new-address'), '192.168.1.77');
  assert.match(await text(page, '#in-force'), /192\.168\.1\.57/);
  await picture(page, 'address-preview');
  await submit(page, '#change');
  // The page is still at another address, so it does not confirm; the one of the link does.
  assert.ok(await page.isVisible('#trial') && !await page.isVisible('#trial-keep'));
  assert.match(await page.getAttribute('#trial-link', 'href'), /^http:\/\/192\.168\.1\.77:\d+\/\?.*at=192%2E168%2E1%2E77$/);
  const seconds = async () => Number(await text(page, '#trial-seconds'));
  const first = await seconds();
  await page.waitForFunction((former) => Number(document.getElementById('trial-seconds').textContent) < former, first, patient);
  await picture(page, 'address-trial');
  const plain = await (await page.context().browser().newContext({ javaScriptEnabled: false })).newPage();
  await plain.goto(url('address', 'en', '&at=192.168.1.77'));
  assert.ok(await plain.isVisible('#trial-keep'));
  await submit(plain, '#trial-keep');
  assert.match(await text(plain, '#outcome'), /confirmed/);
  await plain.context().close();
  assert.equal(valueOf('Network.TrialSeconds'), '');

  // Back to DHCP, and back from there.
  await page.goto(url('address', 'en'));
  await page.check('#mode');
  await submit(page, '#next');
  await submit(page, '#change');
  assert.match(await text(page, '#trial'), /your router lists it/);
  await submit(page, '#trial-return');
  assert.equal(valueOf('Network.Mode'), 'static');
  control('set', 'Network.Mode=dhcp', 'Network.Address=', 'Network.Netmask=', 'Network.Gateway=');
  control('set', 'Network.Trial=keep');
});

withAndWithoutScript('an update: three clicks, and the page ends at the new firmware by itself', async (page, scripts) => {
  const version = `2.4.${scripts ? 1 : 2}-01`;
  const image = path.join(served, 'update.img');
  execFileSync(path.join(source, 'tools/make-firmware'),
    ['--model', 'Vistel', '--version', version, '--key', path.join(served, 'maker'), path.join(source, 'LICENSE'), image]);
  await page.goto(url('maintenance', 'de'));
  if (scripts) await Promise.all([page.waitForNavigation(patient), page.setInputFiles('#firmware-file', image)]);
  else {
    await page.setInputFiles('#firmware-file', image);
    await submit(page, 'form:has(#firmware-file) button');
  }
  assert.ok(await page.isVisible('#backup'));
  await picture(page, `update-checked-${scripts}`);
  await submit(page, 'button[value="install"]');
  const shown = await page.$eval('progress', (bar) => bar.value);
  await picture(page, `update-installing-${scripts}`);
  await page.waitForFunction((before) => !document.querySelector('progress') || document.querySelector('progress').value > before, shown, patient);
  await page.waitForSelector('#outcome', patient);
  assert.match(await text(page, '#outcome'), new RegExp(`neue Firmware.*${version}`));
  assert.equal(valueOf('System.Firmware'), version);
  await picture(page, `update-done-${scripts}`);
});

inBrowser('an adapter that is pulled out: home says so, its page since when, and both that it is back', {}, async (page) => {
  const cellar = url('station', 'en', '&mac=00:00:5E:00:53:08');
  const shows = async (address, selector) => {
    for (let tries = 0; tries === 0 || await page.locator(selector).count() === 0; tries += 1) {
      assert.ok(tries < 30, selector);
      if (tries > 0) await page.waitForTimeout(1000);
      await page.goto(address);
    }
  };
  await shows(cellar, '#absence');    // it is on record since the last restart
  process.kill(deviceProcess, 'SIGUSR1');
  await shows(url('home', 'en'), '#gone');
  assert.match(await text(page, 'h1'), /^\d of \d adapters are connected\.$/);
  await submit(page, '#gone a');
  assert.match(await page.title(), /^Keller/);
  assert.match(await text(page, '#unknown'), /plugged in/);
  assert.match(await text(page, '#absence'), /away for this long:\s+less than a minute/);
  assert.deepEqual(await accessibilityFaults(page), []);
  await picture(page, 'away');
  process.kill(deviceProcess, 'SIGUSR1');
  await shows(url('home', 'en'), '#answer:not(:has(#gone))');
  await page.goto(cellar);
  assert.match(await text(page, '#absence'), /It was away for/);
});
