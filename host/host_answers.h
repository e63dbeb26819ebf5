// What the host has answered while a script's code shaded a sample.
#pragma once

#include "engine/context/context.h"
#include "host/host_interface.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>

namespace kestrel {

/// Code that leaves a sample to the interpreter may have asked the host before. The interpreter shades the
/// sample from its beginning, and is given the same answers: the host is asked once, in the same order, and a
/// ray costs more than all the rest.
class HostAnswers {
public:
    using Answer = std::array<double, 4>;

    /// Code begins with a sample.
    void begin() noexcept {
        count_ = 0;
        ends_ = false;
    }

    /// The host may change the sample, which code does not expect, and throw. Then the sample is as it was
    /// before, and all that is for the interpreter.
    /// @param host  asks, and gives an Answer
    /// @return nothing where the code has to leave
    template <class Host>
    [[nodiscard]] std::optional<Answer> ask(ShadingSample& sample, const Host& host) noexcept {
        if (count_ == answers_.size()) return std::nullopt;
        const Bytes before = bytesOf(sample);
        try {
            answers_[count_] = host();
        } catch (...) {
            failure_ = std::current_exception();
        }
        ++count_;
        const Bytes after = bytesOf(sample);
        if (after == before && failure_ == nullptr) return answers_[count_ - 1];
        ends_ = true;
        changed_ = after;
        std::memcpy(&sample, before.data(), before.size());
        return std::nullopt;
    }

    /// The interpreter shades the sample. When it has, nothing is given out any more. Until it comes to where
    /// the code has been, nobody ends its run: there it ends where it would have ended.
    class Again {
    public:
        Again(HostAnswers& answers, EngineContext& ctx) noexcept : answers_(answers) {
            answers.next_ = 0;
            if (answers.count_ == 0) return;
            answers.watch_ = &ctx.services.watch;
            answers.kept_ = std::exchange(ctx.services.watch, nullptr);
        }
        ~Again() {
            answers_.watchAgain();
            answers_.next_ = kNone;
            answers_.failure_ = nullptr;
        }
        Again(const Again&) = delete;
        Again& operator=(const Again&) = delete;

    private:
        HostAnswers& answers_;
    };
    /// @return the next answer; nothing where the host has to be asked
    /// @throws what the host has thrown in its place
    [[nodiscard]] std::optional<Answer> next(ShadingSample& sample) {
        if (next_ >= count_) return std::nullopt;
        const Answer answer = answers_[next_++];
        if (next_ < count_) return answer;
        watchAgain();
        if (ends_) std::memcpy(&sample, changed_.data(), changed_.size());
        if (failure_ != nullptr) std::rethrow_exception(std::exchange(failure_, nullptr));
        return answer;
    }

private:
    using Bytes = std::array<std::byte, sizeof(ShadingSample)>;
    static Bytes bytesOf(const ShadingSample& sample) noexcept {
        Bytes bytes;
        std::memcpy(bytes.data(), &sample, bytes.size());
        return bytes;
    }

    void watchAgain() noexcept {
        if (watch_ != nullptr) *std::exchange(watch_, nullptr) = kept_;
    }

    static constexpr std::size_t kNone = SIZE_MAX;
    std::array<Answer, 64> answers_{};
    std::size_t count_ = 0;
    std::size_t next_ = kNone;
    bool ends_ = false;  ///< the last answer is one that code does not expect
    Bytes changed_{};    ///< then: the sample behind it
    std::exception_ptr failure_;
    RunWatch** watch_ = nullptr;  ///< of the interpreter, where nobody ends its run
    RunWatch* kept_ = nullptr;
};

}  // namespace kestrel
