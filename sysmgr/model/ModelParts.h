// SPDX-License-Identifier: MIT
//
// The parts of a model file: what a key and a rule may say. Everything throws StartFailure that
// begins with `where`, the place in the file, and goes on with what is wrong.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "sysmgr/model/Model.h"

namespace ModelParts {

// A JSON object whose members are asked for by name and type. The JSON must outlive it.
class Object {
 public:
  Object(const nlohmann::json& json, std::string where);

  bool Has(const char* name) const { return json_.contains(name); }
  std::string Text(const char* name) const;
  std::string Text(const char* name, const std::string& otherwise) const;
  std::int64_t Integer(const char* name) const;
  bool Flag(const char* name) const;  // false when it isn't there
  const nlohmann::json& Array(const char* name) const;
  Object Member(const char* name) const;
  std::vector<std::string> Texts(const char* name) const;  // at least one, none of them twice

  // Any other member is a mistake, most likely a misspelt name.
  void AllowOnly(std::initializer_list<std::string_view> names,
                 std::initializer_list<std::string_view> more = {}) const;

  [[noreturn]] void Fail(const std::string& what) const;

 private:
  const nlohmann::json& Get(const char* name) const;

  const nlohmann::json& json_;
  std::string where_;
};

// `where` is used until the key's name is known, and then `file` with the name.
ModelKey ReadKey(const nlohmann::json& json, const std::string& where, const std::string& file);
ModelRule ReadRule(const nlohmann::json& json, const std::string& where);

}  // namespace ModelParts
