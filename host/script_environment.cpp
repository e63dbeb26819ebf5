#include "host/script_environment.h"

#include "host/host_builtins.h"
#include "platform/environment.h"

namespace kestrel {

ShaderContext::ShaderContext(ScriptEnvironment& scriptEnvironment) : environment(scriptEnvironment) {
    item = shadedItem;
}

ShaderContext::~ShaderContext() {
    environment.requester.endOf(this);
}

ScriptEnvironment::ScriptEnvironment(MessageSink* messages, RunWatch* watch, Settings settings)
    : libraryPath(store, settings), messages_(messages), watch_(watch), builtins_(hostBuiltins()) {
    if (const auto name = platform::environment("KESTREL_EXECUTOR"))
        executor = executorNamed(*name).value_or(Executor::Automatic);
    if (watch != nullptr) registry.setCancel(&watch->requested);
}

EngineServices ScriptEnvironment::services(ShaderContext& host) noexcept {
    EngineServices services;
    services.messages = messages_;
    services.builtins = &builtins_.table();
    services.locator = &locator_;
    services.kinds = &kinds_.table();
    services.watch = watch_;
    services.store = &store;
    services.process = &process;
    services.queues = &queues;
    services.natives = &host.native;
    services.host = static_cast<SampleContext*>(&host);
    services.executor = executor;
    services.codeMemory = &codeMemory;
    services.batchLanes = batchLanes;
    services.failingGuard = failingGuard;
    services.fewRegisters = fewRegisters;
    return services;
}

}  // namespace kestrel
