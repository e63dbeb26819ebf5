// Actions of expressions: entries are collected in postfix order and copied to the code list when the
// expression ends.

#include "frontend/compile_state.h"

namespace kestrel {

namespace {

/// True for entries whose operand is a symbol.
bool namesSymbol(const CodeNode& entry) noexcept {
    const OpcodeInfo* info = opcodeInfo(entry.op);
    return info != nullptr && (info->operand == OperandKind::Var || info->operand == OperandKind::Call);
}

}  // namespace

void Compiler::beginExpression() {
    entries_.clear();
    indexed_.clear();
    callees_.clear();
    blocks_.clear();
    conditionalDepth_ = 0;
    assigning_ = false;
}

void Compiler::endExpression() {
    if (!emissionSuspended_) flushExpression();
}

void Compiler::flushExpression() {
    // One pending conditional, as designed: one "?" inside another is linked wrongly, and scripts don't nest
    // them.
    CodeNode* pending = nullptr;
    for (CodeNode& entry : entries_) {
        CodeNode* node = newCode(entry);
        entry.flags = 0;
        if (entry.op == OP_IF || entry.op == OP_ELSE) {
            pending = node;
        } else if ((entry.op == OP_ENDIF || entry.op == OP_ENDELSE) && pending != nullptr) {
            pending->operand.target = node;
        }
    }
}

CodeNode& Compiler::add(std::int32_t op, const SourcePos& where) {
    return entries_.emplace_back(nodeOf(op, where));
}

Variable* Compiler::lastSymbol() noexcept {
    if (entries_.empty() || !namesSymbol(entries_.back())) return nullptr;
    return entries_.back().operand.variable;
}

// ---- Operands ----

void Compiler::addName(Variable* symbol, std::uint8_t flags, const SourcePos& where) {
    if ((symbol->flags & kVarInlineConst) != 0) {
        if (symbol->text == nullptr) {
            addNumber(symbol->number, where);
        } else {
            addText(symbol->text, where);
        }
        return;
    }
    CodeNode& entry = add(OP_VAR, where);
    entry.operand.variable = symbol;
    entry.flags = flags;
}

void Compiler::addMember(std::int32_t op, Variable* owner, const SourcePos& where) {
    add(op, where).operand.variable = owner;
}

void Compiler::openParenthesis(const SourcePos& where) {
    // As the first token of a statement it brackets the targets of a block assignment.
    const bool block = scanner_.token().number == statementToken_;
    if (block) add(OP_BLOCK, where);
    blocks_.push_back(block);
    counters_.push_back(0);
}

void Compiler::closeParenthesis(const SourcePos& where) {
    popCounter();
    if (blocks_.empty()) return;
    if (blocks_.back()) add(OP_BLOCK, where);
    blocks_.pop_back();
}

// ---- Indexes and calls ----

void Compiler::openIndex(const SourcePos& operand) {
    Variable* symbol = lastSymbol();
    if (symbol == nullptr) {
        report(operand, MessageId::IndexedNoName);
        indexed_.emplace_back();
        return;
    }
    CodeNode entry = entries_.back();
    entries_.pop_back();
    const bool plain = entry.op == OP_VAR;
    entry.op = OP_INDEX;
    symbol->type = Array;
    indexed_.push_back(entry);
    if (plain) add(OP_DIM, operand);
    add(OP_SEP, operand);
    inIndex_ = true;
}

void Compiler::closeIndex() {
    inIndex_ = false;
    if (indexed_.empty()) return;
    if (indexed_.back().op == OP_INDEX) entries_.push_back(indexed_.back());
    indexed_.pop_back();
}

void Compiler::emptyIndex(const SourcePos& operand) {
    const bool before = inIndex_;
    openIndex(operand);
    addNumber(-1.0, operand);
    closeIndex();
    inIndex_ = before;
}

bool Compiler::makeCall(const SourcePos& callee) {
    Variable* symbol = lastSymbol();
    if (symbol == nullptr) {
        report(callee, MessageId::CalledNoName);
        return false;
    }
    symbol->type = OP_CALL;  // 24: the name of a callee
    symbol->number = 0.0;
    entries_.back().op = OP_CALL;
    entries_.back().argc = 0;
    return true;
}

void Compiler::callWithoutArguments(const SourcePos& callee) {
    makeCall(callee);
}

void Compiler::openCall(const SourcePos& callee) {
    counters_.push_back(0);
    if (!makeCall(callee)) {
        callees_.emplace_back();
        return;
    }
    callees_.push_back(entries_.back());
    entries_.pop_back();
}

void Compiler::closeCall() {
    const std::int32_t count = popCounter();
    if (callees_.empty()) return;
    if (callees_.back().op == OP_CALL) {
        callees_.back().argc = count;
        entries_.push_back(callees_.back());
    }
    callees_.pop_back();
}

void Compiler::emptyArgument(const SourcePos& where) {
    add(OP_NIL, where);
    countItem();
}

void Compiler::increment(std::int32_t op, const SourcePos& where) {
    const Variable* symbol = lastSymbol();
    if (symbol != nullptr && (symbol->flags & kVarConst) != 0) {
        report(entries_.back().pos, MessageId::ConstantChanged, symbol->name);
        return;
    }
    add(op, where);
}

// ---- Conditionals ----

void Compiler::beginConditional(const SourcePos& where) {
    // By design its jumps are linked wrongly.
    if (conditionalDepth_++ > 0) ctx_.reporter.hint(where, HintId::NestedConditional);
    hasElse_ = false;
    conditionalIf_ = entries_.size();
    add(OP_IF, where);
}

void Compiler::endThenPart() {
    conditionalEndIf_ = entries_.size();
    add(OP_ENDIF, lastPlace());
}

void Compiler::beginElsePart(const SourcePos& where) {
    hasElse_ = true;
    add(OP_ELSE, where);
}

void Compiler::endConditional() {
    --conditionalDepth_;
    if (hasElse_) return;
    // "n ? a, b, c" selects. The two positions are single, as designed, so this form doesn't nest either.
    if (conditionalIf_ < entries_.size()) entries_[conditionalIf_].op = OP_SELMARK;
    if (conditionalEndIf_ < entries_.size()) entries_[conditionalEndIf_].op = OP_SELECTOR;
}

// ---- Assignment ----

void Compiler::assignmentTarget(bool makeConst, const SourcePos& target) {
    if (makeConst) {
        if (Variable* symbol = lastSymbol()) symbol->flags |= kVarConst;
    }
    add(OP_ASSIGNMARK, target);
}

void Compiler::plainAssignment() noexcept {
    pendingAssignment_ = OP_ASSIGN;
    assigning_ = true;
}

void Compiler::nextExpression(const SourcePos& where) {
    assigning_ = false;
    if (inIndex_) add(OP_SEP, where);
}

}  // namespace kestrel
