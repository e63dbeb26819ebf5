// The code for groups of samples: made, and told where the samples are.
#include "engine/fast/batch_emitter_x86.h"
#include "engine/fast/code_memory_x86.h"

#include <cstring>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

bool BatchEmitter::emit() {
    FuncNode* function =
        cc_.addFunc(FuncSignatureT<std::uint64_t, const void*, std::uint64_t, std::uint64_t>());
    function->frame().setAvxEnabled();
    function->frame().setAvxCleanup();
    if (lanes_.wide()) function->frame().setAvx512Enabled();
    places_ = cc_.newIntPtr();
    first_ = cc_.newUInt64();
    end_ = cc_.newUInt64();
    function->setArg(0, places_);
    function->setArg(1, first_);
    function->setArg(2, end_);
    leave_ = cc_.newLabel();
    next_ = cc_.newLabel();
    cc_.bind(next_);
    cc_.cmp(first_, end_);
    cc_.jae(leave_);
    for (at_ = 0; at_ < code_.instructions.size() && !failed_; ++at_) {
        begin(flow_.startedAt(at_));
        emit(code_.instructions[at_]);
        at_ += std::exchange(skip_, 0);
    }
    cc_.bind(leave_);
    cc_.ret(first_);
    cc_.endFunc();
    return !failed_;
}

int BatchCode::machineLanes() noexcept {
    if (__builtin_cpu_supports("avx2") == 0) return 0;
    const bool wide = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
                      __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512bw") != 0;
    return wide ? 8 : 4;
}

std::unique_ptr<BatchCode> BatchCode::make(const Code& code, CodeMemory& memory, int lanes) {
    CodeMemory::Impl* impl = memory.impl();
    const int most = machineLanes();
    if (lanes == 0) lanes = most;
    if ((lanes != 4 && lanes != 8) || lanes > most || !independent(code)) return nullptr;
    if (impl == nullptr || impl->used.load() >= CodeMemory::kLimit) return nullptr;
    FirstError failed;
    CodeHolder holder;
    if (holder.init(impl->runtime.environment()) != kErrorOk) return nullptr;
    holder.setErrorHandler(&failed);
    x86::Compiler compiler(&holder);
    BatchEmitter emitter(code, compiler, lanes == 8);
    if (!emitter.emit() || compiler.finalize() != kErrorOk || !failed.none()) return nullptr;
    Entry entry = nullptr;
    if (impl->runtime.add(&entry, &holder) != kErrorOk) return nullptr;
    const std::size_t bytes = holder.codeSize();
    impl->used += bytes;
    return std::unique_ptr<BatchCode>(
        new BatchCode(memory, entry, bytes, static_cast<std::size_t>(lanes), std::move(emitter).accesses()));
}

BatchCode::BatchCode(CodeMemory& memory, Entry entry, std::size_t bytes, std::size_t lanes,
                     std::vector<RecordAccess> accesses)
    : memory_(memory),
      entry_(entry),
      bytes_(bytes),
      lanes_(lanes),
      accesses_(std::move(accesses)),
      places_(accesses_.size()),
      common_(accesses_.size()) {}

BatchCode::~BatchCode() {
    memory_.impl()->used -= bytes_;
    memory_.impl()->runtime.release(entry_);
}

void BatchCode::bind(const Columns& columns) noexcept {
    for (std::size_t i = 0; i < accesses_.size(); ++i) {
        const RecordAccess& access = accesses_[i];
        const Column* column = columns.find(access.offset);
        if (column != nullptr && (column->writable || !access.written)) {
            places_[i] = {column->data, ~std::uint64_t{0}};
            continue;
        }
        places_[i] = {common_[i].data(), 0};
        const std::size_t size = access.whole ? sizeof(std::int32_t) : sizeof(double);
        auto* lane = reinterpret_cast<std::byte*>(common_[i].data());
        for (int k = 0; k < kMostLanes; ++k, lane += size)
            std::memcpy(lane, columns.common(access.offset), size);
    }
}

}  // namespace kestrel::fast
