// What the host has answered while a script's code shaded a sample.
#pragma once

#include "host/host_interface.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>

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
        changes_ = false;
    }

    /// @param host  asks, and gives an Answer. It may change the sample, which code does not expect: then the
    ///              sample is as it was before, until the answer is given out once more.
    /// @return nothing where the code has to leave
    template <class Host>
    [[nodiscard]] std::optional<Answer> ask(ShadingSample& sample, const Host& host) {
        if (count_ == answers_.size()) return std::nullopt;
        const Bytes before = bytesOf(sample);
        answers_[count_] = host();
        const Bytes after = bytesOf(sample);
        ++count_;
        if (after == before) return answers_[count_ - 1];
        changes_ = true;
        changed_ = after;
        std::memcpy(&sample, before.data(), before.size());
        return std::nullopt;
    }

    /// The interpreter shades the sample. When it has, nothing is given out any more.
    class Again {
    public:
        explicit Again(HostAnswers& answers) noexcept : answers_(answers) { answers_.next_ = 0; }
        ~Again() { answers_.next_ = kNone; }
        Again(const Again&) = delete;
        Again& operator=(const Again&) = delete;

    private:
        HostAnswers& answers_;
    };
    /// @return the next answer; nothing where the host has to be asked
    [[nodiscard]] std::optional<Answer> next(ShadingSample& sample) noexcept {
        if (next_ >= count_) return std::nullopt;
        const Answer answer = answers_[next_++];
        if (changes_ && next_ == count_) std::memcpy(&sample, changed_.data(), changed_.size());
        return answer;
    }

private:
    using Bytes = std::array<std::byte, sizeof(ShadingSample)>;
    static Bytes bytesOf(const ShadingSample& sample) noexcept {
        Bytes bytes;
        std::memcpy(bytes.data(), &sample, bytes.size());
        return bytes;
    }

    static constexpr std::size_t kNone = SIZE_MAX;
    std::array<Answer, 64> answers_{};
    std::size_t count_ = 0;
    std::size_t next_ = kNone;
    bool changes_ = false;  ///< the sample, the last one does
    Bytes changed_{};
};

}  // namespace kestrel
