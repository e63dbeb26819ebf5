// The objects of a script's classes.
#pragma once

#include "agents/agent_class.h"
#include "agents/exchange.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace kestrel::agents {

/// What a value of type ObjectAgent points to: one object, with a part for each class of its chain.
struct Agent {
    AgentClass* agentClass = nullptr;
    std::vector<void*> parts;    ///< what the constructors returned, that of the lowest class first
    const char* name = nullptr;  ///< of the variable or parameter that was given it last; null: none yet
    std::int32_t holders = 0;
    std::size_t index = 0;       ///< position in the pool
    std::size_t looseIndex = 0;  ///< position among those that nobody holds

    /// The call context for a class of the chain, without services and arguments.
    /// @return nothing, after reporting, when the library fails to tell the object's data
    [[nodiscard]] std::optional<KestrelCall> callFor(const AgentClass& owner) const;
};

/// All objects of one script. They are counted by their holders: variables, elements and members. One that
/// nobody holds ends at once, or, while a value on the stack refers to it, at the next sweep. Each ends once.
class AgentPool {
public:
    explicit AgentPool(EngineContext& ctx) noexcept : exchange(ctx) {}
    ~AgentPool();
    AgentPool(const AgentPool&) = delete;
    AgentPool& operator=(const AgentPool&) = delete;

    Exchange exchange;

    /// Makes an object, with the arguments of the call; nobody holds it yet.
    /// @return null after reporting that it cannot be made
    [[nodiscard]] Agent* make(AgentClass& agentClass, BuiltinCall& call);
    void hold(Agent& agent) noexcept;
    void drop(Agent& agent);
    /// Ends the objects that nobody holds and no value on the stack refers to.
    void sweep();

private:
    [[nodiscard]] Agent& enter(AgentClass& agentClass);
    void setLoose(Agent& agent);
    void setHeld(Agent& agent) noexcept;
    [[nodiscard]] bool onStack(const Agent& agent) const;
    void end(Agent& agent);

    std::vector<std::unique_ptr<Agent>> agents_;
    std::vector<Agent*> loose_;  ///< those that nobody holds
};

}  // namespace kestrel::agents
