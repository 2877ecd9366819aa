#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// How a page becomes facts.
///
/// Every pattern that this system searches a page for holds a rare literal ("application/ld+json", "itemprop=", "sku").
/// LiteralIndex reads the page once and notes where each of them stands; on most pages that is the only time that most
/// bytes are looked at. A verifier (elements.hpp for the patterns that cut out scripts, meta tags and the title,
/// markup.hpp for those that find a value in shop markup) then looks around the noted places and decides, exactly as
/// the whole pattern would, whether it matches there. Verifiers run only when somebody asks for their value.
///
/// Pages are hostile, so each verifier is linear in the page however its candidates overlap. Three rules keep it so:
///   * candidates come in ascending order, so "the next '>'" and "the previous quote" only move forward, and the answer
///     to the last question is remembered (scan.hpp);
///   * a failure that depends only on where a tag ends fails every candidate before that end;
///   * where no '>', quote or closing tag is left, no later candidate can match either.
namespace quillmere::commerce::page {

/// The literals, by the pattern that each is for. Letters of either ASCII case match, but for `next_data`.
enum class Literal : std::uint8_t {
  ld_json,       ///< application/ld+json
  next_data,     ///< __NEXT_DATA__
  meta,          ///< <meta
  title,         ///< <title
  itemprop,      ///< itemprop=
  shop_price,    ///< woocommerce-price-amount
  sku,           ///< sku
  in_stock,      ///< instoc: its "k" may also be U+212A KELVIN SIGN, whose lower case is "k"
  out_of_stock,  ///< outofstoc
};
inline constexpr std::size_t LITERAL_COUNT = 9;

/// Where each literal stands in one page. Reused from page to page it stops allocating, and gives back what an
/// unusual page made it allocate. Of a page of 4 GiB or more it sees only what is before that.
class LiteralIndex {
 public:
  using Position = std::uint32_t;

  /// How the bytes are compared. Every pass finds the same positions.
  enum class Pass : std::uint8_t { portable, ssse3, avx2 };
  /// The fastest pass that this processor can run.
  [[nodiscard]] static Pass best_pass() noexcept;

  /// Indexes `page`, which must outlive every use of the result. `pass` must be one that the processor can run.
  void read(std::string_view page, Pass pass = best_pass());
  /// Forgets the page, and frees lists that grew far beyond what pages need.
  void clear() noexcept;

  [[nodiscard]] std::string_view page() const noexcept { return _page; }
  /// First bytes of the occurrences of `literal`, ascending.
  [[nodiscard]] std::span<const Position> positions(Literal literal) const noexcept {
    return _positions[static_cast<std::size_t>(literal)];
  }

 private:
  std::size_t _scan_ssse3();
  std::size_t _scan_avx2();
  void _scan_portable(std::size_t from);
  void _judge_block(std::size_t from, std::uint32_t hits, const std::uint8_t* buckets);
  void _judge(std::size_t fingerprint_at, unsigned buckets);

  std::string_view _page;
  std::array<std::vector<Position>, LITERAL_COUNT> _positions;
};

}  // namespace quillmere::commerce::page
