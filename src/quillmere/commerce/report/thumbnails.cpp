#include <utility>

#include "quillmere/commerce/destination_fetcher_internal.hpp"
#include "quillmere/commerce/report.hpp"
#include "quillmere/commerce/report/encoding.hpp"

namespace quillmere::commerce {
namespace {

/// What cannot be shown is dropped at once, so that memory holds no more than can be.
std::optional<std::string> read_image(std::string bytes) {
  if (bytes.size() > MAX_THUMBNAIL_BYTES || !report::raster_type(bytes)) return std::nullopt;
  return bytes;
}

}  // namespace

std::optional<std::string> thumbnail_url(const EnrichedCommerceMatch& item) {
  if (item.thumbnail && !item.thumbnail->empty()) return item.thumbnail;
  if (item.primary_image_url && !item.primary_image_url->empty()) return item.primary_image_url;
  return std::nullopt;
}

boost::asio::awaitable<Thumbnails> fetch_thumbnails(std::vector<EnrichedCommerceMatch> items,
                                                    std::optional<int> max_workers, int timeout,
                                                    http::FetchOptions options) {
  std::vector<std::string> urls;
  for (const EnrichedCommerceMatch& item : items) {
    if (std::optional<std::string> url = thumbnail_url(item)) urls.push_back(*std::move(url));
  }
  const HtmlMap images =
      co_await internal::fetch_many(read_image, std::move(urls), max_workers, timeout, std::move(options));
  Thumbnails thumbnails;
  std::size_t total = 0;
  for (const auto& [url, bytes] : images) {
    if (!bytes || total + bytes->size() > MAX_THUMBNAILS_BYTES) continue;
    total += bytes->size();
    thumbnails.emplace(url, *bytes);
  }
  co_return thumbnails;
}

}  // namespace quillmere::commerce
