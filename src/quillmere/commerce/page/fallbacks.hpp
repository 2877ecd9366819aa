#pragma once

#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/commerce/page/working_values.hpp"

/// The stages that fill what structured data left missing: from the page's meta tags, then from common shop markup.
namespace quillmere::commerce::page {

/// Decides the page type by "og:type" and URL. Runs only when no structured data was read.
void read_open_graph(const MetaTagList& meta, WorkingValues& values);

/// Brand (not of a social network's page), image, price, currency and availability.
void fill_from_meta_tags(const MetaTagList& meta, WorkingValues& values);

/// Price, identifier and stock out of the page's markup; nothing of a social network's page.
void fill_from_markup(const LiteralIndex& index, WorkingValues& values);

}  // namespace quillmere::commerce::page
