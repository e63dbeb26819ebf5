// The classes that a script uses.
#pragma once

#include "agents/exchange.h"
#include "engine/context/native_callee.h"
#include "engine/program/names.h"
#include "platform/dynamic_library.h"
#include "sdk/kestrel_agent.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::agents {

class AgentClass;
struct Agent;
class AgentPool;

/// What a method's name leads to.
struct AgentMethod {
    enum class State : std::uint8_t {
        NotAsked,
        Unknown,  ///< no class of the chain has it
        Missing,  ///< a class has it, but exports no function for it
        Found,
    };
    State state = State::NotAsked;
    bool aliased = false;  ///< the function wants the name as the first argument
    const AgentClass* owner = nullptr;
    KestrelFunction function = nullptr;
};

/// One class: its library, its entry points, and what it said about names. Calling it makes an object.
class AgentClass final : public NativeCallee {
public:
    /// Loads a library as a class.
    /// @param file   of the library, as the script wrote it
    /// @param agents  of the script; outlives the class
    /// @return null after reporting why not
    [[nodiscard]] static std::unique_ptr<AgentClass> load(AgentPool& agents, std::string_view file,
                                                          std::string_view name);
    AgentClass(const AgentClass&) = delete;
    AgentClass& operator=(const AgentClass&) = delete;

    /// Makes `base` the class that this one builds on. Before the first object.
    void buildOn(AgentClass& base);

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// "(ObjectAgent)NAME::": the text of an object up to its own name.
    [[nodiscard]] const std::string& label() const noexcept { return label_; }
    [[nodiscard]] const AgentClass* base() const noexcept { return base_; }
    /// The classes that it builds on and itself, the lowest first.
    [[nodiscard]] std::span<const AgentClass* const> chain() const noexcept { return chain_; }
    /// Its own position in there.
    [[nodiscard]] std::size_t depth() const noexcept { return chain_.size() - 1; }
    [[nodiscard]] AgentPool& agents() const noexcept { return agents_; }

    // ---- names, asked about once
    [[nodiscard]] const AgentMethod& method(NameId id, const char* name);
    /// The class of the chain that has the member; null when none has.
    [[nodiscard]] const AgentClass* memberOwner(NameId id, const char* name);

    // ---- its library
    // ---- each gives nothing, after reporting, when an exception leaves it
    [[nodiscard]] void* construct(const KestrelCall& call) const;
    void destroy(void* instance) const;
    /// @return what "instdata" makes of an instance, or that itself
    [[nodiscard]] std::optional<void*> dataOf(void* instance) const;
    [[nodiscard]] bool returnsData() const noexcept { return returnData_ != nullptr; }
    [[nodiscard]] bool assignsData() const noexcept { return assignData_ != nullptr; }
    [[nodiscard]] std::optional<const KestrelRecord*> returnData(const KestrelCall& call, const char* member,
                                                                 std::int32_t index) const;
    [[nodiscard]] std::optional<std::int32_t> assignData(const KestrelCall& call, const char* member,
                                                         std::int32_t index, std::int32_t operation,
                                                         const KestrelRecord& value) const;

    void call(BuiltinCall& call) override;

private:
    struct Member {
        bool asked = false;
        const AgentClass* owner = nullptr;
    };

    AgentClass(AgentPool& agents, std::string_view name, std::unique_ptr<platform::DynamicLibrary> library);
    /// @return the position of the first required entry point that is missing, from 1; 0 when all are there
    int bindEntryPoints() noexcept;
    template <class Function>
    bool bind(Function& function, const char* name) const noexcept;
    [[nodiscard]] bool owns(KestrelOwns ask, const char* name) const;
    [[nodiscard]] KestrelFunction exported(const char* name) const noexcept;
    [[nodiscard]] AgentMethod resolve(const char* name) const;
    [[nodiscard]] AgentMethod resolveAlias(const char* name) const;

    AgentPool& agents_;
    std::string name_;
    std::string label_;
    const AgentClass* base_ = nullptr;
    std::vector<const AgentClass*> chain_{this};
    std::vector<AgentMethod> methods_;  ///< by NameId
    std::vector<Member> members_;       ///< by NameId

    std::unique_ptr<platform::DynamicLibrary> library_;
    KestrelConstructor constructor_ = nullptr;
    KestrelDestructor destructor_ = nullptr;
    KestrelOwns ownMethod_ = nullptr;
    KestrelOwns ownData_ = nullptr;
    KestrelReturnData returnData_ = nullptr;
    KestrelAssignData assignData_ = nullptr;
    KestrelInstData instData_ = nullptr;
    KestrelAlias alias_ = nullptr;
};

}  // namespace kestrel::agents
