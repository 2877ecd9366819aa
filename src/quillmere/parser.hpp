#pragma once

#include <string_view>

namespace quillmere::parser {

/// The currency tokens that a printed price may carry, as a fragment of a Perl-compatible regular expression, to be
/// matched without regard to case: the keys of commerce::CURRENCY_MAP, longest first ("US$" before "$"), then further
/// ISO 4217 codes that shops print. It has no capturing group.
inline constexpr std::string_view CURRENCY_TOKEN_PATTERN =
    "US\\$|USD|EUR|GBP|JPY|CN¥|CNY|CA\\$|CAD|AUD|INR|A\\$|\\$|€|£|¥|₹|"
    "CHF|SEK|NOK|DKK|PLN|CZK|HUF|BRL|MXN|KRW|TRY|ZAR|SGD|HKD|TWD|NZD|THB|ILS|AED|SAR|RUB|UAH|PHP|MYR|IDR|VND";

}  // namespace quillmere::parser
