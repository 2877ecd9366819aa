#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/text/json.hpp"
#include "quillmere/text/json_scan_internal.hpp"

namespace quillmere::text {
namespace {

struct ValueCase {
  std::string name;
  std::string text;
  bool truthy;
  std::optional<std::string> text_form;
  std::optional<double> number = std::nullopt;
};

class JsonValues : public testing::TestWithParam<ValueCase> {};

TEST_P(JsonValues, AreTruthyAndHaveATextForm) {
  const ValueCase& row = GetParam();
  const std::string text = " [null, {\"\\u006bey\" : " + row.text + " } ] ";
  JsonDocument document;
  const auto root = document.read(text);
  ASSERT_TRUE(root) << document.error().message;
  JsonValue object = *root;
  for (const JsonValue element : root->elements()) object = element;
  const auto value = object.find("key");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->raw(), row.text);
  EXPECT_EQ(value->offset(), text.find(" : ") + 3);
  EXPECT_EQ(value->is_truthy(), row.truthy);
  EXPECT_EQ(value->text_form(), row.text_form);
  EXPECT_EQ(value->number(), row.number);
  EXPECT_EQ(std::signbit(value->number().value_or(0)), value->is_number() && row.text.starts_with('-'));
  EXPECT_EQ(value->is_string_equal_to(row.text_form.value_or("")), value->is_string());
  EXPECT_FALSE(value->is_string_equal_to("no such text"));
}

constexpr double INFINITE = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Rows, JsonValues,
    testing::ValuesIn<ValueCase>({
        // Numbers.
        {"integer", "12", true, "12", 12},
        {"zero", "0", false, "0", 0},
        {"minus_zero", "-0", false, "-0", 0},
        {"integer_past_64_bits", "123456789012345678901234567890", true, "123456789012345678901234567890",
         1.2345678901234568e29},
        {"integer_of_5000_digits", "-1" + repeat("0", 4999), true, "-1" + repeat("0", 4999), -INFINITE},
        {"float_of_more_digits_than_needed", "19.990000000000000000001", true, "19.99", 19.99},
        {"exponent_makes_a_float", "1e2", true, "100.0", 100},
        {"upper_case_exponent", "1E2", true, "100.0", 100},
        {"zero_float", "0.0", false, "0.0", 0},
        {"minus_zero_float", "-0.0", false, "-0.0", 0},
        {"zero_with_huge_exponent", "0e999999999999999999999", false, "0.0", 0},
        {"too_large", "1e400", true, "1e400", INFINITE},
        {"too_large_negative", "-1E+400", true, "-1E+400", -INFINITE},
        {"too_large_by_an_endless_exponent", "0.1e99999999999999999999", true, "0.1e99999999999999999999", INFINITE},
        {"too_large_by_digits", "1" + repeat("0", 4000) + ".0", true, "1" + repeat("0", 4000) + ".0", INFINITE},
        {"large_digits_against_small_exponent", "1" + repeat("0", 4000) + "e-4000", true, "1.0", 1},
        {"too_small", "1e-400", false, "0.0", 0},
        {"too_small_negative", "-1e-99999999999999999999", false, "-0.0", 0},
        {"too_small_by_digits", "0." + repeat("0", 4000) + "1e5", false, "0.0", 0},
        {"smallest", "5e-324", true, "5e-324", 5e-324},
        {"below_half_of_the_smallest", "2e-324", false, "0.0", 0},
        {"exact_where_others_are_not", "123456789.12345679", true, "123456789.12345679", 123456789.12345679},
        // Others.
        {"null", "null", false, std::nullopt},
        {"true", "true", true, std::nullopt},
        {"false", "false", false, std::nullopt},
        {"empty_array", "[]", false, std::nullopt},
        {"array", "[ null ]", true, std::nullopt},
        {"empty_object", "{ }", false, std::nullopt},
        {"object", R"({"a":{"b":[]}})", true, std::nullopt},
        {"empty_string", R"("")", false, ""},
        {"string_zero", R"("0")", true, "0"},
        {"string_of_a_space", R"(" ")", true, " "},
        {"plain_string", R"("Größe 😀 42")", true, "Größe 😀 42"},
        {"named_escapes", R"("\"\\\/\b\f\n\r\tx")", true, "\"\\/\b\f\n\r\tx"},
        {"unicode_escapes", R"("\u0041\u00e9\u20AC\uFFFF")", true, "Aé€\xEF\xBF\xBF"},
        {"escaped_nul", R"("a\u0000b")", true, std::string("a\0b", 3)},
        {"escaped_backslash_before_u", R"("\\u0041")", true, "\\u0041"},
        {"surrogate_pair", R"("\ud83d\ude00!")", true, "😀!"},
        {"first_and_last_pair", R"("\uD800\uDC00\uDBFF\uDFFF")", true, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"lone_high_at_the_end", R"("a\ud83d")", true, "a\xEF\xBF\xBD"},
        {"lone_high_before_text", R"("\ud83dabcdef")", true,
         "\xEF\xBF\xBD"
         "abcdef"},
        {"lone_high_before_another_escape", R"("\ud83d\n")", true, "\xEF\xBF\xBD\n"},
        {"lone_high_before_a_letter_escape", R"("\ud83d\u0041")", true,
         "\xEF\xBF\xBD"
         "A"},
        {"high_high_low", R"("\ud83d\ud83d\ude00")", true, "\xEF\xBF\xBD😀"},
        {"lone_low", R"("\ude00\ud83d")", true, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"raw_control_characters_stay",
         "\"a\n\t\x01"
         "b\"",
         true,
         "a\n\t\x01"
         "b"},
        {"long_with_escape_at_the_end", "\"" + repeat("x", 64) + "\\n\"", true, repeat("x", 64) + "\n"},
    }),
    row_name);

TEST(JsonString, DecodesEscapesWhereverTheyStand) {
  // Around the widths at which text is copied in blocks.
  for (std::size_t before = 0; before <= 33; ++before) {
    for (std::size_t behind = 0; behind <= 33; ++behind) {
      const std::string head(before, 'a');
      const std::string tail(behind, 'b');
      for (const auto& [escape, text] :
           {std::pair{R"(\n)", "\n"}, {R"(\\\")", "\\\""}, {R"(\uD83d\uDe00\u20aC)", "😀€"}}) {
        const std::string raw = head + escape + tail;
        std::string out = "x";
        JsonString(raw, true).append_to(out);
        ASSERT_EQ(out, "x" + head + text + tail);
        ASSERT_TRUE(JsonString(raw, true) == head + text + tail);
        std::string portable(raw.size(), '-');
        char* end = portable.data();
        const char* stop = json_internal::PortableScan::copy_until_escape(raw.data(), raw.data() + raw.size(), end);
        ASSERT_EQ(std::string_view(portable.data(), end), head);
        ASSERT_EQ(stop, raw.data() + before);
      }
    }
  }
}

TEST(JsonString, EqualsItsDecodedTextOnly) {
  const JsonString text(R"(a\u00e9\ud83d\ude00b)", true);
  EXPECT_TRUE(text == "aé😀b");
  for (const std::string_view other : {"", "a", "aé", "aé😀", "aé😀bc", "aé😀c", R"(a\u00e9\ud83d\ude00b)"}) {
    EXPECT_FALSE(text == other) << other;
  }
}

struct MemberCase {
  std::string name;
  std::string text;
  std::vector<std::pair<std::string, std::string>> members;  // decoded key, raw value
};

class JsonObjects : public testing::TestWithParam<MemberCase> {};

TEST_P(JsonObjects, GiveEachKeyOnceWithItsLastValueAtItsFirstPlace) {
  const MemberCase& row = GetParam();
  JsonDocument document;
  const auto root = document.read(row.text);
  ASSERT_TRUE(root) << document.error().message;
  for (int iteration = 0; iteration < 2; ++iteration) {  // the second one runs on what the first one noted
    // Each find is linear in the members: of a large object only some keys are looked up.
    for (std::size_t i = 0; i < row.members.size(); i += 1 + row.members.size() / 50) {
      EXPECT_EQ(root->find(row.members[i].first)->raw(), row.members[i].second) << row.text.substr(0, 200);
    }
    EXPECT_FALSE(root->find("absent")) << row.text;
    std::vector<std::pair<std::string, std::string>> seen;
    for (const JsonMember member : root->members()) seen.emplace_back(member.key.decoded(), member.value.raw());
    EXPECT_EQ(seen, row.members) << row.text.substr(0, 200);
  }
}

/// `count` distinct keys, "k0" and on, then the last one and the first one again.
MemberCase many_members(std::string name, std::size_t count, std::string_view letter = "k") {
  MemberCase row{std::move(name), "{", {}};
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    row.text.append("\"").append(letter).append(number).append("\":[").append(number).append("],");
    row.members.emplace_back("k" + number, "[" + number + "]");
  }
  row.text.append("\"").append(row.members.back().first).append("\":null,\"k0\":true}");
  row.members.back().second = "null";
  row.members.front().second = "true";
  return row;
}

INSTANTIATE_TEST_SUITE_P(
    Members, JsonObjects,
    testing::ValuesIn<MemberCase>({
        {"none", "{}", {}},
        {"in_order", R"({"b":1,"a":[2,[3]],"c":{"b":4}})", {{"b", "1"}, {"a", "[2,[3]]"}, {"c", R"({"b":4})"}}},
        {"repeated", R"({"a":1,"b":2,"a":3})", {{"a", "3"}, {"b", "2"}}},
        {"repeated_three_times", R"({"a":{"x":1},"a":[],"b":2,"a":"z"})", {{"a", "\"z\""}, {"b", "2"}}},
        {"all_repeated", R"({"a":1,"a":2,"a":3,"a":4})", {{"a", "4"}}},
        {"two_repeated", R"({"a":1,"b":2,"b":3,"a":4})", {{"a", "4"}, {"b", "3"}}},
        {"container_superseded_by_container",
         R"({"a":{"a":1,"a":2},"b":0,"a":[[1],[2]]})",
         {{"a", "[[1],[2]]"}, {"b", "0"}}},
        {"empty_key_repeated", R"({"":1,"":2})", {{"", "2"}}},
        {"equal_only_when_decoded", R"({"a":1,"\u0061":2})", {{"a", "2"}}},
        {"equal_only_when_decoded_other_order", R"({"\u0061":1,"b":0,"a":2})", {{"a", "2"}, {"b", "0"}}},
        {"escaped_but_different", R"({"\u0061":1,"\\u0061":2})", {{"a", "1"}, {"\\u0061", "2"}}},
        {"lone_surrogates_are_one_key", R"({"\ud800":1,"\udfff":2})", {{"\xEF\xBF\xBD", "2"}}},
        {"keys_that_differ_in_one_place",
         R"({"gtin12":1,"gtin13":2,"gtin8":3,"price_a_long_key":4,"price_b_long_key":5,"ab":6,"ba":7,"b":8})",
         {{"gtin12", "1"},
          {"gtin13", "2"},
          {"gtin8", "3"},
          {"price_a_long_key", "4"},
          {"price_b_long_key", "5"},
          {"ab", "6"},
          {"ba", "7"},
          {"b", "8"}}},
        {"keys_that_differ_only_between_their_ends",
         R"({"12345678x12345678":1,"12345678y12345678":2,"12345678x12345678":3})",
         {{"12345678x12345678", "3"}, {"12345678y12345678", "2"}}},
        {"keys_of_64_kib",
         "{\"" + repeat("k", 65534) + "\":[ ] ,\"" + repeat("k", 65535) + "\":[[{ } ]\n] ,\"" + repeat("k", 65536) +
             "\":{\"a\":[1 ] },\"" + repeat("\\\\", 32768) + "\":\"\"}",
         {{repeat("k", 65534), "[ ]"},
          {repeat("k", 65535), "[[{ } ]\n]"},
          {repeat("k", 65536), "{\"a\":[1 ] }"},
          {repeat("\\", 32768), "\"\""}}},
        many_members("some", 40),
        many_members("many", 1000),
        many_members("a_million", 1000000),
        many_members("many_escaped", 1000, "\\u006b"),
    }),
    row_name);

TEST(JsonValueAccess, OfAnotherKindIsAbsentOrEmpty) {
  JsonDocument document;
  const auto root = document.read(R"(["text", [], {}, 1, true])");
  ASSERT_TRUE(root);
  for (const JsonValue value : root->elements()) {
    EXPECT_FALSE(value.find("a"));
    EXPECT_FALSE(value.first());
    EXPECT_TRUE(value.is_empty());
    EXPECT_EQ(value.string(), value.is_string() ? "text" : "");
    EXPECT_EQ(value.number().has_value(), value.is_number());
    EXPECT_EQ(value.boolean().has_value(), value.kind() == JsonKind::boolean);
    EXPECT_EQ(value.members().begin(), value.members().end());
    EXPECT_EQ(value.elements().begin(), value.elements().end());
  }
  EXPECT_EQ(*root->first(), *root->elements().begin());
  EXPECT_EQ(root->members().begin(), root->members().end());
}

TEST(JsonObjects, GiveSeveralMembersInOnePass) {
  JsonDocument document;
  const std::string long_key(200, 'k');
  const std::string text = R"({"a":1,")" + long_key + R"(":0,"\u0062":2,"ab":[3],"a":{"b":4},"c":5})";
  const JsonValue object = document.read(text).value();
  const auto [a, b, ab, absent] = object.find_each<4>({"a", "b", "ab", "d"});
  EXPECT_EQ(a.value().raw(), R"({"b":4})") << "the last of a repeated key";
  EXPECT_EQ(b.value().raw(), "2") << "an escaped key";
  EXPECT_EQ(ab.value().raw(), "[3]");
  EXPECT_FALSE(absent);
  EXPECT_FALSE(ab->find_each<1>({"a"})[0]) << "an array has no members";
}

TEST(JsonValues, GiveTheirChildrenWhateverTheyAre) {
  JsonDocument document;
  const JsonValue root = document.read(R"([{"a":1,"b":[2],"a":3},4,[]])").value();
  std::string seen;
  for (const JsonValue child : root.children()) {
    for (const JsonValue grandchild : child.children()) seen += std::string(grandchild.raw()) + " ";
  }
  EXPECT_EQ(seen, "3 [2] ");
}

}  // namespace
}  // namespace quillmere::text
