#include "engine/run/prepare.h"

#include "engine/context/builtin.h"
#include "engine/context/kind_table.h"
#include "engine/context/native_callee.h"
#include "engine/context/script_queues.h"
#include "engine/program/node_modes.h"
#include "engine/program/stack_effect.h"
#include "engine/program/verifier.h"
#include "engine/run/call_scope.h"
#include "engine/run/entry.h"
#include "engine/run/host_members.h"
#include "platform/near_names.h"

#include <array>
#include <utility>

namespace kestrel {

namespace {

bool incremented(const CodeNode* next) noexcept {
    return next != nullptr && isIncrement(next->op);
}

CodeNode* findForward(CodeNode* node, std::int32_t op) noexcept {
    while (node != nullptr && node->op != op) node = node->next;
    return node;
}

/// Resolves one program. The order of the nodes is all it needs, so it runs once over the list.
class Linker {
public:
    explicit Linker(EngineContext& ctx) : ctx_(ctx), program_(*ctx.program) {}

    void link() {
        program_.nameFields(ctx_.kinds().names());
        for (FunctionRecord* f = program_.functions.head; f != nullptr; f = f->next) {
            for (f->end = f->entry; f->end != nullptr && f->end->op != OP_ENDFUNC; f->end = f->end->next)
                f->last = f->end;
            f->entry->to.function = f;
        }
        for (CodeNode* node = program_.code.head; node != nullptr; node = node->next) {
            linkNode(*node);
            passed_ = {node, passed_[0], passed_[1]};
        }
        linkSuccessors();
    }

private:
    void linkNode(CodeNode& node) {
        switch (node.op) {
            case OP_DIM:
                ++indexDepth_;
                break;
            case OP_BLOCK:
                linkBlock(node);
                break;
            case OP_VAR:
                linkVariable(node);
                break;
            case OP_INDEX:
                if (indexDepth_ > 0) --indexDepth_;
                linkIndex(node);
                break;
            case OP_FUNC:
                current_ = node.to.function;
                break;
            case OP_ENDFUNC:
                current_ = nullptr;
                break;
            case OP_RETURN:
                node.to.function = current_;
                break;
            case OP_CALL:
                linkCall(node);
                break;
            case OP_ENDSTMT:
                indexDepth_ = 0;
                inBlock_ = false;
                break;
            case OP_NEG:
                if (opIs(passed_[0], OP_VAR) && opIs(node.next, OP_ENDSTMT)) linkStatementForm(node);
                break;
            case OP_NOT:
                if (opIs(passed_[0], OP_VAR) && opIs(passed_[1], OP_ENDSTMT) && opIs(node.next, OP_ENDSTMT))
                    linkStatementForm(node);
                break;
            case OP_LOOPTOP:
                loopTop_ = &node;
                break;
            case OP_FORTOP:
                forTop_ = &node;
                break;
            case OP_MOD:
            case OP_SHL:
            case OP_SHR:
            case OP_XOR:
            case OP_BITOR:
            case OP_BITAND:
#define KESTREL_FUSABLE(code, name, effect) case name:
#define KESTREL_COMPOUND(code, name, plain, effect) case name:
#include "engine/program/opcodes.def"
                linkOperator(node);
                break;
            default:
                linkJump(node);
                break;
        }
    }

    /// The node changes the variable that the one before it names.
    void linkStatementForm(CodeNode& node) const noexcept {
        node.mode = kStatementForm;
        node.operand.variable = passed_[0]->operand.variable;
    }

    /// Where an operand is wrong, people are told what stands on either side.
    void linkOperator(CodeNode& node) const noexcept {
        node.link = passed_[0];
        node.to.left = opIs(passed_[1], OP_ASSIGNMARK) ? passed_[2] : passed_[1];
    }

    void linkSuccessors() {
        CodeNode* waiting = program_.code.head;  // the first without a successor
        for (CodeNode* node = waiting; node != nullptr; node = node->next) {
            if (node->exec == 0) node->exec = fuse(*node);  // the list before an OP_INDEX may have set it
            if (isMarker(*node)) continue;
            for (; waiting != node; waiting = waiting->next) waiting->successor = node;
        }
    }

    /// Finds out what runs as one with this node. A jump never lands between those: it names the node before
    /// the first, or a marker.
    [[nodiscard]] std::int16_t fuse(CodeNode& node) {
        const bool load = node.op == OP_VAR && node.mode == kLoad;
        const bool constant = node.op == OP_NUMBER || node.op == OP_INTEGER;
        if (node.op == OP_ASSIGN && opIs(node.next, OP_ENDSTMT)) return kAssignStatement;
        if (node.op == OP_VAR && node.mode == kReference && incremented(node.next) &&
            (opIs(node.next->next, OP_ENDSTMT) || opIs(node.next->next, OP_FORBODY))) {
            return incrementStep(node.next->op) > 0.0 ? kCountUp : kCountDown;
        }
        if (!load && !constant) return linkHostMember(ctx_.kinds(), node);
        if (node.next == nullptr) return node.op;
        switch (node.next->op) {
#define KESTREL_FUSABLE(code, name, effect) \
    case name:                              \
        return load ? kVar_##name : kConst_##name;
#include "engine/program/opcodes.def"
            default:
                return node.op;
        }
    }

    void linkJump(CodeNode& node) {
        CodeNode* target = node.operand.target;
        switch (node.op) {
            case OP_DECL:
                if (node.next != nullptr && opIs(node.next->next, OP_ENDDECL)) node.link = node.next->next;
                break;
            case OP_IF: {
                CodeNode* end = target != nullptr ? target : findForward(&node, OP_ENDIF);
                node.link = end != nullptr && opIs(end->next, OP_ELSE) ? end->next : end;
                break;
            }
            case OP_ENDIF:
                if (opIs(node.next, OP_ELSE)) {
                    CodeNode* end = node.next->operand.target;
                    node.link = end != nullptr ? end : findForward(node.next, OP_ENDELSE);
                }
                break;
            case OP_WHILE:
                if (target == nullptr) node.operand.target = findForward(&node, OP_ENDWHILE);
                node.link = loopTop_;
                break;
            case OP_FORTEST:
                node.link = forTop_;
                node.to.body = findForward(&node, OP_FORBODY);
                break;
            case OP_CASE:
                node.link = target != nullptr ? target : findForward(&node, OP_ENDCASE);
                break;
            case OP_ENDCASE:
                if (opIs(node.next, OP_CASELABEL)) node.link = findForward(&node, OP_CASE);
                break;
            case OP_WHEN:
                node.link = target != nullptr ? target : findForward(&node, OP_ENDWHEN);
                break;
            default:
                break;
        }
    }

    void linkBlock(CodeNode& node) {
        if (inBlock_) {
            inBlock_ = false;
            return;
        }
        CodeNode* close = node.next;
        while (close != nullptr && close->op != OP_BLOCK && close->op != OP_ENDSTMT) close = close->next;
        if (!opIs(close, OP_BLOCK) || !opIs(close->next, OP_ASSIGNMARK)) return;
        inBlock_ = true;
        indexDepth_ = 0;
        node.mode = close->mode = kAssignmentBlock;
    }

    /// The target of "++", "--", "=" or a block's assignment: where the operator of a member reference
    /// stands.
    [[nodiscard]] static bool assigns(const CodeNode* afterMember) noexcept {
        return afterMember != nullptr && (afterMember->op == OP_ASSIGNMARK || isPrefix(afterMember->op));
    }

    /// For `name` of object.member, record->member or queue$slot: reads and references, by what follows. A
    /// postfix "++" stands between the member and its object.
    [[nodiscard]] bool linkMember(CodeNode& node, std::int32_t op, NodeMode read, NodeMode reference) {
        const bool postfix = node.next != nullptr && isPostfix(node.next->op);
        const CodeNode* const object = postfix ? node.next->next : node.next;
        if (!opIs(object, op)) return false;
        node.to.object = object->operand.variable;
        node.mode = postfix || assigns(node.next->next) || blockMember() ? reference : read;
        node.name = program_.names.intern(node.operand.variable->name);
        return true;
    }

    [[nodiscard]] bool blockMember() const noexcept {
        return inBlock_ && indexDepth_ == 0;
    }

    /// queue$name, and what the script itself has exposed.
    bool linkSlot(CodeNode& node, NodeMode reference) {
        if (ctx_.scriptQueues() == nullptr) return false;
        const Variable& variable = *node.operand.variable;
        if (linkMember(node, OP_IPCREF, kSlotRead, reference)) {
            const CodeNode* queue = isPostfix(node.next->op) ? node.next->next : node.next;
            node.queueVariable = ctx_.queues->refer(queue->operand.variable->name, variable.name);
            return true;
        }
        // The index of an exposed plain variable means a character of its text.
        if (variable.queue == 0 || (node.op == OP_INDEX && ctx_.queues->elements(variable.queue) == 0))
            return false;
        node.mode =
            opIs(node.next, OP_ASSIGNMARK) || incremented(node.next) || blockMember() ? reference : kSlotRead;
        node.queueVariable = variable.queue;
        return true;
    }

    void linkGlobal(CodeNode& node) const {
        if ((node.flags & kNodeGlobalRef) == 0) return;
        if (Variable* global = program_.findGlobal(node.operand.variable->name))
            node.operand.variable = global;
    }

    void linkVariable(CodeNode& node) {
        linkGlobal(node);
        if (linkMember(node, OP_MEMBER, kMemberRead, kMemberReference) ||
            linkMember(node, OP_RECORD, kRecordRead, kRecordReference))
            return;
        if (linkSlot(node, kSlotReference)) return;
        if (opIs(node.next, OP_ASSIGNMARK) || incremented(node.next) || blockMember()) node.mode = kReference;
    }

    void linkIndex(CodeNode& node) {
        linkGlobal(node);
        if (opIs(node.next, OP_ENDDECL)) {
            node.mode = kDeclare;
        } else if (linkMember(node, OP_MEMBER, kMemberRead, kMemberReference) || linkSlot(node, kReference)) {
            return;
        } else if (opIs(node.next, OP_ASSIGNMARK) || incremented(node.next) || blockMember()) {
            node.mode = kReference;
        }
    }

    void linkCall(CodeNode& node) {
        if (opIs(node.next, OP_MEMBER)) {
            node.mode = kMethodCall;
            node.to.object = node.next->operand.variable;
            node.name = program_.names.intern(node.operand.variable->name);
            return;
        }
        const char* name = node.operand.variable->name;
        if ((node.to.function = program_.findFunction(name)) != nullptr) {
            node.reach = Reach::Function;
        } else if ((node.to.builtin = ctx_.services.builtins->find(name)) != nullptr) {
            node.reach = Reach::Builtin;
        } else if (ctx_.services.natives != nullptr &&
                   (node.to.native = ctx_.services.natives->find(name)) != nullptr) {
            node.reach = Reach::Native;
        } else if ((node.to.record = program_.findRecord(name)) != nullptr) {
            node.reach = Reach::Record;
        }
    }

    EngineContext& ctx_;
    Program& program_;
    FunctionRecord* current_ = nullptr;
    std::array<CodeNode*, 3> passed_{};  // the nodes before the one at hand, the last one first
    CodeNode* loopTop_ = nullptr;        // the last ones that were passed
    CodeNode* forTop_ = nullptr;
    int indexDepth_ = 0;
    bool inBlock_ = false;
};

/// The members of the record that has this one: "a, b".
std::string fieldsBeside(const Program& program, const Variable& member) {
    for (const RecordTemplate* record = program.records.head; record != nullptr; record = record->next) {
        std::string names;
        bool found = false;
        for (const RecordField* field = record->fields.head; field != nullptr; field = field->next) {
            names += (names.empty() ? "" : ", ") + std::string(field->name->name);
            found = found || std::string_view(field->name->name) == member.name;
        }
        if (found) return names;
    }
    return member.name;
}

/// The hint stands at the head of a function whose name is near; without one at no place.
void adviseOnMissingProcess(EngineContext& ctx) {
    if (!ctx.reporter.hintsWanted()) return;
    std::vector<std::string_view> names;
    for (const FunctionRecord* f = ctx.program->functions.head; f != nullptr; f = f->next)
        names.emplace_back(f->name);
    const std::string_view near = nearestName("process", names);
    if (near.empty()) {
        ctx.reporter.hint(
            {}, HintId::ProcessMissing,
            "every script but a library needs the function process, also one for run: add process: sa { }");
    } else if (const SourcePos where = ctx.program->findFunction(near)->pos;
               ctx.reporter.firstHintAt(where)) {
        ctx.reporter.hint(where, HintId::ProcessMissing, "did you mean process?");
    }
}

/// Reports a script that lacks what hosts demand of every one.
bool checkProcess(EngineContext& ctx) {
    if (ctx.program->findFunction("process") != nullptr) return true;
    ctx.report(MessageId::ProcessMissing);
    adviseOnMissingProcess(ctx);
    return false;
}

/// Reports locals and globals that were never assigned.
/// @return false when there was nothing to report
bool unusedReport(EngineContext& ctx) {
    bool found = false;
    for (const FunctionRecord* f = ctx.program->functions.head; f != nullptr; f = f->next) {
        for (const Variable* v = f->locals.head; v != nullptr; v = v->next) {
            if (v->type != Uninitialized) continue;
            ctx.reporter.showNotice(MessageId::UnusedLocal, std::string(f->name) + "::" + v->name);
            found = true;
        }
    }
    for (const Variable* v = ctx.program->globals.head; v != nullptr; v = v->next) {
        if (v->type != Uninitialized) continue;
        ctx.reporter.showNotice(MessageId::UnusedGlobal, std::string("::") + v->name);
        found = true;
    }
    return found;
}

}  // namespace

bool checkProgram(EngineContext& ctx) {
    return checkProcess(ctx) && checkNames(ctx);
}

bool checkNames(EngineContext& ctx) {
    const Program& program = *ctx.program;
    bool ok = true;
    bool fieldExplained = false;
    for (const CodeNode* node = program.code.head; node != nullptr; node = node->next) {
        if (node->op != OP_VAR) continue;
        const Variable& variable = *node->operand.variable;
        ctx.reporter.place = &node->pos;
        if ((node->flags & kNodeGlobalRef) != 0 && program.findGlobal(variable.name) == nullptr) {
            ctx.reportAt({.line = node->line}, MessageId::UndefinedGlobal, variable.name);
            ok = false;
        }
        if (variable.declared == 0 && !opIs(node->next, OP_MEMBER)) {
            ctx.reportAt({.line = node->line}, MessageId::UndeclaredVariable, variable.name);
            if (!fieldExplained && opIs(node->next, OP_RECORD)) {
                fieldExplained = true;
                ctx.reporter.hint(node->pos, HintId::UndeclaredField, fieldsBeside(program, variable));
            }
            ok = false;
        }
    }
    ctx.reporter.place = nullptr;
    return ok;
}

void linkProgram(EngineContext& ctx) {
    if (std::exchange(ctx.program->linked, true)) return;
    Linker(ctx).link();
    if constexpr (kStackChecks) {
        if (const std::optional<StackFault> fault = findStackFault(*ctx.program))
            failStackCheck(*ctx.program, *fault);
    }
}

void runTopLevel(EngineContext& ctx) {
    CodeNode* node = ctx.program->code.head;
    while (node != nullptr) {
        CodeNode* const start = node;
        while (node != nullptr && node->op != OP_FUNC) node = node->next;
        if (node != start) {
            const CallScope scope(ctx);
            run(ctx, start, node);
        }
        while (node != nullptr && node->op != OP_ENDFUNC) node = node->next;
        if (node != nullptr) node = node->next;
    }
}

void unloadScript(EngineContext& ctx) {
    const bool wanted =
        ctx.reporter.state.reportUnused && ctx.reporter.sink() != nullptr && ctx.program != nullptr;
    ctx.reporter.place = nullptr;
    const bool found = wanted && unusedReport(ctx);
    ctx.reset();
    if (wanted && !found) ctx.reporter.showNotice(MessageId::NothingUnused, std::nullopt);
}

}  // namespace kestrel
