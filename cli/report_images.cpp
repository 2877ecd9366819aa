#include "cli/report_images.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "quillmere/commerce/enricher.hpp"

namespace quillmere::cli {

bool embeds_images(const Settings& settings) {
  return settings.images == "embed";
}

commerce::ReportOptions report_options(const CommerceIntelligence& result, const std::string& name,
                                       const Settings& settings) {
  commerce::ReportOptions options;
  if (settings.input && settings.input != "-") options.subject = std::filesystem::path(name).filename().string();
  if (!embeds_images(settings)) return options;
  http::FetchOptions fetching;
  fetching.allow_private_networks = settings.allow_private_networks;
  std::optional<int> max_workers;
  if (settings.max_workers) max_workers = static_cast<int>(*settings.max_workers);
  options.thumbnails = commerce::_run_coroutine(commerce::fetch_thumbnails(
      result.items, max_workers, static_cast<int>(settings.timeout.value_or(5)), std::move(fetching)));
  if (!settings.quiet) {
    const auto shown = std::ranges::count_if(result.items, [&](const EnrichedCommerceMatch& item) {
      const auto url = commerce::thumbnail_url(item);
      return url && options.thumbnails.contains(*url);
    });
    std::fprintf(stderr, "%td of %zu matches with an image\n", shown, result.items.size());
  }
  return options;
}

}  // namespace quillmere::cli
