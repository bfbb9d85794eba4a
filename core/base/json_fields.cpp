#include "core/base/json_fields.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "core/base/text.h"

namespace tidra {
namespace {

[[noreturn]] void failType(const std::string& where, const char* expected) {
  throw DecodingError(fmt::format("{} must be {}", where, expected));
}

/// Throws DecodingError for deeper nesting before building anything: guards against stack exhaustion.
void requireShallow(std::string_view text, int mostLevels, const std::string& what) {
  int level = 0;
  bool inText = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inText && c == '\\') {
      ++i;
    } else if (c == '"') {
      inText = !inText;
    } else if (!inText && (c == '[' || c == '{')) {
      if (++level > mostLevels) throw DecodingError(fmt::format("{} is nested too deep", what));
    } else if (!inText && (c == ']' || c == '}')) {
      --level;
    }
  }
}

/// `offset` is the position of the syntax error.
[[noreturn]] void failSyntax(std::string_view text, std::size_t offset, const std::string& what) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const auto lineStart = before.rfind('\n');
  const auto column = lineStart == std::string_view::npos ? before.size() + 1 : before.size() - lineStart;
  throw DecodingError(fmt::format("{} is not valid JSON (line {}, column {})", what, line, column));
}

/// Parser callback that refuses duplicate keys.
class KeyCheck {
 public:
  explicit KeyCheck(const std::string& what) : what_(what) {}

  bool operator()(int, nlohmann::json::parse_event_t event, nlohmann::json& parsed) {
    using Event = nlohmann::json::parse_event_t;
    if (event == Event::object_start) levels_.emplace_back();
    if (event == Event::object_end) levels_.pop_back();
    if (event == Event::key) enter(parsed.get_ref<const std::string&>());
    return true;
  }

 private:
  struct Level {
    std::set<std::string> keys;
    std::string current;
  };

  void enter(const std::string& key) {
    levels_.back().current = key;
    if (levels_.back().keys.insert(key).second) return;
    std::string place = what_;
    for (const Level& level : levels_) place += "." + level.current;
    throw DecodingError(place + " stands twice; keep one of them");
  }

  const std::string& what_;
  std::vector<Level> levels_;
};

nlohmann::json parseWith(std::string_view text, const std::string& what,
                         const nlohmann::json::parser_callback_t& callback) {
  // The parser stops at a NUL and would ignore the rest.
  if (const auto nul = text.find('\0'); nul != std::string_view::npos) failSyntax(text, nul, what);
  try {
    return nlohmann::json::parse(text, callback);
  } catch (const nlohmann::json::parse_error& error) {
    failSyntax(text, error.byte == 0 ? 0 : error.byte - 1, what);
  } catch (const nlohmann::json::exception&) {
    throw DecodingError(fmt::format("{} is not valid JSON (a number is out of range)", what));
  }
}

void requireBounded(std::string_view text, const std::string& what, std::size_t mostBytes) {
  constexpr int mostLevels = 100;
  if (text.size() > mostBytes) throw DecodingError(fmt::format("{} is too long", what));
  requireShallow(text, mostLevels, what);
}

}  // namespace

nlohmann::json parseForeignJson(std::string_view text, const std::string& what, std::size_t mostBytes) {
  requireBounded(text, what, mostBytes);
  return parseJson(text, what);
}

nlohmann::json parseUnambiguousJson(std::string_view text, const std::string& what, std::size_t mostBytes) {
  requireBounded(text, what, mostBytes);
  return parseWith(text, what, KeyCheck(what));
}

nlohmann::json parseJson(std::string_view text, const std::string& what) { return parseWith(text, what, nullptr); }

std::string jsonText(const nlohmann::json& document, bool pretty) {
  return document.dump(pretty ? 2 : -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string JsonCodec<std::string>::decode(const nlohmann::json& value, const std::string& where) {
  if (!value.is_string()) failType(where, "a text");
  return value.get<std::string>();
}

bool JsonCodec<bool>::decode(const nlohmann::json& value, const std::string& where) {
  if (!value.is_boolean()) failType(where, "true or false");
  return value.get<bool>();
}

double JsonCodec<double>::decode(const nlohmann::json& value, const std::string& where) {
  if (!value.is_number()) failType(where, "a number");
  return value.get<double>();
}

std::int64_t JsonCodec<std::int64_t>::decode(const nlohmann::json& value, const std::string& where) {
  if (!value.is_number_integer()) failType(where, "a whole number");
  if (value.is_number_unsigned() &&
      value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    failType(where, "a whole number below 2^63");
  }
  return value.get<std::int64_t>();
}

int JsonCodec<int>::decode(const nlohmann::json& value, const std::string& where) {
  const std::int64_t wide = JsonCodec<std::int64_t>::decode(value, where);
  if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
    failType(where, "a whole number of at most 32 bits");
  }
  return static_cast<int>(wide);
}

std::uint64_t JsonCodec<std::uint64_t>::decode(const nlohmann::json& value, const std::string& where) {
  if (value.is_number_float()) failType(where, "a whole number below 2^64, in digits only");
  if (!value.is_number_unsigned()) failType(where, "a whole number that is not negative");
  return value.get<std::uint64_t>();
}

TimePoint JsonCodec<TimePoint>::decode(const nlohmann::json& value, const std::string& where) {
  const auto time = value.is_string() ? fromIso8601(value.get_ref<const std::string&>()) : std::nullopt;
  if (!time) failType(where, "a date such as \"2026-03-14T10:15:00Z\"");
  return *time;
}

void requireArray(const nlohmann::json& value, const std::string& where) {
  if (!value.is_array()) failType(where, "an array");
}

void requireObject(const nlohmann::json& value, const std::string& where) {
  if (!value.is_object()) failType(where, "an object");
}

JsonObjectReader::JsonObjectReader(const nlohmann::json& object, std::string where)
    : object_(object), where_(std::move(where)) {
  requireObject(object_, where_);
}

const nlohmann::json* JsonObjectReader::find(const char* key) const {
  const auto field = object_.find(key);
  return field == object_.end() || field->is_null() ? nullptr : &*field;
}

std::string JsonObjectReader::place(std::string_view key) const { return fmt::format("{}.{}", where_, key); }

void JsonObjectReader::failMissing(const char* key) const { throw DecodingError(place(key) + " is missing"); }

std::optional<std::string> JsonObjectReader::optionalBytes(const char* key) const {
  const std::string exactKey = std::string(key) + "Bytes";
  if (const auto exact = optional<std::string>(exactKey.c_str())) {
    auto bytes = base64Decoded(*exact);
    if (!bytes) failType(place(exactKey), "base64");
    // The readable text, which users may have edited, must agree with the bytes.
    if (required<std::string>(key) != replacingInvalidUtf8(*bytes)) {
      throw DecodingError(fmt::format("{} and {} name different things", place(key), place(exactKey)));
    }
    return bytes;
  }
  return optional<std::string>(key);
}

}  // namespace tidra
