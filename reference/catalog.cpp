#include "reference/catalog.h"

#include "builtins/builtin_table.h"
#include "builtins/common/subjects.h"
#include "engine/report/hints.h"
#include "engine/report/message.h"
#include "engine/report/messages.h"
#include "frontend/foreign_names.h"
#include "host/host_builtins.h"
#include "host/object_kinds.h"
#include "platform/ascii.h"

#include <set>
#include <string_view>
#include <utility>

namespace kestrel::reference {

namespace {

/// What the tables of rows say in their column `status`.
constexpr bool Now = true;
constexpr bool Later = false;

/// The alternatives of a form: those with a " | " between them, outside of brackets.
std::vector<std::string> alternatives(std::string_view form) {
    constexpr std::string_view kOr = " | ";
    std::vector<std::string> found(1);
    int depth = 0;
    while (!form.empty()) {
        if (depth == 0 && form.starts_with(kOr)) {
            found.emplace_back();
            form.remove_prefix(kOr.size());
            continue;
        }
        if (form.front() == '[') ++depth;
        if (form.front() == ']') --depth;
        found.back() += form.front();
        form.remove_prefix(1);
    }
    return found;
}

/// @param example  its result stands behind "  // "
Entry makeEntry(std::string_view name, std::string_view form, std::string_view description,
                bool available = Now, std::string_view example = {}) {
    constexpr std::string_view kGives = "  // ";
    Entry entry{std::string(name), alternatives(form), std::string(description), {}, available};
    const std::size_t gives = example.find(kGives);
    entry.example.code = example.substr(0, gives);
    if (gives != std::string_view::npos) entry.example.result = example.substr(gives + kGives.size());
    return entry;
}

/// One whose form may have a bar of its own.
Entry makeOperator(std::string_view name, std::string_view form, std::string_view description,
                   std::string_view example) {
    constexpr std::string_view kOr = ", ";
    Entry entry = makeEntry(name, {}, description, Now, example);
    const std::size_t end = form.find(kOr);
    entry.forms = {std::string(form.substr(0, end))};
    if (end != std::string_view::npos) entry.forms.emplace_back(form.substr(end + kOr.size()));
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

Section operators() {
    const std::vector<Entry> entries = {
#define KESTREL_OPERATOR(name, form, description, example) makeOperator(name, form, description, example),
#include "frontend/operators.def"
    };
    return {
        "operators",
        "Operators",
        "Operator",
        "From those that bind most to those that bind least. Operands of a kind that an operator does not "
        "take end the run.",
        {"", "Written", "Meaning", "Example"},
        {{"", entries}},
        false,
        false,
        true};
}

Section calledFunctions() {
    Section section{"called",
                    "Functions that a script defines",
                    "Function that a script defines",
                    "Others call them by these names, when they are there; upper and lower case differ.",
                    {"", "Written", "Meaning"},
                    {{"Called by the host", {}}, {"Called by kestrel run", {}}}};
    std::vector<Entry>& host = section.groups.front().entries;
    std::vector<Entry>& run = section.groups.back().entries;
#define KESTREL_HOST_FUNCTION(id, name, form, description) host.push_back(makeEntry(name, form, description));
#define KESTREL_RUN_FUNCTION(name, form, description) run.push_back(makeEntry(name, form, description));
#include "host/called_functions.def"
    return section;
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

std::string_view typeName(MemberType type) {
    switch (type) {
        case MemberType::Integer:
            return " An Integer.";
        case MemberType::Text:
            return " A text.";
        case MemberType::Vector:
            return " A Vector.";
        case MemberType::Object:
            return " An object.";
        case MemberType::Number:
        case MemberType::Nothing:
            break;
    }
    return "";
}

/// @param variable  what stands for the object
Entry makeEntry(const MemberRow& row, std::string_view variable) {
    const std::string name = std::string(variable) + '.' + std::string(row.name);
    std::string description = std::string(row.description) + std::string(typeName(row.type));
    if (row.elements > 1) description += " i is 1 to " + std::to_string(row.elements) + ".";
    if (row.write == nullptr) description += " Read-only.";
    return makeEntry(name, row.elements > 1 ? name + "[i]" : name, description);
}

Section members() {
    Section section{"members",
                    "Methods and data members",
                    "Method or data member",
                    "What a variable has by what it holds. A method that is called wrongly reports an error "
                    "and gives nil.",
                    {"", "Written", "Meaning"},
                    {},
                    true};
    const ObjectKinds kinds;
    std::set<std::string_view> shown;  // what kinds share is shown once
    for (ObjectKind* kind : kinds.table().all()) {
        for (const ObjectInterface& interface : kind->interfaces()) {
            Group group{std::string(interface.label()), {}};
            group.title.front() = ascii::upper(group.title.front());
            std::string variable(1, ascii::lower(interface.label().front()));
            for (const MethodRow& row : interface.methods()) {
                if (!shown.insert(row.signature).second) continue;
                const std::string_view name = row.signature.substr(0, row.signature.find('('));
                variable = name.substr(0, name.find('.'));
                group.entries.push_back(makeEntry(name, row.signature, row.description));
            }
            for (const MemberRow& row : interface.members())
                group.entries.push_back(makeEntry(row, variable));
            if (!group.entries.empty()) section.groups.push_back(std::move(group));
        }
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
            "switches something does so each time it occurs.",
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

Entry makeEntry(const MessageRow& row) {
    const std::string_view text =
        row.text.empty() ? "found '%s'" : row.text;  // some say no more than their prefix
    const std::size_t end = text.find(kLineBreak);
    Entry entry{std::string(row.name), {std::string(text.substr(0, end))}, std::string(row.help), {}, Now};
    if (end != std::string_view::npos) entry.forms.emplace_back(text.substr(end + kLineBreak.size()));
    if (row.effect == MessageEffect::Abort) entry.description += " The run ends.";
    return entry;
}

Section messages() {
    Section section{"messages",
                    "What the system says",
                    "Message",
                    "%s stands for a text and %d for a number. Most texts have the line before them, as in "
                    "\"Line 12, \". "
                    "With --messages=json the name of a message is its id.",
                    {"Name", "Text", "Cause and cure"},
                    {{"Errors", {}}, {"Warnings", {}}, {"Information", {}}}};
    section.formsAreTexts = true;
    for (const MessageRow& row : messageRows()) {
        const std::size_t group = row.kind == MessageKind::Error     ? 0
                                  : row.kind == MessageKind::Warning ? 1
                                                                     : 2;
        section.groups[group].entries.push_back(makeEntry(row));
    }
    return section;
}

Section hints() {
    Section section{
        "hints",
        "Hints",
        "Hint",
        "Advice that the command gives beside the messages: kestrel check finds nearly all of it without "
        "running the script. %s, or ..., stands for a text and %d, or N, for a number. With --messages=json "
        "a "
        "hint has the kind \"hint\", and its name is its rule.",
        {"Rule", "Text", "When and why"},
        {{"", {}}}};
    section.formsAreTexts = true;
    for (const HintRow& row : hintRows())
        section.groups.front().entries.push_back(makeEntry(row.rule, row.text, row.help));
    return section;
}

Section foreignNames() {
    std::vector<Entry> functions;
    std::vector<Entry> words;
    std::vector<Entry> values;
    std::vector<Entry> members;
    std::vector<Entry> directives;
    const auto add = [&](ForeignKind kind, std::string_view name, std::string_view instead) {
        const bool isWord = kind == ForeignKind::Word || kind == ForeignKind::Type;
        std::vector<Entry>& entries = kind == ForeignKind::Function    ? functions
                                      : isWord                         ? words
                                      : kind == ForeignKind::Value     ? values
                                      : kind == ForeignKind::Directive ? directives
                                                                       : members;
        const std::string form = kind == ForeignKind::Function    ? std::string(name) + "()"
                                 : kind == ForeignKind::Directive ? '#' + std::string(name)
                                 : kind == ForeignKind::Member    ? '.' + std::string(name)
                                                                  : std::string(name);
        entries.push_back(makeEntry(name, instead, "Takes the place of " + form + " in other languages."));
    };
#define KESTREL_FOREIGN(kind, name, instead) add(ForeignKind::kind, name, instead);
#include "frontend/foreign_names.def"
#undef KESTREL_FOREIGN
    return {"foreign",
            "Names of other languages",
            "Name of another language",
            "What they are called here. Hints say so where a script uses one of them.",
            {"Elsewhere", "Here", ""},
            {{"Functions", std::move(functions)},
             {"Beginnings of statements", std::move(words)},
             {"Values", std::move(values)},
             {"Behind a dot", std::move(members)},
             {"Behind #", std::move(directives)}},
            false,
            false,
            true};
}

}  // namespace

std::vector<Section> makeCatalog() {
    return {keywords(),   operators(), calledFunctions(), functions(), members(),
            directives(), constants(), messages(),        hints(),     foreignNames()};
}

}  // namespace kestrel::reference
