// Writes machine code for a group of samples: batch_instructions_x86.cpp has the instructions that compute,
// batch_memory_x86.cpp those that read and write, batch_masks_x86.cpp those that say which lanes are active.
#pragma once

#include "engine/fast/batch.h"
#include "engine/fast/batch_flow.h"
#include "engine/fast/batch_lanes_x86.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace kestrel::fast {

inline constexpr int kWidth32 = 31;  ///< bits of a whole number that has 32 with its sign
inline constexpr std::uint64_t kLow32 = 0xFFFFFFFF;

class BatchEmitter {
public:
    BatchEmitter(const Code& code, asmjit::x86::Compiler& compiler, bool wide);

    /// @return false where something cannot be done in lanes
    [[nodiscard]] bool emit();
    /// The numbers of the record, in the order of the entry's places.
    [[nodiscard]] std::vector<RecordAccess> accesses() && { return std::move(accesses_); }

private:
    using Vec = Lanes::Vec;
    using Mask = Lanes::Mask;
    using Operand = Lanes::Operand;
    using Label = Lanes::Label;
    using Gp = Lanes::Gp;

    /// Lanes that are active: all, or those of a mask.
    struct Active {
        std::optional<Mask> mask;
        [[nodiscard]] bool all() const noexcept { return !mask.has_value(); }
    };
    /// A region that is open.
    struct Open {
        int region;
        Active outer;                     ///< active when it began
        std::optional<Mask> holds = {};   ///< of an If: lanes of the first side
        std::optional<Mask> fails = {};   ///< of the other one
        std::optional<Mask> exited = {};  ///< of a block: those that have left for its end
        std::optional<Mask> loop = {};    ///< of a loop: those that go round
        Label label = {};                 ///< the other side; a loop's top
        Label end = {};                   ///< behind the other side
        bool turned = false;              ///< the other side has begun
        bool jumpsOver = false;           ///< the other side is jumped over
    };

    // ---- operands (batch_instructions_x86.cpp)

    [[nodiscard]] const Register& registerOf(Reg reg) const {
        return code_.registers[static_cast<std::size_t>(reg)];
    }
    [[nodiscard]] bool isConstant(Reg reg) const { return registerOf(reg).constant; }
    [[nodiscard]] std::uint64_t bitsOf(Reg constant) const;
    /// A condition that lies in a mask.
    [[nodiscard]] bool isMask(Reg reg) const;
    [[nodiscard]] Vec slot(Reg reg);
    [[nodiscard]] Mask maskSlot(Reg reg);
    /// Its value in a register.
    [[nodiscard]] Vec value(Reg reg);
    /// The same, or a constant in memory.
    [[nodiscard]] Operand operand(Reg reg);
    [[nodiscard]] Mask condition(Reg reg);
    /// About how many bits a whole number has, without its sign.
    [[nodiscard]] int widthOf(Reg reg) const { return widths_[static_cast<std::size_t>(reg)]; }
    [[nodiscard]] int resultWidth(const Instruction& each) const;

    // ---- instructions (batch_instructions_x86.cpp)

    void emit(const Instruction& each);
    void compute(const Instruction& each, const Vec& to);
    void computeWhole(const Instruction& each, const Vec& to);
    [[nodiscard]] Mask test(const Instruction& each);
    void call(const Instruction& each, const Vec& to);
    void toWhole(const Instruction& each, const Vec& to);
    void multiply(const Instruction& each, const Vec& to);
    void remainder(const Instruction& each, const Vec& to);
    void shift(const Instruction& each, const Vec& to);

    // ---- memory (batch_memory_x86.cpp)

    [[nodiscard]] std::size_t access(std::int64_t offset, bool whole, bool written);
    [[nodiscard]] std::pair<Gp, Gp> placeOf(std::size_t access);
    void load(const Instruction& each, const Vec& to);
    void loadElement(const Instruction& each, const Vec& to);
    void loadElements(const Instruction& each, const Vec& to);
    void gather(const Instruction& each, const Vec& to);
    [[nodiscard]] Vec byteOffset(Reg index);
    void store(const Instruction& each);

    // ---- which lanes (batch_masks_x86.cpp)

    void emitControl(const Instruction& each);
    void openIf(const Instruction& each);
    void otherwise();
    void closeIf();
    void openBlock();
    void closeBlock();
    void exit(const Instruction& each);
    void openLoop();
    void closeLoop();
    void guard(Reg condition);
    void leave();
    void moves(const std::vector<Move>& list);
    /// The value of a register becomes this, in active lanes where others still need the old one.
    void write(Reg to, const Vec& made);
    void begin(const std::vector<Reg>& registers);
    [[nodiscard]] bool exitsAreNeeded(int block) const;
    [[nodiscard]] Active withoutExits(const Active& from, const std::vector<int>& blocks, int except);
    [[nodiscard]] Mask activeMask();
    [[nodiscard]] Open& openOf(int region);

    const Code& code_;
    asmjit::x86::Compiler& cc_;
    Lanes lanes_;
    BatchFlow flow_;
    std::vector<std::optional<asmjit::BaseReg>> registers_;
    std::vector<int> widths_;
    std::vector<RecordAccess> accesses_;
    std::vector<Open> open_;
    Active active_;
    bool unreached_ = false;  // behind what takes all lanes elsewhere
    bool failed_ = false;
    std::size_t skip_ = 0;        // instructions behind this one that it has done as well
    std::vector<int> elements_;   // that each register is the index of
    std::map<Reg, Vec> offsets_;  // of elements, in bytes, where all lanes are active
    std::map<Reg, std::array<Gp, BatchCode::kMostLanes>> laneOffsets_;
    std::optional<std::pair<std::uint64_t, Gp>> base_;      // an array's address, likewise
    std::array<std::optional<asmjit::x86::Mem>, 2> spare_;  // memory for calls
    Gp places_;
    Gp first_;
    Gp end_;
    Label leave_;
    Label next_;
    std::size_t at_ = 0;
};

}  // namespace kestrel::fast
