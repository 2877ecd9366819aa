#include "quillmere/http/address_guard.hpp"

#include <algorithm>
#include <array>
#include <cstring>

#include <netinet/in.h>

namespace quillmere::http {
namespace {

struct Ipv4Range {
  std::uint32_t first;
  int prefix;
};

constexpr std::uint32_t ipv4(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  return a << 24 | b << 16 | c << 8 | d;
}

// IANA IPv4 Special-Purpose Address Registry (RFC 6890), without 192.31.196.0/24, 192.52.193.0/24 and 192.175.48.0/24,
// which are globally reachable; then the IPv4 Multicast Address Space Registry; last what no registry lists.
constexpr std::array IPV4_NOT_PUBLIC = {
    Ipv4Range{ipv4(0, 0, 0, 0), 8},         // "this network", RFC 791; Linux connects 0.0.0.0 to itself
    Ipv4Range{ipv4(10, 0, 0, 0), 8},        // private, RFC 1918
    Ipv4Range{ipv4(100, 64, 0, 0), 10},     // carrier-grade NAT, RFC 6598
    Ipv4Range{ipv4(127, 0, 0, 0), 8},       // loopback, RFC 1122
    Ipv4Range{ipv4(169, 254, 0, 0), 16},    // link-local, RFC 3927; cloud metadata services
    Ipv4Range{ipv4(172, 16, 0, 0), 12},     // private, RFC 1918
    Ipv4Range{ipv4(192, 0, 0, 0), 24},      // IETF protocol assignments, RFC 6890
    Ipv4Range{ipv4(192, 0, 2, 0), 24},      // documentation, RFC 5737
    Ipv4Range{ipv4(192, 88, 99, 0), 24},    // 6to4 relay anycast, withdrawn by RFC 7526
    Ipv4Range{ipv4(192, 168, 0, 0), 16},    // private, RFC 1918
    Ipv4Range{ipv4(198, 18, 0, 0), 15},     // benchmarking, RFC 2544
    Ipv4Range{ipv4(198, 51, 100, 0), 24},   // documentation, RFC 5737
    Ipv4Range{ipv4(203, 0, 113, 0), 24},    // documentation, RFC 5737
    Ipv4Range{ipv4(224, 0, 0, 0), 4},       // multicast, RFC 5771
    Ipv4Range{ipv4(240, 0, 0, 0), 4},       // reserved, RFC 1112, and limited broadcast, RFC 919
    Ipv4Range{ipv4(168, 63, 129, 16), 32},  // the host's own services inside virtual machines of one cloud
};

bool is_public_ipv4(std::uint32_t address) noexcept {
  return std::none_of(IPV4_NOT_PUBLIC.begin(), IPV4_NOT_PUBLIC.end(), [address](const Ipv4Range& range) {
    return (address ^ range.first) >> (32 - range.prefix) == 0;
  });
}

using Ipv6 = std::array<std::uint8_t, 16>;

struct Ipv6Range {
  Ipv6 first;
  int prefix;
};

constexpr Ipv6 ipv6(std::uint8_t a, std::uint8_t b, std::uint8_t c = 0, std::uint8_t d = 0, std::uint8_t e = 0,
                    std::uint8_t f = 0) {
  return {a, b, c, d, e, f};
}

// All of 2000::/3 is global unicast (RFC 4291, IANA IPv6 Global Unicast Address Assignments) but for these rows of the
// IANA IPv6 Special-Purpose Address Registry. Loopback, unspecified, ::ffff:0:0/96 and ::/96 (IPv4 in IPv6),
// 64:ff9b:1::/48, 100::/64, 5f00::/16, fc00::/7, fe80::/10, fec0::/10 and multicast all lie outside 2000::/3.
constexpr Ipv6Range GLOBAL_UNICAST = {ipv6(0x20, 0x00), 3};
constexpr std::array IPV6_NOT_PUBLIC = {
    Ipv6Range{ipv6(0x20, 0x01), 23},              // IETF protocol assignments, RFC 2928; Teredo (2001::/32) among them
    Ipv6Range{ipv6(0x20, 0x01, 0x0d, 0xb8), 32},  // documentation, RFC 3849
    Ipv6Range{ipv6(0x20, 0x02), 16},              // 6to4, RFC 3056: IPv4 in IPv6
    Ipv6Range{ipv6(0x3f, 0xff), 20},              // documentation, RFC 9637
};
constexpr Ipv6Range NAT64 = {ipv6(0x00, 0x64, 0xff, 0x9b), 96};  // RFC 6052

bool contains(const Ipv6Range& range, const Ipv6& address) noexcept {
  const auto whole = static_cast<std::size_t>(range.prefix / 8);
  const int rest = range.prefix % 8;
  if (!std::equal(address.begin(), address.begin() + whole, range.first.begin())) return false;
  return rest == 0 || (address[whole] ^ range.first[whole]) >> (8 - rest) == 0;
}

bool is_public_ipv6(const Ipv6& address) noexcept {
  if (contains(NAT64, address)) return is_public_ipv4(ipv4(address[12], address[13], address[14], address[15]));
  return contains(GLOBAL_UNICAST, address) &&
         std::none_of(IPV6_NOT_PUBLIC.begin(), IPV6_NOT_PUBLIC.end(),
                      [&address](const Ipv6Range& range) { return contains(range, address); });
}

// Sorted.
constexpr std::array<std::uint16_t, 83> BLOCKED_PORTS = {
    0,    1,    7,    9,    11,   13,   15,   17,   19,   20,   21,   22,   23,   25,   37,    42,   43,
    53,   69,   77,   79,   87,   95,   101,  102,  103,  104,  109,  110,  111,  113,  115,   117,  119,
    123,  135,  137,  139,  143,  161,  179,  389,  427,  465,  512,  513,  514,  515,  526,   530,  531,
    532,  540,  548,  554,  556,  563,  587,  601,  636,  989,  990,  993,  995,  1719, 1720,  1723, 2049,
    3659, 4045, 4190, 5060, 5061, 6000, 6566, 6665, 6666, 6667, 6668, 6669, 6679, 6697, 10080,
};
static_assert(std::is_sorted(BLOCKED_PORTS.begin(), BLOCKED_PORTS.end()));

}  // namespace

bool is_public(const sockaddr& address) noexcept {
  if (address.sa_family == AF_INET) {
    sockaddr_in in{};
    std::memcpy(&in, &address, sizeof in);
    return is_public_ipv4(ntohl(in.sin_addr.s_addr));
  }
  if (address.sa_family == AF_INET6) {
    sockaddr_in6 in6{};
    std::memcpy(&in6, &address, sizeof in6);
    Ipv6 bytes{};
    std::memcpy(bytes.data(), &in6.sin6_addr, bytes.size());
    return is_public_ipv6(bytes);
  }
  return false;
}

bool is_blocked_port(std::uint16_t port) noexcept {
  return std::binary_search(BLOCKED_PORTS.begin(), BLOCKED_PORTS.end(), port);
}

}  // namespace quillmere::http
