// Actions of statements: they append nodes to the code list and link forward jumps.

#include "frontend/compile_state.h"

namespace kestrel {

// ---- Linking ----

CodeNode* Compiler::openJump(std::int32_t op, const SourcePos& where) {
    jumps_.push_back(newCode(op, where));
    return jumps_.back();
}

void Compiler::closeJump(std::int32_t op, const SourcePos& where) {
    CodeNode* node = newCode(op, where);
    if (jumps_.empty()) return;  // after a syntax error
    jumps_.back()->operand.target = node;
    jumps_.pop_back();
}

CodeNode* Compiler::openArm(std::int32_t op, const SourcePos& where) {
    arms_.push_back(newCode(op, where));
    return arms_.back();
}

void Compiler::closeArm(std::int32_t op, const SourcePos& where) {
    CodeNode* node = newCode(op, where);
    if (arms_.empty()) return;  // after a syntax error
    arms_.back()->operand.target = node;
    arms_.pop_back();
}

bool Compiler::inPhase(std::string_view statement) {
    if (currentFunction_ != nullptr) return true;
    report(lastPlace(), MessageId::StatementOutside, statement);
    return false;
}

std::int32_t Compiler::popCounter() noexcept {
    if (counters_.empty()) return 0;  // after a syntax error
    const std::int32_t count = counters_.back();
    counters_.pop_back();
    return count;
}

void Compiler::countItem() {
    if (!counters_.empty()) ++counters_.back();
}

// ---- Variable lists ----

void Compiler::beginVarList() {
    declaring_ = true;
    counters_.push_back(0);
}

void Compiler::nextVarItem(const SourcePos& where) {
    if (phase_ != ParsePhase::ParameterList) declaring_ = true;
    if (forHeader_) newCode(OP_ENDSTMT, where);
}

void Compiler::beginVarItem() {
    if (!forHeader_) newCode(OP_DECL, lastPlace());
}

void Compiler::endVarItem(const SourcePos& where) {
    if (!forHeader_) newCode(OP_ENDDECL, where);
    countItem();
}

void Compiler::endVarList(const SourcePos& where) {
    popCounter();
    newCode(OP_ENDSTMT, where);
}

// ---- return ----

void Compiler::emptyReturnValue(const SourcePos& where) {
    newCode(OP_NIL, where);
    countItem();
}

void Compiler::endReturn(const SourcePos& where) {
    newCode(OP_RETURN, where)->count = popCounter();
}

// ---- if ----

void Compiler::beginIf(const SourcePos& where) {
    if (inPhase("if")) openJump(OP_IF, where);
}

void Compiler::endIf() {
    if (inPhase("if")) closeJump(OP_ENDIF, lastPlace());
}

void Compiler::beginElse(const SourcePos& where) {
    if (inPhase("if")) openJump(OP_ELSE, where);
}

void Compiler::endElse() {
    if (inPhase("if")) closeJump(OP_ENDELSE, lastPlace());
}

// ---- while, do-while ----

void Compiler::loopTop(const SourcePos& where) {
    if (inPhase("while")) newCode(OP_LOOPTOP, where);
}

void Compiler::beginWhile(const SourcePos& where) {
    if (inPhase("while")) openJump(OP_WHILE, where);
}

void Compiler::endWhile() {
    if (inPhase("while")) closeJump(OP_ENDWHILE, lastPlace());
}

void Compiler::beginDoWhile(const SourcePos& where) {
    // The body stands before the loop's first node: it runs once, by design.
    if (inPhase("do/while")) openJump(OP_DOWHILE, where);
}

void Compiler::endDoWhile(const SourcePos& where) {
    if (inPhase("do/while")) closeJump(OP_ENDDOWHILE, where);
}

// ---- for ----

void Compiler::beginForHeader() {
    forHeader_ = true;
    counters_.push_back(0);
}

void Compiler::forTest(const SourcePos& where) {
    popCounter();
    if (inPhase("for")) newCode(OP_FORTOP, where);
}

void Compiler::forStep(const SourcePos& where) {
    openJump(OP_FORTEST, where);
    counters_.push_back(0);
}

void Compiler::forBody(const SourcePos& where) {
    popCounter();
    if (inPhase("for")) newCode(OP_FORBODY, where);
    forHeader_ = false;
}

void Compiler::endFor() {
    closeJump(OP_ENDFOR, lastPlace());
}

void Compiler::beginCounted(Variable* name, const SourcePos& where) {
    loopVariable_ = name;
    loopPlace_ = where;
    newCode(OP_VAR, where)->operand.variable = name;
    newCode(OP_ASSIGNMARK, where);
}

void Compiler::countedTest(const SourcePos& where) {
    newCode(OP_ASSIGN, where);
    newCode(OP_ENDSTMT, where);
    newCode(OP_FORTOP, where);
    newCode(OP_VAR, where)->operand.variable = loopVariable_;
}

void Compiler::countedStep(const SourcePos& where) {
    // Always "<=": a loop that counts down runs its body only while it has not passed the end from below.
    newCode(OP_LE, where);
    openJump(OP_FORTEST, where);
}

void Compiler::stepByOne() {
    newCode(OP_VAR, loopPlace_)->operand.variable = loopVariable_;
    newCode(OP_PREINC, loopPlace_);
    newCode(OP_ENDSTMT, loopPlace_);
}

void Compiler::stepByNumber(double value, const SourcePos& where) {
    newCode(OP_VAR, loopPlace_)->operand.variable = loopVariable_;
    newCode(OP_ASSIGNMARK, loopPlace_);
    newCode(OP_NUMBER, where)->operand.number = value;
    newCode(OP_ADDASSIGN, where);
}

void Compiler::stepByInteger(std::int32_t value, const SourcePos& where) {
    newCode(OP_VAR, loopPlace_)->operand.variable = loopVariable_;
    newCode(OP_ASSIGNMARK, loopPlace_);
    newCode(OP_INTEGER, where)->operand.number = value;
    newCode(OP_ADDASSIGN, where);
}

void Compiler::stepByName(Variable* name, const SourcePos& where) {
    newCode(OP_VAR, loopPlace_)->operand.variable = loopVariable_;
    newCode(OP_ASSIGNMARK, loopPlace_);
    newCode(OP_VAR, where)->operand.variable = name;
    newCode(OP_ADDASSIGN, where);
}

// ---- switch and select ----

void Compiler::caseInteger(std::int32_t value, const SourcePos& where) {
    newCode(OP_INTEGER, where)->operand.number = value;
    openArm(OP_CASE, where);
}

void Compiler::caseNumber(double value, const SourcePos& where) {
    newCode(OP_NUMBER, where)->operand.number = value;
    openArm(OP_CASE, where);
}

void Compiler::caseName(Variable* name, const SourcePos& where) {
    newCode(OP_VAR, where)->operand.variable = name;
    openArm(OP_CASE, where);
}

void Compiler::endCase(bool linked) {
    newCode(OP_ENDSTMT, lastPlace());
    if (linked) {
        closeArm(OP_ENDCASE, lastPlace());
    } else {
        newCode(OP_ENDCASE, lastPlace());
    }
}

void Compiler::endWhen(const SourcePos& where) {
    newCode(OP_ENDSTMT, where);
    closeArm(OP_ENDWHEN, where);
}

}  // namespace kestrel
