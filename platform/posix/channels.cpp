#include "platform/channels.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>
#include <vector>

namespace kestrel::platform {

namespace {

constexpr std::size_t kReadPiece = 65536;
/// A pipe that has room takes this much at once.
constexpr std::size_t kWritePiece = PIPE_BUF;

bool readyFor(int descriptor, short events) {
    pollfd entry{descriptor, events, 0};
    return ::poll(&entry, 1, 0) > 0;
}

bool comesAgain(int error) {
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

}  // namespace

Channel Channel::standardInput() {
    return Channel(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Channel Channel::takeStandardOutput() {
    signal(SIGPIPE, SIG_IGN);
    std::fflush(stdout);
    Channel own(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (dup2(STDERR_FILENO, STDOUT_FILENO) >= 0) return own;
    Channel nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (nowhere.isOpen()) (void)dup2(nowhere.descriptor_, STDOUT_FILENO);
    return own;
}

Channel::Channel(Channel&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

Channel& Channel::operator=(Channel&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

Channel::~Channel() {
    close();
}

void Channel::close() noexcept {
    if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

void Channel::read(std::string& bytes, std::size_t most) {
    std::array<char, kReadPiece> piece;
    while (isOpen() && most > 0 && readyFor(descriptor_, POLLIN)) {
        const ssize_t got = ::read(descriptor_, piece.data(), std::min(piece.size(), most));
        if (got < 0 && comesAgain(errno)) return;
        if (got <= 0) return close();
        bytes.append(piece.data(), static_cast<std::size_t>(got));
        most -= static_cast<std::size_t>(got);
    }
}

void Channel::write(std::string& bytes) {
    std::size_t done = 0;
    while (isOpen() && done < bytes.size() && readyFor(descriptor_, POLLOUT)) {
        const ssize_t put =
            ::write(descriptor_, bytes.data() + done, std::min(bytes.size() - done, kWritePiece));
        if (put < 0 && comesAgain(errno)) break;
        if (put < 0)
            close();
        else
            done += static_cast<std::size_t>(put);
    }
    bytes.erase(0, done);
}

void waitForChannels(std::initializer_list<const Channel*> readable, const Channel* writable,
                     std::chrono::milliseconds longest) {
    std::vector<pollfd> entries;
    for (const Channel* channel : readable) entries.push_back({channel->descriptor_, POLLIN, 0});
    if (writable != nullptr) entries.push_back({writable->descriptor_, POLLOUT, 0});
    const auto time = static_cast<int>(std::clamp<std::int64_t>(longest.count(), 0, INT_MAX));
    (void)::poll(entries.data(), entries.size(), time);
}

}  // namespace kestrel::platform
