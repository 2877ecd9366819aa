#include "cli/progress.hpp"

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::cli {
namespace {

struct LineRow {
  const char* name;
  ProgressState state;
  std::size_t width;
  const char* line;
};

class ProgressLine : public testing::TestWithParam<LineRow> {};

TEST_P(ProgressLine, FitsItsWidth) {
  const std::string line = progress_line(GetParam().state, "pages", GetParam().width);
  EXPECT_EQ(line, GetParam().line);
  EXPECT_LE(line.size(), GetParam().width);
}

constexpr ProgressState HALF{.done = 32, .total = 64, .share = 0.5, .seconds = 4};

INSTANTIATE_TEST_SUITE_P(
    Rows, ProgressLine,
    testing::ValuesIn<LineRow>({
        {"wide", HALF, 199, "[####################--------------------] 32/64 pages  4 s left  8.0/s"},
        {"ordinary", HALF, 79, "[####################--------------------] 32/64 pages  4 s left  8.0/s"},
        {"bar_shrinks", HALF, 50, "[#########----------] 32/64 pages  4 s left  8.0/s"},
        {"bar_goes_first", HALF, 39, "32/64 pages  4 s left  8.0/s"},
        {"narrow", HALF, 19, "32/64  4 s left"},
        {"time_left_does_not_fit", HALF, 14, "32/64 pages"},
        {"narrower", HALF, 8, "32/64"},
        {"nothing_fits", HALF, 1, "3"},
        {"start", {.done = 0, .total = 64}, 79, "0/64 pages"},
        {"no_total", {.done = 1234, .seconds = 10}, 79, "1234 pages  123/s"},
        {"end",
         {.done = 64, .total = 64, .share = 1, .seconds = 8},
         79,
         "[########################################] 64/64 pages  8.0/s"},
        {"minutes", {.done = 1, .total = 100, .share = 0.01, .seconds = 1}, 30, "1/100 pages  1 min 39 s left"},
        {"hours", {.done = 1, .total = 9, .share = 0.0001, .seconds = 1}, 30, "1/9 pages  2 h 46 min left"},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::cli
