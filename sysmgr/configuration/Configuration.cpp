// SPDX-License-Identifier: MIT
//
// Exports the settings as text, plain or encrypted. For a restore, checks the uploaded file key by
// key and then as a whole, and keeps what passes until it is confirmed, or stores it at once.
#include "sysmgr/configuration/Configuration.h"

#include <algorithm>
#include <set>
#include <vector>

#include "base/Characters.h"
#include "sysmgr/configuration/ConfigurationText.h"

namespace {

// Among the values that are kept for providers, none of which has this name.
constexpr const char* kOwner = "";
constexpr const char* kPassword = "config-password";

// More than any device is called; file systems take 255.
constexpr std::size_t kMaxNameBytes = 100;

// An encrypted file adds a header and a tag.
constexpr std::size_t kMaxFileBytes = ConfigurationText::kMaxBytes + 1024;

}  // namespace

Configuration::Pending::~Pending() {
  for (auto& [key, value] : settings) Secret::Wipe(value);
}

Configuration::Configuration(Settings& settings, HandoverFolder& files, const UploadedFile& upload,
                             DevicePassword& device, const LocalClock& local, Clock clock)
    : settings_(settings),
      files_(files),
      upload_(upload),
      device_(device),
      local_(local),
      clock_(std::move(clock)) {}

std::string Configuration::Password() const {
  return settings_.OwnOf(kOwner)[kPassword];
}

// Whoever knows the password of the files can read every secret in them, so a new one takes the
// device's password.
void Configuration::SetPassword(const ActionRequest& request, OutcomeTaker done) {
  const std::string password(request.Value());
  Outcome outcome =
      password.empty() ? Outcome() : device_.Confirm(request.Parameter("DevicePassword"));
  if (!outcome.IsSuccess() || password == Password()) {
    done(outcome);
    return;
  }
  settings_.StoreOwnOf(kOwner, {{kPassword, password}},
                       [this, done = std::move(done)](const Outcome& stored) {
                         if (stored.IsSuccess()) cipher_.Forget();
                         if (stored.IsSuccess() && onPassword_) onPassword_();
                         done(stored);
                       });
}

void Configuration::OfferTo(Sources& sources) {
  ValueSource text;
  text.value = [this](const Question& question) {
    return LiveValue{Show(Part::kReadable, question.client)};
  };
  sources.OfferValue("config-show", std::move(text));

  ValueSource sealed;
  sealed.makesFile = true;
  sealed.value = [this](const Question& question) { return ShowSealed(question); };
  sources.OfferValue("config-show-crypt", std::move(sealed));

  ValueSource shared;
  shared.makesFile = true;
  shared.value = [this](const Question& question) {
    return HandOver("-shared", ".xml", Show(Part::kShared, question.client));
  };
  sources.OfferValue("auto-config-show", std::move(shared));

  sources.OfferText("config-password-set", [this] { return Password().empty() ? "0" : "1"; });
  sources.OfferText("config-pending", [this] {
    DropOld();
    return pending_ == nullptr ? "0" : "1";
  });
  sources.OfferTable("config-changes",
                     {{"Key", "Current", "New", "Secret"},
                      [this](const Question& question) { return Changes(question); }});
  sources.OfferTable("config-mistakes", {{"Number", "Line", "Key", "Text"},
                                         [this](const Question&) { return Mistakes(); }});
  sources.OfferAction("config-password", [this](const ActionRequest& request, OutcomeTaker done) {
    SetPassword(request, std::move(done));
  });
  sources.OfferAction("config-restore", [this](const ActionRequest& request, OutcomeTaker done) {
    Restore(request, std::move(done));
  });
}

std::string Configuration::Show(Part part, std::string_view client) const {
  Storage::Batch settings;
  for (const ModelKey& key : settings_.Definitions().Keys()) {
    if (!key.IsSetting() || key.confined || !key.IsOpenTo(client)) continue;
    if (part == Part::kShared ? !key.shared : part == Part::kReadable && !key.CanBeRead()) continue;
    settings.emplace_back(key.name, settings_.Get(key.name));
  }
  const Model& model = settings_.Definitions();
  return ConfigurationText::Write({model.DeviceName(), model.Version()}, settings);
}

LiveValue Configuration::HandOver(std::string_view part, std::string_view suffix,
                                  std::string_view content) {
  LiveValue path;
  std::string name = settings_.Definitions().DeviceName();
  std::replace_if(
      name.begin(), name.end(), [](char byte) { return !IsAsciiAlphanumeric(byte); }, '-');
  name.append(part).append("-").append(local_.At(local_.Now()).date);
  if (content.size() > kMaxFileBytes) return {"", Sentence::kExportTooLarge};
  path.outcome = files_.PutNamed(name.substr(0, kMaxNameBytes), suffix, content, path.text);
  return path;
}

LiveValue Configuration::ShowSealed(const Question& question) {
  const std::string password = Password();
  if (password.empty()) return {"", Sentence::kNoPassword};
  const Secret plain(Show(Part::kAll, question.client));
  if (plain.Text().size() > ConfigurationText::kMaxBytes) return {"", Sentence::kExportTooLarge};
  std::string sealed;
  Outcome outcome = cipher_.Seal(plain.Text(), password, sealed);
  if (!outcome.IsSuccess()) return {"", std::move(outcome)};
  return HandOver("", ".cfg", sealed);
}

LiveRows Configuration::Changes(const Question& question) {
  DropOld();
  auto rows = std::make_shared<std::vector<LiveRow>>();
  if (pending_ == nullptr) return rows;
  for (const auto& [name, value] : pending_->settings) {
    const ModelKey& key = *settings_.Definitions().Find(name);
    const std::string& current = settings_.Get(name);
    if (current == value || !key.IsOpenTo(question.client)) continue;
    if (key.CanBeRead()) {
      rows->push_back({name, current, value, "0"});
    } else {
      rows->push_back({name, "", "", "1"});
    }
  }
  return rows;
}

LiveRows Configuration::Mistakes() {
  DropOld();
  auto rows = std::make_shared<std::vector<LiveRow>>();
  for (const Outcome& mistake : mistakes_.Told()) {
    rows->push_back({std::to_string(rows->size() + 1),
                     mistake.Line() == 0 ? "" : std::to_string(mistake.Line()), mistake.Key(),
                     mistake.Text()});
  }
  return rows;
}

void Configuration::DropOld() {
  const std::int64_t now = clock_();
  if (pending_ != nullptr && now - pending_->since > kPendingSeconds) pending_.reset();
  if (now - mistakesSince_ > kPendingSeconds) mistakes_ = {};
}

void Configuration::Restore(const ActionRequest& request, OutcomeTaker done) {
  DropOld();
  mistakes_ = {};
  if (request.Value() == "drop") {
    pending_.reset();
    upload_.DeleteOurs();
    done({});
    return;
  }
  const bool checks = request.Value() == "check";
  if (checks) pending_.reset();
  PendingPointer chosen = pending_;
  if (chosen == nullptr) {
    Outcome outcome = Load(request, chosen);
    if (checks && outcome.IsSuccess()) pending_ = chosen;
    if (checks || !outcome.IsSuccess()) {
      done(std::move(outcome));
      return;
    }
  }
  Apply(chosen, request, std::move(done));
}

Outcome Configuration::ReadUpload(std::string_view password, Secret& text) {
  const UploadedFile::Opened upload = upload_.Open();
  Outcome outcome = UploadedFile::Read(upload, kMaxFileBytes, text.Text());
  const bool isSealed = ConfigurationCipher::IsSealed(text.Text());
  // Without the right password the file stays, so that it need not be uploaded again.
  if (isSealed && clock_() < retry_) return Sentence::kTryAgain;
  const Secret chosen(password.empty() ? Password() : std::string(password));
  if (isSealed && chosen.Text().empty()) return Sentence::kPasswordNeeded;
  if (isSealed) {
    const Secret sealed(text.Text());
    outcome = ConfigurationCipher::Open(sealed.Text(), chosen.Text(), text);
    if (!outcome.IsSuccess()) retry_ = clock_() + kRetrySeconds;
    if (outcome.Text() == Outcome(Sentence::kWrongPassword).Text()) return outcome;
  }
  upload_.Delete(upload);
  return outcome;
}

Outcome Configuration::Load(const ActionRequest& request, PendingPointer& loaded) {
  Secret text;
  Outcome outcome = ReadUpload(request.Parameter("Password"), text);
  if (!outcome.IsSuccess()) return outcome;
  const auto made = std::make_shared<Pending>();
  loaded = made;
  made->since = clock_();
  ConfigurationText::Parsed parsed = ConfigurationText::Read(text.Text());
  made->settings = std::move(parsed.settings);
  if (!parsed.outcome.IsSuccess()) return std::move(parsed.outcome);
  ProblemList& mistakes = parsed.mistakes;
  // If the file is so malformed that it names no device, doesn't check its values.
  if (parsed.identity.device.empty() && mistakes.Count() > 0) return Refuse(std::move(mistakes));
  const Model& model = settings_.Definitions();
  const bool isForeign = parsed.identity.device != model.DeviceName();
  const bool isNewer = !isForeign && parsed.identity.version > model.Version();
  // Without a check, nobody would learn what is left out.
  const bool isStrict = request.Value() != "check";
  if (isForeign && isStrict) return Sentence::kOtherDevice;
  if (isNewer && isStrict) return Sentence::kNewerModel;
  if (made->settings.empty() && mistakes.Count() == 0) return Sentence::kNoSettings;
  ProblemList all;
  if (isForeign) all.Add(Sentence::kOtherDevice);
  if (isNewer) all.Add(Sentence::kNewerModel);
  all.Add(mistakes);
  Sift(made->settings, request.Client(), isForeign, all);
  SiftTogether(made->settings, all);
  if (made->settings.empty() || (isStrict && all.Count() > 0)) return Refuse(std::move(all));
  Keep(std::move(all));
  return {};
}

Outcome Configuration::ExamineOne(const std::string& key, const std::string& value,
                                  std::string_view client, bool isForeign) const {
  const ModelKey* definition = settings_.Definitions().Find(key);
  if (definition != nullptr && (!definition->IsSetting() || definition->confined)) {
    return Sentence::kNotInConfigurations;
  }
  if (definition != nullptr && definition->identity && isForeign) return Sentence::kOfOtherDevice;
  return settings_.Check(key, value, client);
}

void Configuration::Sift(Storage::Batch& batch, std::string_view client, bool isForeign,
                         ProblemList& mistakes) const {
  Storage::Batch kept;
  std::set<std::string> seen;
  for (auto& [key, value] : batch) {
    if (key.empty()) continue;  // the reader has reported the missing key
    Outcome outcome = ExamineOne(key, value, client, isForeign);
    if (outcome.IsSuccess() && !seen.insert(key).second) outcome = Sentence::kTwice;
    if (outcome.IsSuccess()) {
      kept.emplace_back(key, value);
    } else {
      mistakes.Add(std::move(outcome).AboutKey(key));
    }
    Secret::Wipe(value);
  }
  batch = std::move(kept);
}

// Settings that break a rule leave together, so each round leaves fewer of them.
void Configuration::SiftTogether(Storage::Batch& batch, ProblemList& mistakes) const {
  while (const ModelRule* const broken = settings_.FindBroken(batch)) {
    const auto first = std::stable_partition(
        batch.begin(), batch.end(),
        [broken](const auto& setting) { return !broken->Concerns(setting.first); });
    for (auto setting = first; setting != batch.end(); ++setting) {
      mistakes.Add(Outcome::InWordsOfTheModel(broken->message).AboutKey(setting->first));
      Secret::Wipe(setting->second);
    }
    batch.erase(first, batch.end());
  }
}

void Configuration::Keep(ProblemList mistakes) {
  mistakes_ = std::move(mistakes);
  mistakesSince_ = clock_();
}

Outcome Configuration::Refuse(ProblemList mistakes) {
  Keep(std::move(mistakes));
  return Sentence::kMistakes;
}

void Configuration::Apply(const PendingPointer& applied, const ActionRequest& request,
                          OutcomeTaker done) {
  // Checks again, because the client that applies it may not be the one that loaded it. The
  // storage checks the rules.
  Storage::Batch batch = applied->settings;
  ProblemList mistakes;
  Sift(batch, request.Client(), false, mistakes);
  if (mistakes.Count() > 0) {
    done(Refuse(std::move(mistakes)));
    return;
  }
  settings_.TakeNote(batch);
  const auto applies = [this, applied, done = std::move(done)](const Outcome& stored) {
    if (stored.IsSuccess()) {
      // Another one may have been loaded meanwhile.
      if (pending_ == applied) pending_.reset();
      if (onRestored_) onRestored_();
    }
    done(stored);
  };
  settings_.Store(std::move(batch), applies, {{}, std::string(request.Ticket())});
}
