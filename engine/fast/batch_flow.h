// What lanes of a group do where their ways part: found out before code is made for it.
#pragma once

#include "engine/fast/code.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrel::fast {

/// A part of the code that lanes may be in or not: a side of an If, a block, a loop.
struct Region {
    enum class Kind : std::uint8_t { Whole, Then, Else, Block, Loop };
    Kind kind = Kind::Whole;
    int parent = -1;
    std::size_t begin = 0;  ///< the instruction that opens it
    std::size_t end = 0;    ///< that closes it
    int weight = 0;         ///< about how many machine instructions it is
    std::int64_t block = -1;
    bool empty = true;       ///< nothing is in it
    bool goesAway = false;   ///< of a side: its last instruction takes all its lanes elsewhere
    std::vector<int> exits;  ///< regions of blocks outside of it for whose end lanes leave from within
};

/// The code may be shaded in groups: samples leave nothing behind but what they write into their records.
[[nodiscard]] bool independent(const Code& code) noexcept;

class BatchFlow {
public:
    explicit BatchFlow(const Code& code);

    /// The region that an instruction opens or closes, or stands in.
    [[nodiscard]] int at(std::size_t instruction) const { return regionAt_[instruction]; }
    [[nodiscard]] const Region& operator[](int region) const {
        return regions_[static_cast<std::size_t>(region)];
    }
    [[nodiscard]] int count() const noexcept { return static_cast<int>(regions_.size()); }
    /// The else side of the If that opens a then side.
    [[nodiscard]] const Region& otherSide(int then) const {
        return regions_[static_cast<std::size_t>(others_[static_cast<std::size_t>(then)])];
    }
    /// It is worth a jump not to run it for no lane.
    [[nodiscard]] static bool isLong(const Region& region) noexcept { return region.weight > kWorthAJump; }

    /// An instruction that stands right before the end of the block that it leaves for.
    [[nodiscard]] bool isFallThrough(std::size_t exit) const;
    /// A lane that is not active there still needs what the register holds.
    [[nodiscard]] bool isMasked(std::size_t instruction, Reg reg) const;
    /// Registers that need a value before an instruction, since a masked write may be their first.
    [[nodiscard]] const std::vector<Reg>& startedAt(std::size_t instruction) const {
        return started_[instruction];
    }
    [[nodiscard]] bool isWrittenOnce(Reg reg) const {
        return writes_[static_cast<std::size_t>(reg)].size() == 1;
    }
    /// Some write of it is masked.
    [[nodiscard]] bool isBlended(Reg reg) const { return blended_[static_cast<std::size_t>(reg)]; }

private:
    static constexpr int kWorthAJump = 12;

    struct Write {
        std::size_t at;
        bool masked = false;
    };

    void findRegions();
    int open(Region::Kind kind, std::size_t at);
    void close(std::size_t at);
    void noteExit(std::size_t at);
    void findUses();
    void settle(Reg reg);
    [[nodiscard]] int depthOf(int region) const;
    [[nodiscard]] int common(int a, int b) const;

    const Code& code_;
    std::vector<Region> regions_;
    std::vector<int> others_;
    std::vector<int> regionAt_;
    std::vector<int> open_;
    std::vector<std::vector<Write>> writes_;
    std::vector<std::vector<std::size_t>> reads_;
    std::vector<std::vector<Reg>> started_;
    std::vector<bool> blended_;
};

}  // namespace kestrel::fast
