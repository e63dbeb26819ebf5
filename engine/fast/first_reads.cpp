#include "engine/fast/first_reads.h"

#include "engine/program/node_modes.h"

#include <limits>
#include <set>
#include <unordered_map>
#include <vector>

namespace kestrel::fast {

namespace {

/// What of a function matters for what its locals hold, in order.
struct Event {
    enum class Kind : std::uint8_t { Reads, Assigns, Branches };
    Kind kind;
    std::uint32_t variable = 0;  ///< that is read or assigned
    const CodeNode* node = nullptr;
};
using Events = std::vector<Event>;

/// The nodes of a function, its end among them.
template <class Visit>
void forEachNode(const FunctionRecord& function, const Visit& visit) {
    for (const CodeNode* node = function.entry; node != nullptr; node = node->next) {
        visit(*node);
        if (node == function.end) return;
    }
}

/// Where control goes from the events of a function. Where that is not certain, to all places that there
/// could be.
class Flow {
public:
    explicit Flow(const FunctionRecord& function) {
        forEachNode(function, [this](const CodeNode& node) {
            if (!branches(node)) return;
            if (opens(node)) events_.emplace(&node, kNone);
            for (const CodeNode* each : {static_cast<const CodeNode*>(node.link), target(node), body(node)})
                if (each != nullptr) events_.emplace(each, kNone);
        });
    }

    /// A node, in order, and the number of events before it and of it.
    void passes(const CodeNode& node, std::size_t events) {
        if (events_.empty()) return;
        if (const auto found = events_.find(&node); found != events_.end()) found->second = events;
    }

    /// All events are known.
    void connect(const Events& events) {
        findSurroundings(events);
        begins_.resize(events.size(), false);
        for (std::size_t i = 0; i < events.size(); ++i)
            if (events[i].kind == Event::Kind::Branches)
                successors(events, i, [&](std::size_t next) { begins_[next] = true; });
    }

    /// Control may come there from elsewhere than from the event before.
    [[nodiscard]] bool beginsAt(std::size_t at) const { return begins_[at]; }

    /// Control goes to the next node, and nowhere else, from the others.
    [[nodiscard]] static bool branches(const CodeNode& node) {
        const OpcodeInfo* info = opcodeInfo(node.op);
        return info != nullptr && info->flow != OpFlow::Next && info->flow != OpFlow::Marker &&
               info->flow != OpFlow::ModalMarker;
    }

    /// Calls visit(index) for each event to which control may go from a node that branches.
    template <class Visit>
    void successors(const Events& events, std::size_t at, const Visit& visit) const {
        const CodeNode& node = *events[at].node;
        const auto behind = [&](const CodeNode* reached) {
            const auto found = events_.find(reached);
            if (found != events_.end() && found->second < events.size()) visit(found->second);
        };
        const auto around = [&](const auto& each) {
            for (std::size_t i = around_[at]; i != kNone; i = openers_[i].around)
                each(*events[openers_[i].at].node);
        };
        switch (node.op) {
            case OP_DECL:
            case OP_ENDIF:
            case OP_ENDCASE:
                if (node.link != nullptr) return behind(node.link);
                break;
            case OP_IF:
            case OP_CASE:
            case OP_WHEN:
                behind(node.link);
                break;
            case OP_WHILE:
                behind(node.operand.target);
                break;
            case OP_FORTEST:
                behind(node.operand.target);
                return behind(node.to.body);
            case OP_RETURN:
            case OP_ENDFUNC:
                return;
            case OP_BREAK:
            case OP_ENDWHEN:
                return around([&](const CodeNode& opener) { behind(opener.operand.target); });
            case OP_CONTINUE:
            case OP_ENDWHILE:
            case OP_ENDFOR:
            case OP_FORBODY:
                around([&](const CodeNode& loop) {
                    if (loop.op == OP_WHILE || node.op == OP_FORBODY) behind(loop.link);
                    if (loop.op != OP_WHILE) behind(&loop);
                });
                break;
            default:
                break;
        }
        if (at + 1 < events.size()) visit(at + 1);
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

    void findSurroundings(const Events& events) {
        around_.resize(events.size(), kNone);
        std::size_t innermost = kNone;
        for (std::size_t i = 0; i < events.size(); ++i) {
            while (innermost != kNone && openers_[innermost].end <= i) innermost = openers_[innermost].around;
            around_[i] = innermost;
            if (events[i].kind != Event::Kind::Branches || !opens(*events[i].node)) continue;
            const auto end = events_.find(events[i].node->operand.target);
            openers_.push_back({i, end != events_.end() ? end->second : kNone, innermost});
            innermost = openers_.size() - 1;
        }
    }

    /// Of the nodes that others lead to: the number of events before them and of them.
    std::unordered_map<const CodeNode*, std::size_t> events_;
    std::vector<bool> begins_;
    std::vector<Opener> openers_;
    std::vector<std::size_t> around_;  // of each event: the innermost opener that it stands in
};

using Variables = std::vector<const Variable*>;

/// The references that wait for the operator that takes them: references and their operators nest.
class References {
public:
    enum class Use : std::uint8_t { Nothing, Reads, Assigns };

    explicit References(const ResultCounts& results) : results_(results) {}

    /// What a node does with the references that it takes, if it takes any; taken() are the variables then.
    /// To be asked of each node in order. @param before  the node before it, or null
    [[nodiscard]] Use useBy(const CodeNode& node, const CodeNode* before) {
        const bool target = node.op == OP_VAR && node.mode == kReference;
        if (node.op == OP_BLOCK && node.mode == kAssignmentBlock) {
            if (inBlock_) open_.push_back(block_);
            block_ = {{}, true};
            inBlock_ = !inBlock_;
        } else if (inBlock_ && target) {
            block_.targets.push_back(node.operand.variable);
        } else if (opIs(node.next, OP_ASSIGNMARK) &&
                   (node.op == OP_VAR || node.op == OP_INDEX || node.op == OP_MEMBER ||
                    node.op == OP_RECORD || node.op == OP_IPCREF)) {
            open_.push_back({});
            if (target) open_.back().targets.push_back(node.operand.variable);
        } else if (node.op == OP_ASSIGN && !open_.empty()) {
            take();
            if (opIs(before, OP_LIST)) return Use::Reads;  // the values go to the array that is there
            return !taken_.isBlock || givesAll(before) ? Use::Assigns : Use::Nothing;
        } else if (familyOf(node.op) == OpFamily::Compound && !open_.empty()) {
            take();
            return Use::Reads;
        } else if (node.op == OP_ENDSTMT) {
            open_.clear();
            inBlock_ = false;
        }
        return Use::Nothing;
    }

    [[nodiscard]] const Variables& taken() const noexcept { return taken_.targets; }

private:
    struct Open {
        Variables targets;
        bool isBlock = false;
    };

    void take() {
        taken_ = std::move(open_.back());
        open_.pop_back();
    }

    /// The value of the assignment is a call that returns enough for every member of its block.
    [[nodiscard]] bool givesAll(const CodeNode* call) const {
        if (!opIs(call, OP_CALL) || call->mode == kMethodCall || call->reach != Reach::Function) return false;
        const int results = results_(*call->to.function);
        return results > 1 && static_cast<std::size_t>(results) >= taken_.targets.size();
    }

    const ResultCounts& results_;
    std::vector<Open> open_;
    Open block_;
    bool inBlock_ = false;
    Open taken_;
};

/// A walk over all ways, as far as loops and branches know them. Where a way is not certain, all that there
/// could be are taken.
class FirstReads {
public:
    FirstReads(const FunctionRecord& function, const ResultCounts& results)
        : function_(function), results_(results), flow_(function) {
        for (const Variable* v = function.params.head; v != nullptr; v = v->next) number(*v);
        const std::size_t parameters = variables_.size();
        for (const Variable* v = function.locals.head; v != nullptr; v = v->next) number(*v);
        findEvents();
        flow_.connect(events_);
        Set atEntry(variables_.size());
        for (std::size_t i = 0; i < parameters; ++i) atEntry.add(i);
        if (!events_.empty()) arrive(0, atEntry);
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

    void number(const Variable& variable) {
        numbers_.emplace(&variable, static_cast<std::uint32_t>(variables_.size()));
        variables_.push_back(&variable);
    }

    void add(Event::Kind kind, const Variable* variable) {
        if (variable == nullptr || variable->owner != &function_) return;
        if (const auto found = numbers_.find(variable); found != numbers_.end())
            events_.push_back({kind, found->second, nullptr});
    }
    void add(Event::Kind kind, const Variables& variables) {
        for (const Variable* each : variables) add(kind, each);
    }

    /// An operator reads its operands before it assigns.
    void findEvents() {
        References references(results_);
        const CodeNode* before = nullptr;
        forEachNode(function_, [&](const CodeNode& node) {
            const References::Use use = references.useBy(node, before);
            if (use == References::Use::Reads) add(Event::Kind::Reads, references.taken());
            readOperands(node);
            if (use == References::Use::Assigns) add(Event::Kind::Assigns, references.taken());
            if (Flow::branches(node)) events_.push_back({Event::Kind::Branches, 0, &node});
            flow_.passes(node, events_.size());
            before = &node;
        });
    }

    void readOperands(const CodeNode& node) {
        switch (node.op) {
            case OP_VAR:
                if (node.mode == kReference && !isIncrement(node.next->op)) return;
                [[fallthrough]];
            case OP_INDEX:
                if (node.mode == kMemberRead || node.mode == kMemberReference || node.mode == kRecordRead ||
                    node.mode == kRecordReference)
                    return add(Event::Kind::Reads, node.to.object);
                return add(Event::Kind::Reads, node.operand.variable);
            case OP_CALL:
                if (node.mode == kMethodCall) add(Event::Kind::Reads, node.to.object);
                return;
            case OP_HXOBJECT:
                return add(Event::Kind::Reads, node.operand.variable);
            case OP_NEG:
            case OP_NOT:
                if (node.mode == kStatementForm) add(Event::Kind::Reads, node.operand.variable);
                return;
            default:
                return;
        }
    }

    /// Follows control to where it may branch, or comes together.
    void walk(std::size_t at, Set assigned) {
        for (;; ++at) {
            const Event& event = events_[at];
            switch (event.kind) {
                case Event::Kind::Reads:
                    if (!assigned.has(event.variable)) found_.insert(variables_[event.variable]);
                    break;
                case Event::Kind::Assigns:
                    assigned.add(event.variable);
                    break;
                case Event::Kind::Branches:
                    return flow_.successors(events_, at, [&](std::size_t next) { arrive(next, assigned); });
            }
            if (at + 1 == events_.size()) return;
            if (flow_.beginsAt(at + 1)) return arrive(at + 1, assigned);
        }
    }

    void arrive(std::size_t at, const Set& assigned) {
        steps_ += assigned.words() + 1;
        const auto [place, isNew] = arrivals_.try_emplace(at);
        if (isNew) place->second = assigned;
        if (isNew || place->second.keepOnly(assigned)) open_.insert(at);
    }

    const FunctionRecord& function_;
    const ResultCounts& results_;
    Flow flow_;
    std::unordered_map<const Variable*, std::uint32_t> numbers_;
    Variables variables_;
    Events events_;
    std::unordered_map<std::size_t, Set> arrivals_;  // what is assigned on all ways that have come there
    std::set<std::size_t> open_;                     // where less is than the walk from there knew
    std::size_t steps_ = 0;
    std::unordered_set<const Variable*> found_;
};

}  // namespace

std::unordered_set<const Variable*> variablesReadFirst(const FunctionRecord& function,
                                                       const ResultCounts& results) {
    return FirstReads(function, results).run();
}

}  // namespace kestrel::fast
