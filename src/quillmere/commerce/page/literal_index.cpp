#include "quillmere/commerce/page/literal_index.hpp"

#include <bit>
#include <limits>

#include "quillmere/commerce/page/scan.hpp"

#if (defined(__x86_64__) || defined(__i386__)) && !defined(QUILLMERE_PORTABLE)
#include <immintrin.h>
#define QUILLMERE_X86 1
#endif

// The search is the one that is known as Teddy: three neighbouring bytes, the fingerprint, stand for each literal.
// For each of the three a table by the byte's low nibble and one by its high nibble say, one bit a fingerprint, whether
// the byte fits; where the six answers share a bit the fingerprint stands, and the whole literal is compared. A shuffle
// instruction looks up 16 or 32 bytes in such a table at once.

namespace quillmere::commerce::page {
namespace {

struct LiteralRow {
  Literal literal;
  std::string_view text;
  Case letters;
  std::size_t fingerprint;  // where it begins in the text; the rarest three bytes on shop pages
  std::uint8_t bucket;      // bit of the fingerprint: two literals may share one
};

constexpr std::array<LiteralRow, LITERAL_COUNT> LITERALS = {{
    {Literal::ld_json, "application/ld+json", Case::folded, 12, 0},
    {Literal::next_data, "__NEXT_DATA__", Case::exact, 4, 1},
    {Literal::meta, "<meta", Case::folded, 0, 2},
    {Literal::title, "<title", Case::folded, 0, 3},
    {Literal::itemprop, "itemprop=", Case::folded, 6, 4},
    {Literal::shop_price, "woocommerce-price-amount", Case::folded, 17, 5},
    {Literal::sku, "sku", Case::folded, 0, 6},
    {Literal::in_stock, "instoc", Case::folded, 3, 7},
    {Literal::out_of_stock, "outofstoc", Case::folded, 6, 7},
}};
constexpr std::size_t FINGERPRINT = 3;
// The last bucket alone has two rows, so the rows of a bucket begin at its number.
static_assert(LITERALS[6].bucket == 6 && LITERALS[7].bucket == 7 && LITERALS[8].bucket == 7);

// More positions than this in one list are not kept for the next page.
constexpr std::size_t KEPT_POSITIONS = 1 << 16;

// By place in the fingerprint and by nibble.
struct NibbleTables {
  std::array<std::array<std::uint8_t, 16>, FINGERPRINT> low{};
  std::array<std::array<std::uint8_t, 16>, FINGERPRINT> high{};
};

constexpr NibbleTables make_nibble_tables() {
  NibbleTables tables;
  const auto admit = [&tables](std::size_t place, char byte, std::uint8_t bucket) {
    const auto value = static_cast<unsigned char>(byte);
    const auto bit = static_cast<std::uint8_t>(1U << bucket);
    tables.low[place][value & 15U] |= bit;
    tables.high[place][value >> 4U] |= bit;
  };
  for (const LiteralRow& row : LITERALS) {
    for (std::size_t place = 0; place < FINGERPRINT; ++place) {
      const char byte = row.text[row.fingerprint + place];
      admit(place, byte, row.bucket);
      const bool is_letter = byte >= 'a' && byte <= 'z';
      if (row.letters == Case::folded && is_letter) admit(place, static_cast<char>(byte & ~0x20), row.bucket);
    }
  }
  return tables;
}

constexpr NibbleTables NIBBLES = make_nibble_tables();

constexpr std::uint8_t buckets_at(const char* bytes) {
  unsigned buckets = 0xFF;
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    const auto value = static_cast<unsigned char>(bytes[place]);
    buckets &= static_cast<unsigned>(NIBBLES.low[place][value & 15U] & NIBBLES.high[place][value >> 4U]);
  }
  return static_cast<std::uint8_t>(buckets);
}

static_assert(buckets_at("ld+") == 1 << 0 && buckets_at("Ld+") == 1 << 0 && buckets_at("XT_") == 1 << 1 &&
              buckets_at("xt_") == 0 && buckets_at("tOC") == 1 << 7);

}  // namespace

LiteralIndex::Pass LiteralIndex::best_pass() noexcept {
#ifdef QUILLMERE_X86
  static const Pass best = __builtin_cpu_supports("avx2")    ? Pass::avx2
                           : __builtin_cpu_supports("ssse3") ? Pass::ssse3
                                                             : Pass::portable;
  return best;
#else
  return Pass::portable;
#endif
}

void LiteralIndex::read(std::string_view page, Pass pass) {
  clear();
  _page = page.substr(0, std::numeric_limits<Position>::max());
  std::size_t scanned = 0;
#ifdef QUILLMERE_X86
  if (pass == Pass::avx2) scanned = _scan_avx2();
  if (pass == Pass::ssse3) scanned = _scan_ssse3();
#else
  static_cast<void>(pass);
#endif
  _scan_portable(scanned);
}

void LiteralIndex::clear() noexcept {
  _page = {};
  for (auto& list : _positions) {
    if (list.capacity() > KEPT_POSITIONS) std::vector<Position>().swap(list);
    list.clear();
  }
}

// Compares the literals of `buckets`, which is not zero, around a fingerprint.
void LiteralIndex::_judge(std::size_t fingerprint_at, unsigned buckets) {
  for (; buckets != 0; buckets &= buckets - 1) {
    const auto bucket = static_cast<std::size_t>(std::countr_zero(buckets));
    for (std::size_t i = bucket; i < LITERALS.size() && LITERALS[i].bucket == bucket; ++i) {
      const LiteralRow& row = LITERALS[i];
      if (fingerprint_at < row.fingerprint) continue;
      const std::size_t at = fingerprint_at - row.fingerprint;
      if (!stands_at(_page, at, row.text, row.letters)) continue;
      _positions[static_cast<std::size_t>(row.literal)].push_back(static_cast<Position>(at));
    }
  }
}

// `hits` has a bit for each byte of a block at `from` whose entry in `buckets` is not zero.
void LiteralIndex::_judge_block(std::size_t from, std::uint32_t hits, const std::uint8_t* buckets) {
  for (; hits != 0; hits &= hits - 1) {
    const auto place = static_cast<std::size_t>(std::countr_zero(hits));
    _judge(from + place, buckets[place]);
  }
}

void LiteralIndex::_scan_portable(std::size_t from) {
  for (std::size_t at = from; at + FINGERPRINT <= _page.size(); ++at) {
    if (const std::uint8_t buckets = buckets_at(_page.data() + at); buckets != 0) _judge(at, buckets);
  }
}

#ifdef QUILLMERE_X86

// Both versions below scan as long as a block and the two bytes behind it lie within the page, and return where they
// stopped. Blocks without a hit, nearly all, are passed over in an inner loop that keeps the tables in registers. A
// shuffle gives 0 for a byte above 0x7F whatever its low nibble, which is right: the literals are ASCII.

namespace {

struct Tables128 {
  __m128i low[FINGERPRINT];
  __m128i high[FINGERPRINT];
};
struct Tables256 {
  __m256i low[FINGERPRINT];
  __m256i high[FINGERPRINT];
};

__attribute__((target("ssse3"))) inline __m128i load_16(const void* bytes) {
  return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

__attribute__((target("ssse3"))) inline __m128i buckets_of(const Tables128& tables, const char* bytes) {
  const __m128i nibble = _mm_set1_epi8(15);
  __m128i buckets = _mm_set1_epi8(-1);
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    const __m128i block = load_16(bytes + place);
    const __m128i high_nibbles = _mm_and_si128(_mm_srli_epi16(block, 4), nibble);
    buckets = _mm_and_si128(buckets, _mm_and_si128(_mm_shuffle_epi8(tables.low[place], block),
                                                   _mm_shuffle_epi8(tables.high[place], high_nibbles)));
  }
  return buckets;
}

__attribute__((target("avx2"))) inline __m256i buckets_of(const Tables256& tables, const char* bytes) {
  const __m256i nibble = _mm256_set1_epi8(15);
  __m256i buckets = _mm256_set1_epi8(-1);
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes + place));
    const __m256i high_nibbles = _mm256_and_si256(_mm256_srli_epi16(block, 4), nibble);
    buckets = _mm256_and_si256(buckets, _mm256_and_si256(_mm256_shuffle_epi8(tables.low[place], block),
                                                         _mm256_shuffle_epi8(tables.high[place], high_nibbles)));
  }
  return buckets;
}

}  // namespace

__attribute__((target("ssse3"))) std::size_t LiteralIndex::_scan_ssse3() {
  constexpr std::size_t BLOCK = 16;
  Tables128 tables{};
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    tables.low[place] = load_16(NIBBLES.low[place].data());
    tables.high[place] = load_16(NIBBLES.high[place].data());
  }
  const std::size_t end = _page.size();
  for (std::size_t at = 0;;) {
    __m128i found = _mm_setzero_si128();
    std::uint32_t hits = 0;
    for (; hits == 0 && at + BLOCK + FINGERPRINT - 1 <= end; at += BLOCK) {
      found = buckets_of(tables, _page.data() + at);
      hits = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(found, _mm_setzero_si128()))) ^ 0xFFFFU;
    }
    if (hits == 0) return at;
    const auto buckets = std::bit_cast<std::array<std::uint8_t, BLOCK>>(found);
    _judge_block(at - BLOCK, hits, buckets.data());
  }
}

__attribute__((target("avx2"))) std::size_t LiteralIndex::_scan_avx2() {
  constexpr std::size_t BLOCK = 32;
  Tables256 tables{};
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    tables.low[place] = _mm256_broadcastsi128_si256(load_16(NIBBLES.low[place].data()));
    tables.high[place] = _mm256_broadcastsi128_si256(load_16(NIBBLES.high[place].data()));
  }
  const std::size_t end = _page.size();
  for (std::size_t at = 0;;) {
    __m256i found = _mm256_setzero_si256();
    for (; _mm256_testz_si256(found, found) != 0 && at + BLOCK + FINGERPRINT - 1 <= end; at += BLOCK) {
      found = buckets_of(tables, _page.data() + at);
    }
    const __m256i misses = _mm256_cmpeq_epi8(found, _mm256_setzero_si256());
    const auto hits = ~static_cast<std::uint32_t>(_mm256_movemask_epi8(misses));
    if (hits == 0) return at;
    const auto buckets = std::bit_cast<std::array<std::uint8_t, BLOCK>>(found);
    _judge_block(at - BLOCK, hits, buckets.data());
  }
}

#endif

}  // namespace quillmere::commerce::page
