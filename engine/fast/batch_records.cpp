// Groups of samples in records: what code reads goes into planes, what it has written comes out of them.
#include "engine/fast/batch.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kestrel::fast {

namespace {

template <class Number>
void gather(const std::byte* from, std::size_t stride, std::size_t count, double* plane) noexcept {
    auto* to = reinterpret_cast<std::byte*>(plane);
    for (std::size_t i = 0; i < count; ++i, from += stride, to += sizeof(Number))
        std::memcpy(to, from, sizeof(Number));
}

void scatter(const double* plane, std::size_t count, std::byte* to, std::size_t stride) noexcept {
    for (std::size_t i = 0; i < count; ++i, to += stride) std::memcpy(to, plane + i, sizeof(double));
}

}  // namespace

/// @return false where there is no memory for them
bool BatchCode::hasPlanes() noexcept {
    if (planes_ == nullptr) planes_.reset(new (std::nothrow) double[accesses_.size() * kMostRecords]);
    return planes_ != nullptr;
}

std::size_t BatchCode::runRecords(const Records& records, std::size_t first, std::size_t end) noexcept {
    if (!hasPlanes()) return 0;
    std::byte* const record = records.at(first);
    const std::size_t count = end - first;
    for (std::size_t i = 0; i < accesses_.size(); ++i) {
        const RecordAccess& access = accesses_[i];
        double* const plane = planes_.get() + i * kMostRecords;
        places_[i] = {plane, ~std::uint64_t{0}};
        if (access.written) continue;
        const std::byte* const from = record + access.offset;
        access.whole ? gather<std::int32_t>(from, records.stride, count, plane)
                     : gather<double>(from, records.stride, count, plane);
    }
    const std::size_t shaded = run(0, count);
    for (std::size_t i = 0; i < accesses_.size(); ++i)
        if (accesses_[i].written)
            scatter(planes_.get() + i * kMostRecords, shaded, record + accesses_[i].offset, records.stride);
    return shaded;
}

}  // namespace kestrel::fast
