#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quillmere/api.hpp"
#include "quillmere/models.hpp"

/// What kind of seller stands behind a page.
namespace quillmere::commerce {

/// Judges a seller by the domain of its page and by the texts that describe the product.
///
/// Text     UTF-8; letter case and whitespace as in text/unicode.hpp.
/// Time     linear in the texts for a given domain.
/// Threads  pure: call from any thread.
class QUILLMERE_API MerchantClassifier {
 public:
  /// The kind of seller at `domain` (a host, or the plain name of a site; in any letter case):
  ///
  /// - MAJOR_MARKETPLACE or RESELLER_SPECIALIST: `domain` is one of MARKETPLACE_DOMAINS or RESELLER_DOMAINS or a
  ///   subdomain of one, whatever the texts say. With a port it is neither.
  /// - OFFICIAL_BRAND: the distinctive label of `domain` has at least 3 ASCII letters and digits, and the brand, the
  ///   merchant's name or the title names it ("shop.brandx.example" with the title "BrandX Runner 2").
  /// - UNVERIFIED: everything else, the empty domain included.
  ///
  /// Throws nothing but std::bad_alloc.
  [[nodiscard]] static MerchantCategory classify(std::string_view domain, std::string_view title = "",
                                                 std::optional<std::string_view> brand = std::nullopt,
                                                 std::optional<std::string_view> merchant_name = std::nullopt);

  /// The distinctive label of `domain`, in lower case: the one below the public suffix, which has two labels when the
  /// first of them is one like "co" or "com" and a label stands before it. Leading labels such as "www", "shop" or "uk"
  /// do not count, so that it is empty when there is nothing else. "www.brandx.co.example" gives "brandx".
  [[nodiscard]] static std::string _extract_sld(std::string_view domain);

  /// Whether `text` names the label `alpha_sld` (ASCII lower-case letters and digits): its ASCII letters and digits
  /// contain the label or lie within it, or each of its words of 3 characters and more, "the", "and" and "official"
  /// aside, lies within it and there is one. "Gear by BrandX" names "brandxgear", "BrandX Shoes" does not. A text
  /// without an ASCII letter or digit names nothing.
  [[nodiscard]] static bool _is_match(std::string_view alpha_sld, std::string_view text);
};

}  // namespace quillmere::commerce
