// SPDX-License-Identifier: MIT
//
// What a script adds to the pages, which work without it. The rule: texts of the device and of the
// request reach the document only through textContent, or in an attribute that is not executed, and
// passwords leave the page only in the body of a POST.
'use strict';

(() => {
  const refreshMilliseconds = 5000;
  const answerMilliseconds = 4000;    // a later answer counts as missing
  const typingMilliseconds = 500;     // a value is checked after this pause
  const language = document.documentElement.lang;
  const byId = (id) => document.getElementById(id);

  // A page that answers a form gets an address of its own: going back to it, or loading it again,
  // would send the form again.
  const own = byId('own')?.href;
  if (own) history.replaceState(null, '', own + location.hash);

  // Leaves an unchanged text alone: it may be selected, or being read out.
  const show = (element, text) => {
    if (element.textContent !== text) element.textContent = text;
  };

  // On a phone the navigation scrolls sideways, and its link to this page can be out of sight.
  document.querySelector('.top [aria-current=page]')?.scrollIntoView({block: 'nearest', inline: 'center'});

  // ---- language

  // The language that somebody has chosen. The home page without a query is in the browser's, so it leads on to
  // the chosen one; but not after a form, whose result has the same address.
  const remembered = document.cookie.match(/(?:^|; )language=([a-z]+)/)?.[1];
  for (const link of document.querySelectorAll('.languages a')) {
    link.addEventListener('click', () => {
      document.cookie = `language=${link.lang}; path=/; max-age=31536000; samesite=lax`;
    });
    if (link.lang === remembered && remembered !== language && location.search === '' && document.referrer === '') {
      location.replace(link.href);
    }
  }

  // ---- values

  const units = [['day', 86400], ['hour', 3600], ['minute', 60], ['second', 1]];

  // The two largest units: "3 days 4 hours".
  function duration(seconds) {
    let first = units.findIndex(([, size]) => seconds >= size);
    if (first < 0) first = units.length - 1;
    let rest = seconds;
    return units.slice(first, first + 2).map(([unit, size]) => {
      const count = Math.floor(rest / size);
      rest %= size;
      return new Intl.NumberFormat(language, {style: 'unit', unit, unitDisplay: 'long'}).format(count);
    }).join(' ');
  }

  const formats = {
    duration: (value) => duration(Number(value)),
    minutes: (value) => duration(60 * Number(value)),
    number: (value) => new Intl.NumberFormat(language).format(Number(value)),
  };

  function formatted(element, value) {
    const format = formats[element.dataset.format];
    return format && /^-?\d+(\.\d+)?$/.test(value) ? format(value) : value;
  }

  function formatAll(within) {
    for (const element of within.querySelectorAll('[data-format]')) {
      const value = element.dataset.value ?? (element.textContent.match(/^\d+/) ?? [''])[0];
      if (value !== '') show(element, formatted(element, value));
    }
  }
  formatAll(document);

  // ---- the table of stations

  const table = byId('stations');
  const body = table?.tBodies[0];
  const model = body?.rows[0]?.cloneNode(true);
  const qualities = ['very-weak', 'weak', 'good', 'very-good'];
  let order = null;    // {column, kind, sign}

  function sortRows() {
    // Moving the row with the focus would remove the focus.
    if (!order || body.contains(document.activeElement)) return;
    const text = (row) => {
      const cell = row.cells[order.column];
      return cell.dataset.rank ?? (cell.querySelector('span') ?? cell).textContent.trim();
    };
    const compare = order.kind === 'number'
      ? (a, b) => Number(text(a)) - Number(text(b))
      : (a, b) => text(a).localeCompare(text(b), language, {numeric: true});
    const rows = [...body.rows];
    const sorted = [...rows].sort((a, b) => order.sign * compare(a, b));
    if (sorted.some((row, i) => row !== rows[i])) body.append(...sorted);
  }

  function makeSortable() {
    for (const head of table.querySelectorAll('th[data-sort]')) {
      const button = document.createElement('button');
      button.type = 'button';
      button.className = 'sort';
      button.title = table.dataset.sortHint;
      button.textContent = head.textContent;
      button.addEventListener('click', () => {
        const sign = head.ariaSort === 'ascending' ? -1 : 1;
        for (const other of table.querySelectorAll('th[aria-sort]')) other.removeAttribute('aria-sort');
        head.setAttribute('aria-sort', sign > 0 ? 'ascending' : 'descending');
        order = {column: head.cellIndex, kind: head.dataset.sort, sign};
        sortRows();
      });
      head.replaceChildren(button);
    }
  }
  if (table?.dataset.sortHint) makeSortable();

  function fillRow(row, station) {
    for (const name of ['name', 'mac', 'tx', 'rx', 'repeated', 'firmware']) {
      for (const element of row.getElementsByClassName(name)) show(element, station[name]);
    }
    for (const element of row.getElementsByClassName('quality')) {
      element.className = `quality ${station.quality}`;
      show(element, body.getAttribute(`data-${station.quality}`) ?? '–');
      element.parentElement.dataset.rank = 1 + qualities.indexOf(station.quality);
    }
    row.querySelector('use')?.setAttribute('href', `#line-${station.mac}`);
  }

  function newRow(mac) {
    const row = model.cloneNode(true);
    const link = row.querySelector('a.name');
    const target = new URL(link.href);
    target.searchParams.set('mac', mac);
    link.href = target.href;
    row.dataset.mac = mac;
    body.append(row);
    return row;
  }

  // Replaces what has data-fresh by what the page at that address has now, which the server has escaped and translated.
  async function freshen() {
    for (const old of document.querySelectorAll('[data-fresh]')) {
      if (old.contains(document.activeElement)) continue;
      const response = await fetch(old.dataset.fresh, {cache: 'no-store', signal: AbortSignal.timeout(answerMilliseconds)});
      const page = new DOMParser().parseFromString(await response.text(), 'text/html');
      const now = page.getElementById(old.id);
      if (!now) throw new Error('no values');
      formatAll(now);
      if (now.innerHTML !== old.innerHTML) old.replaceChildren(...now.childNodes);
    }
  }

  const maxRenewals = 3;
  let renewals = 0;
  let shown = null;
  function showStations(stations) {
    // What the first words of the page are about: they come anew when that has changed, and once
    // more when the device has noticed who is away. Without them, the table is right all the same.
    const state = stations.map((station) => `${station.mac} ${station.name} ${qualities.indexOf(station.quality) < 2}`).sort().join();
    if (shown !== null && state !== shown) renewals = maxRenewals;
    shown = state;
    if (byId('answer') && renewals > 0) {
      renewals -= 1;
      freshen().catch(() => {});
    }
    if (!model) {
      // The page came without a table, and a script can't make all of one.
      if (stations.length > 0 && document.querySelector('[data-live="count"]')) location.replace(own ?? location.href);
      return;
    }
    const rows = new Map([...body.rows].map((row) => [row.dataset.mac, row]));
    for (const station of stations) {
      fillRow(rows.get(station.mac) ?? newRow(station.mac), station);
      rows.delete(station.mac);
    }
    for (const row of rows.values()) row.remove();
    sortRows();
  }

  // ---- refreshing

  let since = new Date();    // when the shown values were requested
  let timer = 0;
  let asking = false;
  let paused = false;

  async function ask() {
    const response = await fetch('/?_file=getjson', {
      cache: 'no-store', signal: AbortSignal.timeout(answerMilliseconds),
    });
    if (!response.ok) throw new Error(response.statusText);
    const values = JSON.parse(await response.text());
    if (!values.system.product) throw new Error('no values');
    return values;
  }

  function showValues(values) {
    const [columns, ...rows] = values.stations;
    const stations = rows.map((row) => Object.fromEntries(columns.map((name, i) => [name, row[i]])));
    for (const element of document.querySelectorAll('[data-live]')) {
      const [group, name] = element.dataset.live.split('.');
      const value = group === 'count' ? String(stations.length) : values[group]?.[name];
      if (value === undefined) continue;
      if (element.dataset.up) {
        element.dataset.value = value;
        show(element, (value === 'up' ? element.dataset.up : element.dataset.down));
      } else if (element instanceof HTMLProgressElement) {
        element.value = Number(value);
      } else {
        show(element, formatted(element, value));
      }
    }
    showStations(stations);
    // What the page waits for is over: shows the next page.
    for (const link of document.querySelectorAll('a[data-while]')) {
      if (values.firmware.state && values.firmware.state !== link.dataset.while) location.assign(link.href);
    }
  }

  async function refresh() {
    if (asking) return;
    asking = true;
    try {
      const started = new Date();
      if (byId('gauge')) await freshen();
      else showValues(await ask());
      since = started;
      byId('offline').hidden = true;
      byId('live').hidden = false;
    } catch {
      show(byId('offline-since'), since.toLocaleTimeString(language));
      byId('offline').hidden = false;
      byId('live').hidden = true;
    }
    asking = false;
    schedule();
  }

  // A hidden tab doesn't refresh, so that it costs the device nothing.
  function schedule() {
    clearTimeout(timer);
    if (!document.hidden && !paused) timer = setTimeout(refresh, refreshMilliseconds);
  }

  // The texts of the page are those of the other state in turn.
  function swapTexts(element) {
    const text = element.textContent;
    element.textContent = element.dataset.paused;
    element.dataset.paused = text;
  }

  if (byId('live')) {
    byId('live').hidden = false;
    schedule();
    document.addEventListener('visibilitychange', () => {
      if (document.hidden) clearTimeout(timer);
      else if (!paused) refresh();
    });
    byId('pause').addEventListener('click', () => {
      paused = !paused;
      swapTexts(byId('pause'));
      swapTexts(byId('live-state'));
      if (paused) clearTimeout(timer);
      else refresh();
    });
  }

  // ---- forms

  // The message next to a field; makes it if there is none yet.
  function messageOf(input) {
    const id = input.id + '-error';
    let message = byId(id);
    if (!message) {
      message = document.createElement('p');
      message.id = id;
      message.className = 'error';
      input.before(message);
      message.setAttribute('aria-live', 'polite');
    }
    return message;
  }

  function showProblem(input, problem) {
    const message = messageOf(input);
    show(message, problem);
    input.closest('.field')?.classList.toggle('wrong', problem !== '');
    const others = (input.getAttribute('aria-describedby') ?? '').split(' ')
      .filter((id) => id !== '' && id !== message.id);
    if (problem !== '') {
      input.setAttribute('aria-invalid', 'true');
      others.push(message.id);
    } else {
      input.removeAttribute('aria-invalid');
    }
    input.setAttribute('aria-describedby', others.join(' '));
  }

  // Without an answer, nothing is shown: the server checks submitted values again.
  async function check(input) {
    const value = input.value;
    const fields = {_file: 'validate', _lang: language, field: input.dataset.check, value};
    try {
      const response = await fetch('/', {
        method: 'POST', body: new URLSearchParams(fields), signal: AbortSignal.timeout(answerMilliseconds),
      });
      if (!response.ok) return;
      const problem = (await response.text()).trim();
      if (input.value === value) showProblem(input, problem);
    } catch {
      // No answer.
    }
  }

  // A password is shown while somebody wants to see it; it is one again when the form is sent, so that no browser
  // offers it later.
  for (const reveal of document.querySelectorAll('.reveal')) {
    const input = reveal.parentElement.querySelector('input[type="password"]');
    const box = reveal.querySelector('input');
    reveal.hidden = false;
    box.addEventListener('change', () => { input.type = box.checked ? 'text' : 'password'; });
    input.form.addEventListener('submit', () => { input.type = 'password'; });
  }

  // How hard a password is to guess: from its length and the kinds of its characters. Repetitions and sequences such
  // as 1234 count as one character. It knows no words, so it is no promise.
  const kinds = [[/[a-z]/, 26], [/[A-Z]/, 26], [/\d/, 10], [/[^a-zA-Z\d]/, 33]];
  const [fairBits, strongBits] = [60, 75];
  function strengthOf(value, words) {
    const codes = [...value].map((sign) => sign.codePointAt(0));
    const length = codes.filter((code, i) => i === 0 || Math.abs(code - codes[i - 1]) > 1).length;
    const used = kinds.filter(([kind]) => kind.test(value));
    const bits = length * Math.log2(used.reduce((sum, [, size]) => sum + size, 1));
    if (bits >= strongBits) return words.strong;
    return [bits < fairBits ? words.weak : words.fair, length < 0.7 * codes.length ? words.varied : words.longer,
      used.length < 3 ? words.kinds : ''].join(' ');
  }

  for (const hint of document.querySelectorAll('.strength')) {
    const input = hint.closest('.field').querySelector('input');
    input.addEventListener('input', () => {
      hint.hidden = input.value === '';
      show(hint, hint.hidden ? '' : strengthOf(input.value, hint.dataset));
    });
  }

  for (const input of document.querySelectorAll('input[data-check]')) {
    let pause = 0;
    // An empty password field is not checked.
    const wanted = () => input.value !== '' || input.type !== 'password';
    const later = (milliseconds) => {
      clearTimeout(pause);
      if (wanted()) pause = setTimeout(check, milliseconds, input);
      else showProblem(input, '');
    };
    input.addEventListener('input', () => later(typingMilliseconds));
    input.addEventListener('change', () => later(0));
  }

  // What was entered and not sent. A file or a password counts, too.
  const isChanged = (control) => {
    if (control.type === 'hidden' || control.type === 'submit') return false;
    if (control.type === 'radio' || control.type === 'checkbox') return control.checked !== control.defaultChecked;
    if (control.options) return [...control.options].some((option) => option.selected !== option.defaultSelected);
    return control.value !== control.defaultValue;
  };
  const isDirty = (form) => [...form.elements].some(isChanged);
  const forms = [...document.querySelectorAll('main form')];
  let leaves = false;    // the page is left on purpose

  for (const form of forms) {
    form.addEventListener('submit', (event) => {
      // A second click would send it twice.
      if (form.dataset.sent) event.preventDefault();
      form.dataset.sent = 'yes';
      leaves = true;
    });
    // A file that is only checked is sent as soon as it is chosen.
    const file = form.hasAttribute('data-at-once') && form.querySelector('input[type=file]');
    if (file) file.addEventListener('change', () => file.value && form.requestSubmit());
  }
  window.addEventListener('pageshow', () => {
    leaves = false;
    for (const form of forms) delete form.dataset.sent;
  });
  window.addEventListener('beforeunload', (event) => {
    if (!leaves && forms.some(isDirty)) event.preventDefault();
  });

  // Another language keeps what was entered, but for passwords.
  for (const link of document.querySelectorAll('.languages a')) {
    link.addEventListener('click', () => {
      const form = forms.find((other) => other.hasAttribute('data-keeps') && isDirty(other));
      if (!form) return;
      const target = new URL(link.href);
      target.searchParams.set('kept', 'yes');
      for (const [name, value] of new FormData(form)) {
        const key = name.replace(/^k_|^:sys:/, '');
        if (key === 'System.Ticket') target.searchParams.set('after', value);
        else if (key !== name && form.elements[name].type !== 'password') {
          target.searchParams.set('k_' + key.replace(/\W/g, '_'), value);
        }
      }
      link.href = target.href;
      leaves = true;
    });
  }

  // Hides the fields for addresses while the network assigns them, unless a field has an error.
  const fixed = byId('static-fields');
  if (fixed) {
    const choice = byId('mode-two');
    const adapt = () => {
      fixed.hidden = !choice.checked && !fixed.querySelector('.error:not(:empty)');
    };
    for (const radio of document.getElementsByName(choice.name)) radio.addEventListener('change', adapt);
    adapt();
  }

  // What has come of a form is read first.
  (byId('summary') ?? byId('unreached') ?? byId('outcome'))?.focus();

  if (byId('print')) {
    byId('print').hidden = false;
    byId('print').addEventListener('click', () => print());
  }

  // ---- waiting for the adapter

  const waits = byId('waits');
  const loaded = Date.now();
  const waitMilliseconds = 2000;
  const longMilliseconds = 180000;

  // It is back when it has started after this page, or just before.
  async function lookForAdapter() {
    const seconds = (Date.now() - loaded) / 1000;
    try {
      const values = await ask();
      if (values.system.uptime !== '' && Number(values.system.uptime) <= seconds + 30) {
        location.replace(waits.dataset.next);
        return;
      }
    } catch {
      // Not yet.
    }
    if (seconds * 1000 > longMilliseconds) byId('waits-long').hidden = false;
    setTimeout(lookForAdapter, waitMilliseconds);
  }
  if (waits) setTimeout(lookForAdapter, waitMilliseconds);

  // ---- an address on trial

  const trial = byId('trial');
  if (trial) {
    const target = trial.dataset.target;
    const keep = byId('trial-keep');
    const link = byId('trial-link');
    // A name leads to the adapter wherever it is; an address is the old one or the new one.
    const isAddress = /^[\d.]+$/.test(location.hostname);
    keep.hidden = target !== '' && isAddress && location.hostname !== target;
    if (link && location.port !== '') {
      const there = new URL(link.href);
      there.port = location.port;
      link.href = there.href;
    }
    const end = Date.now() + Number(byId('trial-seconds').textContent) * 1000;
    const count = () => {
      const left = Math.max(0, Math.ceil((end - Date.now()) / 1000));
      show(byId('trial-seconds'), String(left));
      if (left > 0) setTimeout(count, 1000);
      else setTimeout(() => location.replace(own ?? location.href), waitMilliseconds);
    };
    count();
  }

  // ---- output power

  const summary = byId('power-summary');
  if (summary) {
    const zeroDecibels = 256;
    const powers = byId('powers').textContent.split(',').map(Number);
    const used = powers.filter((power) => power > 0);
    if (used.length > 0) {
      const mean = used.reduce((sum, power) => sum + power, 0) / used.length;
      const decibels = 10 * Math.log10(mean / zeroDecibels);
      const number = new Intl.NumberFormat(language, {minimumFractionDigits: 1, maximumFractionDigits: 1});
      show(byId('power-used'), `${used.length} / ${powers.length}`);
      show(byId('power-mean'), `${number.format(decibels)} dB`);
      summary.hidden = false;
    }
  }
})();
