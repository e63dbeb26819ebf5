#include "agents/agent_kind.h"

#include "agents/agent_pool.h"
#include "engine/operations/operators.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace kestrel::agents {

namespace {

// What libraries are told an assignment does is the code of its instruction.
constexpr struct {
    int theirs;
    int ours;
} kOperations[] = {
    {KESTREL_ASSIGN, OP_ASSIGN},
    {KESTREL_ADD, OP_ADDASSIGN},
    {KESTREL_SUBTRACT, OP_SUBASSIGN},
    {KESTREL_DIVIDE, OP_DIVASSIGN},
    {KESTREL_MULTIPLY, OP_MULASSIGN},
    {KESTREL_POST_INCREMENT, OP_POSTINC},
    {KESTREL_POST_DECREMENT, OP_POSTDEC},
    {KESTREL_PRE_DECREMENT, OP_PREDEC},
    {KESTREL_PRE_INCREMENT, OP_PREINC},
    {KESTREL_XOR, OP_XORASSIGN},
    {KESTREL_OR, OP_ORASSIGN},
    {KESTREL_AND, OP_ANDASSIGN},
};
static_assert(std::ranges::all_of(kOperations, [](const auto& each) { return each.theirs == each.ours; }));

// Every read, write and call is answered by the class itself; the wording only says that there may be
// members.
constexpr KindWording kWording = {
    .unknownMethod = MessageId::UnknownAgentMethod,
    .unknownMemberRead = MessageId::UnknownAgentMember,
    .unknownMemberWrite = MessageId::UnknownAgentMember,
};

constexpr std::string_view kNoNameYet = "??";

Agent* agentOf(const Variable& variable) noexcept {
    return static_cast<Agent*>(variable.object);
}

std::string_view nameOf(const void* object) noexcept {
    const auto* agent = static_cast<const Agent*>(object);
    return agent != nullptr && agent->name != nullptr ? agent->name : "";
}

std::int32_t nativeIndex(std::int64_t index) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(index, Limits::min(), Limits::max()));
}

/// What "assigndata" says, beside its codes: an exception has been reported, and nothing more is to be said.
constexpr std::int32_t kAssignmentFailed = -1;

/// Reads a member that the class has. One that fails with an exception is Nil.
std::optional<ValueCell> memberValue(const Agent& agent, const AgentClass& owner,
                                     const MemberAccess& access) {
    if (!owner.returnsData()) return std::nullopt;
    Exchange& exchange = owner.agents().exchange;
    exchange.begin();
    std::optional<KestrelCall> call = agent.callFor(owner);
    if (!call) return ValueCell::ofNil();
    exchange.end(*call);
    const auto result = owner.returnData(*call, access.member, nativeIndex(access.index));
    return result ? exchange.single(*result) : ValueCell::ofNil();
}

/// Assigns a member that the class has.
std::int32_t assignMember(const Agent& agent, const AgentClass& owner, const MemberAccess& access,
                          const ValueCell& value, int op) {
    if (!owner.assignsData()) return KESTREL_BAD_OPERATION;
    Exchange& exchange = owner.agents().exchange;
    exchange.begin();
    if (!exchange.add(value)) return KESTREL_BAD_TYPE;
    std::optional<KestrelCall> call = agent.callFor(owner);
    if (!call) return kAssignmentFailed;
    exchange.end(*call);
    const auto outcome =
        owner.assignData(*call, access.member, nativeIndex(access.index), op, *call->arguments);
    if (!outcome) return kAssignmentFailed;
    return *outcome == kAssignmentFailed ? KESTREL_ASSIGNED : *outcome;
}

void reportOutcome(EngineContext& ctx, const MemberAccess& access, std::int32_t outcome) {
    const char* const variable = access.object->name;
    if (outcome == KESTREL_BAD_TYPE)
        ctx.report(MessageId::AgentMemberType, access.owner(), variable, access.member);
    else if (outcome == KESTREL_UNKNOWN)
        ctx.report(MessageId::UnknownAgentMember, access.owner(), variable, access.member);
    else if (outcome == KESTREL_BAD_OPERATION)
        ctx.report(MessageId::AgentAssignmentType, access.owner(), variable, access.member);
}

bool succeeded(std::int32_t outcome) noexcept {
    return outcome != kAssignmentFailed && (outcome < KESTREL_BAD_TYPE || outcome > KESTREL_BAD_OPERATION);
}

/// "++" and "--": what the expression yields is what the member reads as before or afterwards.
bool incrementMember(EngineContext& ctx, const Agent& agent, const AgentClass& owner,
                     const MemberAccess& access, int op, ValueCell& out) {
    std::optional<ValueCell> yielded;
    if (isPostfix(op)) yielded = memberValue(agent, owner, access);
    const std::int32_t outcome = assignMember(agent, owner, access, ValueCell::ofInteger(1.0), op);
    if (!succeeded(outcome)) {
        if (yielded) ctx.stack.release(*yielded);
        reportOutcome(ctx, access, outcome);
        return false;
    }
    if (!isPostfix(op)) yielded = memberValue(agent, owner, access);
    if (yielded) out = *yielded;
    return yielded.has_value();
}

void runNative(BuiltinCall& call, const Agent& agent, const AgentMethod& method) {
    Exchange& exchange = method.owner->agents().exchange;
    exchange.begin();
    if (method.aliased) exchange.addText(call.name);
    if (!exchange.addAll(call)) return call.result(ValueCell::ofNil());
    std::optional<KestrelCall> native = agent.callFor(*method.owner);
    if (!native) return call.result(ValueCell::ofNil());
    exchange.end(*native);
    const std::optional<const KestrelRecord*> results = guarded(call.ctx, call.name, [&] {
        return method.function(native->argument_count, native->arguments, &*native);
    });
    if (!results) return call.result(ValueCell::ofNil());
    exchange.finish(call, *results);
}

}  // namespace

AgentKind::AgentKind()
    : ObjectKind(ObjectInterface("object of a class", {}, {}, kWording),
                 {.counted = true, .endsWithActivation = true}) {}

bool AgentKind::text(TextUse use, const void* object, ObjectText& out) const {
    const auto* agent = static_cast<const Agent*>(object);
    if (agent == nullptr || use == TextUse::Dump) return false;
    out = {.before = "", .body = agent->name != nullptr ? agent->name : kNoNameYet, .after = ""};
    if (use != TextUse::Name) out.before = agent->agentClass->label();
    return true;
}

bool AgentKind::compare(int op, const ValueCell& left, const ValueCell& right) const {
    const std::string_view name = nameOf(left.object);
    if (right.type == ObjectAgent) return textRelation(op, name, nameOf(right.object));
    return textRelation(op, name, right.isText() ? right.text : "");
}

bool AgentKind::refusedInLists(const void* object, const Variable&, std::string_view& label,
                               std::string_view& name) const {
    const auto* agent = static_cast<const Agent*>(object);
    label = "ObjectAgent";
    name = agent != nullptr && agent->name != nullptr ? agent->name : kNoNameYet;
    return true;
}

void* AgentKind::assigned(EngineContext& ctx, void* object) {
    hold(ctx, object);
    return object;
}

void AgentKind::named(void* object, const Variable& variable) {
    if (object != nullptr) static_cast<Agent*>(object)->name = variable.name;
    if (variable.owner != nullptr) variable.owner->ownsObjects = true;
}

void AgentKind::hold(EngineContext&, void* object) {
    if (auto* agent = static_cast<Agent*>(object)) agent->agentClass->agents().hold(*agent);
}

void AgentKind::drop(EngineContext&, void* object) {
    if (auto* agent = static_cast<Agent*>(object)) agent->agentClass->agents().drop(*agent);
}

void AgentKind::sweep(EngineContext& ctx) {
    if (ctx.services.natives != nullptr) ctx.services.natives->sweep();
}

std::optional<bool> AgentKind::beginRead(EngineContext& ctx, const MemberAccess& access, ValueCell& out) {
    const Agent* const agent = agentOf(*access.object);
    const AgentClass* owner =
        agent != nullptr ? agent->agentClass->memberOwner(access.name, access.member) : nullptr;
    if (owner == nullptr) {
        ctx.report(MessageId::UnknownAgentMember, access.owner(), access.object->name, access.member);
        out = ValueCell::ofNil();
        return true;
    }
    const std::optional<ValueCell> value = memberValue(*agent, *owner, access);
    if (value) out = *value;
    return value.has_value();
}

std::optional<bool> AgentKind::beginWrite(EngineContext& ctx, const MemberAccess& access,
                                          const ValueCell& value, int op, ValueCell& out) {
    const Agent* const agent = agentOf(*access.object);
    const AgentClass* owner =
        agent != nullptr ? agent->agentClass->memberOwner(access.name, access.member) : nullptr;
    if (owner == nullptr)
        reportOutcome(ctx, access, KESTREL_UNKNOWN);
    else if (isIncrement(op))
        return incrementMember(ctx, *agent, *owner, access, op, out);
    else
        reportOutcome(ctx, access, assignMember(*agent, *owner, access, value, op));
    return false;
}

void AgentKind::unknownMethod(EngineContext& ctx, const Variable& object, const CodeNode& call) {
    if (!ctx.need(call.argc)) return;
    const char* const name = call.operand.variable->name;
    const Agent* const agent = agentOf(object);
    if (agent == nullptr) return ObjectKind::unknownMethod(ctx, object, call);
    const AgentMethod& method = agent->agentClass->method(call.name, name);
    if (method.state == AgentMethod::State::Found) {
        BuiltinCall running(ctx, call, name);
        return runNative(running, *agent, method);
    }
    if (method.state == AgentMethod::State::Unknown) return ObjectKind::unknownMethod(ctx, object, call);
    ctx.report(MessageId::AgentMethodMissing, name);
    ctx.stack.drop(call.argc);
}

}  // namespace kestrel::agents
