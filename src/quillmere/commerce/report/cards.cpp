#include "quillmere/commerce/report/cards.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "quillmere/commerce/report/encoding.hpp"
#include "quillmere/commerce/report/markup.hpp"
#include "quillmere/commerce/url_unwrapper.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::commerce::report {
namespace {

using Match = EnrichedCommerceMatch;

constexpr std::string_view NOT_STATED = "none";
constexpr std::size_t MOST_CHOICES = 12;

template <class Enumeration>
std::string facet_value(const std::optional<Enumeration>& member) {
  return std::string(member ? value(*member) : NOT_STATED);
}

bool is_priced(const Match& match) {
  return match.price && std::isfinite(match.price->amount);
}

/// What the matches can be filtered by.
struct Facet {
  std::string_view name;  ///< of the form's field and of the card's data attribute
  std::string_view legend;
  std::string (*value_of)(const Match&);
  bool is_label_foreign;
};

constexpr auto FACETS = std::to_array<Facet>({
    {"type", "Page type", [](const Match& match) { return std::string(value(match.page_type)); }, false},
    {"category", "Seller", [](const Match& match) { return facet_value(match.merchant_category); }, false},
    {"stock", "Stock", [](const Match& match) { return facet_value(match.stock_status); }, false},
    {"condition", "Condition", [](const Match& match) { return facet_value(match.condition); }, false},
    {"currency", "Currency",
     [](const Match& match) { return is_priced(match) ? match.price->currency : std::string(NOT_STATED); }, true},
});

std::string facet_fieldset(const Facet& facet, std::span<const Match> items) {
  std::map<std::string, std::size_t> counts;
  for (const Match& item : items) ++counts[facet.value_of(item)];
  std::vector<std::pair<std::string, std::size_t>> choices(counts.begin(), counts.end());
  const auto rank = [](const auto& choice) { return std::pair(choice.first == NOT_STATED, ~choice.second); };
  std::ranges::stable_sort(choices, {}, rank);
  if (choices.size() < 2) return {};
  std::string out = "<fieldset><legend>" + std::string(facet.legend) + "</legend>\n";
  for (const auto& [choice, count] : std::span(choices).first(std::min(choices.size(), MOST_CHOICES))) {
    const std::string text = choice == NOT_STATED     ? "Not stated"
                             : facet.is_label_foreign ? currency_name(choice)
                                                      : label(choice);
    out += "<label><input type=\"checkbox\" name=\"" + std::string(facet.name) + "\" value=\"" + escaped(choice) +
           "\"><span>" + text + "</span><span>" + std::to_string(count) + "</span></label>\n";
  }
  return out + "</fieldset>\n";
}

/// In which currency the price range counts.
std::string price_hint(std::span<const Match> items) {
  std::set<std::string> currencies;
  for (const Match& item : items) {
    if (is_priced(item)) currencies.insert(item.price->currency);
  }
  if (currencies.empty()) return "No match has a price";
  return currencies.size() == 1 ? "In " + currency_name(*currencies.begin()) : "In one currency: choose it above";
}

/// What stands for an image that is not loaded: the seller's first letter.
std::string initial(const Match& match) {
  const std::string_view name = text::strip(match.merchant_name ? *match.merchant_name : match.title);
  std::size_t length = name.empty() ? 0 : 1;
  while (length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0U) == 0x80) ++length;
  return text::to_upper(text::to_valid_utf8(std::string(name.substr(0, length))));
}

std::string picture(const Match& match, const Thumbnails& thumbnails) {
  const std::optional<std::string> url = thumbnail_url(match);
  const auto found = url ? thumbnails.find(*url) : thumbnails.end();
  const auto type = found == thumbnails.end() ? std::nullopt : raster_type(found->second);
  if (!type) return "<div class=\"picture\" aria-hidden=\"true\">" + isolated(initial(match), 1) + "</div>\n";
  return "<img class=\"picture\" alt=\"\" width=\"72\" height=\"72\" loading=\"lazy\" decoding=\"async\" src=\"data:" +
         std::string(*type) + ";base64," + base64(found->second) + "\">\n";
}

std::string tag(std::string_view kind, const std::string& text) {
  return "<span" + (kind.empty() ? "" : " class=\"" + std::string(kind) + "\"") + ">" + text + "</span>";
}

std::string tags(const Match& match) {
  std::string out = "<p class=\"tags\">";
  if (match.stock_status) out += tag(value(*match.stock_status), label(value(*match.stock_status)));
  if (match.condition) out += tag("", label(value(*match.condition)));
  out += tag("", label(value(match.page_type)));
  out += has_page_facts(match) ? tag("page-facts", "Facts from page") : tag("", "Facts from search");
  return out + "</p>\n";
}

std::string price(const Match& match) {
  if (!is_priced(match)) return "<p class=\"price none\">No price found</p>\n";
  return "<p class=\"price\">" + money(match.price->amount) + " <bdi class=\"code\">" +
         escaped(match.price->currency, 12) + "</bdi></p>\n";
}

std::string seller(const Match& match) {
  const bool is_named = match.merchant_name && !match.merchant_name->empty();
  if (!is_named && !match.merchant_category) return {};
  std::string out = "<p class=\"seller\">";
  if (is_named) out += isolated(*match.merchant_name, 80);
  if (match.merchant_category) out += (is_named ? " · " : "") + label(value(*match.merchant_category));
  return out + "</p>\n";
}

std::string host_of(const Match& match) {
  try {
    return URLUnwrapper::extract_domain(match.direct_url);
  } catch (const text::MalformedUrl&) {
    return {};
  }
}

/// Whose make it is, when that is not the seller, and under which code it is sold.
std::string make(const Match& match) {
  const bool is_branded = match.brand && !match.brand->empty() && match.brand != match.merchant_name;
  const bool is_coded = match.sku && !match.sku->empty();
  if (!is_branded && !is_coded) return {};
  std::string out = "<p class=\"make\">";
  if (is_branded) out += isolated(*match.brand, 60);
  if (is_coded) out += (is_branded ? " · " : "") + isolated(*match.sku, 60);
  return out + "</p>\n";
}

std::string foot(const Match& match) {
  const std::string score = std::to_string(match.match_score);
  const auto width = std::to_string(std::clamp<std::int64_t>(match.match_score, 0, 100));
  std::string out = "<p class=\"foot\"><span class=\"score\"><svg viewBox=\"0 0 100 8\" preserveAspectRatio=\"none\" " +
                    std::string("aria-hidden=\"true\"><rect class=\"track\" width=\"100\" height=\"8\"/>") +
                    "<rect class=\"fill\" width=\"" + width + "\" height=\"8\"/></svg>Score " + score;
  if (match.relevance) out += ", " + std::string(value(*match.relevance)) + " relevance";
  out += "</span>" + isolated(host_of(match), 60);
  return out + "</p>\n";
}

std::string card(const Match& match, const Thumbnails& thumbnails) {
  const std::optional<std::string> link = web_link(match.direct_url);
  std::string out =
      "<li class=\"card " + std::string(match.merchant_category ? value(*match.merchant_category) : "other") + "\"";
  for (const Facet& facet : FACETS) {
    const std::string choice = facet.value_of(match);
    if (choice != NOT_STATED) out += " data-" + std::string(facet.name) + "=\"" + escaped(choice) + "\"";
  }
  if (is_priced(match)) out += " data-amount=\"" + text::shortest_decimal(match.price->amount) + "\"";
  out += " data-score=\"" + std::to_string(match.match_score) + "\">\n<article>\n" + picture(match, thumbnails);
  const std::string title = isolated(text::strip(match.title).empty() ? "Untitled" : std::string_view(match.title));
  out += "<div class=\"about\">\n<h3>";
  out += link ? "<a rel=\"noopener noreferrer nofollow\" target=\"_blank\" href=\"" + *link + "\">" + title + "</a>"
              : title;
  out += "</h3>\n" + price(match) + seller(match) + make(match) + tags(match) + "</div>\n" + foot(match) +
         "</article>\n</li>\n";
  return out;
}

}  // namespace

bool has_page_facts(const Match& item) {
  const bool is_branded = item.brand && !item.brand->empty() && item.brand != item.merchant_name;
  const bool has_image = item.primary_image_url && item.primary_image_url != item.thumbnail;
  return item.sku || is_branded || has_image || item.condition == ItemCondition::NEW ||
         item.stock_status == StockStatus::PREORDER;
}

std::string filters(std::span<const Match> items) {
  if (items.size() < 2) return {};
  std::string out =
      "<details class=\"filters\" hidden><summary>Filter and sort</summary>\n<form>\n"
      "<label class=\"field\"><span>Search</span><input type=\"search\" name=\"q\" autocomplete=\"off\" "
      "placeholder=\"Title, seller, code\"></label>\n"
      "<label class=\"field\"><span>Sort by</span><select name=\"sort\">\n"
      "<option value=\"rank\">Search order</option>\n<option value=\"cheap\">Price, lowest first</option>\n"
      "<option value=\"dear\">Price, highest first</option>\n<option value=\"score\">Score</option>\n"
      "<option value=\"merchant\">Seller</option>\n<option value=\"title\">Title</option>\n</select></label>\n";
  for (const Facet& facet : FACETS) out += facet_fieldset(facet, items);
  out +=
      "<fieldset><legend>Price</legend>\n<div class=\"pair\">"
      "<input type=\"number\" name=\"min\" min=\"0\" step=\"any\" placeholder=\"from\" aria-label=\"Lowest price\">"
      "<input type=\"number\" name=\"max\" min=\"0\" step=\"any\" placeholder=\"to\" aria-label=\"Highest price\">"
      "</div>\n<p class=\"hint\">" +
      price_hint(items) + "</p></fieldset>\n";
  return out + "<p><button type=\"button\" class=\"clear\">Clear filters</button></p>\n</form>\n</details>\n";
}

std::string cards(std::span<const Match> items, const Thumbnails& thumbnails) {
  if (items.empty()) return "<p>The search gave no matches.</p>\n";
  std::string out = "<ol class=\"cards\">\n";
  for (const Match& item : items) out += card(item, thumbnails);
  return out + "</ol>\n";
}

}  // namespace quillmere::commerce::report
