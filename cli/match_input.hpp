#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/models.hpp"
#include "quillmere/text/json.hpp"

/// Visual matches as people have them in files.
namespace quillmere::cli {

/// A match object: the fields of VisualMatch by their names; "price" may be an object whose "value" is the printed
/// price and whose "currency" is the hint. Throws FieldError.
[[nodiscard]] VisualMatch read_match(text::JsonValue value);

/// An array of match objects. Throws FieldError, which counts the matches from 1.
[[nodiscard]] std::vector<VisualMatch> read_match_array(text::JsonValue array);

struct MatchInput {
  std::vector<VisualMatch> matches;
  std::vector<std::size_t> lines;  ///< the line on which each match begins, from 1
};

/// All of a file: an array of matches, an object that holds one under "matches" or "visual_matches", or JSON Lines with
/// one match a line; no text at all is no matches. Throws ToolError MISUNDERSTOOD with `name` and line.
[[nodiscard]] MatchInput read_match_input(std::string_view text, const std::string& name);

}  // namespace quillmere::cli
