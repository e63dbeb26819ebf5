// Everything that has a name in the language, gathered from the tables that define it.
#pragma once

#include <string>
#include <vector>

namespace kestrel::reference {

/// An expression and what info() shows of it; or whole statements, without a result.
struct Example {
    std::string code;
    std::string result;
};

/// One row of one table, as people look it up.
struct Entry {
    std::string name;                ///< what is looked up, such as "sqrt" or "strict"
    std::vector<std::string> forms;  ///< how it is written, each way of it
    std::string description;         ///< sentences
    Example example;                 ///< its code may be empty
    bool available;                  ///< false: nothing implements it yet
};

/// Entries that belong together under a heading.
struct Group {
    std::string title;  ///< empty where a section has one group only
    std::vector<Entry> entries;
};

/// The headings of a section's table; a column without one is left out.
struct Columns {
    std::string name;
    std::string form;
    std::string description;
    std::string example = {};
};

/// A table.
struct Section {
    std::string topic;  ///< a word by which to ask for all of it
    std::string title;
    std::string kind;   ///< what one of its entries is: "Built-in function"
    std::string about;  ///< what all of its entries have in common
    Columns columns;
    std::vector<Group> groups;
    bool groupsAreTopics = false;  ///< each can be asked for by its title or the first word of it
    bool formsAreTexts =
        false;               ///< what the system says, with %s and %d: can be asked for by these words, too
    bool elsewhere = false;  ///< no names of this language, or signs: found, but never suggested
};

/// @return all sections, in the order of the reference
[[nodiscard]] std::vector<Section> makeCatalog();

}  // namespace kestrel::reference
