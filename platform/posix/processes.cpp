#include "platform/processes.h"

#include "platform/paths.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

namespace kestrel::platform {

namespace {

/// What is prepared for a child, step by step.
class Preparation {
public:
    /// False when a step failed: the program would start otherwise than it should.
    [[nodiscard]] bool complete() const noexcept { return complete_; }

protected:
    void keep(int error) noexcept { complete_ = complete_ && error == 0; }

private:
    bool complete_ = true;
};

/// The steps between fork and exec. posix_spawn takes them, so that nothing of ours runs in the child:
/// another thread of the host may hold any lock at that moment.
class ChildFiles : public Preparation {
public:
    explicit ChildFiles(const ProcessOptions& options) {
        keep(posix_spawn_file_actions_init(&actions_));
        if (options.captured) {
            output_ = capture(STDOUT_FILENO);
            errors_ = capture(STDERR_FILENO);
        }
        if (options.detached)
            keep(posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        if (!options.outputFile.empty()) {
            const std::string native = nativePath(options.outputFile);
            keep(posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, native.c_str(),
                                                  O_WRONLY | O_TRUNC, 0));
        }
        // Duplicated to itself, a descriptor loses its close-on-exec flag.
        if (options.descriptor >= 0)
            keep(posix_spawn_file_actions_adddup2(&actions_, options.descriptor, options.descriptor));
        if (options.detached) keep(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
    }
    ~ChildFiles() { posix_spawn_file_actions_destroy(&actions_); }
    ChildFiles(const ChildFiles&) = delete;
    ChildFiles& operator=(const ChildFiles&) = delete;
    [[nodiscard]] const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }
    /// The ends from which captured output is read.
    [[nodiscard]] Channel& output() noexcept { return output_; }
    [[nodiscard]] Channel& errors() noexcept { return errors_; }

private:
    [[nodiscard]] Channel capture(int stream) {
        std::array<int, 2> ends{-1, -1};
        keep(pipe2(ends.data(), O_CLOEXEC));
        if (ends[1] >= 0) keep(posix_spawn_file_actions_adddup2(&actions_, ends[1], stream));
        written_.emplace_back(ends[1]);
        return Channel(ends[0]);
    }

    posix_spawn_file_actions_t actions_{};
    Channel output_;
    Channel errors_;
    std::vector<Channel> written_;  // the child's ends: closed here when it has them
};

class ChildAttributes : public Preparation {
public:
    explicit ChildAttributes(const ProcessOptions& options) {
        keep(posix_spawnattr_init(&attributes_));
        // A host may block signals in its threads or ignore SIGPIPE; programs count on neither.
        sigset_t signals;
        sigemptyset(&signals);
        keep(posix_spawnattr_setsigmask(&attributes_, &signals));
        sigaddset(&signals, SIGPIPE);
        keep(posix_spawnattr_setsigdefault(&attributes_, &signals));
        keep(posix_spawnattr_setpgroup(&attributes_, 0));
        const int group = options.ownGroup ? POSIX_SPAWN_SETPGROUP : 0;
        const int flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group;
        keep(posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)));
    }
    ~ChildAttributes() { posix_spawnattr_destroy(&attributes_); }
    ChildAttributes(const ChildAttributes&) = delete;
    ChildAttributes& operator=(const ChildAttributes&) = delete;
    [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

bool isPath(std::string_view program) {
    return program.find_first_of("\\/") != std::string_view::npos;
}

}  // namespace

std::optional<Process> Process::start(std::vector<std::string> words, const ProcessOptions& options) {
    if (words.empty() || words.front().empty()) return std::nullopt;
    if (isPath(words.front())) words.front() = nativePath(words.front());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);

    std::fflush(stdout);  // so that its output comes after ours
    ChildFiles files(options);
    const ChildAttributes attributes(options);
    if (!files.complete() || !attributes.complete()) return std::nullopt;
    pid_t id = 0;
    if (posix_spawnp(&id, arguments.front(), files.get(), attributes.get(), arguments.data(), environ) != 0)
        return std::nullopt;
    Process process(id, options.ownGroup);
    process.output_ = std::move(files.output());
    process.errors_ = std::move(files.errors());
    return process;
}

Process::Process(Process&& other) noexcept
    : id_(std::exchange(other.id_, 0)),
      ownGroup_(other.ownGroup_),
      exitCode_(other.exitCode_),
      output_(std::move(other.output_)),
      errors_(std::move(other.errors_)) {}

Process& Process::operator=(Process&& other) noexcept {
    std::swap(id_, other.id_);
    std::swap(ownGroup_, other.ownGroup_);
    std::swap(exitCode_, other.exitCode_);
    std::swap(output_, other.output_);
    std::swap(errors_, other.errors_);
    return *this;
}

Process::~Process() {
    if (id_ != 0) (void)poll();
}

std::optional<int> Process::look(bool block) {
    if (exitCode_) return exitCode_;
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(static_cast<pid_t>(id_), &status, block ? 0 : WNOHANG);
    } while (ended < 0 && errno == EINTR);
    if (ended == 0) return std::nullopt;
    if (ended < 0)
        exitCode_ = -1;
    else
        exitCode_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return exitCode_;
}

std::optional<int> Process::poll() {
    return look(false);
}

std::optional<int> Process::wait(CancelFlag requested) {
    if (requested == nullptr) return look(true);
    // Short programs are not kept waiting, long ones cost next to nothing.
    constexpr std::chrono::microseconds kLongest{20000};
    std::chrono::microseconds step{200};
    for (;;) {
        if (const std::optional<int> code = poll()) return code;
        if (*requested != 0) return std::nullopt;
        std::this_thread::sleep_for(step);
        step = std::min(step * 2, kLongest);
    }
}

bool Process::kill() {
    // As long as its end was not taken notice of, its number belongs to nobody else.
    if (poll()) return false;
    const auto id = static_cast<pid_t>(id_);
    return ::kill(ownGroup_ ? -id : id, SIGKILL) == 0;
}

int Process::finish(CancelFlag requested) {
    std::optional<int> code = wait(requested);
    if (!code) {
        kill();
        code = wait(nullptr);
    }
    return *code;
}

void endWithParent() {
    prctl(PR_SET_PDEATHSIG, SIGINT);
    signal(SIGPIPE, SIG_IGN);           // what is said then may reach nobody any more
    if (getppid() == 1) raise(SIGINT);  // it was faster
}

std::vector<std::string> splitCommandLine(std::string_view line) {
    std::vector<std::string> words;
    bool inWord = false;
    bool quoted = false;
    for (const char c : line) {
        if (!quoted && (c == ' ' || c == '\t')) {
            inWord = false;
            continue;
        }
        if (!inWord) words.emplace_back();
        inWord = true;
        if (c == '"')
            quoted = !quoted;
        else
            words.back() += c;
    }
    return words;
}

}  // namespace kestrel::platform
