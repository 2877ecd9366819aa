#include "quillmere/models.hpp"

namespace quillmere {

std::string_view value(PageType member) noexcept {
  switch (member) {
    case PageType::PRODUCT: return "product";
    case PageType::MARKETPLACE: return "marketplace";
    case PageType::ARTICLE: return "article";
    case PageType::PORTFOLIO: return "portfolio";
    case PageType::SOCIAL: return "social";
    case PageType::UNCATEGORIZED: return "uncategorized";
  }
  return "";
}

std::string_view value(MerchantCategory member) noexcept {
  switch (member) {
    case MerchantCategory::MAJOR_MARKETPLACE: return "major_marketplace";
    case MerchantCategory::RESELLER_SPECIALIST: return "reseller_specialist";
    case MerchantCategory::OFFICIAL_BRAND: return "official_brand";
    case MerchantCategory::UNVERIFIED: return "unverified";
  }
  return "";
}

std::string_view value(StockStatus member) noexcept {
  switch (member) {
    case StockStatus::IN_STOCK: return "in_stock";
    case StockStatus::OUT_OF_STOCK: return "out_of_stock";
    case StockStatus::PREORDER: return "preorder";
  }
  return "";
}

std::string_view value(ItemCondition member) noexcept {
  switch (member) {
    case ItemCondition::NEW: return "new";
    case ItemCondition::USED: return "used";
    case ItemCondition::REFURBISHED: return "refurbished";
  }
  return "";
}

std::string_view value(RelevanceGrade member) noexcept {
  switch (member) {
    case RelevanceGrade::HIGH: return "high";
    case RelevanceGrade::MEDIUM: return "medium";
    case RelevanceGrade::LOW: return "low";
  }
  return "";
}

}  // namespace quillmere
