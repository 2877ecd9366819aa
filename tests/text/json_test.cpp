#include "quillmere/text/json.hpp"

#include <string>
#include <vector>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::text {
namespace {

using json_internal::Scanning;

constexpr Scanning SCANNINGS[] = {Scanning::fastest, Scanning::portable};

struct DocumentCase {
  std::string name;
  std::string text;
  std::string_view fault = {};  // none: the text is read
  std::size_t offset = 0;
};

class JsonDocuments : public testing::TestWithParam<DocumentCase> {};

// Each row also stands at every offset from 0 to 40, so that each of its bytes meets the edges of a vector.
TEST_P(JsonDocuments, AreReadOrRefused) {
  const DocumentCase& row = GetParam();
  const bool is_short = row.text.size() < 1000;
  JsonDocument document;
  for (const Scanning scanning : SCANNINGS) {
    for (std::size_t pad = 0; pad <= (is_short ? 40 : 0); ++pad) {
      if (pad != 0 && row.text.starts_with("\xEF\xBB\xBF")) break;
      // The exact heap copy lets a sanitizer see a read past the end.
      const std::vector<char> text = [&] {
        const std::string padded = std::string(pad, ' ') + row.text;
        return std::vector<char>(padded.begin(), padded.end());
      }();
      const bool accepted = json_internal::read(document, {text.data(), text.size()}, scanning);
      ASSERT_EQ(accepted, row.fault.empty()) << row.text.substr(0, 100) << ": " << document.error().message;
      ASSERT_EQ(document.error().message, row.fault) << row.text.substr(0, 100);
      ASSERT_EQ(document.error().offset, accepted ? 0 : row.offset + pad) << row.text.substr(0, 100);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, JsonDocuments,
    testing::ValuesIn<DocumentCase>({
        // Accepted.
        {"empty_array", "[]"},
        {"empty_containers_with_whitespace", "[ { \n } , [\t\r] ]"},
        {"lonely_string", R"("")"},
        {"lonely_number", "42"},
        {"whitespace_of_all_four_kinds", " \t\r\n[ \t\r\n1 \t\r\n, \t\r\n2 \t\r\n] \t\r\n"},
        {"long_whitespace_runs", "{" + repeat(" ", 100) + "\"a\"\n\n" + repeat("\t", 33) + ": 1}"},
        {"number_zero", "[0, -0, 0.0, 0e0, 0E+0, -0.0e-0]"},
        {"number_forms", "[1, -1, 10, 1.5, 1e5, 1E5, 1e+5, 1e-5, 1.25e05]"},
        {"number_of_5000_fraction_digits", "0." + repeat("7", 5000) + "e1" + repeat("0", 5000)},
        {"escapes", R"(["\"\\\/\b\f\n\r\t", "\u0000", "\uABCD\uabcd", "\\u12"])"},
        {"raw_nul", std::string("[\"a\0b\"]", 7)},
        {"noncharacters_and_all_utf8_lengths", "[\"é€😀\xEF\xBF\xBF\xF4\x8F\xBF\xBF\"]"},
        {"string_longer_than_vectors", "[\"" + repeat("0123456789abcde", 9) + "\"]"},
        {"depth_1024_objects", repeat(R"({"a":)", 1024) + "1" + repeat("}", 1024)},
        {"depth_1024_again_and_again", "[" + repeat(repeat("[", 1023) + repeat("]", 1023) + ",", 5) + "1]"},
        // Refused.
        {"nothing", "", "expected a value", 0},
        {"only_whitespace", " \n", "expected a value", 2},
        {"byte_order_mark", "\xEF\xBB\xBF{}", "expected a value, got a byte-order mark", 0},
        {"unicode_whitespace", "[1,\xC2\xA0\x32]", "expected a value", 3},
        {"vertical_tab_behind_the_document", "1\v", "expected nothing after the document", 1},
        {"nul_behind_the_document", std::string("1\0", 2), "expected nothing after the document", 1},
        {"two_documents", "{} {}", "expected nothing after the document", 3},
        {"trailing_bracket", "[1]]", "expected nothing after the document", 3},
        {"comment_inside", "[/**/1]", "expected a value", 1},
        {"trailing_comma_array", "[1,]", "expected a value", 3},
        {"trailing_comma_object", R"({"a":1,})", "expected a key in double quotes", 7},
        {"leading_comma", "[,1]", "expected a value", 1},
        {"no_comma_array", "[1 2]", "expected ',' or ']' after an element", 3},
        {"no_comma_object", R"({"a":1 "b":2})", "expected ',' or '}' after a member", 7},
        {"no_colon", R"({"a" 1})", "expected ':' after a key", 5},
        {"colon_in_array", R"(["a": 1])", "expected ',' or ']' after an element", 4},
        {"no_value", R"({"a":})", "expected a value", 5},
        {"bare_key", "{a: 1}", "expected a key in double quotes", 1},
        {"closed_by_the_other_kind", "[1}", "expected ',' or ']' after an element", 2},
        {"closed_by_the_other_kind_object", R"({"a":[1}])", "expected ',' or ']' after an element", 7},
        {"object_closed_as_array", R"({"a":1])", "expected ',' or '}' after a member", 6},
        {"empty_object_closed_as_array", "{]", "expected a key in double quotes", 1},
        {"never_closed_array", "[1", "expected ',' or ']' after an element", 2},
        {"never_closed_empty_array", "[", "expected a value", 1},
        {"never_closed_object", R"({"a":1)", "expected ',' or '}' after a member", 6},
        {"never_closed_empty_object", "{", "expected a key in double quotes", 1},
        {"ends_after_comma", R"({"a":1,)", "expected a key in double quotes", 7},
        {"ends_after_key", R"({"a")", "expected ':' after a key", 4},
        {"ends_after_colon", R"({"a":)", "expected a value", 5},
        {"string_never_closed", R"(["abc)", "string without a closing quote", 1},
        {"string_never_closed_long", "[\"" + repeat("a", 100), "string without a closing quote", 1},
        {"key_never_closed", R"({"abc)", "string without a closing quote", 1},
        {"string_ends_in_escape", R"("\)", "unknown escape in a string", 1},
        {"string_ends_in_escaped_quote", R"("\")", "string without a closing quote", 0},
        {"unknown_escape", R"("a\x41")", "unknown escape in a string", 2},
        {"escaped_line_feed", "\"\\\n\"", "unknown escape in a string", 1},
        {"short_unicode_escape", R"("\u004")", "unknown escape in a string", 1},
        {"unicode_escape_not_hexadecimal", R"("\u00g0")", "unknown escape in a string", 1},
        {"unicode_escape_at_the_end", R"("\u00)", "unknown escape in a string", 1},
        {"bad_escape_in_key", R"({"\q": 1})", "unknown escape in a string", 2},
        {"leading_zero", "[01]", "number with a leading zero", 2},
        {"leading_zero_negative", "[-012]", "number with a leading zero", 3},
        {"plus_sign", "[+1]", "expected a value", 1},
        {"minus_alone", "[-]", "expected a digit", 2},
        {"nothing_before_the_point", "[.5]", "expected a value", 1},
        {"nothing_behind_the_point", "[5.]", "expected a digit", 3},
        {"exponent_behind_the_point", "[1.e5]", "expected a digit", 3},
        {"exponent_without_digits", "[1e]", "expected a digit", 3},
        {"exponent_with_sign_only", "[1e+", "expected a digit", 4},
        {"exponent_with_fraction", "[1e1.5]", "expected ',' or ']' after an element", 4},
        {"hexadecimal", "[0x1F]", "expected ',' or ']' after an element", 2},
        {"upper_case_literal", "[True]", "expected a value", 1},
        {"cut_literal", "tru", "expected a value", 0},
        {"literal_with_more", "[nullx]", "expected ',' or ']' after an element", 5},
        {"depth_1025", repeat("[", 1025) + repeat("]", 1025), "nested deeper than 1024 levels", 1024},
        {"depth_1025_empty_object", repeat(R"({"a":)", 1024) + "{}" + repeat("}", 1024),
         "nested deeper than 1024 levels", 5 * 1024},
        {"depth_2000000", repeat("[", 2000000), "nested deeper than 1024 levels", 1024},
    }),
    row_name);

// A text of 4 GiB is refused unread, so that offsets fit; only its size is looked at.
TEST(JsonDocumentRead, RefusesTextsTooLongForItsOffsets) {
  const char one = '1';
  JsonDocument document;
  EXPECT_FALSE(document.read({&one, std::size_t{1} << 32}));
  EXPECT_EQ(document.error().message, "text of 4 GiB or more");
}

TEST(JsonDocumentRead, TakesOneTextAfterTheOther) {
  JsonDocument document;
  ASSERT_TRUE(document.read(R"({"a": [1, 2, {"b": 3}]})"));
  ASSERT_FALSE(document.read("[1, 2, {\"b\""));
  const std::string large = "[" + repeat("[],", 3 << 20) + "0]";  // past what is kept, then back
  ASSERT_TRUE(document.read(large));
  ASSERT_TRUE(document.read("[7]"));
  EXPECT_EQ(document.error().message, "");
  EXPECT_EQ(document.root().first()->raw(), "7");
}

}  // namespace
}  // namespace quillmere::text
