#include "host/scene_item_pool.h"

#include <memory>
#include <utility>

namespace kestrel {

namespace {

/// Far beyond any scene; a script that keeps more has gone astray.
constexpr std::size_t kMostRecords = 1'000'000;

}  // namespace

/// Ends the records together with the script: its variables go without letting go.
class SceneItemPool::Owned final : public ScriptResource {
public:
    explicit Owned(SceneItemPool& pool) : pool_(pool) {}
    ~Owned() override { pool_.clear(); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

private:
    SceneItemPool& pool_;
};

SceneItem* SceneItemPool::make(EngineContext& ctx, std::int32_t kind, HostItemID item) {
    if (!owned_) {
        ctx.resources.push_back(std::make_unique<Owned>(*this));
        owned_ = true;
    }
    SceneItem* record = free_;
    if (record != nullptr) {
        free_ = record->next_;
    } else if (records_.size() < kMostRecords) {
        record = &records_.emplace_back();
    } else {
        ctx.report(MessageId::MemoryExhausted);
        return nullptr;
    }
    record->kind = kind;
    record->item = item;
    record->childCursor = 0;
    link(ctx, *record);
    return record;
}

void SceneItemPool::hold(EngineContext& ctx, SceneItem* item) noexcept {
    if (item != nullptr && item->holders_++ == 0) unlink(ctx, *item);
}

void SceneItemPool::drop(EngineContext& ctx, SceneItem* item) noexcept {
    if (item != nullptr && --item->holders_ == 0) link(ctx, *item);
}

void SceneItemPool::sweep(EngineContext& ctx) noexcept {
    const auto mark = [&ctx](bool value) {
        for (int i = 0; i < ctx.stack.size(); ++i) {
            const ValueCell& cell = ctx.stack.at(i);
            if (cell.type == HxObject && cell.object != nullptr)
                static_cast<SceneItem*>(cell.object)->onStack_ = value;
        }
    };
    mark(true);
    for (SceneItem* item = loose_; item != nullptr;) {
        SceneItem* const following = item->next_;
        if (!item->onStack_) {
            unlink(ctx, *item);
            item->next_ = std::exchange(free_, item);
        }
        item = following;
    }
    mark(false);
}

void SceneItemPool::link(EngineContext& ctx, SceneItem& item) noexcept {
    item.previous_ = nullptr;
    item.next_ = loose_;
    if (loose_ != nullptr) loose_->previous_ = &item;
    loose_ = &item;
    ++ctx.looseObjects;
}

void SceneItemPool::unlink(EngineContext& ctx, SceneItem& item) noexcept {
    (item.previous_ != nullptr ? item.previous_->next_ : loose_) = item.next_;
    if (item.next_ != nullptr) item.next_->previous_ = item.previous_;
    --ctx.looseObjects;
}

void SceneItemPool::clear() noexcept {
    records_.clear();
    free_ = nullptr;
    loose_ = nullptr;
    owned_ = false;
}

}  // namespace kestrel
