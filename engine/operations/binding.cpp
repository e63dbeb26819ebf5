#include "engine/operations/binding.h"

#include "engine/context/kind_table.h"
#include "engine/operations/storage.h"

namespace kestrel {

namespace {

/// A whole variable as argument: the parameter takes over its alias, type, number and flags and a copy of its
/// text.
bool bindWholeVariable(EngineContext& ctx, Variable& parameter, const Variable* source, int position,
                       const char* function) {
    if (source == nullptr) {
        ctx.report(MessageId::ArgumentWithoutVariable, position, function);
        return false;
    }
    parameter.alias = source->alias;
    parameter.type = source->type;
    parameter.number = source->number;
    parameter.flags = source->flags;
    if (source->holdsText()) parameter.text = ctx.pool.keep(source->text);
    return true;
}

}  // namespace

bool bindArgument(EngineContext& ctx, Variable& parameter, const ValueCell& cell, int position,
                  const char* function) {
    parameter.number = 0.0;
    parameter.flags = 0;
    if (areInline(parameter, cell)) [[likely]] {
        setInline(parameter, cell);
        return true;
    }
    if (cell.type == ArrayRef) {
        holdArray(ctx, parameter, cell.array);
        return true;
    }
    letGo(ctx, parameter);
    parameter.object = nullptr;
    if (cell.type == VarArgRef) return bindWholeVariable(ctx, parameter, cell.variable, position, function);
    if (isStorable(cell.type) || cell.type == VarRef) {
        // A reference, where a call brings fewer arguments than parameters, counts as 0. Of a text that finds
        // no memory the parameter is the empty one.
        parameter.type = cell.isText() ? String : Uninitialized;
        store(ctx, parameter, cell);
        if (isObjectKind(cell.type)) ctx.kinds().of(cell.type).named(cell.object, parameter);
    }  // otherwise the type stays what it was at the last use
    return !ctx.run.abort;
}

}  // namespace kestrel
