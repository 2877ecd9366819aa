#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/commerce/page/elements.hpp"
#include "quillmere/commerce/page/literal_index.hpp"
#include "quillmere/commerce/page/structured_data.hpp"
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

/// All product objects of a page's JSON-LD with the documents that they live in, one for each block that has any.
/// Blocks in their order; in a block depth first, a parent before what it holds, and in an object that is no product
/// its "@graph" before its other members. A block that does not decode costs that block only.
struct LdJsonProducts {
  std::vector<std::unique_ptr<text::JsonDocument>> documents;
  std::vector<text::JsonValue> products;
};
[[nodiscard]] LdJsonProducts find_ld_json_products(const LiteralIndex& index);

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
  /// Of all products that `find_ld_json_products` finds; what stands behind the last that matters is not read.
  [[nodiscard]] const ProductChoice& ld_json_products();
  [[nodiscard]] std::optional<text::JsonValue> next_data_product();
  /// Whitespace collapsed, references not decoded.
  [[nodiscard]] std::optional<std::string> html_title() const;

 private:
  LiteralIndex _index;
  bool _has_meta_tags = false;
  MetaTagList _meta_tags;
  bool _has_products = false;
  ProductChoice _products;
  std::array<text::JsonDocument, 3> _documents;  // those of _products first
  text::JsonDocument _state;
};

}  // namespace quillmere::commerce::page
