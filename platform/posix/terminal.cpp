#include "platform/terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace kestrel::platform {

bool isTerminal(Stream stream) noexcept {
    switch (stream) {
        case Stream::Input:
            return isatty(STDIN_FILENO) == 1;
        case Stream::Output:
            return isatty(fileno(stdout)) == 1;
        case Stream::Error:
            return isatty(STDERR_FILENO) == 1;
    }
    return false;
}

void reserveOutput() {
    std::fflush(stdout);
    const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (kept < 0) return;
    std::FILE* own = fdopen(kept, "w");
    if (own == nullptr) {
        close(kept);
        return;
    }
    stdout = own;
    if (dup2(STDERR_FILENO, STDOUT_FILENO) >= 0) return;
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0) return;
    dup2(nowhere, STDOUT_FILENO);
    if (nowhere != STDOUT_FILENO) close(nowhere);
}

}  // namespace kestrel::platform
