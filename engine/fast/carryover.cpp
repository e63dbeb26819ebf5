#include "engine/fast/carryover.h"

#include "engine/context/builtin.h"
#include "engine/program/node_modes.h"

#include <algorithm>
#include <limits>
#include <set>
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

/// Where control goes from the nodes of a function. Where that is not certain, to all places that there could
/// be.
class Flow {
public:
    explicit Flow(const Nodes& nodes)
        : nodes_(nodes), begins_(nodes.size(), false), around_(nodes.size(), kNone) {
        for (const CodeNode* node : nodes) {
            if (!branches(*node)) continue;
            if (opens(*node)) indexes_.emplace(node, kNone);
            for (const CodeNode* each :
                 {static_cast<const CodeNode*>(node->link), target(*node), body(*node)})
                if (each != nullptr) indexes_.emplace(each, kNone);
        }
        for (std::size_t i = 0; i < nodes.size(); ++i)
            if (const auto found = indexes_.find(nodes[i]); found != indexes_.end()) found->second = i;
        findSurroundings();
        for (std::size_t i = 0; i < nodes.size(); ++i)
            if (branches(*nodes[i])) successors(i, [&](std::size_t next) { begins_[next] = true; });
    }

    /// Control may come there from elsewhere than from the node before.
    [[nodiscard]] bool beginsAt(std::size_t at) const { return begins_[at]; }

    /// Control goes to the next node, and nowhere else, from the others.
    [[nodiscard]] static bool branches(const CodeNode& node) {
        const OpcodeInfo* info = opcodeInfo(node.op);
        return info != nullptr && info->flow != OpFlow::Next && info->flow != OpFlow::Marker &&
               info->flow != OpFlow::ModalMarker;
    }

    /// Calls visit(index) for each node to which control may go from a node that branches.
    template <class Visit>
    void successors(std::size_t at, const Visit& visit) const {
        const CodeNode& node = *nodes_[at];
        switch (node.op) {
            case OP_DECL:
            case OP_ENDIF:
            case OP_ENDCASE:
                if (node.link != nullptr) return behind(node.link, visit);
                break;
            case OP_IF:
            case OP_CASE:
            case OP_WHEN:
                behind(node.link, visit);
                break;
            case OP_WHILE:
                behind(node.operand.target, visit);
                break;
            case OP_FORTEST:
                behind(node.operand.target, visit);
                return behind(node.to.body, visit);
            case OP_RETURN:
            case OP_ENDFUNC:
                return;
            case OP_BREAK:
            case OP_ENDWHEN:
                for (std::size_t each = around_[at]; each != kNone; each = openers_[each].around)
                    behind(opener(each).operand.target, visit);
                return;
            case OP_CONTINUE:
            case OP_ENDWHILE:
            case OP_ENDFOR:
            case OP_FORBODY:
                for (std::size_t each = around_[at]; each != kNone; each = openers_[each].around) {
                    const CodeNode& loop = opener(each);
                    if (loop.op == OP_WHILE || node.op == OP_FORBODY) behind(loop.link, visit);
                    if (loop.op != OP_WHILE) behind(&loop, visit);
                }
                break;
            default:
                break;
        }
        if (at + 1 < nodes_.size()) visit(at + 1);
    }

private:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

    /// A loop, switch or select, and the one that it stands in.
    struct Opener {
        std::size_t at = 0;
        std::size_t end = kNone;
        std::size_t around = kNone;
    };

    [[nodiscard]] static bool opens(const CodeNode& node) {
        const OpcodeInfo* info = opcodeInfo(node.op);
        return node.op == OP_WHILE || node.op == OP_FORTEST ||
               (info != nullptr && info->flow == OpFlow::Open);
    }
    [[nodiscard]] static const CodeNode* target(const CodeNode& node) {
        return opens(node) ? node.operand.target : nullptr;
    }
    [[nodiscard]] static const CodeNode* body(const CodeNode& node) {
        return node.op == OP_FORTEST ? node.to.body : nullptr;
    }
    [[nodiscard]] const CodeNode& opener(std::size_t which) const { return *nodes_[openers_[which].at]; }

    [[nodiscard]] std::size_t indexOf(const CodeNode* node) const {
        const auto found = indexes_.find(node);
        return found != indexes_.end() ? found->second : kNone;
    }

    void findSurroundings() {
        std::size_t innermost = kNone;
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            while (innermost != kNone && openers_[innermost].end < i) innermost = openers_[innermost].around;
            around_[i] = innermost;
            if (!opens(*nodes_[i])) continue;
            openers_.push_back({i, indexOf(nodes_[i]->operand.target), innermost});
            innermost = openers_.size() - 1;
        }
    }

    template <class Visit>
    void behind(const CodeNode* node, const Visit& visit) const {
        const std::size_t index = indexOf(node);
        if (index != kNone && index + 1 < nodes_.size()) visit(index + 1);
    }

    const Nodes& nodes_;
    std::unordered_map<const CodeNode*, std::size_t> indexes_;  // of those that others lead to
    std::vector<bool> begins_;
    std::vector<Opener> openers_;
    std::vector<std::size_t> around_;  // of each node: the innermost opener that it stands in
};

/// Which locals a function may read before it has assigned them, what compilers call definite assignment: a
/// walk over all ways, as far as loops and branches know them. Where a way is not certain, all that there
/// could be are taken.
class FirstReads {
public:
    FirstReads(const FunctionRecord& function, Carryover& carryover)
        : carryover_(carryover), nodes_(nodesOf(function)), flow_(nodes_) {
        for (const Variable* v = function.params.head; v != nullptr; v = v->next) number(*v);
        const std::size_t parameters = variables_.size();
        for (const Variable* v = function.locals.head; v != nullptr; v = v->next) number(*v);
        findUses();
        Set atEntry(variables_.size());
        for (std::size_t i = 0; i < parameters; ++i) atEntry.add(i);
        if (!nodes_.empty()) arrive(0, atEntry);
    }

    [[nodiscard]] std::unordered_set<const Variable*> run() {
        // The first place first: what comes together behind it has then come together before it goes on.
        while (!open_.empty() && steps_ < kMostSteps) {
            const std::size_t at = *open_.begin();
            open_.erase(open_.begin());
            walk(at, arrivals_.at(at));
        }
        // Without an end in sight any could be.
        if (!open_.empty()) found_.insert(variables_.begin(), variables_.end());
        return std::move(found_);
    }

private:
    /// A bit for each variable.
    class Set {
    public:
        explicit Set(std::size_t variables = 0) : words_((variables + 63) / 64) {}
        [[nodiscard]] bool has(std::size_t variable) const {
            return (words_[variable / 64] >> variable % 64 & 1) != 0;
        }
        void add(std::size_t variable) { words_[variable / 64] |= std::uint64_t{1} << variable % 64; }
        /// @return whether it has lost any
        bool keepOnly(const Set& others) {
            bool fewer = false;
            for (std::size_t i = 0; i < words_.size(); ++i) {
                fewer = fewer || (words_[i] & ~others.words_[i]) != 0;
                words_[i] &= others.words_[i];
            }
            return fewer;
        }
        [[nodiscard]] std::size_t words() const noexcept { return words_.size(); }

    private:
        std::vector<std::uint64_t> words_;
    };
    /// Words of sets that are looked at: beyond, with thousands of branches and of variables, it would take
    /// longer than all else.
    static constexpr std::size_t kMostSteps = std::size_t{1} << 22;
    using Variables = std::vector<const Variable*>;

    /// An operator assigns to a reference, or reads what it refers to.
    struct Use {
        std::size_t at = 0;
        std::size_t variable = 0;
        bool assigns = false;
    };

    void number(const Variable& variable) {
        numbers_.emplace(&variable, variables_.size());
        variables_.push_back(&variable);
    }

    [[nodiscard]] const std::size_t* numberOf(const Variable* variable) const {
        const auto found = numbers_.find(variable);
        return found != numbers_.end() ? &found->second : nullptr;
    }

    /// Finds what each operator that takes references assigns or reads: references and their operators nest.
    void findUses() {
        struct Open {
            Variables targets;
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
                    addUses(i, open.back().targets, false);
                else if (!open.back().isBlock || givesAll(node, open.back().targets.size()))
                    addUses(i, open.back().targets, true);
                open.pop_back();
            } else if (familyOf(node.op) == OpFamily::Compound && !open.empty()) {
                addUses(i, open.back().targets, false);
                open.pop_back();
            } else if (node.op == OP_ENDSTMT) {
                open.clear();
                inBlock = false;
            }
        }
    }

    void addUses(std::size_t at, const Variables& targets, bool assigns) {
        for (const Variable* each : targets)
            if (const std::size_t* number = numberOf(each)) uses_.push_back({at, *number, assigns});
    }

    /// The value of the assignment is a call that returns enough for every member of its block.
    [[nodiscard]] bool givesAll(const CodeNode& assignment, std::size_t members) {
        const CodeNode* call = assignment.prev;
        if (!opIs(call, OP_CALL) || call->mode == kMethodCall || call->reach != Reach::Function) return false;
        const int results = carryover_.results(*call->to.function);
        return results > 1 && static_cast<std::size_t>(results) >= members;
    }

    void read(std::size_t number, const Set& assigned) {
        if (!assigned.has(number)) found_.insert(variables_[number]);
    }
    void read(const Variable* variable, const Set& assigned) {
        if (const std::size_t* number = numberOf(variable)) read(*number, assigned);
    }

    /// Follows control from a node to the next where it may branch, or comes together.
    void walk(std::size_t at, Set assigned) {
        auto use = std::ranges::lower_bound(uses_, at, {}, &Use::at);
        for (;; ++at) {
            for (auto each = use; each != uses_.end() && each->at == at; ++each)
                if (!each->assigns) read(each->variable, assigned);
            readOperands(*nodes_[at], assigned);
            for (; use != uses_.end() && use->at == at; ++use)
                if (use->assigns) assigned.add(use->variable);
            if (Flow::branches(*nodes_[at]))
                return flow_.successors(at, [&](std::size_t next) { arrive(next, assigned); });
            if (at + 1 == nodes_.size()) return;
            if (flow_.beginsAt(at + 1)) return arrive(at + 1, assigned);
        }
    }

    void arrive(std::size_t at, const Set& assigned) {
        steps_ += assigned.words() + 1;
        const auto [place, isNew] = arrivals_.try_emplace(at);
        if (isNew) place->second = assigned;
        if (isNew || place->second.keepOnly(assigned)) open_.insert(at);
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

    Carryover& carryover_;
    Nodes nodes_;
    Flow flow_;
    std::unordered_map<const Variable*, std::size_t> numbers_;
    Variables variables_;
    std::vector<Use> uses_;                          // in order
    std::unordered_map<std::size_t, Set> arrivals_;  // what is assigned on all ways that have come there
    std::set<std::size_t> open_;                     // where less is than the walk from there knew
    std::size_t steps_ = 0;
    std::unordered_set<const Variable*> found_;
};

}  // namespace

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
    if (known == readFirst_.end()) known = readFirst_.emplace(owner, FirstReads(*owner, *this).run()).first;
    return known->second.contains(&variable);
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
