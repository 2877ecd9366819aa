#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/commerce/page/elements.hpp"
#include "quillmere/commerce/page/literal_index.hpp"
#include "quillmere/text/json.hpp"

namespace quillmere::commerce::page {

/// Keys and contents of a page's meta tags, as slices of the page.
class MetaTagList {
 public:
  /// The content of the last tag whose key is `key`, a lower-case ASCII text; absent when there is none. Never empty.
  [[nodiscard]] std::optional<std::string_view> find(std::string_view key) const;

  /// All of them, keys in lower case, of a repeated key the last content.
  [[nodiscard]] std::map<std::string, std::string> to_map() const;

 private:
  friend class PageReader;
  std::vector<MetaTag> _tags;  // stripped, neither key nor value empty
};

/// The product objects among JSON-LD values, as `products` grows depth first, a parent before what it holds. An
/// object that is no product has the products of its "@graph" before those of its other members.
void collect_products(text::JsonValue value, std::vector<text::JsonValue>& products);

/// The product object in page state; absent when the document is not of the expected shape.
[[nodiscard]] std::optional<text::JsonValue> find_state_product(text::JsonValue state);

/// One page, read once and asked for its pieces, each of which is worked out when it is first asked for.
///
/// Reading page after page with one reader stops allocating once its buffers fit; what an unusually large page made it
/// allocate is given back. Results are valid, and refer to the page, until the next `open` or `close`.
/// Threads: one reader a thread.
class PageReader {
 public:
  /// Begins with `page`, valid UTF-8 that outlives every use of the results.
  void open(std::string_view page);
  /// Forgets the page.
  void close() noexcept;

  [[nodiscard]] const LiteralIndex& index() const noexcept { return _index; }
  [[nodiscard]] const MetaTagList& meta_tags();
  /// A JSON-LD block that does not decode costs that block only.
  [[nodiscard]] const std::vector<text::JsonValue>& ld_json_products();
  [[nodiscard]] std::optional<text::JsonValue> next_data_product();
  /// Whitespace collapsed, references not decoded.
  [[nodiscard]] std::optional<std::string> html_title() const;

 private:
  text::JsonDocument& _document(std::size_t place);

  LiteralIndex _index;
  bool _has_meta_tags = false;
  MetaTagList _meta_tags;
  bool _has_products = false;
  std::vector<text::JsonValue> _products;
  std::vector<std::unique_ptr<text::JsonDocument>> _documents;  // those of _products first
  std::unique_ptr<text::JsonDocument> _state;
};

}  // namespace quillmere::commerce::page
