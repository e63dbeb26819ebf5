// Expressions by chance: the words of generated programs.
#pragma once

#include "tests/equal/random.h"
#include "tests/equal/tree.h"

#include <string>
#include <vector>

namespace kestrel::equal {

enum class Kind { Number, Text, Vector, Any };

struct Function {
    std::string name;
    int parameters = 0;
    int results = 0;
};

/// What the statements of a function see.
struct Scope {
    bool shades = false;                ///< there is a sample, `sa`
    int parameters = 0;                 ///< a, b, c
    std::vector<std::string> counters;  ///< of the loops around
    bool conditional = false;           ///< inside a ?, which must not hold another
};

class Expressions {
public:
    Expressions(Random& random, const std::vector<Function>& functions)
        : random_(random), functions_(functions) {}

    /// An expression of a kind, or now and then of another one.
    [[nodiscard]] Node of(Kind kind, Scope& scope, int depth);
    [[nodiscard]] Node number(Scope& scope, int depth);
    [[nodiscard]] Node condition(Scope& scope, int depth);
    [[nodiscard]] Node call(const Function& function, Scope& scope, int depth);
    /// What can be assigned a value of a kind: a variable, an element, a member.
    [[nodiscard]] Node target(Kind kind, const Scope& scope);
    /// The name of a plain variable of a kind.
    [[nodiscard]] std::string variable(Kind kind, const Scope& scope);
    /// An index that leaves an array small when it is assigned to.
    [[nodiscard]] std::string smallIndex(const Scope& scope);
    [[nodiscard]] std::string literal(Kind kind);

private:
    /// The same as what stands before a dot, where the language does not take "::".
    [[nodiscard]] std::string owner(Kind kind, const Scope& scope);
    [[nodiscard]] Node text(Scope& scope, int depth);
    [[nodiscard]] Node vector(Scope& scope, int depth);
    [[nodiscard]] Node any(Scope& scope, int depth);
    [[nodiscard]] Node binary(Scope& scope, int depth);
    [[nodiscard]] Node leafOrNumber(Scope& scope, int depth);
    [[nodiscard]] Node builtin(Scope& scope, int depth);
    [[nodiscard]] Node memberRead(const Scope& scope);
    [[nodiscard]] Node element(Scope& scope, int depth);
    [[nodiscard]] std::string sampleMember();

    Random& random_;
    const std::vector<Function>& functions_;
};

}  // namespace kestrel::equal
