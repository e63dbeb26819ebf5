// What is behind CodeMemory where machine code is made.
#pragma once

#include "engine/fast/native.h"

#include <asmjit/x86.h>

#include <atomic>
#include <cstddef>

namespace kestrel::fast {

struct CodeMemory::Impl {
    Impl() : runtime(parameters()) {}

    static const asmjit::JitAllocator::CreateParams* parameters() noexcept {
        static const asmjit::JitAllocator::CreateParams kParameters = [] {
            asmjit::JitAllocator::CreateParams made;
            made.options = asmjit::JitAllocatorOptions::kUseDualMapping;
            return made;
        }();
        return &kParameters;
    }

    asmjit::JitRuntime runtime;
    std::atomic<std::size_t> used{0};
};

}  // namespace kestrel::fast
