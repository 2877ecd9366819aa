#include "quillmere/http/address_guard.hpp"

#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/un.h>

namespace quillmere::http {
namespace {

sockaddr_storage address_of(const std::string& text) {
  sockaddr_storage storage{};
  if (auto* in = reinterpret_cast<sockaddr_in*>(&storage); inet_pton(AF_INET, text.c_str(), &in->sin_addr) == 1) {
    in->sin_family = AF_INET;
  } else if (auto* in6 = reinterpret_cast<sockaddr_in6*>(&storage);
             inet_pton(AF_INET6, text.c_str(), &in6->sin6_addr) == 1) {
    in6->sin6_family = AF_INET6;
  } else {
    ADD_FAILURE() << "no address: " << text;
  }
  return storage;
}

bool is_public(const std::string& text) {
  const sockaddr_storage storage = address_of(text);
  return http::is_public(reinterpret_cast<const sockaddr&>(storage));
}

// First, last and an inner address of each range, its neighbours among the public ones below.
TEST(AddressGuard, RefusesWhatIsNotPublic) {
  for (const char* text : {
           "0.0.0.0",
           "0.0.0.1",
           "0.255.255.255",  //
           "10.0.0.0",
           "10.0.0.1",
           "10.255.255.255",  //
           "100.64.0.0",
           "100.100.100.200",
           "100.127.255.255",  //
           "127.0.0.0",
           "127.0.0.1",
           "127.1.2.3",
           "127.255.255.255",  //
           "169.254.0.0",
           "169.254.169.254",
           "169.254.170.2",
           "169.254.255.255",  //
           "172.16.0.0",
           "172.20.1.1",
           "172.31.255.255",  //
           "192.0.0.0",
           "192.0.0.9",
           "192.0.0.192",
           "192.0.0.255",  //
           "192.0.2.0",
           "192.0.2.1",
           "192.0.2.255",  //
           "192.88.99.0",
           "192.88.99.1",
           "192.88.99.255",  //
           "192.168.0.0",
           "192.168.1.1",
           "192.168.255.255",  //
           "198.18.0.0",
           "198.19.0.1",
           "198.19.255.255",  //
           "198.51.100.0",
           "198.51.100.7",
           "198.51.100.255",  //
           "203.0.113.0",
           "203.0.113.9",
           "203.0.113.255",  //
           "224.0.0.0",
           "224.0.0.1",
           "239.255.255.250",
           "239.255.255.255",  //
           "240.0.0.0",
           "247.1.1.1",
           "255.255.255.254",
           "255.255.255.255",  //
           "168.63.129.16",    //
           "::",
           "::1",
           "::2",
           "::7f00:1",
           "::127.0.0.1",
           "::8.8.8.8",  //
           "::ffff:0.0.0.0",
           "::ffff:127.0.0.1",
           "::ffff:10.0.0.1",
           "::ffff:169.254.169.254",  //
           "::ffff:8.8.8.8",
           "::ffff:255.255.255.255",
           "::ffff:0:0:7f00:1",  //
           "64:ff9b::",
           "64:ff9b::127.0.0.1",
           "64:ff9b::10.1.2.3",
           "64:ff9b::169.254.169.254",  //
           "64:ff9b::192.168.0.1",
           "64:ff9b::255.255.255.255",  //
           "64:ff9b:0:0:1::8.8.8.8",
           "64:ff9b:1::",
           "64:ff9b:1::8.8.8.8",
           "64:ff9b:1:ffff:ffff:ffff:ffff:ffff",
           "100::",
           "100::1",
           "100::ffff:ffff:ffff:ffff",
           "200::1",
           "1fff:ffff::1",  //
           "2001::",
           "2001::1",
           "2001:0:4136:e378:8000:63bf:3fff:fdd2",
           "2001:1::1",
           "2001:2::1",
           "2001:3::1",
           "2001:4:112::1",
           "2001:10::1",
           "2001:20::1",
           "2001:30::1",
           "2001:1ff:ffff::1",
           "2001:db8::",
           "2001:db8::1",
           "2001:db8:ffff:ffff:ffff:ffff:ffff:ffff",  //
           "2002::",
           "2002:7f00:1::1",
           "2002:808:808::1",
           "2002:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
           "3fff::",
           "3fff::1",
           "3fff:fff:ffff:ffff:ffff:ffff:ffff:ffff",  //
           "4000::",
           "5f00::1",
           "8000::1",
           "f000::1",
           "fbff::1",  //
           "fc00::",
           "fc00::1",
           "fd00:ec2::254",
           "fdff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",  //
           "fe00::1",
           "fe80::",
           "fe80::1",
           "fe80::5efe:127.0.0.1",
           "febf:ffff::1",  //
           "fec0::",
           "fec0::1",
           "feff:ffff::1",  //
           "ff00::1",
           "ff02::1",
           "ff05::1:3",
           "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
       }) {
    EXPECT_FALSE(is_public(text)) << text;
  }
}

TEST(AddressGuard, AllowsWhatIsPublic) {
  for (const char* text : {
           "1.0.0.0",
           "8.8.8.8",
           "9.255.255.255",
           "11.0.0.0",
           "100.63.255.255",
           "100.128.0.0",
           "126.255.255.255",
           "128.0.0.0",
           "168.63.129.15",
           "168.63.129.17",
           "169.253.255.255",
           "169.255.0.0",
           "172.15.255.255",
           "172.32.0.0",
           "191.255.255.255",
           "192.0.1.0",
           "192.0.3.0",
           "192.31.196.1",
           "192.88.98.255",
           "192.88.100.0",
           "192.167.255.255",
           "192.169.0.0",
           "192.175.48.1",
           "198.17.255.255",
           "198.20.0.0",
           "198.51.99.255",
           "198.51.101.0",
           "203.0.112.255",
           "203.0.114.0",
           "223.255.255.255",  //
           "2000::1",
           "2001:200::",
           "2001:4860:4860::8888",
           "2001:db7:ffff::1",
           "2001:db9::",
           "2003::1",  //
           "2600::1",
           "2606:4700::6810:84e5",
           "2a00:1450:4001:81b::200e",
           "3ffe:ffff::1",
           "3fff:1000::",  //
           "64:ff9b::8.8.8.8",
           "64:ff9b::93.184.216.34",
       }) {
    EXPECT_TRUE(is_public(text)) << text;
  }
}

TEST(AddressGuard, RefusesOtherFamilies) {
  for (const int family : {AF_UNSPEC, AF_UNIX, AF_NETLINK, AF_PACKET}) {
    sockaddr_storage storage = address_of("8.8.8.8");
    storage.ss_family = static_cast<sa_family_t>(family);
    EXPECT_FALSE(http::is_public(reinterpret_cast<const sockaddr&>(storage))) << family;
  }
}

TEST(AddressGuard, BlocksPortsOfOtherProtocols) {
  for (const int port : {0, 1, 7, 22, 25, 53, 110, 143, 389, 465, 587, 993, 2049, 5060, 6000, 6667, 6697, 10080}) {
    EXPECT_TRUE(is_blocked_port(static_cast<std::uint16_t>(port))) << port;
  }
  for (const int port : {80, 443, 81, 591, 2048, 3000, 5000, 6001, 6664, 6670, 8000, 8080, 8443, 10081, 32768, 65535}) {
    EXPECT_FALSE(is_blocked_port(static_cast<std::uint16_t>(port))) << port;
  }
}

}  // namespace
}  // namespace quillmere::http
