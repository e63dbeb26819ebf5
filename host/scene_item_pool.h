// The records behind values of type HxObject.
#pragma once

#include "engine/context/context.h"
#include "host/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <deque>

namespace kestrel {

/// What a value of type HxObject points to. Each value that is asked for gets a record of its own, with a
/// cursor of its own; assigning or passing it shares the record.
struct SceneItem {
    std::int32_t kind = HX_MESH;  ///< HxItemType, or what else the host calls it
    HostItemID item = 0;          ///< 0 for the scene
    HostItemID childCursor = 0;   ///< the child last returned by firstChild or nextChild

private:
    friend class SceneItemPool;
    std::int32_t holders_ = 0;
    bool onStack_ = false;           ///< while a sweep runs
    SceneItem* previous_ = nullptr;  ///< among those that nobody holds
    SceneItem* next_ = nullptr;      ///< the same, or among the free ones
};

/// The records of one script. Scripts ask for items at every sample, so records are counted and used again:
/// shading settles at the few hundred that one sweep leaves, whatever the number of samples.
class SceneItemPool {
public:
    SceneItemPool() = default;
    SceneItemPool(const SceneItemPool&) = delete;
    SceneItemPool& operator=(const SceneItemPool&) = delete;

    /// A record that nobody holds yet.
    /// @return null after reporting that there are too many
    [[nodiscard]] SceneItem* make(EngineContext& ctx, std::int32_t kind, HostItemID item);
    /// A holder takes / lets go of a record; null is allowed.
    void hold(EngineContext& ctx, SceneItem* item) noexcept;
    void drop(EngineContext& ctx, SceneItem* item) noexcept;
    /// Frees the records that nobody holds and no cell on the stack refers to.
    void sweep(EngineContext& ctx) noexcept;

private:
    class Owned;

    void link(EngineContext& ctx, SceneItem& item) noexcept;
    void unlink(EngineContext& ctx, SceneItem& item) noexcept;
    void clear() noexcept;

    std::deque<SceneItem> records_;
    SceneItem* free_ = nullptr;
    SceneItem* loose_ = nullptr;
    bool owned_ = false;  ///< the context clears the pool when it forgets its script
};

}  // namespace kestrel
