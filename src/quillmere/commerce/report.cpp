#include "quillmere/commerce/report.hpp"

#include <array>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

#include "quillmere/commerce/report/cards.hpp"
#include "quillmere/commerce/report/encoding.hpp"
#include "quillmere/commerce/report/figures.hpp"
#include "quillmere/commerce/report/markup.hpp"
#include "quillmere/commerce/report/price_section.hpp"
#include "quillmere/commerce/report/sources.hpp"
#include "quillmere/files/atomic_file.hpp"

namespace quillmere::commerce {
namespace {

using namespace report;

/// What the styles, the script and the pictures of this document need, and nothing else.
std::string policy(const ReportOptions& options) {
  return "default-src 'none'; style-src " + policy_hash(STYLE) + "; script-src " + policy_hash(SCRIPT) +
         (options.thumbnails.empty() ? "" : "; img-src data:") +
         "; base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; trusted-types 'none'";
}

std::string heading(const CommerceIntelligence& commerce, const ReportOptions& options) {
  std::string out = "<h1>Where it is sold, and for how much</h1>\n";
  const auto total = static_cast<std::size_t>(std::max<std::int64_t>(commerce.summary.total_matches, 0));
  std::string subject = options.subject.empty() ? "" : isolated(options.subject, 120);
  if (commerce.items.size() < total) {
    subject += (subject.empty() ? "" : " · ") + std::string("the report covers ") +
               std::to_string(commerce.items.size()) + " of " + counted(total, "match", "matches");
  }
  if (!subject.empty()) out += "<p class=\"subject\">" + subject + "</p>\n";
  return out;
}

std::string count_tile(std::string_view name, std::size_t count, const std::string& note) {
  return "<div><dt>" + std::string(name) + "</dt><dd>" + counted(count) +
         (note.empty() ? "" : "<small>" + note + "</small>") + "</dd></div>\n";
}

std::string figures(const CommerceIntelligence& commerce, std::span<const CurrencyPrices> currencies) {
  std::set<std::string_view> merchants;
  for (const EnrichedCommerceMatch& item : commerce.items) {
    if (item.merchant_name && !item.merchant_name->empty()) merchants.insert(*item.merchant_name);
  }
  std::size_t priced = 0;
  for (const CurrencyPrices& prices : currencies) priced += prices.amounts.size();
  const std::size_t items = commerce.items.size();
  const std::string share =
      items == 0 ? ""
                 : std::to_string(std::lround(100.0 * static_cast<double>(priced) / static_cast<double>(items))) + " %";
  return "<dl class=\"counts\">\n" + count_tile("Matches", items, "") + count_tile("Priced", priced, share) +
         count_tile("Merchants", merchants.size(), "") + "</dl>\n" + price_tiles(currencies);
}

/// `page` with its {{names}} filled in one pass, so that nothing filled in is looked at again.
std::string filled(std::string_view page, std::span<const std::pair<std::string_view, std::string>> parts) {
  std::string out;
  while (true) {
    const std::size_t begin = page.find("{{");
    out += page.substr(0, begin);
    if (begin == std::string_view::npos) return out;
    const std::size_t end = page.find("}}", begin);
    for (const auto& [name, text] : parts) {
      if (name == page.substr(begin + 2, end - begin - 2)) out += text;
    }
    page.remove_prefix(end + 2);
  }
}

}  // namespace

std::string commerce_to_html(const CommerceIntelligence& commerce, const ReportOptions& options) {
  const std::vector<CurrencyPrices> currencies = prices_by_currency(commerce.items);
  const std::string subject = options.subject.empty() ? "" : escaped(options.subject, 120) + ", ";
  const std::array<std::pair<std::string_view, std::string>, 9> parts = {{
      {"policy", policy(options)},
      {"title", subject + counted(commerce.items.size(), "match", "matches")},
      {"style", std::string(STYLE)},
      {"heading", heading(commerce, options)},
      {"figures", figures(commerce, currencies)},
      {"prices", price_strips(currencies)},
      {"filters", filters(commerce.items)},
      {"cards", cards(commerce.items, options.thumbnails)},
      {"script", std::string(SCRIPT)},
  }};
  return filled(PAGE_TEMPLATE, parts);
}

std::filesystem::path export_commerce_to_html(const CommerceIntelligence& commerce,
                                              const std::filesystem::path& output_path, const ReportOptions& options) {
  return files::write_file(output_path, commerce_to_html(commerce, options));
}

}  // namespace quillmere::commerce
