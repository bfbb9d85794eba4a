// Checks JSON documents against the schemas in docs/.
#pragma once

#include <gtest/gtest.h>
#include <regex.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "core/base/time_point.h"

namespace tidra {

/// Supports the keywords that the schemas use; an unknown keyword fails the test.
class SchemaChecker {
  using json = nlohmann::json;

 public:
  /// `document` resolves "$ref", and is the schema itself unless another is named.
  explicit SchemaChecker(json document) : document_(std::move(document)) {}

  bool accepts(const json& value) const { return accepts(document_, value); }
  bool accepts(const json& schema, const json& value) const {
    return std::all_of(schema.items().begin(), schema.items().end(),
                       [&](const auto& rule) { return holds(schema, rule.key(), rule.value(), value); });
  }

 private:
  bool holds(const json& schema, const std::string& keyword, const json& rule, const json& value) const {
    if (keyword == "$schema" || keyword == "title" || keyword == "description" || keyword == "default") return true;
    if (keyword == "type") return hasType(rule.get<std::string>(), value);
    if (keyword == "$ref") return accepts(document_.at(json::json_pointer(rule.get<std::string>().substr(1))), value);
    if (keyword == "format")
      return rule == "date-time" && hasType("string", value) && fromIso8601(value.get<std::string>());
    if (keyword == "required") {
      return !value.is_object() || std::all_of(rule.begin(), rule.end(),
                                               [&](const json& key) { return value.contains(key.get<std::string>()); });
    }
    if (keyword == "enum") return std::find(rule.begin(), rule.end(), value) != rule.end();
    if (keyword == "minimum") return !value.is_number() || value >= rule;
    if (keyword == "maximum") return !value.is_number() || value <= rule;
    if (keyword == "minLength") return !value.is_string() || value.get<std::string>().size() >= rule;
    if (keyword == "pattern") return !value.is_string() || matches(rule.get<std::string>(), value.get<std::string>());
    if (keyword == "items") {
      return !value.is_array() ||
             std::all_of(value.begin(), value.end(), [&](const json& element) { return accepts(rule, element); });
    }
    if (keyword == "properties") {
      return !value.is_object() || std::all_of(value.items().begin(), value.items().end(), [&](const auto& member) {
        return !rule.contains(member.key()) || accepts(rule[member.key()], member.value());
      });
    }
    if (keyword == "additionalProperties") return othersAreAccepted(schema, rule, value);
    ADD_FAILURE() << "unknown keyword " << keyword;
    return false;
  }

  bool othersAreAccepted(const json& schema, const json& rule, const json& value) const {
    if (!value.is_object()) return true;
    const json properties = schema.value("properties", json::object());
    return std::all_of(value.items().begin(), value.items().end(), [&](const auto& member) {
      return properties.contains(member.key()) || (rule.is_object() && accepts(rule, member.value()));
    });
  }

  // GCC 12 warns about std::regex under sanitizers.
  static bool matches(const std::string& pattern, const std::string& text) {
    regex_t compiled;
    if (::regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
      ADD_FAILURE() << pattern;
      return false;
    }
    const bool found = ::regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    ::regfree(&compiled);
    return found;
  }

  static bool hasType(const std::string& type, const json& value) {
    if (type == "object") return value.is_object();
    if (type == "array") return value.is_array();
    if (type == "string") return value.is_string();
    if (type == "boolean") return value.is_boolean();
    if (type == "number") return value.is_number();
    EXPECT_EQ(type, "integer");
    return value.is_number_integer();
  }

  json document_;
};

}  // namespace tidra
