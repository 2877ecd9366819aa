#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What the system means by characters, whitespace and letter case: one place for all of it.
///
/// Text        UTF-8. Operations other than `is_valid_utf8` and `to_valid_utf8` expect valid text; on invalid bytes
///             they stay within bounds and give some text.
/// Whitespace  the 25 code points of the Unicode property White_Space.
/// Case        the full, locale-independent Unicode mappings, special casing and final sigma included.
/// Threads     pure: call from any thread.
namespace quillmere::text {

/// Whether `bytes` are well-formed UTF-8.
[[nodiscard]] bool is_valid_utf8(std::string_view bytes) noexcept;

/// `bytes` with each maximal invalid subpart replaced by U+FFFD (the Unicode Standard's practice); valid text is
/// moved through without a copy.
[[nodiscard]] std::string to_valid_utf8(std::string bytes);

/// Number of code points.
[[nodiscard]] std::size_t count_characters(std::string_view text) noexcept;

/// Whether `text` has more than `limit` code points; looks at no more than it must.
[[nodiscard]] bool is_longer_than(std::string_view text, std::size_t limit) noexcept;

/// Length in bytes of the whitespace character that `text` begins with, 0 when it begins with none.
[[nodiscard]] std::size_t leading_whitespace(std::string_view text) noexcept;

/// `text` without leading and trailing whitespace.
[[nodiscard]] std::string_view strip(std::string_view text) noexcept;

/// Whether there are more than `limit` words in `text`: pieces between runs of whitespace, not empty. Stops at the
/// first too many.
[[nodiscard]] bool has_more_words_than(std::string_view text, std::size_t limit) noexcept;

/// `text` with every run of whitespace made one space and none left at either end.
[[nodiscard]] std::string collapse_whitespace(std::string_view text);

/// `text` in lower or upper case.
[[nodiscard]] std::string to_lower(std::string_view text);
[[nodiscard]] std::string to_upper(std::string_view text);

/// Within each maximal run of letters (category L) the first upper-cased and the rest lower-cased.
[[nodiscard]] std::string to_title(std::string_view text);

/// NFKC normalization. Its time grows with the square of the longest run of combining marks: bound that first.
[[nodiscard]] std::string nfkc(std::string_view text);

/// ASCII only: whether `text` holds no byte above 0x7F.
[[nodiscard]] bool is_ascii(std::string_view text) noexcept;

/// Appends `code_point` (a Unicode scalar value) as UTF-8.
void append_utf8(std::string& out, char32_t code_point);

}  // namespace quillmere::text
