#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <set>
#include <system_error>
#include <unistd.h>
#include <unordered_set>

#include "cli/commands.hpp"
#include "cli/formats.hpp"
#include "cli/interrupt.hpp"
#include "cli/line_reader.hpp"
#include "cli/match_input.hpp"
#include "cli/output.hpp"
#include "cli/pages.hpp"
#include "cli/progress.hpp"
#include "cli/report_images.hpp"
#include "cli/tally.hpp"

#include "quillmere/commerce/enricher.hpp"
#include "quillmere/commerce/url_unwrapper.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::cli {
namespace {

std::vector<Destination> destinations(const Settings& settings) {
  std::vector<Destination> all;
  std::set<std::optional<std::string>> seen;
  for (const std::string& output : settings.outputs) {
    all.push_back(destination(output, settings.format));
    if (!seen.insert(all.back().path).second) {
      throw ToolError(MISUNDERSTOOD, "--output: " + in_quotes(output) + " is given twice");
    }
  }
  if (settings.save_pages && seen.contains(settings.save_pages)) {
    throw ToolError(MISUNDERSTOOD, "--save-pages: " + in_quotes(*settings.save_pages) + " is given twice");
  }
  if (all.empty()) all.push_back(destination(std::nullopt, settings.format));
  return all;
}

/// Says what cannot work before any work is done.
void check(const Settings& settings, const std::vector<Destination>& outputs) {
  if (settings.pages && settings.save_pages) {
    throw ToolError(MISUNDERSTOOD,
                    "--save-pages writes what was fetched, but with --pages nothing is; give one of them");
  }
  const bool has_page = std::ranges::any_of(outputs, [](const auto& o) { return o.format->name == HTML_FORMAT; });
  if (settings.images && !has_page) {
    throw ToolError(MISUNDERSTOOD, "--images: only an HTML page has images; write one with --output FILE.html");
  }
  if (settings.pages && embeds_images(settings)) {
    throw ToolError(MISUNDERSTOOD,
                    "--images embed fetches, but with --pages nothing is fetched; write JSON, and the page from it "
                    "with \"quillmere report --images embed\"");
  }
  if (settings.pages == "-" && settings.input.value_or("-") == "-") {
    throw ToolError(MISUNDERSTOOD, "--pages: standard input already holds the matches; give one of them as a file");
  }
  const auto check_file = [&](std::string_view option, const std::optional<std::string>& path) {
    if (!path) return;
    expect_not_read(option, *path, settings.input);
    if (settings.pages) expect_not_read(option, *path, settings.pages);
    expect_writable(*path);
  };
  for (const Destination& output : outputs) check_file("--output", output.path);
  check_file("--save-pages", settings.save_pages);
}

/// One run: where its pages come from, and what it keeps for its end.
struct Run {
  PageTally tally;
  std::string fetched_lines;  ///< for --save-pages
  std::optional<ProgressBar> bar;
};

commerce::PageSource page_source(const Settings& settings, Run& run) {
  if (settings.pages) return pages_of(std::make_shared<PageFile>(*settings.pages), run.tally);
  run.bar.emplace(settings.progress.value_or("auto"), "pages");
  const auto ended = std::make_shared<std::uint64_t>(0);
  const auto total = std::make_shared<std::uint64_t>(0);
  http::FetchOptions options;
  options.allow_private_networks = settings.allow_private_networks;
  options.observer = [&run, ended, total](const http::FetchReport& fetch) {
    run.tally.count(fetch.reason);
    run.bar->show(++*ended, *total);
  };
  std::optional<int> max_workers;
  if (settings.max_workers) max_workers = static_cast<int>(*settings.max_workers);
  commerce::PageSource fetched =
      commerce::fetched_pages(max_workers, static_cast<int>(settings.timeout.value_or(5)), std::move(options));
  commerce::PageSource announced = [&run, total, fetched = std::move(fetched)](std::vector<std::string> urls) {
    *total = std::unordered_set<std::string_view>(urls.begin(), urls.end()).size();
    run.bar->show(0, *total);
    return fetched(std::move(urls));
  };
  return settings.save_pages ? recording(std::move(announced), run.fetched_lines) : announced;
}

/// The error of a link that cannot be read, with the place of the match that carries it.
[[noreturn]] void refuse_link(const MatchInput& input, const std::string& name, const text::MalformedUrl& error) {
  for (std::size_t i = 0; i < input.matches.size(); ++i) {
    try {
      (void)commerce::URLUnwrapper::extract_domain(commerce::URLUnwrapper::unwrap(input.matches[i].link));
    } catch (const text::MalformedUrl& found) {
      throw ToolError(FAILED,
                      name + ":" + std::to_string(input.lines[i]) + ": field \"link\": " + std::string(found.what()));
    }
  }
  throw ToolError(FAILED, name + ": enrichment failed: " + error.what());
}

CommerceIntelligence enrich(const MatchInput& input, const std::string& name, const Settings& settings, Run& run) {
  try {
    commerce::EnrichOptions options{.max_items = settings.max_items, .pages = page_source(settings, run)};
    return commerce::CommerceEnricher::process(input.matches, std::move(options));
  } catch (const text::MalformedUrl& error) {
    refuse_link(input, name, error);
  } catch (const ToolError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw ToolError(FAILED, name + ": enrichment failed: " + error.what());
  }
}

/// Writes to each destination; one that fails is reported and costs the others nothing.
ExitStatus write(const CommerceIntelligence& result, const commerce::ReportOptions& page,
                 const std::vector<Destination>& outputs, const Settings& settings, const Run& run) {
  ExitStatus status = DONE;
  const auto attempt = [&](const std::optional<std::string>& path, const std::string& text) {
    try {
      if (path) {
        write_file(*path, text);
      } else {
        write_all(STDOUT_FILENO, text, "standard output");
      }
    } catch (const ToolError& error) {
      report(error.what());
      status = FAILED;
    }
  };
  if (settings.save_pages) attempt(settings.save_pages, run.fetched_lines);
  // Files first: a closed pipe at standard output ends the tool.
  for (const bool files : {true, false}) {
    for (const Destination& output : outputs) {
      if (output.path.has_value() == files) attempt(output.path, output.format->text(result, page));
    }
  }
  return status;
}

ClosingSummary closing_summary(const MatchInput& input, const CommerceIntelligence& result, const Run& run) {
  const auto priced = std::ranges::count_if(result.items, [](const auto& item) { return item.price.has_value(); });
  std::string work = counted(input.matches.size(), "match", "matches");
  if (result.items.size() < input.matches.size()) work = std::to_string(result.items.size()) + " of " + work;
  return {std::move(work), run.tally, static_cast<std::uint64_t>(priced)};
}

}  // namespace

ExitStatus run_enrich(const Settings& settings) {
  const auto start = std::chrono::steady_clock::now();
  const std::vector<Destination> outputs = destinations(settings);
  check(settings, outputs);
  const InputFile file(settings.input);
  const MatchInput input = read_match_input(read_whole(file), file.name());
  Run run;
  const CommerceIntelligence result = enrich(input, file.name(), settings, run);
  if (run.bar) run.bar->clear();
  const commerce::ReportOptions page = report_options(result, file.name(), settings);
  const ExitStatus status = write(result, page, outputs, settings, run);
  if (!settings.quiet && status == DONE) {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "%s\n", closing_summary(input, result, run).text(elapsed.count()).c_str());
  }
  return status;
}

}  // namespace quillmere::cli
