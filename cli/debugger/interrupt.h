// Ctrl-C while a debugger works: a wish, not an end.
#pragma once

#include "platform/clock.h"

namespace kestrel::cli {

/// While it lives, the interrupt signal sets a flag and does nothing else. One at a time.
class Interrupt {
public:
    enum class On {
        Interrupt,
        Termination,  ///< and on the signal by which other programs end this one
    };
    explicit Interrupt(On on = On::Interrupt);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    [[nodiscard]] platform::CancelFlag flag() const noexcept;
    /// True once for each time that the user pressed it.
    [[nodiscard]] bool take() noexcept;

private:
    On on_;
};

}  // namespace kestrel::cli
