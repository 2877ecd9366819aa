// What meta tags and shop markup fill in.

#include "tests/commerce/page/page_case.hpp"

namespace quillmere::commerce {
namespace {

class Fallbacks : public testing::TestWithParam<PageCase> {};

TEST_P(Fallbacks, GivesTheFacts) {
  expect_facts(GetParam());
}

const NormalizedPrice TEN_EUROS{.raw = "10 €", .amount = 10, .currency = "EUR"};

INSTANTIATE_TEST_SUITE_P(
    Rows, Fallbacks,
    testing::ValuesIn<PageCase>({
        // Open graph.
        {"product_overrides_marketplace", R"(<meta property="og:type" content="og:Product">)",
         "type=product\nsource=opengraph", "https://www.ebay.com/x"},
        {"product_in_the_url", "", "type=product", "https://shop.example/x?next=/product"},
        {"article", R"(<meta property="og:type" content="ARTICLE">)", "type=article"},
        {"news_in_the_url", "", "type=article", "https://shop.example/x/news/1"},
        {"blogging_platform", "", "type=article", "https://blog.medium.com/x"},
        {"structured_data_comes_first",
         R"(<script type="application/ld+json">{"@type":"Product"}</script>
        <meta property="og:type" content="article"><meta property="og:brand" content="Acme"><meta property="og:image" content="i.png">)",
         "type=product\nsource=ld_json\nbrand=Acme\nimage=i.png"},
        // Meta tags.
        {"og_brand_first",
         R"(<meta name="author" content="Ann"><meta property="product:brand" content="P"><meta property="og:brand" content="O">)",
         "brand=O"},
        {"author_of_two_characters", R"(<meta name="author" content="Äb">)", "brand=Äb"},
        {"author_of_one_character_yields",
         R"(<meta name="author" content="A"><meta property="og:site_name" content="Site">)", "brand=Site"},
        {"author_of_31_characters_yields",
         R"(<meta name="author" content="1234567890123456789012345678901"><meta property="og:site_name" content="Site">)",
         "brand=Site"},
        {"author_link_yields",
         R"(<meta name="author" content="https://a.example"><meta property="og:site_name" content="Site">)",
         "brand=Site"},
        {"amount_with_its_currency",
         R"(<meta property="product:price:amount" content="1.299,00"><meta property="product:price:currency" content="€">)",
         "price=1299.0 EUR"},
        {"known_price_takes_the_currency", R"(<meta property="product:price:currency" content="eur">)", "raw=5.00 EUR",
         "https://shop.example/x", "Plain Item", "", NormalizedPrice{.raw = "5", .amount = 5, .currency = ""}},
        {"known_currency_is_kept", R"(<meta property="product:price:currency" content="sek">)", "price=10.0 EUR",
         "https://shop.example/x", "Plain Item", "", TEN_EUROS},
        {"availability",
         R"(<meta property="og:type" content="product"><meta property="product:availability" content="OutOfStock">)",
         "stock=out_of_stock"},
        {"unknown_availability",
         R"(<meta property="og:type" content="product"><meta property="product:availability" content="backorder">)",
         "stock=-"},
        {"social_page_takes_image_and_price_only",
         R"(<meta property="og:brand" content="B"><meta property="og:image" content="i.png"><meta property="product:price:amount" content="5">
        <meta property="product:availability" content="instock"><i itemprop="sku" content="S">)",
         "type=social\nbrand=-\nimage=i.png\nprice=5.0 USD\nstock=-\nsku=-", "https://www.pinterest.com/pin/1"},
        // Markup.
        {"shop_price",
         R"(<span class="woocommerce-Price-amount amount"><bdi><span class="c">$</span>1,299.00</bdi></span>)",
         "price=1299.0 USD\ntype=product"},
        {"shop_price_keeps_the_known_currency",
         R"(<meta property="product:price:currency" content="eur"><b class='woocommerce-price-amount'>12)",
         "price=12.0 EUR"},
        {"only_commas_are_no_price",
         R"(<b class="woocommerce-Price-amount">,,</b><meta itemprop="price" content="49.90">)", "price=49.9 USD"},
        {"microdata_currency_replaces",
         R"(<meta property="product:price:currency" content="eur"><i itemprop="price" content="49.90"><i itemprop="priceCurrency" content="gbp">)",
         "price=49.9 GBP\ntype=product"},
        {"known_price_is_kept", R"(<i itemprop="price" content="49.90"><i itemprop="priceCurrency" content="GBP">)",
         "price=10.0 EUR", "https://shop.example/x", "Plain Item", "", TEN_EUROS},
        {"marketplace_stays", R"(<i itemprop="price" content="49.90">)", "price=49.9 USD\ntype=marketplace",
         "https://www.ebay.com/x"},
        {"microdata_identifier_first",
         R"(<span class="sku">E</span><b data-product_sku="A"><i itemprop="sku" content=" M "><i itemprop="price" content="1">)",
         "sku=M"},
        {"identifier_element_before_attribute",
         R"(<b data-product_sku="A"><span class="sku"> E </span><i itemprop="price" content="1">)", "sku=E"},
        {"blank_identifier_ends_the_search",
         R"(<b data-product_sku="A"><i itemprop="sku" content=" "><i itemprop="price" content="1">)", "sku=-"},
        {"out_of_stock_link",
         R"(<meta property="og:type" content="product"><link itemprop="availability" href="https://schema.org/OutOfStock">)",
         "stock=out_of_stock"},
        {"in_stock_class_before_that_link",
         R"(<meta property="og:type" content="product"><p class="stock instock">x</p><link href="https://schema.org/OutOfStock">)",
         "stock=in_stock"},
        {"out_of_stock_class", R"(<meta property="og:type" content="product"><p class="outofstock">)",
         "stock=out_of_stock"},
        {"kelvin_sign_is_a_k_in_lower_case",
         "<meta property=\"og:type\" content=\"product\">http://SCHEMA.ORG/OutOfStoc\u212A", "stock=out_of_stock"},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::commerce
