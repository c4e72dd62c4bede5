// SPDX-License-Identifier: MIT
//
// Looks through a compiled message catalogue before gettext does: gettext trusts the numbers in it,
// and a catalogue that was cut or changed would crash it in the middle of a page, or make it search
// for ever.
#pragma once

struct OpenedFile;

enum class CatalogueState {
  kDescribed,  // sound; the empty text has a translation, the description, in UTF-8 as all texts
  kPlain,      // sound, but without a description, or in a character set that gettext may not know
  kForeign,    // only the beginning of one, or none; gettext looks no further
  kDamaged,    // gettext must not read it
};

// Maps the file and holds every number in it against its size.
CatalogueState StateOfCatalogue(const OpenedFile& file);
