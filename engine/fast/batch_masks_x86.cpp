// Which lanes are active. A lane that has left a block or a loop waits for the block's end; where the sides
// of an If or the rounds of a loop are long and no lane wants them, they are jumped over.
#include "engine/fast/batch_emitter_x86.h"

#include <algorithm>
#include <limits>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

BatchEmitter::Mask BatchEmitter::activeMask() {
    if (unreached_) return lanes_.noLanes();
    return active_.all() ? lanes_.allLanes() : *active_.mask;
}

BatchEmitter::Open& BatchEmitter::openOf(int region) {
    return *std::ranges::find(open_, region, &Open::region);
}

void BatchEmitter::begin(const std::vector<Reg>& registers) {
    for (const Reg reg : registers) lanes_.load(slot(reg), 0);
}

void BatchEmitter::emitControl(const Instruction& each) {
    switch (each.op) {
        case Op::If:
            return openIf(each);
        case Op::Else:
            return otherwise();
        case Op::EndIf:
            return closeIf();
        case Op::Block:
            return openBlock();
        case Op::EndBlock:
            return closeBlock();
        case Op::Exit:
            return exit(each);
        case Op::Loop:
            return openLoop();
        case Op::EndLoop:
            return closeLoop();
        case Op::Moves:
            return moves(code_.moves[static_cast<std::size_t>(each.imm.whole)]);
        case Op::Guard:
            return guard(each.operands[0]);
        case Op::Leave:
            return leave();
        case Op::Poll: {
            const Gp flag = cc_.newIntPtr();
            cc_.mov(flag, reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT: goes into the code
            cc_.cmp(x86::dword_ptr(flag), 0);
            cc_.jne(leave_);
            return;
        }
        default:
            failed_ = true;
    }
}

// ---- sides

void BatchEmitter::openIf(const Instruction& each) {
    const int region = flow_.at(at_);
    const Region& then = flow_[region];
    const Region& other = flow_.otherSide(region);
    Open open{.region = region, .outer = active_};
    const Mask condition = this->condition(each.operands[0]);
    open.holds = active_.all() ? condition : lanes_.both(condition, *active_.mask);
    if (!other.empty || !then.exits.empty())
        open.fails = active_.all() ? lanes_.opposite(condition) : lanes_.without(condition, *active_.mask);
    open.label = cc_.newLabel();
    open.end = cc_.newLabel();
    if (BatchFlow::isLong(then)) lanes_.jumpIfNone(*open.holds, open.label);
    active_.mask = open.holds;
    open_.push_back(std::move(open));
}

void BatchEmitter::otherwise() {
    Open& open = open_.back();
    open.turned = true;
    cc_.bind(open.label);
    unreached_ = false;
    const Region& other = flow_.otherSide(open.region);
    if (other.empty) return;
    if (BatchFlow::isLong(other)) {
        open.jumpsOver = true;
        lanes_.jumpIfNone(*open.fails, open.end);
    }
    active_.mask = open.fails;
}

void BatchEmitter::closeIf() {
    const Open open = std::move(open_.back());
    open_.pop_back();
    if (!open.turned) cc_.bind(open.label);
    if (open.jumpsOver) cc_.bind(open.end);
    unreached_ = false;
    const Region& then = flow_[open.region];
    const Region& other = flow_.otherSide(open.region);
    if (then.exits.empty() && other.exits.empty()) {
        active_ = open.outer;
    } else if (then.goesAway && other.exits.empty()) {
        active_.mask = open.fails;
    } else if (other.goesAway && then.exits.empty()) {
        active_.mask = open.holds;
    } else {
        std::vector<int> blocks = then.exits;
        for (const int block : other.exits)
            if (std::ranges::find(blocks, block) == blocks.end()) blocks.push_back(block);
        active_ = withoutExits(open.outer, blocks, -1);
    }
}

// ---- blocks

/// Somebody will have to ask which lanes have left for the end of a block.
bool BatchEmitter::exitsAreNeeded(int block) const {
    const auto has = [block](const Region& region) {
        return std::ranges::find(region.exits, block) != region.exits.end();
    };
    const Region& whole = flow_[block];
    for (int i = block + 1; i < flow_.count() && flow_[i].begin < whole.end; ++i) {
        const Region& region = flow_[i];
        if (region.kind == Region::Kind::Block && has(region)) return true;
        if (region.kind != Region::Kind::Then) continue;
        const Region& other = flow_.otherSide(i);
        if (!has(region) && !has(other)) continue;
        if (!(region.goesAway && other.exits.empty()) && !(other.goesAway && region.exits.empty()))
            return true;
    }
    return false;
}

void BatchEmitter::openBlock() {
    const int region = flow_.at(at_);
    Open open{.region = region, .outer = active_};
    if (exitsAreNeeded(region)) open.exited = lanes_.noLanes();
    open_.push_back(std::move(open));
}

BatchEmitter::Active BatchEmitter::withoutExits(const Active& from, const std::vector<int>& blocks,
                                                int except) {
    Active left = from;
    for (const int block : blocks) {
        if (block == except) continue;
        const Mask exited = *openOf(block).exited;
        left.mask = left.all() ? lanes_.opposite(exited) : lanes_.without(exited, *left.mask);
    }
    return left;
}

void BatchEmitter::closeBlock() {
    const Open open = std::move(open_.back());
    open_.pop_back();
    unreached_ = false;
    active_ = withoutExits(open.outer, flow_[open.region].exits, open.region);
}

void BatchEmitter::exit(const Instruction& each) {
    if (flow_.isFallThrough(at_)) return;
    const auto target = std::ranges::find_if(
        open_, [&](const Open& open) { return flow_[open.region].block == each.imm.whole; });
    if (target->exited) lanes_.addTo(*target->exited, activeMask());
    unreached_ = true;
}

// ---- loops

void BatchEmitter::openLoop() {
    Open open{.region = flow_.at(at_), .outer = active_};
    open.loop = lanes_.newMask();
    lanes_.copyMask(*open.loop, activeMask());
    open.label = cc_.newLabel();
    cc_.bind(open.label);
    active_.mask = open.loop;
    open_.push_back(std::move(open));
}

void BatchEmitter::closeLoop() {
    const Open open = std::move(open_.back());
    open_.pop_back();
    if (!unreached_) {
        if (active_.mask->id() != open.loop->id()) lanes_.copyMask(*open.loop, *active_.mask);
        lanes_.jumpIfAny(*open.loop, open.label);
    }
    unreached_ = true;
}

// ---- leaving with all

void BatchEmitter::guard(Reg condition) {
    if (unreached_) return;
    const Mask holds = this->condition(condition);
    if (active_.all())
        lanes_.jumpUnlessAll(holds, leave_);
    else
        lanes_.jumpIfMissing(holds, *active_.mask, leave_);
}

void BatchEmitter::leave() {
    if (active_.all())
        cc_.jmp(leave_);
    else if (!unreached_)
        lanes_.jumpIfAny(*active_.mask, leave_);
    unreached_ = true;
}

// ---- what ways bring along

void BatchEmitter::write(Reg to, const Vec& made) {
    if (!unreached_ && !active_.all() && flow_.isMasked(at_, to))
        lanes_.select(slot(to), *active_.mask, made, slot(to));
    else
        lanes_.op(Inst::kIdVmovapd, slot(to), made);
}

/// All at once: what is overwritten before it is read waits in a register of its own.
void BatchEmitter::moves(const std::vector<Move>& list) {
    if (unreached_) return;
    constexpr Reg kSpare = std::numeric_limits<Reg>::max();
    const Vec spare = lanes_.newVec();
    for (const Move& each : sequenced(list, kSpare)) {
        if (each.to == kSpare) {
            lanes_.op(Inst::kIdVmovapd, spare, value(each.from));
        } else if (each.from == kSpare) {
            write(each.to, spare);
        } else if (isConstant(each.from) && (active_.all() || !flow_.isMasked(at_, each.to))) {
            lanes_.load(slot(each.to), bitsOf(each.from));
        } else if (isConstant(each.from)) {
            lanes_.select(slot(each.to), *active_.mask, operand(each.from), slot(each.to));
        } else {
            write(each.to, value(each.from));
        }
    }
}

}  // namespace kestrel::fast
