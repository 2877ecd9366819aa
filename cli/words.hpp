#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Words of the command line: splitting lists of them, and guessing which one was meant.
namespace quillmere::cli {

/// The pieces of `list` between `separator`s; none of an empty list.
[[nodiscard]] std::vector<std::string_view> split(std::string_view list, char separator);

/// "json, csv or jsonl".
[[nodiscard]] std::string listed(std::span<const std::string_view> words);

/// The one of `known` that `word` was most likely meant to be: it begins with `word`, or can be reached from it by few
/// single-letter changes, insertions, removals and swaps of neighbours. Empty when none is near.
[[nodiscard]] std::string_view nearest(std::string_view word, std::span<const std::string_view> known);

}  // namespace quillmere::cli
