#include "host/counter_object.h"

#include "engine/context/context.h"
#include "engine/operations/members.h"

namespace kestrel {

namespace {

Counter& counterOf(const Variable& variable) {
    return *static_cast<Counter*>(variable.object);
}

template <double Counter::*kField>
void read(EngineContext& ctx, const MemberAccess& access, const MemberRow&) {
    ctx.stack.push(ValueCell::ofNumber(counterOf(*access.object).*kField));
}

void writeStep(EngineContext& ctx, const MemberAccess& access, const MemberRow&, const ValueCell& value,
               int op) {
    double& step = counterOf(*access.object).step;
    const MemberUpdate update = updateNumberMember(ctx, step, value.firstDouble(), op);
    if (!update.ok) return;
    step = update.value;
    if (update.pushes) ctx.stack.push(ValueCell::ofNumber(update.pushed));
}

void next(MethodCall& call) {
    Counter& counter = counterOf(call.object);
    counter.count += counter.step;
    call.resultNumber(counter.count);
}

void reset(MethodCall& call) {
    counterOf(call.object).count = 0.0;
    call.none();
}

constexpr MemberRow kMembers[] = {
    {"count", MemberType::Number, 1, read<&Counter::count>, nullptr, 0, "Where the counter stands."},
    {"step", MemberType::Number, 1, read<&Counter::step>, writeStep, 0, "What next() adds."},
};

constexpr MethodRow kMethods[] = {
    {"next", next, 0, 0, "c.next()", "Counts on; the new count."},
    {"reset", reset, 0, 0, "c.reset()", "Starts from 0 again."},
};

}  // namespace

CounterKind::CounterKind() : ObjectKind(ObjectInterface("counter", kMembers, kMethods, {})) {}

}  // namespace kestrel
