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

/// A node that finds no memory is left out, of which only the library's handler hears.
class FirstError final : public asmjit::ErrorHandler {
public:
    void handleError(asmjit::Error error, const char*, asmjit::BaseEmitter*) override {
        if (error_ == asmjit::kErrorOk) error_ = error;
    }
    [[nodiscard]] bool none() const noexcept { return error_ == asmjit::kErrorOk; }

private:
    asmjit::Error error_ = asmjit::kErrorOk;
};

}  // namespace kestrel::fast
