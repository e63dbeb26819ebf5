#include "agents/services.h"

#include <cstdint>
#include <cstring>

namespace kestrel::agents {

namespace {

/// An exception must not run through the code of a library, which may be C: it ends the script's run instead.
template <class Work>
auto contained(EngineContext& ctx, Work work) noexcept -> decltype(work()) {
    try {
        return work();
    } catch (...) {
        ctx.run.abort = true;
        return decltype(work())();
    }
}

}  // namespace

Services::Services(EngineContext& ctx) noexcept : ctx_(ctx) {
    table_.owner = this;
    table_.duplicate = [](const KestrelServices* table, const char* text) -> char* {
        if (text == nullptr) return nullptr;
        const std::size_t size = std::strlen(text) + 1;
        void* const block = of(table).allocate(size);
        return block != nullptr ? static_cast<char*>(std::memcpy(block, text, size)) : nullptr;
    };
    table_.allocate = [](const KestrelServices* table, std::size_t size) { return of(table).allocate(size); };
    table_.release = [](const KestrelServices* table, void* block) { of(table).release(block); };
    table_.info = [](const KestrelServices* table, const char* text) {
        EngineContext& context = of(table).ctx_;
        contained(context, [&] { context.report(MessageId::NativeInfo, text != nullptr ? text : ""); });
    };
    table_.error = [](const KestrelServices* table, const char* text) {
        EngineContext& context = of(table).ctx_;
        contained(context, [&] { context.report(MessageId::NativeError, text != nullptr ? text : ""); });
    };
    table_.reserved6 = [](const KestrelServices*) {};
    table_.reserved7 = [](const KestrelServices*) -> std::int32_t { return 0; };
    table_.reserved8 = [](const KestrelServices*) {};
}

std::optional<std::size_t> Services::sizeOf(const void* block) const noexcept {
    const auto found = blocks_.find(block);
    return found != blocks_.end() ? std::optional(found->second) : std::nullopt;
}

void Services::release(const void* block) noexcept {
    if (blocks_.erase(block) != 0) ctx_.pool.free(block);
}

void* Services::allocate(std::size_t size) {
    return contained(ctx_, [&]() -> void* {
        void* const block = ctx_.pool.alloc(size, false);
        if (block != nullptr) blocks_.emplace(block, size);
        return block;
    });
}

}  // namespace kestrel::agents
