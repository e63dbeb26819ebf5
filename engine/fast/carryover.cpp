#include "engine/fast/carryover.h"

#include "engine/context/builtin.h"
#include "engine/program/node_modes.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace kestrel::fast {

namespace {

using Nodes = std::vector<const CodeNode*>;

Nodes nodesOf(const FunctionRecord& function) {
    Nodes nodes;
    for (const CodeNode* node = function.entry; node != nullptr; node = node->next) {
        nodes.push_back(node);
        if (node == function.end) break;
    }
    return nodes;
}

/// Which locals a function may read before it has assigned them: a walk over all ways, as far as loops and
/// branches know them. Where a way is not certain, all that there could be are taken.
class FirstReads {
public:
    FirstReads(const FunctionRecord& function, Carryover& carryover)
        : carryover_(carryover), nodes_(nodesOf(function)) {
        for (std::size_t i = 0; i < nodes_.size(); ++i) indexes_.emplace(nodes_[i], i);
        for (const Variable* v = function.params.head; v != nullptr; v = v->next) number(*v);
        const std::size_t parameters = variables_.size();
        for (const Variable* v = function.locals.head; v != nullptr; v = v->next) number(*v);
        findWrites();
        assigned_.resize(nodes_.size());
        waiting_.resize(nodes_.size(), false);
        Set atEntry(variables_.size(), false);
        std::fill_n(atEntry.begin(), parameters, true);
        flow(0, atEntry);
    }

    [[nodiscard]] std::unordered_set<const Variable*> run() {
        while (!open_.empty()) {
            const std::size_t at = open_.back();
            open_.pop_back();
            waiting_[at] = false;
            visit(at);
        }
        return found_;
    }

private:
    using Set = std::vector<bool>;

    void number(const Variable& variable) {
        numbers_.emplace(&variable, variables_.size());
        variables_.push_back(&variable);
    }

    [[nodiscard]] const std::size_t* numberOf(const Variable* variable) const {
        const auto found = numbers_.find(variable);
        return found != numbers_.end() ? &found->second : nullptr;
    }

    /// Finds for each assignment what it assigns: references and their operators nest.
    void findWrites() {
        writes_.resize(nodes_.size());
        struct Open {
            std::vector<const Variable*> targets;
            bool isBlock = false;
        };
        std::vector<Open> open;
        Open block;
        bool inBlock = false;
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const CodeNode& node = *nodes_[i];
            const bool target = node.op == OP_VAR && node.mode == kReference;
            if (node.op == OP_BLOCK && node.mode == kAssignmentBlock) {
                if (inBlock) open.push_back(block);
                block = {{}, true};
                inBlock = !inBlock;
            } else if (inBlock && target) {
                block.targets.push_back(&targetVariable(node));
            } else if (opIs(node.next, OP_ASSIGNMARK) &&
                       (node.op == OP_VAR || node.op == OP_INDEX || node.op == OP_MEMBER ||
                        node.op == OP_RECORD || node.op == OP_IPCREF)) {
                open.push_back({});
                if (target) open.back().targets.push_back(&targetVariable(node));
            } else if (node.op == OP_ASSIGN && !open.empty()) {
                if (opIs(node.prev, OP_LIST))  // what the values go to is the array that is there
                    reads_[i] = open.back().targets;
                else if (!open.back().isBlock || givesAll(node, open.back().targets.size()))
                    writes_[i] = open.back().targets;
                open.pop_back();
            } else if (familyOf(node.op) == OpFamily::Compound && !open.empty()) {
                for (const Variable* each : open.back().targets) reads_[i].push_back(each);
                open.pop_back();
            } else if (node.op == OP_ENDSTMT) {
                open.clear();
                inBlock = false;
            }
        }
    }

    /// The value of the assignment is a call that returns enough for every member of its block.
    [[nodiscard]] bool givesAll(const CodeNode& assignment, std::size_t members) {
        const CodeNode* call = assignment.prev;
        if (!opIs(call, OP_CALL) || call->mode == kMethodCall || call->reach != Reach::Function) return false;
        const int results = carryover_.results(*call->to.function);
        return results > 1 && static_cast<std::size_t>(results) >= members;
    }

    void read(const Variable* variable, const Set& assigned) {
        const std::size_t* number = numberOf(variable);
        if (number != nullptr && !assigned[*number]) found_.insert(variable);
    }

    void visit(std::size_t at) {
        const CodeNode& node = *nodes_[at];
        Set assigned = *assigned_[at];
        if (const auto found = reads_.find(at); found != reads_.end())
            for (const Variable* variable : found->second) read(variable, assigned);
        readOperands(node, assigned);
        for (const Variable* variable : writes_[at])
            if (const std::size_t* number = numberOf(variable)) assigned[*number] = true;
        goOn(at, node, assigned);
    }

    void readOperands(const CodeNode& node, const Set& assigned) {
        switch (node.op) {
            case OP_VAR:
                if (node.mode == kReference && !isIncrement(node.next->op)) return;
                [[fallthrough]];
            case OP_INDEX:
                if (node.mode == kMemberRead || node.mode == kMemberReference || node.mode == kRecordRead ||
                    node.mode == kRecordReference)
                    return read(node.to.object, assigned);
                return read(&targetVariable(node), assigned);
            case OP_CALL:
                if (node.mode == kMethodCall) read(node.variable, assigned);
                return;
            case OP_HXOBJECT:
                return read(node.operand.variable, assigned);
            case OP_NEG:
            case OP_NOT:
                if (node.mode == kStatementForm) read(node.variable, assigned);
                return;
            default:
                return;
        }
    }

    // ---- where control goes

    void flow(std::size_t at, const Set& assigned) {
        if (at >= nodes_.size()) return;
        std::optional<Set>& known = assigned_[at];
        if (!known) {
            known = assigned;
        } else {
            bool fewer = false;
            for (std::size_t i = 0; i < known->size(); ++i) {
                if (!(*known)[i] || assigned[i]) continue;
                (*known)[i] = false;
                fewer = true;
            }
            if (!fewer) return;
        }
        if (!waiting_[at]) open_.push_back(at);
        waiting_[at] = true;
    }

    void flowBehind(const CodeNode* node, const Set& assigned) {
        const auto found = indexes_.find(node);
        if (found != indexes_.end()) flow(found->second + 1, assigned);
    }

    /// The loops, switches and selects that a node may be in.
    template <class Visit>
    void around(std::size_t at, const Visit& visit) {
        for (std::size_t i = 0; i < at; ++i) {
            const CodeNode& node = *nodes_[i];
            const OpcodeInfo* info = opcodeInfo(node.op);
            const bool opens = node.op == OP_WHILE || node.op == OP_FORTEST ||
                               (info != nullptr && info->flow == OpFlow::Open);
            if (!opens) continue;
            const auto end = indexes_.find(node.operand.target);
            if (end == indexes_.end() || end->second >= at) visit(node);
        }
    }

    void goOn(std::size_t at, const CodeNode& node, const Set& assigned) {
        switch (node.op) {
            case OP_DECL:
            case OP_ENDIF:
            case OP_ENDCASE:
                if (node.link != nullptr) return flowBehind(node.link, assigned);
                return flow(at + 1, assigned);
            case OP_IF:
            case OP_CASE:
            case OP_WHEN:
                flowBehind(node.link, assigned);
                return flow(at + 1, assigned);
            case OP_WHILE:
                flowBehind(node.operand.target, assigned);
                return flow(at + 1, assigned);
            case OP_FORTEST:
                flowBehind(node.operand.target, assigned);
                return flowBehind(node.to.body, assigned);
            case OP_RETURN:
            case OP_ENDFUNC:
                return;
            case OP_BREAK:
            case OP_ENDWHEN:
                return around(at,
                              [&](const CodeNode& opener) { flowBehind(opener.operand.target, assigned); });
            case OP_CONTINUE:
            case OP_ENDWHILE:
            case OP_ENDFOR:
            case OP_FORBODY:
                around(at, [&](const CodeNode& opener) {
                    if (opener.op == OP_WHILE || node.op == OP_FORBODY) flowBehind(opener.link, assigned);
                    if (opener.op != OP_WHILE) flowBehind(&opener, assigned);
                });
                return flow(at + 1, assigned);
            default:
                return flow(at + 1, assigned);
        }
    }

    Carryover& carryover_;
    Nodes nodes_;
    std::unordered_map<const CodeNode*, std::size_t> indexes_;
    std::unordered_map<const Variable*, std::size_t> numbers_;
    std::vector<const Variable*> variables_;
    std::vector<std::vector<const Variable*>> writes_;  // of each node
    std::unordered_map<std::size_t, std::vector<const Variable*>> reads_;
    std::vector<std::optional<Set>> assigned_;  // before each node; nothing: no way has come there
    std::vector<std::size_t> open_;
    Set waiting_;
    std::unordered_set<const Variable*> found_;
};

}  // namespace

Carryover::Carryover(const Program& program) : program_(program) {
    for (const CodeNode* node = program.code.head; node != nullptr && !observed_; node = node->next)
        observed_ = node->op == OP_CALL && node->mode != kMethodCall && node->reach == Reach::Builtin &&
                    node->to.builtin->name == "dump";
}

bool Carryover::counts(const Variable& variable) {
    if (variable.owner == nullptr) return true;
    const auto [place, added] = readFirst_.try_emplace(variable.owner);
    if (added) {
        auto found = FirstReads(*variable.owner, *this).run();
        readFirst_[variable.owner] = std::move(found);
        return readFirst_[variable.owner].contains(&variable);
    }
    return place->second.contains(&variable);
}

int Carryover::results(const FunctionRecord& function) {
    const auto [place, added] = results_.try_emplace(&function, -1);  // of one that calls itself: not known
    if (!added) return place->second;
    int count = -1;
    bool same = true;
    const CodeNode* last = nullptr;
    for (const CodeNode* node = function.entry; node != nullptr && node != function.end; node = node->next) {
        if (node->op != OP_ENDSTMT && node->op != OP_ENDELSE && node->op != OP_ENDIF) last = node;
        if (node->op != OP_RETURN) continue;
        same = same && (count < 0 || node->count == count) && plainStatement(*node);
        count = node->count;
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

/// Everything in the statement before the node leaves one value each.
bool Carryover::plainStatement(const CodeNode& last) {
    for (const CodeNode* node = last.prev; node != nullptr; node = node->prev) {
        switch (node->op) {
            case OP_ENDSTMT:
            case OP_FUNC:
                return true;
            case OP_CALL:
                if (!yieldsOne(*node)) return false;
                break;
            case OP_LIST:
            case OP_SELECTOR:
                return false;
            default:
                break;
        }
    }
    return true;
}

void Carryover::lookAtCalls() {
    callsKnown_ = true;
    for (const CodeNode* node = program_.code.head; node != nullptr; node = node->next) {
        if (node->op != OP_CALL || node->mode == kMethodCall || node->reach != Reach::Function) continue;
        if (node->argc != node->to.function->paramCount || !plainStatement(*node))
            partlyBound_.insert(node->to.function);
    }
}

bool Carryover::bindsAll(const FunctionRecord& function) {
    if (!callsKnown_) lookAtCalls();
    return !partlyBound_.contains(&function);
}

}  // namespace kestrel::fast
