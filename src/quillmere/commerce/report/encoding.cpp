#include "quillmere/commerce/report/encoding.hpp"

#include <array>
#include <limits>
#include <new>

#include <openssl/evp.h>

namespace quillmere::commerce::report {
namespace {

const unsigned char* as_bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string base64(std::string_view bytes) {
  if (bytes.size() > std::numeric_limits<int>::max() / 2) throw std::bad_alloc();
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // the encoder ends it with a NUL
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), as_bytes(bytes), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string policy_hash(std::string_view text) {
  std::array<char, 32> digest{};
  if (EVP_Digest(text.data(), text.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr, EVP_sha256(),
                 nullptr) != 1) {
    throw std::bad_alloc();
  }
  return "'sha256-" + base64({digest.data(), digest.size()}) + "'";
}

std::optional<std::string_view> raster_type(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (bytes.starts_with("\x89PNG\r\n\x1A\n"sv)) return "image/png";
  if (bytes.starts_with("\xFF\xD8\xFF"sv)) return "image/jpeg";
  if (bytes.starts_with("GIF87a"sv) || bytes.starts_with("GIF89a"sv)) return "image/gif";
  if (bytes.size() < 12) return std::nullopt;
  if (bytes.starts_with("RIFF"sv) && bytes.substr(8, 4) == "WEBP"sv) return "image/webp";
  const std::string_view brand = bytes.substr(4, 8);
  if (brand == "ftypavif"sv || brand == "ftypavis"sv) return "image/avif";
  return std::nullopt;
}

}  // namespace quillmere::commerce::report
