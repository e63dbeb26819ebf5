// Actions of program-level declarations.

#include "frontend/compile_state.h"
#include "frontend/native_services.h"

#include <algorithm>
#include <limits>

namespace kestrel {

void Compiler::lineMarker(std::int32_t line) noexcept {
    // The newline that ends the marker's line adds one again.
    currentLine() = std::max(line, std::numeric_limits<std::int32_t>::min() + 1) - 1;
}

void Compiler::beginGlobalValue(Variable* name, const SourcePos& where) {
    newCode(OP_DECL, where);
    newCode(OP_VAR, where)->operand.variable = name;
    newCode(OP_ASSIGNMARK, where);
}

void Compiler::endGlobalValue(const SourcePos& where) {
    bareGlobal(where);
    newCode(OP_ASSIGN, where);
    newCode(OP_ENDDECL, where);
}

void Compiler::bareGlobal(const SourcePos& where) {
    // Strict scripts declare with `var`. The message has no text, by design.
    if (ctx_.options.strict) report(where, MessageId::GlobalWithoutVar);
}

void Compiler::declareLibrary(const char* name, const SourcePos& where) {
    if (*name == '\0' || pushLibrary(name, where)) return;
    report(where, MessageId::TooManyLibraries, kLibraryLimit);
}

void Compiler::beginUse(const char* library, Variable* name, const SourcePos& where) {
    if (program().findRecord(name->name) != nullptr) report(where, MessageId::ClassNameIsRecord, name->name);
    if (!aborted() && options_.native != nullptr && options_.native->isClass(ctx_, name->name))
        report(where, MessageId::ClassNameTaken, name->name);
    pendingUse_ = {library, name, nullptr};
}

void Compiler::endUse(const SourcePos& library, const SourcePos& base) {
    const PendingUse& use = pendingUse_;
    usesClasses_ = true;
    if (options_.native == nullptr) {
        report(library, MessageId::ClassNotLoaded, use.name->name);
        return;
    }
    ctx_.reporter.place = &library;
    const bool added = options_.native->loadClass(ctx_, use.library, use.name->name);
    ctx_.reporter.place = nullptr;
    if (!added || use.base == nullptr) return;
    if (!options_.native->setBase(ctx_, use.base->name))
        report(base, MessageId::BaseClassUnknown, use.base->name);
}

void Compiler::beginRecord(Variable* name, const SourcePos& where) {
    NativeServices* native = options_.native;
    // The test is the wrong way round by design: with classes about, every name but theirs is refused.
    if (native != nullptr && native->hasClasses(ctx_) && !native->isClass(ctx_, name->name))
        report(where, MessageId::RecordNameIsClass, name->name);
    if (!aborted() && program().findRecord(name->name) != nullptr)
        report(where, MessageId::RecordNameTaken, name->name);
    if (aborted()) return;
    auto* record = program().make<RecordTemplate>();
    record->name = name;
    record->hash = nameHash(name->name);
    program().records.append(record);
}

void Compiler::addField(Variable* name) {
    RecordTemplate& record = *program().records.tail;
    auto* field = program().make<RecordField>();
    field->name = name;
    field->initial = ValueCell::ofNil();
    record.fields.append(field);
    ++record.fieldCount;
}

void Compiler::fieldText(const char* text) {
    program().records.tail->fields.tail->initial = ValueCell::ofText(text);
}

void Compiler::fieldNumber(double value) {
    program().records.tail->fields.tail->initial = ValueCell::ofNumber(value);
}

void Compiler::fieldInteger(std::int32_t value) {
    program().records.tail->fields.tail->initial = ValueCell::ofInteger(value);
}

void Compiler::fieldVector(double x, double y, double z) {
    program().records.tail->fields.tail->initial = ValueCell::ofVector({x, y, z});
}

void Compiler::endQueueItem(const SourcePos& where) {
    constexpr std::int32_t kQueueType = 1;
    emissionSuspended_ = false;
    if (entries_.size() == 1 && entries_.front().op == OP_VAR) {
        Variable* variable = entries_.front().operand.variable;
        if ((variable->flags & kVarConst) != 0) {
            report(where, MessageId::ExposedItem);
            return;
        }
        variable->type = kQueueType;
        variable->number = 0.0;
        queueVariables_.push_back(variable);
        return;
    }
    if (entries_.empty() || entries_.front().op != OP_DIM) {
        report(where, MessageId::ExposedItem);
        return;
    }
    // OP_DIM, OP_SEP, the size, OP_INDEX
    const bool constantSize = entries_.size() == 4 && entries_[3].op == OP_INDEX &&
                              (entries_[2].op == OP_INTEGER || entries_[2].op == OP_NUMBER) &&
                              entries_[2].operand.number >= 1.0;
    if (!constantSize) {
        report(where, MessageId::ExposedArray);
        return;
    }
    Variable* variable = entries_[3].operand.variable;
    variable->number = entries_[2].operand.number;
    queueVariables_.push_back(variable);
}

void Compiler::endQueue(Variable* name, const SourcePos& where) {
    ScriptQueues* queues = ctx_.scriptQueues();
    if (queues != nullptr && queues->declare(name->name, queueVariables_, options_.declareOnly)) return;
    report(where, MessageId::QueueNotCreated, name->name);
}

void Compiler::beginProcedure(Variable* name, const SourcePos& where) {
    phase_ = ParsePhase::ProcedureBody;
    name->type = OP_FUNC;  // 43: the name of a function
    currentFunction_ = addfunc(name->name);
    localIndex_.reset();
    parameterIndex_.reset();
    currentFunction_->pos = where;
    CodeNode* entry = newCode(OP_FUNC, where);
    entry->operand.variable = name;
    currentFunction_->entry = entry;
}

void Compiler::beginParameters() {
    phase_ = ParsePhase::ParameterList;
    counters_.push_back(0);
}

void Compiler::endParameters() {
    if (currentFunction_ != nullptr) currentFunction_->paramCount = popCounter();
    phase_ = ParsePhase::ProcedureBody;
}

void Compiler::endProcedure(const SourcePos& where) {
    const FunctionRecord* function = currentFunction_;
    phase_ = ParsePhase::ProgramLevel;
    currentFunction_ = nullptr;
    newCode(OP_ENDFUNC, where);
    if (libraryMode_ && function != nullptr) linkLibraryProcedure(*function);
}

}  // namespace kestrel
