// Where samples pass that go straight to a script's code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace kestrel {

/// Open while everything holds that the code takes for granted, so that a sample need not look: whoever may
/// have changed anything of it shuts the gate, and the sample that finds it shut looks at all again. That is
/// why a callback costs one jump through a pointer.
class Gate {
public:
    /// Runs code on a record of the host's: where that was all there is to do it counts the sample and gives
    /// back kDone, otherwise it ends with what otherwise() gives back.
    using Enter = std::int32_t (*)(Gate& gate, void* record) noexcept;
    /// What is to be done about a sample that code has not shaded. No code is at work by then, so it may go.
    /// @param ending  how it ended, in the code's terms; kShut: there was none
    using Otherwise = std::int32_t (*)(Gate& gate, std::int32_t ending) noexcept;
    static constexpr std::int32_t kDone = 0;
    static constexpr std::int32_t kShut = 3;

    /// @return kDone, or how the code has ended otherwise
    [[nodiscard]] std::int32_t pass(void* record) noexcept {
        const Otherwise before = std::exchange(otherwise_, tell);
        const std::int32_t ending = enter_(*this, record);
        otherwise_ = before;
        return ending;
    }
    /// The same for those who count nanoseconds: what is left to do is done by whom leaveTo() has named.
    void jump(void* record) noexcept { enter_(*this, record); }
    /// @param owner  for `rest`, which finds it and the record here
    void leaveTo(void* owner, Otherwise rest) noexcept {
        owner_ = owner;
        otherwise_ = rest;
    }
    [[nodiscard]] void* record() const noexcept { return record_; }
    [[nodiscard]] void* owner() const noexcept { return owner_; }

    // ---- for what enters
    /// Another sample has been shaded.
    void count() noexcept { ++passed_; }
    /// Something is left to do about the record.
    std::int32_t otherwise(void* record, std::int32_t ending) noexcept {
        record_ = record;
        return otherwise_(*this, ending);
    }
    [[nodiscard]] void* code() const noexcept { return code_; }
    /// Where machine code finds what count() and otherwise() are about.
    struct Places {
        std::int32_t passed;
        std::int32_t record;
        std::int32_t otherwise;
    };
    [[nodiscard]] static constexpr Places places() noexcept {
        return {offsetof(Gate, passed_), offsetof(Gate, record_), offsetof(Gate, otherwise_)};
    }

    /// All holds, and the code calls nobody.
    /// @param code  for `enter`
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
    static std::int32_t notThrough(Gate& gate, void* record) noexcept {
        return gate.otherwise(record, kShut);
    }
    static std::int32_t tell(Gate&, std::int32_t ending) noexcept { return ending; }

    Enter enter_ = notThrough;
    void* code_ = nullptr;
    void* record_ = nullptr;  // of the sample that has not passed
    void* owner_ = nullptr;
    Otherwise otherwise_ = tell;
    std::uint64_t passed_ = 0;
    bool holds_ = false;
};

}  // namespace kestrel
