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

INSTANTIATE_TEST_SUITE_P(
    Rows, CharacterReferences,
    testing::ValuesIn<ReferenceCase>({
        // Named.
        {"empty", "", ""},
        {"several", "Caf&eacute; &amp; &quot;Bar&quot;", "Café & \"Bar\""},
        {"one_pass", "&amp;lt; &amp;amp;lt;", "&lt; &amp;lt;"},
        {"legacy_without_semicolon", "a &lt b &copy2024 &AMP", "a < b ©2024 &"},
        {"only_legacy_ones", "&hearts &alpha", "&hearts &alpha"},
        {"longest_prefix", "&notit; &notin; &noti", "¬it; ∉ ¬i"},
        {"case_counts", "&Eacute;&eacute;&EACUTE;&Lt;&LT;&nbSp;", "Éé&EACUTE;≪<&nbSp;"},
        {"two_code_points", "&NotEqualTilde;&fjlig;&bne;", "\u2242\u0338fj=\u20E5"},
        {"longest_name", "&CounterClockwiseContourIntegral;", "∳"},
        {"unknown", "&nosuch; &; & &1; &é; &zzz", "&nosuch; &; & &1; &é; &zzz"},
        // Numeric.
        {"decimal", "&#65;&#8364;&#128512;", "A€😀"},
        {"hexadecimal", "&#x41;&#X20aC;&#x1F600;", "A€😀"},
        {"without_semicolon", "&#65B&#x41G&#65", "ABAGA"},
        {"leading_zeros", "&#0000000000000000000000065;&#x00000000000000000041;", "AA"},
        {"no_digits", "&# &#; &#x &#x; &#X; &#xg; &#a", "&# &#; &#x &#x; &#X; &#xg; &#a"},
        {"null", "&#0;&#x0;&#00", "\uFFFD\uFFFD\uFFFD"},
        {"surrogates", "&#xD800;&#xDFFF;&#55357;&#56832;", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"past_the_last", "&#x110000;&#1114112;", "\uFFFD\uFFFD"},
        {"does_not_overflow", "&#4294967361;&#x100000041;&#18446744073709551681;", "\uFFFD\uFFFD\uFFFD"},
        {"windows_1252", "&#128;&#x99;&#150;&#159;", "€™–Ÿ"},
        {"not_in_windows_1252", "&#129;&#141;&#143;&#144;&#157;", "\xC2\x81\xC2\x8D\xC2\x8F\xC2\x90\xC2\x9D"},
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
