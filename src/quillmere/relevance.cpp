#include "quillmere/relevance.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <mutex>
#include <numeric>
#include <utility>

#include "quillmere/text/number.hpp"

namespace quillmere::relevance {
namespace {

RelevanceGrade grade_by_score(const EnrichedCommerceMatch& item, std::optional<std::string_view> /*context*/) {
  switch (item.page_type) {
    case PageType::ARTICLE:
    case PageType::PORTFOLIO:
    case PageType::SOCIAL:
      return RelevanceGrade::LOW;
    case PageType::PRODUCT:
    case PageType::MARKETPLACE:
    case PageType::UNCATEGORIZED:
      break;
  }
  if (item.match_score < 60) return RelevanceGrade::LOW;
  const bool is_high = item.match_score >= 80 && item.page_type != PageType::UNCATEGORIZED;
  return is_high ? RelevanceGrade::HIGH : RelevanceGrade::MEDIUM;
}

/// `sorted` is not empty.
double median(const std::vector<double>& sorted) {
  const std::size_t middle = sorted.size() / 2;
  if (sorted.size() % 2 == 1) return sorted[middle];
  return text::round_to_two_decimals(std::midpoint(sorted[middle - 1], sorted[middle]));
}

double mean(const std::vector<double>& amounts) {
  // long double, for its range: a sum of finite doubles may be too large for a double.
  const long double sum = std::accumulate(amounts.begin(), amounts.end(), 0.0L);
  return static_cast<double>(sum / static_cast<long double>(amounts.size()));
}

CommerceSummary summarize_prices(const std::vector<EnrichedCommerceMatch>& items, const CommerceSummary& base) {
  CommerceSummary summary = base;
  summary.total_priced_matches = 0;
  std::vector<double> amounts;
  for (const EnrichedCommerceMatch& item : items) {
    if (!item.price) continue;
    ++summary.total_priced_matches;
    if (item.price->currency == base.currency && std::isfinite(item.price->amount)) {
      amounts.push_back(item.price->amount);
    }
  }
  summary.min_price = summary.max_price = summary.average_price = summary.median_price = std::nullopt;
  if (amounts.empty()) return summary;
  std::sort(amounts.begin(), amounts.end());
  summary.min_price = amounts.front();
  summary.max_price = amounts.back();
  summary.average_price = text::round_to_two_decimals(mean(amounts));
  summary.median_price = median(amounts);
  return summary;
}

/// A function that may be replaced while other threads call it: a caller keeps the one it began with.
template <class Function>
class Replaceable {
 public:
  void replace(Function function) {
    auto next = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
    const std::lock_guard lock(_mutex);
    _function.swap(next);
  }

  [[nodiscard]] std::shared_ptr<const Function> in_force() const {
    const std::lock_guard lock(_mutex);
    return _function;
  }

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const Function> _function;  ///< null: the default
};

constinit Replaceable<ClassifyMatchRelevance> classify;
constinit Replaceable<RecomputeMarketSummary> recompute;

}  // namespace

RelevanceGrade classify_match_relevance(const EnrichedCommerceMatch& item, std::optional<std::string_view> context) {
  const auto function = classify.in_force();
  return function ? (*function)(item, context) : grade_by_score(item, context);
}

CommerceSummary recompute_market_summary(const std::vector<EnrichedCommerceMatch>& items, const CommerceSummary& base) {
  const auto function = recompute.in_force();
  return function ? (*function)(items, base) : summarize_prices(items, base);
}

void replace_classify_match_relevance(ClassifyMatchRelevance function) {
  classify.replace(std::move(function));
}

void replace_recompute_market_summary(RecomputeMarketSummary function) {
  recompute.replace(std::move(function));
}

}  // namespace quillmere::relevance
