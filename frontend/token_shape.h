// What the advice on syntax errors asks of single tokens.
#pragma once

#include "frontend/token.h"

#include <string>

namespace kestrel {

[[nodiscard]] bool isName(const Token& token) noexcept;
[[nodiscard]] bool isNumber(const Token& token) noexcept;
/// An operand can end with the token, so what follows has to be an operator or the end.
[[nodiscard]] bool endsOperand(const Token& token) noexcept;
[[nodiscard]] bool beginsStatement(const Token& token) noexcept;
/// One stands directly behind the other.
[[nodiscard]] bool adjoins(const Token& left, const Token& right) noexcept;
/// A short operand as it is written; "x" for others.
[[nodiscard]] std::string written(const Token& token);

}  // namespace kestrel
