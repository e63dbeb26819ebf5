// What native code may ask of the engine.
#pragma once

#include "engine/context/context.h"
#include "sdk/kestrel_agent.h"

#include <cstddef>
#include <optional>
#include <unordered_map>

namespace kestrel::agents {

/// The service table of one script, and the blocks that it has given out. They are noted, so that releasing
/// one twice, or something else, does no harm, and so that it is known how far a record array can reach.
class Services {
public:
    explicit Services(EngineContext& ctx) noexcept;
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    [[nodiscard]] const KestrelServices* table() const noexcept { return &table_; }
    /// Bytes of a block that was given out and not released; nothing for other memory.
    [[nodiscard]] std::optional<std::size_t> sizeOf(const void* block) const noexcept;
    /// Releases such a block; leaves other memory alone.
    void release(const void* block) noexcept;

private:
    struct Table : KestrelServices {
        Services* owner = nullptr;
    };

    [[nodiscard]] static Services& of(const KestrelServices* table) noexcept {
        return *static_cast<const Table*>(table)->owner;
    }
    [[nodiscard]] void* allocate(std::size_t size);

    EngineContext& ctx_;
    Table table_;
    std::unordered_map<const void*, std::size_t> blocks_;
};

}  // namespace kestrel::agents
