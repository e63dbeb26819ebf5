#include "frontend/token_shape.h"

#include "engine/program/program.h"
#include "engine/values/format.h"
#include "grammar.tab.h"

namespace kestrel {

bool isName(const Token& token) noexcept {
    return token.code == TK_NAME;
}

bool isNumber(const Token& token) noexcept {
    return token.code == TK_NUMBER || token.code == TK_INTEGER;
}

bool endsOperand(const Token& token) noexcept {
    switch (token.code) {
        case TK_NAME:
        case TK_NUMBER:
        case TK_INTEGER:
        case TK_STRLIT:
        case TK_NIL:
        case TK_TRUEX:
        case TK_FALSEX:
        case TK_INCR:
        case TK_DECR:
        case ')':
        case ']':
            return true;
        default:
            return false;
    }
}

bool beginsStatement(const Token& token) noexcept {
    switch (token.code) {
        case TK_NAME:
        case TK_IF:
        case TK_WHILE:
        case TK_FOR:
        case TK_DO:
        case TK_SWITCH:
        case TK_SELECT:
        case TK_RETURN:
        case TK_BREAK:
        case TK_CONTINUE:
        case TK_VAR:
        case TK_ELSE:
        case TK_XEND:
        case '}':
            return true;
        default:
            return false;
    }
}

bool adjoins(const Token& left, const Token& right) noexcept {
    return left.pos.file == right.pos.file && left.pos.line == right.pos.line &&
           left.pos.endColumn == right.pos.column;
}

std::string written(const Token& token) {
    if (isName(token)) return token.value.symbol->name;
    if (token.code == TK_INTEGER) return std::to_string(token.value.integer);
    if (token.code == TK_NUMBER) return formatG(token.value.number);
    return "x";
}

}  // namespace kestrel
