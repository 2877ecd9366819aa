#include "cli/report_images.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "cli/tally.hpp"

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
  PageTally tally;
  fetching.observer = [&tally](const http::FetchReport& fetch) { tally.count(fetch.reason); };
  std::optional<int> max_workers;
  if (settings.max_workers) max_workers = static_cast<int>(*settings.max_workers);
  options.thumbnails = commerce::_run_coroutine(commerce::fetch_thumbnails(
      result.items, max_workers, static_cast<int>(settings.timeout.value_or(5)), std::move(fetching)));
  if (!settings.quiet) {
    const auto shown = std::ranges::count_if(result.items, [&](const EnrichedCommerceMatch& item) {
      const auto url = commerce::thumbnail_url(item);
      return url && options.thumbnails.contains(*url);
    });
    std::string reasons = tally.reasons();
    if (const std::uint64_t unfit = tally.fetched() - options.thumbnails.size(); unfit > 0) {
      reasons += (reasons.empty() ? "" : ", ") + std::to_string(unfit) + " unsuitable";
    }
    if (!reasons.empty()) reasons = " (" + reasons + ")";
    std::fprintf(stderr, "%td of %zu matches with an image%s\n", shown, result.items.size(), reasons.c_str());
  }
  return options;
}

}  // namespace quillmere::cli
