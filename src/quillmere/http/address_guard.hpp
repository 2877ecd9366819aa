#pragma once

#include <cstdint>

#include <sys/socket.h>

#include "quillmere/api.hpp"

/// Which socket addresses may be contacted on behalf of a page that a stranger named.
///
/// Threads: pure.
namespace quillmere::http {

/// Whether `address` is an IPv4 or IPv6 unicast address of the public internet.
///
/// Not public are the ranges of the IANA special-purpose address registries that are not globally reachable (and a few
/// that are reachable but serve no pages), multicast, whatever lies outside IPv6 global unicast, and each way to write
/// an IPv4 address into an IPv6 one, except 64:ff9b::/96: a network without IPv4 reaches every IPv4 site through it, so
/// there the IPv4 address is judged. Families other than AF_INET and AF_INET6 are not public. `address` must be as long
/// as its family says.
[[nodiscard]] QUILLMERE_API bool is_public(const sockaddr& address) noexcept;

/// Whether the Fetch standard lists `port` as a bad port: one of another protocol that could be talked into mischief by
/// an HTTP request. https://fetch.spec.whatwg.org/#bad-port
[[nodiscard]] QUILLMERE_API bool is_blocked_port(std::uint16_t port) noexcept;

}  // namespace quillmere::http
