// Servers that misbehave, one a row: what becomes of the page and why, and that nothing else comes to harm.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/fetching.hpp"
#include "tests/support/long_text.hpp"
#include "tests/support/loopback_server.hpp"
#include "tests/support/row_name.hpp"
#include "tests/support/temporary_directory.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_fetcher.hpp"

namespace quillmere::commerce {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using http::FetchOptions;
using http::FetchReason;
using enum http::FetchReason;
using http::FetchReport;
using http::MAX_BODY_BYTES;
using namespace quillmere::testing;

using Text = std::optional<std::string>;
using Status = std::optional<int>;
constexpr std::nullopt_t NONE = std::nullopt;

// Both are over by then, whatever the server does: the limit of one second, the second beyond it, and some more for a
// machine under load.
constexpr double LATEST_MILLISECONDS = 2500;

/// What the fetches of `urls`, one after the other, came to.
struct Batch {
  HtmlMap pages;
  std::vector<FetchReport> reports;
};

Batch fetch_in_turn(std::vector<std::string> urls, FetchOptions options) {
  Batch batch;
  options.observer = [&batch](const FetchReport& report) { batch.reports.push_back(report); };
  batch.pages = testing::run(ScraplingDestinationFetcher::fetch_many(std::move(urls), 1, 1, std::move(options)));
  return batch;
}

/// Fetches `bad` with one slot, then a good page with the same. Expects that the bad one ends in time with `reason` and
/// `status`, whatever they are without a reason, that the good one is unharmed, and that nothing is left of either.
void expect_end(LoopbackServer& server, const std::string& bad, const FetchOptions& options,
                std::optional<FetchReason> reason, const Text& page, const Status& status) {
  LoopbackServer other;
  other.on("/good", answer(200, "good"));
  const int before = testing::open_descriptors();
  {
    const Batch batch = fetch_in_turn({bad, other.url("/good")}, options);
    ASSERT_EQ(batch.reports.size(), 2U);
    const FetchReport& report = batch.reports.front();
    if (reason) {
      EXPECT_EQ(value(report.reason), value(*reason));
      EXPECT_EQ(report.http_status, status);
    }
    EXPECT_LT(report.milliseconds, LATEST_MILLISECONDS);
    EXPECT_EQ(*batch.pages.find(bad), page);
    EXPECT_EQ(*batch.pages.find(other.url("/good")), "good");
  }
  EXPECT_TRUE(server.wait_until_idle() && other.wait_until_idle());
  EXPECT_EQ(testing::open_descriptors(), before);
}

/// Without a reason, which limit is the first to end it is a matter of speed.
struct ServerCase {
  const char* name;
  Script script;
  std::optional<FetchReason> reason;
  Text page;
  Status status;
};
void PrintTo(const ServerCase& row, std::ostream* out) {
  *out << row.name;
}

class HostileServer : public ::testing::TestWithParam<ServerCase> {};

TEST_P(HostileServer, HarmsNobody) {
  LoopbackServer server;
  server.on("/", GetParam().script);
  const Batch guarded = fetch_in_turn({server.url("/")}, FetchOptions());
  EXPECT_EQ(value(guarded.reports.at(0).reason), value(REFUSED_ADDRESS));
  EXPECT_EQ(server.connections(), 0);
  expect_end(server, server.url("/"), on_loopback(), GetParam().reason, GetParam().page, GetParam().status);
}

// "compressed text" as each encoding has it.
const std::string GZIP(
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\xff\x4b\xce\xcf\x2d\x28\x4a\x2d\x2e\x4e\x4d\x51\x28\x49\xad\x28\x01\x00"
    "\xc2\x18\xd8\xd8\x0f\x00\x00\x00",
    35);
const std::string DEFLATE(
    "\x78\x9c\x4b\xce\xcf\x2d\x28\x4a\x2d\x2e\x4e\x4d\x51\x28\x49\xad\x28\x01\x00\x31\x50\x06\x1b", 23);
const std::string BROTLI("\x1f\x0e\x00\xf8\x25\x41\xc8\xca\x4a\x13\x60\x6a\x05\x8f\xfe\xb9\x03", 17);
const std::string ZSTD(
    "\x28\xb5\x2f\xfd\x04\x58\x79\x00\x00\x63\x6f\x6d\x70\x72\x65\x73\x73\x65\x64\x20\x74\x65\x78\x74\x38\x16\x90\xdc",
    28);
const std::string GZIP_TWICE(
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\x93\xef\xe6\x60\x00\x01\x26\x66\xef\x73\xe7\x75\x35\xbc\x74\xf5\xfc\x7c"
    "\x03\x35\x3c\xd7\x6a\x30\x32\x1c\x92\xb8\x71\x83\x1f\x28\x05\x00\xf3\x4d\xea\x0a\x23\x00\x00\x00",
    52);
// 17 MiB of the letter "a".
const std::string BROTLI_BOMB(
    "\xcf\xff\xff\x7f\xf8\x25\xc2\xe2\xb1\x40\x20\xf7\xfe\xbf\xfe\xff\x1f\xbf\x04\x40\x1c\x16\x00\xe8\xde\x3f\x00", 27);

/// A body that says it is encoded so.
Script encoded(const char* encoding, std::string body) {
  return answer(200, std::move(body), {{"Content-Encoding", encoding}});
}

/// A whole response of which `headers`, line ends included, are given.
Script with_headers(const std::string& headers, const std::string& body = "text") {
  return raw("HTTP/1.1 200 OK\r\n" + headers + "\r\n" + body);
}

/// A script that is too large to make before it runs.
Script made(std::function<Script()> make) {
  return [make = std::move(make)](Exchange& exchange) { make()(exchange); };
}

Script letters(std::size_t count) {
  return made([count] { return answer(200, std::string(count, 'x')); });
}

/// A chunked body, as given.
Script chunks(const std::string& bytes) {
  return with_headers("Transfer-Encoding: chunked\r\n", bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HostileServer,
    ::testing::ValuesIn<ServerCase>({
        // Whole.
        {"ok", answer(200, "text"), FETCHED, "text", 200},
        {"utf8", answer(200, "\u20ac 5"), FETCHED, "\u20ac 5", 200},
        {"not_found", answer(404, "gone"), FETCHED, "gone", 404},
        {"server_error", answer(500, "broken"), FETCHED, "broken", 500},
        {"unavailable", answer(503, "later"), FETCHED, "later", 503},
        {"status_beyond_all", answer(999, "go away"), FETCHED, "go away", 999},
        {"image", answer(200, "\x89PNG\r\n\x1a\n\0\xff"s, {{"Content-Type", "image/png"}}), FETCHED,
         "\ufffdPNG\r\n\x1a\n\0\ufffd"s, 200},
        {"pdf", answer(200, "%PDF-1.7\n%\xe2\xe3", {{"Content-Type", "application/pdf"}}), FETCHED,
         "%PDF-1.7\n%\ufffd\ufffd", 200},
        {"utf16", answer(200, "\xff\xfe<\0"s), FETCHED, "\ufffd\ufffd<\0"s, 200},
        {"latin1_whatever_it_says", answer(200, "caf\xe9s d\xe9j", {{"Content-Type", "text/html; charset=iso-8859-1"}}),
         FETCHED, "caf\ufffds d\ufffdj", 200},
        {"invalid_bytes_one_for_each_maximal_part", answer(200, "a\xe2\x82z\xf0\x9f\x98\xff"), FETCHED,
         "a\ufffdz\ufffd\ufffd", 200},
        {"nul_bytes", answer(200, "a\0b"s), FETCHED, "a\0b"s, 200},
        {"empty_body", answer(200, ""), EMPTY_BODY, NONE, 200},
        {"no_content_with_a_body", raw("HTTP/1.1 204 None\r\n\r\nbody"), EMPTY_BODY, NONE, 204},
        {"not_modified_with_a_body", raw("HTTP/1.1 304 Same\r\nContent-Length: 4\r\n\r\nbody"), EMPTY_BODY, NONE, 304},
        {"until_close", raw("HTTP/1.0 200 OK\r\n\r\nall of it"), FETCHED, "all of it", 200},
        {"more_than_declared", with_headers("Content-Length: 4\r\n", "text and more"), FETCHED, "text", 200},
        {"chunked", chunks("3\r\nabc\r\n2;x=y\r\nde\r\n0\r\n\r\n"), FETCHED, "abcde", 200},
        {"length_and_chunked",
         with_headers("Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", "4\r\ntext\r\n0\r\n\r\n"), FETCHED, "text",
         200},
        {"two_lengths", with_headers("Content-Length: 9\r\nContent-Length: 4\r\n"), FETCHED, "text", 200},
        {"bare_line_feeds", raw("HTTP/1.1 200 OK\nContent-Length: 4\n\ntext"), FETCHED, "text", 200},
        {"bare_carriage_return_in_a_header", with_headers("A: b\rContent-Length: 1\r\nContent-Length: 4\r\n"), FETCHED,
         "text", 200},
        {"folded_header", with_headers("A: b\r\n Content-Length: 1\r\nContent-Length: 4\r\n"), FETCHED, "text", 200},
        {"status_line_without_a_reason", raw("HTTP/1.1 200\r\nContent-Length: 4\r\n\r\ntext"), FETCHED, "text", 200},
        {"interim_responses",
         raw("HTTP/1.1 103 Hints\r\nLink: <a>\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx"), FETCHED, "x",
         200},
        {"gzip", encoded("gzip", GZIP), FETCHED, "compressed text", 200},
        {"deflate", encoded("deflate", DEFLATE), FETCHED, "compressed text", 200},
        {"brotli", encoded("br", BROTLI), FETCHED, "compressed text", 200},
        {"zstd", encoded("zstd", ZSTD), FETCHED, "compressed text", 200},
        {"gzip_cut_off", encoded("gzip", GZIP.substr(0, 12)), FETCHED, "c", 200},
        {"other_protocol_unasked", raw("HTTP/1.1 101 Switch\r\nUpgrade: h2c\r\n\r\nPRI"), FETCHED, "PRI", 101},
        {"gzip_beside_identity", encoded("identity, x-gzip", GZIP), FETCHED, "compressed text", 200},
        {"slow_but_in_time", late(300ms, answer(200, "late")), FETCHED, "late", 200},
        {"sets_cookies",
         answer(200, "text", {{"Set-Cookie", "a=b; Domain=com"}, {"Set-Cookie", std::string(90'000, 'c')}}), FETCHED,
         "text", 200},
        // Broken.
        {"closed_before_the_answer", raw(""), CONNECTION_LOST, NONE, NONE},
        {"reset_before_the_answer", reset(""), CONNECTION_LOST, NONE, NONE},
        // libcurl takes what it has for the whole head of an answer without a body.
        {"closed_in_headers", raw("HTTP/1.1 200 OK\r\nA: b\r\n"), EMPTY_BODY, NONE, 200},
        {"reset_in_headers", reset("HTTP/1.1 200 OK\r\nA: b\r\n"), CONNECTION_LOST, NONE, 200},
        {"reset_in_the_body", reset("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"), CONNECTION_LOST, NONE, 200},
        {"shorter_than_declared", with_headers("Content-Length: 9\r\n", "half"), CONNECTION_LOST, NONE, 200},
        {"closed_between_chunks", chunks("3\r\nabc\r\n"), CONNECTION_LOST, NONE, 200},
        {"bad_chunk_size", chunks("xyz\r\nabc\r\n"), CONNECTION_LOST, NONE, 200},
        {"chunk_size_past_all_numbers", chunks("ffffffffffffffffff\r\nabc\r\n"), CONNECTION_LOST, NONE, 200},
        {"length_that_is_no_number", with_headers("Content-Length: x\r\n"), PROTOCOL_ERROR, NONE, 200},
        {"header_without_a_colon", with_headers("nonsense\r\nContent-Length: 4\r\n"), PROTOCOL_ERROR, NONE, 200},
        {"negative_length", with_headers("Content-Length: -4\r\n"), PROTOCOL_ERROR, NONE, 200},
        {"nul_in_a_header", with_headers("A: b\0c\r\nContent-Length: 4\r\n"s), PROTOCOL_ERROR, NONE, 200},
        {"not_http", raw("SSH-2.0-server\r\n"), PROTOCOL_ERROR, NONE, NONE},
        {"another_version", raw("HTTP/9.9 200 OK\r\n\r\ntext"), PROTOCOL_ERROR, NONE, NONE},
        {"status_zero", raw("HTTP/1.1 000 OK\r\nContent-Length: 4\r\n\r\ntext"), PROTOCOL_ERROR, NONE, NONE},
        {"declared_gzip_but_text", encoded("gzip", "plain"), BAD_ENCODING, NONE, 200},
        {"declared_brotli_but_text", encoded("br", "plainly no brotli"), BAD_ENCODING, NONE, 200},
        {"declared_zstd_but_text", encoded("zstd", "plain"), BAD_ENCODING, NONE, 200},
        {"gzip_with_another_sum", encoded("gzip", GZIP.substr(0, 27) + "sums" + GZIP.substr(31)), BAD_ENCODING, NONE,
         200},
        {"unknown_encoding", encoded("rot13", "plain"), BAD_ENCODING, NONE, 200},
        // Slow.
        {"silent", silent(), TIMED_OUT, NONE, NONE},
        {"stops_in_headers", silent("HTTP/1.1 200 OK\r\nA:"), TIMED_OUT, NONE, 200},
        {"stops_before_the_end", silent("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nninety-nine"), TIMED_OUT, NONE,
         200},
        {"never_closes", silent("HTTP/1.1 200 OK\r\n\r\nall of it"), TIMED_OUT, NONE, 200},
        {"never_ends_its_chunks", silent("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n"), TIMED_OUT,
         NONE, 200},
        {"a_byte_now_and_then", endless("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n", "x", 100ms), TIMED_OUT, NONE,
         200},
        {"a_byte_of_header_now_and_then", endless("HTTP/1.1 200 OK\r\nA: ", "x", 100ms), TIMED_OUT, NONE, 200},
        {"interim_responses_now_and_then", endless("", "HTTP/1.1 100 Go on\r\n\r\n", 50ms), TIMED_OUT, NONE, 100},
        {"redirects_now_and_then", late(90ms, redirect("/")), TIMED_OUT, NONE, 302},
        {"endless_chunk_extension",
         endless("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1;", std::string(1000, 'x'), 1ms), TIMED_OUT,
         NONE, 200},
        // Large.
        {"one_byte_larger", letters(MAX_BODY_BYTES + 1), BODY_TOO_LARGE, NONE, 200},
        {"endless_body", endless("HTTP/1.1 200 OK\r\n\r\n", std::string(1 << 20, 'x')), BODY_TOO_LARGE, NONE, 200},
        {"endless_chunks",
         endless("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
                 "10000\r\n" + std::string(1 << 16, 'x') + "\r\n"),
         BODY_TOO_LARGE, NONE, 200},
        {"declared_too_large", silent("HTTP/1.1 200 OK\r\nContent-Length: 10000000000\r\n\r\n"), BODY_TOO_LARGE, NONE,
         200},
        {"declared_past_all_numbers", silent("HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\n"),
         BODY_TOO_LARGE, NONE, 200},
        {"gzip_bomb", made([] { return encoded("gzip", testing::gzip_bomb(MAX_BODY_BYTES + 1000)); }), BODY_TOO_LARGE,
         NONE, 200},
        {"brotli_bomb", encoded("br", BROTLI_BOMB), BODY_TOO_LARGE, NONE, 200},
        {"zstd_bomb", made([] { return encoded("zstd", testing::zstd_bomb(MAX_BODY_BYTES + 1000)); }), BODY_TOO_LARGE,
         NONE, 200},
        {"many_headers", endless("HTTP/1.1 200 OK\r\n", "Name: " + std::string(1000, 'v') + "\r\n"), HEADERS_TOO_LARGE,
         NONE, 200},
        {"many_short_headers", endless("HTTP/1.1 200 OK\r\n", repeat("a:\r\n", 1000)), HEADERS_TOO_LARGE, NONE, 200},
        {"one_long_header", endless("HTTP/1.1 200 OK\r\nName: ", std::string(10000, 'v')), HEADERS_TOO_LARGE, NONE,
         200},
        {"large_cookie", answer(200, "text", {{"Set-Cookie", "a=" + std::string(1 << 20, 'c')}}), HEADERS_TOO_LARGE,
         NONE, 200},
        {"endless_status_line", endless("HTTP/1.1 200 ", std::string(10000, 'v')), HEADERS_TOO_LARGE, NONE, NONE},
        {"endless_interim_responses", endless("", "HTTP/1.1 100 Go on\r\nA: " + std::string(1000, 'v') + "\r\n\r\n"),
         HEADERS_TOO_LARGE, NONE, 100},
        {"many_trailers",
         endless("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n",
                 repeat("Name: value\r\n", 1000)),
         HEADERS_TOO_LARGE, NONE, 200},
        {"one_long_trailer",
         endless("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\nName:", std::string(10000, 'v')),
         CONNECTION_LOST, NONE, 200},
    }),
    row_name);

/// To itself, with a longer path each time.
Script growing(std::size_t by) {
  return [by](Exchange& exchange) { redirect(exchange.path + "?" + std::string(by, 'x'))(exchange); };
}

INSTANTIATE_TEST_SUITE_P(Redirects, HostileServer,
                         ::testing::ValuesIn<ServerCase>({
                             {"without_location", answer(302, "stay"), FETCHED, "stay", 302},
                             {"empty_location", redirect(""), EMPTY_BODY, NONE, 302},
                             {"loop", redirect("/"), TOO_MANY_REDIRECTS, NONE, 302},
                             {"permanent_loop", redirect("?", 308), TOO_MANY_REDIRECTS, NONE, 308},
                             {"growing_url", growing(1000), TOO_MANY_REDIRECTS, NONE, 302},
                             {"fast_growing_url", growing(4000), HEADERS_TOO_LARGE, NONE, 302},
                             {"large_location", redirect("/" + std::string(1 << 20, 'x')), HEADERS_TOO_LARGE, NONE,
                              302},
                             {"to_ftp", redirect("ftp://127.0.0.1/"), UNSUPPORTED_SCHEME, NONE, 302},
                             {"to_a_file", redirect("file:///etc/passwd"), UNSUPPORTED_SCHEME, NONE, 302},
                             {"to_gopher", redirect("gopher://127.0.0.1:1/"), UNSUPPORTED_SCHEME, NONE, 302},
                             {"to_script", redirect("javascript:alert(1)"), UNSUPPORTED_SCHEME, NONE, 302},
                             {"to_data", redirect("data:text/html,text"), UNSUPPORTED_SCHEME, NONE, 302},
                             {"to_a_blocked_port", redirect("http://127.0.0.1:22/"), REFUSED_PORT, NONE, 302},
                             {"to_a_malformed_url", redirect("http://[::1/"), BAD_URL, NONE, 302},
                             {"to_no_host", redirect("http://"), BAD_URL, NONE, 302},
                             {"to_a_host_that_is_no_text", redirect("http://\xff\xfe.test/"), BAD_URL, NONE, 302},
                             {"to_nobody", redirect("http://127.0.0.1:2/"), CONNECTION_FAILED, NONE, 302},
                         }),
                         row_name);

// One layer of a small body may stand for gigabytes that are nothing in the next, worked off without a pause: so a body
// that is encoded twice is refused, whatever is in it.
INSTANTIATE_TEST_SUITE_P(
    Stacked, HostileServer,
    ::testing::ValuesIn<ServerCase>({
        {"gzip_in_gzip", encoded("gzip, gzip", GZIP_TWICE), BAD_ENCODING, NONE, 200},
        {"in_two_headers", answer(200, GZIP_TWICE, {{"Content-Encoding", "gzip"}, {"content-encoding", "gzip"}}),
         BAD_ENCODING, NONE, 200},
        {"in_transit", answer(200, GZIP_TWICE, {{"Content-Encoding", "gzip"}, {"Transfer-Encoding", "gzip"}}),
         BAD_ENCODING, NONE, 200},
        {"very_often", encoded("gzip,gzip,gzip,gzip,gzip,gzip,gzip,gzip", GZIP), BAD_ENCODING, NONE, 200},
    }),
    row_name);

/// What trusts `certificate` as an authority's.
class Authorities {
 public:
  explicit Authorities(const Certificate& certificate) { std::ofstream(_file) << certificate.pem(); }
  [[nodiscard]] FetchOptions trusted() const {
    FetchOptions options = on_loopback();
    options.ca_file = _file.string();
    return options;
  }

 private:
  TemporaryDirectory _directory;
  std::filesystem::path _file = _directory.path() / "authorities.pem";
};

/// HTTP/2, frame by frame.
class HostileHttp2Server : public HostileServer {
 protected:
  HostileHttp2Server() {
    server.secure(certificate, true);
    server.on("*", GetParam().script);
  }

  const Certificate certificate = Certificate("IP:127.0.0.1");
  const Authorities authorities = Authorities(certificate);
  LoopbackServer server;
};

TEST_P(HostileHttp2Server, HarmsNobody) {
  expect_end(server, server.url("/"), authorities.trusted(), GetParam().reason, GetParam().page, GetParam().status);
}

enum FrameType {
  DATA,
  HEADERS,
  PRIORITY,
  RST_STREAM,
  SETTINGS,
  PUSH_PROMISE,
  PING,
  GOAWAY,
  WINDOW_UPDATE,
  CONTINUATION
};
constexpr int END_STREAM = 1;
constexpr int END_HEADERS = 4;
const std::string WORD(4, '\0');
const std::string SETTLED = frame(SETTINGS, 0, 0);
const std::string STATUS_200 = "\x88";  // as HPACK has it
const std::string ANSWERED = SETTLED + frame(HEADERS, END_HEADERS, 1, STATUS_200);
const std::string GO_AWAY = frame(GOAWAY, 0, 0, WORD + WORD);

INSTANTIATE_TEST_SUITE_P(
    Frames, HostileHttp2Server,
    ::testing::ValuesIn<ServerCase>({
        {"ok", silent(ANSWERED + frame(DATA, END_STREAM, 1, "text")), FETCHED, "text", 200},
        {"window_never_opened",
         silent(frame(SETTINGS, 0, 0, "\0\4"s + WORD) + frame(HEADERS, END_HEADERS, 1, STATUS_200) +
                frame(DATA, END_STREAM, 1, "text")),
         FETCHED, "text", 200},
        {"silent", silent(), TIMED_OUT, NONE, NONE},
        {"stops_before_the_end", silent(ANSWERED + frame(DATA, 0, 1, "half")), TIMED_OUT, NONE, 200},
        {"pushes_unasked", silent(ANSWERED + frame(PUSH_PROMISE, END_HEADERS, 1, "\0\0\0\2"s + STATUS_200)), TIMED_OUT,
         NONE, 200},
        {"goes_away_before_the_answer", raw(SETTLED + GO_AWAY), PROTOCOL_ERROR, NONE, NONE},
        {"goes_away_in_the_answer", raw(ANSWERED + frame(DATA, 0, 1, "half") + GO_AWAY), PROTOCOL_ERROR, NONE, NONE},
        {"no_frames", silent("HTTP/1.1 200 OK\r\n\r\ntext"), CONNECTION_LOST, NONE, NONE},
        {"body_without_end", endless(ANSWERED, frame(DATA, 0, 1, std::string(16'384, 'x'))), BODY_TOO_LARGE, NONE, 200},
    }),
    row_name);

/// `first`, then `each` again and again, many in one TLS record.
Script flood(const std::string& first, const std::string& each) {
  return endless(first, repeat(each, std::max<std::size_t>(1, 16'000 / each.size())));
}

const std::string OPEN_HEADERS = SETTLED + frame(HEADERS, 0, 1, STATUS_200);
const std::string KEPT_HEADER = "\x40\x01n\x7f\x91\x02" + std::string(400, 'v');  // number 62 from then on

// Frames as fast as they are read.
INSTANTIATE_TEST_SUITE_P(
    Floods, HostileHttp2Server,
    ::testing::ValuesIn<ServerCase>({
        {"resets", flood(ANSWERED, frame(RST_STREAM, 0, 1, "\0\0\0\2"s)), NONE, NONE, NONE},
        {"settings", flood(ANSWERED, SETTLED), NONE, NONE, NONE},
        {"pings", flood(ANSWERED, frame(PING, 0, 0, WORD + WORD)), NONE, NONE, NONE},
        {"priorities", flood(ANSWERED, frame(PRIORITY, 0, 3, WORD + "1")), NONE, NONE, NONE},
        {"window_updates", flood(ANSWERED, frame(WINDOW_UPDATE, 0, 9, "\0\0\0\1"s)), NONE, NONE, NONE},
        {"unknown_frames", flood(ANSWERED, frame(99, 0, 0)), NONE, NONE, NONE},
        {"empty_bodies", flood(ANSWERED, frame(DATA, 0, 1)), NONE, NONE, NONE},
        {"empty_continuations", flood(OPEN_HEADERS, frame(CONTINUATION, 0, 1)), NONE, NONE, NONE},
        {"continuations", flood(OPEN_HEADERS, frame(CONTINUATION, 0, 1, KEPT_HEADER)), NONE, NONE, NONE},
        {"header_by_number",
         flood(SETTLED + frame(HEADERS, 0, 1, STATUS_200 + KEPT_HEADER),
               frame(CONTINUATION, 0, 1, std::string(10'000, '\xbe'))),
         NONE, NONE, NONE},
    }),
    row_name);

/// `trusted`: its certificate counts as an authority's.
struct TlsCase {
  const char* name;
  const char* names;
  std::chrono::minutes valid_for;
  bool trusted;
  FetchReason reason;
  Text page;
};
void PrintTo(const TlsCase& row, std::ostream* out) {
  *out << row.name;
}

class TlsServer : public ::testing::TestWithParam<TlsCase> {};

TEST_P(TlsServer, IsTrustedOrNot) {
  const Certificate certificate(GetParam().names, GetParam().valid_for);
  const Authorities authorities(certificate);
  const FetchOptions options = GetParam().trusted ? authorities.trusted() : on_loopback();
  LoopbackServer server;
  server.secure(certificate);
  server.on("/", answer(200, "secret"));
  const Status status = GetParam().page ? Status(200) : NONE;
  expect_end(server, server.url("/"), options, GetParam().reason, GetParam().page, status);
  EXPECT_EQ(server.paths().size(), GetParam().page ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Certificates, TlsServer,
                         ::testing::ValuesIn<TlsCase>({
                             {"trusted", "IP:127.0.0.1", 1h, true, FETCHED, "secret"},
                             {"self_signed", "IP:127.0.0.1", 1h, false, TLS_FAILED, NONE},
                             {"expired", "IP:127.0.0.1", -1h, true, TLS_FAILED, NONE},
                             {"of_another_address", "IP:127.0.0.2", 1h, true, TLS_FAILED, NONE},
                             {"of_another_host", "DNS:localhost,DNS:*", 1h, true, TLS_FAILED, NONE},
                         }),
                         row_name);

TEST(HostileServers, TheLargestBodyIsTaken) {
  LoopbackServer server;
  server.on("/", letters(MAX_BODY_BYTES));
  const Batch batch = fetch_in_turn({server.url("/")}, on_loopback());
  EXPECT_EQ(batch.pages.begin()->second, std::string(MAX_BODY_BYTES, 'x'));
}

// What a server sends in place of its part of the handshake, and then no more.
TEST(TlsHandshake, HasToBeWhole) {
  struct Row {
    std::string greeting;
    FetchReason reason;
  };
  for (const Row& row : {Row{"", TIMED_OUT}, Row{"\x16\x03\x03", TIMED_OUT}, Row{"220 mail.test\r\n", TLS_FAILED},
                         Row{"\x15\x03\x03\0\2\2\x28"s, TLS_FAILED}}) {
    LoopbackServer server;
    server.greet(row.greeting);
    SCOPED_TRACE(::testing::PrintToString(row.greeting));
    expect_end(server, "https://127.0.0.1:" + std::to_string(server.port()) + "/", on_loopback(), row.reason, NONE,
               NONE);
  }
}

}  // namespace
}  // namespace quillmere::commerce
