#include "tests/support/hostile_pages.hpp"

#include <string>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_metadata_parser.hpp"

namespace quillmere::commerce {
namespace {

class HostilePage : public testing::TestWithParam<hostile::Kind> {};

TEST_P(HostilePage, IsReadInGoodTime) {
  const PageMetadata meta =
      DestinationMetadataParser::parse_metadata(GetParam().page(LONG_TEXT_BYTES), "https://shop.test/a");
  EXPECT_EQ(meta.match_score, 98);
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostilePage, testing::ValuesIn(hostile::KINDS), row_name);

}  // namespace
}  // namespace quillmere::commerce
