#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <unistd.h>
#include <utility>

#include <sys/mman.h>
#include <sys/socket.h>

#include "quillmere/http/address_guard.hpp"
#include "quillmere/http/executor_internal.hpp"
#include "quillmere/http/request_url_internal.hpp"
#include "quillmere/http/transfer_internal.hpp"
#include "quillmere/version.hpp"

namespace quillmere::http::internal {
namespace {

// Body memory set aside on the word of a Content-Length alone.
constexpr std::size_t MAX_RESERVED_BYTES = std::size_t{2} << 20;
// A declared length that no body within MAX_BODY_BYTES can have, whatever its encoding adds.
constexpr curl_off_t MAX_DECLARED_BYTES = static_cast<curl_off_t>(MAX_BODY_BYTES + (std::size_t{1} << 20));
// How much of a body's memory is mapped at once, and what is not worth a call.
constexpr std::size_t MAPPED_AT_ONCE = std::size_t{128} << 10;
constexpr std::size_t LEAST_MAPPED = std::size_t{32} << 10;
// libcurl gives a request's buffer back when the request ends. Small, so that the memory allocator has it ready for the
// next request rather than cutting a large body from it.
constexpr long READ_BUFFER_BYTES = 64L << 10;

template <typename Value>
bool set_option(const Easy& easy, CURLoption option, Value value) {
  const CURLcode code = curl_easy_setopt(easy.get(), option, value);
  if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLE_OK;
}

// Has the system map the `size` bytes from `begin` on, which will be written to, in one call.
void map([[maybe_unused]] char* begin, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_POPULATE_WRITE  // Linux 5.14
  static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const std::size_t skipped = (page - reinterpret_cast<std::uintptr_t>(begin) % page) % page;
  if (size < skipped + page) return;
  char* const first = begin + skipped;
  const std::size_t whole = (size - skipped) / page * page;
  // Memory that was used before is mapped as a rule, and then this is all that it costs.
  unsigned char is_mapped = 0;
  if (::mincore(first + whole - page, page, &is_mapped) != 0 || (is_mapped & 1U) != 0) return;
  ::madvise(first, whole, MADV_POPULATE_WRITE);
#endif
}

// Lets TransferLoop::on_trace see the records of TLS connections. Costs some time for each line that libcurl would
// print.
void trace(const Easy& easy, bool is_on) {
  set_option(easy, CURLOPT_VERBOSE, is_on ? 1L : 0L);
}

// Shared by all handles, never freed, read-only. The user agent is among them because libcurl copies these lines into a
// request once, but those that it makes from options twice, letter by letter.
curl_slist* request_headers() {
  static curl_slist* const headers = [] {
    const std::string user_agent = "User-Agent: Mozilla/5.0 (compatible; quillmere/" + std::string(version()) + ")";
    curl_slist* list = nullptr;
    for (const char* line : {"Accept: text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8",
                             "Accept-Language: en-US,en;q=0.8", user_agent.c_str()}) {
      curl_slist* const longer = curl_slist_append(list, line);
      if (longer == nullptr) {
        curl_slist_free_all(list);
        throw std::bad_alloc();
      }
      list = longer;
    }
    return list;
  }();
  return headers;
}

// The status that a status line gives, 0 for any other line.
int status_of(std::string_view line) {
  if (!line.starts_with("HTTP/")) return 0;
  const std::size_t space = line.find(' ');
  if (space == std::string_view::npos || line.size() < space + 4) return 0;
  int status = 0;
  for (const char digit : line.substr(space + 1, 3)) {
    if (digit < '0' || digit > '9') return 0;
    status = status * 10 + (digit - '0');
  }
  return status;
}

// The value of `line`, a header, when `name`, with its colon, is its name.
std::optional<std::string_view> value_of(std::string_view line, std::string_view name) {
  if (line.size() < name.size() || (line.front() | 0x20) != (name.front() | 0x20)) return std::nullopt;  // most lines
  if (curl_strnequal(line.data(), name.data(), name.size()) == 0) return std::nullopt;
  line.remove_prefix(name.size());
  const std::size_t begin = line.find_first_not_of(" \t");
  return begin == std::string_view::npos ? "" : line.substr(begin, line.find_last_not_of(" \t\r\n") + 1 - begin);
}

// How many times a body is encoded according to `list`, a value of Content-Encoding or Transfer-Encoding.
int codings_in(std::string_view list) {
  int count = 0;
  while (!list.empty()) {
    const std::string_view rest = list.substr(std::min(list.find_first_not_of(", \t"), list.size()));
    const std::string_view coding = rest.substr(0, rest.find_first_of(", \t"));
    const auto is = [coding](std::string_view name) {
      return coding.size() == name.size() && curl_strnequal(coding.data(), name.data(), name.size()) != 0;
    };
    if (!coding.empty() && !is("identity") && !is("chunked")) ++count;
    list = rest.substr(coding.size());
  }
  return count;
}

// Whether `location` names a scheme, and that is not one of the web.
bool leaves_the_web(std::string_view location) {
  const std::string_view scheme = location.substr(0, location.find_first_of(":/?#"));
  if (scheme.size() == location.size() || location[scheme.size()] != ':') return false;
  return !value_of(location, "http:") && !value_of(location, "https:");
}

template <typename T>
T info_of(CURL* easy, CURLINFO info) {
  T result{};
  curl_easy_getinfo(easy, info, &result);
  return result;
}

std::chrono::milliseconds seconds_within_curl(int seconds) {
  const std::chrono::milliseconds wanted = std::chrono::seconds(std::max(seconds, 0));
  return std::min(wanted, std::chrono::milliseconds(std::numeric_limits<int>::max()));
}

}  // namespace

/// What libcurl calls back. It runs under the loop's lock, so nothing here calls a user's code, and throws nothing.
struct TransferCallbacks {
  static std::size_t header(char* line, std::size_t, std::size_t size, void* user) noexcept {
    Transfer& transfer = *static_cast<Transfer*>(user);
    if (const int status = status_of({line, size}); status != 0) {
      // A server may send interim responses (1xx) without end: they count with the response that they precede.
      if (transfer._status >= 200) transfer._header_bytes = 0;
      transfer._status = status;
      transfer._codings = 0;
      transfer._leaves_the_web = false;
    }
    transfer._header_bytes += size;
    if (const auto location = value_of({line, size}, "Location:")) {
      transfer._leaves_the_web = leaves_the_web(*location);
      trace(transfer.easy, true);  // it may lead to TLS
    }
    for (const std::string_view name : {"Content-Encoding:", "Transfer-Encoding:"}) {
      if (const auto list = value_of({line, size}, name)) transfer._codings += codings_in(*list);
    }
    // libcurl would undo one coding after the other within one call. A few bytes can stand for gigabytes that come to
    // nothing in the next coding: no time limit would be looked at until all of that is worked off.
    if (transfer._codings > 1) transfer._fault = FetchReason::BAD_ENCODING;
    if (transfer._header_bytes > MAX_HEADER_BYTES) transfer._fault = FetchReason::HEADERS_TOO_LARGE;
    return transfer._fault ? 0 : size;
  }

  static std::size_t body(char* bytes, std::size_t, std::size_t size, void* user) noexcept {
    Transfer& transfer = *static_cast<Transfer*>(user);
    std::string& body = transfer._outcome.body;
    if (size > MAX_BODY_BYTES - body.size()) {
      transfer._outcome.report.bytes = body.size() + size;
      transfer._fault = FetchReason::BODY_TOO_LARGE;
      return 0;
    }
    try {
      if (body.empty()) {
        const auto declared = info_of<curl_off_t>(transfer.easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
        if (declared > 0) body.reserve(std::min(static_cast<std::size_t>(declared), MAX_RESERVED_BYTES));
      }
      transfer.map_ahead();
      body.append(bytes, size);
    } catch (...) {
      transfer._error = std::current_exception();
      return 0;
    }
    return size;
  }

  // CURLOPT_OPENSOCKETFUNCTION: the one place where connections come from.
  static curl_socket_t open_socket(Transfer& transfer, curlsocktype purpose, const curl_sockaddr& to,
                                   bool allow_private_networks) noexcept {
    sockaddr_storage address{};
    std::memcpy(&address, &to.addr, std::min<std::size_t>(to.addrlen, sizeof address));
    const auto refusal = refusal_of(purpose, address, allow_private_networks);
    transfer._last_refusal = refusal;
    if (refusal) return CURL_SOCKET_BAD;
    return transfer._sockets->open(to.family, to.socktype, to.protocol);
  }

  static curl_socket_t open_public(void* user, curlsocktype purpose, curl_sockaddr* to) noexcept {
    return open_socket(*static_cast<Transfer*>(user), purpose, *to, false);
  }

  static curl_socket_t open_any(void* user, curlsocktype purpose, curl_sockaddr* to) noexcept {
    return open_socket(*static_cast<Transfer*>(user), purpose, *to, true);
  }

 private:
  static std::optional<FetchReason> refusal_of(curlsocktype purpose, const sockaddr_storage& address,
                                               bool allow_private_networks) noexcept {
    sockaddr head{};
    std::memcpy(&head, &address, sizeof head);
    const bool is_internet = head.sa_family == AF_INET || head.sa_family == AF_INET6;
    if (purpose != CURLSOCKTYPE_IPCXN || !is_internet) return FetchReason::REFUSED_ADDRESS;
    in_port_t port = 0;  // at the same place in sockaddr_in and sockaddr_in6
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    std::memcpy(&port, head.sa_data, sizeof port);
    if (is_blocked_port(ntohs(port))) return FetchReason::REFUSED_PORT;
    if (!allow_private_networks && !is_public(reinterpret_cast<const sockaddr&>(address))) {
      return FetchReason::REFUSED_ADDRESS;
    }
    return std::nullopt;
  }
};

Easy make_easy(bool allow_private_networks) {
  Easy easy(curl_easy_init());
  if (!easy) throw std::bad_alloc();
  set_option(easy, CURLOPT_HTTPHEADER, request_headers());
  set_option(easy, CURLOPT_ACCEPT_ENCODING, "");  // every encoding that this libcurl decodes
  set_option(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  set_option(easy, CURLOPT_BUFFERSIZE, READ_BUFFER_BYTES);

  set_option(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  set_option(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  set_option(easy, CURLOPT_FOLLOWLOCATION, 1L);
  set_option(easy, CURLOPT_MAXREDIRS, static_cast<long>(MAX_REDIRECTS));
  set_option(easy, CURLOPT_MAXFILESIZE_LARGE, MAX_DECLARED_BYTES);

  // An empty proxy stops libcurl from looking for one in the environment.
  set_option(easy, CURLOPT_PROXY, "");
  set_option(easy, CURLOPT_NOPROXY, "*");
  set_option(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  // User and password of a URL are read but, no scheme being allowed, never sent.
  set_option(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
  // libcurl keeps the parsed authorities for later connections only without a certificate directory.
  set_option(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr));

  set_option(easy, CURLOPT_NOSIGNAL, 1L);
  // Otherwise removing a transfer waits for its resolver thread, as long as the name servers are silent.
  set_option(easy, CURLOPT_QUICK_EXIT, 1L);

  set_option(easy, CURLOPT_HEADERFUNCTION, &TransferCallbacks::header);
  set_option(easy, CURLOPT_WRITEFUNCTION, &TransferCallbacks::body);
  set_option(easy, CURLOPT_OPENSOCKETFUNCTION,
             allow_private_networks ? &TransferCallbacks::open_any : &TransferCallbacks::open_public);
  return easy;
}

Transfer::Transfer(boost::asio::any_io_executor executor, std::string url, int timeout, std::string authorities)
    : request_time(seconds_within_curl(timeout)),
      total_time(std::chrono::seconds(std::max<std::int64_t>(std::int64_t{timeout} + 1, 0))),
      ca_file(std::move(authorities)),
      _executor(std::move(executor)) {
  _outcome.report.url = std::move(url);
}

bool Transfer::prepare(Easy handle, SocketSet& sockets) {
  easy = std::move(handle);
  _sockets = &sockets;
  const std::optional<std::string> url = request_url(_outcome.report.url);
  if (!url || url->size() > MAX_URL_BYTES || !set_option(easy, CURLOPT_URL, url->c_str())) return false;
  trace(easy, curl_strnequal(url->c_str(), "https:", 6) != 0);
  set_option(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request_time.count()));
  if (!ca_file.empty()) set_option(easy, CURLOPT_CAINFO, ca_file.c_str());
  set_option(easy, CURLOPT_PRIVATE, this);
  set_option(easy, CURLOPT_HEADERDATA, this);
  set_option(easy, CURLOPT_WRITEDATA, this);
  set_option(easy, CURLOPT_OPENSOCKETDATA, this);
  return true;
}

// A page of memory that is mapped when it is first written to costs more than to write it, and a large body has many.
// Never far ahead of what arrives: a server may declare more than it ever sends.
void Transfer::map_ahead() noexcept {
  std::string& body = _outcome.body;
  if (body.size() < _mapped_bytes) return;
  const std::size_t mapped_bytes = std::min(body.capacity(), body.size() + MAPPED_AT_ONCE);
  if (mapped_bytes - body.size() < LEAST_MAPPED) return;
  map(body.data() + body.size(), mapped_bytes - body.size());
  _mapped_bytes = mapped_bytes;
}

FetchReason Transfer::reason_of(CURLcode code) const {
  if (_fault) return *_fault;
  switch (code) {
    case CURLE_OK:
      return _outcome.body.empty() ? FetchReason::EMPTY_BODY : FetchReason::FETCHED;
    case CURLE_URL_MALFORMAT:
      return FetchReason::BAD_URL;
    case CURLE_UNSUPPORTED_PROTOCOL: {
      // Also said of an answer without a status line (HTTP/0.9). Of a scheme that libcurl does not know at all it keeps
      // no URL.
      const char* url = info_of<char*>(easy.get(), CURLINFO_EFFECTIVE_URL);
      const bool is_http = curl_strnequal(url, "http:", 5) != 0 || curl_strnequal(url, "https:", 6) != 0;
      return is_http && !_leaves_the_web ? FetchReason::PROTOCOL_ERROR : FetchReason::UNSUPPORTED_SCHEME;
    }
    case CURLE_COULDNT_RESOLVE_HOST:
      return FetchReason::NAME_NOT_RESOLVED;
    case CURLE_COULDNT_CONNECT:
      return _last_refusal.value_or(FetchReason::CONNECTION_FAILED);
    case CURLE_OPERATION_TIMEDOUT:
      return FetchReason::TIMED_OUT;
    case CURLE_TOO_MANY_REDIRECTS:
      return FetchReason::TOO_MANY_REDIRECTS;
    case CURLE_FILESIZE_EXCEEDED:
      return FetchReason::BODY_TOO_LARGE;
    case CURLE_BAD_CONTENT_ENCODING:
      return FetchReason::BAD_ENCODING;
    case CURLE_RECV_ERROR:
      // Also said of headers past libcurl's own limit for all responses to a request.
      return info_of<long>(easy.get(), CURLINFO_HEADER_SIZE) > static_cast<long>(MAX_HEADER_BYTES)
                 ? FetchReason::HEADERS_TOO_LARGE
                 : FetchReason::CONNECTION_LOST;
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
      return FetchReason::CONNECTION_LOST;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return FetchReason::PROTOCOL_ERROR;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_PEER_FAILED_VERIFICATION:
      return FetchReason::TLS_FAILED;
    case CURLE_OUT_OF_MEMORY:
      return FetchReason::HEADERS_TOO_LARGE;
    default:
      return FetchReason::FAILED;
  }
}

// libcurl calls a single header line past its own limit "out of memory".
bool Transfer::is_header_too_long() const {
  return easy && info_of<curl_off_t>(easy.get(), CURLINFO_PRETRANSFER_TIME_T) > 0 && _outcome.body.empty();
}

void Transfer::conclude(CURLcode code, std::optional<FetchReason> reason) {
  FetchReport& report = _outcome.report;
  if (code == CURLE_OUT_OF_MEMORY && !is_header_too_long()) _error = std::make_exception_ptr(std::bad_alloc());
  if (easy) {
    report.reason = reason ? *reason : reason_of(code);
    report.redirects = static_cast<int>(info_of<long>(easy.get(), CURLINFO_REDIRECT_COUNT));
  } else if (reason) {
    report.reason = *reason;
  }
  if (_status != 0) report.http_status = _status;
  report.bytes = std::max<std::uint64_t>(report.bytes, _outcome.body.size());
  report.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - _begin).count();
}

void Transfer::deliver(bool in_place) {
  if (in_place) {
    resume(std::move(handler), _error, std::move(_outcome));
  } else {
    resume_later(_executor, std::move(handler), _error, std::move(_outcome));
  }
}

}  // namespace quillmere::http::internal
