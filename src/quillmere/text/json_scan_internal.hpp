#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) && !defined(QUILLMERE_PORTABLE)
#include <emmintrin.h>
#endif

/// The scans that JSON text spends its time in, with and without vector instructions. All stay within [p, end) and give
/// `end` when they find nothing.
namespace quillmere::text::json_internal {

[[nodiscard]] inline bool is_whitespace(char c) noexcept {
  return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

/// Eight bytes at a time in ordinary registers.
struct PortableScan {
  /// The first quotation mark or backslash.
  [[nodiscard]] static const char* find_quote_or_escape(const char* p, const char* end) noexcept {
    for (; end - p >= 8; p += 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, p, 8);
      if ((_zero_bytes(word ^ 0x2222222222222222U) | _zero_bytes(word ^ 0x5C5C5C5C5C5C5C5CU)) != 0) break;
    }
    while (p != end && *p != '"' && *p != '\\') ++p;
    return p;
  }

  /// The first backslash. What stands before it is copied to `to`, which moves behind the copy; there must be room for
  /// all of [p, end).
  [[nodiscard]] static const char* copy_until_escape(const char* p, const char* end, char*& to) noexcept {
    for (; end - p >= 8; p += 8, to += 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, p, 8);
      if (_zero_bytes(word ^ 0x5C5C5C5C5C5C5C5CU) != 0) break;
      std::memcpy(to, p, 8);
    }
    while (p != end && *p != '\\') *to++ = *p++;
    return p;
  }

  /// The first byte that is not JSON whitespace.
  [[nodiscard]] static const char* skip_whitespace_run(const char* p, const char* end) noexcept {
    while (p != end && is_whitespace(*p)) ++p;
    return p;
  }

 private:
  /// Not 0 when a byte of `word` is 0.
  [[nodiscard]] static std::uint64_t _zero_bytes(std::uint64_t word) noexcept {
    return (word - 0x0101010101010101U) & ~word & 0x8080808080808080U;
  }
};

#if defined(__SSE2__) && !defined(QUILLMERE_PORTABLE)

struct Sse2Scan {
  [[nodiscard]] static const char* find_quote_or_escape(const char* p, const char* end) noexcept {
    for (; end - p >= 16; p += 16) {
      const __m128i chunk = _load(p);
      const __m128i found =
          _mm_or_si128(_mm_cmpeq_epi8(chunk, _mm_set1_epi8('"')), _mm_cmpeq_epi8(chunk, _mm_set1_epi8('\\')));
      const auto mask = static_cast<unsigned>(_mm_movemask_epi8(found));
      if (mask != 0) return p + std::countr_zero(mask);
    }
    return PortableScan::find_quote_or_escape(p, end);
  }

  [[nodiscard]] static const char* copy_until_escape(const char* p, const char* end, char*& to) noexcept {
    for (; end - p >= 16; p += 16, to += 16) {
      const __m128i chunk = _load(p);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), chunk);
      const auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(chunk, _mm_set1_epi8('\\'))));
      if (mask == 0) continue;
      to += std::countr_zero(mask);
      return p + std::countr_zero(mask);
    }
    return PortableScan::copy_until_escape(p, end, to);
  }

  [[nodiscard]] static const char* skip_whitespace_run(const char* p, const char* end) noexcept {
    for (; end - p >= 16; p += 16) {
      const __m128i chunk = _load(p);
      const __m128i line_breaks =
          _mm_or_si128(_mm_cmpeq_epi8(chunk, _mm_set1_epi8('\n')), _mm_cmpeq_epi8(chunk, _mm_set1_epi8('\r')));
      const __m128i blanks =
          _mm_or_si128(_mm_cmpeq_epi8(chunk, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(chunk, _mm_set1_epi8('\t')));
      const auto others = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(line_breaks, blanks))) ^ 0xFFFFU;
      if (others != 0) return p + std::countr_zero(others);
    }
    return PortableScan::skip_whitespace_run(p, end);
  }

 private:
  [[nodiscard]] static __m128i _load(const char* p) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
};

using FastestScan = Sse2Scan;

#else

using FastestScan = PortableScan;

#endif

}  // namespace quillmere::text::json_internal
