#include "tests/equal/executors.h"

#include <algorithm>

namespace kestrel::equal {

namespace {

/// The loop that runs two instructions as one and passes over markers.
std::unique_ptr<Attachment> plain(ScriptEnvironment&) {
    return std::make_unique<Attachment>();
}

/// The loop that a debugger follows: it runs every instruction by itself.
class Hook final : public Attachment, public LineHook {
public:
    explicit Hook(ScriptEnvironment& environment) { environment.lineHook = this; }
    void runBegins(EngineContext&, const CodeNode&) override { used_ = true; }
    void line(EngineContext&, const CodeNode&) override {}
    [[nodiscard]] bool used() const override { return used_; }

private:
    bool used_ = false;
};

std::unique_ptr<Attachment> hooked(ScriptEnvironment& environment) {
    return std::make_unique<Hook>(environment);
}

constexpr Executor kExecutors[] = {
    {"plain", plain},
    {"hooked", hooked},
};

}  // namespace

std::span<const Executor> executors() {
    return kExecutors;
}

const Executor* findExecutor(std::string_view name) {
    const auto* found = std::ranges::find(kExecutors, name, &Executor::name);
    return found != std::end(kExecutors) ? found : nullptr;
}

}  // namespace kestrel::equal
