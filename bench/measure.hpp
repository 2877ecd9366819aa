#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/// What the benchmarks measure with.
namespace quillmere::bench {

/// Processor time of this thread, which other programs on the machine disturb least.
inline double processor_seconds() {
  std::timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double seconds_of(Work work) {
  const double start = processor_seconds();
  work();
  return processor_seconds() - start;
}

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// The files of a directory that end in ".html", in the order of their names.
inline std::vector<std::string> pages_of(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".html") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> pages;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    pages.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return pages;
}

inline std::size_t bytes_of(const std::vector<std::string>& pages) {
  std::size_t bytes = 0;
  for (const std::string& page : pages) bytes += page.size();
  return bytes;
}

}  // namespace quillmere::bench
