#include "core/platform/path_variables.h"

#include <cassert>

#include "core/base/text.h"

namespace tidra {
namespace {

bool isNameStart(char c) { return isAsciiLetter(c) || c == '_'; }

bool isNamePart(char c) { return isNameStart(c) || isAsciiDigit(c); }

}  // namespace

VariableReference variableReferenceAt(std::string_view text, std::size_t start) {
  assert(start < text.size() && text[start] == '$');
  std::size_t nameStart = start + 1;
  if (nameStart < text.size() && text[nameStart] == '{') ++nameStart;
  std::size_t end = nameStart;
  while (end < text.size() && (end == nameStart ? isNameStart(text[end]) : isNamePart(text[end]))) ++end;
  if (end == nameStart) return {};
  std::string name(text.substr(nameStart, end - nameStart));
  if (end < text.size() && text[end] == '}') ++end;
  return {end - start, std::move(name)};
}

std::optional<std::string> unknownVariable(std::string_view text, const TidraPathResolver& resolver) {
  for (auto start = text.find('$'); start != std::string_view::npos; start = text.find('$', start + 1)) {
    VariableReference reference = variableReferenceAt(text, start);
    if (reference.length == 0) continue;
    const std::string_view written = text.substr(start, reference.length);
    if (resolver.expandVariables(written) == written) return std::move(reference.name);
  }
  return std::nullopt;
}

}  // namespace tidra
