#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>

#include "cli/batch_output.hpp"
#include "cli/commands.hpp"
#include "cli/fields.hpp"
#include "cli/interrupt.hpp"
#include "cli/line_reader.hpp"
#include "cli/match_input.hpp"
#include "cli/output.hpp"
#include "cli/pages.hpp"
#include "cli/progress.hpp"
#include "cli/tally.hpp"
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <nlohmann/json.hpp>

#include "quillmere/commerce/enricher.hpp"
#include "quillmere/text/json.hpp"

namespace quillmere::cli {
namespace {

using boost::asio::awaitable;
using commerce::HtmlMap;
using commerce::PageSource;

/// A search that was read as such but cannot be enriched, or no search at all.
std::string error_line(const std::string& id, std::uint64_t line_number, std::string_view error) {
  const nlohmann::json text = "line " + std::to_string(line_number) + ": " + std::string(error);
  return "{\"id\":" + id + ",\"error\":" + text.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "}";
}

/// The pages that a search carries itself: {URL: text or null}. Texts are decoded when they are asked for.
using InlinePages = std::unordered_map<std::string, text::JsonString>;

InlinePages read_inline_pages(const Fields& search, text::JsonValue value) {
  if (!value.is_object()) search.refuse("pages", "an object of page texts by URL", value);
  const Fields fields(value, "", "pages.");
  InlinePages pages;
  for (const text::JsonMember member : value.members()) {
    const std::string url = member.key.decoded();
    if (member.value.is_string()) {
      pages[url] = member.value.string_slice();
    } else if (member.value.kind() != text::JsonKind::null) {
      fields.refuse(url, "text or null", member.value);
    }
  }
  return pages;
}

awaitable<HtmlMap> given_inline(const InlinePages* given, PageTally* tally, std::vector<std::string> urls) {
  HtmlMap pages;
  for (std::string& url : urls) {
    if (pages.contains(url)) continue;
    const auto place = given->find(url);
    tally->count_given(place != given->end());
    pages.insert(std::move(url), place == given->end() ? std::nullopt : std::optional(place->second.decoded()));
  }
  co_return pages;
}

/// What the workers have in common. Everything below a mutex's name is guarded by it.
struct Shared {
  const Settings& settings;
  std::shared_ptr<const PageFile> pages;

  std::mutex input_mutex{};
  LineReader& searches;
  std::uint64_t taken = 0;

  std::mutex output_mutex{};
  std::condition_variable written{};
  OrderedLines& results;
  ProgressBar& bar;
  std::uint64_t kept = 0;
  std::uint64_t failed = 0;
  std::uint64_t matches = 0;
  std::uint64_t priced = 0;
  PageTally tally{};
  std::exception_ptr failure{};
  std::atomic<bool> stop = false;
};

/// One thread of `--jobs`: takes a line, enriches it, puts the result in its place. It has an event loop of its own, so
/// that connections are reused from search to search.
class Worker {
 public:
  explicit Worker(Shared& shared) : _shared(shared) {
    const Settings& settings = shared.settings;
    if (shared.pages) {
      _pages = pages_of(shared.pages, _tally);
      return;
    }
    http::FetchOptions options;
    options.allow_private_networks = settings.allow_private_networks;
    options.observer = [this](const http::FetchReport& fetch) { _tally.count(fetch.reason); };
    std::optional<int> max_workers;
    if (settings.max_workers) max_workers = static_cast<int>(*settings.max_workers);
    _pages = commerce::fetched_pages(max_workers, static_cast<int>(settings.timeout.value_or(5)), std::move(options));
  }

  void run() {
    try {
      while (_take()) _put(_search());
    } catch (...) {
      const std::lock_guard lock(_shared.output_mutex);
      if (!_shared.failure) _shared.failure = std::current_exception();
      _shared.stop = true;
      _shared.written.notify_all();
    }
    const std::lock_guard lock(_shared.output_mutex);
    _shared.tally.add(_tally);
  }

 private:
  /// Copies the next line out of the reader; false at the end of the work.
  bool _take() {
    const std::lock_guard lock(_shared.input_mutex);
    {
      // A search that takes long holds up the lines behind it; they must not pile up without end.
      const std::uint64_t most_waiting = 64 * static_cast<std::uint64_t>(_shared.settings.jobs.value_or(1));
      std::unique_lock output_lock(_shared.output_mutex);
      _shared.written.wait(output_lock,
                           [&] { return _shared.stop || _shared.taken < _shared.results.next() + most_waiting; });
    }
    if (_shared.stop) return false;
    const auto line = _shared.searches.next();
    if (!line) return false;
    _line.assign(*line);
    _line_number = _shared.searches.line_number();
    _consumed = _shared.searches.consumed();
    _position = _shared.taken++;
    return true;
  }

  std::string _search() {
    std::string id = "null";
    _failed = true;
    _result = {};
    try {
      const auto value = _document.read(_line);
      if (!value) throw FieldError("not JSON: " + std::string(_document.error().message), _document.error().offset);
      id = id_text(value);
      const Fields search(*value, "a search object");
      auto matches = search.find("matches");
      if (!matches) matches = search.find("visual_matches");
      if (!matches) search.refuse_missing("matches", "an array");
      if (!matches->is_array()) search.refuse("matches", "an array", *matches);
      const auto pages = search.find("pages");
      InlinePages given;
      PageSource source = _pages;
      if (pages) {
        given = read_inline_pages(search, *pages);
        source = [&given, this](std::vector<std::string> urls) {
          return given_inline(&given, &_tally, std::move(urls));
        };
      }
      _result = _enrich(read_match_array(*matches), std::move(source));
      _failed = false;
      return model_dump_json_with_id(id, _result, true);
    } catch (const ToolError&) {
      throw;  // the file of pages, not this search
    } catch (const std::exception& error) {
      return error_line(id, _line_number, error.what());
    }
  }

  CommerceIntelligence _enrich(std::vector<VisualMatch> matches, PageSource pages) {
    CommerceIntelligence result;
    std::exception_ptr failure;
    _loop.restart();
    boost::asio::co_spawn(
        _loop,
        commerce::CommerceEnricher::process_async(std::move(matches), {.max_items = {}, .pages = std::move(pages)}),
        [&](std::exception_ptr error, CommerceIntelligence value) {
          failure = std::move(error);
          result = std::move(value);
          _loop.stop();  // kept connections would keep it running
        });
    _loop.run();
    if (failure) std::rethrow_exception(failure);
    return result;
  }

  void _put(std::string line) {
    const std::lock_guard lock(_shared.output_mutex);
    _shared.failed += _failed ? 1U : 0U;
    _shared.matches += _result.items.size();
    for (const EnrichedCommerceMatch& item : _result.items) _shared.priced += item.price ? 1U : 0U;
    _shared.results.put(_position, std::move(line));
    _shared.written.notify_all();
    const auto size = _shared.searches.file().size();
    const double share = size && *size > 0 ? static_cast<double>(_consumed) / static_cast<double>(*size) : 0;
    _shared.bar.show(ProgressState{.done = _shared.kept + _shared.results.next(), .total = {}, .share = share});
  }

  Shared& _shared;
  boost::asio::io_context _loop{1};
  PageTally _tally;
  PageSource _pages;
  text::JsonDocument _document;
  std::string _line;
  std::uint64_t _line_number = 0;
  std::uint64_t _consumed = 0;
  std::uint64_t _position = 0;
  CommerceIntelligence _result;
  bool _failed = false;
};

void work(Shared& shared) {
  const auto jobs = static_cast<std::size_t>(shared.settings.jobs.value_or(1));
  std::vector<std::thread> others;
  for (std::size_t i = 1; i < jobs; ++i) others.emplace_back([&shared] { Worker(shared).run(); });
  Worker(shared).run();
  for (std::thread& other : others) other.join();
  shared.bar.clear();
  if (shared.failure) std::rethrow_exception(shared.failure);
}

void check(const Settings& settings) {
  if (settings.outputs.size() > 1) {
    throw ToolError(MISUNDERSTOOD,
                    "--output: given " + std::to_string(settings.outputs.size()) + " times; give it once");
  }
  if (settings.resume && (settings.outputs.empty() || settings.outputs.front() == "-")) {
    throw ToolError(MISUNDERSTOOD, "--resume goes on behind what a file holds; name it with --output FILE");
  }
  if (settings.pages == "-" && settings.input.value_or("-") == "-") {
    throw ToolError(MISUNDERSTOOD, "--pages: standard input already holds the searches; give one of them as a file");
  }
  if (settings.outputs.empty()) return;
  // It would be emptied before it has been read.
  expect_not_read("--output", settings.outputs.front(), settings.input);
  if (settings.pages) expect_not_read("--output", settings.outputs.front(), settings.pages);
}

ClosingSummary closing_summary(const Shared& shared) {
  std::string work = counted(shared.kept + shared.taken, "search", "searches");
  if (shared.kept + shared.failed > 0) {
    std::string notes = shared.kept > 0 ? std::to_string(shared.kept) + " kept" : "";
    if (shared.failed > 0) notes += (notes.empty() ? "" : ", ") + std::to_string(shared.failed) + " failed";
    work += " (" + notes + ")";
  }
  return {work + ", " + counted(shared.matches, "match", "matches"), shared.tally, shared.priced};
}

}  // namespace

ExitStatus run_batch(const Settings& settings) {
  const auto start = std::chrono::steady_clock::now();
  check(settings);
  LineFile file(settings.outputs.empty() ? std::nullopt : std::optional(settings.outputs.front()));
  LineReader searches{InputFile(settings.input)};
  std::shared_ptr<const PageFile> pages;
  if (settings.pages) pages = std::make_shared<PageFile>(*settings.pages);
  const std::uint64_t kept = settings.resume ? file.keep_lines(searches) : 0;
  OrderedLines results(file);
  ProgressBar bar(settings.progress.value_or("auto"), "searches");
  Shared shared{.settings = settings,
                .pages = std::move(pages),
                .searches = searches,
                .results = results,
                .bar = bar,
                .kept = kept};
  {
    std::optional<LastWords> on_interrupt;
    if (!settings.quiet && !settings.outputs.empty() && settings.outputs.front() != "-") {
      on_interrupt.emplace("interrupted; the same command with --resume goes on behind what " +
                           in_quotes(settings.outputs.front()) + " holds");
    }
    work(shared);
  }
  file.finish();
  if (!settings.quiet) {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::fprintf(stderr, "%s\n", closing_summary(shared).text(elapsed.count()).c_str());
  }
  return DONE;
}

}  // namespace quillmere::cli
