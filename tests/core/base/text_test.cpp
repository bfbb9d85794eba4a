#include "core/base/text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "core/base/nearest_word.h"

using namespace std::string_literals;

namespace tidra {
namespace {

TEST(Utf8, AcceptsExactlyWellFormedSequences) {
  for (const std::string& text : {""s, "plain\0\x7F"s, "\xC2\x80\xDF\xBF"s, "\xE0\xA0\x80\xED\x9F\xBF"s,
                                  "\xEE\x80\x80\xEF\xBF\xBF"s, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"s}) {
    EXPECT_TRUE(isValidUtf8(text)) << escapedForTerminal(text);
    EXPECT_EQ(replacingInvalidUtf8(text), text);
  }
  // Lone and truncated sequences, overlong forms, surrogates, values above U+10FFFF, bytes that are never valid.
  for (const std::string bytes :
       {"\x80", "\xC2", "\xE2\x82", "\xF0\x9F\x92", "\xE2(\xA1", "\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF",
        "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE\xFF"}) {
    EXPECT_FALSE(isValidUtf8(bytes)) << escapedForTerminal(bytes);
    const std::string repaired = replacingInvalidUtf8("a" + bytes + "z");
    EXPECT_TRUE(isValidUtf8(repaired)) << escapedForTerminal(repaired);
    EXPECT_TRUE(repaired.starts_with("a\xEF\xBF\xBD") && repaired.ends_with('z')) << repaired;
  }
}

TEST(NearestWord, IsTheOneWithTheFewestEditsOfLessThanHalf) {
  const std::vector<std::string> known = {"docker", "homebrew", "tier", "go"};
  const auto near = [&](std::string_view typed) {
    const auto position = nearestWord(typed, known);
    return position ? known[*position] : "none";
  };
  EXPECT_EQ(near("dokcer"), "docker") << "a swap is one edit";
  EXPECT_EQ(near("tire"), "tier");
  EXPECT_EQ(near("HOMEBREW"), "homebrew");
  EXPECT_EQ(near("goo"), "go");
  for (const char* far : {"", "x", "npm", "gx"}) EXPECT_EQ(near(far), "none") << far;
  EXPECT_EQ(knownWordsText("dcoker", {"docker", "jvm"}), "did you mean docker? Known are docker, jvm.");
  EXPECT_EQ(knownWordsText("moon", {"docker", "jvm"}), "known are docker, jvm.");
}

TEST(EscapedForTerminal, LeavesNothingThatATerminalObeys) {
  const std::pair<std::string, const char*> cases[] = {
      {"naïve 名前 🎉", "naïve 名前 🎉"},
      {"a\nb\rc\td\x7F\0"s, "a\\nb\\rc\\td\\x7f\\x00"},
      {"\x1b[2J\x1b]0;title\a", "\\x1b[2J\\x1b]0;title\\x07"},
      {"\xC2\x9B[31m", "\\x9b[31m"},                   // the one-character form of ESC [
      {"\xE2\x80\xAEgpj.exe", "\\u202egpj.exe"},       // right-to-left override
      {"\xE2\x81\xA6\xE2\x80\x8F", "\\u2066\\u200f"},  // isolate, mark
      {"\xE2\x80\xA8\xE2\x80\xA9", "\\u2028\\u2029"},  // line and paragraph separators
      {"\uFEFFa\u200B", "\\ufeffa\\u200b"},            // invisible
      {"\xF3\xA0\x81\xA1", "\\U000e0061"},
      {"bad\xFF\xC3", "bad\\xff\\xc3"}};
  for (const auto& [bytes, shown] : cases) EXPECT_EQ(escapedForTerminal(bytes), shown);
  EXPECT_EQ(displayWidth("größe"), 5U);
  EXPECT_EQ(displayWidth("名前"), 4U);
  EXPECT_EQ(displayWidth("e\xCC\x81"), 1U);  // a letter and a combining accent
  EXPECT_EQ(displayWidth("🚀✅⚡"), 6U) << "emoji outside the block of faces";
  EXPECT_EQ(displayWidth("⚠–…█"), 4U);
  EXPECT_EQ(displayWidth("नि"
                         "क्"
                         "ص\u064E"),
            4U)
      << "marks of other scripts";
}

TEST(Base64, RoundTripsAndRejectsWhatIsNotPaddedStandardBase64) {
  const std::pair<const char*, const char*> vectors[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"\xFB\xFF\xFE", "+//+"}};
  for (const auto& [bytes, text] : vectors) {
    EXPECT_EQ(base64Encoded(bytes), text);
    EXPECT_EQ(base64Decoded(text), bytes);
  }
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (std::size_t cut = 0; cut < 3; ++cut) EXPECT_EQ(base64Decoded(base64Encoded(all.substr(cut))), all.substr(cut));
  for (const auto text : split("Z,Zg,Zg=,====,Z===,=Zg=,Zg=v,Zg==Zg==,Zm9-,Zm9_,Zm 9,Zm9v\n", ','))
    EXPECT_EQ(base64Decoded(text), std::nullopt) << escapedForTerminal(text);
}

/// The order of pathPrecedes by another algorithm: component by component.
bool walksBefore(const std::string& left, const std::string& right) {
  const auto a = split(left, '/');
  const auto b = split(right, '/');
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
}

// Equivalence with a lexicographical order proves a strict weak order.
TEST(PathPrecedes, OrdersAsADepthFirstWalkWithSiblingsInByteOrder) {
  const std::string alphabet = "/.0a-\x01\xFF";  // bytes around "/", and one that is negative as a char
  std::mt19937 random(7);
  std::vector<std::string> paths;
  for (int i = 0; i < 250; ++i) {
    std::string path = "/r";
    for (auto length = random() % 6; length > 0; --length) path += alphabet[random() % alphabet.size()];
    paths.push_back(std::filesystem::path(path).lexically_normal());
    if (paths.back().ends_with('/')) paths.back().pop_back();
  }
  for (const auto& left : paths) {
    for (const auto& right : paths)
      EXPECT_EQ(pathPrecedes(left, right), walksBefore(left, right)) << left << " | " << right;
  }
}

}  // namespace
}  // namespace tidra
