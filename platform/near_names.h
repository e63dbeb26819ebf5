// Names that may have been meant by one that nobody knows.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kestrel {

/// How many letters must be put in, left out, exchanged or swapped with the next one to make one text of the
/// other, whatever their case.
/// @param limit  what counts as far: more is not counted on
/// @return limit + 1 for anything beyond the limit
[[nodiscard]] std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit);

/// The largest distance at which a name may still have been meant by `word`; short words leave no room.
[[nodiscard]] constexpr std::size_t nearDistance(std::string_view word) noexcept {
    constexpr std::size_t kMost = 3;  // whoever types a long name makes no more mistakes in it
    const std::size_t third = word.size() / 3;
    return third < kMost ? third : kMost;
}

/// Texts longer than this are near to nothing, so that a text of a megabyte costs nothing either.
inline constexpr std::size_t kLongestNearName = 64;

/// As many candidates are looked at, so that a program of a hundred thousand names is not compared with each.
inline constexpr std::size_t kMostNearNames = 10'000;

/// "Did you mean": of the candidates the one that is nearest to a word, whatever its case; of several the
/// first.
/// @return a candidate; empty when none is near enough, or the word itself is one of them
[[nodiscard]] std::string_view nearestName(std::string_view word,
                                           std::span<const std::string_view> candidates);

/// How a question goes with the text before it.
enum class Question { InSentence, AsSentence };

/// "; did you mean NAME?" or ". Did you mean NAME?"; empty for an empty name.
[[nodiscard]] std::string didYouMean(std::string_view name, Question question = Question::InSentence);

}  // namespace kestrel
