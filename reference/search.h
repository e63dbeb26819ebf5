// Finding what somebody asks for by name.
#pragma once

#include "reference/catalog.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::reference {

/// An entry and where it stands.
struct Match {
    const Section* section;
    const Group* group;
    const Entry* entry;
};

/// Looks for a name as people write it: `sin`, `sin()`, `#pragma strict`; of a member, with or without what
/// stands before the point. Without a name of exactly these letters, those that differ in upper and lower
/// case count; without any, texts of the system that are said in this one, or contain it.
[[nodiscard]] std::vector<Match> find(std::span<const Section> catalog, std::string_view name);

/// A whole section, or one of its groups when that is not null.
struct Topic {
    const Section* section;
    const Group* group;
};
/// The word by which a group can be asked for: the first of its title, in lower case.
[[nodiscard]] std::string firstWord(std::string_view title);
/// Looks for topics, whatever the case of the letters.
[[nodiscard]] std::vector<Topic> findTopics(std::span<const Section> catalog, std::string_view name);

[[nodiscard]] std::vector<Match> everything(std::span<const Section> catalog);
/// All entries of these topics.
[[nodiscard]] std::vector<Match> entriesOf(std::span<const Topic> topics);

/// @return a few names that may have been meant, the nearest first
[[nodiscard]] std::vector<std::string> nearNames(std::span<const Section> catalog, std::string_view name);

}  // namespace kestrel::reference
