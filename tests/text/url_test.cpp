#include "quillmere/text/url.hpp"

#include <algorithm>
#include <string>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillmere::text {

// How a failing row prints its parts.
void PrintTo(const UrlComponents& parts, std::ostream* out) {
  *out << "{scheme " << parts.scheme << ", netloc " << parts.netloc << ", path " << parts.path << ", params "
       << parts.params << ", query " << parts.query << ", fragment " << parts.fragment << "}";
}

namespace {

using testing::ElementsAre;
using testing::Pair;

using namespace std::string_literals;

UrlComponents parts(std::string scheme, std::string netloc, std::string path = "", std::string params = "",
                    std::string query = "", std::string fragment = "") {
  return {std::move(scheme), std::move(netloc), std::move(path),
          std::move(params), std::move(query),  std::move(fragment)};
}

/// `joined` null: the URL comes back as it went in.
struct SplitCase {
  const char* name;
  std::string url;
  UrlComponents parts;
  const char* joined;
};

class UrlSplit : public testing::TestWithParam<SplitCase> {};

TEST_P(UrlSplit, SplitsAndJoins) {
  const SplitCase& row = GetParam();
  EXPECT_EQ(urlparse(row.url), row.parts) << row.url;
  EXPECT_EQ(urlunparse(row.parts), row.joined != nullptr ? row.joined : row.url);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UrlSplit,
    testing::ValuesIn<SplitCase>({
        // Parts.
        {"all", "https://u:p@Shop.Example:8443/a/b;v=1?q=1&r=2#top",
         parts("https", "u:p@Shop.Example:8443", "/a/b", "v=1", "q=1&r=2", "top"), nullptr},
        {"empty", "", {}, nullptr},
        {"host_only", "http://h", parts("http", "h"), nullptr},
        {"host_ends_at_query", "http://h?a=/b", parts("http", "h", "", "", "a=/b"), nullptr},
        {"host_ends_at_fragment", "http://h#/b?c", parts("http", "h", "", "", "", "/b?c"), nullptr},
        {"fragment_before_query", "/p#f?q", parts("", "", "/p", "", "", "f?q"), nullptr},
        {"first_marks_count", "/p?a?b#c#d", parts("", "", "/p", "", "a?b", "c#d"), nullptr},
        {"bare_marks_vanish", "http://h/?#", parts("http", "h", "/"), "http://h/"},
        {"no_scheme", "//h/p", parts("", "h", "/p"), nullptr},
        {"bare_word", "shoes", parts("", "", "shoes"), nullptr},
        {"empty_host_before_two_slashes", "////p", parts("", "", "//p"), nullptr},
        {"user_information_with_at", "http://a@b@h/", parts("http", "a@b@h", "/"), nullptr},
        {"not_ascii_passes", "http://bücher.example/é?ü=ö", parts("http", "bücher.example", "/é", "", "ü=ö"), nullptr},
        // Scheme.
        {"lower_cased", "HTTPS://Shop.Example/P", parts("https", "Shop.Example", "/P"), "https://Shop.Example/P"},
        {"may_hold_plus_minus_dot_digit", "a1+-.:x", parts("a1+-.", "", "x"), nullptr},
        {"starts_with_letter", "1a:x", parts("", "", "1a:x"), nullptr},
        {"colon_first_is_path", ":x", parts("", "", ":x"), nullptr},
        {"not_ascii_is_path", "é:x", parts("", "", "é:x"), nullptr},
        {"slash_before_colon_is_path", "a/b:c", parts("", "", "a/b:c"), nullptr},
        {"host_and_port_reads_as_scheme", "shop.example:80/x", parts("shop.example", "", "80/x"), nullptr},
        {"http_gets_its_slashes", "http:/x", parts("http", "", "/x"), "http:///x"},
        {"https_without_anything_gets_slashes", "https:?a=b", parts("https", "", "", "", "a=b"), "https://?a=b"},
        {"http_relative_gets_none", "http:x", parts("http", "", "x"), nullptr},
        {"file_keeps_its_slashes", "file:///etc/x", parts("file", "", "/etc/x"), nullptr},
        {"mailto_gets_none", "mailto:a@b.example", parts("mailto", "", "a@b.example"), nullptr},
        {"unknown_gets_none", "app:/x", parts("app", "", "/x"), nullptr},
        // Parameters.
        {"of_the_last_segment", "http://h/a;x/b;y;z", parts("http", "h", "/a;x/b", "y;z"), nullptr},
        {"earlier_segment_keeps_its_own", "http://h/a;x/b", parts("http", "h", "/a;x/b"), nullptr},
        {"without_a_slash", "a;b", parts("", "", "a", "b"), nullptr},
        {"not_from_the_query", "http://h/a?b;c", parts("http", "h", "/a", "", "b;c"), nullptr},
        {"empty_vanish", "http://h/a;", parts("http", "h", "/a"), "http://h/a"},
        {"other_schemes_have_none", "ftp://h/a;type=i", parts("ftp", "h", "/a;type=i"), nullptr},
        // Ignored characters.
        {"leading_controls_and_spaces_go", "\0\x1F \v http://h/"s, parts("http", "h", "/"), "http://h/"},
        {"trailing_stay", "http://h/ \x01", parts("http", "h", "/ \x01"), nullptr},
        {"tabs_and_line_breaks_go_everywhere", "ht\ntp:\r//h\t/a\nb?c\r\nd#\te",
         parts("http", "h", "/ab", "", "cd", "e"), "http://h/ab?cd#e"},
        {"delete_and_no_break_space_stay", "\x7F\u00A0h", parts("", "", "\x7F\u00A0h"), nullptr},
    }),
    row_name);

TEST(UrlJoin, PutsASlashBetweenHostAndRelativePath) {
  EXPECT_EQ(urlunparse(parts("http", "h", "p")), "http://h/p");
  EXPECT_EQ(urlunparse(parts("http", "h", "", "x")), "http://h/;x");
}

/// `reason` null: the network location is accepted.
struct NetlocCase {
  const char* name;
  std::string netloc;
  const char* reason;
};

class UrlNetworkLocation : public testing::TestWithParam<NetlocCase> {};

TEST_P(UrlNetworkLocation, IsAcceptedOrRefusedWithItsReason) {
  const NetlocCase& row = GetParam();
  std::string error = "none";
  try {
    EXPECT_EQ(urlparse("http://" + row.netloc + "/p").netloc, row.netloc);
  } catch (const MalformedUrl& malformed) {
    error = malformed.what();
  }
  std::string shown = row.netloc;
  std::replace(shown.begin(), shown.end(), '\0', '?');
  EXPECT_EQ(error, row.reason == nullptr ? "none" : "network location \"" + shown + "\": " + row.reason);
}

constexpr const char* NO_ADDRESS = R"(expected an IPv6 address between "[" and "]")";
constexpr const char* NOT_AT_START = R"(expected "[" at the start of the host)";
constexpr const char* BEHIND = R"(expected nothing or ":" and a port behind "]")";

INSTANTIATE_TEST_SUITE_P(Rows, UrlNetworkLocation,
                         testing::ValuesIn<NetlocCase>({
                             // Brackets.
                             {"loopback", "[::1]", nullptr},
                             {"port", "[2001:db8::7]:8443", nullptr},
                             {"empty_port", "[::1]:", nullptr},
                             {"user_information", "u:[x@[::1]:80", nullptr},
                             {"longest_form", "[0000:0000:0000:0000:0000:ffff:255.255.255.255]", nullptr},
                             {"zone", "[fe80::1%eth0]", nullptr},
                             {"open_only", "[::1", R"("[" without "]")"},
                             {"close_only", "::1]", R"("]" without "[")"},
                             {"close_before_at", "u]@[::1", R"("[" without "]" in the host)"},
                             {"in_user_information_only", "[::1]@h", NOT_AT_START},
                             {"behind_text", "h[::1]", NOT_AT_START},
                             {"before_text", "[::1]h", BEHIND},
                             {"twice", "[::1][::1]", BEHIND},
                             {"empty", "[]", NO_ADDRESS},
                             {"name", "[localhost]", NO_ADDRESS},
                             {"ipv4", "[127.0.0.1]", NO_ADDRESS},
                             {"nine_groups", "[1:2:3:4:5:6:7:8:9]", NO_ADDRESS},
                             {"empty_zone", "[fe80::1%]", NO_ADDRESS},
                             {"two_zones", "[fe80::1%a%b]", NO_ADDRESS},
                             {"zone_without_address", "[%eth0]", NO_ADDRESS},
                             {"nul_inside", "[::1\0x]"s, NO_ADDRESS},
                             {"too_long", "[::" + std::string(64, '0') + "1]", NO_ADDRESS},
                             // Future literals.
                             {"lower", "[v1.x]", nullptr},
                             {"upper_with_port", "[VfF0.a:b]:1", nullptr},
                             {"anything_behind_the_dot", "[v1.é.%%]", nullptr},
                             {"no_version", "[v.x]", NO_ADDRESS},
                             {"no_hexadecimal_version", "[vg.x]", NO_ADDRESS},
                             {"no_dot", "[v1x]", NO_ADDRESS},
                             {"nothing_behind_the_dot", "[v1.]", NO_ADDRESS},
                             // Normalization.
                             {"changed_but_harmless", "\uFB01sh.\uFF45xample", nullptr},
                             {"decomposed", "cafe\u0301.example", nullptr},
                             {"delimiters_of_its_own", "ü:ü@bücher.example:80", nullptr},
                             {"not_utf8", "h\xC0\xAF\xFF", nullptr},
                             {"account_of", "a\u2100b", R"(holds a character that stands for "/")"},
                             {"full_width_slash", "h\uFF0Fx", R"(holds a character that stands for "/")"},
                             {"full_width_question_mark", "h\uFF1Fx", R"(holds a character that stands for "?")"},
                             {"full_width_number_sign", "h\uFF03x", R"(holds a character that stands for "#")"},
                             {"small_commercial_at", "h\uFE6Bx", R"(holds a character that stands for "@")"},
                             {"full_width_colon", "h\uFF1A80", R"(holds a character that stands for ":")"},
                             {"between_marks", "h\u0301\uFF0F\u0301", R"(holds a character that stands for "/")"},
                         }),
                         row_name);

TEST(UrlNetworkLocation, FindsADelimiterAnywhereInALongHost) {
  // Past the first piece that is normalized, at every place relative to its end.
  for (std::size_t length = 100; length < 140; ++length) {
    std::string host;
    for (std::size_t i = 0; i < length; ++i) host += "é";
    EXPECT_NO_THROW((void)urlparse("//" + host));
    host += "\uFF0Fé";
    EXPECT_THROW((void)urlparse("//" + host), MalformedUrl) << length;
  }
}

TEST(Query, GroupsNamesInOrderOfFirstAppearance) {
  EXPECT_THAT(
      parse_qs("b=1&a=2&b=3&c=4&a=5"),
      ElementsAre(Pair("b", ElementsAre("1", "3")), Pair("a", ElementsAre("2", "5")), Pair("c", ElementsAre("4"))));
  EXPECT_THAT(parse_qs("a=1&A=2&%61=3"), ElementsAre(Pair("a", ElementsAre("1", "3")), Pair("A", ElementsAre("2"))));
}

/// One piece of a query and what it decodes to; `value` null: it is dropped.
struct PieceCase {
  const char* name;
  const char* piece;
  const char* key;
  const char* value;
};

class QueryPiece : public testing::TestWithParam<PieceCase> {};

TEST_P(QueryPiece, IsDecodedOrDropped) {
  const PieceCase& row = GetParam();
  QueryParameters expected = {{"first", {"1"}}};
  if (row.value != nullptr) expected.emplace_back(row.key, std::vector<std::string>{row.value});
  expected.emplace_back("last", std::vector<std::string>{"2"});
  EXPECT_EQ(parse_qs("first=1&"s + row.piece + "&last=2"), expected) << row.piece;
}

INSTANTIATE_TEST_SUITE_P(Rules, QueryPiece,
                         testing::ValuesIn<PieceCase>({
                             {"empty", "", "", nullptr},
                             {"no_equals_sign", "flag", "", nullptr},
                             {"empty_value", "x=", "", nullptr},
                             {"empty_name", "=v", "", "v"},
                             {"first_equals_sign_cuts", "a=b=c", "a", "b=c"},
                             {"semicolon_is_ordinary", "a=1;b=2", "a", "1;b=2"},
                             {"question_mark_is_ordinary", "a?=?", "a?", "?"},
                             {"plus_is_space", "a+b=+", "a b", " "},
                             {"escape", "%61%2B=%2b%26%3D", "a+", "+&="},
                             {"escape_is_decoded_once", "a=%2541", "a", "%41"},
                             {"plus_before_escapes", "a=%+41", "a", "% 41"},
                             {"escape_cut_short", "a=%4", "a", "%4"},
                             {"percent_alone", "a=%", "a", "%"},
                             {"not_hexadecimal", "a=%zz%4g", "a", "%zz%4g"},
                             {"utf8_escapes", "a=%C3%A9", "a", "é"},
                             {"utf8_as_written", "é=ö", "é", "ö"},
                             {"invalid_utf8", "a=x%FFy%E2%82z", "a", "x\uFFFDy\uFFFDz"},
                             {"escaped_lead_before_character", "a=%C3é", "a", "\uFFFDé"},
                         }),
                         row_name);

TEST(Query, EncodesAllButUnreservedAscii) {
  EXPECT_EQ(urlencode({}), "");
  EXPECT_EQ(urlencode({{"a", "1"}, {"b", ""}, {"a", "2"}}), "a=1&b=&a=2");
  EXPECT_EQ(urlencode({{"azAZ09_.-~", "a/b c"}, {"é&=", "+%\x01\x7F*"}}),
            "azAZ09_.-~=a%2Fb+c&%C3%A9%26%3D=%2B%25%01%7F%2A");
}

TEST(Query, OfManyNamesIsReadInGoodTime) {
  constexpr std::size_t NAMES = 200'000;
  std::string distinct;
  for (std::size_t i = 0; i < NAMES; ++i) distinct += "name" + std::to_string(i * 2654435761U) + "=1&";
  EXPECT_EQ(parse_qs(distinct).size(), NAMES);
  EXPECT_EQ(parse_qs(long_text("a=1&")).size(), 1U);
}

TEST(UrlNetworkLocation, OfManyCombiningMarksIsReadInGoodTime) {
  // Marks of two classes in the wrong order: sorting one long run of them is what normalization is slow at.
  const std::string host = "a" + long_text("\u0301") + long_text("\u0323");
  EXPECT_EQ(urlparse("//" + host).netloc, host);
}

}  // namespace
}  // namespace quillmere::text
