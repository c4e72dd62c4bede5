// SPDX-License-Identifier: MIT
//
// Writes the texts of a site for translators: a catalogue's template, or a catalogue of pseudo
// translations, by which untranslated and overflowing texts can be seen in pages.
#pragma once

#include <string>
#include <vector>

struct TextToTranslate {
  struct Place {
    std::string file;
    unsigned line = 0;
    unsigned column = 0;
  };
  std::string text;
  std::string comment;        // of the author, for translators; "" for none
  std::vector<Place> places;  // none for a sentence of the device
};

// `path` is a file or "-" for standard output. The output depends on the texts and their order
// only. Throws Failure.
void WriteCatalogueTemplate(const std::vector<TextToTranslate>& texts, bool pseudo,
                            const std::string& path);

// Accents on the letters, 40 % more of them, and brackets around; tags, character references and
// placeholders stay.
std::string PseudoTranslation(const std::string& text);
