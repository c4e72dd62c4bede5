// SPDX-License-Identifier: MIT
//
// Our own code writes the text; a library reads it. A document type is refused before any of it is
// read, because it could define entities, with which XML can attack its reader.
#include "sysmgr/configuration/ConfigurationText.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "base/Characters.h"
#include "base/Number.h"
#include "platform/ConfigKey.h"

namespace ConfigurationText {
namespace {

constexpr std::string_view kRoot = "configuration";
constexpr std::string_view kRootBegin = "<configuration";
constexpr std::string_view kSetting = "setting";

// The longest unknown key that a message repeats.
constexpr std::size_t kMaxShownKeyBytes = 64;

std::string Escape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char byte : text) {
    switch (byte) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += byte;
    }
  }
  return escaped;
}

// Reads one document. The callbacks of the C library must not throw.
class Reader {
 public:
  Reader() : parser_(XML_ParserCreate(nullptr)) {
    if (parser_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetStartDoctypeDeclHandler(parser_.get(), OnDocumentType);
    XML_SetElementHandler(parser_.get(), OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser_.get(), OnText);
  }

  Parsed Read(std::string_view text) {
    const XML_Status status =
        XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
    if (outOfMemory_) throw std::bad_alloc();
    if (stopped_.IsSuccess() && status != XML_STATUS_OK) {
      // Line numbers help a user who has edited a configuration; for other files, they mean
      // nothing.
      const bool isOurs = text.find(kRootBegin) != std::string_view::npos;
      stopped_ = isOurs ? Here(Sentence::kNotWellFormed) : Sentence::kNoConfiguration;
    }
    if (stopped_.IsSuccess()) return std::move(parsed_);
    // A file that was read only in part is not used.
    Parsed parsed;
    if (stopped_.Line() == 0) {
      parsed.outcome = stopped_;
    } else {
      parsed.mistakes.Add(stopped_);
    }
    return parsed;
  }

 private:
  struct Free {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  template <typename Work>
  static void Guard(void* reader, Work work) {
    auto* const self = static_cast<Reader*>(reader);
    if (self->outOfMemory_ || !self->stopped_.IsSuccess()) return;
    try {
      work(*self);
    } catch (...) {
      self->outOfMemory_ = true;
      XML_StopParser(self->parser_.get(), XML_FALSE);
    }
  }

  static void XMLCALL OnDocumentType(void* reader, const XML_Char*, const XML_Char*,
                                     const XML_Char*, int) {
    Guard(reader, [](Reader& self) { self.Stop(self.Here(Sentence::kDocumentType)); });
  }
  static void XMLCALL OnStart(void* reader, const XML_Char* name, const XML_Char** attributes) {
    Guard(reader, [&](Reader& self) { self.Start(name, attributes); });
  }
  static void XMLCALL OnEnd(void* reader, const XML_Char*) {
    Guard(reader, [](Reader& self) { self.End(); });
  }
  static void XMLCALL OnText(void* reader, const XML_Char* text, int size) {
    Guard(reader, [&](Reader& self) { self.Text({text, static_cast<std::size_t>(size)}); });
  }

  // A failure at the current line.
  Outcome Here(Sentence sentence) const {
    return Outcome(sentence).AboutLine(XML_GetCurrentLineNumber(parser_.get()));
  }

  // Keeps the first reason.
  void Stop(Outcome why) {
    if (!stopped_.IsSuccess()) return;
    stopped_ = std::move(why);
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  void Complain(Sentence what) {
    if (parsed_.mistakes.Count() == kMaxProblems) return Stop(Sentence::kTooManyMistakes);
    parsed_.mistakes.Add(Here(what));
  }

  void Start(std::string_view name, const XML_Char** attributes);
  void StartRoot(std::string_view name, const XML_Char** attributes);
  void StartSetting(const XML_Char** attributes);
  void End();
  void Text(std::string_view text);

  std::unique_ptr<XML_ParserStruct, Free> parser_;
  Parsed parsed_;
  Outcome stopped_;  // why reading stopped early
  bool outOfMemory_ = false;
  unsigned depth_ = 0;
  XML_Size textLine_ = 0;  // the line of the last text outside of settings
  bool inSetting_ = false;
};

void Reader::Start(std::string_view name, const XML_Char** attributes) {
  const unsigned depth = depth_++;
  if (depth >= kMaxDepth) return Stop(Here(Sentence::kTooDeep));
  if (depth == 0) return StartRoot(name, attributes);
  if (depth == 1 && name == kSetting) return StartSetting(attributes);
  Complain(Sentence::kUnknownElement);
}

void Reader::StartRoot(std::string_view name, const XML_Char** attributes) {
  std::int64_t format = 0;
  bool hasVersion = false;
  bool isStrange = name != kRoot;
  for (; *attributes != nullptr; attributes += 2) {
    const std::string_view attribute = attributes[0];
    const std::string_view value = attributes[1];
    if (attribute == "format") {
      isStrange |= !ParseInteger(value, format);
    } else if (attribute == "device") {
      parsed_.identity.device = value;
    } else if (attribute == "model") {
      hasVersion = ParseInteger(value, parsed_.identity.version) && parsed_.identity.version >= 1;
    } else {
      Complain(Sentence::kUnknownAttribute);
    }
  }
  if (isStrange || format < 1) return Stop(Sentence::kNoConfiguration);
  if (format > kFormat) return Stop(Sentence::kNewerFormat);
  if (!hasVersion) Stop(Sentence::kNoModelVersion);
}

void Reader::StartSetting(const XML_Char** attributes) {
  inSetting_ = true;
  if (parsed_.settings.size() == kMaxSettings) return Stop(Sentence::kTooManySettings);
  parsed_.settings.emplace_back();
  for (; *attributes != nullptr; attributes += 2) {
    const std::string_view attribute = attributes[0];
    const std::string_view value = attributes[1];
    if (attribute == "key") {
      parsed_.settings.back().first = value;
    } else {
      Complain(Sentence::kUnknownAttribute);
    }
  }
  const std::string& key = parsed_.settings.back().first;
  if (key.size() > kMaxShownKeyBytes || Config::Key::Key(key).Path() != key || key.empty()) {
    Complain(Sentence::kNoSettingNamed);
    parsed_.settings.back().first.clear();
  }
}

void Reader::End() {
  --depth_;
  if (depth_ == 1) inSetting_ = false;
}

void Reader::Text(std::string_view text) {
  if (inSetting_ && depth_ == 2) {
    parsed_.settings.back().second += text;
  } else if (!std::all_of(text.begin(), text.end(), IsBlank)) {
    // Reports it once per line, because the library splits texts anywhere.
    const XML_Size line = XML_GetCurrentLineNumber(parser_.get());
    if (line != textLine_) Complain(Sentence::kTextOutside);
    textLine_ = line;
  }
}

}  // namespace

std::string Write(const Identity& identity, const Storage::Batch& settings) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  text.append("<configuration format=\"").append(std::to_string(kFormat));
  text.append("\" device=\"").append(Escape(identity.device));
  text.append("\" model=\"").append(std::to_string(identity.version)).append("\">\n");
  for (const auto& [key, value] : settings) {
    text.append("  <setting key=\"").append(Escape(key)).append("\">");
    text.append(Escape(value)).append("</setting>\n");
  }
  return text += "</configuration>\n";
}

Parsed Read(std::string_view text) {
  if (text.size() <= kMaxBytes) return Reader().Read(text);
  Parsed parsed;
  parsed.outcome = Sentence::kUploadTooLarge;
  return parsed;
}

}  // namespace ConfigurationText
