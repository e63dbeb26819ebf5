#include "tests/equal/executors.h"

#include <algorithm>

namespace kestrel::equal {

namespace {

template <kestrel::Executor kWhich>
std::unique_ptr<Attachment> by(ScriptEnvironment& environment) {
    environment.executor = kWhich;
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

/// Code one of whose guards fails always: another one in each script.
std::unique_ptr<Attachment> forced(ScriptEnvironment& environment) {
    static int script = 0;
    environment.failingGuard = script++ / 2;
    environment.executor = script % 2 == 0 ? kestrel::Executor::Threaded : kestrel::Executor::Native;
    return std::make_unique<Attachment>();
}

/// Machine code that keeps nearly all on the stack, as where more is wanted at a time than there are
/// registers.
std::unique_ptr<Attachment> spilled(ScriptEnvironment& environment) {
    environment.fewRegisters = true;
    return by<kestrel::Executor::Native>(environment);
}

/// The smaller groups.
std::unique_ptr<Attachment> batch4(ScriptEnvironment& environment) {
    environment.batchLanes = 4;
    return by<kestrel::Executor::Native>(environment);
}

using enum kestrel::Executor;
constexpr Executor kExecutors[] = {
    {"plain", by<Definition>},  // the loop that runs two instructions as one and passes over markers
    {"hooked", hooked},
    {"threaded", by<Threaded>, false},  // samples by intermediate code where that can be
    {"native", by<Native>, false},      // by machine code where that can be
    {"forced", forced, false},
    {"spilled", spilled, false},
    {"batch", by<Native>, false, true},  // for groups: as many samples at a time as the machine can
    {"batch4", batch4, false, true},
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
