// Programs that scripts start without a command processor: spawn, wait, terminate.
#include "builtins/common/handlers.h"
#include "builtins/common/joined_text.h"
#include "builtins/system/process_state.h"
#include "engine/operations/file_names.h"

#include <optional>
#include <utility>

namespace kestrel::builtins {

namespace {

StartedPrograms& programs(BuiltinCall& call) {
    return call.ctx.services.process->programs;
}

/// The program that the argument of wait() or terminate() refers to. Where there is none, the call has its
/// result.
platform::Process* referredTo(BuiltinCall& call) {
    const ValueCell& reference = call.arg(0);
    if (!call.ctx.options.asyncspawn) {
        call.fail(MessageId::NotAsynchronous, call.name);
        return nullptr;
    }
    if (reference.type == Nil) {  // of a spawn() that failed
        call.resultInteger(-1.0);
        return nullptr;
    }
    platform::Process* program = reference.isText() ? programs(call).find(reference.text) : nullptr;
    if (program == nullptr) call.failType(1);
    return program;
}

}  // namespace

void spawn(BuiltinCall& call) {
    const std::string line = convertSeparators(call.ctx, joinArguments(call, call.name, TextUse::Name));
    programs(call).reap();
    flushResources(call.ctx);
    const bool waits = !call.ctx.options.asyncspawn;
    std::optional<platform::Process> program =
        platform::Process::start(platform::splitCommandLine(line), {.detached = true, .ownGroup = waits});
    if (!program) return call.result(ValueCell::ofNil());
    if (waits) return call.resultInteger(program->finish(call.ctx.cancelFlag()));
    call.resultText(programs(call).add(std::move(*program), call.ctx));
}

void waitFor(BuiltinCall& call) {
    platform::Process* program = referredTo(call);
    if (program == nullptr) return;
    const std::optional<int> code = program->wait(call.ctx.cancelFlag());
    if (!code) return call.result(ValueCell::ofNil());  // the script is to end; the program is not
    programs(call).remove(call.arg(0).text);
    call.resultInteger(*code);
}

void terminate(BuiltinCall& call) {
    platform::Process* program = referredTo(call);
    if (program == nullptr) return;
    const bool killed = program->kill();
    (void)program->wait(call.ctx.cancelFlag());
    programs(call).remove(call.arg(0).text);
    call.resultInteger(killed ? 1.0 : 0.0);
}

}  // namespace kestrel::builtins
