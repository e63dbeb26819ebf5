#include "engine/fast/fast_process.h"

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
    native_.reset();
    threaded_.reset();
    batch_.reset();
    assumptions_.reset();
    carryover_.reset();
    experience_ = {};
    refusal_.reset();
    branches_.clear();
    undo_.reset();
    exits_.clear();
    firstExit_ = 0;
    counts_ = {};
    batches_ = false;
    stage_ = Stage::New;
}

/// @return true when the code may run
bool FastProcess::prepare(const FunctionRecord& process) {
    const auto interpret = [this] {
        ++counts_.interpreted;
        return false;
    };
    if (stage_ == Stage::Off || !idle() || ctx_.services.executor == Executor::Definition) return interpret();
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
    checked_ = ctx_.epoch;
    return true;
}

/// From now on the interpreter shades all.
void FastProcess::drop(Refusal reason) {
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
        install(lowered.code);
        std::erase_if(exits_, [](const ExitCount& each) { return each.count == 0; });
        firstExit_ = exits_.size();
        for (Exit& exit : lowered.code.exits) exits_.push_back({std::move(exit)});
        assumptions_ = std::move(lowered.assumptions);
        branches_ = std::move(lowered.branches);
        undo_ = std::move(lowered.undo);
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

void FastProcess::install(const Code& code) {
    native_.reset();
    threaded_.reset();
    batch_.reset();
    if (ctx_.services.executor != Executor::Threaded && ctx_.services.codeMemory != nullptr &&
        code.instructions.size() <= kMostNative)
        native_ = NativeCode::make(code, *ctx_.services.codeMemory);
    if (native_ != nullptr && batches_ && code.instructions.size() <= kMostBatched)
        batch_ = BatchCode::make(code, *ctx_.services.codeMemory, ctx_.services.batchLanes);
    if (native_ == nullptr) threaded_ = std::make_unique<ThreadedCode>(code);
}

BatchCode* FastProcess::batch() {
    if (!batches_) {
        batches_ = true;
        if (stage_ == Stage::Ready) stage_ = Stage::Seen;  // with the next sample code is made for both
    }
    if (stage_ != Stage::Ready || batch_ == nullptr || !idle() || std::fegetround() != FE_TONEAREST)
        return nullptr;
    if (checked_ != ctx_.epoch) {
        if (!assumptions_->hold()) return nullptr;
        checked_ = ctx_.epoch;
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

bool FastProcess::settle(Outcome outcome) {
    if (outcome == Outcome::Done) return true;
    if (outcome == Outcome::Changed) {
        ++counts_.shaded;
        ++ctx_.epoch;  // the next sample checks
        return true;
    }
    if (undo_ != nullptr) undo_->takeBack();
    ++counts_.left;
    if (exit_ >= 0) ++exits_[firstExit_ + static_cast<std::size_t>(exit_)].count;
    if (counts_.left > kTrial && counts_.left > 15 * counts_.shaded)
        drop({"nearly every sample needs the interpreter"});
    return false;
}

}  // namespace kestrel::fast
