// The executor for every machine: a row of steps, each of which jumps to the next.
#pragma once

#include "engine/fast/code.h"
#include "engine/fast/operations.h"

#include <memory>
#include <vector>

namespace kestrel::fast {

/// What a step carries: where it goes, or what its instruction has.
struct Step {
    const void* handler = nullptr;
    Reg to = kNoReg;
    Reg a = kNoReg;
    Reg b = kNoReg;
    Reg c = kNoReg;
    union {
        Immediate imm{};
        const Step* target;
    };
};

class ThreadedCode {
public:
    explicit ThreadedCode(const Code& code);
    ThreadedCode(const ThreadedCode&) = delete;
    ThreadedCode& operator=(const ThreadedCode&) = delete;

    /// Shades a sample.
    /// @param record  of the host, which the code's offsets are about
    Ending run(void* record) noexcept;
    /// The same for a gate whose code is one of these.
    static std::int32_t enter(Gate& gate, void* record) noexcept {
        const Ending ending = static_cast<ThreadedCode*>(gate.code())->run(record);
        if (ending.outcome() != Outcome::Done) return gate.otherwise(record, ending.bits);
        gate.count();
        return Gate::kDone;
    }
    [[nodiscard]] std::size_t bytes() const noexcept {
        return steps_.size() * sizeof(Step) + registers_.size() * sizeof(Word);
    }

private:
    std::vector<Step> steps_;
    std::vector<Word> registers_;
};

}  // namespace kestrel::fast
