#include "engine/fast/batch_flow.h"

#include <algorithm>

namespace kestrel::fast {

namespace {

int weightOf(const Instruction& each) noexcept {
    switch (each.op) {
        case Op::Call1:
        case Op::Call2:
            return 60;
        case Op::LoadElement:
        case Op::LoadElementKind:
        case Op::Div:
        case Op::Sqrt:
        case Op::Remainder:
            return 6;
        case Op::Loop:
        case Op::Guard:
            return 4;
        default:
            return infoOf(each.op).sort == Sort::Control ? 0 : 1;
    }
}

}  // namespace

BatchFlow::BatchFlow(const Code& code)
    : code_(code),
      regionAt_(code.instructions.size(), 0),
      writes_(code.registers.size()),
      reads_(code.registers.size()),
      started_(code.instructions.size()),
      blended_(code.registers.size(), false) {
    findRegions();
    findUses();
    for (std::size_t i = 0; i < code.registers.size(); ++i)
        if (!writes_[i].empty()) settle(static_cast<Reg>(i));
}

int BatchFlow::open(Region::Kind kind, std::size_t at) {
    Region region;
    region.kind = kind;
    region.parent = open_.empty() ? -1 : open_.back();
    region.begin = at;
    regions_.push_back(std::move(region));
    others_.push_back(-1);
    open_.push_back(static_cast<int>(regions_.size()) - 1);
    return open_.back();
}

void BatchFlow::close(std::size_t at) {
    Region& closed = regions_[static_cast<std::size_t>(open_.back())];
    closed.end = at;
    const int weight = closed.weight;
    open_.pop_back();
    if (!open_.empty()) regions_[static_cast<std::size_t>(open_.back())].weight += weight;
}

void BatchFlow::findRegions() {
    open(Region::Kind::Whole, 0);
    std::vector<int> thens;
    for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
        const Instruction& each = code_.instructions[i];
        const bool closes =
            each.op == Op::Else || each.op == Op::EndIf || each.op == Op::EndBlock || each.op == Op::EndLoop;
        Region& around = regions_[static_cast<std::size_t>(open_.back())];
        around.weight += weightOf(each);
        if (each.op == Op::Moves) {
            const auto& list = code_.moves[static_cast<std::size_t>(each.imm.whole)];
            around.weight += static_cast<int>(list.size());
        }
        if (!closes) {
            around.empty = false;
            around.goesAway = each.op == Op::Exit || each.op == Op::Leave;
        }
        regionAt_[i] = open_.back();
        switch (each.op) {
            case Op::If:
                regionAt_[i] = open(Region::Kind::Then, i);
                thens.push_back(open_.back());
                break;
            case Op::Else:
                close(i);
                {
                    const int other = open(Region::Kind::Else, i);
                    others_[static_cast<std::size_t>(thens.back())] = other;
                }
                break;
            case Op::EndIf: {
                const auto then = static_cast<std::size_t>(thens.back());
                if (others_[then] < 0) {  // a side of which nothing is
                    close(i);
                    const int other = open(Region::Kind::Else, i);
                    others_[then] = other;
                }
                close(i);
                regionAt_[i] = thens.back();
                thens.pop_back();
                break;
            }
            case Op::Block:
                regionAt_[i] = open(Region::Kind::Block, i);
                regions_.back().block = each.imm.whole;
                break;
            case Op::Loop:
                regionAt_[i] = open(Region::Kind::Loop, i);
                break;
            case Op::EndBlock:
            case Op::EndLoop:
                close(i);
                break;
            case Op::Exit:
                if (!isFallThrough(i)) noteExit(i);
                break;
            default:
                break;
        }
    }
    close(code_.instructions.size());
}

bool BatchFlow::isFallThrough(std::size_t exit) const {
    const std::int64_t block = code_.instructions[exit].imm.whole;
    for (std::size_t i = exit + 1; i < code_.instructions.size(); ++i) {
        if (code_.instructions[i].op != Op::EndBlock) return false;
        if (code_.instructions[i].imm.whole == block) return true;
    }
    return false;
}

void BatchFlow::noteExit(std::size_t at) {
    const std::int64_t block = code_.instructions[at].imm.whole;
    const auto target = std::ranges::find_if(
        open_, [&](int region) { return regions_[static_cast<std::size_t>(region)].block == block; });
    for (auto region = target + 1; region != open_.end(); ++region) {
        auto& exits = regions_[static_cast<std::size_t>(*region)].exits;
        if (std::ranges::find(exits, *target) == exits.end()) exits.push_back(*target);
    }
}

void BatchFlow::findUses() {
    const auto read = [&](Reg reg, std::size_t at) {
        if (reg >= 0) reads_[static_cast<std::size_t>(reg)].push_back(at);
    };
    for (std::size_t i = 0; i < code_.instructions.size(); ++i) {
        const Instruction& each = code_.instructions[i];
        for (const Reg reg : each.operands) read(reg, i);
        if (each.to >= 0) writes_[static_cast<std::size_t>(each.to)].push_back({i});
        if (each.op != Op::Moves) continue;
        for (const Move& move : code_.moves[static_cast<std::size_t>(each.imm.whole)]) {
            read(move.from, i);
            writes_[static_cast<std::size_t>(move.to)].push_back({i});
        }
    }
}

int BatchFlow::depthOf(int region) const {
    int depth = 0;
    for (; region >= 0; region = regions_[static_cast<std::size_t>(region)].parent) ++depth;
    return depth;
}

int BatchFlow::common(int a, int b) const {
    int depthA = depthOf(a);
    int depthB = depthOf(b);
    for (; depthA > depthB; --depthA) a = (*this)[a].parent;
    for (; depthB > depthA; --depthB) b = (*this)[b].parent;
    while (a != b) {
        a = (*this)[a].parent;
        b = (*this)[b].parent;
    }
    return a;
}

/// A write needs a mask unless no lane that is not active there reads what the register held: in the smallest
/// region that has all writes and reads, the first write never does; nor does a write in a loop that lanes
/// enter once and that has all reads, when all lanes that are not active have left the loop.
void BatchFlow::settle(Reg reg) {
    auto& writes = writes_[static_cast<std::size_t>(reg)];
    const auto& reads = reads_[static_cast<std::size_t>(reg)];
    // The condition of an If is read before its sides.
    const auto regionOfRead = [&](std::size_t at) {
        return code_.instructions[at].op == Op::If ? (*this)[regionAt_[at]].parent : regionAt_[at];
    };
    int home = regionAt_[writes.front().at];
    for (const Write& write : writes) home = common(home, regionAt_[write.at]);
    for (const std::size_t at : reads) home = common(home, regionOfRead(at));
    const auto loopsWithin = [&](int region) {  // between it and home
        int loops = 0;
        for (; region != home; region = (*this)[region].parent)
            loops += (*this)[region].kind == Region::Kind::Loop ? 1 : 0;
        return loops;
    };
    for (Write& write : writes) {
        const int region = regionAt_[write.at];
        const int loops = loopsWithin(region);
        if (&write == &writes.front() && loops == 0) continue;
        const bool staysInLoop = loops == 1 && (*this)[region].kind == Region::Kind::Loop &&
                                 std::ranges::all_of(reads, [&](std::size_t at) {
                                     return common(regionOfRead(at), region) == region;
                                 });
        write.masked = !staysInLoop;
    }
    if (std::ranges::none_of(writes, &Write::masked)) return;
    blended_[static_cast<std::size_t>(reg)] = true;
    int outermost = -1;
    for (int region = regionAt_[writes.front().at]; region != home; region = (*this)[region].parent)
        outermost = region;
    if (outermost < 0) return;
    // Both sides of an If are begun by it.
    std::size_t begin = (*this)[outermost].begin;
    if ((*this)[outermost].kind == Region::Kind::Else) {
        const auto then = std::ranges::find(others_, outermost);
        begin = regions_[static_cast<std::size_t>(then - others_.begin())].begin;
    }
    started_[begin].push_back(reg);
}

bool BatchFlow::isMasked(std::size_t instruction, Reg reg) const {
    const auto& writes = writes_[static_cast<std::size_t>(reg)];
    const auto found = std::ranges::find(writes, instruction, &Write::at);
    return found != writes.end() && found->masked;
}

bool independent(const Code& code) noexcept {
    return std::ranges::all_of(code.instructions, [](const Instruction& each) {
        const Sort sort = infoOf(each.op).sort;
        return sort != Sort::Change && sort != Sort::Outside && each.op != Op::StoreReal &&
               each.op != Op::StoreWord && (each.op != Op::Done || each.imm.whole == 0);
    });
}

}  // namespace kestrel::fast
