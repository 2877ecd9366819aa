#include "tests/cli/run_tool.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

struct RefusedRow {
  const char* name;
  std::vector<std::string> arguments;
  const char* error;
};

class RefusedCommandLine : public testing::TestWithParam<RefusedRow> {};

TEST_P(RefusedCommandLine, SaysWhatWasMeantOnOneLine) {
  const Workspace workspace;
  EXPECT_EQ(run_tool(GetParam().arguments, "", workspace),
            (ToolResult{"", std::string("quillmere: ") + GetParam().error + "\n", 2}));
  EXPECT_TRUE(workspace.names().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedCommandLine,
    testing::ValuesIn<RefusedRow>({
        {"nothing", {}, "no command given; \"quillmere --help\" lists the commands"},
        {"misspelt_command", {"enirch"}, "unknown command \"enirch\"; did you mean \"enrich\"?"},
        {"far_command", {"frobnicate"}, "unknown command \"frobnicate\"; \"quillmere --help\" lists the commands"},
        {"option_without_its_dashes", {"version"}, "unknown command \"version\"; did you mean \"--version\"?"},
        {"misspelt_general_option", {"--verson"}, "unknown option \"--verson\"; did you mean \"--version\"?"},
        {"option_before_its_command",
         {"--timeout=3", "enrich"},
         "unknown option \"--timeout\"; it stands behind its command: quillmere enrich --timeout"},
        {"unknown_kind_to_generate",
         {"--generate", "fihs"},
         "--generate: expected man, bash, zsh or fish, got \"fihs\"; did you mean \"fish\"?"},
        {"command_behind_version",
         {"--version", "enrich"},
         "unexpected argument \"enrich\"; usage: quillmere COMMAND [ARGUMENT]..."},
        {"misspelt_option", {"enrich", "--tmieout", "3"}, "unknown option \"--tmieout\"; did you mean \"--timeout\"?"},
        {"begun_option",
         {"enrich", "--allow"},
         "unknown option \"--allow\"; did you mean \"--allow-private-networks\"?"},
        {"far_option", {"enrich", "--zz"}, "unknown option \"--zz\"; \"quillmere enrich --help\" lists the options"},
        {"unknown_letter", {"enrich", "-z"}, "unknown option \"-z\"; \"quillmere enrich --help\" lists the options"},
        {"option_of_another_command",
         {"inspect", "url", "--timeout", "3"},
         "unknown option \"--timeout\"; \"quillmere inspect --help\" lists the options"},
        {"value_missing", {"enrich", "--timeout"}, "--timeout: needs a value: --timeout S"},
        {"value_empty", {"enrich", "-o", ""}, "--output: needs a value: --output FILE"},
        {"value_for_flag", {"enrich", "--quiet=no"}, "--quiet: takes no value, got \"no\""},
        {"no_number", {"enrich", "--timeout", "5s"}, "--timeout: expected a whole number from 1 to 86400, got \"5s\""},
        {"number_out_of_range",
         {"enrich", "--max-workers=0"},
         "--max-workers: expected a whole number from 1 to 10000, got \"0\""},
        {"number_too_long",
         {"enrich", "--max-items", "99999999999999999999"},
         "--max-items: expected a whole number, got \"99999999999999999999\""},
        {"given_twice", {"enrich", "-f", "json", "-f", "csv"}, "--format: given 2 times; give it once"},
        {"unknown_format",
         {"enrich", "-f", "jsn"},
         "--format: expected json, csv, jsonl or html, got \"jsn\"; did you mean \"json\"?"},
        {"unknown_choice",
         {"enrich", "--progress", "sometimes"},
         "--progress: expected auto, always or never, got \"sometimes\""},
        {"unknown_ending",
         {"enrich", "-o", "out.txt"},
         "--output: expected a file that ends in .json, .csv, .jsonl or .html, got \"out.txt\"; or say -f json, csv, "
         "jsonl or html"},
        {"output_twice", {"enrich", "-o", "a.json", "-o", "a.json"}, "--output: \"a.json\" is given twice"},
        {"pages_would_overwrite_result",
         {"enrich", "-o", "a.jsonl", "--save-pages", "a.jsonl"},
         "--save-pages: \"a.jsonl\" is given twice"},
        {"pages_both_ways",
         {"enrich", "--pages", "a", "--save-pages", "b"},
         "--save-pages writes what was fetched, but with --pages nothing is; give one of them"},
        {"standard_input_twice",
         {"enrich", "--pages", "-"},
         "--pages: standard input already holds the matches; give one of them as a file"},
        {"argument_too_many",
         {"enrich", "a", "b\x1b[2J"},
         "unexpected argument \"b\\x1b[2J\"; usage: quillmere enrich [INPUT] [-o FILE]... [-f FORMAT]"},
        {"option_behind_dashes",
         {"enrich", "a", "--", "--quiet"},
         "unexpected argument \"--quiet\"; usage: quillmere enrich [INPUT] [-o FILE]... [-f FORMAT]"},
        {"operation_missing",
         {"inspect"},
         "which operation? expected url, price, merchant or page; usage: quillmere inspect url|price|merchant|page "
         "[INPUT]"},
        {"operation_misspelt",
         {"inspect", "prise"},
         "OPERATION: expected url, price, merchant or page, got \"prise\"; did you mean \"price\"?"},
        {"missing_file",
         {"enrich", "no.json"},
         "no.json: cannot read: No such file or directory; give the name of a file, or \"-\" for standard input"},
        {"name_like_an_option_behind_dashes",
         {"enrich", "--", "--no"},
         "--no: cannot read: No such file or directory; give the name of a file, or \"-\" for standard input"},
        {"directory_as_input", {"inspect", "url", "."}, ".: cannot read: Is a directory; name a file in it"},
    }),
    row_name);

TEST(CommandLine, HelpListsWhatTheCommandLineTakes) {
  const Workspace workspace;
  const ToolResult general = run_tool({"--help"}, "", workspace);
  EXPECT_EQ(general.status, 0);
  EXPECT_EQ(general.errors, "");
  const ToolResult enrich = run_tool({"enrich", "a", "--help", "b", "c"}, "", workspace);
  EXPECT_EQ(enrich.status, 0);
  EXPECT_EQ(run_tool({"help", "enrich"}, "", workspace), enrich);
  for (const std::string& text : {general.output, enrich.output}) {
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
      EXPECT_LE(text.find('\n', at) - at, 80U) << text.substr(at, 100);
    }
  }
  EXPECT_EQ(run_tool({"--version"}, "", workspace), (ToolResult{"quillmere " QUILLMERE_VERSION "\n", "", 0}));
}

}  // namespace
}  // namespace quillmere::tests
