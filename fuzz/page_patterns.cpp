// Reads bytes as a page: every verifier against its pattern as written, and every way of the literal pass against the
// others.

#include "tests/support/page_patterns.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

using quillmere::commerce::page::Literal;
using quillmere::commerce::page::LiteralIndex;

bool has_same_positions(const LiteralIndex& left, const LiteralIndex& right) {
  for (std::size_t literal = 0; literal < quillmere::commerce::page::LITERAL_COUNT; ++literal) {
    const auto here = left.positions(static_cast<Literal>(literal));
    const auto there = right.positions(static_cast<Literal>(literal));
    if (!std::equal(here.begin(), here.end(), there.begin(), there.end())) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Pass = LiteralIndex::Pass;
  static quillmere::page_patterns::Patterns patterns;
  static LiteralIndex index;
  static LiteralIndex other;
  const std::string_view page(reinterpret_cast<const char*>(data), size);

  index.read(page, Pass::portable);
  for (const Pass pass : {Pass::ssse3, Pass::avx2}) {
    if (LiteralIndex::best_pass() < pass) continue;
    other.read(page, pass);
    if (!has_same_positions(index, other)) std::abort();
  }

  const auto differences = quillmere::page_patterns::differences(index, patterns);
  for (const auto& [pattern, verifier, engine] : differences) {
    std::fprintf(stderr, "%.*s: verifier %s, pattern %s\n", static_cast<int>(pattern.size()), pattern.data(),
                 verifier.c_str(), engine.c_str());
  }
  if (!differences.empty()) std::abort();
  return 0;
}
