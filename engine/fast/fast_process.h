// Shades samples by the fastest executor that a script allows, and the interpreter where that cannot.
#pragma once

#include "engine/context/context.h"
#include "engine/fast/batch.h"
#include "engine/fast/lowering.h"
#include "engine/fast/native.h"
#include "engine/fast/threaded.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace kestrel::fast {

/// What has become of the samples.
struct Counts {
    std::uint64_t shaded = 0;       ///< without the interpreter
    std::uint64_t left = 0;         ///< begun without it and shaded by it
    std::uint64_t interpreted = 0;  ///< by the interpreter alone
    int lowered = 0;                ///< how often code was made
    std::uint64_t grouped = 0;      ///< of those that were shaded: in groups
    std::uint64_t apart = 0;        ///< samples of groups that left, which were then shaded one by one
};

/// Samples that were left to the interpreter for one reason.
struct ExitCount {
    Exit exit;
    std::uint64_t count = 0;
};

/// The function `process` of one script.
class FastProcess {
public:
    /// @param ctx  outlives this
    explicit FastProcess(EngineContext& ctx) noexcept : ctx_(ctx) {}
    FastProcess(const FastProcess&) = delete;
    FastProcess& operator=(const FastProcess&) = delete;

    /// Shades a sample, if that is possible without the interpreter. Then everything that scripts and hosts
    /// can see is as if the interpreter had.
    /// @param process  of the program that is loaded
    /// @param record   the host's
    /// @return false: nothing has happened, and the interpreter has to
    [[nodiscard]] bool shade(const FunctionRecord& process, void* record) {
        return shade(process, record, {ctx_.gate.pass(record)});
    }
    /// The same for those who count nanoseconds.
    /// @param passed  what the gate of the script's context has said of the record
    [[nodiscard]] bool shade(const FunctionRecord& process, void* record, Ending passed);

    /// The code for groups of samples, when all that it takes for granted holds now; the first time that it
    /// is asked for is when it is made, with the next sample.
    /// @return null: samples have to be shaded one by one
    [[nodiscard]] BatchCode* batch();
    /// Code for groups has been asked for, or it may be possible and the script has shaded so many samples
    /// that making it, which takes some milliseconds, is likely to pay.
    [[nodiscard]] bool batchPays() const noexcept {
        return batches_ || (batchable_ && counts().shaded >= kBatchPays);
    }
    /// After a run of it.
    /// @param shaded  samples
    /// @param left    those of the group that has left; 0: none has
    void noteBatch(std::size_t shaded, std::size_t left) noexcept;

    /// Forgets all code: the script goes.
    void reset();

    /// Samples that left, by why. Those of code that was made anew meanwhile stand first.
    [[nodiscard]] std::vector<ExitCount> exits() const;
    [[nodiscard]] Counts counts() const noexcept {
        Counts counts = counts_;
        counts.shaded += ctx_.gate.passed();
        return counts;
    }
    /// What runs it now.
    [[nodiscard]] Executor executor() const noexcept;
    /// Why there is no code; nothing where there is, or none was made yet.
    [[nodiscard]] const std::optional<Refusal>& refusal() const noexcept { return refusal_; }
    /// Where the code leaves because something cannot be lowered.
    [[nodiscard]] const std::vector<Refusal>& branches() const noexcept { return branches_; }

private:
    enum class Stage : std::uint8_t { New, Seen, Ready, Off };
    /// About so many samples are shaded one by one in the time in which code for groups of them is made.
    static constexpr std::uint64_t kBatchPays = 65'536;

    /// Nothing of the script runs, nobody watches it, and it is not to end.
    [[nodiscard]] bool idle() const noexcept {
        return ctx_.run.calls.empty() && ctx_.run.hook == nullptr && !ctx_.run.abort && !ctx_.endRequested();
    }
    [[nodiscard]] bool prepare(const FunctionRecord& process);
    [[nodiscard]] bool settle(Ending ending);
    void openGate() noexcept;
    [[nodiscard]] Ending run(void* record) noexcept;
    void makeCode(const FunctionRecord& process);
    /// @param asks  it asks the host, so no gate is open for it
    void install(Code& code, bool asks);
    void drop(Refusal reason);

    EngineContext& ctx_;
    std::unique_ptr<NativeCode> native_;
    std::unique_ptr<ThreadedCode> threaded_;  ///< where there is no native code
    std::size_t firstExit_ = 0;               ///< of the code at hand, in exits_
    std::vector<ExitCount> exits_;
    std::unique_ptr<BatchCode> batch_;
    bool batches_ = false;    ///< somebody wants them
    bool batchable_ = false;  ///< code for groups can be made of the code at hand, as far as one can tell
    Stage stage_ = Stage::New;
    Counts counts_;
    std::unique_ptr<UndoLog> undo_;                   ///< the code's, where it writes in the middle
    std::vector<std::unique_ptr<OutsideCall>> asks_;  ///< the code's
    std::optional<Assumptions> assumptions_;
    std::optional<Carryover> carryover_;
    Experience experience_;
    std::optional<Refusal> refusal_;
    std::vector<Refusal> branches_;
};

}  // namespace kestrel::fast
