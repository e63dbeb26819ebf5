#include "frontend/listing.h"

#include "engine/values/format.h"

#include <cstddef>
#include <unordered_map>

namespace kestrel {

namespace {

using NodeIndexes = std::unordered_map<const CodeNode*, std::size_t>;

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
            continue;
        }
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string symbolName(const CodeNode& node) {
    if (node.operand.variable == nullptr) return {};
    const char* prefix = node.op == OP_VAR && (node.flags & kNodeGlobalRef) != 0 ? "::" : "";
    return std::string(prefix) + node.operand.variable->name;
}

std::string operandText(const CodeNode& node, OperandKind kind, const NodeIndexes& indexes) {
    switch (kind) {
        case OperandKind::Var:
            return symbolName(node);
        case OperandKind::Number:
            return formatG(node.operand.number);
        case OperandKind::Text:
            return quoted(node.operand.text);
        case OperandKind::Call:
            return symbolName(node) + '/' + std::to_string(node.argc);
        case OperandKind::Count:
            return std::to_string(node.count);
        case OperandKind::Target: {
            const auto target = indexes.find(node.operand.target);
            return target != indexes.end() ? '@' + std::to_string(target->second) : std::string();
        }
        case OperandKind::None:
        case OperandKind::Object:
            break;
    }
    return {};
}

}  // namespace

std::string listProgram(const Program& program) {
    NodeIndexes indexes;
    for (const CodeNode* node = program.code.head; node != nullptr; node = node->next)
        indexes.emplace(node, indexes.size());

    std::string text;
    std::size_t index = 0;
    for (const CodeNode* node = program.code.head; node != nullptr; node = node->next) {
        const OpcodeInfo* info = opcodeInfo(node->op);
        text += std::to_string(index++) + '\t' + std::to_string(node->line) + '\t';
        text += info != nullptr ? std::string(info->name) : std::to_string(node->op);
        text += '\t';
        if (info != nullptr) text += operandText(*node, info->operand, indexes);
        text += '\n';
    }
    return text;
}

}  // namespace kestrel
