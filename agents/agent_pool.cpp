#include "agents/agent_pool.h"

#include <algorithm>
#include <span>
#include <utility>

namespace kestrel::agents {

namespace {

/// Far beyond any use; a script that keeps more has gone astray.
constexpr std::size_t kMostAgents = 1'000'000;
/// An object may have a lot behind it, so a single one that nobody holds is reason enough for a sweep.
constexpr std::size_t kLooseWeight = 1000;

}  // namespace

std::optional<KestrelCall> Agent::callFor(const AgentClass& owner) const {
    KestrelCall call{};
    call.class_name = owner.name().c_str();
    call.instance = parts[owner.depth()];
    const std::optional<void*> data = owner.dataOf(call.instance);
    std::optional<void*> base = nullptr;
    if (data && owner.base() != nullptr) base = owner.base()->dataOf(parts[owner.depth() - 1]);
    if (!data || !base) return std::nullopt;
    call.data = *data;
    call.base = *base;
    return call;
}

AgentPool::~AgentPool() {
    while (!agents_.empty()) end(*agents_.back());
}

Agent* AgentPool::make(AgentClass& agentClass, BuiltinCall& call) {
    EngineContext& ctx = exchange.ctx;
    if (agents_.size() >= kMostAgents) {
        ctx.report(MessageId::MemoryExhausted);
        return nullptr;
    }
    KestrelCall native{};
    exchange.begin();
    if (!exchange.addAll(call)) return nullptr;
    exchange.end(native);
    Agent& agent = enter(agentClass);
    for (const AgentClass* part : agentClass.chain()) {
        native.class_name = part->name().c_str();
        std::optional<void*> base = nullptr;
        if (part->base() != nullptr) base = part->base()->dataOf(agent.parts.back());
        native.base = base.value_or(nullptr);
        void* const instance = base ? part->construct(native) : nullptr;
        if (instance == nullptr) {
            end(agent);
            ctx.report(MessageId::AgentNotCreated, agentClass.name());
            return nullptr;
        }
        agent.parts.push_back(instance);
    }
    return &agent;
}

/// Before any native code runs, so that nothing it makes can be lost to a lack of memory here.
Agent& AgentPool::enter(AgentClass& agentClass) {
    auto agent = std::make_unique<Agent>();
    agent->agentClass = &agentClass;
    agent->parts.reserve(agentClass.chain().size());
    // Every object may become loose, and that must not fail.
    if (loose_.capacity() <= agents_.size()) loose_.reserve(2 * agents_.size() + 1);
    agent->index = agents_.size();
    agents_.push_back(std::move(agent));
    setLoose(*agents_.back());
    return *agents_.back();
}

void AgentPool::setLoose(Agent& agent) {
    agent.looseIndex = loose_.size();
    loose_.push_back(&agent);
    exchange.ctx.looseObjects += kLooseWeight;
}

void AgentPool::setHeld(Agent& agent) noexcept {
    loose_[agent.looseIndex] = loose_.back();
    loose_[agent.looseIndex]->looseIndex = agent.looseIndex;
    loose_.pop_back();
    exchange.ctx.looseObjects -= kLooseWeight;
}

void AgentPool::hold(Agent& agent) noexcept {
    if (agent.holders++ == 0) setHeld(agent);
}

void AgentPool::drop(Agent& agent) {
    if (--agent.holders != 0) return;
    setLoose(agent);
    if (!onStack(agent)) end(agent);
}

void AgentPool::sweep() {
    for (std::size_t i = loose_.size(); i > 0; --i)
        if (!onStack(*loose_[i - 1])) end(*loose_[i - 1]);
}

bool AgentPool::onStack(const Agent& agent) const {
    EvalStack& stack = exchange.ctx.stack;
    for (int i = 0; i < stack.size(); ++i)
        if (stack.at(i).type == ObjectAgent && stack.at(i).object == &agent) return true;
    return false;
}

/// It leaves the pool first, so that nothing finds it while its destructors run.
void AgentPool::end(Agent& agent) {
    if (agent.holders == 0) setHeld(agent);
    const std::size_t index = agent.index;
    const std::unique_ptr<Agent> gone = std::move(agents_[index]);
    if (index + 1 < agents_.size()) {
        agents_[index] = std::move(agents_.back());
        agents_[index]->index = index;
    }
    agents_.pop_back();
    const std::span<const AgentClass* const> chain = gone->agentClass->chain();
    for (std::size_t i = gone->parts.size(); i > 0; --i) chain[i - 1]->destroy(gone->parts[i - 1]);
}

}  // namespace kestrel::agents
