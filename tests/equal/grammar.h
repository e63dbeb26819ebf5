// Trees by chance from a grammar.
#pragma once

#include "tests/equal/random.h"
#include "tests/equal/tree.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::equal {

extern const std::string_view kGeneralGrammar;
extern const std::string_view kShaderGrammar;

/// A text of rules, each a line with the kind of what it makes and its name, and indented lines below:
///
///     expression value              one of the forms, by their weights; so are "statement" and "group"
///         20 leaf : $name           the only ones when the depth is used up
///         40 shades !plain +inner : (- $value)
///                                   only while "shades" is set and "plain" is not; sets "inner" inside of it
///     group many = $one$one         the same with one form
///     all locals                    a block of all forms that the chance of so many in 1000 lets through
///     words name n0 n1 n2           one of them
///
/// In a form `$name` stands for what that rule makes, one less deep, `$name=` as deep, `$name2` so deep;
/// `$(a$|b$)` is one of several texts, and "\n" a new line. A statement ends its line. '#' begins a comment.
class Grammar {
public:
    explicit Grammar(std::string_view text);

    struct Form {
        std::size_t weight = 1;
        bool leaf = false;
        std::vector<std::string> needs;
        std::vector<std::string> bars;
        std::vector<std::string> sets;
        std::string text;
    };
    struct Rule {
        Role role = Role::Text;
        bool all = false;
        std::vector<Form> forms;
    };
    /// @return null where there is none
    [[nodiscard]] const Rule* find(std::string_view name) const;

private:
    std::map<std::string, Rule, std::less<>> rules_;
};

class Maker {
public:
    Maker(const Grammar& grammar, std::uint64_t seed) : random_(seed), grammar_(grammar) {}

    [[nodiscard]] Node make(std::string_view name, int depth);

protected:
    Random random_;
    std::set<std::string, std::less<>> flags_;  ///< what is set
    /// Names that are no rules: what makes them, so deep.
    std::map<std::string_view, std::function<Node(int)>> byHand_;

private:
    [[nodiscard]] bool admits(const Grammar::Form& form) const;
    [[nodiscard]] const Grammar::Form& choose(const Grammar::Rule& rule, int depth);
    [[nodiscard]] Node expand(const Grammar::Form& form, Role role, int depth);
    void append(std::string_view text, int depth, Node& out);

    const Grammar& grammar_;
};

}  // namespace kestrel::equal
