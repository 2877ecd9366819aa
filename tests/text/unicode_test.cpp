#include "quillmere/text/unicode.hpp"

#include <set>

#include "tests/support/row_name.hpp"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillmere::text {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::set<char32_t> WHITE_SPACE = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,   0xA0,   0x1680,
                                        0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
                                        0x2009, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};

std::string utf8(char32_t code_point) {
  std::string text;
  append_utf8(text, code_point);
  return text;
}

TEST(Whitespace, IsTheTwentyFiveCodePointsAndNoOther) {
  ASSERT_EQ(WHITE_SPACE.size(), 25U);
  for (char32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
    if (code_point >= 0xD800 && code_point <= 0xDFFF) continue;
    const std::string character = utf8(code_point);
    const bool is_white_space = WHITE_SPACE.contains(code_point);
    ASSERT_EQ(leading_whitespace(character + "x"), is_white_space ? character.size() : 0)
        << std::hex << static_cast<unsigned>(code_point);
    ASSERT_EQ(strip(character), is_white_space ? "" : character) << std::hex << static_cast<unsigned>(code_point);
  }
}

TEST(Whitespace, StripsBothEndsOnly) {
  EXPECT_EQ(strip("\u3000 \t a\u00A0b \u2009\u0085\n"), "a\u00A0b");
  EXPECT_EQ(strip("\x1F\u200B a \uFEFF"), "\x1F\u200B a \uFEFF");
  EXPECT_EQ(strip("é\xA0"), "é\xA0") << "a stray continuation byte is no U+00A0";
}

TEST(Whitespace, SeparatesWordsAndCollapses) {
  EXPECT_TRUE(has_more_words_than(" \u2028alpha\u00A0\t beta\u3000γ ", 2));
  EXPECT_FALSE(has_more_words_than(" \u2028alpha\u00A0\t beta\u3000γ ", 3));
  EXPECT_FALSE(has_more_words_than(" \u205F\n", 0));
  EXPECT_EQ(collapse_whitespace(" \u2028alpha\u00A0\t beta\u3000γ "), "alpha beta γ");
  EXPECT_EQ(collapse_whitespace(""), "");
}

struct CasingCase {
  const char* name;
  const char* text;
  const char* lower;
  const char* upper;
  const char* title;
};

class Casing : public testing::TestWithParam<CasingCase> {};

TEST_P(Casing, MapsFullyAndWithoutLocale) {
  const CasingCase& row = GetParam();
  EXPECT_EQ(to_lower(row.text), row.lower) << row.text;
  EXPECT_EQ(to_upper(row.text), row.upper) << row.text;
  EXPECT_EQ(to_title(row.text), row.title) << row.text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Casing,
    testing::ValuesIn<CasingCase>({
        {"empty", "", "", "", ""},
        {"ascii_and_signs_around_it", "@AZ[`az{ iPhone", "@az[`az{ iphone", "@AZ[`AZ{ IPHONE", "@Az[`Az{ Iphone"},
        {"digits_and_marks_end_a_run", "men's 2ND e\u0301A", "men's 2nd e\u0301a", "MEN'S 2ND E\u0301A",
         "Men'S 2Nd E\u0301A"},
        {"sharp_s", "ßtraße", "ßtraße", "SSTRASSE", "SStraße"},
        {"dotted_capital_i_keeps_its_dot", "İSTANBUL ı", "i̇stanbul ı", "İSTANBUL I", "İstanbul I"},
        {"sigma_is_final_at_a_word_end", "ΟΔΟΣ ΣΣ Σ", "οδος σς σ", "ΟΔΟΣ ΣΣ Σ", "Οδος Σς Σ"},
        {"digraph_is_upper_cased_not_titled", "ǆin ǅ", "ǆin ǆ", "ǄIN Ǆ", "Ǆin Ǆ"},
        {"ligature", "ﬁn", "ﬁn", "FIN", "FIn"},
        {"outside_the_basic_plane", "𐐀𐐨", "𐐨𐐨", "𐐀𐐀", "𐐀𐐨"},
        {"letters_without_case", "ｓｏＮＹ 東京abc", "ｓｏｎｙ 東京abc", "ＳＯＮＹ 東京ABC", "Ｓｏｎｙ 東京abc"},
    }),
    row_name);

TEST(Casing, StaysWithinInvalidText) {
  for (const char* text : {"\xFF", "A\xC3", "\xE2\x80", "Σ\xF0\x9F", "\x80\x80"}) {
    (void)to_lower(text);
    (void)to_upper(text);
    (void)to_title(text);
    (void)nfkc(text);
    (void)strip(text);
    (void)collapse_whitespace(text);
    EXPECT_LE(count_characters(text), std::string_view(text).size());
  }
}

TEST(Nfkc, ComposesAndUnfoldsCompatibilityForms) {
  EXPECT_EQ(nfkc("plain"), "plain");
  EXPECT_EQ(nfkc("e\u0301 ﬁ ① ｗｗｗ．example"), "é fi 1 www.example");
  EXPECT_EQ(nfkc("℀ \u2100 ／"), "a/c a/c /");
}

TEST(Counting, CountsCodePoints) {
  EXPECT_EQ(count_characters(""), 0U);
  EXPECT_EQ(count_characters("aé€😀"), 4U);
  EXPECT_EQ(count_characters("e\u0301"), 2U);
}

TEST(Counting, KnowsWhetherTextIsLongerThanALimit) {
  for (const char* unit : {"a", "é", "€", "😀"}) {
    std::string text;
    for (std::size_t count = 0; count <= 6; ++count, text += unit) {
      EXPECT_EQ(is_longer_than(text, 3), count > 3) << text;
      EXPECT_EQ(is_longer_than(text, 0), count > 0) << text;
    }
  }
}

struct InvalidCase {
  const char* name;
  const char* bytes;
  const char* expected;
};

class InvalidUtf8 : public testing::TestWithParam<InvalidCase> {};

TEST_P(InvalidUtf8, ReplacesEachMaximalSubpart) {
  const InvalidCase& row = GetParam();
  EXPECT_EQ(is_valid_utf8(row.bytes), std::string_view(row.bytes) == row.expected);
  EXPECT_EQ(to_valid_utf8(row.bytes), row.expected);
}

#define FFFD "\uFFFD"
// The last four rows are the tables 3-8 to 3-11 of the Unicode Standard, version 15.
INSTANTIATE_TEST_SUITE_P(
    Texts, InvalidUtf8,
    testing::ValuesIn<InvalidCase>({
        {"empty", "", ""},
        {"valid_text_stays", "aé€😀\U0010FFFF\uFFFD\uFEFF", "aé€😀\U0010FFFF\uFFFD\uFEFF"},
        {"stray_continuation", "a\x80z", "a" FFFD "z"},
        {"truncated_at_the_end", "a\xF0\x9F\x98", "a" FFFD},
        {"latin_1", "caf\xE9 cr\xE8me", "caf" FFFD " cr" FFFD "me"},
        {"above_the_last_code_point", "\xF4\x90\x80\x80", FFFD FFFD FFFD FFFD},
        {"non_shortest_forms", "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", FFFD FFFD FFFD FFFD FFFD FFFD FFFD FFFD "A"},
        {"surrogates", "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", FFFD FFFD FFFD FFFD FFFD FFFD FFFD FFFD "A"},
        {"other_ill_formed", "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", FFFD FFFD FFFD FFFD FFFD "A" FFFD FFFD "B"},
        {"truncated_sequences", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", FFFD FFFD FFFD FFFD "A"},
    }),
    row_name);
#undef FFFD

TEST(InvalidUtf8, KeepsNulBytes) {
  const std::string bytes("a\0\xFF", 3);
  EXPECT_EQ(to_valid_utf8(bytes), std::string("a\0\uFFFD", 5));
}

TEST(Ascii, LooksAtEveryByte) {
  std::string text(200, 'a');
  EXPECT_TRUE(is_ascii(text));
  EXPECT_TRUE(is_ascii(""));
  for (std::size_t position = 0; position < text.size(); ++position) {
    text[position] = '\x80';
    EXPECT_FALSE(is_ascii(text)) << position;
    text[position] = '\x7F';
  }
}

}  // namespace
}  // namespace quillmere::text
