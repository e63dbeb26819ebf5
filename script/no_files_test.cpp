// What a compile from memory asks of the system: no file at all. The kernel is the witness: it ends a process
// that asks for more than it may.
#include "script/include/kestrel/script.h"
#include "tests/temporary_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace kestrel::script {

namespace {

constexpr const char* kSource = "var g = 1; f: x { return twice(x) + g; } process: sa { sa.eta = 2; }";

/// Those that need no path and open nothing: memory, locks, time, and what ends a process.
constexpr unsigned kHarmless[] = {SYS_brk,    SYS_mmap,     SYS_munmap,        SYS_mremap,
                                  SYS_futex,  SYS_mprotect, SYS_madvise,       SYS_getrandom,
                                  SYS_getpid, SYS_gettid,   SYS_clock_gettime, SYS_exit_group};
/// Those that look at files and change none; SYS_openat as its flags are.
constexpr unsigned kReading[] = {SYS_read,   SYS_pread64,    SYS_close,      SYS_lseek,
                                 SYS_fstat,  SYS_newfstatat, SYS_getdents64, SYS_readlink,
                                 SYS_getcwd, SYS_access,     SYS_faccessat,  SYS_fcntl};

bool confine(bool mayRead) {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    const auto allow = [&](unsigned call) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    };
    for (const unsigned call : kHarmless) allow(call);
    if (mayRead) {
        for (const unsigned call : kReading) allow(call);
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3));
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])));
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_ACCMODE | O_CREAT | O_TRUNC, 1, 0));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, 2, &program) == 0;
}

[[noreturn]] void compileAndRun(bool mayRead, const std::function<Compiled(Engine&)>& compile) {
    if (!confine(mayRead)) std::_Exit(2);
    bool fine = false;
    {
        Engine engine;
        engine.define("twice", 1, [](std::span<const Value> arguments) { return arguments[0].number() * 2; });
        Compiled compiled = compile(engine);
        Sample sample;
        fine = compiled && compiled.script->call("f", {2}).values == std::vector<Value>{5.0} &&
               compiled.script->evaluate(sample) == Status::Done && sample.eta == 2.0;
    }
    std::_Exit(fine ? 0 : 1);
}

TEST(NoFiles, ACompileFromMemoryTouchesNoneAndOneOfAFileOnlyReads) {
    if (prctl(PR_GET_SECCOMP) < 0) GTEST_SKIP() << "processes cannot be confined here";
    const kestrel::test::TemporaryFolder folder;
    const std::string path = (folder.path / "a.ks").string();
    std::ofstream(path) << kSource;
    const testing::ExitedWithCode fine(0);
    EXPECT_EXIT(compileAndRun(false, [](Engine& engine) { return engine.compile(kSource); }), fine, "");
    EXPECT_EXIT(compileAndRun(true, [&](Engine& engine) { return engine.compileFile(path); }), fine, "");
    EXPECT_EXIT(compileAndRun(false, [&](Engine& engine) { return engine.compileFile(path); }),
                testing::KilledBySignal(SIGSYS), "");
}

}  // namespace

}  // namespace kestrel::script
