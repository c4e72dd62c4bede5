// SPDX-License-Identifier: MIT
#include "author/check/Forms.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/Number.h"
#include "values/WGLVariables.h"

namespace {

constexpr std::string_view kSettingPrefix = ":sys:";

std::string Value(const GumboNode* element, const char* attribute) {
  const char* const value = Html::Attribute(element, attribute);
  return value != nullptr ? value : "";
}

bool IsField(const GumboNode* node) {
  return Html::IsElement(node, GUMBO_TAG_INPUT) || Html::IsElement(node, GUMBO_TAG_SELECT) ||
         Html::IsElement(node, GUMBO_TAG_TEXTAREA) || Html::IsElement(node, GUMBO_TAG_BUTTON);
}

bool IsOneOf(const std::string& word, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(), [&](const char* each) { return word == each; });
}

bool IsVisible(const GumboNode* field) {
  return !Html::IsElement(field, GUMBO_TAG_BUTTON) &&
         !IsOneOf(Value(field, "type"), {"hidden", "submit", "reset", "button", "image"});
}

// Whether the user writes into it.
bool TakesText(const GumboNode* field) {
  if (Html::IsElement(field, GUMBO_TAG_TEXTAREA)) return true;
  return Html::IsElement(field, GUMBO_TAG_INPUT) && IsVisible(field) &&
         !IsOneOf(Value(field, "type"), {"radio", "checkbox", "file", "range", "color"});
}

// Judges the fields of one rendering.
class Fields {
 public:
  Fields(const HtmlPage& page, const Record& record, const Rendering& rendering,
         const DeviceModel& model, const std::set<std::string>& read)
      : record_(record), rendering_(rendering), model_(model), read_(read) {
    for (const GumboNode* node : page.Nodes()) {
      if (Html::IsElement(node, GUMBO_TAG_LABEL)) labelled_.insert(Value(node, "for"));
      if (!IsField(node)) continue;
      fields_.push_back(node);
      inForm_[Html::Around(node, GUMBO_TAG_FORM)].push_back(node);
    }
    options_.reserve(page.Nodes().size());
    for (const GumboNode* node : page.Nodes()) {
      if (Html::IsElement(node, GUMBO_TAG_OPTION)) options_.push_back(node);
    }
  }

  const std::vector<const GumboNode*>& All() const { return fields_; }

  std::set<Finding> Judge(const GumboNode* field) {
    found_.clear();
    place_ = PlaceOf(field);
    const std::string name = Value(field, "name");
    if (IsVisible(field)) JudgeLabel(field);
    if (name == "_okpage" && !FormHas(field, "_file")) {
      Find("form-okpage", "without a field _file, the program's own page comes next");
    }
    if (name.compare(0, kSettingPrefix.size(), kSettingPrefix) == 0 && MarksIn(name).empty()) {
      JudgeSetting(field, name.substr(kSettingPrefix.size()));
    }
    return found_;
  }

  Place PlaceOf(const GumboNode* element) const {
    return rendering_.PlaceOf(element->v.element.start_pos.offset);
  }

 private:
  void Find(const char* rule, const std::string& message) {
    found_.insert(At(record_, place_, rule, message));
  }

  bool FormHas(const GumboNode* field, const std::string& name) {
    const auto& fields = inForm_[Html::Around(field, GUMBO_TAG_FORM)];
    return std::any_of(fields.begin(), fields.end(),
                       [&](const GumboNode* each) { return Value(each, "name") == name; });
  }

  void JudgeLabel(const GumboNode* field) {
    for (const char* attribute : {"aria-label", "aria-labelledby", "title"}) {
      if (Html::Attribute(field, attribute) != nullptr) return;
    }
    const std::string id = Value(field, "id");
    if (!id.empty() && labelled_.count(id) != 0) return;
    if (Html::Around(field, GUMBO_TAG_LABEL) != nullptr) return;
    Find("form-label", "the field '" + Value(field, "name") +
                           "' has no label; write <label for=\"" + (id.empty() ? "ID" : id) +
                           "\">");
  }

  void JudgeSetting(const GumboNode* field, const std::string& key) {
    const DeviceKey* definition = model_.Find(key);
    if (definition == nullptr) {
      const std::string nearest = model_.Nearest(key);
      Find("form-key", "the model has no key '" + key + "'" +
                           (nearest.empty() ? "" : "; is it '" + nearest + "'?"));
      return;
    }
    if (!definition->CanBeSet()) {
      Find("form-key", "'" + key + "' can only be read");
      return;
    }
    JudgeValues(field, *definition);
    JudgeLimits(field, *definition);
    // What belongs to an action isn't kept, so there is nothing to switch off; and one of the
    // model's own values isn't refused.
    const bool parameter = definition->access == Access::kParameter;
    if (!parameter) JudgeCheckbox(field, key);
    if (parameter && !definition->values.empty()) return;
    const std::string variable = WGLVariables::ReplaceSpecialChars(key);
    if (read_.count("_error_" + variable) == 0) {
      Find("form-error", "nothing shows why '" + key + "' is refused; write ${_error_" + variable +
                             " htmltext} beside it");
    }
    const bool keeps =
        read_.count(std::string(kSettingPrefix) + key) != 0 || read_.count("_sys_" + variable) != 0;
    const bool secret = Value(field, "type") == "password" ||
                        definition->access == Access::kWriteOnly ||
                        definition->type == ValueType::kPassword;
    if (TakesText(field) && !secret && !keeps) {
      Find("form-value", "after a refusal this shows the stored value again; read <~ get `:sys:" +
                             key + "` ~> first");
    }
  }

  void JudgeValues(const GumboNode* field, const DeviceKey& definition) {
    if (definition.values.empty()) return;
    if (!Html::IsElement(field, GUMBO_TAG_SELECT)) {
      if (!TakesText(field)) JudgeValue(field, definition);
      return;
    }
    for (const GumboNode* option : options_) {
      if (Html::Around(option, GUMBO_TAG_SELECT) == field) JudgeValue(option, definition);
    }
  }

  void JudgeValue(const GumboNode* element, const DeviceKey& definition) {
    const char* const value = Html::Attribute(element, "value");
    const auto& values = definition.values;
    if (value == nullptr || !MarksIn(value).empty()) return;
    if (std::find(values.begin(), values.end(), value) != values.end()) return;
    std::string known;
    for (const std::string& each : values) known += (known.empty() ? "" : ", ") + each;
    Find("form-option", "'" + definition.name + "' doesn't take '" + value + "', only " + known);
  }

  void JudgeLimits(const GumboNode* field, const DeviceKey& definition) {
    const bool number = definition.type == ValueType::kInteger;
    JudgeLimit(field, "maxlength", number ? std::nullopt : definition.maximum);
    JudgeLimit(field, "min", number ? definition.minimum : std::nullopt);
    JudgeLimit(field, "max", number ? definition.maximum : std::nullopt);
  }

  void JudgeLimit(const GumboNode* field, const char* attribute,
                  const std::optional<std::int64_t>& limit) {
    const char* const written = Html::Attribute(field, attribute);
    std::int64_t value = 0;
    if (written == nullptr || !limit.has_value() || !MarksIn(written).empty()) return;
    if (ParseInteger(written, value) && value == *limit) return;
    Find("form-limit", std::string(attribute) + " is " + written + ", the model's limit is " +
                           std::to_string(*limit));
  }

  void JudgeCheckbox(const GumboNode* field, const std::string& key) {
    if (Value(field, "type") != "checkbox") return;
    for (const GumboNode* each : inForm_[Html::Around(field, GUMBO_TAG_FORM)]) {
      if (each == field) break;
      if (Value(each, "name") == Value(field, "name")) return;
    }
    Find("form-checkbox",
         "a box that isn't ticked sends nothing; write <input type=\"hidden\" name=\":sys:" + key +
             "\" value=\"0\"> before it");
  }

  const Record& record_;
  const Rendering& rendering_;
  const DeviceModel& model_;
  const std::set<std::string>& read_;
  std::vector<const GumboNode*> fields_;
  std::vector<const GumboNode*> options_;
  std::map<const GumboNode*, std::vector<const GumboNode*>> inForm_;
  std::set<std::string> labelled_;
  std::set<Finding> found_;
  Place place_;
};

// The names of the fields in an address's query.
void AddFieldsOf(std::string_view address, std::set<std::string>& names) {
  const std::size_t question = address.find('?');
  if (question == std::string_view::npos) return;
  std::string_view rest = address.substr(question + 1);
  while (!rest.empty()) {
    const std::string_view field = rest.substr(0, rest.find('&'));
    names.insert(std::string(field.substr(0, field.find('='))));
    rest.remove_prefix(std::min(rest.size(), field.size() + 1));
  }
}

}  // namespace

FormJudge::FormJudge(const Record& record, const DeviceModel& model)
    : record_(record), model_(model) {
  for (const Record::Read& each : record.reads) read_.insert(each.name);
}

void FormJudge::Take(const HtmlPage& page, const Rendering& rendering) {
  Fields fields(page, record_, rendering, model_, read_);
  for (const GumboNode* field : fields.All()) {
    const std::string name = Value(field, "name");
    given_.insert(name);
    const Place place = fields.PlaceOf(field);
    std::set<Finding> found = fields.Judge(field);
    const auto [known, isNew] =
        findings_.try_emplace({place.file, place.line, place.column, name}, found);
    if (isNew) continue;
    std::set<Finding> both;
    std::set_intersection(known->second.begin(), known->second.end(), found.begin(), found.end(),
                          std::inserter(both, both.begin()));
    known->second = std::move(both);
  }
  for (const GumboNode* node : page.Nodes()) {
    if (node->type != GUMBO_NODE_ELEMENT) continue;
    const GumboVector& attributes = node->v.element.attributes;
    for (unsigned i = 0; i < attributes.length; ++i) {
      const auto& attribute = *static_cast<const GumboAttribute*>(attributes.data[i]);
      const std::string_view name = attribute.name;
      if (name == "href" || name == "src" || name == "action" || name == "formaction") {
        AddFieldsOf(attribute.value, given_);
      }
    }
  }
}

void FormJudge::Report(PassResult& result) const {
  for (const auto& [control, found] : findings_) {
    result.asPage.insert(result.asPage.end(), found.begin(), found.end());
  }
  result.given.insert(result.given.end(), given_.begin(), given_.end());
}
