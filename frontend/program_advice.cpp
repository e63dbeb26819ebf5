#include "frontend/program_advice.h"

#include "engine/context/builtin.h"
#include "engine/context/kind_table.h"
#include "frontend/foreign_names.h"
#include "frontend/member_advice.h"
#include "frontend/syntax_advice.h"
#include "platform/ascii.h"
#include "platform/near_names.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kestrel {

namespace {

bool isComparison(std::int32_t op) noexcept {
    return (op >= OP_LT && op <= OP_GE) || op == OP_EQ || op == OP_NE;
}

/// True for the last node of a condition's code.
bool endsCondition(const CodeNode& node) noexcept {
    switch (node.next != nullptr ? node.next->op : 0) {
        case OP_IF:
        case OP_WHILE:
        case OP_FORTEST:
        case OP_ENDDOWHILE:
        case OP_WHEN:
            return true;
        default:
            return false;
    }
}

/// The value of an assignment is one constant or variable. What is computed, called or looked up is often
/// kept and tested at once.
/// @param mark  the last OP_ASSIGNMARK before it, or null
bool assignsPlainly(const CodeNode& assignment, const CodeNode* mark) noexcept {
    const CodeNode* value = mark != nullptr ? mark->next : nullptr;
    if (value == nullptr || value->next != &assignment) return false;
    return value->op == OP_VAR || value->op == OP_NUMBER || value->op == OP_INTEGER ||
           value->op == OP_STRING || value->op == OP_NIL;
}

/// "a += b" and the like, which need a value to begin with.
/// @param mark  behind the target; the assignments in the value come before the one that belongs to it
bool changesValue(const CodeNode& mark) noexcept {
    int open = 0;
    for (const CodeNode* node = &mark; node != nullptr && node->op != OP_ENDSTMT; node = node->next) {
        if (node->op == OP_ASSIGNMARK) ++open;
        const bool compound = familyOf(node->op) == OpFamily::Compound;
        if ((compound || node->op == OP_ASSIGN) && --open == 0) return compound;
    }
    return false;
}

/// A predefined name that scripts call, and nothing answers yet.
bool isLater(std::string_view name) noexcept {
    struct ObjectName {
        std::string_view name;
        bool available;
    };
    [[maybe_unused]] constexpr bool Now = true;
    [[maybe_unused]] constexpr bool Later = false;
    static constexpr ObjectName kObjects[] = {
#define KESTREL_OBJECT(name, tag, status, description) {#name, status},
#include "frontend/predefined.def"
    };
    return std::ranges::any_of(
        kObjects, [name](const ObjectName& object) { return object.name == name && !object.available; });
}

/// The script uses the name of a call as a variable, too.
bool isVariable(const Program& program, const Variable& callee) noexcept {
    for (const CodeNode* node = program.code.head; node != nullptr; node = node->next)
        if ((node->op == OP_VAR || node->op == OP_INDEX) && node->operand.variable == &callee) return true;
    return false;
}

class ProgramAdvice {
public:
    ProgramAdvice(EngineContext& ctx, SyntaxAdvice& syntax, bool usesClasses)
        : ctx_(ctx), program_(*ctx.program), syntax_(syntax), members_(ctx, syntax.defines(), usesClasses) {
        for (const FunctionRecord* f = program_.functions.head; f != nullptr; f = f->next)
            for (const Variable* p = f->params.head; p != nullptr; p = p->next) givenValues_.insert(p);
    }

    void give() {
        changedProcess();
        functions();
        for (const CodeNode* node = program_.code.head; node != nullptr && wanted(); node = node->next) {
            look(*node);
            before_ = node;
        }
        if (syntax_.sawAll()) neverAssigned();
    }

private:
    [[nodiscard]] bool wanted() const noexcept { return ctx_.reporter.hintsWanted(); }

    /// What the heads of functions say.
    void functions() {
        if (syntax_.failed()) return;  // some may be pieces of others
        std::unordered_map<std::string_view, const FunctionRecord*> first;
        for (const FunctionRecord* f = program_.functions.head; f != nullptr && wanted(); f = f->next) {
            const auto [other, isFirst] = first.try_emplace(f->name, f);
            const BuiltinEntry* builtin = ctx_.services.builtins->find(f->name);
            if (!isFirst && other->second->pos.file == f->pos.file) {
                ctx_.reporter.hint(f->pos, HintId::FunctionTwice, f->name, other->second->pos.line);
            } else if (builtin != nullptr && builtin->argCount >= 0 && builtin->argCount != f->paramCount) {
                ctx_.reporter.hint(f->pos, HintId::LikeBuiltin, f->name);
            } else if (f->paramCount > 1 && std::string_view(f->name) == "process") {
                ctx_.reporter.hint(f->pos, HintId::ProcessParameters, f->params.head->name);
            }
        }
    }

    /// A define has made another function of process, which will be missed.
    void changedProcess() {
        constexpr std::string_view kProcess = "process";
        if (program_.findFunction(kProcess) != nullptr) return;
        for (const FunctionRecord* f = program_.functions.head; f != nullptr; f = f->next)
            if (syntax_.defines().written(f->pos, f->name) == kProcess &&
                syntax_.defines().tellIfReplaced(f->pos))
                return;
    }

    void look(const CodeNode& node) {
        switch (node.op) {
            case OP_VAR:
            case OP_INDEX:
                if (!members_.look(node, list_)) use(node);
                break;
            case OP_MEMBER:
            case OP_RECORD:
                reads(*node.operand.variable, node);
                break;
            case OP_CALL:
                if (!members_.lookAtMethod(node)) call(node);
                break;
            case OP_BLOCK:
                block(node);
                break;
            case OP_FUNC:
                members_.enter(*node.operand.variable);
                scriptCalls_ = 0;
                break;
            case OP_ENDSTMT:
                scriptCalls_ = 0;
                break;
            case OP_DIM:
                list_ = &node;
                break;
            case OP_ASSIGNMARK:
                mark_ = &node;
                target_ = before_;
                break;
            case OP_ASSIGN:
                if (endsCondition(node) && assignsPlainly(node, mark_))
                    ctx_.reporter.hint(node.pos, HintId::AssignmentInCondition);
                severalValues(node);
                break;
            default:
                comparison(node);
                break;
        }
    }

    /// "c = (1, 2, 3)": one variable, several plain values.
    void severalValues(const CodeNode& assignment) {
        const auto isPlain = [](const CodeNode* node) {
            return opIs(node, OP_NUMBER) || opIs(node, OP_INTEGER) || opIs(node, OP_STRING);
        };
        if (mark_ == nullptr || !opIs(target_, OP_VAR)) return;
        int count = 0;
        bool numbers = true;
        const CodeNode* value = mark_->next;
        for (; isPlain(value); value = value->next) {
            ++count;
            numbers = numbers && value->op != OP_STRING;
        }
        if (count < 2 || value != &assignment) return;
        ctx_.reporter.hint(assignment.pos, HintId::SeveralValues,
                           count == 3 && numbers
                               ? "a Vector stands between < and >: write <x, y, z>"
                               : "several values go to as many variables: write (a, b) = (1, 2)");
    }

    void comparison(const CodeNode& node) {
        const bool statement = opIs(node.next, OP_ENDSTMT) || opIs(node.next, OP_ENDDECL);
        // What is left of the head of a loop after a syntax error looks like one.
        if (isComparison(node.op) && statement && !syntax_.failedInLine(node.pos))
            ctx_.reporter.hint(node.pos, HintId::ComparisonAsStatement);
    }

    // ---- names: who gives them a value, and who reads them

    /// A variable or an element of one, no member.
    void use(const CodeNode& node) {
        const Variable& variable = target(node);
        const bool declared = opIs(before_, OP_DECL) && opIs(node.next, OP_ENDDECL);
        const bool array = node.op == OP_INDEX && opIs(node.next, OP_ENDDECL);
        if (opIs(node.next, OP_ASSIGNMARK) && changesValue(*node.next))
            reads(variable, node);
        else if (opIs(node.next, OP_ASSIGNMARK) || inBlock_ || array) {
            assigned_.insert(variable.name);
            givenValues_.insert(&variable);
        } else if (!declared) {
            reads(variable, node);
        }
    }

    void reads(const Variable& variable, const CodeNode& node) {
        if (seen_.insert(&variable).second) reads_.push_back({&variable, node.pos});
    }

    /// With "::" resolved.
    const Variable& target(const CodeNode& node) {
        if ((node.flags & kNodeGlobalRef) == 0) return *node.operand.variable;
        const Variable* global = program_.findGlobal(node.operand.variable->name);
        return global != nullptr ? *global : *node.operand.variable;
    }

    /// "(a, b) = ...": everything in it is assigned.
    void block(const CodeNode& node) {
        if (inBlock_) {
            inBlock_ = false;
            return;
        }
        const CodeNode* close = node.next;
        while (close != nullptr && close->op != OP_BLOCK && close->op != OP_ENDSTMT) close = close->next;
        inBlock_ = opIs(close, OP_BLOCK) && opIs(close->next, OP_ASSIGNMARK);
    }

    /// Values that come from elsewhere: the language, whoever calls, other programs.
    [[nodiscard]] static bool hasValue(const Variable& variable) noexcept {
        constexpr std::uint8_t kGiven = kVarConst | kVarPredefined | kVarInlineConst;
        constexpr std::int32_t kExposed = 1;
        return (variable.flags & kGiven) != 0 || variable.type == kExposed || variable.number != 0.0;
    }

    void neverAssigned() {
        std::unordered_set<std::string_view> told;  // locals of several functions can have one name
        for (const auto& [variable, where] : reads_) {
            if (!wanted()) return;
            if (givenValues_.contains(variable) || hasValue(*variable)) continue;
            // Syntax errors leave holes: then a name counts as assigned wherever it may have been.
            if (syntax_.failed() && (assigned_.contains(variable->name) || syntax_.isLost(variable->name)))
                continue;
            if (program_.findFunction(variable->name) != nullptr || !told.insert(variable->name).second)
                continue;
            if (tellDefine(*variable, where)) continue;
            const std::string_view instead = insteadOfForeign(ForeignKind::Value, variable->name);
            if (instead.empty()) {
                ctx_.reporter.hint(where, HintId::NeverAssigned, variable->name,
                                   didYouMean(nearVariable(*variable)));
            } else {
                ctx_.reporter.hint(where, HintId::ForeignValue, variable->name, instead);
            }
        }
    }

    /// What is written there has a value, and a define has made another name of it.
    bool tellDefine(const Variable& variable, const SourcePos& where) {
        const std::string_view written = syntax_.defines().written(where, variable.name);
        if (written == variable.name) return false;
        const Variable* meant = program_.findGlobal(written);
        const bool has = meant != nullptr && (givenValues_.contains(meant) || hasValue(*meant));
        return has && syntax_.defines().tellIfReplaced(where);
    }

    std::string_view nearVariable(const Variable& variable) const {
        std::vector<std::string_view> names;
        // Constants of the language are in capitals: whoever meant one began with one.
        const bool capital =
            ascii::isLetter(*variable.name) && ascii::upper(*variable.name) == *variable.name;
        const auto add = [&](const LinkedList<Variable>& list) {
            for (const Variable* v = list.head; v != nullptr; v = v->next) {
                if ((v->flags & kVarPredefined) != 0 && !capital) continue;
                if (givenValues_.contains(v) || hasValue(*v)) names.emplace_back(v->name);
            }
        };
        if (variable.owner != nullptr) {
            add(variable.owner->locals);
            add(variable.owner->params);
        }
        add(program_.globals);
        return nearestName(variable.name, names);
    }

    // ---- calls

    void call(const CodeNode& node) {
        const char* name = node.operand.variable->name;
        if (const FunctionRecord* function = program_.findFunction(name)) {
            // A call among the arguments may bring several values.
            const bool tooFew = node.argc < function->paramCount && scriptCalls_ == 0;
            if (tooFew || node.argc > function->paramCount)
                argumentCount(node, std::string(name) + "()", function->paramCount);
            ++scriptCalls_;
            return;
        }
        const BuiltinEntry* builtin = ctx_.services.builtins->find(name);
        if (builtin == nullptr) {
            ++scriptCalls_;  // of a library, perhaps
        } else if (builtin->family == BuiltinFamily::Later) {
            ctx_.reporter.hint(node.pos, HintId::NotAvailable, name);
        } else if (builtin->argCount >= 0 && builtin->argCount != node.argc) {
            const std::string_view form = builtin->signature;
            argumentCount(node, form.empty() ? std::string(name) + "()" : std::string(form),
                          builtin->argCount);
        }
    }

    void argumentCount(const CodeNode& node, const std::string& form, int wanted) {
        ctx_.reporter.hint(node.pos, HintId::ArgumentCount, form, wanted, wanted == 1 ? "" : "s", node.argc);
    }

    struct Read {
        const Variable* variable;
        SourcePos where;
    };

    EngineContext& ctx_;
    Program& program_;
    SyntaxAdvice& syntax_;
    MemberAdvice members_;
    std::vector<Read> reads_;  // of each variable the first
    std::unordered_set<const Variable*> seen_;
    std::unordered_set<const Variable*> givenValues_;
    std::unordered_set<std::string_view> assigned_;  // their names
    const CodeNode* before_ = nullptr;               // the node before the one at hand
    const CodeNode* list_ = nullptr;                 // the last OP_DIM
    const CodeNode* mark_ = nullptr;                 // the last OP_ASSIGNMARK, and the node before it
    const CodeNode* target_ = nullptr;
    bool inBlock_ = false;
    int scriptCalls_ = 0;  // in the statement so far
};

}  // namespace

void adviseOnProgram(EngineContext& ctx, SyntaxAdvice& syntax, bool usesClasses) {
    if (ctx.reporter.hintsWanted()) ProgramAdvice(ctx, syntax, usesClasses).give();
}

void adviseOnUnknownCall(EngineContext& ctx, SyntaxAdvice& syntax, const CodeNode& call) {
    if (!ctx.reporter.hintsWanted()) return;
    const char* name = call.operand.variable->name;
    if (syntax.callsOverLineEnd(call.pos) && isVariable(*ctx.program, *call.operand.variable)) {
        SourcePos behind = call.pos;
        behind.column = behind.endColumn++;
        ctx.reporter.hint(behind, HintId::MissingSemicolon);
        return;
    }
    if (syntax.defines().tellIfCut(call.pos)) return;
    const std::string_view written = syntax.defines().written(call.pos, name);
    const bool exists = ctx.program->findFunction(std::string(written)) != nullptr ||
                        ctx.services.builtins->find(written) != nullptr;
    if (written != name && exists && syntax.defines().tellIfReplaced(call.pos)) return;
    if (ctx.program->findFunction(name) != nullptr) {
        ctx.reporter.hint(call.pos, HintId::LibraryCalledTwice, name);
        return;
    }
    if (isLater(name)) {
        ctx.reporter.hint(call.pos, HintId::NotAvailable, name);
        return;
    }
    const std::string_view instead = insteadOfForeign(ForeignKind::Function, name);
    if (!instead.empty()) {
        ctx.reporter.hint(call.pos, HintId::ForeignFunction, name, instead);
        return;
    }
    std::vector<std::string_view> names;
    for (const FunctionRecord* f = ctx.program->functions.head; f != nullptr; f = f->next)
        names.emplace_back(f->name);
    for (const BuiltinEntry& row : ctx.services.builtins->rows()) names.push_back(row.name);
    for (const RecordTemplate* r = ctx.program->records.head; r != nullptr; r = r->next)
        names.emplace_back(r->name->name);
    const std::string_view near = nearestName(name, names);
    if (!near.empty()) ctx.reporter.hint(call.pos, HintId::UnknownFunction, name, near);
}

}  // namespace kestrel
