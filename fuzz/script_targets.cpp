// Scripts: compiled, and run.
#include "engine/run/entry.h"
#include "frontend/listing.h"
#include "fuzz/confined_script.h"
#include "fuzz/sandbox.h"
#include "fuzz/seeds.h"
#include "script/loading.h"

namespace kestrel::fuzz {

namespace {

constexpr int kLines = 3000;
constexpr int kMilliseconds = 100;

/// Inserts and libraries, which no single file has.
constexpr std::string_view kSeveralFiles[] = {
    "#pragma insert \"one.ks\"\n#define TWICE(x) x * 2\nlibrary \"two.ks\";\nprocess: sa { }\n"
    "main { info(ONE, half(ONE), third(3)); }\n"
    "@file one.ks\n#define ONE 1\nhalf: x { return x / 2; }\n#line 7\n"
    "@file two.ks\nlibrary \"three.ks\";\nthird: x { y = part(x); return y / 3; }\n"
    "@file three.ks\nvar kept;\npart: x { ::kept = x; return x; }\n",
    "#pragma insert \"one.ks\"\n@file one.ks\n#pragma insert \"main.ks\"\n",
};

/// Lets the host call what it may; messages only count.
void runAll(ConfinedScript& script) {
    EngineContext& ctx = script.ctx;
    start(ctx);
    runMain(ctx);
    require(ctx.stack.size() == 0, "the stack is empty after a call");
    for (const char* name : {"create", "init", "newtime", "flags", "process", "cleanup", "destroy"}) {
        FunctionRecord* function = ctx.program->findFunction(name);
        if (function == nullptr || script.watch.requested != 0) continue;
        const std::vector<ValueCell> arguments(static_cast<std::size_t>(function->paramCount),
                                               ValueCell::ofObject(ShaderObj, nullptr));
        callFunction(ctx, *function, arguments);
    }
}

}  // namespace

void compile(Bytes bytes) {
    Sandbox::get().clear();
    ConfinedScript script;
    const TimeBudget budget(script.watch, 10 * kMilliseconds);
    const bool compiled = script.compile(textOf(bytes));
    require(compiled || script.messages > 0, "what does not compile says why");
    if (compiled) {
        static_cast<void>(listProgram(*script.ctx.program));
        static_cast<void>(prepare(script.ctx, Demand::Process));
    }
    script.unload();
}

void runScript(Bytes bytes) {
    Sandbox::get().clear();
    ConfinedScript script;
    if (!script.compile(textOf(bytes)) || !prepare(script.ctx, Demand::Process)) return script.unload();
    const TimeBudget time(script.watch, kMilliseconds);
    LineBudget lines(kLines);
    if (bytes.size() % 2 != 0) script.ctx.run.hook = &lines;
    runAll(script);
    script.ctx.run.hook = nullptr;
    script.unload();
}

Seeds scriptSeeds(const std::filesystem::path& source) {
    Seeds seeds(std::begin(kSeveralFiles), std::end(kSeveralFiles));
    for (const char* folder : {"examples", "tests/lang", "tests/golden", "tests/mistakes", "bench"})
        addScripts(seeds, source / folder);
    return seeds;
}

Seeds mainSeeds(const std::filesystem::path& source) {
    Seeds seeds(std::begin(kSeveralFiles), std::end(kSeveralFiles));
    for (const char* folder : {"examples", "tests/lang"}) addScripts(seeds, source / folder);
    return seeds;
}

}  // namespace kestrel::fuzz
