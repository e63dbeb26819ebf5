#include "engine/operations/collector.h"

#include "engine/context/context.h"
#include "engine/context/kind_table.h"
#include "engine/operations/arrays.h"
#include "engine/operations/storage.h"
#include "engine/values/array_record.h"
#include "engine/values/record_instance.h"

#include <utility>

namespace kestrel {

namespace {

void reach(const LinkedList<Variable>& variables) {
    for (const Variable* variable = variables.head; variable != nullptr; variable = variable->next)
        if (ArrayRecord* array = variable->heldArray()) array->reached = true;
}

void reach(const ValueCell& cell) {
    if ((cell.type == ArrayRef || cell.type == NewArray) && cell.array != nullptr) cell.array->reached = true;
}

/// Elements never hold arrays; members do where a record was constructed with one.
void reachAll(EngineContext& ctx) {
    if (ctx.program != nullptr) {
        reach(ctx.program->globals);
        for (const FunctionRecord* function = ctx.program->functions.head; function != nullptr;
             function = function->next) {
            reach(function->params);
            reach(function->locals);
        }
    }
    for (int i = 0; i < ctx.stack.size(); ++i) reach(ctx.stack.at(i));
    for (const std::unique_ptr<RecordInstance>& record : ctx.records)
        for (const RecordMember& member : record->members) reach(member.value);
}

/// What ends with an array may run code that comes back here.
class Collecting {
public:
    explicit Collecting(bool& flag) : flag_(flag) { flag_ = true; }
    ~Collecting() { flag_ = false; }
    Collecting(const Collecting&) = delete;
    Collecting& operator=(const Collecting&) = delete;

private:
    bool& flag_;
};

}  // namespace

/// Objects of libraries run code when they end, so each array leaves the list before its elements let go.
void collectArrays(EngineContext& ctx) {
    if (ctx.collecting) return;
    const Collecting collecting(ctx.collecting);
    reachAll(ctx);
    for (std::size_t i = ctx.arrays.size(); i > 0; --i) {
        if (std::exchange(ctx.arrays[i - 1]->reached, false)) continue;
        const std::unique_ptr<ArrayRecord> lost =
            std::exchange(ctx.arrays[i - 1], std::move(ctx.arrays.back()));
        ctx.arrays.pop_back();
        for (ValueCell& element : lost->elements) clear(ctx, element);
    }
    ctx.pool.collected();
}

void collectLost(EngineContext& ctx) {
    collectArrays(ctx);
    // What goes may have held others. Long chains are left to later calls.
    constexpr int kRounds = 8;
    for (int round = 0; round < kRounds && ctx.looseObjects > 0; ++round) {
        const std::size_t before = ctx.looseObjects;
        ctx.kinds().sweep(ctx);
        if (ctx.looseObjects == before) break;
    }
}

}  // namespace kestrel
