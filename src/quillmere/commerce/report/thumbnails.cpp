#include <utility>

#include "quillmere/commerce/destination_fetcher_internal.hpp"
#include "quillmere/commerce/report.hpp"
#include "quillmere/commerce/report/encoding.hpp"

namespace quillmere::commerce {
namespace {

/// One image; what cannot be shown is dropped at once, so that memory holds no more than can be.
boost::asio::awaitable<internal::Page> fetch_image(std::string url, Semaphore& sem, int timeout,
                                                   http::FetchOptions options) {
  internal::Page image = co_await internal::fetch_body(std::move(url), sem, timeout, std::move(options));
  const std::optional<std::string>& bytes = image.second;
  if (bytes && (bytes->size() > MAX_THUMBNAIL_BYTES || !report::raster_type(*bytes))) image.second.reset();
  co_return image;
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
      co_await internal::fetch_many(fetch_image, std::move(urls), max_workers, timeout, std::move(options));
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
