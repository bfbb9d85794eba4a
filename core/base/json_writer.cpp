#include "core/base/json_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "core/base/json_fields.h"
#include "core/base/text.h"

namespace tidra {

void JsonWriter::number(double value) { raw(nlohmann::json(value).dump()); }

void JsonWriter::rawLong(std::string_view json) {
  flush();
  text_ += json;
}

bool JsonWriter::textEscaped(std::string_view value) {
  const bool isExact = isValidUtf8(value);
  hasReplaced_ = hasReplaced_ || !isExact;
  raw("\"");
  if (isExact) {
    escape(value);
  } else {
    escape(replacingInvalidUtf8(value));
  }
  raw("\"");
  return isExact;
}

void JsonWriter::escape(std::string_view utf8) {
  constexpr std::string_view named = "\b\t\n\f\r\"\\";
  constexpr std::string_view letters = "btnfr\"\\";
  std::size_t plain = 0;  // start of the bytes that need no escaping
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(utf8[i]);
    if (c >= ' ' && c != '"' && c != '\\') continue;
    raw(utf8.substr(plain, i - plain));
    plain = i + 1;
    if (const auto found = named.find(utf8[i]); found != std::string_view::npos) {
      raw({std::array{'\\', letters[found]}.data(), 2});
    } else {
      raw(fmt::format("\\u{:04x}", static_cast<unsigned>(c)));
    }
  }
  raw(utf8.substr(plain));
}

JsonObjectWriter& JsonObjectWriter::putBytes(const std::string& key, const std::string& bytes) {
  begin(key);
  return out_.text(bytes) ? *this : put(key + "Bytes", base64Encoded(bytes));
}

JsonObjectWriter& JsonObjectWriter::putByteList(const std::string& key, const std::vector<std::string>& values) {
  put(key, values);
  if (std::all_of(values.begin(), values.end(), isValidUtf8)) return *this;
  std::vector<std::string> exact;
  std::transform(values.begin(), values.end(), std::back_inserter(exact), base64Encoded);
  return put(key + "Bytes", exact);
}

std::string indentedJson(std::string_view compact) {
  std::string text;
  text.reserve(compact.size() + compact.size() / 2);
  std::size_t level = 0;
  const auto breakLine = [&] { text.append(1, '\n').append(2 * level, ' '); };
  for (std::size_t at = 0; at < compact.size(); ++at) {
    const char c = compact[at];
    if (c == '}' || c == ']') {
      --level;
      breakLine();
    }
    text += c;
    if (c == '"') {
      const std::size_t begin = at + 1;
      do at = compact.find_first_of("\"\\", at + 1);
      while (compact[at] == '\\' && ++at);
      text += compact.substr(begin, at + 1 - begin);
    } else if (c == ':') {
      text += ' ';
    } else if (c == ',') {
      breakLine();
    } else if (c == '{' || c == '[') {
      if (compact[at + 1] == '}' || compact[at + 1] == ']') {
        text += compact[++at];
      } else {
        ++level;
        breakLine();
      }
    }
  }
  return text;
}

}  // namespace tidra
