#include "quillmere/commerce/page/page_reader.hpp"

#include <algorithm>
#include <utility>

#include "quillmere/commerce/page/scan.hpp"
#include "quillmere/text/json_script.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

using text::JsonMember;
using text::JsonValue;

/// A page beyond this is unusual: the buffers that it filled are not kept for the next one.
constexpr std::size_t USUAL_PAGE_BYTES = 4U << 20U;

bool is_container(JsonValue value) {
  return value.is_object() || value.is_array();
}

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

/// Appends what is to be visited inside `array`, the first on top.
void push_elements(JsonValue array, std::vector<JsonValue>& pending) {
  const auto base = static_cast<std::ptrdiff_t>(pending.size());
  for (const JsonValue element : array.elements()) {
    if (is_container(element)) pending.push_back(element);
  }
  std::reverse(pending.begin() + base, pending.end());
}

/// Notes `object` when it is a product, and appends what is to be visited inside it, the first on top.
void visit_object(JsonValue object, std::vector<JsonValue>& pending, std::vector<JsonValue>& products) {
  const auto base = static_cast<std::ptrdiff_t>(pending.size());
  std::optional<JsonValue> type;
  std::optional<JsonValue> graph;
  for (const JsonMember member : object.members()) {
    if (member.key == "@type") type = member.value;
    if (member.key == "@graph" && member.value.is_array()) graph = member.value;
    if (is_container(member.value)) pending.push_back(member.value);
  }
  const bool is_product = is_product_type(type);
  if (is_product) products.push_back(object);
  if (!is_product && graph) pending.erase(std::find(pending.begin() + base, pending.end(), *graph));
  std::reverse(pending.begin() + base, pending.end());
  if (!is_product && graph) push_elements(*graph, pending);
}

/// The first object, depth first and objects only, that has the keys of a product.
std::optional<JsonValue> search_dict(JsonValue value) {
  std::vector<JsonValue> pending{value};
  while (!pending.empty()) {
    const JsonValue object = pending.back();
    pending.pop_back();
    const auto base = static_cast<std::ptrdiff_t>(pending.size());
    bool has_brand = false;
    bool has_name = false;
    for (const JsonMember member : object.members()) {
      has_brand = has_brand || member.key == "brandName" || member.key == "brand";
      has_name = has_name || member.key == "sku" || member.key == "name";
      if (member.value.is_object()) pending.push_back(member.value);
    }
    if (has_brand && has_name) return object;
    std::reverse(pending.begin() + base, pending.end());
  }
  return std::nullopt;
}

/// Whether a block can hold a product: only one that spells its type, or escapes letters of it ("\u0050roduct").
bool may_hold_product(std::string_view block) {
  return block.find("Product") != std::string_view::npos || block.find("\\u00") != std::string_view::npos;
}

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

void collect_products(JsonValue value, std::vector<JsonValue>& products) {
  std::vector<JsonValue> pending{value};
  while (!pending.empty()) {
    const JsonValue next = pending.back();
    pending.pop_back();
    if (next.is_object()) {
      visit_object(next, pending, products);
    } else {
      push_elements(next, pending);
    }
  }
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
    _products = std::vector<JsonValue>();
    _documents = std::vector<std::unique_ptr<text::JsonDocument>>();
    _state.reset();
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

const std::vector<JsonValue>& PageReader::ld_json_products() {
  if (std::exchange(_has_products, true)) return _products;
  _products.clear();
  std::size_t used = 0;
  ScriptBodies bodies(_index, LD_JSON);
  while (const std::optional<std::string_view> body = bodies.next()) {
    if (!may_hold_product(*body)) continue;
    const std::optional<JsonValue> value = _document(used).read(text::unwrap_json_script(text::strip(*body)));
    if (!value) continue;
    const std::size_t known = _products.size();
    collect_products(*value, _products);
    if (_products.size() > known) ++used;
  }
  return _products;
}

std::optional<JsonValue> PageReader::next_data_product() {
  const std::optional<std::string_view> body = ScriptBodies(_index, PAGE_STATE).next();
  if (!body) return std::nullopt;
  if (!_state) _state = std::make_unique<text::JsonDocument>();
  const std::optional<JsonValue> state = _state->read(text::unwrap_json_script(*body));
  return state ? find_state_product(*state) : std::nullopt;
}

std::optional<std::string> PageReader::html_title() const {
  const std::optional<std::string_view> title = title_text(_index);
  return title ? std::optional(text::collapse_whitespace(*title)) : std::nullopt;
}

text::JsonDocument& PageReader::_document(std::size_t place) {
  if (place == _documents.size()) _documents.push_back(std::make_unique<text::JsonDocument>());
  return *_documents[place];
}

}  // namespace quillmere::commerce::page
