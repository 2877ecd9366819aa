#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include <curl/curl.h>
#include <unicode/uidna.h>

#include "quillmere/http/request_url_internal.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::http::internal {
namespace {

struct UrlCleanup {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};

bool is_printable_ascii(char c) {
  return c > ' ' && c < '\x7F';
}

// libcurl would take "httpbin" for a host.
bool is_absolute(std::string_view url) {
  const std::size_t colon = url.find(':');
  return colon != std::string_view::npos && url.substr(colon + 1).starts_with('/');
}

std::string without_line_ends(std::string_view url) {
  while (!url.empty() && url.back() >= '\0' && url.back() <= ' ') url.remove_suffix(1);
  std::string kept;
  kept.reserve(url.size());
  std::copy_if(url.begin(), url.end(), std::back_inserter(kept),
               [](char c) { return c != '\t' && c != '\n' && c != '\r'; });
  return kept;
}

std::optional<std::string> part_of(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  const CURLUcode code = curl_url_get(url, part, &text, 0);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return std::nullopt;
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return std::string(text);
}

bool set_part(CURLU* url, CURLUPart part, const std::string& text, unsigned flags) {
  const CURLUcode code = curl_url_set(url, part, text.c_str(), flags);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK;
}

std::optional<std::string> ascii_host(const std::string& host) {
  UErrorCode status = U_ZERO_ERROR;
  static UIDNA* const idna =
      uidna_openUTS46(UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ | UIDNA_NONTRANSITIONAL_TO_ASCII, &status);
  if (idna == nullptr) return std::nullopt;
  std::array<char, 512> ascii{};  // a host name has at most 255 characters
  UIDNAInfo info = UIDNA_INFO_INITIALIZER;
  const int32_t length = uidna_nameToASCII_UTF8(idna, host.data(), static_cast<int32_t>(host.size()), ascii.data(),
                                                static_cast<int32_t>(ascii.size()), &info, &status);
  if (U_FAILURE(status) || info.errors != 0) return std::nullopt;
  return std::string(ascii.data(), static_cast<std::size_t>(length));
}

}  // namespace

std::optional<std::string> request_url(std::string_view url) {
  if (!is_absolute(url) || url.find('\0') != std::string_view::npos) return std::nullopt;
  if (std::all_of(url.begin(), url.end(), is_printable_ascii)) return std::string(url);

  const std::unique_ptr<CURLU, UrlCleanup> parsed(curl_url());
  if (!parsed) throw std::bad_alloc();
  constexpr unsigned FLAGS = CURLU_URLENCODE | CURLU_ALLOW_SPACE | CURLU_NON_SUPPORT_SCHEME;
  if (!set_part(parsed.get(), CURLUPART_URL, without_line_ends(url), FLAGS)) return std::nullopt;
  const std::optional<std::string> host = part_of(parsed.get(), CURLUPART_HOST);
  if (host && !text::is_ascii(*host)) {
    const std::optional<std::string> ascii = ascii_host(*host);
    if (!ascii || !set_part(parsed.get(), CURLUPART_HOST, *ascii, 0)) return std::nullopt;
  }
  return part_of(parsed.get(), CURLUPART_URL);
}

}  // namespace quillmere::http::internal
