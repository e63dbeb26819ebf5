#include "platform/near_names.h"

#include "platform/ascii.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace kestrel {

std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit) {
    const auto same = [](char x, char y) { return ascii::lower(x) == ascii::lower(y); };
    // What both begin and end with is no difference.
    while (!a.empty() && !b.empty() && same(a.front(), b.front())) {
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    while (!a.empty() && !b.empty() && same(a.back(), b.back())) {
        a.remove_suffix(1);
        b.remove_suffix(1);
    }
    const std::size_t differ = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
    const std::size_t far = limit + 1;
    if (differ > limit || b.size() > kLongestNearName) return far;
    using Row = std::array<std::size_t, kLongestNearName + 2>;
    std::array<Row, 3> rows{};  // the last two are kept, for swapped letters
    std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        Row& row = rows[i % 3];
        const Row& above = rows[(i - 1) % 3];
        const Row& before = rows[(i + 1) % 3];
        // Further from the diagonal everything is far.
        const std::size_t first = i > limit ? i - limit : 1;
        const std::size_t last = std::min(b.size(), i + limit);
        std::size_t least = row[first - 1] = first == 1 ? i : far;
        for (std::size_t j = first; j <= last; ++j) {
            const std::size_t exchanged = above[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min({exchanged, above[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]))
                row[j] = std::min(row[j], before[j - 2] + 1);
            least = std::min(least, row[j]);
        }
        row[last + 1] = far;
        if (least > limit) return far;
    }
    return std::min(rows[a.size() % 3][b.size()], far);
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

std::string didYouMean(std::string_view name, Question question) {
    if (name.empty()) return {};
    std::string text = question == Question::InSentence ? "; did you mean " : ". Did you mean ";
    return text.append(name).append("?");
}

}  // namespace kestrel
