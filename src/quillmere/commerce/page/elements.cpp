#include "quillmere/commerce/page/elements.hpp"

#include <algorithm>

#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

constexpr std::string_view SCRIPT_START = "<script";
constexpr std::string_view SCRIPT_END = "</script>";
constexpr std::string_view META_START = "<meta";
constexpr std::string_view TITLE_START = "<title";
constexpr std::string_view TITLE_END = "</title>";

// The captures in the attribute text of one tag. An "=" is looked at once; a value that no quote closes is the last.
std::optional<MetaTag> read_meta_tag(std::string_view attributes) noexcept {
  std::optional<std::string_view> key;
  std::optional<std::string_view> value;
  for (std::size_t at = attributes.find('='); at != NOWHERE; at = attributes.find('=', at + 1)) {
    if (!quote_at(attributes, at + 1)) continue;
    const bool is_key = !key && (ends_at(attributes, at, "property") || ends_at(attributes, at, "name"));
    const bool is_value = !value && ends_at(attributes, at, "content");
    if (!is_key && !is_value) continue;
    const std::size_t begin = at + 2;
    const std::size_t end = find_quote(attributes, begin);
    if (end == NOWHERE) return std::nullopt;
    const std::string_view capture = attributes.substr(begin, end - begin);
    if (is_key && !capture.empty()) key = capture;
    if (is_value) value = capture;
    if (key && value) return MetaTag{*key, *value};
  }
  return std::nullopt;
}

}  // namespace

// Whether a "<script" begins at or behind `_from` that has no '>' and at least one byte between itself and
// `attribute_at`.
bool ScriptBodies::_is_in_script_tag(std::size_t attribute_at) noexcept {
  if (attribute_at <= SCRIPT_START.size()) return false;
  const std::size_t tag = _tag_ends.after_last_before(attribute_at);
  const std::size_t end = attribute_at - 1;
  if (find_tag(_page, SCRIPT_START, std::max({tag, _from, _tagless_to}), end, _kind.letters) != NOWHERE) return true;
  _tagless_to = attribute_at - SCRIPT_START.size();
  return false;
}

std::optional<std::string_view> ScriptBodies::next() noexcept {
  while (!_anchors.empty()) {
    const std::size_t at = _anchors.front();
    _anchors = _anchors.subspan(1);
    const std::size_t behind = at + _kind.literal_size;
    if (at == 0 || !is_quote(_page[at - 1]) || !quote_at(_page, behind)) continue;
    if (!ends_at(_page, at - 1, _kind.attribute, _kind.letters)) continue;
    if (!_is_in_script_tag(at - 1 - _kind.attribute.size())) continue;

    const std::size_t tag_end = find_tag_end(_page, behind + 1);
    const std::size_t body_end =
        tag_end == NOWHERE ? NOWHERE : find_tag(_page, SCRIPT_END, tag_end + 1, NOWHERE, _kind.letters);
    if (body_end == NOWHERE) {
      _anchors = {};
      break;
    }
    _from = body_end + SCRIPT_END.size();
    return _page.substr(tag_end + 1, body_end - tag_end - 1);
  }
  return std::nullopt;
}

std::optional<MetaTag> MetaTags::next() noexcept {
  while (!_anchors.empty()) {
    const std::size_t at = _anchors.front();
    _anchors = _anchors.subspan(1);
    const std::size_t behind = at + META_START.size();
    if (at < _from || text::leading_whitespace(_page.substr(behind)) == 0) continue;
    const std::size_t end = find_tag_end(_page, behind);
    if (end == NOWHERE) {
      _anchors = {};
      break;
    }
    _from = end;
    if (const auto tag = read_meta_tag(_page.substr(behind, end - behind))) return tag;
  }
  return std::nullopt;
}

std::optional<std::string_view> title_text(const LiteralIndex& index) noexcept {
  const auto anchors = index.positions(Literal::title);
  if (anchors.empty()) return std::nullopt;
  // Where the first "<title" finds no end, no later one does.
  const std::string_view page = index.page();
  const std::size_t tag_end = find_tag_end(page, anchors.front() + TITLE_START.size());
  if (tag_end == NOWHERE) return std::nullopt;
  const std::size_t text_end = find_tag(page, TITLE_END, tag_end + 1, NOWHERE);
  if (text_end == NOWHERE) return std::nullopt;
  return page.substr(tag_end + 1, text_end - tag_end - 1);
}

}  // namespace quillmere::commerce::page
