// Without a library that makes machine code all samples are shaded one by one.
#include "engine/fast/batch.h"

namespace kestrel::fast {

std::unique_ptr<BatchCode> BatchCode::make(const Code&, CodeMemory&, int) {
    return nullptr;
}

int BatchCode::machineLanes() noexcept {
    return 0;
}

BatchCode::~BatchCode() = default;

void BatchCode::bind(const Columns&) noexcept {}

}  // namespace kestrel::fast
