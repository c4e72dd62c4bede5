// SPDX-License-Identifier: MIT
//
// A JSON object of a model file, read member by member. Whatever is wrong ends in a StartFailure
// with the place in the file, followed by what is wrong there.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace ModelParts {

// Reads members of a JSON object by name and type. The JSON must outlive it.
class Object {
 public:
  Object(const nlohmann::json& json, std::string where);

  bool Has(const char* name) const { return json_.contains(name); }
  std::string Text(const char* name) const;
  std::string Text(const char* name, const std::string& otherwise) const;
  std::int64_t Integer(const char* name) const;
  bool Flag(const char* name) const;  // false when it is missing
  const nlohmann::json& Array(const char* name) const;
  Object Member(const char* name) const;
  bool IsObject(const char* name) const { return Get(name).is_object(); }
  std::vector<std::string> Texts(const char* name) const;  // at least one, none twice

  // Refuses any other member, which is most likely a misspelt name.
  void AllowOnly(std::initializer_list<std::string_view> names,
                 std::initializer_list<std::string_view> more = {}) const;

  [[noreturn]] void Fail(const std::string& what) const;

 private:
  const nlohmann::json& Get(const char* name) const;

  const nlohmann::json& json_;
  std::string where_;
};

}  // namespace ModelParts
