#include "platform/near_names.h"

#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace kestrel {

std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit) {
    const std::size_t differ = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    if (differ > limit || b.size() > kLongestNearName) return limit + 1;
    const auto same = [](char x, char y) { return ascii::lower(x) == ascii::lower(y); };
    using Row = std::array<std::size_t, kLongestNearName + 1>;
    std::array<Row, 3> rows{};  // the last two are kept, for swapped letters
    std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        Row& row = rows[i % 3];
        const Row& above = rows[(i - 1) % 3];
        const Row& before = rows[(i + 1) % 3];
        std::size_t least = row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t exchanged = above[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min({exchanged, above[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
                row[j] = std::min(row[j], before[j - 2] + 1);
            least = std::min(least, row[j]);
        }
        if (least > limit) return limit + 1;
    }
    return std::min(rows[a.size() % 3][b.size()], limit + 1);
}

std::string_view nearestName(std::string_view word, std::span<const std::string_view> candidates) {
    std::size_t limit = nearDistance(word);
    if (limit == 0 || word.size() > kLongestNearName) return {};
    std::string_view nearest;
    for (const std::string_view candidate : candidates.first(std::min(candidates.size(), kMostNearNames))) {
        if (candidate == word) return {};
        const std::size_t away = editDistance(word, candidate, limit);
        // Equally far is not nearer, so the first stays.
        if (away > limit || (!nearest.empty() && away == limit)) continue;
        nearest = candidate;
        limit = away;
    }
    return nearest;
}

}  // namespace kestrel
