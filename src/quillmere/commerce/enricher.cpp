#include "quillmere/commerce/enricher.hpp"

#include <algorithm>
#include <memory>
#include <string_view>
#include <thread>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/merchant_classifier.hpp"
#include "quillmere/commerce/price_normalizer.hpp"
#include "quillmere/commerce/url_unwrapper.hpp"
#include "quillmere/relevance.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

void make_valid(std::optional<std::string>& text) {
  if (text) text = text::to_valid_utf8(std::move(*text));
}

VisualMatch with_valid_text(VisualMatch match) {
  match.link = text::to_valid_utf8(std::move(match.link));
  match.title = text::to_valid_utf8(std::move(match.title));
  make_valid(match.source);
  make_valid(match.price);
  make_valid(match.currency);
  make_valid(match.thumbnail);
  return match;
}

/// How many of `size` matches the list-slice count `max_items` takes from the front.
std::size_t slice_length(std::size_t size, std::int64_t max_items) {
  const auto signed_size = static_cast<std::int64_t>(size);
  const std::int64_t length = max_items < 0 ? std::max(signed_size + std::max(max_items, -signed_size), std::int64_t{0})
                                            : std::min(max_items, signed_size);
  return static_cast<std::size_t>(length);
}

std::string domain_of(const VisualMatch& match, const std::string& direct_url) {
  std::string domain = URLUnwrapper::extract_domain(direct_url);
  return domain.empty() ? match.source.value_or("") : domain;
}

EnrichedCommerceMatch enrich(VisualMatch match, std::string direct_url, std::optional<std::string_view> html,
                             std::int64_t rank) {
  const std::string domain = domain_of(match, direct_url);
  const std::string& merchant = match.source && !match.source->empty() ? *match.source : domain;
  const std::optional<NormalizedPrice> normalized_price = PriceNormalizer::parse(match.price, match.currency);
  PageMetadata meta = DestinationMetadataParser::parse_metadata(html, direct_url, match.title, merchant,
                                                                normalized_price, match.in_stock, rank);
  std::optional<MerchantCategory> category;
  if (meta.page_type == PageType::PRODUCT || meta.page_type == PageType::MARKETPLACE) {
    category = MerchantClassifier::classify(domain, meta.title, meta.brand, meta.merchant_name);
  }
  const bool has_image = meta.primary_image_url && !meta.primary_image_url->empty();
  return EnrichedCommerceMatch{
      .title = std::move(meta.title),
      .direct_url = std::move(direct_url),
      .original_url = std::move(match.link),
      .price = std::move(meta.price),
      .merchant_name = std::move(meta.merchant_name),
      .merchant_category = category,
      .thumbnail = match.thumbnail,
      .match_score = meta.match_score,
      .page_type = meta.page_type,
      .brand = std::move(meta.brand),
      .sku = std::move(meta.sku),
      .condition = meta.condition,
      .stock_status = meta.stock_status,
      .primary_image_url = has_image ? std::move(meta.primary_image_url) : std::move(match.thumbnail),
      .shipping_info = std::move(meta.shipping_info),
      .relevance = std::nullopt,
  };
}

}  // namespace

PageSource fetched_pages(std::optional<int> max_workers, int timeout, http::FetchOptions options) {
  return [max_workers, timeout, options = std::move(options)](std::vector<std::string> urls) {
    return ScraplingDestinationFetcher::fetch_many(std::move(urls), max_workers, timeout, options);
  };
}

PageSource given_pages(HtmlMap pages) {
  // A coroutine must not refer to its lambda's captures: what it needs is handed to it as arguments that it owns.
  return [all = std::make_shared<const HtmlMap>(std::move(pages))](std::vector<std::string> urls) {
    return
        [](std::shared_ptr<const HtmlMap> given, std::vector<std::string> wanted) -> boost::asio::awaitable<HtmlMap> {
          HtmlMap found;
          for (std::string& url : wanted) {
            if (const auto* html = given->find(url)) found.insert(std::move(url), *html);
          }
          co_return found;
        }(all, std::move(urls));
  };
}

boost::asio::awaitable<std::vector<EnrichedCommerceMatch>> CommerceEnricher::enrich_matches_deep_async(
    std::vector<VisualMatch> matches, std::optional<std::int64_t> max_items, PageSource pages) {
  std::vector<EnrichedCommerceMatch> enriched_items;
  if (matches.empty()) co_return enriched_items;

  std::vector<VisualMatch> target_matches = std::move(matches);
  if (max_items) target_matches.resize(slice_length(target_matches.size(), *max_items));
  std::vector<std::string> unwrapped_urls;
  unwrapped_urls.reserve(target_matches.size());
  for (VisualMatch& match : target_matches) {
    match = with_valid_text(std::move(match));
    unwrapped_urls.push_back(URLUnwrapper::unwrap(match.link));
  }

  if (!pages) pages = fetched_pages();
  const HtmlMap html_map = co_await pages(unwrapped_urls);

  enriched_items.reserve(target_matches.size());
  for (std::size_t i = 0; i < target_matches.size(); ++i) {
    const std::optional<std::string>* html = html_map.find(unwrapped_urls[i]);
    const std::optional<std::string_view> page =
        html != nullptr && *html ? std::optional<std::string_view>(**html) : std::nullopt;
    enriched_items.push_back(
        enrich(std::move(target_matches[i]), std::move(unwrapped_urls[i]), page, static_cast<std::int64_t>(i) + 1));
  }
  co_return enriched_items;
}

boost::asio::awaitable<CommerceIntelligence> CommerceEnricher::process_async(std::vector<VisualMatch> matches,
                                                                             EnrichOptions options) {
  if (matches.empty()) co_return CommerceIntelligence{};
  const CommerceSummary base{.total_matches = static_cast<std::int64_t>(matches.size()), .currency = "USD"};
  std::vector<EnrichedCommerceMatch> final_items =
      co_await enrich_matches_deep_async(std::move(matches), options.max_items, std::move(options.pages));
  for (EnrichedCommerceMatch& item : final_items) {
    if (!item.relevance) item.relevance = relevance::classify_match_relevance(item, std::nullopt);
  }
  CommerceSummary summary = relevance::recompute_market_summary(final_items, base);
  co_return CommerceIntelligence{.summary = std::move(summary), .items = std::move(final_items)};
}

CommerceIntelligence CommerceEnricher::process(std::vector<VisualMatch> matches, EnrichOptions options) {
  return _run_coroutine(process_async(std::move(matches), std::move(options)));
}

bool _runs_event_loop() noexcept {
  // Asio keeps, per thread, the stack of contexts that the thread is running. There is no public question for "any
  // context at all", hence the detail header; the library is built against one version of Asio.
  return boost::asio::detail::thread_context::top_of_thread_call_stack() != nullptr;
}

void _run_off_loop(const std::function<void()>& work) {
  if (!_runs_event_loop()) {
    work();
    return;
  }
  std::exception_ptr error;
  std::thread worker([&] {
    try {
      work();
    } catch (...) {
      error = std::current_exception();
    }
  });
  worker.join();
  if (error) std::rethrow_exception(error);
}

}  // namespace quillmere::commerce
