#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/base/record_fields.h"
#include "tests/support/message_of.h"

namespace tidra {

enum class Fruit { apple, pear };
template <>
struct EnumTable<Fruit> {
  static constexpr std::string_view name = "fruit";
  static constexpr std::array rows{EnumRow<Fruit>{Fruit::apple, "apple"}, EnumRow<Fruit>{Fruit::pear, "pear"}};
};

struct Parcel {
  std::optional<std::int64_t> bytes = {};
  std::string label = "none";
  double load = 0;
  std::string path = {};
  std::optional<TimePoint> time = {};
  std::map<std::string, std::vector<std::string>> roots = {};
};
template <>
constexpr auto fieldsOf<Parcel> = recordFields(field("bytes", &Parcel::bytes), fieldOrDefault("label", &Parcel::label),
                                               fieldOrDefault("load", &Parcel::load), bytesField("path", &Parcel::path),
                                               fieldOrDefault("roots", &Parcel::roots), field("time", &Parcel::time));
template <>
struct JsonCodec<Parcel> : RecordCodec<Parcel> {};

namespace {

using namespace std::string_literals;

std::string parsingMessage(const std::string& text) {
  return messageOf<DecodingError>([&] { parseJson(text, "It"); });
}

template <class T>
std::string decodingMessage(const char* json) {
  return messageOf<DecodingError>([&] { JsonCodec<T>::decode(nlohmann::json::parse(json), "It"); });
}

TEST(ParseJson, NamesLineAndColumnOfTheFault) {
  EXPECT_EQ(parsingMessage(""), "It is not valid JSON (line 1, column 1)");
  EXPECT_EQ(parsingMessage("{\"a\": 1,}"), "It is not valid JSON (line 1, column 9)");
  EXPECT_EQ(parsingMessage("{\n  \"a\": 1\n  \"b\": 2}"), "It is not valid JSON (line 3, column 5)");
  EXPECT_EQ(parsingMessage("[1, 2"), "It is not valid JSON (line 1, column 6)");
  EXPECT_EQ(parsingMessage("{} x"), "It is not valid JSON (line 1, column 4)");
  EXPECT_EQ(parsingMessage(std::string("{}\n\0x", 5)), "It is not valid JSON (line 2, column 1)");
  EXPECT_EQ(parsingMessage("[1e999]"), "It is not valid JSON (a number is out of range)");
  for (const char* text : {"[\"\xFF\"]", "[\"a\nb\"]", "[\"\\ud800\"]", "{'a': 1}", "[01]", "nul"})
    EXPECT_TRUE(parsingMessage(text).starts_with("It is not valid JSON (line 1")) << text;
}

TEST(ParseJson, DeepNestingIsNoDanger) {
  constexpr std::size_t depth = 100'000;
  const std::string open(depth, '[');
  EXPECT_THROW(parseJson(open, "It"), DecodingError);
  const auto nested = parseJson(open + std::string(depth, ']'), "It");
  EXPECT_THROW(JsonObjectReader(nested, "It"), DecodingError);
  EXPECT_THROW(JsonCodec<std::vector<std::string>>::decode(nested, "It"), DecodingError);
}

TEST(JsonCodecs, RefuseValuesOfAnotherType) {
  EXPECT_EQ(decodingMessage<std::string>("7"), "It must be a text");
  EXPECT_EQ(decodingMessage<bool>("1"), "It must be true or false");
  EXPECT_EQ(decodingMessage<double>("\"1\""), "It must be a number");
  for (const char* json : {"1.0", "\"1\"", "true", "[1]", "9223372036854775808"})
    EXPECT_TRUE(decodingMessage<std::int64_t>(json).starts_with("It must be a whole number")) << json;
  EXPECT_EQ(decodingMessage<int>("2147483648"), "It must be a whole number of at most 32 bits");
  EXPECT_EQ(decodingMessage<int>("-2147483649"), "It must be a whole number of at most 32 bits");
  EXPECT_EQ(decodingMessage<std::uint64_t>("-1"), "It must be a whole number that is not negative");
  EXPECT_EQ(decodingMessage<TimePoint>("\"yesterday\""), "It must be a date such as \"2026-03-14T10:15:00Z\"");
  EXPECT_EQ(decodingMessage<Fruit>("\"Apple\""), "It: unknown fruit 'Apple' (known: apple, pear)");
  EXPECT_EQ(decodingMessage<std::vector<bool>>("[true, null]"), "It[1] must be true or false");
  EXPECT_EQ((decodingMessage<std::map<std::string, int>>(R"({"x": "y"})")), "It.x must be a whole number");
  EXPECT_EQ((decodingMessage<std::map<std::string, int>>("[]")), "It must be an object");
  EXPECT_EQ(decodingMessage<std::set<std::string>>("{}"), "It must be an array");
}

TEST(JsonObjectReader, TellsMissingFromPresentAndNamesThePlace) {
  const auto json = nlohmann::json::parse(R"({"text": "x", "none": null, "number": 3})");
  const JsonObjectReader object(json, "It.items[2]");
  EXPECT_EQ(object.required<std::string>("text"), "x");
  EXPECT_EQ(object.optional<std::string>("none"), std::nullopt);
  EXPECT_EQ(object.valueOr("none", 7), 7);
  EXPECT_EQ(object.valueOr("number", 7), 3);
  EXPECT_EQ(messageOf<DecodingError>([&] { object.required<int>("absent"); }), "It.items[2].absent is missing");
  EXPECT_EQ(messageOf<DecodingError>([&] { object.required<int>("none"); }), "It.items[2].none is missing");
  EXPECT_EQ(messageOf<DecodingError>([&] { object.valueOr("text", 7); }), "It.items[2].text must be a whole number");
}

TEST(RecordFields, TextIsThatOfTheGeneralEncoder) {
  constexpr std::size_t beyondChunk = 5000;
  std::string everyByte;
  for (int c = 1; c < 256; ++c) everyByte += static_cast<char>(c);
  const std::map<std::string, std::vector<std::string>> roots{
      {"\xFF", {"a"}}, {"\xFE", {"b"}}, {"größe", {}}, {"\"", {everyByte}}};
  for (const Parcel& parcel :
       {Parcel(), Parcel{-1, everyByte, 0.1, "/p", TimePoint::max(), roots},
        Parcel{std::numeric_limits<std::int64_t>::min(), std::string(beyondChunk, '"'), 1e300, "\xC3", TimePoint{}, {}},
        Parcel{7, std::string(beyondChunk, 'x'), std::nan(""), std::string(beyondChunk, '\xFF'), {}, roots}}) {
    EXPECT_EQ(compactJson(parcel), jsonText(toJson(parcel), false));
    EXPECT_EQ(prettyJson(parcel), jsonText(toJson(parcel), true));
  }
  EXPECT_EQ(
      compactJson(Parcel{7, "\x01\n\x7F/", -0.0, "/\xFF", TimePoint::max(), roots}),
      "{\"bytes\":7,\"label\":\"\\u0001\\n\x7F/\",\"load\":-0.0,\"path\":\"/\xEF\xBF\xBD\",\"pathBytes\":\"L/8=\","
      "\"roots\":{\"\\\"\":[" +
          compactJson(everyByte) + "],\"größe\":[],\"\xEF\xBF\xBD\":[\"b\",\"a\"]},\"time\":\"9999-12-31T23:59:59Z\"}");
}

TEST(RecordFields, AnyFileNameSurvives) {
  for (const std::string& bytes : {"/p/größe"s, "a\nb\"c\\\0"s, ""s, "/p/\xFF\xFE"s, "\xC3"s}) {
    const auto read = parseJson(prettyJson(Parcel{.path = bytes}), "It");
    EXPECT_EQ(read.contains("pathBytes"), bytes == "/p/\xFF\xFE" || bytes == "\xC3");
    EXPECT_EQ(JsonCodec<Parcel>::decode(read, "It").path, bytes);
  }
  EXPECT_EQ(decodingMessage<Parcel>(R"({"path": "x", "pathBytes": "?"})"), "It.pathBytes must be base64");
  EXPECT_EQ(decodingMessage<Parcel>(R"({"path": 1})"), "It.path must be a text");
  EXPECT_EQ(decodingMessage<Parcel>("{}"), "It.path is missing");
  EXPECT_EQ(JsonCodec<Parcel>::decode(nlohmann::json{{"path", "x"}}, "It").label, "none");
}

}  // namespace
}  // namespace tidra
