#include "cli/result_input.hpp"

#include <initializer_list>
#include <optional>
#include <vector>

#include "cli/errors.hpp"
#include "cli/fields.hpp"
#include "cli/words.hpp"

namespace quillmere::cli {
namespace {

using text::JsonValue;

template <class Enumeration>
std::optional<Enumeration> member(const Fields& fields, std::string_view name,
                                  std::initializer_list<Enumeration> members) {
  const std::optional<JsonValue> found = fields.find(name);
  if (!found) return std::nullopt;
  std::vector<std::string_view> texts;
  for (const Enumeration candidate : members) {
    if (found->is_string_equal_to(value(candidate))) return candidate;
    texts.push_back(value(candidate));
  }
  fields.refuse(name, listed(texts), *found);
}

EnrichedCommerceMatch read_item(JsonValue item) {
  const Fields fields(item, "an object");
  EnrichedCommerceMatch match;
  match.title = fields.text("title");
  match.direct_url = fields.text("direct_url");
  match.original_url = fields.optional_text("original_url").value_or("");
  match.price = fields.optional_price("price");
  match.merchant_name = fields.optional_text("merchant_name");
  match.merchant_category = member(fields, "merchant_category",
                                   {MerchantCategory::MAJOR_MARKETPLACE, MerchantCategory::RESELLER_SPECIALIST,
                                    MerchantCategory::OFFICIAL_BRAND, MerchantCategory::UNVERIFIED});
  match.thumbnail = fields.optional_text("thumbnail");
  match.match_score = fields.optional_integer("match_score").value_or(0);
  match.page_type = member(fields, "page_type",
                           {PageType::PRODUCT, PageType::MARKETPLACE, PageType::ARTICLE, PageType::PORTFOLIO,
                            PageType::SOCIAL, PageType::UNCATEGORIZED})
                        .value_or(PageType::UNCATEGORIZED);
  match.brand = fields.optional_text("brand");
  match.sku = fields.optional_text("sku");
  match.condition = member(fields, "condition", {ItemCondition::NEW, ItemCondition::USED, ItemCondition::REFURBISHED});
  match.stock_status =
      member(fields, "stock_status", {StockStatus::IN_STOCK, StockStatus::OUT_OF_STOCK, StockStatus::PREORDER});
  match.primary_image_url = fields.optional_text("primary_image_url");
  match.shipping_info = fields.optional_text("shipping_info");
  match.relevance = member(fields, "relevance", {RelevanceGrade::HIGH, RelevanceGrade::MEDIUM, RelevanceGrade::LOW});
  return match;
}

CommerceSummary read_summary(const Fields& root, std::size_t items) {
  CommerceSummary summary;
  summary.total_matches = static_cast<std::int64_t>(items);
  const std::optional<JsonValue> found = root.find("summary");
  if (!found) return summary;
  if (!found->is_object()) root.refuse("summary", "an object", *found);
  const Fields fields(*found, "", "summary.");
  summary.total_matches = fields.optional_integer("total_matches").value_or(summary.total_matches);
  summary.currency = fields.optional_text("currency").value_or(summary.currency);
  summary.total_priced_matches = fields.optional_integer("total_priced_matches").value_or(0);
  summary.min_price = fields.optional_number("min_price");
  summary.max_price = fields.optional_number("max_price");
  summary.average_price = fields.optional_number("average_price");
  summary.median_price = fields.optional_number("median_price");
  return summary;
}

CommerceIntelligence read_document(JsonValue root) {
  const Fields fields(root, "a result document: an object with \"items\"");
  const std::optional<JsonValue> items = fields.find("items");
  if (!items && (fields.find("matches") || fields.find("visual_matches"))) {
    throw FieldError("expected a result document, got matches; make one of them with \"quillmere enrich\"",
                     root.offset());
  }
  if (!items) fields.refuse_missing("items", "an array");
  if (!items->is_array()) fields.refuse("items", "an array", *items);
  CommerceIntelligence result;
  for (const JsonValue item : items->elements()) {
    try {
      result.items.push_back(read_item(item));
    } catch (const FieldError& error) {
      throw FieldError("item " + std::to_string(result.items.size() + 1) + ": " + error.what(), error.offset());
    }
  }
  result.summary = read_summary(fields, result.items.size());
  return result;
}

}  // namespace

CommerceIntelligence read_result(std::string_view text, const std::string& name) {
  LineCounter counter(text);
  text::JsonDocument document;
  const auto refuse = [&](std::size_t offset, const std::string& what) {
    throw ToolError(MISUNDERSTOOD, name + ":" + std::to_string(counter.line_of(offset)) + ": " + what);
  };
  const std::optional<JsonValue> root = document.read(text);
  if (!root) {
    const text::JsonError error = document.error();
    const std::optional<JsonValue> line = document.read(text.substr(0, text.find('\n')));
    if (line && line->is_object())
      refuse(error.offset, "expected one result document, got several; give one line of a batch");
    refuse(error.offset, not_json(text, error));
  }
  try {
    return read_document(*root);
  } catch (const FieldError& error) {
    refuse(error.offset(), error.what());
  }
  return {};
}

}  // namespace quillmere::cli
