// The parser, made from grammar.y: takes one token at a time and says when it needs another.
#pragma once

#include "frontend/token.h"

#include <memory>

namespace kestrel {

class Compiler;

class Parser {
public:
    enum class Status {
        More = -1,  ///< needs another token
        Accepted = 0,
        Abandoned = 1,  ///< the abort flag is set, or the input ended while recovering from an error
        Overflow = 2    ///< nested deeper than 10000 symbols
    };

    explicit Parser(Compiler& compiler);
    ~Parser();

    /// Does everything that can be done with this token. Actions that don't depend on the token after it have
    /// run when this returns.
    Status push(const Token& token);

    /// True from a syntax error until three tokens have been shifted.
    [[nodiscard]] bool recovering() const noexcept;

private:
    struct State;
    Compiler& compiler_;
    std::unique_ptr<State> state_;
};

}  // namespace kestrel
