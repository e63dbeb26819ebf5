#include "engine/fast/fast_process.h"

#include "engine/fast/batch_flow.h"
#include "engine/fast/blend.h"

#include <algorithm>
#include <cfenv>
#include <iterator>
#include <new>
#include <utility>

namespace kestrel::fast {

namespace {

/// Code is made anew where something has changed that was thought steady; a script in which that goes on is
/// left to the interpreter.
constexpr int kMostLowered = 4;
/// Samples after which code that nearly always leaves is given up: it only costs time.
constexpr std::uint64_t kTrial = 1024;

/// Instructions that become machine code for groups: beyond, the time to allocate registers grows faster than
/// the code.
constexpr std::size_t kMostBatched = 4000;
/// Those that become machine code for one sample.
constexpr std::size_t kMostNative = 60'000;

}  // namespace

Executor FastProcess::executor() const noexcept {
    if (stage_ != Stage::Ready) return Executor::Definition;
    return native_ != nullptr ? Executor::Native : Executor::Threaded;
}

void FastProcess::reset() {
    ctx_.gate.shut();
    ctx_.gate.forget();
    native_.reset();
    threaded_.reset();
    batch_.reset();
    assumptions_.reset();
    carryover_.reset();
    experience_ = {};
    refusal_.reset();
    branches_.clear();
    undo_.reset();
    asks_.clear();
    exits_.clear();
    firstExit_ = 0;
    counts_ = {};
    batches_ = batchable_ = false;
    stage_ = Stage::New;
}

/// @return true when the code may run
bool FastProcess::prepare(const FunctionRecord& process) {
    const auto interpret = [this] {
        ++counts_.interpreted;
        return false;
    };
    if (stage_ == Stage::Off || !idle() || ctx_.services.executor == Executor::Definition) return interpret();
    if (ctx_.gate.holds()) {
        openGate();
        return true;
    }
    // The interpreter shades the first sample: afterwards variables have the kinds that they usually have.
    if (stage_ == Stage::New) {
        stage_ = Stage::Seen;
        return interpret();
    }
    if (stage_ == Stage::Ready && !assumptions_->hold()) {
        assumptions_->teach(experience_);
        stage_ = Stage::Seen;
    }
    if (stage_ == Stage::Seen) makeCode(process);
    if (stage_ != Stage::Ready) return interpret();
    openGate();
    return true;
}

void FastProcess::openGate() noexcept {
    if (!asks_.empty())
        ctx_.gate.keepClosed();
    else if (native_ != nullptr)
        ctx_.gate.open(native_->enter(), nullptr);
    else
        ctx_.gate.open(ThreadedCode::enter, threaded_.get());
}

/// From now on the interpreter shades all.
void FastProcess::drop(Refusal reason) {
    ctx_.gate.shut();
    native_.reset();
    threaded_.reset();
    batch_.reset();
    stage_ = Stage::Off;
    refusal_ = std::move(reason);
}

void FastProcess::makeCode(const FunctionRecord& process) {
    if (counts_.lowered >= kMostLowered + (batches_ ? 1 : 0))
        return drop({"kinds or values of variables change too often"});
    ++counts_.lowered;
    try {
        if (!carryover_) carryover_.emplace(*ctx_.program);
        auto result = lower(ctx_, *carryover_, process, experience_);
        if (auto* refused = std::get_if<Refusal>(&result)) return drop(std::move(*refused));
        Lowered& lowered = std::get<Lowered>(result);
        // Locals may hold what the next sample lets go of, with a warning. Afterwards they do not.
        if (!lowered.assumptions.hold()) return;
        if (ctx_.services.failingGuard >= 0) failGuard(lowered.code, ctx_.services.failingGuard);
        lowered.code.fewRegisters = ctx_.services.fewRegisters;
        install(lowered.code, !lowered.asks.empty());
        std::erase_if(exits_, [](const ExitCount& each) { return each.count == 0; });
        firstExit_ = exits_.size();
        for (Exit& exit : lowered.code.exits) exits_.push_back({std::move(exit)});
        assumptions_ = std::move(lowered.assumptions);
        branches_ = std::move(lowered.branches);
        undo_ = std::move(lowered.undo);
        asks_ = std::move(lowered.asks);
        stage_ = Stage::Ready;
    } catch (const std::bad_alloc&) {
        drop({"there is no memory for it"});
    }
}

std::vector<ExitCount> FastProcess::exits() const {
    std::vector<ExitCount> taken;
    std::ranges::copy_if(exits_, std::back_inserter(taken),
                         [](const ExitCount& each) { return each.count != 0; });
    return taken;
}

void FastProcess::install(Code& code, bool asks) {
    ctx_.gate.shut();
    native_.reset();
    threaded_.reset();
    batch_.reset();
    const bool forMachine = ctx_.services.executor != Executor::Threaded &&
                            ctx_.services.codeMemory != nullptr && ctx_.services.codeMemory->available() &&
                            code.instructions.size() <= kMostNative;
    batchable_ = forMachine && code.instructions.size() <= kMostBatched && independent(code);
    // Lanes are masked without a jump as it is, so their code keeps its branches. Steps would be better off
    // with them, too, but get choices where there is no room for machine code, which is rare.
    std::optional<Code> forBatch;
    if (batchable_ && batches_) forBatch = code;
    if (forMachine) blend(code);
    coalesce(code);
    if (forMachine) native_ = NativeCode::make(code, *ctx_.services.codeMemory, asks ? nullptr : &ctx_.gate);
    batchable_ = batchable_ && native_ != nullptr;
    if (batchable_ && forBatch) {
        coalesce(*forBatch);
        batch_ = BatchCode::make(*forBatch, *ctx_.services.codeMemory, ctx_.services.batchLanes);
    }
    if (native_ == nullptr) threaded_ = std::make_unique<ThreadedCode>(code);
}

BatchCode* FastProcess::batch() {
    if (!batches_) {
        batches_ = true;
        if (stage_ == Stage::Ready) {  // with the next sample code is made for both
            stage_ = Stage::Seen;
            ctx_.gate.shut();
        }
    }
    if (stage_ != Stage::Ready || batch_ == nullptr || !idle() || std::fegetround() != FE_TONEAREST)
        return nullptr;
    if (!ctx_.gate.holds()) {
        if (!assumptions_->hold()) return nullptr;
        openGate();
    }
    return batch_.get();
}

void FastProcess::noteBatch(std::size_t shaded, std::size_t left) noexcept {
    counts_.shaded += shaded;
    counts_.grouped += shaded;
    counts_.apart += left;
    // A group that leaves has been shaded for nothing.
    if (counts_.apart > kTrial && counts_.apart > counts_.grouped) batch_.reset();
}

bool FastProcess::shade(const FunctionRecord& process, void* record, Ending passed) {
    if (passed.outcome() == Outcome::Shut) {
        if (!prepare(process)) return false;
        passed = run(record);
    }
    return settle(passed);
}

Ending FastProcess::run(void* record) noexcept {
    if (asks_.empty()) return {ctx_.gate.pass(record)};
    const Ending ending = native_ != nullptr ? native_->run(record) : threaded_->run(record);
    if (ending.outcome() == Outcome::Done) ctx_.gate.count();
    return ending;
}

/// After a run of the code.
/// @return false: the interpreter has to shade the sample
bool FastProcess::settle(Ending ending) {
    if (ending.outcome() == Outcome::Done) return true;
    if (ending.outcome() == Outcome::Changed) {
        ctx_.gate.count();
        ctx_.gate.shut();  // the next sample looks
        return true;
    }
    if (undo_ != nullptr) undo_->takeBack();
    ++counts_.left;
    if (ending.exit() >= 0) ++exits_[firstExit_ + static_cast<std::size_t>(ending.exit())].count;
    const std::uint64_t shaded = counts().shaded;
    if (counts_.left > kTrial && counts_.left > 15 * shaded)
        drop({"nearly every sample needs the interpreter"});
    return false;
}

}  // namespace kestrel::fast
