#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "quillmere/api.hpp"
#include "quillmere/models.hpp"

/// The two judgements that a product may want to make its own: how relevant a match is, and what the summary says.
///
/// The functions are a process-wide pair, read afresh on every call, so that a replacement holds for the next
/// enrichment. Threads: all operations may be called from any thread at once.
namespace quillmere::relevance {

/// `context` is reserved for the query of the search; the pipeline always passes it absent.
using ClassifyMatchRelevance =
    std::function<RelevanceGrade(const EnrichedCommerceMatch& item, std::optional<std::string_view> context)>;
using RecomputeMarketSummary =
    std::function<CommerceSummary(const std::vector<EnrichedCommerceMatch>& items, const CommerceSummary& base)>;

/// Grades one match with the function in force. What that function throws reaches the caller.
[[nodiscard]] QUILLMERE_API RelevanceGrade
classify_match_relevance(const EnrichedCommerceMatch& item, std::optional<std::string_view> context = std::nullopt);

/// Completes `base`, which carries `total_matches` and `currency`, with the function in force.
[[nodiscard]] QUILLMERE_API CommerceSummary recompute_market_summary(const std::vector<EnrichedCommerceMatch>& items,
                                                                     const CommerceSummary& base);

/// Puts functions in force for the whole process; an empty one puts the default back. A call that is running keeps the
/// function it began with, and that function may itself call these. A function must bear being called from several
/// threads at once.
///
/// Default grade: LOW for ARTICLE, PORTFOLIO and SOCIAL pages; else HIGH from a match score of 80, MEDIUM from 60,
/// LOW below; an UNCATEGORIZED page is at most MEDIUM.
/// Default summary: `base` with `total_priced_matches` counted over all items and the price figures computed over the
/// items priced in `base.currency`.
QUILLMERE_API void replace_classify_match_relevance(ClassifyMatchRelevance function);
QUILLMERE_API void replace_recompute_market_summary(RecomputeMarketSummary function);

}  // namespace quillmere::relevance
