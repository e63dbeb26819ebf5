#include "agents/agent_class.h"

#include "agents/agent_pool.h"
#include "agents/library_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace kestrel::agents {

namespace {

// The entry points of a class: no method, whatever "ownmethod" says, since they are called in another way.
constexpr std::string_view kEntryPoints[] = {"version",    "constructor", "destructor",
                                             "ownmethod",  "owndata",     "returndata",
                                             "assigndata", "instdata",    "alias"};

constexpr std::int32_t kRefusedMajor = KESTREL_AGENT_MAJOR + 1;
constexpr std::int32_t kRefusedMinor = KESTREL_AGENT_MINOR + 1;

/// @return false after reporting a version of the interface that is not known here
bool checkVersion(EngineContext& ctx, const platform::DynamicLibrary& library, std::string_view file) {
    const auto version = reinterpret_cast<KestrelVersion>(library.function("version"));
    if (version == nullptr) return true;
    std::int32_t major = 0;
    std::int32_t minor = 0;
    const auto ask = [&] {
        version(&major, &minor);
        return true;
    };
    if (!guarded(ctx, "version", ask)) return false;
    if (major >= 0 && major < kRefusedMajor && minor >= 0 && minor < kRefusedMinor) return true;
    ctx.report(MessageId::AgentVersion, file, major, minor);
    return false;
}

}  // namespace

std::unique_ptr<AgentClass> AgentClass::load(AgentPool& agents, std::string_view file,
                                             std::string_view name) {
    EngineContext& ctx = agents.exchange.ctx;
    std::unique_ptr<platform::DynamicLibrary> library = openLibrary(ctx, file);
    if (library == nullptr || !checkVersion(ctx, *library, file)) return nullptr;
    std::unique_ptr<AgentClass> loaded(new AgentClass(agents, name, std::move(library)));
    if (const int missing = loaded->bindEntryPoints(); missing != 0) {
        ctx.report(MessageId::AgentEntryMissing, file, missing);
        return nullptr;
    }
    return loaded;
}

AgentClass::AgentClass(AgentPool& agents, std::string_view name,
                       std::unique_ptr<platform::DynamicLibrary> library)
    : agents_(agents), name_(name), label_("(ObjectAgent)" + name_ + "::"), library_(std::move(library)) {}

template <class Function>
bool AgentClass::bind(Function& function, const char* name) const noexcept {
    function = reinterpret_cast<Function>(library_->function(name));
    return function != nullptr;
}

int AgentClass::bindEntryPoints() noexcept {
    if (!bind(constructor_, "constructor")) return 1;
    if (!bind(destructor_, "destructor")) return 2;
    if (!bind(ownMethod_, "ownmethod")) return 3;
    if (!bind(ownData_, "owndata")) return 4;
    bind(returnData_, "returndata");
    bind(assignData_, "assigndata");
    bind(instData_, "instdata");
    bind(alias_, "alias");
    return 0;
}

void AgentClass::buildOn(AgentClass& base) {
    chain_ = base.chain_;
    chain_.push_back(this);
    base_ = &base;
}

// ---- names ----

const AgentMethod& AgentClass::method(NameId id, const char* name) {
    const auto at = static_cast<std::size_t>(id);
    if (at >= methods_.size()) methods_.resize(at + 1);
    if (methods_[at].state == AgentMethod::State::NotAsked) methods_[at] = resolve(name);
    return methods_[at];
}

const AgentClass* AgentClass::memberOwner(NameId id, const char* name) {
    const auto at = static_cast<std::size_t>(id);
    if (at >= members_.size()) members_.resize(at + 1);
    Member& member = members_[at];
    if (!member.asked) {
        const AgentClass* owner = this;
        while (owner != nullptr && !owner->owns(owner->ownData_, name)) owner = owner->base_;
        member = {true, owner};
    }
    return member.owner;
}

bool AgentClass::owns(KestrelOwns ask, const char* name) const {
    return guarded(agents_.exchange.ctx, name_, [&] { return ask(name); }).value_or(0) != 0;
}

KestrelFunction AgentClass::exported(const char* name) const noexcept {
    if (std::ranges::find(kEntryPoints, name) != std::end(kEntryPoints)) return nullptr;
    return reinterpret_cast<KestrelFunction>(library_->function(name));
}

AgentMethod AgentClass::resolve(const char* name) const {
    using State = AgentMethod::State;
    if (std::ranges::find(kEntryPoints, name) != std::end(kEntryPoints)) return {.state = State::Unknown};
    for (const AgentClass* at = this; at != nullptr; at = at->base_) {
        const bool owned = at->owns(at->ownMethod_, name);
        if (owned) {
            if (const KestrelFunction function = at->exported(name))
                return {.state = State::Found, .owner = at, .function = function};
        }
        if (const AgentMethod other = at->resolveAlias(name); other.state != State::Unknown) return other;
        if (owned) return {.state = State::Missing};
    }
    return {.state = State::Unknown};
}

AgentMethod AgentClass::resolveAlias(const char* name) const {
    using State = AgentMethod::State;
    std::array<char, KESTREL_ALIAS_SIZE> buffer{};
    if (alias_ == nullptr || std::strlen(name) >= buffer.size()) return {.state = State::Unknown};
    std::strcpy(buffer.data(), name);
    if (guarded(agents_.exchange.ctx, name_, [&] { return alias_(buffer.data()); }).value_or(0) == 0)
        return {.state = State::Unknown};
    buffer.back() = '\0';
    const KestrelFunction function = exported(buffer.data());
    if (function == nullptr) return {.state = State::Missing};
    return {.state = State::Found, .aliased = true, .owner = this, .function = function};
}

// ---- its library ----

void* AgentClass::construct(const KestrelCall& call) const {
    return guarded(agents_.exchange.ctx, name_, [&] { return constructor_(&call); }).value_or(nullptr);
}

void AgentClass::destroy(void* instance) const {
    static_cast<void>(guarded(agents_.exchange.ctx, name_, [&] {
        destructor_(instance);
        return true;
    }));
}

std::optional<void*> AgentClass::dataOf(void* instance) const {
    if (instData_ == nullptr) return instance;
    return guarded(agents_.exchange.ctx, name_, [&] { return instData_(instance); });
}

std::optional<const KestrelRecord*> AgentClass::returnData(const KestrelCall& call, const char* member,
                                                           std::int32_t index) const {
    return guarded(agents_.exchange.ctx, name_, [&] { return returnData_(&call, member, index); });
}

std::optional<std::int32_t> AgentClass::assignData(const KestrelCall& call, const char* member,
                                                   std::int32_t index, std::int32_t operation,
                                                   const KestrelRecord& value) const {
    return guarded(agents_.exchange.ctx, name_,
                   [&] { return assignData_(&call, member, index, operation, &value); });
}

void AgentClass::call(BuiltinCall& call) {
    Agent* const agent = agents_.make(*this, call);
    call.result(agent != nullptr ? ValueCell::ofObject(ObjectAgent, agent) : ValueCell::ofNil());
}

}  // namespace kestrel::agents
