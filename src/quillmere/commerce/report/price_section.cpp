#include "quillmere/commerce/report/price_section.hpp"

#include <array>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include "quillmere/commerce/report/markup.hpp"

namespace quillmere::commerce::report {
namespace {

constexpr int STRIP_HEIGHT = 44;

/// An amount where there is little room: "950", "12k", "1.5M", "1e+12".
std::string short_amount(double amount) {
  std::array<char, 32> text{};
  const double size = std::abs(amount);
  if (size >= 1e9 || (size > 0 && size < 0.001)) {
    std::snprintf(text.data(), text.size(), "%.0e", amount);
  } else if (size >= 1e6) {
    std::snprintf(text.data(), text.size(), "%.6gM", amount / 1e6);
  } else if (size >= 1e4) {
    std::snprintf(text.data(), text.size(), "%.6gk", amount / 1e3);
  } else {
    std::snprintf(text.data(), text.size(), "%.6g", amount);
  }
  return text.data();
}

std::string vertical_line(std::string_view kind, const std::string& x, int top, int bottom) {
  return "<line class=\"" + std::string(kind) + "\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + std::to_string(top) +
         "\" y2=\"" + std::to_string(bottom) + "\"/>";
}

std::string box(const PriceAxis& axis, const PriceFigures& figures, int top, int height) {
  const double left = axis.place(figures.lower_quartile);
  return "<rect class=\"box\" x=\"" + percent(left) + "\" y=\"" + std::to_string(top) + "\" width=\"" +
         percent(axis.place(figures.upper_quartile) - left) + "\" height=\"" + std::to_string(height) + "\" rx=\"3\"/>";
}

/// All prices as one path of short strokes, stretched to the width there is.
std::string price_ticks(const PriceAxis& axis, std::span<const double> amounts) {
  std::string path;
  std::array<char, 32> stroke{};
  for (const double amount : amounts) {
    std::snprintf(stroke.data(), stroke.size(), "M%.4g 13v18", axis.place(amount) * 1000);
    path += stroke.data();
  }
  return "<svg viewBox=\"0 0 1000 44\" preserveAspectRatio=\"none\"><path class=\"ticks\" vector-effect=\"" +
         std::string("non-scaling-stroke\" d=\"") + path + "\"/></svg>";
}

std::string strip(const PriceAxis& axis, std::span<const double> amounts) {
  const PriceFigures figures = figures_of(amounts);
  std::string out = "<svg aria-hidden=\"true\">";  // the row's cells say the same
  for (const double mark : axis.marks()) out += vertical_line("grid", percent(axis.place(mark)), 0, STRIP_HEIGHT);
  out += box(axis, figures, 10, 24) + price_ticks(axis, amounts);
  return out + vertical_line("median", percent(axis.place(figures.median)), 8, 36) + "</svg>";
}

std::string axis_labels(const PriceAxis& axis) {
  std::string out = "<svg aria-hidden=\"true\">";
  for (const double mark : axis.marks()) {
    const double place = axis.place(mark);
    const char* anchor = place < 0.03 ? "start" : place > 0.97 ? "end" : "middle";
    out +=
        "<text x=\"" + percent(place) + "\" y=\"15\" text-anchor=\"" + anchor + "\">" + short_amount(mark) + "</text>";
  }
  return out + "</svg>";
}

constexpr auto FIGURES = std::to_array<std::pair<std::string_view, double PriceFigures::*>>({
    {"Lowest", &PriceFigures::lowest},
    {"Lower quartile", &PriceFigures::lower_quartile},
    {"Median", &PriceFigures::median},
    {"Upper quartile", &PriceFigures::upper_quartile},
    {"Highest", &PriceFigures::highest},
});

std::string row(const PriceAxis* axis, std::string_view kind, const std::string& head, std::span<const double> sorted) {
  const PriceFigures figures = figures_of(sorted);
  std::string out = "<tr class=\"" + std::string(kind) + "\"><th scope=\"row\">" + head + "</th>";
  if (axis != nullptr) out += "<td class=\"strip\">" + strip(*axis, sorted) + "</td>";
  out += "<td data-label=\"Prices\">" + counted(figures.count) + "</td>";
  for (const auto& [name, figure] : FIGURES) {
    out += "<td data-label=\"" + std::string(name) + "\">" + money(figures.*figure) + "</td>";
  }
  return out + "</tr>\n";
}

/// Strips and figures of one currency, row by row; without strips when `axis` is null.
std::string table(const CurrencyPrices& prices, const PriceAxis* axis) {
  std::string out = "<table>\n<thead><tr><th scope=\"col\">Seller</th>";
  if (axis != nullptr) {
    out += "<th scope=\"col\" class=\"axis\"><span class=\"unseen\">Price strip</span>" + axis_labels(*axis) + "</th>";
  }
  out += "<th scope=\"col\">Prices</th>";
  for (const auto& figure : FIGURES) out += "<th scope=\"col\">" + std::string(figure.first) + "</th>";
  out += "</tr></thead>\n<tbody>\n";
  for (const CategoryPrices& category : prices.categories) {
    const std::string_view kind = category.category ? value(*category.category) : "other";
    out += row(axis, kind, category.category ? label(kind) : "Other pages", category.amounts);
  }
  if (prices.categories.size() > 1) out += row(axis, "all", "All sellers", prices.amounts);
  return out + "</tbody>\n</table>\n";
}

std::string range(const PriceFigures& figures) {
  const std::string lowest = money(figures.lowest);
  const std::string highest = money(figures.highest);
  return lowest == highest ? lowest : lowest + " to " + highest;
}

std::string tile(const CurrencyPrices& prices) {
  const PriceFigures figures = figures_of(prices.amounts);
  const PriceAxis axis(figures.lowest, figures.highest);
  return "<section class=\"money\">\n<h2>" + currency_name(prices.currency) + "<span class=\"label\">" +
         counted(figures.count, "price", "prices") + "</span></h2>\n<dl>\n<div><dt>Median</dt><dd class=\"middle\">" +
         money(figures.median) + "</dd></div>\n<div><dt>Range</dt><dd>" + range(figures) +
         "</dd></div>\n</dl>\n<svg class=\"all\" height=\"14\" aria-hidden=\"true\">" +
         "<line class=\"span\" x1=\"0\" x2=\"100%\" y1=\"7\" y2=\"7\"/>" + box(axis, figures, 2, 10) +
         vertical_line("median", percent(axis.place(figures.median)), 2, 12) + "</svg>\n</section>\n";
}

}  // namespace

std::string price_tiles(std::span<const CurrencyPrices> currencies) {
  if (currencies.empty()) return {};
  std::string out = "<div class=\"tiles\">\n";
  for (const CurrencyPrices& prices : currencies.first(std::min(currencies.size(), MOST_TILES))) out += tile(prices);
  out += "</div>\n";
  if (currencies.size() > MOST_TILES) {
    out += "<p class=\"more\">" + counted(currencies.size() - MOST_TILES, "further currency", "further currencies") +
           " below.</p>\n";
  }
  return out;
}

std::string price_strips(std::span<const CurrencyPrices> currencies) {
  if (currencies.empty()) return {};
  std::string out =
      "<section class=\"prices\" aria-labelledby=\"prices\">\n<h2 id=\"prices\">Prices by seller</h2>\n"
      "<p class=\"legend\">A stroke is one price, the band the middle half of them, the bar their median.</p>\n";
  for (std::size_t i = 0; i < currencies.size(); ++i) {
    const CurrencyPrices& prices = currencies[i];
    const PriceAxis axis(prices.amounts.front(), prices.amounts.back());
    const bool is_drawn = i < MOST_STRIPS;
    out += "<figure>\n<figcaption><h3>" + currency_name(prices.currency) + "</h3>";
    if (is_drawn && axis.is_logarithmic()) out += "<span class=\"label\">Logarithmic scale</span>";
    out += "</figcaption>\n" + table(prices, is_drawn ? &axis : nullptr) + "</figure>\n";
  }
  return out + "</section>\n";
}

}  // namespace quillmere::commerce::report
