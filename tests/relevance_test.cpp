#include "quillmere/relevance.hpp"

#include <limits>
#include <stdexcept>
#include <thread>

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::relevance {
namespace {

EnrichedCommerceMatch match(PageType page_type, std::int64_t match_score) {
  EnrichedCommerceMatch item;
  item.page_type = page_type;
  item.match_score = match_score;
  return item;
}

struct GradeCase {
  const char* name;
  PageType page_type;
  std::int64_t match_score;
  RelevanceGrade expected;
};

class DefaultGrade : public testing::TestWithParam<GradeCase> {};

TEST_P(DefaultGrade, FollowsPageTypeAndScore) {
  const GradeCase& row = GetParam();
  EXPECT_EQ(value(classify_match_relevance(match(row.page_type, row.match_score))), value(row.expected));
}

INSTANTIATE_TEST_SUITE_P(Limits, DefaultGrade,
                         testing::ValuesIn<GradeCase>({
                             {"product_80", PageType::PRODUCT, 80, RelevanceGrade::HIGH},
                             {"product_79", PageType::PRODUCT, 79, RelevanceGrade::MEDIUM},
                             {"product_60", PageType::PRODUCT, 60, RelevanceGrade::MEDIUM},
                             {"product_59", PageType::PRODUCT, 59, RelevanceGrade::LOW},
                             {"marketplace_99", PageType::MARKETPLACE, 99, RelevanceGrade::HIGH},
                             {"uncategorized_99", PageType::UNCATEGORIZED, 99, RelevanceGrade::MEDIUM},
                             {"uncategorized_59", PageType::UNCATEGORIZED, 59, RelevanceGrade::LOW},
                             {"article_99", PageType::ARTICLE, 99, RelevanceGrade::LOW},
                             {"portfolio_99", PageType::PORTFOLIO, 99, RelevanceGrade::LOW},
                             {"social_99", PageType::SOCIAL, 99, RelevanceGrade::LOW},
                         }),
                         row_name);

/// Prices as (amount, currency); an empty currency stands for a match without a price.
struct SummaryCase {
  const char* name;
  std::vector<std::pair<double, const char*>> prices;
  CommerceSummary expected;
};

class DefaultSummary : public testing::TestWithParam<SummaryCase> {};

TEST_P(DefaultSummary, CountsPricesAndComparesOneCurrency) {
  std::vector<EnrichedCommerceMatch> items;
  for (const auto& [amount, currency] : GetParam().prices) {
    items.push_back(match(PageType::PRODUCT, 99));
    if (*currency != '\0') items.back().price = NormalizedPrice{"", amount, currency};
  }
  // Figures that the base brings along are of another run.
  const CommerceSummary base = {GetParam().expected.total_matches, "USD", 77, 1, 2, 3, 4};
  const CommerceSummary summary = recompute_market_summary(items, base);
  EXPECT_EQ(summary, GetParam().expected) << model_dump_json(summary);
}

INSTANTIATE_TEST_SUITE_P(
    Prices, DefaultSummary,
    testing::ValuesIn<SummaryCase>({
        {"none", {}, {9, "USD", 0, {}, {}, {}, {}}},
        {"unpriced", {{0, ""}}, {1, "USD", 0, {}, {}, {}, {}}},
        {"other_currency", {{5, "EUR"}}, {1, "USD", 1, {}, {}, {}, {}}},
        {"one", {{5.5, "USD"}}, {1, "USD", 1, 5.5, 5.5, 5.5, 5.5}},
        {"odd_count", {{9, "USD"}, {1, "USD"}, {2, "USD"}}, {3, "USD", 3, 1, 9, 4, 2}},
        {"even_count_and_a_foreign_one",
         {{4, "USD"}, {1000, "EUR"}, {1, "USD"}, {2.25, "USD"}, {0, ""}, {3, "USD"}},
         {6, "USD", 5, 1, 4, 2.56, 2.62}},
        {"rounded", {{1, "USD"}, {1, "USD"}, {0, "USD"}}, {3, "USD", 3, 0, 1, 0.67, 1}},
        {"largest", {{1.5e308, "USD"}, {1.5e308, "USD"}}, {2, "USD", 2, 1.5e308, 1.5e308, 1.5e308, 1.5e308}},
        {"not_finite", {{std::numeric_limits<double>::quiet_NaN(), "USD"}, {1, "USD"}}, {2, "USD", 2, 1, 1, 1, 1}},
    }),
    row_name);

class Replacement : public testing::Test {
 protected:
  void TearDown() override {
    replace_classify_match_relevance({});
    replace_recompute_market_summary({});
  }
};

TEST_F(Replacement, MayReplaceItselfAndOutlivesThat) {
  replace_classify_match_relevance([kept = std::string(100, 'x')](const auto&, auto context) {
    replace_classify_match_relevance({});
    return kept.size() == 100 && context == "red shoes" ? RelevanceGrade::MEDIUM : RelevanceGrade::LOW;
  });
  const auto product = match(PageType::PRODUCT, 99);
  EXPECT_EQ(classify_match_relevance(product, "red shoes"), RelevanceGrade::MEDIUM);
  EXPECT_EQ(classify_match_relevance(product), RelevanceGrade::HIGH);
}

TEST_F(Replacement, ErrorsReachTheCaller) {
  replace_classify_match_relevance([](const auto&, auto) -> RelevanceGrade { throw std::runtime_error("no grade"); });
  EXPECT_THROW((void)classify_match_relevance({}), std::runtime_error);
}

// For ThreadSanitizer: one thread replaces while others call.
TEST_F(Replacement, MayHappenDuringCalls) {
  const auto product = match(PageType::PRODUCT, 99);
  std::thread replacing([] {
    for (int i = 0; i < 1000; ++i) {
      replace_classify_match_relevance(
          [i](const auto&, auto) { return i % 2 == 0 ? RelevanceGrade::HIGH : RelevanceGrade::MEDIUM; });
    }
  });
  for (int i = 0; i < 1000; ++i) EXPECT_NE(classify_match_relevance(product), RelevanceGrade::LOW);
  replacing.join();
}

}  // namespace
}  // namespace quillmere::relevance
