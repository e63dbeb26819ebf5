// What a compile from memory asks of the system: no file at all. The kernel is the witness: a child process
// compiles and runs a script between two marks, and every call of the system that it makes there is looked
// at.
#include "script/include/kestrel/script.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace kestrel::script {

namespace {

/// The mark: a call that nothing else makes.
void mark() {
    syscall(SYS_getpriority, -1, -1);
}

constexpr const char* kSource = "var g = 1; f: x { return twice(x) + g; } process: sa { sa.eta = 2; }";

using Compile = std::function<Compiled(Engine&)>;

int compileAndRun(const Compile& compile) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    mark();
    bool fine = false;
    {
        Engine engine;
        engine.define("twice", 1, [](std::span<const Value> arguments) { return arguments[0].number() * 2; });
        Compiled compiled = compile(engine);
        Sample sample;
        fine = compiled && compiled.script->call("f", {2}).values == std::vector<Value>{5.0} &&
               compiled.script->evaluate(sample) == Status::Done && sample.eta == 2.0;
    }
    mark();
    return fine ? 0 : 1;
}

/// Those that need no path and open nothing: memory, locks, time, and what ends a process.
bool isHarmless(std::uint64_t call) {
    static const std::set<std::uint64_t> kHarmless{SYS_brk,    SYS_mmap,     SYS_munmap,       SYS_mremap,
                                                   SYS_futex,  SYS_mprotect, SYS_madvise,      SYS_getrandom,
                                                   SYS_getpid, SYS_gettid,   SYS_clock_gettime};
    return kHarmless.contains(call);
}

/// Those that look at files and change none.
bool onlyReads(const __ptrace_syscall_info& info) {
    static const std::set<std::uint64_t> kReading{SYS_read,   SYS_pread64,    SYS_close,      SYS_lseek,
                                                  SYS_fstat,  SYS_newfstatat, SYS_getdents64, SYS_readlink,
                                                  SYS_getcwd, SYS_access,     SYS_faccessat,  SYS_fcntl};
    if (info.entry.nr == SYS_openat)
        return (info.entry.args[2] & (O_ACCMODE | O_CREAT | O_TRUNC)) == O_RDONLY;
    return kReading.contains(info.entry.nr);
}

enum class Files { None, Read };

/// The calls between the marks that do more than is allowed.
std::set<std::uint64_t> suspiciousCalls(pid_t child, Files allowed, int& marks, int& status) {
    std::set<std::uint64_t> found;
    while (true) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return found;
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
        if (info.op != PTRACE_SYSCALL_INFO_ENTRY) continue;
        if (info.entry.nr == SYS_getpriority)
            ++marks;
        else if (marks == 1 && !isHarmless(info.entry.nr) && !(allowed == Files::Read && onlyReads(info)))
            found.insert(info.entry.nr);
    }
}

void watch(const Compile& compile, Files allowed) {
    const pid_t child = fork();
    if (child == 0) _exit(compileAndRun(compile));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (!WIFSTOPPED(status)) GTEST_SKIP() << "processes cannot be traced here";
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
    int marks = 0;
    const std::set<std::uint64_t> calls = suspiciousCalls(child, allowed, marks, status);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(marks, 2);
    for (const std::uint64_t call : calls) ADD_FAILURE() << "call of the system number " << call;
}

TEST(NoFiles, ACompileFromMemoryTouchesNone) {
    watch([](Engine& engine) { return engine.compile(kSource); }, Files::None);
}

TEST(NoFiles, ACompileOfAFileOnlyReads) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("kestrel_read_" + std::to_string(getpid()) + ".ks");
    std::ofstream(path) << kSource;
    watch([&path](Engine& engine) { return engine.compileFile(path.string()); }, Files::Read);
    std::filesystem::remove(path);
}

}  // namespace

}  // namespace kestrel::script
