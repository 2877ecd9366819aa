#pragma once

#include <array>
#include <string_view>

/// What page analysis knows of domains, paths and words. All texts are lower-case.
namespace quillmere::commerce::page {

using namespace std::string_view_literals;

inline constexpr std::array SOCIAL_DOMAINS{
    "instagram.com"sv, "facebook.com"sv, "twitter.com"sv, "x.com"sv,      "linkedin.com"sv,
    "pinterest.com"sv, "tiktok.com"sv,   "youtube.com"sv, "reddit.com"sv,
};

/// Titles that say nothing of a product: calls to action, and words of a shop's navigation.
inline constexpr std::array GENERIC_TITLES{
    "read more"sv, "click here"sv, "learn more"sv, "view product"sv, "shop now"sv, "see details"sv,
    "buy now"sv,   "untitled"sv,   "shoe"sv,       "shoes"sv,        "clothing"sv, "home"sv,
};

inline constexpr std::array ARTICLE_PATH_PATTERNS{
    "/blog"sv,       "/article"sv,   "/news"sv,    "/journal"sv,  "/post"sv,    "/posts/"sv,
    "/advice/"sv,    "/insights/"sv, "/story/"sv,  "/fashion/"sv, "/style/"sv,  "/author/"sv,
    "/editorial/"sv, "/guide/"sv,    "/review/"sv, "/reviews/"sv, "/trends/"sv, "/hub/"sv,
};

/// The blogging platform whose pages are articles even where their tags say nothing.
inline constexpr std::string_view BLOGGING_PLATFORM_DOMAIN = "medium.com";

inline constexpr std::array EDITORIAL_DOMAINS{
    BLOGGING_PLATFORM_DOMAIN, "substack.com"sv, "wordpress.com"sv, "blogspot.com"sv, "lifestyleasia.com"sv, "gq.com"sv,
};

inline constexpr std::array PORTFOLIO_PATH_PATTERNS{
    "/works"sv,    "/portfolio"sv, "/projects"sv, "/project"sv,  "/design"sv,     "/showcase"sv,
    "/template"sv, "/templates"sv, "/themes"sv,   "/redesign"sv, "/case-study"sv, "/photos/"sv,
};

inline constexpr std::array PORTFOLIO_KEYWORDS{
    "portfolio"sv, "template"sv, "redesign"sv, "showcase"sv, "mockup"sv, "theme"sv, "wallpaper"sv, "pictures"sv,
};

inline constexpr std::array PORTFOLIO_DOMAINS{
    "behance.net"sv, "dribbble.com"sv, "artstation.com"sv, "figma.com"sv,
    "github.io"sv,   "unsplash.com"sv, "wallhaven.cc"sv,
};

inline constexpr std::array CATALOG_PATH_PATTERNS{
    "/categories"sv, "/category"sv, "/collections"sv, "/collection"sv, "/catalog"sv,
    "/shop"sv,       "/store"sv,    "/offers"sv,      "/sale"sv,       "/w/"sv,
};

inline constexpr std::array PRODUCT_PATH_PATTERNS{"/product"sv, "/products/"sv, "/item/"sv, "/goods/"sv};

inline constexpr std::array SHOP_DOMAIN_ENDINGS{".shop"sv, ".store"sv, ".boutique"sv};

inline constexpr std::array FOOTWEAR_WORDS{"shoes"sv, "sneakers"sv, "footwear"sv, "nike"sv};

inline constexpr std::array REFURBISHED_WORDS{"refurbished"sv, "renewed"sv};

inline constexpr std::array USED_WORDS{"pre-owned"sv, "vintage"sv, "used"sv, "thrift"sv};

inline constexpr std::array SOLD_OUT_PHRASES{"sold out"sv, "out of stock"sv};

static_assert(SOCIAL_DOMAINS.size() == 9 && GENERIC_TITLES.size() == 12 && ARTICLE_PATH_PATTERNS.size() == 18);
static_assert(EDITORIAL_DOMAINS.size() == 6 && PORTFOLIO_PATH_PATTERNS.size() == 12 && PORTFOLIO_KEYWORDS.size() == 8);
static_assert(PORTFOLIO_DOMAINS.size() == 7 && CATALOG_PATH_PATTERNS.size() == 10);

}  // namespace quillmere::commerce::page
