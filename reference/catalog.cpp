#include "reference/catalog.h"

#include "builtins/builtin_table.h"
#include "builtins/common/subjects.h"
#include "host/host_builtins.h"

#include <string_view>
#include <utility>

namespace kestrel::reference {

namespace {

/// What the tables of rows say in their column `status`.
constexpr bool Now = true;
constexpr bool Later = false;

/// @param form     alternatives have a " | " between them
/// @param example  its result stands behind "  // "
Entry makeEntry(std::string_view name, std::string_view form, std::string_view description,
                bool available = Now, std::string_view example = {}) {
    constexpr std::string_view kOr = " | ";
    constexpr std::string_view kGives = "  // ";
    Entry entry{std::string(name), {}, std::string(description), {}, available};
    for (std::size_t at = 0; (at = form.find(kOr)) != std::string_view::npos;
         form.remove_prefix(at + kOr.size()))
        entry.forms.emplace_back(form.substr(0, at));
    entry.forms.emplace_back(form);
    const std::size_t gives = example.find(kGives);
    entry.example.code = example.substr(0, gives);
    if (gives != std::string_view::npos) entry.example.result = example.substr(gives + kGives.size());
    return entry;
}

Section keywords() {
    const std::vector<Entry> entries = {
#define KESTREL_KEYWORD(word, token, status, form, description) makeEntry(word, form, description, status),
#include "frontend/keywords.def"
#undef KESTREL_KEYWORD
    };
    return {"keywords",
            "Words of the language",
            "Word of the language",
            "These are no names. Upper and lower case differ.",
            {"Word", "Written", "Meaning"},
            {{"", entries}}};
}

Section functions() {
    const BuiltinLibrary library(hostBuiltins());
    Section section{
        "functions",
        "Built-in functions",
        "Built-in function",
        "Every script can call these. Angles are in radians unless a function says otherwise; [ ] encloses "
        "what may be left out. A call with wrong arguments reports an error and gives nil.",
        {"", "Call", "Meaning", "Example"},
        {},
        true};
    for (const std::string_view subject : builtins::subjects::kAll) {
        Group group{std::string(subject), {}};
        for (const BuiltinEntry& row : library.table().rows()) {
            const bool reached = library.table().find(row.name) == &row;
            if (row.subject != subject || !reached) continue;
            group.entries.push_back(makeEntry(row.name, row.signature, row.description,
                                              row.family != BuiltinFamily::Later, row.example));
        }
        section.groups.push_back(std::move(group));
    }
    return section;
}

Section directives() {
    const std::vector<Entry> entries = {
#define KESTREL_PRAGMA(name, handler, status, form, description) makeEntry(name, form, description, status),
#include "frontend/pragmas.def"
#undef KESTREL_PRAGMA
    };
    return {"pragmas",
            "Directives",
            "Directive",
            "A directive begins in the first column of a line; the word pragma may be left out. One that "
            "switches "
            "something does so each time it occurs.",
            {"", "Directive", "Meaning"},
            {{"", entries}}};
}

Section constants() {
    Section section{"constants",
                    "Predefined names",
                    "Predefined name",
                    "They exist in every script and keep their values.",
                    {"", "Name", "Meaning"},
                    {}};
    std::vector<Group>& groups = section.groups;
#define KESTREL_GROUP(title) groups.push_back({title, {}});
#define KESTREL_NUMBER(name, value, description) \
    groups.back().entries.push_back(makeEntry(#name, #name " = " #value, description));
#define KESTREL_INTEGER(name, value, description) \
    groups.back().entries.push_back(makeEntry(#name, #name " = " #value, description));
#define KESTREL_INSTANCE(name, description) \
    groups.back().entries.push_back(makeEntry(#name, #name, description));
#define KESTREL_OBJECT(name, tag, status, description) \
    groups.back().entries.push_back(makeEntry(#name, #name "(...)", description, status));
#include "frontend/predefined.def"
    return section;
}

}  // namespace

std::vector<Section> makeCatalog() {
    return {keywords(), functions(), directives(), constants()};
}

}  // namespace kestrel::reference
