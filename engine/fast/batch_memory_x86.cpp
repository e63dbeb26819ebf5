// What batches read and write: columns of samples, variables, elements of arrays.
#include "engine/fast/batch_emitter_x86.h"
#include "engine/values/value.h"

#include <algorithm>

namespace kestrel::fast {

using namespace asmjit;  // NOLINT: its names are all that this file is about

namespace {

constexpr int kOften = 4;  // elements that an index is used for

}  // namespace

std::size_t BatchEmitter::access(std::int64_t offset, bool whole, bool written) {
    const auto found = std::ranges::find_if(accesses_, [&](const RecordAccess& each) {
        return each.offset == offset && each.written == written && each.whole == whole;
    });
    if (found != accesses_.end()) return static_cast<std::size_t>(found - accesses_.begin());
    accesses_.push_back({offset, whole, written});
    return accesses_.size() - 1;
}

/// The address of a column, and the sample to be looked for there.
std::pair<BatchEmitter::Gp, BatchEmitter::Gp> BatchEmitter::placeOf(std::size_t access) {
    static_assert(sizeof(BatchCode::Place) == 16);
    const auto offset = static_cast<std::int32_t>(access * sizeof(BatchCode::Place));
    const Gp data = cc_.newIntPtr();
    const Gp sample = cc_.newUInt64();
    cc_.mov(data, x86::qword_ptr(places_, offset));
    cc_.mov(sample, x86::qword_ptr(places_, offset + 8));
    cc_.and_(sample, first_);
    return {data, sample};
}

void BatchEmitter::load(const Instruction& each, const Vec& to) {
    switch (each.op) {
        case Op::LoadReal:
        case Op::LoadWord: {
            const Gp address = cc_.newIntPtr();
            cc_.mov(address,
                    reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT: goes into the code
            if (each.op == Op::LoadReal) return lanes_.op(Inst::kIdVbroadcastsd, to, x86::qword_ptr(address));
            lanes_.op(Inst::kIdVpbroadcastd, to, x86::dword_ptr(address));
            return lanes_.op(Inst::kIdVandpd, to, to, lanes_.constant(kLow32));
        }
        case Op::LoadRecordReal: {
            const auto [data, sample] = placeOf(access(each.imm.whole, false, false));
            return lanes_.op(Inst::kIdVmovupd, to, x86::ptr(data, sample, 3));
        }
        case Op::LoadRecordWhole: {
            const auto [data, sample] = placeOf(access(each.imm.whole, true, false));
            return lanes_.op(Inst::kIdVpmovsxdq, to, x86::ptr(data, sample, 2));
        }
        case Op::LoadElement:
        case Op::LoadElementKind:
            return loadElement(each, to);
        default:
            failed_ = true;
    }
}

void BatchEmitter::loadElement(const Instruction& each, const Vec& to) {
    const Reg index = each.operands[0];
    const bool often = elements_[static_cast<std::size_t>(index)] >= kOften;
    if (each.op == Op::LoadElement && often && active_.all() && flow_.isWrittenOnce(index))
        return loadElements(each, to);
    gather(each, to);
}

BatchEmitter::Vec BatchEmitter::byteOffset(Reg index) {
    static_assert(sizeof(ValueCell) == 56);
    const bool keeps = active_.all() && (isConstant(index) || flow_.isWrittenOnce(index));
    if (const auto kept = offsets_.find(index); keeps && kept != offsets_.end()) return kept->second;
    const Vec offset = lanes_.newVec();
    if (isConstant(index)) {
        lanes_.load(offset, static_cast<std::uint64_t>(registerOf(index).whole) * sizeof(ValueCell));
    } else if (widthOf(index) <= kWidth32) {
        lanes_.op(Inst::kIdVpmuldq, offset, value(index), lanes_.constant(std::uint64_t{sizeof(ValueCell)}));
    } else {
        const Vec less = lanes_.newVec();  // 56 is 64 - 8
        lanes_.op(Inst::kIdVpsllq, less, value(index), Imm(3));
        lanes_.op(Inst::kIdVpsllq, offset, value(index), Imm(6));
        lanes_.op(Inst::kIdVpsubq, offset, offset, less);
    }
    if (keeps) offsets_.emplace(index, offset);
    return offset;
}

/// Of active lanes alone: what others have for an index may be anything.
void BatchEmitter::gather(const Instruction& each, const Vec& to) {
    const Gp base = cc_.newIntPtr();
    cc_.mov(base, reinterpret_cast<std::uintptr_t>(each.imm.address));  // NOLINT: goes into the code
    const Vec offset = byteOffset(each.operands[0]);
    const Mask wanted = lanes_.newMask();  // the machine takes out what it has done
    lanes_.copyMask(wanted, activeMask());
    const Vec got = lanes_.newVec();
    lanes_.load(got, 0);
    const x86::Mem from = x86::ptr(base, offset, 0, 0);
    if (lanes_.wide()) {
        cc_.k(wanted.as<x86::KReg>());
        lanes_.op(Inst::kIdVgatherqpd, got, from);
    } else {
        lanes_.op(Inst::kIdVgatherqpd, got, from, wanted);
    }
    if (each.op == Op::LoadElementKind)
        lanes_.signExtend32(to, got);
    else
        lanes_.op(Inst::kIdVmovapd, to, got);
}

/// One lane after the other: faster than the machine's way where an index is used for several elements.
void BatchEmitter::loadElements(const Instruction& each, const Vec& to) {
    const auto address = reinterpret_cast<std::uintptr_t>(each.imm.address);  // NOLINT: goes into the code
    std::int64_t distance = base_ ? static_cast<std::int64_t>(address - base_->first) : 0;
    if (!base_ || distance != static_cast<std::int32_t>(distance)) {
        base_ = {address, cc_.newIntPtr()};
        cc_.mov(base_->second, address);
        distance = 0;
    }
    const auto entry = laneOffsets_.try_emplace(each.operands[0]);
    auto& lanes = entry.first->second;
    if (entry.second) {
        const Vec offset = byteOffset(each.operands[0]);
        x86::Mem memory = cc_.newStack(64, 64);
        memory.setSize(0);
        lanes_.op(Inst::kIdVmovupd, memory, offset);
        for (std::uint32_t i = 0; i < lanes_.count(); ++i) {
            lanes[i] = cc_.newInt64();
            cc_.mov(lanes[i], memory.cloneAdjusted(static_cast<std::int64_t>(i) * 8));
        }
    }
    const auto element = [&](std::uint32_t lane) {
        return x86::ptr(base_->second, lanes[lane], 0, static_cast<std::int32_t>(distance), 8);
    };
    const auto pair = [&](std::uint32_t lane) {
        const x86::Xmm two = cc_.newXmmPd();
        cc_.vmovsd(two, element(lane));
        cc_.vmovhpd(two, two, element(lane + 1));
        return two;
    };
    const auto four = [&](std::uint32_t lane) {
        const x86::Xmm low = pair(lane);
        const x86::Xmm high = pair(lane + 2);
        const x86::Ymm made = cc_.newYmmPd();
        cc_.vinsertf128(made, low.ymm(), high, 1);
        return made;
    };
    const x86::Ymm low = four(0);
    if (lanes_.wide()) {
        const x86::Ymm high = four(4);
        lanes_.op(Inst::kIdVinsertf64x4, to, low.zmm(), high, Imm(1));
    } else {
        lanes_.op(Inst::kIdVmovapd, to, low);
    }
}

void BatchEmitter::store(const Instruction& each) {
    if (!active_.all()) {  // the end is for all
        failed_ = true;
    } else if (each.op == Op::StoreRecordReal) {
        const Vec made = value(each.operands[0]);
        const auto [data, sample] = placeOf(access(each.imm.whole, false, true));
        lanes_.op(Inst::kIdVmovupd, x86::ptr(data, sample, 3), made);
    } else if (each.op == Op::Done) {
        cc_.add(first_, lanes_.count());
        cc_.jmp(next_);
    } else {
        failed_ = true;
    }
}

}  // namespace kestrel::fast
