// SPDX-License-Identifier: MIT
//
// A page about an error is one file for all readers, with a section for each language. This shows each
// reader only theirs; without a script, all of them are shown.
'use strict';

const main = document.querySelector('main');
const languages = [...main.children].filter((part) => part.tagName === 'SECTION').map((part) => part.lang);
const remembered = document.cookie.match(/(?:^|; )language=([a-z]+)/)?.[1] ?? '';
const chosen = [remembered, ...navigator.languages].map((tag) => tag.slice(0, 2).toLowerCase()).find((tag) => languages.includes(tag));
if (chosen !== undefined) {
  document.documentElement.lang = chosen;
  for (const part of main.querySelectorAll('section')) {
    if (part.lang !== chosen) {
      part.remove();
    } else {
      // The first heading of a page is its title.
      const heading = part.querySelector('h1, h2');
      const title = document.createElement('h1');
      title.append(...heading.childNodes);
      heading.replaceWith(title);
      document.title = `${title.textContent} – Vistel`;
    }
  }
  const link = main.querySelector('.actions a');
  const word = link && [...link.querySelectorAll('span')].find((span) => span.lang === chosen);
  if (link) link.textContent = word ? word.textContent : link.textContent.split(' · ')[0];
}
