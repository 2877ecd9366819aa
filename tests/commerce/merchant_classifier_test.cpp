#include "quillmere/commerce/merchant_classifier.hpp"

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/merchant_domains.hpp"

namespace quillmere::commerce {
namespace {

struct LabelCase {
  const char* name;
  const char* domain;
  const char* expected;
};

class DistinctiveLabel : public testing::TestWithParam<LabelCase> {};

TEST_P(DistinctiveLabel, StandsBelowThePublicSuffix) {
  EXPECT_EQ(MerchantClassifier::_extract_sld(GetParam().domain), GetParam().expected) << GetParam().domain;
}

INSTANTIATE_TEST_SUITE_P(Domains, DistinctiveLabel,
                         testing::ValuesIn<LabelCase>({
                             {"suffix_of_two_labels", "www.brandx.co.example", "brandx"},
                             {"two_leading_labels", "uk.m.brandx.example", "brandx"},
                             {"leading_labels_again_and_again", "m.uk.shop.m.m.brandx.com.example", "brandx"},
                             {"other_labels_in_front", "a.b.brandx.example", "brandx"},
                             {"other_labels_keep_leading_ones_in", "a.www.example", "www"},
                             {"net_is_a_suffix_of_two_labels", "brandx.net.example", "brandx"},
                             {"suffix_needs_a_label_before_it", "www.co.example", "co"},
                             {"suffix_label_in_third_place", "co.brandx.example", "brandx"},
                             {"capitals_and_space", "WWW.BrandX.Example ", "brandx"},
                             {"unicode_capitals_and_space", "\u3000WWW.ÉTOILE.Example\u00A0", "étoile"},
                             {"only_a_leading_label", "de", ""},
                             {"only_leading_labels", "www.shop.de", ""},
                             {"one_label", "localhost", "localhost"},
                             {"site_name", "BrandX", "brandx"},
                             {"empty", "", ""},
                             {"blank", " \u2003 ", ""},
                             {"port_stays_at_the_last_label", "shop.brandx.example:8080", "brandx"},
                             {"port_stays_at_the_only_label", "localhost:8080", "localhost:8080"},
                             {"trailing_dot_makes_an_empty_label", "brandx.example.", "example"},
                             {"empty_labels", "..", ""},
                             {"empty_third_label", ".co.example", ""},
                         }),
                         row_name);

struct MatchCase {
  const char* name;
  const char* text;
  bool expected;
};

class NamesLabel : public testing::TestWithParam<MatchCase> {};

TEST_P(NamesLabel, ByContainmentOrByItsWords) {
  EXPECT_EQ(MerchantClassifier::_is_match("brandxgear", GetParam().text), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Texts, NamesLabel,
                         testing::ValuesIn<MatchCase>({
                             {"label_in_text", "BrandX Gear Official Store", true},
                             {"label_across_punctuation", "Brand-X™ | G.E.A.R.", true},
                             {"text_in_label", "Gear", true},
                             {"one_letter_in_label", "G", true},
                             {"words_in_any_order", "Gear by BrandX", true},
                             {"stop_words", "The BrandX and Gear", true},
                             {"stop_word_official", "Official gear of BrandX", true},
                             {"one_word_too_many", "BrandX Shoes", false},
                             {"words_are_cut_at_other_letters", "brandx géar", true},
                             {"only_short_words", "by it", false},
                             {"only_stop_words", "The Official", false},
                             {"empty", "", false},
                             {"no_ascii_letter_or_digit", "— 東京 №™", false},
                             {"blank", " ", false},
                             {"lower_cased_into_ascii", "BRANDX GEAR \u212A", true},
                         }),
                         row_name);

struct SellerCase {
  const char* name;
  const char* domain;
  const char* title;
  std::optional<std::string_view> brand;
  std::optional<std::string_view> merchant_name;
  MerchantCategory expected;
};

class Classify : public testing::TestWithParam<SellerCase> {};

TEST_P(Classify, TellsTheKindOfSeller) {
  const SellerCase& row = GetParam();
  EXPECT_EQ(value(MerchantClassifier::classify(row.domain, row.title, row.brand, row.merchant_name)),
            value(row.expected))
      << row.domain;
}

constexpr auto MARKETPLACE = MerchantCategory::MAJOR_MARKETPLACE;
constexpr auto RESELLER = MerchantCategory::RESELLER_SPECIALIST;
constexpr auto BRAND = MerchantCategory::OFFICIAL_BRAND;
constexpr auto UNVERIFIED = MerchantCategory::UNVERIFIED;
constexpr auto NONE = std::nullopt;

INSTANTIATE_TEST_SUITE_P(Rows, Classify,
                         testing::ValuesIn<SellerCase>({
                             // Known domains.
                             {"capitals_and_space", " AMAZON.CO.UK\u00A0", "", NONE, NONE, MARKETPLACE},
                             {"subdomain", "www.ebay.de", "", NONE, NONE, MARKETPLACE},
                             {"subdomain_of_a_subdomain", "m.produto.mercadolivre.com.br", "", NONE, NONE, MARKETPLACE},
                             {"letters_in_front", "notetsy.com", "", NONE, NONE, UNVERIFIED},
                             {"another_suffix_behind", "etsy.com.example", "", NONE, NONE, UNVERIFIED},
                             {"port", "etsy.com:8080", "", NONE, NONE, UNVERIFIED},
                             {"brand_does_not_matter", "target.com", "Target", "Target", "Target", MARKETPLACE},
                             {"reseller", "stockx.com", "", NONE, NONE, RESELLER},
                             {"reseller_whatever_the_brand", "shop.GOAT.com", "goat", "GOAT", "GOAT", RESELLER},
                             {"reseller_letters_in_front", "scapegoat.com", "", NONE, NONE, UNVERIFIED},
                             {"dot_in_front", ".goat.com", "", NONE, NONE, RESELLER},
                             // Other domains.
                             {"empty", "", "BrandX", "BrandX", "BrandX", UNVERIFIED},
                             {"blank", " \u2009", "BrandX", "BrandX", "BrandX", UNVERIFIED},
                             {"brand", "shop.brandx.example", "Drill", "BrandX", "Acme", BRAND},
                             {"merchant_name", "shop.brandx.example", "Drill", "Acme Tools", "brand-x", BRAND},
                             {"title", "shop.brandx.example", "BrandX Runner 2", NONE, "Acme", BRAND},
                             {"title_when_the_brand_is_empty", "shop.brandx.example", "BrandX Runner 2", "", "", BRAND},
                             {"none_of_them", "shop.brandx.example", "Drill", "Acme Tools", "Acme", UNVERIFIED},
                             {"no_texts", "shop.brandx.example", "", NONE, NONE, UNVERIFIED},
                             {"texts_in_another_script", "shop.brandx.example", "靴", "ブランド", "店", UNVERIFIED},
                             {"label_too_short", "h-m.example", "h-m", "h-m", "h-m", UNVERIFIED},
                             {"label_of_three_letters", "h-m-x.example", "", "H M X", NONE, BRAND},
                             {"label_in_another_script", "靴屋.example", "靴屋", "靴屋", "靴屋", UNVERIFIED},
                             {"leading_label_alone", "shop", "shop", "shop", "shop", UNVERIFIED},
                             {"site_name", "BrandX", "", "BrandX", NONE, BRAND},
                             {"marketplace_with_a_port_by_its_name", "etsy.com:8080", "", "Etsy", NONE, BRAND},
                         }),
                         row_name);

TEST(Classify, KnowsEveryListedDomain) {
  for (const std::string_view domain : MARKETPLACE_DOMAINS) {
    EXPECT_EQ(MerchantClassifier::classify(domain), MARKETPLACE) << domain;
  }
  for (const std::string_view domain : RESELLER_DOMAINS) {
    EXPECT_EQ(MerchantClassifier::classify(domain), RESELLER) << domain;
  }
}

TEST(Classify, LongTextsInGoodTime) {
  const std::string label(250, 'a');
  for (const std::string unit : {"a", "aaa ", ".", "é", "aab "}) {
    const std::string text = long_text(unit);
    EXPECT_NE(MerchantClassifier::classify(label + "b.example", text, text, text), MerchantCategory::MAJOR_MARKETPLACE);
    EXPECT_NE(MerchantClassifier::classify(text + ".example", "b"), MerchantCategory::MAJOR_MARKETPLACE);
  }
}

}  // namespace
}  // namespace quillmere::commerce
