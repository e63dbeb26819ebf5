// Where samples pass that go straight to a script's code.
#pragma once

#include <cstdint>

namespace kestrel {

/// Open while everything holds that the code takes for granted, so that a sample need not look: whoever may
/// have changed anything of it shuts the gate, and the sample that finds it shut looks at all again. That is
/// why a callback costs one call through a pointer.
class Gate {
public:
    /// Runs code on a record of the host's.
    /// @return how it ended, in the code's terms; kDone and kShut are everybody's
    using Enter = std::int32_t (*)(void* code, void* record) noexcept;
    static constexpr std::int32_t kDone = 0;
    static constexpr std::int32_t kShut = 3;

    [[nodiscard]] std::int32_t pass(void* record) const noexcept { return enter_(code_, record); }
    /// After kDone.
    void count() noexcept { ++passed_; }

    /// All holds, and the code calls nobody.
    void open(Enter enter, void* code) noexcept {
        holds_ = true;
        enter_ = enter;
        code_ = code;
    }
    /// All holds, but samples are to come the long way, since the code calls the host.
    void keepClosed() noexcept {
        holds_ = true;
        close();
    }
    /// Somebody is at work with the script, who may call a host that calls back.
    void close() noexcept { enter_ = notThrough; }
    /// Something may have changed.
    void shut() noexcept {
        holds_ = false;
        close();
    }
    [[nodiscard]] bool holds() const noexcept { return holds_; }

    /// Samples that were counted.
    [[nodiscard]] std::uint64_t passed() const noexcept { return passed_; }
    void forget() noexcept { passed_ = 0; }

private:
    static std::int32_t notThrough(void*, void*) noexcept { return kShut; }

    Enter enter_ = notThrough;
    void* code_ = nullptr;
    bool holds_ = false;
    std::uint64_t passed_ = 0;
};

}  // namespace kestrel
