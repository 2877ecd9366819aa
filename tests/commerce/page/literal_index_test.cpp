#include "quillmere/commerce/page/literal_index.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "quillmere/commerce/page/scan.hpp"

namespace quillmere::commerce::page {
namespace {

using Pass = LiteralIndex::Pass;
using Positions = std::vector<std::size_t>;

struct LiteralCase {
  Literal literal;
  std::string_view text;
  Case letters = Case::folded;
};

constexpr std::array<LiteralCase, LITERAL_COUNT> LITERALS = {{
    {Literal::ld_json, "application/ld+json"},
    {Literal::next_data, "__NEXT_DATA__", Case::exact},
    {Literal::meta, "<meta"},
    {Literal::title, "<title"},
    {Literal::itemprop, "itemprop="},
    {Literal::shop_price, "woocommerce-price-amount"},
    {Literal::sku, "sku"},
    {Literal::in_stock, "instoc"},
    {Literal::out_of_stock, "outofstoc"},
}};

Positions naive_positions(std::string_view page, const LiteralCase& literal) {
  Positions positions;
  for (std::size_t at = 0; at < page.size(); ++at) {
    if (stands_at(page, at, literal.text, literal.letters)) positions.push_back(at);
  }
  return positions;
}

class EveryPass : public testing::TestWithParam<Pass> {
 protected:
  void SetUp() override {
    if (LiteralIndex::best_pass() < GetParam()) GTEST_SKIP() << "not on this processor";
  }

  // The page stands in a block of just its size, so that a sanitizer sees a read beyond either end.
  void expect_naive_positions(std::string_view page) {
    const auto block = std::make_unique<char[]>(page.size());
    std::copy(page.begin(), page.end(), block.get());
    _index.read({block.get(), page.size()}, GetParam());
    for (const LiteralCase& literal : LITERALS) {
      const auto positions = _index.positions(literal.literal);
      ASSERT_EQ(Positions(positions.begin(), positions.end()), naive_positions(page, literal))
          << literal.text << " in " << page;
    }
  }

 private:
  LiteralIndex _index;
};

TEST_P(EveryPass, FindsLiteralsAtEveryPlaceOfABlockAndAtBothEnds) {
  for (const LiteralCase& literal : LITERALS) {
    for (std::size_t before = 0; before <= 70; ++before) {
      for (const std::size_t behind : {0U, 1U, 2U, 3U, 31U, 40U}) {
        std::string page = std::string(before, 'x') + std::string(literal.text) + std::string(behind, '\xC3');
        expect_naive_positions(page);
        page[before + 1] = static_cast<char>(page[before + 1] ^ 0x20);
        expect_naive_positions(page);
        page.resize(page.size() - behind - 1);
        expect_naive_positions(page);
      }
    }
  }
}

TEST_P(EveryPass, FindsWhatANaiveSearchFindsInAnyBytes) {
  // Few kinds of bytes, so that fingerprints are frequent, and their neighbours in the nibble tables.
  constexpr std::string_view BYTES = "skuSKUtocTOCld+<meMEop=-am_XTTi\x80\xF3\xEB\xF5\xC3\x13\x1B";
  std::mt19937 random(2);
  for (int round = 0; round < 2000; ++round) {
    std::string page(random() % 200, ' ');
    for (char& byte : page) byte = BYTES[random() % BYTES.size()];
    expect_naive_positions(page);
  }
}

INSTANTIATE_TEST_SUITE_P(Passes, EveryPass, testing::Values(Pass::portable, Pass::ssse3, Pass::avx2));

TEST(LiteralIndex, ForgetsThePageBefore) {
  LiteralIndex index;
  index.read("a sku and <meta");
  index.read("<META sku");
  EXPECT_EQ(index.positions(Literal::sku).size(), 1);
  EXPECT_EQ(index.positions(Literal::meta).front(), 0);
  index.clear();
  EXPECT_TRUE(index.page().empty());
  EXPECT_TRUE(index.positions(Literal::sku).empty());
}

}  // namespace
}  // namespace quillmere::commerce::page
