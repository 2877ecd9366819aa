#include "quillmere/text/json_script.hpp"

#include <algorithm>

namespace quillmere::text {
namespace {

constexpr std::string_view BLANKS = " \t";
constexpr std::string_view WHITESPACE = " \t\n\r";
constexpr std::string_view WHITESPACE_AND_SEMICOLONS = " \t\n\r;";

bool take_prefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool take_suffix(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

void skip_leading(std::string_view& text, std::string_view set = WHITESPACE) {
  text.remove_prefix(std::min(text.find_first_not_of(set), text.size()));
}

void skip_trailing(std::string_view& text, std::string_view set = WHITESPACE) {
  text.remove_suffix(text.size() - (text.find_last_not_of(set) + 1));
}

bool take_comment(std::string_view& text) {
  return take_prefix(text, "<!--") && take_suffix(text, "-->");
}

/// `<![CDATA[`, `// <![CDATA[` or `/* <![CDATA[ */`.
bool take_cdata_opening(std::string_view& text) {
  const bool in_comment = take_prefix(text, "/*");
  const bool on_comment_line = !in_comment && take_prefix(text, "//");
  if (in_comment || on_comment_line) skip_leading(text, in_comment ? WHITESPACE : BLANKS);
  if (!take_prefix(text, "<![CDATA[")) return false;
  if (!in_comment) return true;
  skip_leading(text);
  return take_prefix(text, "*/");
}

/// `]]>`, `// ]]>` or `/* ]]> */`.
bool take_cdata_closing(std::string_view& text) {
  const bool in_comment = take_suffix(text, "*/");
  if (in_comment) skip_trailing(text);
  if (!take_suffix(text, "]]>")) return false;
  if (in_comment) {
    skip_trailing(text);
    return take_suffix(text, "/*");
  }
  std::string_view before_blanks = text;
  skip_trailing(before_blanks, BLANKS);
  if (take_suffix(before_blanks, "//")) text = before_blanks;
  return true;
}

}  // namespace

std::string_view unwrap_json_script(std::string_view body) noexcept {
  skip_leading(body);
  skip_trailing(body, WHITESPACE_AND_SEMICOLONS);
  std::string_view inside = body;
  if (!take_comment(inside)) {
    inside = body;
    if (!take_cdata_opening(inside) || !take_cdata_closing(inside)) return body;
  }
  skip_leading(inside);
  skip_trailing(inside, WHITESPACE_AND_SEMICOLONS);
  return inside;
}

}  // namespace quillmere::text
