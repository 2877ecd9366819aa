#include <iostream>

#include <quillmere/commerce/enricher.hpp>

int main() {
  const auto result = quillmere::commerce::CommerceEnricher::process(
      {{.link = "https://www.etsy.com/listing/1?utm_source=lens", .title = "Bag", .price = "12,50 €"},
       {.link = "https://a.example/blog/bags", .title = "Ten bags"}},
      {.pages = quillmere::commerce::given_pages({})});
  std::cout << result.model_dump_json() << '\n';
}
