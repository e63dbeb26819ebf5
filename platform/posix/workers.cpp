#include "platform/workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

namespace kestrel::platform {

namespace {

/// A worker that sends more than this without a newline is cut there: it is out of its mind.
constexpr std::size_t kLongestLine = 16U << 20U;

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// Runs the work in the new process and never returns: what the parent's objects would do at their end is the
/// parent's to do.
[[noreturn]] void runInWorker(pid_t parent, int descriptor, std::size_t index, const Workers::Work& work) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);  // it ended before that was set
    signal(SIGPIPE, SIG_IGN);
    int status = 1;
    try {
        status = work(index, WorkerChannel(descriptor));
    } catch (...) {
        status = 1;
    }
    std::fflush(nullptr);
    _exit(status);
}

}  // namespace

int processorCount() {
    cpu_set_t usable;
    CPU_ZERO(&usable);
    return sched_getaffinity(0, sizeof usable, &usable) == 0 ? std::max(1, CPU_COUNT(&usable)) : 1;
}

SharedMemory::SharedMemory(std::size_t size) {
    void* memory = mmap(nullptr, std::max<std::size_t>(size, 1), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    bytes_ = {static_cast<std::byte*>(memory), size};
}

SharedMemory::~SharedMemory() {
    munmap(bytes_.data(), std::max<std::size_t>(bytes_.size(), 1));
}

void WorkerChannel::send(std::string_view line) const {
    std::string text(line);
    std::replace(text.begin(), text.end(), '\n', ' ');
    text += '\n';
    writeAll(descriptor_, text);
}

struct Workers::Worker {
    pid_t process = -1;
    int descriptor = -1;
    bool ended = false;
    std::string received;  // the beginning of a line

    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() {
        if (descriptor >= 0) close(descriptor);
    }

    /// Reads what has arrived. @return false at its end
    bool read(std::size_t index, std::vector<WorkerEvent>& events) {
        std::array<char, 65536> buffer{};
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count < 0) return errno == EINTR || errno == EAGAIN;
        received.append(buffer.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = received.find('\n', begin)) != std::string::npos; begin = end + 1)
            events.push_back({index, WorkerEvent::Kind::Line, received.substr(begin, end - begin), 0});
        received.erase(0, begin);
        return count > 0 && received.size() < kLongestLine;
    }

    [[nodiscard]] WorkerEvent reap(std::size_t index) {
        if (received.size() >= kLongestLine) ::kill(process, SIGKILL);
        int status = 0;
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        ended = true;
        close(std::exchange(descriptor, -1));
        if (WIFSIGNALED(status)) return {index, WorkerEvent::Kind::Died, {}, WTERMSIG(status)};
        return {index, WorkerEvent::Kind::Ended, {}, WEXITSTATUS(status)};
    }
};

Workers::Workers() = default;

Workers::~Workers() {
    kill();
    for (std::size_t i = 0; i < workers_.size(); ++i) {
        if (!workers_[i]->ended) (void)workers_[i]->reap(i);
    }
}

std::size_t Workers::start(std::size_t count, const Work& work) {
    const pid_t parent = getpid();
    std::fflush(nullptr);
    std::size_t started = 0;
    for (; started < count; ++started) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) break;
        const std::size_t index = workers_.size();
        const pid_t process = fork();
        if (process == 0) {
            close(ends[0]);
            runInWorker(parent, ends[1], index, work);
        }
        close(ends[1]);
        auto worker = std::make_unique<Worker>();
        worker->process = process;
        worker->descriptor = ends[0];
        if (process < 0) break;
        workers_.push_back(std::move(worker));
    }
    return started;
}

std::vector<WorkerEvent> Workers::wait(std::chrono::milliseconds longest) {
    std::vector<pollfd> polled;
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < workers_.size(); ++i) {
        if (workers_[i]->ended) continue;
        polled.push_back({workers_[i]->descriptor, POLLIN, 0});
        indices.push_back(i);
    }
    std::vector<WorkerEvent> events;
    if (poll(polled.data(), polled.size(), static_cast<int>(longest.count())) <= 0) return events;
    for (std::size_t k = 0; k < polled.size(); ++k) {
        if (polled[k].revents == 0) continue;
        Worker& worker = *workers_[indices[k]];
        if (!worker.read(indices[k], events)) events.push_back(worker.reap(indices[k]));
    }
    return events;
}

bool Workers::running() const noexcept {
    return std::any_of(workers_.begin(), workers_.end(), [](const auto& worker) { return !worker->ended; });
}

void Workers::interrupt() {
    for (const auto& worker : workers_) {
        if (!worker->ended) ::kill(worker->process, SIGINT);
    }
}

void Workers::kill() {
    for (const auto& worker : workers_) {
        if (!worker->ended) ::kill(worker->process, SIGKILL);
    }
}

}  // namespace kestrel::platform
