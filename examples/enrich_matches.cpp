// Enriches two matches from pages that are already there, blocking, and prints the result as JSON.

#include <iostream>

#include "quillmere/commerce/enricher.hpp"

int main() {
  using namespace quillmere;
  using namespace quillmere::commerce;

  HtmlMap pages;
  pages.insert("https://shop.example/products/kettle",
               R"(<html><head><title>Kettle | Shop</title><script type="application/ld+json">
                  {"@type": "Product", "name": "Steel kettle 1.2 l", "brand": "Brewright", "sku": "BR-12",
                   "offers": {"price": "59.90", "priceCurrency": "EUR", "availability": "https://schema.org/InStock"}}
                  </script></head><body>A kettle for the hob, made of brushed steel.</body></html>)");

  const std::vector<VisualMatch> matches{
      {.link = "https://shop.example/products/kettle?utm_source=lens", .title = "Kettle", .source = "Shop"},
      {.link = "https://elsewhere.example/blog/kettles", .title = "Six kettles compared", .source = "Elsewhere"},
  };
  const CommerceIntelligence result = CommerceEnricher::process(matches, {.pages = given_pages(std::move(pages))});
  std::cout << result.model_dump_json(2, true) << '\n';
  return result.items.size() == 2 ? 0 : 1;
}
