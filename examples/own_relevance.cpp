// Replaces the judgement of relevance: here a match is what a bargain hunter wants, in stock and cheap.
//
// The functions hold for the whole process, from the next enrichment on.

#include <algorithm>
#include <iostream>

#include "quillmere/commerce/enricher.hpp"
#include "quillmere/relevance.hpp"

using namespace quillmere;
using namespace quillmere::commerce;

namespace {

RelevanceGrade for_bargain_hunters(const EnrichedCommerceMatch& item, std::optional<std::string_view> /*context*/) {
  if (!item.price || item.stock_status == StockStatus::OUT_OF_STOCK) return RelevanceGrade::LOW;
  const bool is_cheap = item.price->currency == "EUR" && item.price->amount < 30;
  return is_cheap ? RelevanceGrade::HIGH : RelevanceGrade::MEDIUM;
}

// The summary in euros instead of dollars: the default one computes its figures over the matches in base.currency.
CommerceSummary in_euros(const std::vector<EnrichedCommerceMatch>& items, const CommerceSummary& base) {
  CommerceSummary summary = base;
  summary.currency = "EUR";
  for (const EnrichedCommerceMatch& item : items) {
    if (!item.price) continue;
    ++summary.total_priced_matches;
    if (item.price->currency != "EUR") continue;
    summary.min_price = std::min(summary.min_price.value_or(item.price->amount), item.price->amount);
    summary.max_price = std::max(summary.max_price.value_or(item.price->amount), item.price->amount);
  }
  return summary;
}

}  // namespace

int main() {
  relevance::replace_classify_match_relevance(for_bargain_hunters);
  relevance::replace_recompute_market_summary(in_euros);

  const std::vector<VisualMatch> matches{
      {.link = "https://one.example/shop/kettle", .title = "Steel kettle", .price = "24,90 €"},
      {.link = "https://two.example/shop/kettle", .title = "Steel kettle", .price = "59,90 €"},
      {.link = "https://three.example/shop/kettle", .title = "Steel kettle", .price = "19,90 €", .in_stock = false},
  };
  const CommerceIntelligence result = CommerceEnricher::process(matches, {.pages = given_pages({})});
  for (const EnrichedCommerceMatch& item : result.items) {
    std::cout << item.direct_url << ": " << value(*item.relevance) << '\n';
  }
  const bool is_as_told = result.items[0].relevance == RelevanceGrade::HIGH &&
                          result.items[1].relevance == RelevanceGrade::MEDIUM &&
                          result.items[2].relevance == RelevanceGrade::LOW && result.summary.min_price == 19.9;
  return is_as_told ? 0 : 1;
}
