// SPDX-License-Identifier: MIT
#include "sysmgr/model/ModelObject.h"

#include <algorithm>
#include <utility>

#include "sysmgr/log/Failure.h"

namespace ModelParts {

using nlohmann::json;

Object::Object(const json& value, std::string where) : json_(value), where_(std::move(where)) {
  if (!json_.is_object()) Fail("must be an object");
}

void Object::Fail(const std::string& what) const {
  throw StartFailure(where_ + ": " + what);
}

const json& Object::Get(const char* name) const {
  const auto found = json_.find(name);
  if (found == json_.end()) Fail("'" + std::string(name) + "' is missing");
  return *found;
}

std::string Object::Text(const char* name) const {
  const json& value = Get(name);
  if (!value.is_string()) Fail("'" + std::string(name) + "' must be a text");
  return value.get<std::string>();
}

std::string Object::Text(const char* name, const std::string& otherwise) const {
  return Has(name) ? Text(name) : otherwise;
}

std::int64_t Object::Integer(const char* name) const {
  const json& value = Get(name);
  // Unsigned numbers beyond the signed range would become negative.
  if (!value.is_number_integer() ||
      (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX)) {
    Fail("'" + std::string(name) + "' must be a whole number");
  }
  return value.get<std::int64_t>();
}

bool Object::Flag(const char* name) const {
  if (!Has(name)) return false;
  const json& value = Get(name);
  if (!value.is_boolean()) Fail("'" + std::string(name) + "' must be true or false");
  return value.get<bool>();
}

const json& Object::Array(const char* name) const {
  const json& value = Get(name);
  if (!value.is_array()) Fail("'" + std::string(name) + "' must be a list");
  return value;
}

Object Object::Member(const char* name) const {
  return Object(Get(name), where_ + ", '" + name + "'");
}

std::vector<std::string> Object::Texts(const char* name) const {
  std::vector<std::string> texts;
  for (const json& value : Array(name)) {
    if (!value.is_string()) Fail("'" + std::string(name) + "' must be a list of texts");
    texts.push_back(value.get<std::string>());
    if (std::count(texts.begin(), texts.end(), texts.back()) > 1) {
      Fail("'" + texts.back() + "' is twice in '" + name + "'");
    }
  }
  if (texts.empty()) Fail("'" + std::string(name) + "' is empty");
  return texts;
}

void Object::AllowOnly(std::initializer_list<std::string_view> names,
                       std::initializer_list<std::string_view> more) const {
  for (const auto& member : json_.items()) {
    if (std::find(names.begin(), names.end(), member.key()) == names.end() &&
        std::find(more.begin(), more.end(), member.key()) == more.end()) {
      Fail("'" + member.key() + "' is not known here");
    }
  }
}

}  // namespace ModelParts
