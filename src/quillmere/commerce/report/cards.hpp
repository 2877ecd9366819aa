#pragma once

#include <span>
#include <string>

#include "quillmere/commerce/report.hpp"

/// The parts of the page that show the matches one by one, as HTML.
namespace quillmere::commerce::report {

/// Whether `item` holds something that no search result can have said: only the shop's page names a code, another
/// brand than the seller, another image than the thumbnail, new goods, an order in advance.
[[nodiscard]] bool has_page_facts(const EnrichedCommerceMatch& item);

/// The form that the script filters and sorts by; hidden until the script shows it, and absent for a single match.
[[nodiscard]] std::string filters(std::span<const EnrichedCommerceMatch> items);

/// The list of all matches, in their order.
[[nodiscard]] std::string cards(std::span<const EnrichedCommerceMatch> items, const Thumbnails& thumbnails);

}  // namespace quillmere::commerce::report
