// Titles, page types and the facts that follow from them; most rows need no page.

#include "tests/commerce/page/page_case.hpp"

namespace quillmere::commerce {
namespace {

class Classification : public testing::TestWithParam<PageCase> {};

TEST_P(Classification, GivesTheFacts) {
  expect_facts(GetParam());
}

const NormalizedPrice TWENTY_EUROS{.raw = "20 €", .amount = 20, .currency = "EUR"};

INSTANTIATE_TEST_SUITE_P(
    Seeds, Classification,
    testing::ValuesIn<PageCase>({
        {"everything_from_the_search_result", nullptr,
         "title=Red Shoe\nmerchant=brand.example\ntype=uncategorized\nscore=98\nsource=serp_fallback\nprice=-\nimage=-",
         "https://www.brand.example/x", "Red Shoe"},
        {"every_www_leaves_the_domain", nullptr, "merchant=a.b.example:8443", "https://WWW.a.www.b.example:8443/x"},
        {"references_and_spaces_of_the_title", nullptr, "title=Café Table", "https://a.example/x",
         " Caf&eacute;  Table "},
        {"references_are_decoded_again_at_the_end", nullptr, "title=<b>", "https://a.example/x", "&amp;lt;b&amp;gt;"},
        {"empty_currency_becomes_dollars", nullptr, "raw=5.00 USD\nprice=5.0 USD", "https://a.example/x", "Item", "",
         NormalizedPrice{.raw = "5", .amount = 5, .currency = ""}},
        {"raw_has_two_decimals", nullptr, "raw=1299.50 EUR", "https://a.example/x", "Item", "",
         NormalizedPrice{.raw = "", .amount = 1299.5, .currency = "EUR"}},
        {"second_rank", nullptr, "score=95", "https://a.example/x", "Item name", "", {}, {}, 2},
        {"seventeenth_rank", nullptr, "score=50", "https://a.example/x", "Item name", "", {}, {}, 17},
        {"fortieth_rank", nullptr, "score=50", "https://a.example/x", "Item name", "", {}, {}, 40},
        {"largest_rank", nullptr, "score=50", "https://a.example/x", "Item name", "", {}, {}, INT64_MAX},
        {"rank_below_the_first", nullptr, "score=401", "https://a.example/x", "Item name", "", {}, {}, -100},
        {"smallest_rank", nullptr, "score=99", "https://a.shop/", "acme bag", "Acme", {}, {}, INT64_MIN},
        {"out_of_stock_on_a_marketplace", nullptr, "type=marketplace\nstock=out_of_stock", "https://www.ebay.com/itm/1",
         "Item", "", std::nullopt, false},
        {"stock_hint_is_cleared_where_nothing_is_sold", nullptr, "type=uncategorized\nstock=-", "https://a.example/x",
         "Item", "", std::nullopt, true},
        {"marketplace_by_containment", nullptr, "type=marketplace", "https://notwalmart.com/x"},
        {"social_before_marketplace", nullptr, "type=social", "https://www.facebook.com/walmart.com"},
        {"social_by_containment", nullptr, "type=social", "https://m.facebook.com/x"},
    }),
    row_name);

INSTANTIATE_TEST_SUITE_P(
    Titles, Classification,
    testing::ValuesIn<PageCase>({
        {"generic_title_takes_the_merchant", nullptr, "title=Acme Outdoor Gear\nmerchant=shop.example",
         "https://shop.example/x", "Shop Now", "Acme Outdoor Gear"},
        {"generic_title_takes_the_path", nullptr, "title=Trail Runner V2",
         "https://shop.example/products/trail-runner_v2/", "Buy now", "shop.example"},
        {"letter_behind_digit_or_apostrophe_starts_a_run", nullptr, "title=Men'S 2Xl Ärmel",
         "https://shop.example/men's-2XL-äRMEL", "Home"},
        {"short_merchant_is_no_title", nullptr, "title=X1", "https://shop.example/x1", "Shoes", "Acme!"},
        {"generic_title_without_path_stays", nullptr, "title=Home", "https://shop.example//", "Home"},
        {"single_word_and_long_merchant_swap", nullptr,
         "title=Air Zoom Pegasus 40 Running Shoe\nmerchant=Nike\nbrand=Nike", "https://shop.example/x", "Nike",
         "Air Zoom Pegasus 40 Running Shoe"},
        {"two_words_do_not_swap", nullptr, "title=Nike Air\nbrand=-", "https://a.example/x", "Nike Air",
         "One Two Three"},
        {"swap_keeps_a_known_brand", R"(<meta property="og:brand" content="Acme">)",
         "title=One Two Three\nmerchant=Word\nbrand=Acme", "https://a.example/x", "Word", "One Two Three"},
        {"empty_title_swaps_too", nullptr, "title=One Two Three\nmerchant=\nbrand=", "https://a.example/x", "",
         "One Two Three"},
        {"short_title_takes_og_title", R"(<meta property="og:title" content="Caf&eacute; Chair"><title>Other</title>)",
         "title=Café Chair", "https://a.example/x", "ab"},
        {"title_like_merchant_takes_og_title", R"(<meta property="og:title" content="Real Name">)", "title=Real Name",
         "https://a.example/x", "ACME shop", "Acme Shop"},
        {"generic_og_title_yields_to_html_title", R"(<meta property="og:title" content="Shop Now"><title> Real &amp;
        Name </title>)",
         "title=Real & Name", "https://a.example/x", "ab"},
        {"generic_html_title_changes_nothing", R"(<title>HOME</title>)", "title=ab", "https://a.example/x", "ab"},
        {"good_title_is_kept", R"(<meta property="og:title" content="Other">)", "title=Four", "https://a.example/x",
         "Four"},
        {"four_characters_are_not_four_bytes", R"(<title>Other Name</title>)", "title=Other Name",
         "https://a.example/x", "äöü"},
        {"social_pages_take_titles_too", R"(<title>A Post</title>)", "title=A Post\ntype=social",
         "https://www.reddit.com/r/x", "Home"},
    }),
    row_name);

INSTANTIATE_TEST_SUITE_P(
    PageTypes, Classification,
    testing::ValuesIn<PageCase>({
        {"priced_blog_without_identifier_is_an_article", nullptr, "type=article\nprice=20.0 EUR\nstock=-\ncondition=-",
         "https://a.example/blog/best-shoes", "Best used shoes", "", TWENTY_EUROS, true},
        {"priced_blog_with_identifier_is_a_product", R"(<i itemprop="sku" content="S1">)", "type=product\nsku=S1",
         "https://a.example/style/x", "Item name", "", TWENTY_EUROS},
        {"priced_page_with_page_is_a_product", "", "type=product\nsource=opengraph", "https://a.example/style/x",
         "Item name", "", TWENTY_EUROS},
        {"product_path_without_page_falls_through", nullptr, "type=uncategorized", "https://a.example/item/1"},
        {"product_path_with_page", "", "type=product", "https://a.example/ITEM/1"},
        {"editorial_domain", nullptr, "type=article", "https://x.substack.com/p/1"},
        {"portfolio_path", nullptr, "type=portfolio", "https://a.example/case-study/1"},
        {"portfolio_word_in_title", nullptr, "type=portfolio", "https://a.example/x", "Wallpaper of a hill"},
        {"portfolio_domain", nullptr, "type=portfolio", "https://me.github.io/x"},
        {"article_path_before_portfolio_path", nullptr, "type=article", "https://a.example/works/post"},
        {"catalogue_path", nullptr, "type=product", "https://a.example/collections/all"},
        {"shop_domain_ending", nullptr, "type=product", "https://brand.store/"},
        {"footwear_word_in_domain", nullptr, "type=product", "https://mysneakers.example/"},
        {"path_is_compared_in_lower_case", nullptr, "type=article", "https://a.example/BLOG/x"},
        {"query_is_no_path", nullptr, "type=uncategorized", "https://a.example/?p=/blog"},
        {"marketplace_is_not_reclassified", nullptr, "type=marketplace", "https://www.etsy.com/blog/x"},
    }),
    row_name);

INSTANTIATE_TEST_SUITE_P(
    Inferences, Classification,
    testing::ValuesIn<PageCase>({
        {"renewed", nullptr, "condition=refurbished", "https://a.shop/", "Renewed Phone 12"},
        {"vintage", nullptr, "condition=used", "https://a.shop/", "Vintage leather bag"},
        {"price_means_stock", nullptr, "stock=in_stock", "https://a.shop/", "Leather bag", "", TWENTY_EUROS},
        {"sold_out_title_means_nothing", nullptr, "stock=-", "https://a.shop/", "Leather bag - Sold Out", "",
         TWENTY_EUROS},
        {"merchant_is_the_brand", nullptr, "brand=Acme", "https://a.shop/", "Leather bag", "Acme"},
        {"merchant_of_the_domain_is_no_brand", nullptr, "brand=-", "https://acme.shop/", "Leather bag", "Acme"},
        {"two_letter_merchant_is_no_brand", nullptr, "brand=-", "https://a.shop/", "Leather bag", "HM"},
        {"brand_in_title_scores", nullptr, "score=99", "https://a.shop/", "acme bag", "Acme"},
        {"brand_in_title_scores_two", nullptr, "score=97", "https://a.shop/", "acme bag", "Acme", {}, {}, 2},
    }),
    row_name);

TEST(PageLength, TwoHundredCharactersAreNoPage) {
  // Characters, not bytes: each of these takes two.
  std::string page = R"(<title>Page Title</title>)";
  while (page.size() < 25 + 2 * 175) page += "ä";
  const auto title = [&] { return DestinationMetadataParser::parse_metadata(page, "https://a.example/x", "ab").title; };
  EXPECT_EQ(title(), "ab");
  page += "ä";
  EXPECT_EQ(title(), "Page Title");
  // A stray byte is read as a character of its own.
  page.erase(page.size() - 2);
  page += '\x80';
  EXPECT_EQ(title(), "Page Title");
}

TEST(PageText, InvalidBytesReadAsReplacementCharacters) {
  const PageMetadata meta = DestinationMetadataParser::parse_metadata(padded_page("<title>Caf\xE9 Chair</title>"),
                                                                      "https://a.example/x", "ab", "Shop\xFF");
  EXPECT_EQ(meta.title, "Caf\uFFFD Chair");
  EXPECT_EQ(meta.merchant_name, "Shop\uFFFD");
  // The domain stands in for a missing merchant.
  const NormalizedPrice price{"", 5, "\xA3"};
  const PageMetadata bare =
      DestinationMetadataParser::parse_metadata(std::nullopt, "https://Sh\xF6p.example/", "ab", "", price);
  EXPECT_EQ(bare.merchant_name, "sh\uFFFDp.example");
  EXPECT_EQ(bare.price->raw, "5.00 \uFFFD");
}

}  // namespace
}  // namespace quillmere::commerce
