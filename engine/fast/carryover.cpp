#include "engine/fast/carryover.h"

#include "engine/context/builtin.h"
#include "engine/fast/first_reads.h"
#include "engine/program/node_modes.h"

namespace kestrel::fast {

Carryover::Carryover(const Program& program) : program_(program) {
    for (const CodeNode* node = program.code.head; node != nullptr && !observed_; node = node->next)
        observed_ = node->op == OP_CALL && node->mode != kMethodCall && node->reach == Reach::Builtin &&
                    node->to.builtin->name == "dump";
}

bool Carryover::counts(const Variable& variable) {
    const FunctionRecord* owner = variable.owner;
    if (owner == nullptr) return true;
    if (owner->locals.head == nullptr) return false;  // calls assign parameters
    auto known = readFirst_.find(owner);
    if (known == readFirst_.end()) {
        const ResultCounts counts = [this](const FunctionRecord& each) { return results(each); };
        known = readFirst_.emplace(owner, variablesReadFirst(*owner, counts)).first;
    }
    return known->second.contains(&variable);
}

int Carryover::results(const FunctionRecord& function) {
    const auto [place, added] = results_.try_emplace(&function, -1);  // of one that calls itself: not known
    if (!added) return place->second;
    int count = -1;
    bool same = true;
    const CodeNode* last = nullptr;
    Statement statement;
    for (const CodeNode* node = function.entry; node != nullptr && node != function.end; node = node->next) {
        if (node->op != OP_ENDSTMT && node->op != OP_ENDELSE && node->op != OP_ENDIF) last = node;
        if (node->op == OP_RETURN) {
            same = same && (count < 0 || node->count == count) && isPlain(statement);
            count = node->count;
        }
        statement.pass(*node);
    }
    // The last statement must be a return by itself, not one that a branch may pass by.
    const bool ends = opIs(last, OP_RETURN) && opIs(last->next, OP_ENDFUNC);
    const int found = same && ends ? count : -1;
    results_[&function] = found;
    return found;
}

/// A call that leaves exactly one value, which is a plain one.
bool Carryover::yieldsOne(const CodeNode& call) {
    if (call.mode == kMethodCall) return false;
    if (call.reach == Reach::Function) return results(*call.to.function) == 1;
    return call.reach == Reach::Builtin && call.to.builtin->handler.form.yieldsOne();
}

void Carryover::Statement::pass(const CodeNode& node) {
    if (node.op == OP_ENDSTMT || node.op == OP_FUNC) {
        plain = true;
        calls.clear();
    } else if (node.op == OP_LIST || node.op == OP_SELECTOR) {
        plain = false;
    } else if (node.op == OP_CALL) {
        calls.push_back(&node);
    }
}

bool Carryover::isPlain(Statement& statement) {
    for (; statement.plain && !statement.calls.empty(); statement.calls.pop_back())
        statement.plain = yieldsOne(*statement.calls.back());
    return statement.plain;
}

void Carryover::lookAtCalls() {
    callsKnown_ = true;
    Statement statement;
    for (const CodeNode* node = program_.code.head; node != nullptr; node = node->next) {
        if (node->op == OP_CALL && node->mode != kMethodCall && node->reach == Reach::Function &&
            (node->argc != node->to.function->paramCount || !isPlain(statement)))
            partlyBound_.insert(node->to.function);
        statement.pass(*node);
    }
}

bool Carryover::bindsAll(const FunctionRecord& function) {
    if (!callsKnown_) lookAtCalls();
    return !partlyBound_.contains(&function);
}

}  // namespace kestrel::fast
