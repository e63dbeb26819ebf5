#include "engine/run/collector.h"

#include "engine/context/context.h"
#include "engine/operations/arrays.h"
#include "engine/values/array_record.h"

#include <utility>

namespace kestrel {

namespace {

void reach(const LinkedList<Variable>& variables) {
    for (const Variable* variable = variables.head; variable != nullptr; variable = variable->next)
        if (ArrayRecord* array = variable->array()) array->reached = true;
}

void reach(const ValueCell& cell) {
    if ((cell.type == ArrayRef || cell.type == NewArray) && cell.payload.array != nullptr)
        cell.payload.array->reached = true;
}

/// Elements never hold arrays, so nothing else has to be looked at.
void reachAll(EngineContext& ctx) {
    reach(ctx.program->globals);
    for (const FunctionRecord* function = ctx.program->functions.head; function != nullptr;
         function = function->next) {
        reach(function->params);
        reach(function->locals);
    }
    for (int i = 0; i < ctx.stack.size(); ++i) reach(ctx.stack.at(i));
}

}  // namespace

void collectArrays(EngineContext& ctx) {
    reachAll(ctx);
    std::erase_if(ctx.arrays, [&ctx](const std::unique_ptr<ArrayRecord>& array) {
        if (std::exchange(array->reached, false)) return false;
        for (ValueCell& element : array->elements) clearElement(ctx, element);
        return true;
    });
    ctx.pool.collected();
}

}  // namespace kestrel
