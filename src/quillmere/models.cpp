#include "quillmere/models.hpp"

#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "quillmere/text/unicode.hpp"

namespace quillmere {
namespace {

using Json = nlohmann::ordered_json;

/// Writes records as JSON trees: one `form` for each kind of value that a field may have.
class JsonWriter {
 public:
  explicit JsonWriter(bool exclude_none) : _exclude_none(exclude_none) {}

  [[nodiscard]] Json form(const CommerceIntelligence& record) const {
    Json out = Json::object();
    put(out, "summary", record.summary);
    put(out, "items", record.items);
    return out;
  }

  [[nodiscard]] Json form(const EnrichedCommerceMatch& record) const {
    Json out = Json::object();
    put(out, "title", record.title);
    put(out, "direct_url", record.direct_url);
    put(out, "original_url", record.original_url);
    put(out, "price", record.price);
    put(out, "merchant_name", record.merchant_name);
    put(out, "merchant_category", record.merchant_category);
    put(out, "thumbnail", record.thumbnail);
    put(out, "match_score", record.match_score);
    put(out, "page_type", record.page_type);
    put(out, "brand", record.brand);
    put(out, "sku", record.sku);
    put(out, "condition", record.condition);
    put(out, "stock_status", record.stock_status);
    put(out, "primary_image_url", record.primary_image_url);
    put(out, "shipping_info", record.shipping_info);
    put(out, "relevance", record.relevance);
    return out;
  }

  [[nodiscard]] Json form(const CommerceSummary& record) const {
    Json out = Json::object();
    put(out, "total_matches", record.total_matches);
    put(out, "currency", record.currency);
    put(out, "total_priced_matches", record.total_priced_matches);
    put(out, "min_price", record.min_price);
    put(out, "max_price", record.max_price);
    put(out, "average_price", record.average_price);
    put(out, "median_price", record.median_price);
    return out;
  }

  [[nodiscard]] Json form(const NormalizedPrice& record) const {
    Json out = Json::object();
    put(out, "raw", record.raw);
    put(out, "amount", record.amount);
    put(out, "currency", record.currency);
    return out;
  }

 private:
  [[nodiscard]] Json form(const std::vector<EnrichedCommerceMatch>& records) const {
    Json out = Json::array();
    for (const EnrichedCommerceMatch& record : records) out.push_back(form(record));
    return out;
  }

  [[nodiscard]] static Json form(const std::string& text) { return text::to_valid_utf8(text); }

  template <class Number>
  requires std::is_arithmetic_v<Number>
  [[nodiscard]] static Json form(Number number) { return number; }

  template <class Enumeration>
  requires std::is_enum_v<Enumeration>
  [[nodiscard]] static Json form(Enumeration member) { return std::string(value(member)); }

  template <class Field>
  void put(Json& out, const char* key, const Field& field) const {
    out.emplace(key, form(field));
  }

  template <class Field>
  void put(Json& out, const char* key, const std::optional<Field>& field) const {
    if (field) {
      put(out, key, *field);
    } else if (!_exclude_none) {
      out.emplace(key, nullptr);
    }
  }

  bool _exclude_none;
};

template <class Record>
std::string dump(const Record& record, std::optional<int> indent, bool exclude_none) {
  return JsonWriter(exclude_none).form(record).dump(indent.value_or(-1));
}

}  // namespace

std::string_view value(PageType member) noexcept {
  switch (member) {
    case PageType::PRODUCT:
      return "product";
    case PageType::MARKETPLACE:
      return "marketplace";
    case PageType::ARTICLE:
      return "article";
    case PageType::PORTFOLIO:
      return "portfolio";
    case PageType::SOCIAL:
      return "social";
    case PageType::UNCATEGORIZED:
      return "uncategorized";
  }
  return "";
}

std::string_view value(MerchantCategory member) noexcept {
  switch (member) {
    case MerchantCategory::MAJOR_MARKETPLACE:
      return "major_marketplace";
    case MerchantCategory::RESELLER_SPECIALIST:
      return "reseller_specialist";
    case MerchantCategory::OFFICIAL_BRAND:
      return "official_brand";
    case MerchantCategory::UNVERIFIED:
      return "unverified";
  }
  return "";
}

std::string_view value(StockStatus member) noexcept {
  switch (member) {
    case StockStatus::IN_STOCK:
      return "in_stock";
    case StockStatus::OUT_OF_STOCK:
      return "out_of_stock";
    case StockStatus::PREORDER:
      return "preorder";
  }
  return "";
}

std::string_view value(ItemCondition member) noexcept {
  switch (member) {
    case ItemCondition::NEW:
      return "new";
    case ItemCondition::USED:
      return "used";
    case ItemCondition::REFURBISHED:
      return "refurbished";
  }
  return "";
}

std::string_view value(RelevanceGrade member) noexcept {
  switch (member) {
    case RelevanceGrade::HIGH:
      return "high";
    case RelevanceGrade::MEDIUM:
      return "medium";
    case RelevanceGrade::LOW:
      return "low";
  }
  return "";
}

std::string CommerceIntelligence::model_dump_json(std::optional<int> indent, bool exclude_none) const {
  return dump(*this, indent, exclude_none);
}

std::string model_dump_json(const EnrichedCommerceMatch& item, std::optional<int> indent, bool exclude_none) {
  return dump(item, indent, exclude_none);
}

std::string model_dump_json(const CommerceSummary& summary, std::optional<int> indent, bool exclude_none) {
  return dump(summary, indent, exclude_none);
}

std::string model_dump_json(const NormalizedPrice& price, std::optional<int> indent, bool exclude_none) {
  return dump(price, indent, exclude_none);
}

std::string model_dump_json_with_id(std::string_view id, const CommerceIntelligence& commerce, bool exclude_none) {
  // `id` does not go through the tree, which would lose the digits of a long number.
  std::string line = R"({"id":)";
  line += id;
  line += ',';  // two members always follow
  line.append(commerce.model_dump_json(std::nullopt, exclude_none), 1);
  return line;
}

}  // namespace quillmere
