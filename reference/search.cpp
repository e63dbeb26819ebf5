#include "reference/search.h"

#include "platform/ascii.h"
#include "platform/near_names.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kestrel::reference {

namespace {

constexpr std::size_t kMostSuggestions = 5;
constexpr std::size_t kOutOfSight = 1000;

/// Without what only says that it is a call or a directive.
std::string_view bareName(std::string_view name) noexcept {
    constexpr std::string_view kPragma = "pragma ";
    if (name.starts_with('#') || name.starts_with('@')) name.remove_prefix(1);
    if (name.starts_with(kPragma)) name.remove_prefix(kPragma.size());
    return name.substr(0, name.find_first_of("(["));
}

/// What follows the last point; all of a name without one.
std::string_view memberName(std::string_view name) noexcept {
    return name.substr(name.rfind('.') + 1);
}

template <class Matches>
std::vector<Match> entriesWhere(std::span<const Section> catalog, Matches matches) {
    std::vector<Match> found = everything(catalog);
    std::erase_if(found, [&](const Match& match) { return !matches(std::string_view(match.entry->name)); });
    return found;
}

/// The members that a name with a point can mean. Before the point stands a kind of objects, or else the name
/// of any variable.
std::vector<Match> membersOf(std::span<const Section> catalog, std::string_view name) {
    const std::size_t point = name.rfind('.');
    if (point == std::string_view::npos) return {};
    std::vector<Match> found = entriesWhere(catalog, [&](std::string_view entry) {
        return entry.find('.') != std::string_view::npos && memberName(entry) == memberName(name);
    });
    const auto ofKind = [&](const Match& match) {
        return ascii::equalIgnoringCase(match.group->title, name.substr(0, point));
    };
    if (std::ranges::any_of(found, ofKind)) std::erase_if(found, std::not_fn(ofKind));
    return found;
}

/// How much of a message is found in a text, which may say more around it. Each %s or %d stands for anything.
/// @return 0 when some of it is missing
std::size_t saidIn(std::string_view text, std::string_view message) {
    std::size_t said = 0;
    while (!message.empty()) {
        const std::size_t end = std::min(message.find('%'), message.size());
        const std::string_view piece = message.substr(0, end);
        const std::size_t at = text.find(piece);
        if (at == std::string_view::npos) return 0;
        text.remove_prefix(at + piece.size());
        message.remove_prefix(std::min(end + 2, message.size()));
        said += piece.size();
    }
    return said;
}

/// The messages of which most is found in a text; without any, those that contain the text.
std::vector<Match> messagesLike(std::span<const Section> catalog, std::string_view text) {
    std::vector<Match> found;
    std::vector<Match> containing;
    std::size_t most = 1;
    for (const Match& match : everything(catalog)) {
        if (!match.section->formsAreTexts) continue;
        std::size_t said = 0;
        bool contains = false;
        for (const std::string& form : match.entry->forms) {
            said = std::max(said, saidIn(text, form));
            contains = contains || form.find(text) != std::string::npos;
        }
        if (contains) containing.push_back(match);
        if (said > most) found.clear();
        most = std::max(most, said);
        if (said == most) found.push_back(match);
    }
    return found.empty() ? containing : found;
}

/// How far a name is from what was asked for; a beginning counts as near.
/// @return kOutOfSight for what was surely not meant
std::size_t remoteness(std::string_view asked, std::string_view name) {
    constexpr std::size_t kLeastBeginning = 3;
    const std::size_t limit = std::max<std::size_t>(1, asked.size() / 3);
    const std::size_t away = asked.size() > kLongestNearName ? kOutOfSight : editDistance(asked, name, limit);
    if (away <= limit) return away;
    const bool begins =
        asked.size() >= kLeastBeginning && ascii::equalIgnoringCase(asked, name.substr(0, asked.size()));
    return begins ? 1 + name.size() - asked.size() : kOutOfSight;
}

bool isTitle(std::string_view title, std::string_view name) {
    return ascii::equalIgnoringCase(title, name) || ascii::equalIgnoringCase(firstWord(title), name);
}

}  // namespace

std::string firstWord(std::string_view title) {
    std::string word(title.substr(0, title.find_first_of(" ,;")));
    std::ranges::transform(word, word.begin(), ascii::lower);
    return word;
}

std::vector<Match> find(std::span<const Section> catalog, std::string_view name) {
    const std::string_view asked = bareName(name);
    std::vector<Match> found = entriesWhere(
        catalog, [&](std::string_view entry) { return entry == asked || memberName(entry) == asked; });
    if (found.empty()) found = membersOf(catalog, asked);
    if (found.empty()) {
        found = entriesWhere(catalog, [&](std::string_view entry) {
            return ascii::equalIgnoringCase(entry, asked) ||
                   ascii::equalIgnoringCase(memberName(entry), asked);
        });
    }
    // A sign alone is a part of many messages and tells none of them.
    if (found.empty() && std::ranges::any_of(name, ascii::isLetter)) found = messagesLike(catalog, name);
    return found;
}

std::vector<Topic> findTopics(std::span<const Section> catalog, std::string_view name) {
    std::vector<Topic> found;
    for (const Section& section : catalog) {
        if (ascii::equalIgnoringCase(section.topic, name)) {
            found.push_back({&section, nullptr});
        } else if (section.groupsAreTopics) {
            for (const Group& group : section.groups)
                if (isTitle(group.title, name)) found.push_back({&section, &group});
        }
    }
    return found;
}

std::vector<Match> everything(std::span<const Section> catalog) {
    std::vector<Topic> topics;
    for (const Section& section : catalog) topics.push_back({&section, nullptr});
    return entriesOf(topics);
}

std::vector<Match> entriesOf(std::span<const Topic> topics) {
    std::vector<Match> entries;
    for (const Topic& topic : topics)
        for (const Group& group : topic.section->groups)
            if (topic.group == nullptr || topic.group == &group)
                for (const Entry& entry : group.entries) entries.push_back({topic.section, &group, &entry});
    return entries;
}

std::vector<std::string> nearNames(std::span<const Section> catalog, std::string_view name) {
    const std::string_view asked = bareName(name);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const Match& match : everything(catalog)) {
        if (match.section->elsewhere) continue;
        const std::string_view whole = match.entry->name;
        const std::size_t away = std::min(remoteness(asked, whole), remoteness(asked, memberName(whole)));
        if (away < kOutOfSight) near.emplace_back(away, whole);
    }
    std::ranges::stable_sort(near, {}, &std::pair<std::size_t, std::string>::first);
    std::vector<std::string> names;
    for (const auto& [away, text] : near) {
        if (names.size() == kMostSuggestions) break;
        if (std::ranges::find(names, text) == names.end()) names.push_back(text);
    }
    return names;
}

}  // namespace kestrel::reference
