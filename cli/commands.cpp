#include "cli/commands.hpp"

#include <array>

#include "cli/words.hpp"

namespace quillmere::cli {
namespace {

constexpr std::int64_t LONGEST_TIMEOUT = 86'400;
constexpr std::int64_t MOST_WORKERS = 10'000;
constexpr std::int64_t MOST_JOBS = 256;

constexpr auto OPTIONS = std::to_array<OptionRow>({
    {"o", "output", "FILE", "write the result to FILE; may be repeated; default: standard output", "enrich",
     &Settings::outputs},
    {"o", "output", "FILE", "write the results to FILE, line by line as they come; default: standard output", "batch",
     &Settings::outputs},
    {"f", "format", "FORMAT", "json, csv or jsonl (one item a line); default: by the ending of FILE, else json",
     "enrich", &Settings::format, "json|csv|jsonl"},
    {"", "resume", "", "keep the whole lines that FILE already has and go on behind them", "batch", &Settings::resume},
    {"", "jobs", "N", "work on N searches at once; default: 1", "batch", &Settings::jobs, "", 1, MOST_JOBS},
    {"", "max-items", "N", "enrich the first N matches, or all but the last N when N is negative; default: all",
     "enrich", &Settings::max_items},
    {"", "max-workers", "N", "requests in flight for a search; default: 4 for each processor, at most 32",
     "enrich batch", &Settings::max_workers, "", 1, MOST_WORKERS},
    {"", "timeout", "S", "time limit for each page in seconds; default: 5", "enrich batch", &Settings::timeout, "", 1,
     LONGEST_TIMEOUT},
    {"", "pages", "FILE", "take page texts from FILE, JSON Lines of {\"url\":..., \"html\":...}; nothing is fetched",
     "enrich batch", &Settings::pages},
    {"", "save-pages", "FILE", "write what was fetched to FILE, in the form that --pages takes", "enrich",
     &Settings::save_pages},
    {"", "allow-private-networks", "", "fetch from loopback, private and link-local addresses too; default: refused",
     "enrich batch", &Settings::allow_private_networks},
    {"", "progress", "WHEN", "a progress bar on standard error: auto (on a terminal), always or never; default: auto",
     "enrich batch", &Settings::progress, "auto|always|never"},
    {"", "quiet", "", "no closing summary", "enrich batch", &Settings::quiet},
});

constexpr auto BATCH_POSITIONALS = std::to_array<PositionalRow>({
    {"INPUT",
     "JSON Lines of {\"id\":..., \"matches\":[...]}, \"pages\":{URL: text or null} if you have them; \"-\" or nothing: "
     "standard input",
     &Settings::input},
});

constexpr auto ENRICH_POSITIONALS = std::to_array<PositionalRow>({
    {"INPUT", "visual matches as JSON or JSON Lines; \"-\" or nothing: standard input", &Settings::input},
});

constexpr auto INSPECT_POSITIONALS = std::to_array<PositionalRow>({
    {"OPERATION", "url, price, merchant or page", &Settings::operation, true, "url|price|merchant|page"},
    {"INPUT", "JSON Lines; \"-\" or nothing: standard input", &Settings::input},
});

constexpr auto COMMANDS = std::to_array<CommandRow>({
    {"enrich", "turn the visual matches of one search into commerce records", "[INPUT] [-o FILE]... [-f FORMAT]",
     "  quillmere enrich matches.json -o result.json -o result.csv\n"
     "  curl -s 'https://search.example/...' | quillmere enrich > result.json\n"
     "  quillmere enrich matches.json --save-pages pages.jsonl -o result.json\n"
     "  quillmere enrich matches.json --pages pages.jsonl -f csv\n",
     ENRICH_POSITIONALS, run_enrich},
    {"batch", "enrich many searches, one a line", "[INPUT] [-o FILE] [--resume] [--jobs N]",
     "  quillmere batch searches.jsonl -o results.jsonl\n"
     "  quillmere batch searches.jsonl -o results.jsonl --resume\n"
     "  quillmere batch searches.jsonl --pages pages.jsonl --jobs 4 > results.jsonl\n",
     BATCH_POSITIONALS, run_batch},
    {"inspect", "run one operation over many inputs, one JSON object a line", "url|price|merchant|page [INPUT]",
     "  echo '{\"url\":\"https://shop.example/p?utm_source=x\"}' | quillmere inspect url\n"
     "  echo '{\"price\":\"1.299,99 EUR\"}' | quillmere inspect price\n"
     "  quillmere inspect page pages.jsonl > facts.jsonl\n",
     INSPECT_POSITIONALS, run_inspect},
});

}  // namespace

std::span<const CommandRow> commands() {
  return COMMANDS;
}

std::span<const OptionRow> options() {
  return OPTIONS;
}

bool has_option(const CommandRow& command, const OptionRow& option) {
  for (const std::string_view name : split(option.commands, ' ')) {
    if (name == command.name) return true;
  }
  return false;
}

}  // namespace quillmere::cli
