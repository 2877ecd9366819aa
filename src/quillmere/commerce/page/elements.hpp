#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "quillmere/commerce/page/literal_index.hpp"
#include "quillmere/commerce/page/scan.hpp"

/// The pieces of a page that the extractors read: scripts, meta tags and the title, cut out exactly as their patterns
/// do. `\s` is any Unicode whitespace, "." matches line breaks, and letter case does not count unless said. Results are
/// slices of the page, neither stripped nor decoded.
namespace quillmere::commerce::page {

/// What the two kinds of script are told by: an attribute that holds one of the indexed literals.
struct ScriptKind {
  Literal literal;
  std::size_t literal_size;
  std::string_view attribute;  ///< with its "="
  Case letters;
};
inline constexpr ScriptKind LD_JSON{Literal::ld_json, 19, "type=", Case::folded};
inline constexpr ScriptKind PAGE_STATE{Literal::next_data, 13, "id=", Case::exact};

/// The bodies of the scripts of one kind, in order, without overlap:
///   LD_JSON     <script[^>]+type=["']application/ld\+json["'][^>]*>(.*?)</script>
///   PAGE_STATE  <script[^>]+id=["']__NEXT_DATA__["'][^>]*>(.*?)</script>   (letter case counts)
class ScriptBodies {
 public:
  ScriptBodies(const LiteralIndex& index, const ScriptKind& kind) noexcept
      : _page(index.page()), _kind(kind), _anchors(index.positions(kind.literal)), _tag_ends(_page) {}

  /// The next one's group 1; absent behind the last.
  [[nodiscard]] std::optional<std::string_view> next() noexcept;

 private:
  bool _is_in_script_tag(std::size_t attribute_at) noexcept;

  std::string_view _page;
  ScriptKind _kind;
  std::span<const LiteralIndex::Position> _anchors;  // those not yet judged
  Behind<is_tag_end> _tag_ends;
  std::size_t _from = 0;        // behind the last match
  std::size_t _tagless_to = 0;  // no "<script" that could still open a tag begins before this
};

/// A meta tag with the captures of its key and its value.
struct MetaTag {
  std::string_view key;
  std::string_view value;
};

/// The matches of <meta\s+([^>]+)>, in order, whose group 1 holds both
///   key    (?:property|name)=["']([^"']+)["']
///   value  content=["']([^"']*)["']
/// the first of each in it. A quote of one kind may be closed by the other.
class MetaTags {
 public:
  explicit MetaTags(const LiteralIndex& index) noexcept
      : _page(index.page()), _anchors(index.positions(Literal::meta)) {}

  [[nodiscard]] std::optional<MetaTag> next() noexcept;

 private:
  std::string_view _page;
  std::span<const LiteralIndex::Position> _anchors;
  std::size_t _from = 0;
};

/// Group 1 of the first <title[^>]*>(.*?)</title>.
[[nodiscard]] std::optional<std::string_view> title_text(const LiteralIndex& index) noexcept;

}  // namespace quillmere::commerce::page
