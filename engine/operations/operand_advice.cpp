#include "engine/operations/operand_advice.h"

#include "engine/context/kind_table.h"
#include "engine/operations/text.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

namespace {

constexpr std::size_t kQuotedLength = 40;

std::string_view signOf(std::int32_t op) noexcept {
    switch (op) {
        case OP_ADD:
            return "+";
        case OP_SUB:
            return "-";
        case OP_MUL:
            return "*";
        case OP_DIV:
            return "/";
        case OP_MOD:
            return "%";
        case OP_SHL:
            return "<<";
        case OP_SHR:
            return ">>";
        case OP_XOR:
            return "^";
        case OP_BITOR:
            return "|";
        default:
            return "&";
    }
}

bool holdsOneValue(const CodeNode& node) noexcept {
    return node.op == OP_VAR || node.op == OP_NUMBER || node.op == OP_INTEGER || node.op == OP_STRING ||
           node.op == OP_NIL;
}

/// The node of the operator: the plain loop runs some of them together with the load before it, and then
/// that one is at work.
const CodeNode* operatorNode(const CodeNode* node, std::int32_t op) noexcept {
    if (node != nullptr && node->op != op && plainOperator(node->op) != op) node = node->next;
    return node != nullptr && plainOperator(node->op) == op ? node : nullptr;
}

/// The variables that the sides are, where a side is one and nothing else; empty otherwise.
struct Names {
    std::string_view left;
    std::string_view right;
};

Names namesOf(const CodeNode* node) noexcept {
    Names names;
    const CodeNode* right = node != nullptr ? node->link : nullptr;
    if (right == nullptr || !holdsOneValue(*right)) return names;
    if (right->op == OP_VAR) names.right = right->operand.variable->name;
    const CodeNode* left = node->to.left;
    if (left != nullptr && left->op == OP_VAR) names.left = left->operand.variable->name;
    return names;
}

std::string quoted(std::string_view text) {
    const bool cut = text.size() > kQuotedLength;
    return "the text \"" + std::string(text.substr(0, kQuotedLength)) + (cut ? "...\"" : "\"");
}

std::string shown(const EngineContext& ctx, const ValueCell& cell, std::string_view name) {
    std::string text = name.empty() ? "" : std::string(name) + ", which is ";
    switch (cell.type) {
        case Nil:
            return text + "nil";
        case VarRef:
            return text + "without a value";
        case String:
        case TempString:
            return text + quoted(cell.text != nullptr ? cell.text : "");
        case Array:
        case ArrayRef:
            return text + "an array";
        case Number:
        case Integer:
            return text + "the number " + valueText(ctx, cell).value_or("");
        case Vector:
            return text + "the vector <" + valueText(ctx, cell).value_or("") + ">";
        default:
            return text + "an object";
    }
}

}  // namespace

void adviseOnOperands(EngineContext& ctx, std::int32_t op, const ValueCell& left, const ValueCell& right) {
    if (!ctx.reporter.hintsWanted()) return;
    const CodeNode* node = operatorNode(ctx.run.node, op);
    const SourcePos where = node != nullptr ? node->pos : SourcePos{};
    if (!ctx.reporter.firstHintAt(where)) return;
    const Names names = namesOf(node);
    ctx.reporter.hint(where, HintId::Operands, signOf(op), shown(ctx, left, names.left),
                      shown(ctx, right, names.right));
}

}  // namespace kestrel
