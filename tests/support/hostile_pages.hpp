#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// Pages made to hurt: each kind is the worst that we know for one step of reading a page.
namespace quillmere::hostile {

struct Kind {
  const char* name;
  std::string_view head;
  std::string_view body;  ///< repeated until the page has its size; "%" counts up, so that no two are equal
  std::string_view tail;

  [[nodiscard]] std::string page(std::size_t size) const {
    std::string text(head);
    text.reserve(size + 64);
    for (std::size_t count = 0; text.size() + tail.size() < size; ++count) {
      const std::size_t mark = body.find('%');
      text += body.substr(0, mark);
      if (mark == std::string_view::npos) continue;
      text += std::to_string(count);
      text += body.substr(mark + 1);
    }
    return text += tail;
  }
};

#define QUILLMERE_LD "<script type=\"application/ld+json\">"
#define QUILLMERE_STATE "<script id=\"__NEXT_DATA__\">{\"props\":{\"pageProps\":"

inline constexpr std::array KINDS = {
    Kind{"ld_json_tags_share_an_end", "", "<script type=\"application/ld+json\" ", ">"},
    Kind{"ld_json_tags_without_an_end", "", "<script type=\"application/ld+json\" ", ""},
    Kind{"ld_json_bodies_without_an_end", "", QUILLMERE_LD, ""},
    Kind{"ld_json_types_outside_scripts", "", "type=\"application/ld+json\" ", "></script>"},
    Kind{"ld_json_types_behind_one_script_tag", "<scripttype=\"application/ld+json", "type=\"application/ld+json ",
         ">"},
    Kind{"scripts_before_one_type", "", "<script ", "type=\"application/ld+json\">"},
    Kind{"empty_ld_json_blocks", "", QUILLMERE_LD "</script>", ""},
    Kind{"page_state_tags_share_an_end", "", "<script id=\"__NEXT_DATA__\" ", ">"},
    Kind{"meta_without_an_end", "", "<meta ", ""},
    Kind{"meta_of_spaces", "<meta", " ", ""},
    Kind{"meta_of_wide_spaces", "<meta", "\xE2\x80\x83", ">"},
    Kind{"meta_of_empty_names", "<meta ", "name=\"\" ", ">"},
    Kind{"meta_of_open_values", "<meta content=\"\" ", "name=' content='", ">"},
    Kind{"meta_of_many_keys", "", "<meta name=k% content=\"v\"><meta name=\"k%\" content='v'>", ""},
    Kind{"meta_of_strange_keys", "", "<meta name=\"\xC3\x89%\" content=\"v\">", ""},
    Kind{"titles_without_an_end", "", "<title>", ""},
    Kind{"title_of_references", "<title>", "&notit;&amp ", "</title>"},
    Kind{"title_of_spaces", "<title>", "\xE2\x80\x83 ", "</title>"},
    Kind{"shop_class_without_an_end", "class=\"", "woocommerce-price-amount ", ""},
    Kind{"shop_class_before_text", "class=\"", "woocommerce-price-amount ", "\">>>>>z"},
    Kind{"shop_classes_share_an_end", "", "class=\"woocommerce-price-amount\" ", ">z"},
    Kind{"shop_prices_without_text_end", "", "class=\"woocommerce-price-amount\"><bdi><span>", ""},
    Kind{"spans_share_a_text", "", "<span class=\"sku\" ", "><b></span>"},
    Kind{"span_of_skus", "<span class=\"", "sku ", "\"><b></span>"},
    Kind{"spans_without_an_end", "", "<span class=\"sku sku sku sku sku sku sku sku\" ", ""},
    Kind{"sku_tags_share_a_text", "", "class=\"sku\">", "<b>"},
    Kind{"sku_tags_in_span_text", "<span ", "class=\"sku\">", "</span"},
    Kind{"skus", "", "sku", ""},
    Kind{"class_openings", "", "class=\"sku", ""},
    Kind{"stock_class_without_an_end", "class=\"", "instock outofstock ", ""},
    Kind{"stock_terms_without_their_site", "", "instock/outofstock/", ""},
    Kind{"prices_share_a_content", "", "itemprop=\"price\" ", "content=\"x\">"},
    Kind{"contents_share_a_price", "itemprop=\"price\" ", "content=\"1,\" content=\"1.", "\">"},
    Kind{"microdata_skus_without_a_quote", "", "itemprop=\"sku\" content=\"\"content=", ">"},
    Kind{"microdata_openings", "", "itemprop=\"sku\" content=\"", ""},
    Kind{"empty_sku_attributes", "", "data-product_sku=\"\"", ""},
    Kind{"json_open_arrays", QUILLMERE_LD "{\"@type\":\"Product\",\"a\":", "[", "}</script>"},
    Kind{"json_deep_arrays", QUILLMERE_LD "[\"Product\"", ",[[[[[[[[[[[[[[[[{\"a\":[[[[]]]]}]]]]]]]]]]]]]]]]",
         "]</script>"},
    Kind{"json_many_keys", QUILLMERE_LD "{\"@type\":\"Product\"", ",\"k%\":1", "}</script>"},
    Kind{"json_repeated_key", QUILLMERE_LD "{\"@type\":\"Product\"", ",\"a\":{}", "}</script>"},
    Kind{"json_many_products", QUILLMERE_LD "[{}", ",{\"@type\":\"Product\"}", "]</script>"},
    Kind{"json_nested_products", QUILLMERE_LD "[{}",
         ",{\"@type\":\"Product\",\"a\":{\"@graph\":[{\"@type\":[\"Product\"]}]}}", "]</script>"},
    Kind{"json_types_of_many", QUILLMERE_LD "{\"@type\":[\"Product\"", ",\"A\"", "]}</script>"},
    Kind{"json_variants_without_offers", QUILLMERE_LD "{\"@type\":\"Product\",\"hasVariant\":[{}",
         ",{\"sku\":0,\"image\":[]}", "]}</script>"},
    Kind{"json_blocks_of_a_product", "", QUILLMERE_LD "{\"@type\":\"Product\"}</script>", ""},
    Kind{"json_broken_blocks", "", QUILLMERE_LD "{\"@type\":\"Product\",}</script>", ""},
    Kind{"json_lone_surrogates", QUILLMERE_LD "{\"@type\":\"Product\",\"name\":\"", "\\ud800", "\"}</script>"},
    Kind{"json_long_number", QUILLMERE_LD "{\"@type\":\"Product\",\"sku\":1", "9",
         ",\"offers\":{\"price\":1}}</script>"},
    Kind{"json_long_price", QUILLMERE_LD "{\"@type\":\"Product\",\"offers\":{\"price\":\"", "1.9,9 ", "\"}}</script>"},
    Kind{"state_of_objects", QUILLMERE_STATE "{\"a\":{}", ",\"k%\":{\"name\":{\"sku\":{}}}", "}}}</script>"},
    Kind{"state_of_arrays", QUILLMERE_STATE "{\"a\":[{}", ",{\"brand\":1,\"sku\":1}", "]}}}</script>"},
};

#undef QUILLMERE_LD
#undef QUILLMERE_STATE

}  // namespace quillmere::hostile
