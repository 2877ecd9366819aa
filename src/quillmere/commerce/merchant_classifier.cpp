#include "quillmere/commerce/merchant_classifier.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>
#include <unordered_set>

#include "quillmere/commerce/merchant_domains.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

/// Labels that are no part of a domain's own name when they stand in front of it.
constexpr std::array<std::string_view, 17> LEADING_LABELS = {
    "www", "store", "shop", "app", "m", "us", "uk", "ca", "eu", "de", "fr", "es", "it", "jp", "cn", "in", "au",
};

/// Labels that, second to last, make a public suffix of two labels.
constexpr std::array<std::string_view, 6> SECOND_LEVEL_SUFFIXES = {"co", "com", "org", "net", "gov", "edu"};

/// Words that say nothing about who sells.
constexpr std::array<std::string_view, 3> STOP_WORDS = {"the", "and", "official"};

constexpr std::size_t SHORTEST_NAME = 3;

bool is_one_of(std::string_view text, std::span<const std::string_view> table) noexcept {
  return std::ranges::find(table, text) != table.end();
}

bool is_at_or_below_one_of(std::string_view domain, std::span<const std::string_view> table) noexcept {
  return std::ranges::any_of(table, [domain](std::string_view member) {
    if (!domain.ends_with(member)) return false;
    const std::string_view before = domain.substr(0, domain.size() - member.size());
    return before.empty() || before.ends_with('.');
  });
}

/// What stands behind the last "." of `labels`, or all of it. (npos + 1 is 0.)
std::string_view last_label(std::string_view labels) noexcept {
  return labels.substr(labels.rfind('.') + 1);
}

bool is_letter_or_digit(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
}

std::string without_punctuation(std::string_view lowered) {
  std::string cleaned;
  cleaned.reserve(lowered.size());
  std::ranges::copy_if(lowered, std::back_inserter(cleaned), is_letter_or_digit);
  return cleaned;
}

/// Substring search in linear time, which std::string_view::find does not promise.
bool contains(std::string_view text, std::string_view piece) noexcept {
  if (piece.empty()) return true;
  return piece.size() <= text.size() && memmem(text.data(), text.size(), piece.data(), piece.size()) != nullptr;
}

/// Whether `lowered` has words that count and all of them lie within `label`.
bool has_only_words_of(std::string_view label, std::string_view lowered) {
  // A word is looked for once: what has few different words, as a label's pieces are, takes time in proportion.
  std::unordered_set<std::string_view> found;
  for (auto begin = lowered.begin(); begin != lowered.end();) {
    begin = std::find_if(begin, lowered.end(), is_letter_or_digit);
    const auto end = std::find_if_not(begin, lowered.end(), is_letter_or_digit);
    const std::string_view word(begin, end);
    begin = end;
    if (word.size() < SHORTEST_NAME || is_one_of(word, STOP_WORDS)) continue;
    if (found.insert(word).second && !contains(label, word)) return false;
  }
  return !found.empty();
}

}  // namespace

MerchantCategory MerchantClassifier::classify(std::string_view domain, std::string_view title,
                                              std::optional<std::string_view> brand,
                                              std::optional<std::string_view> merchant_name) {
  const std::string lowered = text::to_lower(domain);
  const std::string_view host = text::strip(lowered);
  if (is_at_or_below_one_of(host, MARKETPLACE_DOMAINS)) return MerchantCategory::MAJOR_MARKETPLACE;
  if (is_at_or_below_one_of(host, RESELLER_DOMAINS)) return MerchantCategory::RESELLER_SPECIALIST;
  const std::string label = without_punctuation(_extract_sld(host));
  if (label.size() < SHORTEST_NAME) return MerchantCategory::UNVERIFIED;
  const bool is_named =
      _is_match(label, brand.value_or("")) || _is_match(label, merchant_name.value_or("")) || _is_match(label, title);
  return is_named ? MerchantCategory::OFFICIAL_BRAND : MerchantCategory::UNVERIFIED;
}

std::string MerchantClassifier::_extract_sld(std::string_view domain) {
  constexpr auto END = std::string_view::npos;
  const std::string lowered = text::to_lower(domain);
  std::string_view labels = text::strip(lowered);
  while (is_one_of(labels.substr(0, labels.find('.')), LEADING_LABELS)) {
    if (labels.find('.') == END) return "";
    labels.remove_prefix(labels.find('.') + 1);
  }
  std::size_t dot = labels.rfind('.');
  if (dot == END) return std::string(labels);
  labels = labels.substr(0, dot);
  dot = labels.rfind('.');
  if (dot != END && is_one_of(last_label(labels), SECOND_LEVEL_SUFFIXES)) labels = labels.substr(0, dot);
  return std::string(last_label(labels));
}

bool MerchantClassifier::_is_match(std::string_view alpha_sld, std::string_view text) {
  const std::string lowered = text::to_lower(text);
  const std::string cleaned = without_punctuation(lowered);
  if (cleaned.empty()) return false;
  return contains(cleaned, alpha_sld) || contains(alpha_sld, cleaned) || has_only_words_of(alpha_sld, lowered);
}

}  // namespace quillmere::commerce
