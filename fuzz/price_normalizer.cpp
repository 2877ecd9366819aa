// Reads bytes as a printed price and, behind a NUL, a currency hint: the search against the pattern as written, and
// what holds for every price that is read.

#include "quillmere/commerce/price_normalizer.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tests/support/price_pattern.hpp"

#include "quillmere/text/unicode.hpp"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

/// Whether both are the same slices of the same text.
bool is_same(const std::optional<std::string_view>& left, const std::optional<std::string_view>& right) {
  return left == right && (!left || left->data() == right->data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillmere;
  static const PricePattern pattern;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = input.find('\0');
  const std::string_view text = input.substr(0, end);
  std::optional<std::string_view> hint;
  if (end != std::string_view::npos) hint = input.substr(end + 1);

  const auto found = commerce::price_normalizer_internal::find_price(text);
  const auto expected = pattern.search(text);
  require(found.has_value() == expected.has_value());
  if (found) {
    require(is_same(found->prefix, expected->prefix));
    require(is_same(found->number, expected->number));
    require(is_same(found->suffix, expected->suffix));
  }

  if (const auto price = commerce::PriceNormalizer::parse(text, hint)) {
    require(price->raw == text::strip(text));
    require(std::isfinite(price->amount) && price->amount >= 0);
    require(!price->currency.empty() || text::strip(hint.value_or("x")).empty());
    require(text::strip(price->currency) == price->currency);
  }
  return 0;
}
