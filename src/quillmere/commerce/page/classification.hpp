#pragma once

#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/commerce/page/working_values.hpp"

/// The stages that repair useless titles and decide what kind of page the destination is.
namespace quillmere::commerce::page {

/// Replaces a title that is generic, shorter than 4 characters or only the merchant's name by the page's own.
void take_title_from_page(PageReader& page, WorkingValues& values);

/// The rules that hold for every match, with or without a page: generic and single-word titles, page type by path,
/// domain and title, what a selling page's title tells, and no product facts on a page that sells nothing.
void repair_and_classify(WorkingValues& values);

}  // namespace quillmere::commerce::page
