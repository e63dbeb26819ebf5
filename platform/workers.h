// Copies of this process that work beside it, and memory that they share with it.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

/// How many programs the machine runs at once; at least 1.
[[nodiscard]] int processorCount();

/// Zeroed memory that workers started later see and change as this process does.
class SharedMemory {
public:
    /// Errors: throws std::bad_alloc
    explicit SharedMemory(std::size_t size);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    [[nodiscard]] std::span<std::byte> bytes() const noexcept { return bytes_; }

private:
    std::span<std::byte> bytes_;
};

/// What a worker's work gets of the outside.
class WorkerChannel {
public:
    explicit WorkerChannel(int descriptor) : descriptor_(descriptor) {}
    /// Sends a line to the process that started the worker; `line` holds no newline. Lost when that is gone.
    void send(std::string_view line) const;

private:
    int descriptor_;
};

struct WorkerEvent {
    enum class Kind {
        Line,   ///< the worker sent a line
        Ended,  ///< it returned
        Died    ///< it was ended by a signal, such as that of a crash
    };
    std::size_t worker = 0;
    Kind kind = Kind::Line;
    std::string line;
    int status = 0;  ///< what it returned, or the signal's number
};

/// A group of workers. Each is a copy of this process as it was at its start and ends when its work returns;
/// nothing that it does to memory shows here, except in SharedMemory. They end with this process, however
/// that ends.
///
/// Files that the process was writing are flushed first, so that no worker writes them again. Threads are not
/// copied: the work must not wait for one.
class Workers {
public:
    /// @param index  from 0
    /// @return the worker's status, 0..255
    using Work = std::function<int(std::size_t index, const WorkerChannel& channel)>;

    Workers();
    /// Ends those that still run.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// @return how many could be started
    [[nodiscard]] std::size_t start(std::size_t count, const Work& work);

    /// What has happened, in order for each worker; waits when nothing has. Interrupts end the waiting.
    [[nodiscard]] std::vector<WorkerEvent> wait(std::chrono::milliseconds longest);
    /// True while any worker has not been reported as ended.
    [[nodiscard]] bool running() const noexcept;

    /// Interrupts those that run, as Ctrl-C does.
    void interrupt();
    /// Ends those that run at once.
    void kill();

private:
    struct Worker;
    std::vector<std::unique_ptr<Worker>> workers_;
};

}  // namespace kestrel::platform
