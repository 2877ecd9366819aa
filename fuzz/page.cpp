// Reads bytes as a page, behind its URL, the search result's title and its merchant, each ended by a NUL: what holds
// for every record, and that a reader used before gives what a fresh one gives.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/text/unicode.hpp"
#include "quillmere/text/url.hpp"

namespace {

namespace commerce = quillmere::commerce;
namespace text = quillmere::text;

void require(bool condition) {
  if (!condition) std::abort();
}

std::string_view take_until_nul(std::string_view& input) {
  const std::size_t end = input.find('\0');
  const std::string_view taken = end == std::string_view::npos ? std::string_view() : input.substr(0, end);
  if (end != std::string_view::npos) input.remove_prefix(end + 1);
  return taken;
}

/// Whether a page's whole list of products gives the choice that was made from the page directly.
bool is_choice_of(const commerce::page::ProductChoice& choice, const std::vector<text::JsonValue>& products) {
  commerce::page::ProductChoice expected;
  for (const text::JsonValue product : products) expected.consider(product);
  const auto is_same = [](const auto& a, const auto& b) {
    return a.has_value() == b.has_value() && (!a || (a->raw().data() == b->raw().data() && a->raw() == b->raw()));
  };
  return is_same(choice.first, expected.first) && is_same(choice.telling, expected.telling) &&
         is_same(choice.offering, expected.offering);
}

void check_pieces(const std::string& page) {
  using Parser = commerce::DestinationMetadataParser;
  static commerce::page::PageReader reader;
  reader.open(page);
  require(is_choice_of(reader.ld_json_products(), Parser::_find_ld_json_products(page).products));
  const auto state = reader.next_data_product();
  require(state.has_value() == Parser::_find_next_data_product(page).has_value());
  for (const auto& [key, value] : Parser::_extract_meta_tags(page)) {
    require(!key.empty() && !value.empty() && text::is_valid_utf8(key));
    if (text::is_ascii(key)) require(reader.meta_tags().find(key) == value);
  }
  require(reader.html_title() == Parser::_extract_html_title(page));
}

void check_record(const commerce::PageMetadata& record) {
  constexpr std::array<std::string_view, 4> SOURCES = {commerce::FETCH_SOURCE_SERP_FALLBACK,
                                                       commerce::FETCH_SOURCE_LD_JSON, commerce::FETCH_SOURCE_NEXT_DATA,
                                                       commerce::FETCH_SOURCE_OPENGRAPH};
  require(std::find(SOURCES.begin(), SOURCES.end(), record.fetch_source) != SOURCES.end());
  require(text::collapse_whitespace(record.title) == record.title);
  require(record.match_score >= 50 && record.match_score <= 99);
  for (const auto& field : {record.brand, record.sku, record.primary_image_url}) {
    require(!field || text::is_valid_utf8(*field));
  }
  require(text::is_valid_utf8(record.title) && text::is_valid_utf8(record.merchant_name));
  require(!record.shipping_info);
  if (record.page_type != quillmere::PageType::PRODUCT && record.page_type != quillmere::PageType::MARKETPLACE) {
    require(!record.sku && !record.condition && !record.stock_status);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view url = take_until_nul(input);
  const std::string_view title = take_until_nul(input);
  const std::string_view merchant = take_until_nul(input);
  // Long enough not to count as a stub.
  const std::string page = text::to_valid_utf8(std::string(input)) + std::string(201, ' ');
  check_pieces(page);
  try {
    const auto record = commerce::DestinationMetadataParser::parse_metadata(page, url, title, merchant);
    check_record(record);
    require(record == commerce::DestinationMetadataParser::parse_metadata(page, url, title, merchant));
  } catch (const text::MalformedUrl&) {  // the URL's own fault
  }
  static_cast<void>(commerce::DestinationMetadataParser::parse_metadata(input, "https://shop.test/", title, merchant));
  return 0;
}
