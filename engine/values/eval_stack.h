// The evaluation stack, checked on every push.
#pragma once

#include "engine/values/limits.h"
#include "engine/values/pool.h"
#include "engine/values/value.h"
#include "platform/zero_pages.h"

#include <cassert>
#include <span>

namespace kestrel {

class EvalStack {
public:
    /// Told when a push finds the stack full: reports and sets the abort flag. The pushed cell is dropped.
    class Overflow {
    public:
        virtual ~Overflow() = default;
        virtual void stackOverflow() = 0;
    };

    EvalStack(Pool& pool, Overflow& overflow) : cells_(kStackCells + 1), pool_(pool), overflow_(overflow) {}

    [[nodiscard]] int size() const noexcept { return sp_; }
    [[nodiscard]] bool full() const noexcept { return sp_ == kStackCells; }
    [[nodiscard]] bool hasRoom(int cells) const noexcept { return sp_ + cells <= kStackCells; }
    /// @param i  0 = deepest cell
    [[nodiscard]] ValueCell& at(int i) noexcept {
        assert(i >= 0 && i < kStackCells);
        return cells_[static_cast<std::size_t>(i)];
    }
    /// Cells first to end - 1. They stay where they are while the stack grows.
    [[nodiscard]] std::span<const ValueCell> cells(int first, int end) const noexcept {
        return {cells_.get() + first, cells_.get() + end};
    }
    /// @param depth  0 = top cell
    [[nodiscard]] ValueCell& top(int depth = 0) noexcept { return at(sp_ - 1 - depth); }

    /// Takes over the cell (a TempString's text included).
    void push(const ValueCell& cell) {
        if (sp_ == kStackCells) [[unlikely]] {
            release(cell);
            overflow_.stackOverflow();
            return;
        }
        cells_[static_cast<std::size_t>(sp_++)] = cell;
    }
    /// Where the next push writes, for an operation that writes its result there itself; keep() follows.
    [[nodiscard]] ValueCell& next() noexcept { return cells_[static_cast<std::size_t>(sp_)]; }
    void keep() {
        if (sp_ == kStackCells) [[unlikely]] {
            release(next());
            return overflow_.stackOverflow();
        }
        ++sp_;
    }
    /// push() for a cell that is a tag and one double (Number, Integer, marks): writes only those.
    void pushScalar(std::int32_t tag, double value) {
        if (sp_ == kStackCells) [[unlikely]]
            return overflow_.stackOverflow();
        cells_[static_cast<std::size_t>(sp_++)].setScalar(tag, value);
    }
    void pushVector(const VectorValue& v) {
        if (sp_ == kStackCells) [[unlikely]]
            return overflow_.stackOverflow();
        cells_[static_cast<std::size_t>(sp_++)].setVector(v);
    }
    void pushNode(std::int32_t tag, const CodeNode* node) {
        if (sp_ == kStackCells) [[unlikely]]
            return overflow_.stackOverflow();
        ValueCell& cell = cells_[static_cast<std::size_t>(sp_++)];
        cell.type = tag;
        cell.node = node;
    }
    /// Takes the top cell off and hands it, with its text, to the caller, who must release() or adopt it.
    [[nodiscard]] ValueCell take() noexcept {
        assert(sp_ > 0);
        return cells_[static_cast<std::size_t>(--sp_)];
    }
    /// Drops the topmost n cells, releasing owned texts.
    void drop(int n) noexcept { dropTo(sp_ - n); }
    /// Drops every cell from `newSize` up, releasing owned texts.
    void dropTo(int newSize) noexcept {
        assert(newSize >= 0);
        while (sp_ > newSize) {
            const ValueCell& cell = cells_[static_cast<std::size_t>(--sp_)];
            if (cell.type == TempString) release(cell);
        }
    }
    /// Releases what a cell taken off the stack owns.
    void release(const ValueCell& cell) noexcept { freeOwned(pool_, cell); }
    /// Forgets cells without releasing their texts: the caller has moved them elsewhere.
    void forgetTo(int newSize) noexcept { sp_ = newSize; }

private:
    // One more than are used: where next() points when the stack is full. Few scripts go far down. What lies
    // above is no value, of whatever kind: nobody reads it before a push.
    platform::ZeroArray<ValueCell> cells_;
    int sp_ = 0;
    Pool& pool_;
    Overflow& overflow_;
};

}  // namespace kestrel
