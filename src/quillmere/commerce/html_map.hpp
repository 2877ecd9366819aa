#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace quillmere::commerce {

/// URL -> page text, in the order in which the URLs were first inserted.
///
/// A URL that is present with an absent text is a page that could not be had; a URL that was never inserted is not in
/// the map at all. URLs are compared as exact text. Threads: as a standard container.
///
///     HtmlMap pages;
///     pages.insert("https://shop.test/a", "<title>A</title>");
///     pages.insert("https://shop.test/b", std::nullopt);
///     if (const std::optional<std::string>* html = pages.find(url); html && *html) read(**html);
class HtmlMap {
 public:
  /// As in a standard container.
  using value_type = std::pair<std::string, std::optional<std::string>>;
  using const_iterator = std::vector<value_type>::const_iterator;

  /// Appends an entry. A URL that is already present keeps its place and its text; the result is then false.
  bool insert(std::string url, std::optional<std::string> html) {
    const auto [place, is_new] = _places.try_emplace(url, _entries.size());
    if (!is_new) return false;
    try {
      _entries.emplace_back(std::move(url), std::move(html));
    } catch (...) {
      _places.erase(place);
      throw;
    }
    return true;
  }

  /// The text stored for `url`, nullptr when the map has no such entry. The next `insert` invalidates the pointer.
  [[nodiscard]] const std::optional<std::string>* find(std::string_view url) const {
    const auto place = _places.find(url);
    return place == _places.end() ? nullptr : &_entries[place->second].second;
  }

  /// As in a standard container; the entries stand in the order in which they were inserted.
  [[nodiscard]] bool contains(std::string_view url) const { return find(url) != nullptr; }
  [[nodiscard]] std::size_t size() const noexcept { return _entries.size(); }
  [[nodiscard]] bool empty() const noexcept { return _entries.empty(); }
  [[nodiscard]] const_iterator begin() const noexcept { return _entries.begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return _entries.end(); }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::vector<value_type> _entries;
  std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> _places;
};

}  // namespace quillmere::commerce
