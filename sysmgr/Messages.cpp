// SPDX-License-Identifier: MIT
#include "sysmgr/Messages.h"

#include <string_view>
#include <vector>

#include "sysmgr/log/Sentences.h"
#include "sysmgr/model/Check.h"

namespace {

// The topics of the sentences that an action can return.
struct ActionTopic {
  std::string_view action;
  Topic topic;
};
constexpr ActionTopic kActionTopics[] = {
    {"undo", Topic::kUndo},
    {"trial", Topic::kTrial},
    {"change-password", Topic::kDevicePassword},
    {"change-password", Topic::kNewPassword},
    {"config-password", Topic::kDevicePassword},
    {"config-restore", Topic::kUpload},
    {"config-restore", Topic::kConfiguration},
    {"firmware-update", Topic::kUpload},
    {"firmware-update", Topic::kFirmware},
    {"firmware-update", Topic::kRestart},
    {"restart", Topic::kRestart},
    {"factory-reset", Topic::kRestart},
};

}  // namespace

std::set<std::string> MessagesOf(const Model& model) {
  std::set<std::string> messages;
  const auto add = [&messages](const std::vector<std::string>& texts) {
    messages.insert(texts.begin(), texts.end());
  };
  add(Sentences::OfTopic(Topic::kSetting));
  if (model.Ticket() != nullptr) add(Sentences::OfTopic(Topic::kForm));
  for (const ModelKey& key : model.Keys()) {
    if (key.access == Access::kRead || key.access == Access::kTicket) continue;
    add(SentencesOf(key));
    add(key.refusals);
    if (key.access != Access::kAction) continue;
    for (const ActionTopic& row : kActionTopics) {
      if (row.action == key.action) add(Sentences::OfTopic(row.topic));
    }
  }
  add(Sentences::OfTopic(Topic::kEvent));
  add(model.Events());
  for (const ModelRule& rule : model.Rules()) messages.insert(rule.message);
  return messages;
}
