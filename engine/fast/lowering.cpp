#include "engine/fast/lowering.h"

#include "engine/program/node_modes.h"

#include <cfenv>

namespace kestrel::fast {

namespace {

/// Restarts each of which knows more.
constexpr int kMostRestarts = 24;
/// Nodes for which room is made beforehand. Longer functions are not lowered, as a rule.
constexpr std::size_t kMostReserved = 400'000;

/// Looks at everything that `process` reaches: which variables it may write, and whether it may poll.
class Survey {
public:
    explicit Survey(Knowledge& knowledge)
        : written_(knowledge.written), polls_(knowledge.polls), length_(knowledge.length) {}

    void of(const FunctionRecord& function) {
        if (!seen_.insert(&function).second) return;
        for (const CodeNode* node = function.entry; node != nullptr && node != function.end;
             node = node->next) {
            ++length_;
            switch (node->op) {
                case OP_VAR:
                case OP_INDEX:
                    if (node->mode == kReference || node->mode == kDeclare)
                        written_.insert(node->operand.variable);
                    else if (node->mode == kMemberReference || node->mode == kRecordReference)
                        written_.insert(node->to.object);
                    break;
                case OP_NEG:
                case OP_NOT:
                    if (node->mode == kStatementForm) written_.insert(node->operand.variable);
                    break;
                case OP_WHILE:
                case OP_FORTEST:
                    polls_ = true;
                    break;
                case OP_CALL:
                    polls_ = true;
                    if (node->mode == kMethodCall)
                        written_.insert(node->to.object);
                    else if (node->reach == Reach::Function)
                        of(*node->to.function);
                    break;
                default:
                    break;
            }
        }
    }

private:
    std::unordered_set<const Variable*>& written_;
    bool& polls_;
    std::size_t& length_;
    std::unordered_set<const FunctionRecord*> seen_;
};

}  // namespace

Lowering::Lowering(EngineContext& ctx, Carryover& carryover, const FunctionRecord& process,
                   Knowledge& knowledge)
    : ctx_(ctx), carryover_(carryover), process_(process), knowledge_(knowledge) {
    // Of the nodes most are operands and marks.
    builder_.reserve(std::min(knowledge.length, kMostReserved) / 3);
}

Lowered Lowering::run() {
    if (process_.paramCount > 1) refuse("process has several parameters");
    // The host passes the sample, also to a process without a parameter.
    activations_.push_back({nullptr, 0, 0, {}});
    push(Cell::ofKind(ShaderObj));
    // A run that is to end ends at the first call or backward jump: the interpreter knows where. What has
    // none shades on.
    if (knowledge_.polls) poll();
    preload();
    enter(process_, static_cast<std::size_t>(process_.paramCount));
    activations_.erase(activations_.begin());
    finishActivation();
    finish();
    Lowered lowered{builder_.take(), std::move(assumptions_), std::move(refusals_), std::move(undo_),
                    std::move(asks_)};
    lowered.code.undo = lowered.undo.get();
    removeDead(lowered.code);
    return lowered;
}

std::variant<Lowered, Refusal> lower(EngineContext& ctx, Carryover& carryover, const FunctionRecord& process,
                                     const Experience& experience) {
    if (carryover.observed()) return Refusal{"dump() looks at all variables"};
    if (ctx.reporter.state.reportUnused)
        return Refusal{"variables that are never assigned are to be reported"};
    if (std::fegetround() != FE_TONEAREST) return Refusal{"numbers are not rounded to the nearest"};
    Knowledge knowledge;
    knowledge.written = experience.unsteady;
    knowledge.ambiguous = experience.ambiguous;
    knowledge.mixed = experience.mixed;
    Survey(knowledge).of(process);
    for (int i = 0; i < kMostRestarts; ++i) {
        try {
            return Lowering(ctx, carryover, process, knowledge).run();
        } catch (const NeedsPreload& missing) {
            for (const std::size_t slot : missing.slots) knowledge.slots.infos[slot].preload = true;
        } catch (const Restart&) {
        } catch (const Unlowerable& reason) {
            return Refusal{reason.reason, reason.line};
        }
    }
    return Refusal{"it is too entangled"};
}

}  // namespace kestrel::fast
