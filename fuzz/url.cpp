// Links as search results show them: what is split comes back, and cleaning a clean link changes nothing.

#include "quillmere/text/url.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "quillmere/commerce/url_unwrapper.hpp"

namespace {

using quillmere::commerce::REDIRECT_HOST_MARKER;
using quillmere::commerce::URLUnwrapper;
namespace text = quillmere::text;

void require(bool holds, const char* rule) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", rule);
  std::abort();
}

void check_query(std::string_view query) {
  const text::QueryParameters parameters = text::parse_qs(query);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& [name, values] : parameters) {
    require(!values.empty(), "a name has a value");
    for (const std::string& value : values) pairs.emplace_back(name, value);
  }
  require(text::parse_qs(text::urlencode(pairs)) == parameters, "a query that is encoded reads as before");
}

bool is_redirect(const text::UrlComponents& parts) {
  return parts.path == "/url" && parts.netloc.find(REDIRECT_HOST_MARKER) != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view link(reinterpret_cast<const char*>(bytes), size);
  check_query(link);
  try {
    const text::UrlComponents parts = text::urlparse(link);
    require(text::urlparse(text::urlunparse(parts)) == parts, "parts that are joined split as before");
    check_query(parts.query);
    (void)URLUnwrapper::extract_domain(link);
    const std::string clean = URLUnwrapper::unwrap(link);
    if (!is_redirect(text::urlparse(clean))) require(URLUnwrapper::unwrap(clean) == clean, "a clean link stays");
  } catch (const text::MalformedUrl& malformed) {
    require(std::string_view(malformed.what()).starts_with("network location \""), "an error says where");
  }
  return 0;
}
