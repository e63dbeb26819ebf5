#include "engine/operations/members.h"

#include "engine/context/kind_table.h"
#include "engine/operations/operators.h"
#include "engine/operations/slots.h"

#include <cstdint>

namespace kestrel {

namespace {

/// Drops what is left of an index list, its DimMark included.
void dropIndexList(EngineContext& ctx) {
    int i = ctx.stack.size() - 1;
    while (i >= ctx.base() && ctx.stack.at(i).type != DimMark) --i;
    if (i >= ctx.base()) ctx.stack.dropTo(i);
}

/// Reports an index list that is not one number between its marks, and drops it.
bool refuseIndex(EngineContext& ctx, MessageTaking<> message) {
    dropIndexList(ctx);
    ctx.report(message);
    return false;
}

/// Takes the index list of a member off the stack: exactly one number above the opening marks.
/// @return false after reporting
bool takeMemberIndex(EngineContext& ctx, std::int64_t& index) {
    EvalStack& stack = ctx.stack;
    if (stack.size() - ctx.base() >= 3 && stack.top(0).isNumeric() && stack.top(1).type == SepMark &&
        stack.top(2).type == DimMark) [[likely]] {
        index = truncate(stack.top().number);
        stack.forgetTo(stack.size() - 3);
        return true;
    }
    const auto topIs = [&ctx](std::int32_t tag) {
        return ctx.stack.size() > ctx.base() && ctx.stack.top().type == tag;
    };
    if (topIs(SepMark) || topIs(DimMark)) return refuseIndex(ctx, MessageId::MemberIndexType);
    if (!ctx.need(1)) return false;
    const ValueCell value = stack.take();
    if (!value.isNumeric() && value.type != VarRef) {
        stack.release(value);
        return refuseIndex(ctx, MessageId::MemberIndexType);
    }
    if (topIs(SepMark)) stack.drop(1);
    if (!topIs(DimMark)) return refuseIndex(ctx, MessageId::MemberDimensions);
    stack.drop(1);
    index = truncate(value.firstDouble());
    return true;
}

MemberAccess accessOf(const CodeNode& memberNode, Variable& object) noexcept {
    return {&object, memberNode.operand.variable->name, memberNode.name, -1};
}

}  // namespace

void readMember(EngineContext& ctx, const CodeNode& memberNode, bool indexed) {
    MemberAccess access = accessOf(memberNode, targetVariable(objectNode(memberNode)));
    if (indexed && !takeMemberIndex(ctx, access.index)) return;
    const FreshVariable fresh(ctx, *access.object);
    ctx.kinds().of(access.object->type).readMember(ctx, access);
}

void assignMemberOnTop(EngineContext& ctx, int op) {
    if (!ctx.need(2)) return;
    const ValueCell value = ctx.stack.take();
    writeMemberOnTop(ctx, value, op);
    ctx.stack.release(value);
}

void writeMemberOnTop(EngineContext& ctx, const ValueCell& value, int op) {
    if (!ctx.need(1)) return;
    const CodeNode& memberNode = *ctx.stack.top().node;
    const bool indexed = ctx.stack.top().type == IndexedMemberRef;
    ctx.stack.forgetTo(ctx.stack.size() - 1);  // a reference owns nothing
    MemberAccess access = accessOf(memberNode, targetVariable(objectNode(memberNode)));
    if (indexed && !takeMemberIndex(ctx, access.index)) return;
    const FreshVariable fresh(ctx, *access.object);
    ctx.kinds().of(access.object->type).writeMember(ctx, access, value, op);
}

void callMethod(EngineContext& ctx, const CodeNode& call, Variable& object) {
    const FreshVariable fresh(ctx, object);
    ctx.kinds().of(object.type).callMethod(ctx, object, call);
}

void readField(EngineContext& ctx, const CodeNode& memberNode) {
    const MemberAccess access = accessOf(memberNode, *objectNode(memberNode).operand.variable);
    ctx.kinds().of(access.object->type).readField(ctx, access);
}

void writeField(EngineContext& ctx, const CodeNode& memberNode, const ValueCell& value, int op) {
    const MemberAccess access = accessOf(memberNode, *objectNode(memberNode).operand.variable);
    ctx.kinds().of(access.object->type).writeField(ctx, access, value, op);
}

MemberUpdate updateNumberMember(EngineContext& ctx, double current, double value, int op) {
    if (op == OP_ASSIGN) return {.ok = true, .value = value};
    if (isIncrement(op)) {
        const double changed = current + incrementStep(op);
        return {.ok = true, .value = changed, .pushes = true, .pushed = isPostfix(op) ? current : changed};
    }
    MemberUpdate update;
    update.ok = combineNumbers(ctx, plainOperator(op), current, value, update.value);
    return update;
}

}  // namespace kestrel
