#include <optional>
#include <ostream>
#include <string>

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/http/request_url_internal.hpp"

namespace quillmere::http::internal {
namespace {

using namespace std::string_literals;

struct UrlCase {
  const char* name;
  std::string url;
  std::optional<std::string> expected;
};
void PrintTo(const UrlCase& row, std::ostream* out) {
  *out << '"' << row.url << '"';
}

class RequestUrl : public testing::TestWithParam<UrlCase> {};

TEST_P(RequestUrl, IsWhatABrowserWouldAsk) {
  EXPECT_EQ(request_url(GetParam().url), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Urls, RequestUrl,
    testing::ValuesIn<UrlCase>({
        {"plain_ascii_stays_as_it_is", "http://shop.test/a?b=%20#c", "http://shop.test/a?b=%20#c"},
        {"space_in_path_is_encoded", "http://shop.test/a b", "http://shop.test/a%20b"},
        {"space_in_query_is_encoded", "http://shop.test/?q=a b", "http://shop.test/?q=a+b"},
        {"letters_beyond_ascii_are_encoded", "http://shop.test/caf\u00e9?\u00fc", "http://shop.test/caf%c3%a9?%c3%bc"},
        {"encoded_characters_stay", "http://shop.test/%C3%A9 ", "http://shop.test/%C3%A9"},
        {"host_beyond_ascii_is_mapped", "https://b\u00fccher.test/x", "https://xn--bcher-kva.test/x"},
        {"host_case_and_width_are_mapped", "http://\uff11\uff12\uff17.0.0.1:8080/", "http://127.0.0.1:8080/"},
        {"ideographic_full_stop_is_a_dot", "http://127\u30020\u30020\u30021/", "http://127.0.0.1/"},
        {"line_ends_and_tabs_vanish", "http://shop\n.test/\ta\r\n", "http://shop.test/a"},
        {"host_that_maps_to_nothing", "http://\u00ad/", std::nullopt},
        {"no_scheme", "httpbin.test/http", std::nullopt},
        {"port_is_no_scheme", "httpbin:80", std::nullopt},
        {"nul_byte", "http://shop.test/\0.evil.test/"s, std::nullopt},
        {"control_byte", "http://shop.test/\x01/", std::nullopt},
        {"slashes_too_many", "http:///b\u00fccher.test", "http://xn--bcher-kva.test/"},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::http::internal
