#include "quillmere/text/json_script.hpp"

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::text {
namespace {

struct WrapperCase {
  const char* name;
  const char* body;
  const char* document;
};

class UnwrapJsonScript : public testing::TestWithParam<WrapperCase> {};

TEST_P(UnwrapJsonScript, GivesTheDocument) {
  EXPECT_EQ(unwrap_json_script(GetParam().body), GetParam().document) << GetParam().body;
}

INSTANTIATE_TEST_SUITE_P(Wrappers, UnwrapJsonScript,
                         testing::ValuesIn<WrapperCase>({
                             {"bare", R"({"a": 1})", R"({"a": 1})"},
                             {"whitespace", " \t\r\n{} \n", "{}"},
                             {"only_json_whitespace_goes", "\v{}\f", "\v{}\f"},
                             {"semicolons", "[1] ; ;\n;", "[1]"},
                             {"leading_semicolon_stays", ";[1]", ";[1]"},
                             {"only_semicolons", " ;; ", ""},
                             {"empty", "", ""},
                             {"html_comment", "<!-- {} -->", "{}"},
                             {"html_comment_tight", "<!--{}-->", "{}"},
                             {"html_comment_semicolons_on_both_sides", "\n<!--\n{};\n--> ;", "{}"},
                             {"html_comment_never_closed", "<!-- {}", "<!-- {}"},
                             {"html_comment_marks_that_share_a_dash", "<!-->", "<!-->"},
                             {"html_comment_end_inside_a_string", R"(<!-- {"a": "-->"} -->)", R"({"a": "-->"})"},
                             {"html_comment_behind_slashes_is_not_one", "//<!--\n{}\n//-->", "//<!--\n{}\n//-->"},
                             {"cdata", "<![CDATA[ {} ]]>", "{}"},
                             {"cdata_behind_slashes", "//<![CDATA[\n{}\n//]]>", "{}"},
                             {"cdata_behind_slashes_and_blanks", "// <![CDATA[\n{};\n// \t]]>\n", "{}"},
                             {"cdata_in_comments", "/*<![CDATA[*/{}/*]]>*/", "{}"},
                             {"cdata_in_spaced_comments", "/* <![CDATA[ */\n{}\n/* ]]> */;", "{}"},
                             {"cdata_marks_of_two_kinds", "/*<![CDATA[*/ {}\n//]]>", "{}"},
                             {"cdata_document_with_slashes", "<![CDATA[\"//\"]]>", "\"//\""},
                             {"cdata_never_closed", "//<![CDATA[\n{}", "//<![CDATA[\n{}"},
                             {"cdata_comment_not_ended", "/*<![CDATA[ {} ]]>*/", "/*<![CDATA[ {} ]]>*/"},
                             {"cdata_closing_comment_not_begun", "<![CDATA[{}]]>*/", "<![CDATA[{}]]>*/"},
                             {"cdata_slashes_on_the_line_before", "//\n<![CDATA[{}]]>", "//\n<![CDATA[{}]]>"},
                             {"cdata_letter_case_counts", "<![cdata[{}]]>", "<![cdata[{}]]>"},
                             {"only_one_wrapper", "<!--<![CDATA[{}]]>-->", "<![CDATA[{}]]>"},
                             {"plain_comment_stays", "/* x */ {}", "/* x */ {}"},
                         }),
                         row_name);

}  // namespace
}  // namespace quillmere::text
