// Machine code, where the machine and the system allow it. The one interface of whoever makes it.
#pragma once

#include "engine/fast/code.h"

#include <cstddef>
#include <memory>

namespace kestrel::fast {

/// The memory that machine code lies in, shared by the scripts of one environment. Pages are never writable
/// and executable at the same address. May be used by several threads.
class CodeMemory {
public:
    CodeMemory();
    ~CodeMemory();
    CodeMemory(const CodeMemory&) = delete;
    CodeMemory& operator=(const CodeMemory&) = delete;

    /// Bytes of code that may lie here at a time; beyond, code is threaded.
    static constexpr std::size_t kLimit = std::size_t{64} << 20;

    struct Impl;
    [[nodiscard]] Impl* impl() const noexcept { return impl_.get(); }
    /// False where there is no machine code.
    [[nodiscard]] bool available() const noexcept { return impl_ != nullptr; }

private:
    std::unique_ptr<Impl> impl_;
};

class NativeCode {
public:
    /// @param memory  outlives the code
    /// @param gate    through which samples come, whose address the code knows; null: there is none, and the
    ///                code only gives back its Ending
    /// @return null where no machine code can be made: the machine lacks instructions, the system refuses
    ///         executable memory, or the limit is reached
    [[nodiscard]] static std::unique_ptr<NativeCode> make(const Code& code, CodeMemory& memory,
                                                          const Gate* gate);
    ~NativeCode();
    NativeCode(const NativeCode&) = delete;
    NativeCode& operator=(const NativeCode&) = delete;

    /// What shades a sample: of a record of the host's, which the code's offsets are about. Calls nobody
    /// else's code, and throws nothing.
    [[nodiscard]] Gate::Enter enter() const noexcept { return enter_; }
    /// The same without a gate.
    Ending run(void* record) const noexcept {
        Gate none;
        return {enter_(none, record)};
    }
    [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }

private:
    NativeCode(CodeMemory& memory, Gate::Enter code, std::size_t bytes) noexcept
        : memory_(memory), enter_(code), bytes_(bytes) {}

    CodeMemory& memory_;
    Gate::Enter enter_;
    std::size_t bytes_;
};

}  // namespace kestrel::fast
