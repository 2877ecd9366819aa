#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "quillmere/models.hpp"

/// What the prices of a result come to: currency by currency, never mixed.
namespace quillmere::commerce::report {

/// Quartiles lie between the two nearest prices as far as their rank says (the median of 1 and 2 is 1.5).
struct PriceFigures {
  std::size_t count = 0;
  double lowest = 0;
  double lower_quartile = 0;
  double median = 0;
  double upper_quartile = 0;
  double highest = 0;
};

/// `sorted` ascends and is not empty.
[[nodiscard]] PriceFigures figures_of(std::span<const double> sorted);

struct CategoryPrices {
  std::optional<MerchantCategory> category;
  std::vector<double> amounts;  ///< ascending, not empty
};

struct CurrencyPrices {
  std::string currency;
  std::vector<double> amounts;             ///< ascending, not empty
  std::vector<CategoryPrices> categories;  ///< in the order of the enumeration, prices without one last
};

/// The currencies of `items`, the commonest first. Amounts that are not finite are no prices.
[[nodiscard]] std::vector<CurrencyPrices> prices_by_currency(std::span<const EnrichedCommerceMatch> items);

/// An axis from one amount to another: logarithmic when the highest is at least LOGARITHMIC_FROM times the lowest and
/// all are above 0, else linear.
class PriceAxis {
 public:
  static constexpr double LOGARITHMIC_FROM = 20;

  PriceAxis(double lowest, double highest);

  [[nodiscard]] bool is_logarithmic() const noexcept { return _is_logarithmic; }
  /// Where `amount` lies, from 0 to 1; the middle when the axis has one amount alone.
  [[nodiscard]] double place(double amount) const;
  /// Two to eight round amounts to mark; the amount itself when there is one alone.
  [[nodiscard]] std::vector<double> marks() const;

 private:
  double _lowest;
  double _highest;
  bool _is_logarithmic;
};

}  // namespace quillmere::commerce::report
