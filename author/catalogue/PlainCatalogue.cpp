// SPDX-License-Identifier: MIT
#include "author/catalogue/PlainCatalogue.h"

#include <utility>

#include "base/Utf8.h"

namespace {

constexpr std::string_view kCharset = "Content-Type: text/plain; charset=UTF-8\n";

// Reads one line after the other; each function returns false at what is not plain.
class PlainReader {
 public:
  bool Take(std::string_view line) {
    ++number_;
    if (line.empty()) return EndMessage();
    if (line[0] == '#') return TakeComment(line);
    if (line[0] == '"') return text_ != nullptr && Append(line);
    if (StartsWith(line, kText)) {
      if (!EndMessage()) return false;
      hasText_ = true;
      translation_.line = number_;
      text_ = &original_;
      return Append(line.substr(kText.size()));
    }
    if (!StartsWith(line, kTranslated) || text_ != &original_) return false;
    text_ = &translation_.text;
    return Append(line.substr(kTranslated.size()));
  }

  // Adds the message that has been read. A text occurs once.
  bool EndMessage() {
    if (!hasText_) return true;
    if (text_ != &translation_.text) return false;
    if (translations_.empty() && !isHeadRead_) {
      isHeadRead_ = original_.empty() && translation_.text.find(kCharset) != std::string::npos;
      if (!isHeadRead_) return false;
    } else {
      if (original_.empty()) return false;
      if (isFuzzy_) translation_.text.clear();
      if (!translations_.try_emplace(std::move(original_), std::move(translation_)).second) {
        return false;
      }
    }
    original_.clear();
    translation_ = Translation();
    text_ = nullptr;
    hasText_ = false;
    isFuzzy_ = false;
    return true;
  }

  std::map<std::string, Translation>& Translations() { return translations_; }

 private:
  static constexpr std::string_view kText = "msgid ";
  static constexpr std::string_view kTranslated = "msgstr ";

  static bool StartsWith(std::string_view line, std::string_view words) {
    return line.substr(0, words.size()) == words;
  }

  // One before a message belongs to it. "#~" and "#|" are messages themselves.
  bool TakeComment(std::string_view line) {
    if (!EndMessage()) return false;
    const char kind = line.size() > 1 ? line[1] : ' ';
    if (kind == ',') isFuzzy_ |= line.find("fuzzy") != std::string_view::npos;
    return kind == ' ' || kind == '.' || kind == ':' || line == "#, fuzzy";
  }

  bool Append(std::string_view quoted) {
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return false;
    quoted = quoted.substr(1, quoted.size() - 2);
    for (std::size_t end = quoted.find_first_of("\\\""); end != std::string_view::npos;
         end = quoted.find_first_of("\\\"")) {
      const char escaped = end + 1 < quoted.size() && quoted[end] == '\\' ? quoted[end + 1] : '\0';
      if (escaped != 'n' && escaped != '"' && escaped != '\\') return false;
      *text_ += quoted.substr(0, end);
      *text_ += escaped == 'n' ? '\n' : escaped;
      quoted.remove_prefix(end + 2);
    }
    *text_ += quoted;
    return true;
  }

  std::map<std::string, Translation> translations_;
  std::string original_;
  Translation translation_;
  std::string* text_ = nullptr;  // that is being read
  unsigned number_ = 0;          // of the line
  bool hasText_ = false;
  bool isFuzzy_ = false;
  bool isHeadRead_ = false;
};

}  // namespace

std::optional<std::map<std::string, Translation>> ReadPlainCatalogue(std::string_view file) {
  PlainReader reader;
  while (!file.empty()) {
    const std::size_t end = file.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = file.substr(0, end);
    if (!Utf8::IsSafe(line) || !reader.Take(line)) return std::nullopt;
    file.remove_prefix(end + 1);
  }
  if (!reader.EndMessage() || reader.Translations().empty()) return std::nullopt;
  return std::move(reader.Translations());
}
