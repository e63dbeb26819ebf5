#include "engine/context/context.h"

#include "engine/values/array_record.h"
#include "engine/values/record_instance.h"

#include <new>

namespace kestrel {

EngineContext::EngineContext(const EngineServices& engineServices)
    : services(engineServices), reporter(engineServices.messages), pool(this), stack(pool, *this) {
    reporter.abortFlag = &run.abort;
    reporter.line = &run.currentLine;
    run.frames.emplace_back();
}

EngineContext::~EngineContext() = default;

void EngineContext::pushText(std::string_view text) {
    if (const char* copy = pool.strdup(text)) stack.push(ValueCell::ofTemp(copy));
}

ScriptQueues* EngineContext::scriptQueues() {
    if (queues == nullptr && services.queues != nullptr) queues = services.queues->forScript(*this);
    return queues.get();
}

void EngineContext::keepReserve() noexcept {
    constexpr std::size_t kReserve = 64 * 1024;
    if (reserve_ == nullptr) reserve_.reset(new (std::nothrow) std::byte[kReserve]);
}

void EngineContext::reset() {
    queues.reset();
    stack.forgetTo(0);  // the pool takes the texts with it
    resources.clear();
    files = nullptr;
    arrays.clear();
    records.clear();
    looseObjects = 0;
    pool.teardown();
    program = std::make_unique<Program>();
    reporter.files = &program->files;
    options = {};
    reporter.state = {};
    reporter.place = nullptr;
    randomState = 1;
    scriptFile.clear();
    LineHook* hook = run.hook;
    run = {};
    run.hook = hook;
    run.frames.emplace_back();
}

void EngineContext::stackEmpty() {
    report(MessageId::StackEmpty);
}

void EngineContext::memoryExhausted() {
    report(MessageId::MemoryExhausted);
}

void EngineContext::stackOverflow() {
    report(MessageId::TooDeep);
}

}  // namespace kestrel
