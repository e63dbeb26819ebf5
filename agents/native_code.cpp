#include "agents/native_code.h"

#include "agents/agent_class.h"
#include "agents/agent_pool.h"
#include "agents/library_file.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kestrel::agents {

namespace {

constexpr std::size_t kMostClasses = 50;
constexpr std::size_t kMostLibraries = 50;

/// A function that a library exports.
class NativeFunction final : public NativeCallee {
public:
    NativeFunction(Exchange& exchange, KestrelFunction function) noexcept
        : exchange_(exchange), function_(function) {}

    void call(BuiltinCall& call) override {
        exchange_.begin();
        if (!exchange_.addAll(call)) return call.result(ValueCell::ofNil());
        KestrelCall native{};
        native.class_name = "";
        exchange_.end(native);
        const std::optional<const KestrelRecord*> results = guarded(
            call.ctx, call.name, [&] { return function_(native.argument_count, native.arguments, &native); });
        if (!results) return call.result(ValueCell::ofNil());
        exchange_.finish(call, *results);
    }

private:
    Exchange& exchange_;
    KestrelFunction function_;
};

bool isUnresolvedCall(const CodeNode& node) noexcept {
    return node.op == OP_CALL && (node.flags & kNodeUnresolved) != 0 &&
           (node.next == nullptr || node.next->op != OP_MEMBER);
}

}  // namespace

// In the order in which things are made: objects, on the bottom here, end first.
struct NativeCode::Loaded {
    explicit Loaded(EngineContext& ctx) : agents(ctx) {}

    std::vector<std::unique_ptr<platform::DynamicLibrary>> libraries;
    std::unordered_map<std::string, NativeFunction> functions;
    std::vector<std::unique_ptr<AgentClass>> classes;
    AgentPool agents;

    [[nodiscard]] AgentClass* findClass(std::string_view name, std::size_t among) noexcept {
        const auto end = classes.begin() + static_cast<std::ptrdiff_t>(among);
        const auto found =
            std::find_if(classes.begin(), end, [name](const auto& each) { return each->name() == name; });
        return found != end ? found->get() : nullptr;
    }
};

/// Ends all of it together with the script.
class NativeCode::Owned final : public ScriptResource {
public:
    explicit Owned(NativeCode& native) : native_(native) {}
    ~Owned() override { native_.loaded_.reset(); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

private:
    NativeCode& native_;
};

NativeCode::NativeCode() = default;

NativeCode::~NativeCode() = default;

NativeCode::Loaded& NativeCode::loaded(EngineContext& ctx) {
    if (loaded_ == nullptr) {
        ctx.resources.push_back(std::make_unique<Owned>(*this));
        loaded_ = std::make_unique<Loaded>(ctx);
    }
    return *loaded_;
}

bool NativeCode::hasClasses(EngineContext&) {
    return loaded_ != nullptr && !loaded_->classes.empty();
}

bool NativeCode::isClass(EngineContext&, std::string_view name) {
    return loaded_ != nullptr && loaded_->findClass(name, loaded_->classes.size()) != nullptr;
}

bool NativeCode::loadClass(EngineContext& ctx, std::string_view library, std::string_view name) {
    Loaded& all = loaded(ctx);
    if (all.classes.size() >= kMostClasses) {
        ctx.report(MessageId::TooManyClasses, kMostClasses);
        return false;
    }
    std::unique_ptr<AgentClass> added = AgentClass::load(all.agents, library, name);
    if (added == nullptr) return false;
    all.classes.push_back(std::move(added));
    return true;
}

bool NativeCode::setBase(EngineContext&, std::string_view base) {
    if (loaded_ == nullptr || loaded_->classes.empty()) return false;
    // Only those before it: a class that builds on itself would have no end.
    AgentClass* const found = loaded_->findClass(base, loaded_->classes.size() - 1);
    if (found != nullptr) loaded_->classes.back()->buildOn(*found);
    return found != nullptr;
}

void NativeCode::bindLibrary(EngineContext& ctx, std::string_view name, LinkedList<CodeNode>& code) {
    Loaded& all = loaded(ctx);
    if (all.libraries.size() >= kMostLibraries) {
        ctx.report(MessageId::TooManyNativeLibraries, kMostLibraries);
        return;
    }
    std::unique_ptr<platform::DynamicLibrary> library = openLibrary(ctx, name);
    if (library == nullptr) return;
    bool wanted = false;
    for (CodeNode* node = code.head; node != nullptr; node = node->next) {
        if (!isUnresolvedCall(*node)) continue;
        const char* const function = node->operand.variable->name;
        void* const entry = library->function(function);
        if (entry == nullptr) continue;
        node->flags = 0;
        wanted = true;
        all.functions.try_emplace(function, all.agents.exchange, reinterpret_cast<KestrelFunction>(entry));
    }
    if (wanted) all.libraries.push_back(std::move(library));
}

NativeCallee* NativeCode::find(std::string_view name) {
    if (loaded_ == nullptr) return nullptr;
    const auto function = loaded_->functions.find(std::string(name));
    if (function != loaded_->functions.end()) return &function->second;
    return loaded_->findClass(name, loaded_->classes.size());
}

void NativeCode::sweep() {
    if (loaded_ != nullptr) loaded_->agents.sweep();
}

}  // namespace kestrel::agents
