#include "quillmere/commerce/url_unwrapper.hpp"

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/text/url.hpp"

namespace quillmere::commerce {
namespace {

/// `expected` null: the link comes back as it went in.
struct LinkCase {
  const char* name;
  const char* link;
  const char* expected;
};

class Unwrap : public testing::TestWithParam<LinkCase> {};

TEST_P(Unwrap, GivesTheCleanDestination) {
  const LinkCase& row = GetParam();
  EXPECT_EQ(URLUnwrapper::unwrap(row.link), row.expected != nullptr ? row.expected : row.link) << row.link;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Unwrap,
    testing::ValuesIn<LinkCase>({
        // Queries.
        {"tracking_in_any_case_goes", "http://h/?utm_source=a&color=red&UTM_Medium=b&gclid=c", "http://h/?color=red"},
        {"all_tracking_takes_the_mark_along",
         "http://h/p?utm_source=1&utm_medium=1&utm_campaign=1&utm_term=1&utm_content=1&gclid=1&fbclid=1&msclkid=1&ved=1"
         "&usg=1&sa=1&source=1",
         "http://h/p"},
        {"source_is_a_whole_name", "http://h/?source=1&Source=2&sources=3&utm_id=4&xsource=5",
         "http://h/?sources=3&utm_id=4&xsource=5"},
        {"escaped_tracking_name", "http://h/?%75tm_source=1&a=2", "http://h/?a=2"},
        {"unicode_lower_case", "http://h/?msclkid=1&MSCL\u212AID=2&a=3", "http://h/?a=3"},
        {"names_that_stay_keep_their_case", "http://h/?Color=Red", nullptr},
        {"repeated_names_stand_together", "http://h/?b=1&a=2&b=3", "http://h/?b=1&b=3&a=2"},
        {"parameters_without_a_value_vanish", "http://h/?flag&x=&y=1", "http://h/?y=1"},
        {"only_a_flag", "http://h/p?flag#top", "http://h/p#top"},
        {"escapes_take_one_form", "http://h/?p=a/b c&q=a%20b&r=%e9%7e", "http://h/?p=a%2Fb+c&q=a+b&r=%EF%BF%BD~"},
        {"parameters_of_the_path_stay", "http://h/p;v=1?sa=1", "http://h/p;v=1"},
        // Fragments.
        {"ordinary", "http://h/p#section-2", nullptr},
        {"text", "http://h/p#:~:text=red%20shoes", "http://h/p"},
        {"text_behind_a_name", "http://h/p#top:~:text=price", "http://h/p"},
        {"other_directive", "http://h/p#:~:selector=x", "http://h/p"},
        {"other_directive_behind_a_name", "http://h/p#top:~:selector=x", nullptr},
        {"not_quite", "http://h/p#:~text=x", nullptr},
        // Redirects.
        {"q", "https://www.google.com/url?sa=t&q=https%3A%2F%2Fshop.example%2Fp%3Fid%3D7",
         "https://shop.example/p?id=7"},
        {"url", "https://google.de/url?url=https://shop.example/p&q2=x", "https://shop.example/p"},
        {"q_before_url", "http://google.com/url?url=http://b/&q=http://a/", "http://a/"},
        {"first_of_two", "http://google.com/url?q=http://a/&q=http://b/", "http://a/"},
        {"empty_q_gives_way", "http://google.com/url?q=&url=http://b/", "http://b/"},
        {"neither", "http://www.google.com/url?sa=1&x=2", "http://www.google.com/url?x=2"},
        {"no_query", "http://www.google.com/url", nullptr},
        {"target_is_cleaned", "http://google.com/url?q=http://a/?gclid%3D1%26b%3D2%23:~:text%3Dx", "http://a/?b=2"},
        {"fragment_of_the_redirect_is_lost", "http://google.com/url?q=http://a/#f", "http://a/"},
        {"one_level_only", "http://google.com/url?q=http://google.com/url?q%3Dx", "http://google.com/url?q=x"},
        {"target_without_a_scheme", "http://google.com/url?q=shoes", "shoes"},
        {"target_with_a_path_only", "http://google.com/url?q=/imgres", "/imgres"},
        {"marker_anywhere_in_the_host", "http://notgoogle.example:80/url?q=http://a/", "http://a/"},
        {"marker_in_user_information", "http://google.@h/url?q=http://a/", "http://a/"},
        {"marker_needs_its_dot", "http://google/url?q=http://a/", "http://google/url?q=http%3A%2F%2Fa%2F"},
        {"marker_in_capitals", "http://www.Google.com/url?q=a", nullptr},
        {"other_host", "http://shop.example/url?q=a", nullptr},
        {"path_with_a_slash", "http://google.com/url/?q=a", nullptr},
        {"path_in_capitals", "http://google.com/URL?q=a", nullptr},
        {"path_with_parameters", "http://google.com/url;x?q=a", "a"},
        // Texts.
        {"empty", "", nullptr},
        {"only_spaces", "  ", ""},
        {"no_url", "red shoes", nullptr},
        {"scheme_lower_cased_host_kept", "HTTP://Shop.Example/P", "http://Shop.Example/P"},
    }),
    row_name);

class ExtractDomain : public testing::TestWithParam<LinkCase> {};

TEST_P(ExtractDomain, GivesTheLowerCasedNetworkLocation) {
  const LinkCase& row = GetParam();
  EXPECT_EQ(URLUnwrapper::extract_domain(row.link), row.expected) << row.link;
}

INSTANTIATE_TEST_SUITE_P(Links, ExtractDomain,
                         testing::ValuesIn<LinkCase>({
                             {"empty", "", ""},
                             {"capitals_and_port", "HTTPS://WWW.Shop.Example:8443/x", "shop.example:8443"},
                             {"no_slashes", "shop.example/x", ""},
                             {"no_scheme", "//www.shop.example/", "shop.example"},
                             {"one_www_only", "//www.www.shop.example/", "www.shop.example"},
                             {"www_without_dot", "//www2.shop.example/", "www2.shop.example"},
                             {"user_information", "http://Me@www.shop.example", "me@www.shop.example"},
                             {"unicode", "http://BÜCHER.Example/", "bücher.example"},
                             {"redirect_is_not_followed", "http://www.google.com/url?q=http://a/", "google.com"},
                         }),
                         row_name);

TEST(MalformedLink, ReachesTheCaller) {
  EXPECT_THROW((void)URLUnwrapper::unwrap("http://[x/"), text::MalformedUrl);
  EXPECT_THROW((void)URLUnwrapper::unwrap("http://google.com/url?q=http://[x/"), text::MalformedUrl);
  EXPECT_THROW((void)URLUnwrapper::extract_domain("http://h\uFF0F/"), text::MalformedUrl);
}

}  // namespace
}  // namespace quillmere::commerce
