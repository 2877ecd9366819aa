// Fetching pages in one call, 32 in flight and every body kept, against libcurl's own loop and, where these are
// installed, wrk and curl --parallel, on the same server.
//
//   fetch              its own server on loopback, and nginx, where that is installed
//   fetch 10KB 100KB   two URLs of another server, which give pages of about these sizes
//
// The clients take turns in each of 7 rounds; a figure is the median of the rounds, a ratio the median of the rounds'
// own ratios. wrk drops what it receives: it is the limit, not a rival. libcurl alone is the limit of what is built on
// it. The program also fetches from a server that takes 200 ms for each page, and from one that leaves 8 of 64 requests
// without an answer.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <malloc.h>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "bench/child.hpp"
#include "bench/measure.hpp"
#include "bench/nginx_server.hpp"
#include "bench/page_server.hpp"
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <curl/curl.h>

#include "quillmere/commerce/destination_fetcher.hpp"

namespace {

using namespace quillmere;
using Urls = std::vector<std::string>;

constexpr int ROUNDS = 7;
constexpr int IN_FLIGHT = 32;
const std::string SCRATCH = "/tmp/quillmere-bench-fetch";

struct Speed {
  double requests_per_second = 0;
  double processor_seconds_per_1000 = 0;
};

/// Seconds that one call takes; `pages` counts the texts it gave.
double fetch_all(const Urls& urls, std::size_t& pages) {
  http::FetchOptions options;
  options.allow_private_networks = true;
  boost::asio::io_context context;
  const auto start = std::chrono::steady_clock::now();
  auto result = boost::asio::co_spawn(
      context, commerce::ScraplingDestinationFetcher::fetch_many(urls, IN_FLIGHT, 5, options), boost::asio::use_future);
  context.run();
  const commerce::HtmlMap map = result.get();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  pages = 0;
  for (const auto& [url, text] : map) pages += text ? 1U : 0U;
  return taken.count();
}

/// `url` as often as asked, never twice the same.
Urls distinct(const std::string& url, std::size_t count) {
  Urls urls;
  const char mark = url.find('?') == std::string::npos ? '?' : '&';
  for (std::size_t i = 0; i < count; ++i) urls.push_back(url + mark + "n=" + std::to_string(i));
  return urls;
}

/// Of all threads of this process, as for a child's.
double processor_seconds() {
  std::timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// Of a client in this process: `fetch` gives the seconds it took, and how many pages came.
template <class Fetch>
Speed speed_here(const Urls& urls, Fetch fetch) {
  std::size_t pages = 0;
  malloc_trim(0);  // none starts with memory that another one has left
  const double before = processor_seconds();
  const double seconds = fetch(urls, pages);
  const double used = processor_seconds() - before;
  if (pages != urls.size()) std::printf("  only %zu of %zu pages came\n", pages, urls.size());
  const auto count = static_cast<double>(urls.size());
  return {count / seconds, 1000 * used / count};
}

Speed speed_of_quillmere(const Urls& urls) {
  return speed_here(urls, fetch_all);
}

struct BareFetch {
  CURL* easy = nullptr;
  std::string* body = nullptr;

  static std::size_t write(char* bytes, std::size_t, std::size_t size, void* user) {
    const BareFetch& fetch = *static_cast<BareFetch*>(user);
    curl_off_t length = 0;
    curl_easy_getinfo(fetch.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (fetch.body->empty() && length > 0) fetch.body->reserve(static_cast<std::size_t>(length));
    fetch.body->append(bytes, size);
    return size;
  }
};

/// What libcurl's own loop takes, asked for the same and told to read into as large a buffer, with every body kept.
double fetch_by_libcurl(const Urls& urls, std::size_t& pages) {
  const auto start = std::chrono::steady_clock::now();
  CURLM* const multi = curl_multi_init();
  curl_slist* headers =
      curl_slist_append(nullptr, "Accept: text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8");
  headers = curl_slist_append(headers, "Accept-Language: en-US,en;q=0.8");
  headers = curl_slist_append(headers, "User-Agent: Mozilla/5.0 (compatible; bench/0.1.0)");
  std::vector<std::string> bodies(urls.size());
  std::vector<BareFetch> fetches(std::min<std::size_t>(IN_FLIGHT, urls.size()));
  std::size_t next = 0;
  const auto begin_next = [&](BareFetch& fetch) {
    fetch.body = &bodies[next];
    curl_easy_setopt(fetch.easy, CURLOPT_URL, urls[next++].c_str());
    curl_multi_add_handle(multi, fetch.easy);
  };
  for (BareFetch& fetch : fetches) {
    fetch.easy = curl_easy_init();
    curl_easy_setopt(fetch.easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(fetch.easy, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(fetch.easy, CURLOPT_BUFFERSIZE, 256L << 10);
    curl_easy_setopt(fetch.easy, CURLOPT_TIMEOUT_MS, 5000L);
    curl_easy_setopt(fetch.easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(fetch.easy, CURLOPT_PROXY, "");
    curl_easy_setopt(fetch.easy, CURLOPT_WRITEFUNCTION, &BareFetch::write);
    curl_easy_setopt(fetch.easy, CURLOPT_WRITEDATA, &fetch);
    curl_easy_setopt(fetch.easy, CURLOPT_PRIVATE, &fetch);
    begin_next(fetch);
  }
  for (int running = 1; running != 0;) {
    curl_multi_perform(multi, &running);
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
      BareFetch* fetch = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &fetch);
      if (message->data.result == CURLE_OK) ++pages;
      curl_multi_remove_handle(multi, fetch->easy);
      if (next == urls.size()) continue;
      begin_next(*fetch);
      running = 1;
    }
    if (running != 0) curl_multi_poll(multi, nullptr, 0, 100, nullptr);
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  for (const BareFetch& fetch : fetches) curl_easy_cleanup(fetch.easy);
  curl_multi_cleanup(multi);
  curl_slist_free_all(headers);
  return taken.count();
}

Speed speed_of_libcurl(const Urls& urls) {
  return speed_here(urls, fetch_by_libcurl);
}

std::optional<Speed> speed_of_curl(const Urls& urls) {
  std::ofstream settings(SCRATCH + ".curl");
  for (const std::string& url : urls) settings << "url = \"" << url << "\"\noutput = /dev/null\n";
  settings.close();
  const auto run = bench::run_child(
      {"curl", "-s", "--parallel", "--parallel-max", std::to_string(IN_FLIGHT), "-K", SCRATCH + ".curl"});
  if (!run.succeeded) return std::nullopt;
  const auto count = static_cast<double>(urls.size());
  return Speed{count / run.wall_seconds, 1000 * run.processor_seconds / count};
}

std::optional<Speed> speed_of_wrk(const Urls& urls) {
  const auto run = bench::run_child({"wrk", "-t1", "-c" + std::to_string(IN_FLIGHT), "-d1s", urls.front()}, "/dev/null",
                                    SCRATCH + ".wrk");
  std::ifstream in(SCRATCH + ".wrk");
  const std::string said(std::istreambuf_iterator<char>(in), {});
  std::smatch count;
  std::smatch rate;
  if (!run.succeeded || !std::regex_search(said, count, std::regex("([0-9]+) requests in")) ||
      !std::regex_search(said, rate, std::regex("Requests/sec: *([0-9.]+)"))) {
    return std::nullopt;
  }
  return Speed{std::stod(rate[1]), 1000 * run.processor_seconds / std::stod(count[1])};
}

struct Client {
  const char* name;
  std::function<std::optional<Speed>(const Urls&)> measure;
  std::vector<Speed> speeds = {};
};

using Figure = double Speed::*;

double median_of(const Client& client, Figure figure) {
  std::vector<double> values;
  for (const Speed& speed : client.speeds) values.push_back(speed.*figure);
  return bench::median(values);
}

double median_ratio(const Client& client, const Client& rival, Figure figure) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < client.speeds.size(); ++i) {
    ratios.push_back(client.speeds[i].*figure / (rival.speeds[i].*figure));
  }
  return bench::median(ratios);
}

void compare(const std::string& title, const Urls& urls, const char* bars) {
  std::vector<Client> clients = {{"quillmere", speed_of_quillmere}, {"libcurl alone", speed_of_libcurl}};
  if (bench::is_installed("wrk")) clients.push_back({"wrk -t1", speed_of_wrk});
  if (bench::is_installed("curl")) clients.push_back({"curl --parallel", speed_of_curl});
  for (int round = 0; round < ROUNDS; ++round) {
    for (Client& client : clients) client.speeds.push_back(client.measure(urls).value_or(Speed{}));
  }
  std::printf("%s, %zu requests, %d in flight\n  %-18s %11s %16s %22s\n", title.c_str(), urls.size(), IN_FLIGHT, "",
              "requests/s", "CPU s per 1,000", "quillmere against it");
  for (const Client& client : clients) {
    std::printf("  %-18s %11.0f %16.3f", client.name, median_of(client, &Speed::requests_per_second),
                median_of(client, &Speed::processor_seconds_per_1000));
    if (&client != &clients.front()) {
      std::printf("   %.2fx speed, %.2fx CPU", median_ratio(clients.front(), client, &Speed::requests_per_second),
                  median_ratio(clients.front(), client, &Speed::processor_seconds_per_1000));
    }
    std::printf("\n");
  }
  std::printf("  to be %s\n\n", bars);
}

void measure_slow_server(const std::string& origin) {
  std::vector<double> seconds;
  std::size_t pages = 0;
  for (int round = 0; round < ROUNDS; ++round)
    seconds.push_back(fetch_all(distinct(origin + "/delay/200", 128), pages));
  std::printf(
      "128 pages of a server that takes 200 ms, 32 in flight: %zu pages, %.3f s, %.3fx the ideal 0.8 s (to be at"
      " most 1.05)\n",
      pages, bench::median(seconds), bench::median(seconds) / 0.8);
}

void measure_hanging_server(const std::string& origin) {
  Urls urls = distinct(origin + "/bytes/10240", 64);
  for (std::size_t i = 0; i < 8; ++i) urls[8 * i] = origin + "/hang?n=" + std::to_string(i);
  std::size_t pages = 0;
  const double seconds = fetch_all(urls, pages);
  std::printf("64 pages, 8 of them never answered, limit 5 s: %zu pages, %.2f s (to be at most 5.3)\n", pages, seconds);
}

void compare_both(const std::string& server, const std::string& small, const std::string& large) {
  compare("pages of 10 KB from " + server, distinct(small, 10000),
          "at least 0.40x the speed of wrk and 1.2x that of curl, at most 3x the CPU of wrk");
  compare("pages of 100 KB from " + server, distinct(large, 4000),
          "at least 0.33x the speed of wrk, at most 3x its CPU");
}

}  // namespace

int main(int argc, char** argv) {
  const bench::PageServer server;
  if (argc == 3) {
    compare_both("the server given", argv[1], argv[2]);
  } else {
    compare_both("the program's own server", server.origin() + "/bytes/10240", server.origin() + "/bytes/102400");
    if (bench::is_installed("nginx")) {
      const bench::NginxServer nginx(SCRATCH + "-nginx", {10240, 102400});
      compare_both("nginx", nginx.origin() + "/10240", nginx.origin() + "/102400");
    }
  }
  measure_slow_server(server.origin());
  measure_hanging_server(server.origin());
}
