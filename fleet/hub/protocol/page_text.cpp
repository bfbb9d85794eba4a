#include "fleet/hub/protocol/page_text.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::size_t mostPageBytes = 65536;  // more than any error page needs

bool beginsAsPage(std::string_view lowered) {
  constexpr std::array<std::string_view, 4> openings{"<!doctype html", "<html", "<head", "<body"};
  return std::any_of(openings.begin(), openings.end(), [&](auto opening) { return lowered.starts_with(opening); });
}

/// Removes everything from `opening` to `closing`, or to the end.
void eraseBetween(std::string& text, std::string& lowered, std::string_view opening, std::string_view closing) {
  for (auto begin = lowered.find(opening); begin != std::string::npos; begin = lowered.find(opening, begin)) {
    const auto end = lowered.find(closing, begin);
    const std::size_t count = end == std::string::npos ? end : end + closing.size() - begin;
    for (std::string* each : {&text, &lowered}) each->erase(begin, count);
  }
}

/// Adds the words outside of tags.
std::string wordsOf(std::string_view markup) {
  std::string words;
  bool isTag = false;
  bool needsBlank = false;
  for (const char c : markup) {
    if (c == '<' || c == '>') isTag = c == '<';
    if (isTag || c == '>' || static_cast<unsigned char>(c) <= ' ') {
      needsBlank = !words.empty();
      continue;
    }
    if (std::exchange(needsBlank, false)) words += ' ';
    words += c;
  }
  return words;
}

}  // namespace

std::optional<std::string> pageText(std::string_view page) {
  std::string text(trimmed(page.substr(0, mostPageBytes)));
  std::string lowered = asciiLowered(text);
  if (!beginsAsPage(lowered)) return std::nullopt;
  for (const auto& [opening, closing] : {std::pair("<!--", "-->"), {"<script", "</script>"}, {"<style", "</style>"}}) {
    eraseBetween(text, lowered, opening, closing);
  }
  const auto body = lowered.find("<body");
  if (body == std::string::npos) return wordsOf(text);
  std::string words = wordsOf(std::string_view(text).substr(body));
  return words.empty() ? wordsOf(std::string_view(text).substr(0, body)) : words;
}

}  // namespace tidra
