#pragma once

#include <array>
#include <string_view>

/// The sellers that are known by their domains: registrable domains in lower case, without "www.".
namespace quillmere::commerce {

/// Major marketplaces.
inline constexpr std::array<std::string_view, 19> MARKETPLACE_DOMAINS = {
    "amazon.com", "amazon.co.uk", "amazon.de",   "amazon.fr",           "amazon.ca",        "amazon.co.jp", "ebay.com",
    "ebay.co.uk", "ebay.de",      "walmart.com", "target.com",          "aliexpress.com",   "alibaba.com",  "temu.com",
    "etsy.com",   "bestbuy.com",  "rakuten.com", "mercadolivre.com.br", "mercadolibre.com",
};

/// Resale, second-hand and authentication marketplaces.
inline constexpr std::array<std::string_view, 10> RESELLER_DOMAINS = {
    "stockx.com",      "goat.com",  "grailed.com",  "poshmark.com", "mercari.com",
    "therealreal.com", "rebag.com", "chrono24.com", "depop.com",    "vinted.com",
};

}  // namespace quillmere::commerce
