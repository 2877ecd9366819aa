#include "quillmere/commerce/page/literal_index.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "quillmere/commerce/page/scan.hpp"

#if (defined(__x86_64__) || defined(__i386__)) && !defined(QUILLMERE_PORTABLE)
#include <immintrin.h>
#define QUILLMERE_X86 1
#endif

// The search is the one that is known as Teddy: a few neighbouring bytes, the fingerprint, stand for each literal. For
// each of their places a table by the byte's low nibble says, one bit a fingerprint, whether the byte may fit, and for
// one place a table by its high nibble does so too; where all answers share a bit the fingerprint may stand, and the
// whole literal is compared. A shuffle instruction looks up 16 or 32 bytes in such a table at once. High nibbles at the
// other places would save few comparisons and cost three instructions each.

namespace quillmere::commerce::page {
namespace {

struct LiteralRow {
  Literal literal;
  std::string_view text;
  Case letters;
  std::size_t fingerprint;  // where it begins in the text; the rarest four bytes on shop pages
  std::uint8_t bucket;      // bit of the fingerprint: two literals may share one
};

constexpr std::array<LiteralRow, LITERAL_COUNT> LITERALS = {{
    {Literal::meta, "<meta", Case::folded, 0, 0},
    {Literal::title, "<title", Case::folded, 0, 1},
    {Literal::itemprop, "itemprop=", Case::folded, 5, 2},
    {Literal::shop_price, "woocommerce-price-amount", Case::folded, 17, 3},
    {Literal::sku, "sku", Case::folded, 0, 4},
    {Literal::in_stock, "instoc", Case::folded, 1, 5},
    {Literal::out_of_stock, "outofstoc", Case::folded, 3, 6},
    {Literal::ld_json, "application/ld+json", Case::folded, 13, 7},
    {Literal::next_data, "__NEXT_DATA__", Case::exact, 2, 7},
}};
constexpr std::size_t FINGERPRINT = 4;
constexpr std::size_t BOTH_NIBBLES = 2;  // the place whose high nibble counts, too
constexpr std::size_t SHORTEST = 3;      // of the literals: a fingerprint may lack its last byte
// The last bucket alone has two rows, so the rows of a bucket begin at its number.
static_assert(LITERALS[6].bucket == 6 && LITERALS[7].bucket == 7 && LITERALS[8].bucket == 7);

/// The first bytes of a literal as one word, to compare with those of the page, whose letters are made lower case first
/// where case does not count.
struct Head {
  std::uint64_t bytes = 0;
  std::uint64_t mask = 0;
  std::uint64_t lower = 0;
};

constexpr Head head_of(const LiteralRow& row) {
  std::array<std::uint8_t, sizeof(std::uint64_t)> bytes{};
  std::array<std::uint8_t, sizeof(std::uint64_t)> mask{};
  std::array<std::uint8_t, sizeof(std::uint64_t)> lower{};
  for (std::size_t i = 0; i < std::min(row.text.size(), bytes.size()); ++i) {
    bytes[i] = static_cast<std::uint8_t>(row.text[i]);
    mask[i] = 0xFF;
    if (row.letters == Case::folded && row.text[i] >= 'a' && row.text[i] <= 'z') lower[i] = 0x20;
  }
  return {std::bit_cast<std::uint64_t>(bytes), std::bit_cast<std::uint64_t>(mask), std::bit_cast<std::uint64_t>(lower)};
}

constexpr auto HEADS = [] {
  std::array<Head, LITERAL_COUNT> heads{};
  for (std::size_t i = 0; i < LITERAL_COUNT; ++i) heads[i] = head_of(LITERALS[i]);
  return heads;
}();

/// Whether the literal of that row stands in `page` at `at`.
bool is_literal_at(std::string_view page, std::size_t at, std::size_t row) {
  const LiteralRow& literal = LITERALS[row];
  const Head& head = HEADS[row];
  std::uint64_t word = 0;
  if (at + sizeof word <= page.size()) {
    std::memcpy(&word, page.data() + at, sizeof word);
    if (((word | head.lower) & head.mask) != head.bytes) return false;
    if (literal.text.size() <= sizeof word) return true;
  }
  return stands_at(page, at, literal.text, literal.letters);
}

// More positions than this in one list are not kept for the next page.
constexpr std::size_t KEPT_POSITIONS = 1 << 16;

/// Which buckets a byte fits, by its place in the fingerprint.
struct Tables {
  std::array<std::array<std::uint8_t, 256>, FINGERPRINT> whole{};  // by the byte
  std::array<std::array<std::uint8_t, 16>, FINGERPRINT> low{};     // by its low nibble
  std::array<std::uint8_t, 16> high{};                             // by its high nibble, at the place BOTH_NIBBLES
  std::uint8_t shorter = 0;  // buckets of literals that end before the last place: any byte, or none, may stand there
};

constexpr Tables make_tables() {
  Tables tables;
  const auto admit = [&tables](std::size_t place, char byte, std::uint8_t bit) {
    const auto value = static_cast<unsigned char>(byte);
    tables.whole[place][value] |= bit;
    tables.low[place][value & 15U] |= bit;
    if (place == BOTH_NIBBLES) tables.high[value >> 4U] |= bit;
  };
  for (const LiteralRow& row : LITERALS) {
    const auto bit = static_cast<std::uint8_t>(1U << row.bucket);
    const std::string_view fingerprint = row.text.substr(row.fingerprint, FINGERPRINT);
    for (std::size_t place = 0; place < fingerprint.size(); ++place) {
      const char byte = fingerprint[place];
      admit(place, byte, bit);
      const bool is_letter = byte >= 'a' && byte <= 'z';
      if (row.letters == Case::folded && is_letter) admit(place, static_cast<char>(byte & ~0x20), bit);
    }
    if (fingerprint.size() == FINGERPRINT) continue;
    tables.shorter |= bit;
    for (std::uint8_t& buckets : tables.whole.back()) buckets |= bit;
  }
  return tables;
}

constexpr Tables TABLES = make_tables();

/// The buckets of the literals whose fingerprint, or the first `places` bytes of it, `bytes` begins with.
constexpr std::uint8_t buckets_at(const char* bytes, std::size_t places = FINGERPRINT) {
  unsigned buckets = 0xFF;
  for (std::size_t place = 0; place < places; ++place) {
    buckets &= TABLES.whole[place][static_cast<unsigned char>(bytes[place])];
  }
  return static_cast<std::uint8_t>(buckets);
}

static_assert(buckets_at("d+js") == 1 << 7 && buckets_at("D+Js") == 1 << 7 && buckets_at("NEXT") == 1 << 7 &&
              buckets_at("sKu\xFF") == 1 << 4 && buckets_at("xt_D") == 0 && TABLES.shorter == 1 << 4);

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
      if (!is_literal_at(_page, at, i)) continue;
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
  std::size_t at = from;
  for (; at + FINGERPRINT <= _page.size(); ++at) {
    if (const std::uint8_t buckets = buckets_at(_page.data() + at); buckets != 0) _judge(at, buckets);
  }
  if (at + SHORTEST > _page.size()) return;
  if (const unsigned buckets = buckets_at(_page.data() + at, SHORTEST) & TABLES.shorter; buckets != 0) {
    _judge(at, buckets);
  }
}

#ifdef QUILLMERE_X86

// Both versions below scan as long as a block and the three bytes behind it lie within the page, and return where they
// stopped. Blocks without a hit, nearly all, are passed over in an inner loop that keeps the tables in registers. A
// shuffle gives 0 for a byte above 0x7F whatever its low nibble, which is right: the literals are ASCII. The processor
// is asked early for what comes later; it reads a page that is not in its caches twice as fast as when left to itself.

namespace {

constexpr std::size_t PREFETCH_BYTES = 4096;

/// Asks for the bytes that come that much later. There need not be any: this cannot fault.
inline void prefetch_behind(const char* bytes) {
  _mm_prefetch(bytes + PREFETCH_BYTES, _MM_HINT_T0);
}

struct Tables128 {
  __m128i low[FINGERPRINT];
  __m128i high;
  __m128i shorter;
};
struct Tables256 {
  __m256i low[FINGERPRINT];
  __m256i high;
  __m256i shorter;
};

__attribute__((target("ssse3"))) inline __m128i load_16(const void* bytes) {
  return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

__attribute__((target("ssse3"))) inline __m128i buckets_of(const Tables128& tables, const char* bytes) {
  const __m128i whole = load_16(bytes + BOTH_NIBBLES);
  const __m128i high_nibbles = _mm_and_si128(_mm_srli_epi16(whole, 4), _mm_set1_epi8(15));
  const __m128i first = _mm_and_si128(_mm_shuffle_epi8(tables.low[0], load_16(bytes)),
                                      _mm_shuffle_epi8(tables.low[1], load_16(bytes + 1)));
  const __m128i second =
      _mm_and_si128(_mm_shuffle_epi8(tables.low[BOTH_NIBBLES], whole), _mm_shuffle_epi8(tables.high, high_nibbles));
  const __m128i last = _mm_or_si128(_mm_shuffle_epi8(tables.low[3], load_16(bytes + 3)), tables.shorter);
  return _mm_and_si128(_mm_and_si128(first, second), last);
}

__attribute__((target("avx2"))) inline __m256i load_32(const char* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

__attribute__((target("avx2"))) inline __m256i buckets_of(const Tables256& tables, const char* bytes) {
  const __m256i whole = load_32(bytes + BOTH_NIBBLES);
  const __m256i high_nibbles = _mm256_and_si256(_mm256_srli_epi16(whole, 4), _mm256_set1_epi8(15));
  const __m256i first = _mm256_and_si256(_mm256_shuffle_epi8(tables.low[0], load_32(bytes)),
                                         _mm256_shuffle_epi8(tables.low[1], load_32(bytes + 1)));
  const __m256i second = _mm256_and_si256(_mm256_shuffle_epi8(tables.low[BOTH_NIBBLES], whole),
                                          _mm256_shuffle_epi8(tables.high, high_nibbles));
  const __m256i last = _mm256_or_si256(_mm256_shuffle_epi8(tables.low[3], load_32(bytes + 3)), tables.shorter);
  return _mm256_and_si256(_mm256_and_si256(first, second), last);
}

}  // namespace

__attribute__((target("ssse3"))) std::size_t LiteralIndex::_scan_ssse3() {
  constexpr std::size_t BLOCK = 16;
  Tables128 tables{};
  for (std::size_t place = 0; place < FINGERPRINT; ++place) {
    tables.low[place] = load_16(TABLES.low[place].data());
  }
  tables.high = load_16(TABLES.high.data());
  tables.shorter = _mm_set1_epi8(static_cast<char>(TABLES.shorter));
  const std::size_t end = _page.size();
  for (std::size_t at = 0;;) {
    __m128i found = _mm_setzero_si128();
    std::uint32_t hits = 0;
    for (; hits == 0 && at + BLOCK + FINGERPRINT - 1 <= end; at += BLOCK) {
      prefetch_behind(_page.data() + at);
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
    tables.low[place] = _mm256_broadcastsi128_si256(load_16(TABLES.low[place].data()));
  }
  tables.high = _mm256_broadcastsi128_si256(load_16(TABLES.high.data()));
  tables.shorter = _mm256_set1_epi8(static_cast<char>(TABLES.shorter));
  const std::size_t end = _page.size();
  for (std::size_t at = 0;;) {
    __m256i found = _mm256_setzero_si256();
    for (; _mm256_testz_si256(found, found) != 0 && at + BLOCK + FINGERPRINT - 1 <= end; at += BLOCK) {
      prefetch_behind(_page.data() + at);
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
