#include "quillmere/commerce/page/page_reader.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "quillmere/commerce/page/scan.hpp"
#include "quillmere/text/json_script.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

using text::JsonElements;
using text::JsonMember;
using text::JsonValue;

/// A page beyond this is unusual: the buffers that it filled are not kept for the next one.
constexpr std::size_t USUAL_PAGE_BYTES = 8U << 20U;

/// What is still to visit of a walk into a value, depth first: a place in every container on the way down.
class Walk {
 public:
  /// The children of `container` come next.
  void enter(JsonValue container) {
    if (!container.is_empty()) _places.push_back(container.children().begin());
  }

  /// When `child`, of the container that was just entered, comes, it is passed over.
  void pass_over(JsonValue child) { _passed_over.push_back(child); }

  [[nodiscard]] std::optional<JsonValue> next() {
    while (!_places.empty()) {
      JsonElements::iterator& place = _places.back();
      if (place == std::default_sentinel) {
        _places.pop_back();
        continue;
      }
      const JsonValue child = *place;
      ++place;
      if (_passed_over.empty() || child != _passed_over.back()) return child;
      _passed_over.pop_back();
    }
    return std::nullopt;
  }

 private:
  std::vector<JsonElements::iterator> _places;
  std::vector<JsonValue> _passed_over;  // the next to come on top
};

bool is_product_type(const std::optional<JsonValue>& type) {
  if (!type) return false;
  if (type->is_array()) {
    const auto elements = type->elements();
    return std::any_of(elements.begin(), elements.end(), [](JsonValue element) {
      return element.is_string_equal_to("Product") || element.is_string_equal_to("ProductGroup");
    });
  }
  return type->is_string_equal_to("Product") || type->is_string_equal_to("ProductGroup") ||
         type->is_string_equal_to("IndividualProduct");
}

/// Calls `visit` with each product object in and below `value`, until it gives false.
template <class Visit>
void visit_products(JsonValue value, Visit visit) {
  Walk walk;
  for (std::optional<JsonValue> at = value; at; at = walk.next()) {
    if (!at->is_object()) {
      walk.enter(*at);
      continue;
    }
    std::optional<JsonValue> type;
    std::optional<JsonValue> graph;
    for (const JsonMember member : at->members()) {
      if (member.key == "@type") type = member.value;
      if (member.key == "@graph" && member.value.is_array()) graph = member.value;
    }
    walk.enter(*at);
    if (is_product_type(type)) {
      if (!visit(*at)) return;
    } else if (graph) {
      walk.pass_over(*graph);
      walk.enter(*graph);
    }
  }
}

bool has_keys_of_product(JsonValue object) {
  bool has_brand = false;
  bool has_name = false;
  for (const JsonMember member : object.members()) {
    has_brand = has_brand || member.key == "brandName" || member.key == "brand";
    has_name = has_name || member.key == "sku" || member.key == "name";
  }
  return has_brand && has_name;
}

/// The first object, depth first and objects only, that has the keys of a product.
std::optional<JsonValue> search_dict(JsonValue object) {
  Walk walk;
  for (std::optional<JsonValue> at = object; at; at = walk.next()) {
    if (!at->is_object()) continue;
    if (has_keys_of_product(*at)) return at;
    walk.enter(*at);
  }
  return std::nullopt;
}

/// Whether a block can hold a product: only one that spells its type, or escapes letters of it ("\u0050roduct").
bool may_hold_product(std::string_view block) {
  return block.find("Product") != std::string_view::npos || block.find("\\u00") != std::string_view::npos;
}

/// The JSON-LD of a page, block for block; only those that decode and may hold a product.
class LdJsonBlocks {
 public:
  explicit LdJsonBlocks(const LiteralIndex& index) noexcept : _bodies(index, LD_JSON) {}

  /// Reads the next one into `document`; absent behind the last.
  [[nodiscard]] std::optional<JsonValue> next(text::JsonDocument& document) {
    while (const std::optional<std::string_view> body = _bodies.next()) {
      if (!may_hold_product(*body)) continue;
      const auto value = document.read(text::unwrap_json_script(text::strip(*body)));
      if (value) return value;
    }
    return std::nullopt;
  }

 private:
  ScriptBodies _bodies;
};

}  // namespace

std::optional<std::string_view> MetaTagList::find(std::string_view key) const {
  const auto tag = std::find_if(_tags.rbegin(), _tags.rend(),
                                [&](const MetaTag& candidate) { return lower_case_is(candidate.key, key); });
  return tag == _tags.rend() ? std::nullopt : std::optional(tag->value);
}

std::map<std::string, std::string> MetaTagList::to_map() const {
  std::map<std::string, std::string> contents;
  for (const MetaTag& tag : _tags) contents.insert_or_assign(text::to_lower(tag.key), std::string(tag.value));
  return contents;
}

LdJsonProducts find_ld_json_products(const LiteralIndex& index) {
  LdJsonProducts found;
  LdJsonBlocks blocks(index);
  auto document = std::make_unique<text::JsonDocument>();
  while (const std::optional<JsonValue> block = blocks.next(*document)) {
    const std::size_t known = found.products.size();
    visit_products(*block, [&](JsonValue product) {
      found.products.push_back(product);
      return true;
    });
    if (found.products.size() == known) continue;
    found.documents.push_back(std::exchange(document, std::make_unique<text::JsonDocument>()));
  }
  return found;
}

std::optional<JsonValue> find_state_product(JsonValue state) {
  for (const std::string_view key : {"props", "pageProps"}) {
    if (!state.is_object()) return std::nullopt;
    const std::optional<JsonValue> inner = state.find(key);
    if (!inner) return std::nullopt;  // as an empty object, which holds no product
    state = *inner;
  }
  if (!state.is_object()) return std::nullopt;
  for (const std::string_view key : {"productTemplate", "product", "item", "productDetails"}) {
    const std::optional<JsonValue> product = state.find(key);
    if (product && product->is_object()) return product;
  }
  return search_dict(state);
}

void PageReader::open(std::string_view page) {
  _has_meta_tags = false;
  _has_products = false;
  _index.read(page);
}

void PageReader::close() noexcept {
  if (_index.page().size() > USUAL_PAGE_BYTES) {
    _meta_tags = MetaTagList();
    for (text::JsonDocument& document : _documents) document.release();
    _state.release();
  }
  _index.clear();
}

const MetaTagList& PageReader::meta_tags() {
  if (std::exchange(_has_meta_tags, true)) return _meta_tags;
  _meta_tags._tags.clear();
  MetaTags tags(_index);
  while (const std::optional<MetaTag> tag = tags.next()) {
    const MetaTag stripped{text::strip(tag->key), text::strip(tag->value)};
    if (!stripped.key.empty() && !stripped.value.empty()) _meta_tags._tags.push_back(stripped);
  }
  return _meta_tags;
}

const ProductChoice& PageReader::ld_json_products() {
  if (std::exchange(_has_products, true)) return _products;
  _products = {};
  LdJsonBlocks blocks(_index);
  // A block whose products are chosen keeps its document: there are three choices, and the third ends the search.
  for (auto document = _documents.begin(); !_products.is_final();) {
    const std::optional<JsonValue> block = blocks.next(*document);
    if (!block) break;
    bool any_chosen = false;
    visit_products(*block, [&](JsonValue product) {
      any_chosen = _products.consider(product) || any_chosen;
      return !_products.is_final();
    });
    if (any_chosen) ++document;
  }
  return _products;
}

std::optional<JsonValue> PageReader::next_data_product() {
  const std::optional<std::string_view> body = ScriptBodies(_index, PAGE_STATE).next();
  if (!body) return std::nullopt;
  const std::optional<JsonValue> state = _state.read(text::unwrap_json_script(*body));
  return state ? find_state_product(*state) : std::nullopt;
}

std::optional<std::string> PageReader::html_title() const {
  const std::optional<std::string_view> title = title_text(_index);
  return title ? std::optional(text::collapse_whitespace(*title)) : std::nullopt;
}

}  // namespace quillmere::commerce::page
