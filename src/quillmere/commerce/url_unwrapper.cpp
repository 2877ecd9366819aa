#include "quillmere/commerce/url_unwrapper.hpp"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "quillmere/text/unicode.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::commerce {
namespace {

static_assert(std::is_sorted(TRACKING_PARAMS.begin(), TRACKING_PARAMS.end()), "searched by bisection");

bool is_redirect(const text::UrlComponents& parts) {
  return parts.path == "/url" && parts.netloc.find(REDIRECT_HOST_MARKER) != std::string::npos;
}

std::optional<std::string> redirect_target(std::string_view query) {
  const text::QueryParameters parameters = text::parse_qs(query);
  for (const std::string_view name : {"q", "url"}) {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [name](const auto& parameter) { return parameter.first == name; });
    if (found != parameters.end()) return found->second.front();
  }
  return std::nullopt;
}

bool is_tracking_parameter(std::string_view name) {
  return std::binary_search(TRACKING_PARAMS.begin(), TRACKING_PARAMS.end(), std::string_view(text::to_lower(name)));
}

std::string without_tracking_parameters(std::string_view query) {
  std::vector<std::pair<std::string, std::string>> kept;
  for (auto& [name, values] : text::parse_qs(query)) {
    if (is_tracking_parameter(name)) continue;
    for (std::string& value : values) kept.emplace_back(name, std::move(value));
  }
  return text::urlencode(kept);
}

bool is_text_fragment(std::string_view fragment) {
  return fragment.starts_with(":~:") || fragment.find(":~:text=") != std::string_view::npos;
}

}  // namespace

std::string URLUnwrapper::unwrap(std::string_view url) {
  if (url.empty()) return {};
  text::UrlComponents parts = text::urlparse(url);
  if (is_redirect(parts)) {
    if (const std::optional<std::string> target = redirect_target(parts.query)) parts = text::urlparse(*target);
  }
  if (!parts.query.empty()) parts.query = without_tracking_parameters(parts.query);
  if (is_text_fragment(parts.fragment)) parts.fragment.clear();
  return text::urlunparse(parts);
}

std::string URLUnwrapper::extract_domain(std::string_view url) {
  std::string domain = text::to_lower(text::urlparse(url).netloc);
  if (domain.starts_with("www.")) domain.erase(0, 4);
  return domain;
}

}  // namespace quillmere::commerce
