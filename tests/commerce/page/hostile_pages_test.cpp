#include "tests/support/hostile_pages.hpp"

#include <string>

#include "tests/support/growth.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_metadata_parser.hpp"

namespace quillmere::commerce {
namespace {

class HostilePage : public testing::TestWithParam<hostile::Kind> {};

TEST_P(HostilePage, CostsInProportionToItsSize) {
  std::size_t answers = 0;  // keeps them in use
  const double growth = growth_of_time(
      1 << 16, [&](std::size_t size) { return GetParam().page(size); },
      [&](const std::string& page) {
        answers += DestinationMetadataParser::parse_metadata(page, "https://shop.test/a").title.size();
      });
  EXPECT_LT(growth, LINEAR_GROWTH) << answers;
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostilePage, testing::ValuesIn(hostile::KINDS), row_name);

}  // namespace
}  // namespace quillmere::commerce
