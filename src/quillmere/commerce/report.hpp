#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include "quillmere/api.hpp"
#include "quillmere/http/async_fetcher.hpp"
#include "quillmere/models.hpp"

/// A result as a page to look at.
namespace quillmere::commerce {

/// Bytes of images, as received, by their URL.
using Thumbnails = std::unordered_map<std::string, std::string>;

/// How a report may differ from the ordinary one.
struct ReportOptions {
  /// What the result is about, in a few words, such as the name of its file; shown under the heading.
  std::string subject = {};
  /// Images to embed, by the URL that `thumbnail_url` gives; those that are no raster images stay out.
  Thumbnails thumbnails = {};
};

/// The result as one HTML document that needs no other file and no network: figures by currency, a price strip for each
/// kind of seller, and every match as a card to filter and to sort. Without scripts it is a plain list.
///
/// Whatever the records hold is shown as text: nothing in it runs, loads, or leads anywhere but to http and https
/// pages, and the document forbids itself more by a Content-Security-Policy. Long texts are cut. Whether a fact came
/// from the shop's page or from the search result is not in the records; a match counts as having page facts when it
/// holds something that only a page can have said.
///
///     std::ofstream("report.html") << commerce_to_html(result, {.subject = "red shoe.jpg"});
[[nodiscard]] QUILLMERE_API std::string commerce_to_html(const CommerceIntelligence& commerce,
                                                         const ReportOptions& options = {});

/// Writes `commerce_to_html` as the exports of export.hpp do. Gives the absolute, resolved path of the file.
QUILLMERE_API std::filesystem::path export_commerce_to_html(const CommerceIntelligence& commerce,
                                                            const std::filesystem::path& output_path,
                                                            const ReportOptions& options = {});

/// Larger images stay out of a report, and so do those beyond what all of them may have together, in the order of the
/// items.
inline constexpr std::size_t MAX_THUMBNAIL_BYTES = std::size_t{1} << 20;
inline constexpr std::size_t MAX_THUMBNAILS_BYTES = std::size_t{32} << 20;

/// The URL of the image that a report shows for `item`: its thumbnail, else its main image. Absent without either.
[[nodiscard]] QUILLMERE_API std::optional<std::string> thumbnail_url(const EnrichedCommerceMatch& item);

/// Fetches the images that a report of `items` shows, under the guard and the limits of the pages
/// (ScraplingDestinationFetcher::fetch_many has the arguments, the time and the cancellation). What cannot be had, is
/// too large, or does not begin as a PNG, JPEG, GIF, WebP or AVIF image does, is left out.
[[nodiscard]] QUILLMERE_API boost::asio::awaitable<Thumbnails> fetch_thumbnails(
    std::vector<EnrichedCommerceMatch> items, std::optional<int> max_workers = std::nullopt, int timeout = 5,
    http::FetchOptions options = {});

}  // namespace quillmere::commerce
