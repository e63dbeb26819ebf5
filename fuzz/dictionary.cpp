#include "fuzz/dictionary.h"

#include "fuzz/confined_script.h"
#include "ipc/debug_protocol.h"
#include "reference/catalog.h"

#include <set>

namespace kestrel::fuzz {

namespace {

/// What stands between words, and numbers with a meaning.
constexpr std::string_view kSigns[] = {
    "::", "->", "&&", "||", "==", "!=", "<=", ">=", "++",   "--",         "+=",          "-=",     "*=",
    "/=", "&=", "|=", "^=", "<<", ">>", "@",  "?",  "<1,2", "2147483647", "-2147483648", "1e308",  "0x7f",
    "//", "/*", "*/", "\"", "\\", "[",  "]",  "{",  "}",    "a[1]",       "a->b",        "::name", "\n#"};

}  // namespace

std::vector<std::string> dictionary() {
    std::set<std::string> words;
    for (const reference::Section& section : reference::makeCatalog())
        for (const reference::Group& group : section.groups)
            for (const reference::Entry& entry : group.entries) {
                // Messages have names as well, but nobody writes those.
                if (entry.name.find_first_of(" -") == std::string::npos) words.insert(entry.name);
                if (entry.forms.size() < 4 && section.formsAreTexts == false)
                    for (const std::string& form : entry.forms)
                        if (form.size() < 48) words.insert(form);
            }
    for (const debug::CommandRow& row : debug::kCommands) words.insert(std::string(row.name));
    for (const BuiltinEntry& row : confinedBuiltins().rows()) words.insert(std::string(row.name) + '(');
    words.insert(std::begin(kSigns), std::end(kSigns));
    words.erase("");
    return {words.begin(), words.end()};
}

}  // namespace kestrel::fuzz
