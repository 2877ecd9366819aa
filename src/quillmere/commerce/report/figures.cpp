#include "quillmere/commerce/report/figures.hpp"

#include <algorithm>
#include <cmath>
#include <map>

namespace quillmere::commerce::report {
namespace {

double quantile(std::span<const double> sorted, double share) {
  const double rank = share * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(rank);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return std::lerp(sorted[below], sorted[above], rank - static_cast<double>(below));
}

/// 1, 2 or 5 times a power of ten, at least `least`.
double round_step(double least) {
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least) return factor * power;
  }
  return 10 * power;
}

std::vector<double> linear_marks(double lowest, double highest) {
  std::vector<double> marks;
  const double step = round_step((highest - lowest) / 7);
  const double first = std::ceil(lowest / step);
  for (int i = 0; i < 8 && (first + i) * step <= highest; ++i) marks.push_back((first + i) * step);
  return marks;
}

std::vector<double> logarithmic_marks(double lowest, double highest) {
  std::vector<double> marks;
  const double decades = std::log10(highest) - std::log10(lowest);
  const int step = std::max(1, static_cast<int>(std::ceil(decades / 6)));
  for (int power = static_cast<int>(std::floor(std::log10(lowest))); power <= std::log10(highest); power += step) {
    for (const double factor : {1.0, 2.0, 5.0}) {
      const double mark = factor * std::pow(10, power);
      const bool is_room = factor == 1.0 || decades < 2.4;
      if (is_room && mark >= lowest && mark <= highest) marks.push_back(mark);
    }
  }
  return marks;
}

}  // namespace

PriceFigures figures_of(std::span<const double> sorted) {
  return {.count = sorted.size(),
          .lowest = sorted.front(),
          .lower_quartile = quantile(sorted, 0.25),
          .median = quantile(sorted, 0.5),
          .upper_quartile = quantile(sorted, 0.75),
          .highest = sorted.back()};
}

std::vector<CurrencyPrices> prices_by_currency(std::span<const EnrichedCommerceMatch> items) {
  constexpr auto WITHOUT_CATEGORY = static_cast<MerchantCategory>(static_cast<int>(MerchantCategory::UNVERIFIED) + 1);
  std::map<std::string, std::map<MerchantCategory, std::vector<double>>> found;
  for (const EnrichedCommerceMatch& item : items) {
    if (!item.price || !std::isfinite(item.price->amount)) continue;
    found[item.price->currency][item.merchant_category.value_or(WITHOUT_CATEGORY)].push_back(item.price->amount);
  }
  std::vector<CurrencyPrices> currencies;
  for (auto& [currency, categories] : found) {
    CurrencyPrices& prices = currencies.emplace_back(CurrencyPrices{currency, {}, {}});
    for (auto& [category, amounts] : categories) {
      std::ranges::sort(amounts);
      prices.amounts.insert(prices.amounts.end(), amounts.begin(), amounts.end());
      prices.categories.push_back({category == WITHOUT_CATEGORY ? std::nullopt : std::optional(category), amounts});
    }
    std::ranges::sort(prices.amounts);
  }
  std::ranges::stable_sort(currencies, std::greater<>(), [](const CurrencyPrices& c) { return c.amounts.size(); });
  return currencies;
}

PriceAxis::PriceAxis(double lowest, double highest)
    : _lowest(lowest), _highest(highest), _is_logarithmic(lowest > 0 && highest / lowest >= LOGARITHMIC_FROM) {}

double PriceAxis::place(double amount) const {
  if (!(_lowest < _highest)) return 0.5;
  const auto on_axis = [this](double value) { return _is_logarithmic ? std::log(value) : value / 2; };
  const double place = (on_axis(amount) - on_axis(_lowest)) / (on_axis(_highest) - on_axis(_lowest));
  return std::isfinite(place) ? std::clamp(place, 0.0, 1.0) : 0.5;
}

std::vector<double> PriceAxis::marks() const {
  if (!(_lowest < _highest)) return {_lowest};
  std::vector<double> marks;
  if (std::isfinite(_highest - _lowest)) {
    marks = _is_logarithmic ? logarithmic_marks(_lowest, _highest) : linear_marks(_lowest, _highest);
  }
  if (marks.size() < 2) marks = {_lowest, _highest};
  return marks;
}

}  // namespace quillmere::commerce::report
