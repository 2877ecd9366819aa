#include "cli/commands.hpp"

#include <algorithm>
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
    {"o", "output", "FILE", "write the page to FILE; default: standard output", "report", &Settings::outputs},
    {"f", "format", "FORMAT",
     "json, csv, jsonl (one item a line) or html (a page to look at); default: by the ending of FILE, else json",
     "enrich", &Settings::format, "json|csv|jsonl|html"},
    {"", "resume", "", "keep the whole lines that FILE already has and go on behind them", "batch", &Settings::resume},
    {"", "jobs", "N", "work on N searches at once; default: 1", "batch", &Settings::jobs, "", 1, MOST_JOBS},
    {"", "max-items", "N", "enrich the first N matches, or all but the last N when N is negative; default: all",
     "enrich", &Settings::max_items},
    {"", "images", "WHICH",
     "the thumbnails of an HTML page: embed (fetched once, kept in the page) or none; default: none", "enrich report",
     &Settings::images, "embed|none"},
    {"", "max-workers", "N", "requests in flight for a search; default: 4 for each processor, at most 32",
     "enrich batch report", &Settings::max_workers, "", 1, MOST_WORKERS},
    {"", "timeout", "S", "time limit for each page in seconds; default: 5", "enrich batch report", &Settings::timeout,
     "", 1, LONGEST_TIMEOUT},
    {"", "pages", "FILE", "take page texts from FILE, JSON Lines of {\"url\":..., \"html\":...}; nothing is fetched",
     "enrich batch", &Settings::pages},
    {"", "save-pages", "FILE", "write what was fetched to FILE, in the form that --pages takes", "enrich",
     &Settings::save_pages},
    {"", "allow-private-networks", "", "fetch from loopback, private and link-local addresses too; default: refused",
     "enrich batch report", &Settings::allow_private_networks},
    {"", "progress", "WHEN", "a progress bar on standard error: auto (on a terminal), always or never; default: auto",
     "enrich batch", &Settings::progress, "auto|always|never"},
    {"", "quiet", "", "no closing summary", "enrich batch report", &Settings::quiet},
    {"", "generate", "KIND", "print the manual page (man) or the completions for a shell (bash, zsh or fish)", "",
     &Settings::generate, "man|bash|zsh|fish"},
    {"", "version", "", "print the version", "", &Settings::version},
    {"h", "help", "", "print this help", "*", &Settings::help},
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
    {"INPUT",
     "JSON Lines of {\"url\":...}, {\"price\":..., \"currency\":...}, {\"domain\":..., \"title\":..., \"brand\":..., "
     "\"merchant_name\":...} or {\"html\":..., \"direct_url\":...}; \"-\" or nothing: standard input",
     &Settings::input},
});

constexpr auto REPORT_POSITIONALS = std::to_array<PositionalRow>({
    {"RESULT", "a result document, as enrich writes it; \"-\" or nothing: standard input", &Settings::input},
});

constexpr CommandRow GENERAL{
    "",
    "turn visual search results into commerce records",
    "COMMAND [ARGUMENT]...",
    "",
    {},
    nullptr,
    "quillmere reads the matches of visual (reverse-image) searches, unwraps and cleans their links, fetches the pages "
    "behind them all at once, reads product facts out of each page, normalises prices, decides what kind of page and "
    "what kind of seller each is, and writes one record for each match with a market summary.\n\n"
    "Standard output carries results only; progress, the closing summary and errors go to standard error. An error is "
    "one line that says what is wrong and where. Text is UTF-8. A file is written beside its target and moved into "
    "place, so that a run that fails leaves an earlier file as it was.\n\n"
    "Pages are fetched over HTTP and HTTPS, from public addresses only unless --allow-private-networks is given. No "
    "setting is taken from the environment, proxies included."};

constexpr auto COMMANDS = std::to_array<CommandRow>({
    {"enrich", "turn the visual matches of one search into commerce records", "[INPUT] [-o FILE]... [-f FORMAT]",
     "  quillmere enrich matches.json -o result.json -o result.csv\n"
     "  curl -s 'https://search.example/...' | quillmere enrich > result.json\n"
     "  quillmere enrich matches.json --save-pages pages.jsonl -o result.json\n"
     "  quillmere enrich matches.json --pages pages.jsonl -f csv\n",
     ENRICH_POSITIONALS, run_enrich,
     "INPUT holds the matches of one search: a JSON array of match objects, an object with a \"matches\" or "
     "\"visual_matches\" array (so that a search API's answer goes in as it is), or JSON Lines with one match a line. "
     "A match has \"link\" and \"title\", and may have \"source\", \"price\", \"currency\", \"in_stock\" and "
     "\"thumbnail\"; \"price\" is the printed price, or an object whose \"value\" is the printed price and whose "
     "\"currency\" is a hint. Other fields are ignored.\n\n"
     "The format of an output follows its file's ending unless --format says otherwise. The closing summary counts "
     "what "
     "became of the pages, by reason."},
    {"batch", "enrich many searches, one a line", "[INPUT] [-o FILE] [--resume] [--jobs N]",
     "  quillmere batch searches.jsonl -o results.jsonl\n"
     "  quillmere batch searches.jsonl -o results.jsonl --resume\n"
     "  quillmere batch searches.jsonl --pages pages.jsonl --jobs 4 > results.jsonl\n",
     BATCH_POSITIONALS, run_batch,
     "Each line of INPUT is one search: its \"matches\" as for enrich, an \"id\" of any kind, and, where its pages are "
     "there already, \"pages\", an object of page texts (or null) by URL; nothing is fetched for such a search. Each "
     "line that comes out, in the order of the input, is the result document of one search with its \"id\" put first, "
     "or an object of \"id\" and \"error\": a line that cannot be read or a search that fails costs that line alone. "
     "Memory does not grow with the number of searches.\n\n"
     "With --resume the whole lines that FILE has are kept, a torn last line is dropped, and work goes on behind them; "
     "their ids must be those of the input's first lines."},
    {"inspect", "run one operation over many inputs, one JSON object a line", "url|price|merchant|page [INPUT]",
     "  echo '{\"url\":\"https://shop.example/p?utm_source=x\"}' | quillmere inspect url\n"
     "  echo '{\"price\":\"1.299,99 EUR\"}' | quillmere inspect price\n"
     "  quillmere inspect page pages.jsonl > facts.jsonl\n",
     INSPECT_POSITIONALS, run_inspect,
     "Each line of INPUT is an object with the fields of the operation, and each gives one line: an object with every "
     "field of the answer (null where there is none), or an object with \"error\".\n\n"
     "url takes \"url\" and gives \"direct_url\" and \"domain\". price takes \"price\" and \"currency\" and gives "
     "\"price\". merchant takes \"domain\", \"title\", \"brand\" and \"merchant_name\" and gives "
     "\"merchant_category\". page takes \"html\", \"direct_url\" (or \"url\", as a line for --pages has it), "
     "\"initial_title\", \"initial_merchant\", "
     "\"initial_price\", \"initial_stock\" and \"rank\" and gives the facts of that page."},
    {"report", "make a page to look at out of a result", "[RESULT] [-o FILE] [--images embed]",
     "  quillmere report result.json -o report.html\n"
     "  quillmere report result.json -o report.html --images embed\n"
     "  quillmere enrich matches.json | quillmere report > report.html\n",
     REPORT_POSITIONALS, run_report,
     "RESULT is a result document, as enrich writes it in JSON; a line of batch will do. The page is one HTML file "
     "that "
     "needs no network: medians and ranges by currency, a price strip for each kind of seller, and every match as a "
     "card to filter and to sort. Titles and names are shown as text, whatever they hold.\n\n"
     "Images stay out of the page unless --images embed fetches the thumbnails into it; those that cannot be had, that "
     "are no PNG, JPEG, GIF, WebP or AVIF image, or that are larger than 1 MiB, stay out even then."},
});

constexpr auto EXIT_STATUSES = std::to_array<ExitStatusRow>({
    {DONE, "done"},
    {FAILED, "the work failed"},
    {MISUNDERSTOOD, "the command line or the input cannot be understood"},
    {INTERRUPTED, "interrupted"},
});

bool has_option(const CommandRow& command, const OptionRow& option) {
  if (option.commands == "*" || option.commands == command.name) return true;
  const std::vector<std::string_view> names = split(option.commands, ' ');
  return std::ranges::find(names, command.name) != names.end();
}

}  // namespace

std::span<const CommandRow> commands() {
  return COMMANDS;
}

const CommandRow& general() {
  return GENERAL;
}

std::span<const ExitStatusRow> exit_statuses() {
  return EXIT_STATUSES;
}

std::span<const OptionRow> options() {
  return OPTIONS;
}

std::vector<const OptionRow*> options_of(const CommandRow& command) {
  std::vector<const OptionRow*> own;
  for (const OptionRow& option : OPTIONS) {
    if (has_option(command, option)) own.push_back(&option);
  }
  return own;
}

std::string dashed(const OptionRow& option) {
  return "--" + std::string(option.name);
}

bool may_repeat(const OptionRow& option) {
  return std::holds_alternative<std::vector<std::string> Settings::*>(option.target) ||
         std::holds_alternative<bool Settings::*>(option.target);
}

std::string synopsis(const CommandRow& command) {
  const std::string name = command.name.empty() ? "" : std::string(command.name) + " ";
  return "quillmere " + name + std::string(command.usage);
}

}  // namespace quillmere::cli
