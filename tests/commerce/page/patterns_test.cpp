#include <cstdlib>
#include <string>

#include "tests/support/page_fragments.hpp"
#include "tests/support/page_patterns.hpp"
#include <gtest/gtest.h>

#include "quillmere/text/unicode.hpp"

// The verifiers against the patterns as written.

namespace quillmere::commerce::page {
namespace {

void expect_agreement(const LiteralIndex& index, page_patterns::Patterns& patterns) {
  for (const auto& difference : page_patterns::differences(index, patterns)) {
    ADD_FAILURE() << difference.pattern << "\n verifier " << difference.verifier << "\n pattern  " << difference.engine
                  << "\n in       " << index.page();
  }
}

// QUILLMERE_PAGE_FRAGMENTS sets the number of fragments, for longer runs.
TEST(Verifiers, AgreeWithTheirPatternsOnGeneratedFragments) {
  const char* const wish = std::getenv("QUILLMERE_PAGE_FRAGMENTS");
  const int count = wish != nullptr ? std::atoi(wish) : 200'000;
  page_patterns::Patterns patterns;
  PageFragments fragments(3);
  LiteralIndex index;
  for (int i = 0; i < count && !HasFailure(); ++i) {
    index.read(fragments.next());
    expect_agreement(index, patterns);
  }
}

TEST(Verifiers, KnowTheStockTermsOfTheLowerCasedPage) {
  LiteralIndex index;
  for (const std::string page : {"schema.org/InStock", "SCHEMA.ORG/INSTOC\u212A", "schema.org/\u0130nStock",
                                 "\u017Fchema.org/InStock", "schema.org/InStoc\u212B", "schema.org/InStoc"}) {
    index.read(page);
    EXPECT_EQ(mentions_in_stock(index), text::to_lower(page).find("schema.org/instock") != std::string::npos) << page;
  }
  index.read("schema.org/OutOfStoc\u212A");
  EXPECT_TRUE(mentions_out_of_stock(index));
}

}  // namespace
}  // namespace quillmere::commerce::page
