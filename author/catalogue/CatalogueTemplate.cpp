// SPDX-License-Identifier: MIT
#include "author/catalogue/CatalogueTemplate.h"

#include <gettext-po.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "author/catalogue/PoHandler.h"
#include "author/system/Failure.h"
#include "base/Utf8.h"

namespace {

constexpr char kHead[] =
    "MIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\n"
    "Content-Transfer-Encoding: 8bit\n";

// The end of the tag, character reference or placeholder that a text begins with; 0 for none.
std::size_t MarkupBytes(std::string_view text) {
  const char end = text[0] == '<' ? '>' : text[0] == '&' ? ';' : '}';
  if (text[0] != '<' && text[0] != '&' && text.substr(0, 2) != "${") return 0;
  const std::size_t found = text.find(end);
  return found == std::string_view::npos ? 0 : found + 1;
}

std::string_view Accented(char letter) {
  constexpr std::string_view kLetters = "AEIOUaeiouncsyz";
  constexpr const char* kAccented[] = {"Å", "É", "Î", "Ø", "Û", "å", "é", "î",
                                       "ø", "û", "ñ", "ç", "š", "ý", "ž"};
  const std::size_t at = kLetters.find(letter);
  return at == std::string_view::npos ? std::string_view() : kAccented[at];
}

// The library ends the process at bytes that are no UTF-8.
std::string Sound(std::string_view text) {
  std::string sound;
  while (!text.empty()) {
    const std::size_t size = Utf8::CharacterSize(text);
    sound += size == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, size);
    text.remove_prefix(std::max(size, std::size_t{1}));
  }
  return sound;
}

void AddMessage(po_message_iterator_t messages, const std::string& text,
                const std::string& translation) {
  po_message_t message = po_message_create();
  po_message_set_msgid(message, text.c_str());
  po_message_set_msgstr(message, translation.c_str());
  po_message_insert(messages, message);
}

}  // namespace

std::string PseudoTranslation(const std::string& text) {
  constexpr std::size_t kPercentLonger = 40;
  std::string result = "[";
  std::size_t letters = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t markup = MarkupBytes(rest);
    const std::string_view accented = Accented(rest[0]);
    if (markup > 0) {
      result += rest.substr(0, markup);
    } else if (!accented.empty()) {
      result += accented;
    } else {
      result += rest[0];
    }
    letters += markup > 0 ? 0 : 1;
    rest.remove_prefix(markup > 0 ? markup : 1);
  }
  for (std::size_t i = 0; i < letters * kPercentLonger / 100; ++i) result += "~";
  return result + "]";
}

void WriteCatalogueTemplate(const std::vector<TextToTranslate>& texts, bool pseudo,
                            const std::string& path) {
  const PoFile file(po_file_create());
  po_message_iterator_t messages = po_message_iterator(file.get(), nullptr);
  AddMessage(messages, "", kHead + std::string(pseudo ? "Language: xx\n" : ""));
  for (const TextToTranslate& each : texts) {
    po_message_t message = po_message_create();
    const std::string text = Sound(each.text);
    po_message_set_msgid(message, text.c_str());
    po_message_set_msgstr(message, pseudo ? PseudoTranslation(text).c_str() : "");
    if (!each.comment.empty()) {
      po_message_set_extracted_comments(message, Sound(each.comment).c_str());
    }
    for (const TextToTranslate::Place& place : each.places) {
      po_message_add_filepos(message, Sound(place.file).c_str(), place.line);
    }
    po_message_insert(messages, message);
  }
  po_message_iterator_free(messages);
  const std::string problem = PoProblem([&](const po_xerror_handler& handler) {
    return po_file_write(file.get(), path.c_str(), &handler) != nullptr;
  });
  if (!problem.empty()) throw Failure("can't write '" + path + "': " + problem);
}
