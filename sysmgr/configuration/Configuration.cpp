// SPDX-License-Identifier: MIT
//
// Out: the settings as text, perhaps enciphered. In: the upload file, judged key by key, then as a
// whole, then kept until it is wanted or stored at once.
#include "sysmgr/configuration/Configuration.h"

#include <algorithm>
#include <set>
#include <vector>

#include "sysmgr/configuration/ConfigurationText.h"

namespace {

constexpr const char* kPassword = "System.ConfigPassword";

// An enciphered file adds a header and a tag.
constexpr std::size_t kMaxFileBytes = ConfigurationText::kMaxBytes + 1024;

constexpr const char* kTooLarge = "can't be given: the configuration is too large";

}  // namespace

Configuration::Pending::~Pending() {
  for (auto& [key, value] : settings) Secret::Wipe(value);
}

Configuration::Configuration(Settings& settings, HandoverFolder& files, const UploadedFile& upload,
                             Clock clock)
    : settings_(settings), files_(files), upload_(upload), clock_(std::move(clock)) {
  // A password that is no longer set is nowhere.
  settings_.AddObserver([this](const std::vector<std::string>& keys) {
    if (std::find(keys.begin(), keys.end(), kPassword) != keys.end()) cipher_.Forget();
  });
}

void Configuration::OfferTo(Sources& sources) {
  ValueSource text;
  text.options = {"secrets"};
  text.value = [this](const Question& question) { return ShowText(question); };
  sources.OfferValue("config-show", std::move(text));

  ValueSource sealed;
  sealed.makesFile = true;
  sealed.value = [this](const Question& question) { return ShowSealed(question); };
  sources.OfferValue("config-show-crypt", std::move(sealed));

  ValueSource shared;
  shared.makesFile = true;
  shared.value = [this](const Question& question) {
    return HandOver("vistel-autoconfig-", ".xml", Show(Part::kShared, question.client));
  };
  sources.OfferValue("auto-config-show", std::move(shared));

  sources.OfferText("config-password-set",
                    [this] { return settings_.Get(kPassword).empty() ? "0" : "1"; });
  sources.OfferText("config-pending", [this] {
    DropOld();
    return pending_ == nullptr ? "0" : "1";
  });
  sources.OfferTable("config-changes",
                     {{"Key", "Current", "New", "Secret"},
                      [this](const Question& question) { return Changes(question); }});
  sources.OfferAction("config-restore",
                      [this](const ActionRequest& request) { return Restore(request); });
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

LiveValue Configuration::ShowText(const Question& question) const {
  const std::string* secrets = question.key.Option("secrets");
  if (secrets != nullptr && *secrets != "include") return {"", "takes only secrets=include"};
  return {Show(secrets == nullptr ? Part::kReadable : Part::kAll, question.client), ""};
}

LiveValue Configuration::HandOver(std::string_view prefix, std::string_view suffix,
                                  std::string_view content) {
  if (content.size() > kMaxFileBytes) return {"", kTooLarge};
  std::string path = files_.Put(prefix, suffix, content);
  if (path.empty()) return {"", "can't be given: its file can't be made"};
  return {std::move(path), ""};
}

LiveValue Configuration::ShowSealed(const Question& question) {
  const std::string& password = settings_.Get(kPassword);
  if (password.empty()) return {"", "can't be given while no password is set"};
  const Secret plain(Show(Part::kAll, question.client));
  if (plain.Text().size() > ConfigurationText::kMaxBytes) return {"", kTooLarge};
  const std::string sealed = cipher_.Seal(plain.Text(), password);
  if (sealed.empty()) return {"", "can't be given: there is not enough memory"};
  return HandOver("vistel-config-", ".cfg", sealed);
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

void Configuration::DropOld() {
  if (pending_ != nullptr && clock_() - pending_->since > kPendingSeconds) pending_.reset();
}

std::string Configuration::Restore(const ActionRequest& request) {
  DropOld();
  if (request.Value() == "drop") {
    pending_.reset();
    return "";
  }
  PendingPointer loaded;
  if (request.Value() == "check") {
    pending_.reset();
    std::string problem = Load(request, loaded);
    if (problem.empty()) pending_ = std::move(loaded);
    return problem;
  }
  if (pending_ == nullptr) {
    std::string problem = Load(request, loaded);
    return problem.empty() ? Apply(*loaded, request.Client()) : problem;
  }
  std::string problem = Apply(*pending_, request.Client());
  if (problem.empty()) pending_.reset();
  return problem;
}

std::string Configuration::ReadUpload(std::string_view password, Secret& text) {
  const UploadedFile::Opened upload = upload_.Open();
  std::string problem = UploadedFile::Read(upload, kMaxFileBytes, text.Text());
  const bool isSealed = ConfigurationCipher::IsSealed(text.Text());
  // The file is kept: it need not be uploaded again.
  if (isSealed && clock_() < retry_) return "Wait a moment and try again.";
  upload_.Delete(upload);
  if (!isSealed) return problem;
  const Secret chosen(password.empty() ? settings_.Get(kPassword) : std::string(password));
  if (chosen.Text().empty()) return "The file is enciphered: its password is needed.";
  const Secret sealed(text.Text());
  problem = ConfigurationCipher::Open(sealed.Text(), chosen.Text(), text);
  if (!problem.empty()) retry_ = clock_() + kRetrySeconds;
  return problem;
}

std::string Configuration::Load(const ActionRequest& request, PendingPointer& loaded) {
  Secret text;
  std::string problem = ReadUpload(request.Parameter("Password"), text);
  if (!problem.empty()) return problem;
  loaded = std::make_unique<Pending>();
  loaded->since = clock_();
  ConfigurationText::Parsed parsed = ConfigurationText::Read(text.Text());
  loaded->settings = std::move(parsed.settings);
  // What the file's form has lost, its values can't tell.
  ProblemList& problems = parsed.problems;
  if (parsed.identity.device.empty() && problems.Count() > 0) return problems.Text();
  const Model& model = settings_.Definitions();
  if (parsed.identity.device != model.DeviceName()) {
    return "The configuration is one of another kind of device.";
  }
  if (parsed.identity.version > model.Version()) {
    return "The configuration is of version " + std::to_string(parsed.identity.version) +
           "; this device knows version " + std::to_string(model.Version()) + ".";
  }
  Examine(loaded->settings, request.Client(), problems);
  if (problems.Count() == 0 && loaded->settings.empty()) {
    return "The configuration holds no settings.";
  }
  return problems.Text();
}

std::string Configuration::ExamineOne(const std::string& key, const std::string& value,
                                      std::string_view client) const {
  const ModelKey* definition = settings_.Definitions().Find(key);
  if (definition == nullptr) return "is unknown";
  if (!definition->IsSetting() || definition->confined) return "is not part of a configuration";
  return settings_.Check(key, value, client);
}

// Adds all that is wrong with the values, and when nothing is, with all of them together.
void Configuration::Examine(const Storage::Batch& batch, std::string_view client,
                            ProblemList& problems) const {
  const std::size_t before = problems.Count();
  std::set<std::string_view> seen;
  for (const auto& [key, value] : batch) {
    if (key.empty()) continue;  // has been told: the file names none there
    std::string problem = ExamineOne(key, value, client);
    if (problem.empty() && !seen.insert(key).second) problem = "is there twice";
    if (!problem.empty()) problems.Add(problem.insert(0, key + " "));
  }
  if (problems.Count() > before) return;
  std::string problem = settings_.CheckTogether(batch);
  if (!problem.empty()) problems.Add(std::move(problem));
}

std::string Configuration::Apply(const Pending& pending, std::string_view client) {
  // It was fine when it was loaded; another client may ask now.
  ProblemList problems;
  Examine(pending.settings, client, problems);
  if (problems.Count() > 0) return problems.Text();
  std::string problem = settings_.Store(pending.settings);
  if (!problem.empty()) return problem.insert(0, "The configuration ").append(".");
  if (onRestored_) onRestored_();
  return "";
}
