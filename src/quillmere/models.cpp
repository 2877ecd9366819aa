#include "quillmere/models.hpp"

#include <cmath>
#include <type_traits>
#include <utility>

#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere {
namespace {

/// Writes records as JSON text: one `write` for each kind of value that a field may have. There is no tree in between:
/// when memory runs out, a tree's destructor may be in want of some.
class JsonWriter {
 public:
  JsonWriter(std::optional<int> indent, bool exclude_none)
      : _indent(indent.value_or(-1)), _exclude_none(exclude_none) {}

  void write(const CommerceIntelligence& record) {
    group("{}", [&] {
      put("summary", record.summary);
      put("items", record.items);
    });
  }

  void write(const EnrichedCommerceMatch& record) {
    group("{}", [&] {
      put("title", record.title);
      put("direct_url", record.direct_url);
      put("original_url", record.original_url);
      put("price", record.price);
      put("merchant_name", record.merchant_name);
      put("merchant_category", record.merchant_category);
      put("thumbnail", record.thumbnail);
      put("match_score", record.match_score);
      put("page_type", record.page_type);
      put("brand", record.brand);
      put("sku", record.sku);
      put("condition", record.condition);
      put("stock_status", record.stock_status);
      put("primary_image_url", record.primary_image_url);
      put("shipping_info", record.shipping_info);
      put("relevance", record.relevance);
    });
  }

  void write(const CommerceSummary& record) {
    group("{}", [&] {
      put("total_matches", record.total_matches);
      put("currency", record.currency);
      put("total_priced_matches", record.total_priced_matches);
      put("min_price", record.min_price);
      put("max_price", record.max_price);
      put("average_price", record.average_price);
      put("median_price", record.median_price);
    });
  }

  void write(const NormalizedPrice& record) {
    group("{}", [&] {
      put("raw", record.raw);
      put("amount", record.amount);
      put("currency", record.currency);
    });
  }

  [[nodiscard]] std::string take() && { return std::move(_out); }

 private:
  void write(const std::vector<EnrichedCommerceMatch>& records) {
    group("[]", [&] {
      for (const EnrichedCommerceMatch& record : records) {
        next();
        write(record);
      }
    });
  }

  void write(const std::string& text) { write_valid(text::to_valid_utf8(text)); }
  void write(std::int64_t number) { _out += std::to_string(number); }
  void write(double number) { _out += std::isfinite(number) ? text::shortest_decimal(number) : "null"; }

  template <class Enumeration>
  requires std::is_enum_v<Enumeration>
  void write(Enumeration member) { write_valid(value(member)); }

  void write_valid(std::string_view text) {
    _out += '"';
    for (const char letter : text) {
      if (letter != '"' && letter != '\\' && static_cast<unsigned char>(letter) >= 0x20) {
        _out += letter;
        continue;
      }
      const std::size_t escape = std::string_view("\"\\\b\f\n\r\t").find(letter);
      if (escape != std::string_view::npos) {
        _out += {'\\', "\"\\bfnrt"[escape]};
      } else {
        _out += letter < 0x10 ? "\\u000" : "\\u001";
        _out += "0123456789abcdef"[letter & 0xF];
      }
    }
    _out += '"';
  }

  /// An object or an array; `members` puts what is in it.
  template <class Members>
  void group(std::string_view brackets, Members members) {
    _out += brackets[0];
    ++_depth;
    _is_empty = true;
    members();
    --_depth;
    if (!_is_empty) break_line();
    _is_empty = false;
    _out += brackets[1];
  }

  void next() {
    if (!_is_empty) _out += ',';
    _is_empty = false;
    break_line();
  }

  void break_line() {
    if (_indent < 0) return;
    _out += '\n';
    _out.append(static_cast<std::size_t>(_depth) * static_cast<std::size_t>(_indent), ' ');
  }

  void put_key(std::string_view key) {
    next();
    write_valid(key);
    _out += _indent < 0 ? ":" : ": ";
  }

  template <class Field>
  void put(std::string_view key, const Field& field) {
    put_key(key);
    write(field);
  }

  template <class Field>
  void put(std::string_view key, const std::optional<Field>& field) {
    if (!field && _exclude_none) return;
    put_key(key);
    if (field) {
      write(*field);
    } else {
      _out += "null";
    }
  }

  int _indent;
  bool _exclude_none;
  std::string _out;
  int _depth = 0;
  bool _is_empty = true;  ///< nothing has been put into the group that is being written
};

template <class Record>
std::string dump(const Record& record, std::optional<int> indent, bool exclude_none) {
  JsonWriter writer(indent, exclude_none);
  writer.write(record);
  return std::move(writer).take();
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
  std::string line = R"({"id":)";
  line += id;
  line += ',';  // two members always follow
  line.append(commerce.model_dump_json(std::nullopt, exclude_none), 1);
  return line;
}

}  // namespace quillmere
