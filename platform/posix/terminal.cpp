#include "platform/terminal.h"

#include <unistd.h>

namespace kestrel::platform {

bool isTerminal(Stream stream) noexcept {
    switch (stream) {
        case Stream::Input: return isatty(STDIN_FILENO) == 1;
        case Stream::Output: return isatty(STDOUT_FILENO) == 1;
        case Stream::Error: return isatty(STDERR_FILENO) == 1;
    }
    return false;
}

}  // namespace kestrel::platform
