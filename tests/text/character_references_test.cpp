#include "quillmere/text/character_references.hpp"

#include <fstream>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quillmere::text {
namespace {

struct ReferenceCase {
  const char* name;
  const char* text;
  std::string expected;
};

class CharacterReferences : public testing::TestWithParam<ReferenceCase> {};

TEST_P(CharacterReferences, AreDecodedAsInTextOfHtml) {
  EXPECT_EQ(decode_character_references(GetParam().text), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Named, CharacterReferences,
                         testing::ValuesIn<ReferenceCase>({
                             {"empty", "", ""},
                             {"none", "Salt; pepper # 1", "Salt; pepper # 1"},
                             {"several", "Caf&eacute; &amp; &quot;Bar&quot;", "Café & \"Bar\""},
                             {"one_pass", "&amp;lt; &amp;amp;lt;", "&lt; &amp;lt;"},
                             {"legacy_without_semicolon", "a &lt b &copy2024 &AMP", "a < b ©2024 &"},
                             {"only_legacy_ones", "&hearts &alpha", "&hearts &alpha"},
                             {"longest_prefix", "&notit; &notin; &noti", "¬it; ∉ ¬i"},
                             {"shorter_name_after_a_long_miss", "&notindo; &notinv", "¬indo; ¬inv"},
                             {"legacy_inside_a_word", "&ampere;&ltfoo", "&ere;<foo"},
                             {"case_counts", "&Eacute;&eacute;&EACUTE;&Lt;&LT;&nbSp;", "Éé&EACUTE;≪<&nbSp;"},
                             {"two_code_points", "&NotEqualTilde;&fjlig;&bne;", "\u2242\u0338fj=\u20E5"},
                             {"grows", "&nGt;", "\u226B\u20D2"},
                             {"longest_name", "&CounterClockwiseContourIntegral;", "∳"},
                             {"longest_name_cut", "&CounterClockwiseContourIntegral",
                              "&CounterClockwiseContourIntegral"},
                             {"unknown", "&nosuch; &; & &1; &é; &zzz", "&nosuch; &; & &1; &é; &zzz"},
                             {"ampersand_before_one", "&&amp;&", "&&&"},
                             {"space_in_between", "& amp; &amp ;", "& amp; & ;"},
                             {"white_space", "&Tab;&NewLine;&nbsp;&ZeroWidthSpace;", "\t\n\u00A0\u200B"},
                             {"in_attribute_like_text_too", "?a=1&copy=2", "?a=1©=2"},
                         }),
                         row_name);

INSTANTIATE_TEST_SUITE_P(
    Numeric, CharacterReferences,
    testing::ValuesIn<ReferenceCase>({
        {"decimal", "&#65;&#8364;&#128512;", "A€😀"},
        {"hexadecimal", "&#x41;&#X20aC;&#x1F600;", "A€😀"},
        {"without_semicolon", "&#65B&#x41G&#65", "ABAGA"},
        {"hexadecimal_takes_letters", "&#x41B;", "Л"},
        {"leading_zeros", "&#0000000000000000000000065;&#x00000000000000000041;", "AA"},
        {"no_digits", "&# &#; &#x &#x; &#X; &#xg; &#a", "&# &#; &#x &#x; &#X; &#xg; &#a"},
        {"no_digits_before_one", "&#&#65;&#x&#65;", "&#A&#xA"},
        {"second_semicolon_stays", "&#65;;", "A;"},
        {"null", "&#0;&#x0;&#00", "\uFFFD\uFFFD\uFFFD"},
        {"surrogates", "&#xD800;&#xDFFF;&#55357;&#56832;", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"around_the_surrogates", "&#xD7FF;&#xE000;", "\uD7FF\uE000"},
        {"last", "&#x10FFFF;&#1114111;", "\U0010FFFF\U0010FFFF"},
        {"past_the_last", "&#x110000;&#1114112;", "\uFFFD\uFFFD"},
        {"does_not_overflow", "&#4294967361;&#x100000041;&#18446744073709551681;", "\uFFFD\uFFFD\uFFFD"},
        {"windows_1252", "&#128;&#x99;&#150;&#159;", "€™–Ÿ"},
        {"not_in_windows_1252", "&#129;&#141;&#143;&#144;&#157;", "\xC2\x81\xC2\x8D\xC2\x8F\xC2\x90\xC2\x9D"},
        {"around_windows_1252", "&#127;&#160;", "\x7F\u00A0"},
        {"controls", "&#1;&#9;&#10;&#13;&#31;", "\x01\t\n\r\x1F"},
        {"noncharacters", "&#xFFFE;&#xFDD0;&#x1FFFF;", "\uFFFE\uFDD0\U0001FFFF"},
    }),
    row_name);

TEST(CharacterReferences, HoldEveryPublishedName) {
  std::ifstream file(QUILLMERE_REFERENCES_JSON);
  const nlohmann::json facts = nlohmann::json::parse(file);
  ASSERT_EQ(facts.size(), 2231U);
  for (const auto& [name, characters] : facts.items()) {
    EXPECT_EQ(decode_character_references("<&" + name + ">"), "<" + characters.get<std::string>() + ">") << name;
  }
}

TEST(CharacterReferences, OfALongTextAreReadInGoodTime) {
  for (const std::string unit :
       {"&", "&#", "&#9", "&#x", "9", "&CounterClockwiseContourIntegra", "&notindo", "&nGt;"}) {
    EXPECT_FALSE(decode_character_references("&#" + long_text(unit)).empty()) << unit;
  }
}

}  // namespace
}  // namespace quillmere::text
