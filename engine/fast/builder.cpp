#include "engine/fast/builder.h"

#include "engine/fast/operations.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kestrel::fast {

namespace {

bool isTest(Op op) noexcept {
    return infoOf(op).sort == Sort::Test;
}

bool isPure(Op op) noexcept {
    return infoOf(op).sort == Sort::Pure || isTest(op);
}

/// x / 2^n and x * 2^-n are the same number, rounded once.
std::optional<double> exactReciprocal(double divisor) noexcept {
    int exponent = 0;
    if (std::fabs(std::frexp(divisor, &exponent)) != 0.5 || exponent > 1000 || exponent < -1000)
        return std::nullopt;
    return 1.0 / divisor;
}

}  // namespace

std::size_t Builder::KeyHash::operator()(const Key& key) const noexcept {
    std::uint64_t hash = static_cast<std::uint64_t>(key.op) * 0x9E3779B97F4A7C15u;
    for (const Reg reg : key.operands)
        hash = (std::rotl(hash, 21) ^ static_cast<std::uint32_t>(reg)) * 0xBF58476D1CE4E5B9u;
    hash ^= static_cast<std::uint64_t>(key.imm) + key.epoch;
    return static_cast<std::size_t>(hash * 0x94D049BB133111EBu);
}

Builder::Mark Builder::mark() const noexcept {
    return {code_.instructions.size(), code_.moves.size(), keyLog_.size(), factLog_.size()};
}

void Builder::rollBack(const Mark& mark) {
    code_.instructions.resize(mark.instructions);
    code_.moves.resize(mark.moves);
    forget(mark.keys, mark.facts);
}

void Builder::reserve(std::size_t instructions) {
    code_.instructions.reserve(instructions);
    code_.registers.reserve(instructions);
    facts_.reserve(instructions);
    keyLog_.reserve(instructions);
    known_.reserve(instructions);
}

bool Builder::onlyEndsSince(std::size_t length) const noexcept {
    if (length == 0) return false;
    for (std::size_t i = length; i < code_.instructions.size(); ++i)
        if (code_.instructions[i].op != Op::EndBlock) return false;
    return true;
}

void Builder::forget(std::size_t keys, std::size_t facts) {
    for (; keyLog_.size() > keys; keyLog_.pop_back()) known_.erase(*keyLog_.back());
    for (; factLog_.size() > facts; factLog_.pop_back())
        facts_[index(factLog_.back().first)] = factLog_.back().second;
}

Reg Builder::newRegister(Class cls, const Facts& facts) {
    code_.registers.push_back({.cls = cls});
    facts_.push_back(facts);
    return static_cast<Reg>(code_.registers.size() - 1);
}

Reg Builder::real(double value) {
    const auto [place, added] = reals_.try_emplace(std::bit_cast<std::uint64_t>(value), kNoReg);
    if (added) {
        place->second = newRegister(Class::Real, Facts::of(value));
        Register& reg = code_.registers.back();
        reg.constant = true;
        reg.number = value;
    }
    return place->second;
}

Reg Builder::whole(std::int64_t value) {
    const auto [place, added] = wholes_.try_emplace(value, kNoReg);
    if (added) {
        Facts facts = Facts::of(static_cast<double>(value));
        if (!facts.within(kExactLimit)) facts = Facts::between(-kWholeLimit * 2, kWholeLimit * 2, true);
        place->second = newRegister(Class::Whole, facts);
        Register& reg = code_.registers.back();
        reg.constant = true;
        reg.whole = value;
    }
    return place->second;
}

Reg Builder::merged(Class cls, const Facts& facts) {
    return newRegister(cls, facts);
}

std::optional<double> Builder::constant(Reg real) const {
    const Register& reg = of(real);
    return reg.constant ? std::optional(reg.number) : std::nullopt;
}

std::optional<std::int64_t> Builder::wholeConstant(Reg whole) const {
    const Register& reg = of(whole);
    return reg.constant ? std::optional(reg.whole) : std::nullopt;
}

const Instruction* Builder::definition(Reg reg) const {
    const std::int32_t at = of(reg).definition;
    return at < 0 ? nullptr : &code_.instructions[static_cast<std::size_t>(at)];
}

Reg Builder::makeAt(std::uint32_t epoch, Op op, Reg a, Reg b, Reg c, Immediate imm) {
    if (commutes(op) && b < a) std::swap(a, b);
    if (isPure(op)) {
        if (const Reg known = simplified(op, a, b, c); known != kNoReg) return known;
    }
    const auto [place, added] = known_.try_emplace(Key{op, {a, b, c}, imm.whole, epoch}, kNoReg);
    if (!added) return place->second;
    keyLog_.push_back(&place->first);
    const Reg to = newRegister(infoOf(op).result, factsOf(op, a, b, c));
    place->second = to;
    code_.registers.back().definition = static_cast<std::int32_t>(code_.instructions.size());
    code_.instructions.push_back({op, {a, b, c}, to, imm});
    return to;
}

void Builder::change(std::uint32_t epoch, Op op, Op load, Reg index, Reg value, Immediate place) {
    code_.instructions.push_back({op, {index, value, kNoReg}, kNoReg, place});
    const auto [known, added] =
        known_.try_emplace(Key{load, {index, kNoReg, kNoReg}, place.whole, epoch}, value);
    if (added) keyLog_.push_back(&known->first);
}

Reg Builder::call(double (*function)(double), Reg a) {
    if (const auto value = constant(a)) return real(function(*value));
    Immediate imm;
    imm.one = function;
    return make(Op::Call1, a, kNoReg, kNoReg, imm);
}

Reg Builder::call(double (*function)(double, double), Reg a, Reg b) {
    const auto first = constant(a);
    const auto second = constant(b);
    if (first && second) return real(function(*first, *second));
    Immediate imm;
    imm.two = function;
    return make(Op::Call2, a, b, kNoReg, imm);
}

/// A register that holds the result already, or kNoReg.
Reg Builder::simplified(Op op, Reg a, Reg b, Reg c) {
    if (op == Op::Choose) {
        if (b == c) return b;
        if (const auto condition = wholeConstant(a)) return *condition != 0 ? b : c;
        return kNoReg;
    }
    if (op == Op::Call1 || op == Op::Call2) return kNoReg;
    const OpInfo& info = infoOf(op);
    const bool known = of(a).constant && (b == kNoReg || of(b).constant);
    if (known) {
        const Word word = compute(op, wordOf(of(a)), b != kNoReg ? wordOf(of(b)) : Word{});
        return info.result == Class::Real ? real(word.real) : whole(word.whole);
    }
    if (info.operands[0] == Class::Whole && info.result == Class::Whole) return simplifiedWhole(op, a, b);
    switch (op) {
        case Op::Sub:
            if (constant(b) == 0.0 && !std::signbit(of(b).number)) return a;
            return kNoReg;
        case Op::Mul:
            if (constant(b) == 1.0) return a;
            if (constant(a) == 1.0) return b;
            return kNoReg;
        case Op::Div:
            if (constant(b) == 1.0) return a;
            if (const auto divisor = constant(b))
                if (const auto factor = exactReciprocal(*divisor)) return make(Op::Mul, a, real(*factor));
            return kNoReg;
        case Op::Truncate:
        case Op::Floor:
        case Op::Ceil:
            return facts(a).whole ? a : kNoReg;
        case Op::Less:
        case Op::LessEqual:
            if (const Reg without = comparedWithoutSum(op, a, b); without != kNoReg) return without;
            return knownCondition(op, a, b);
        default:
            return isTest(op) ? knownCondition(op, a, b) : kNoReg;
    }
}

/// A comparison of a sum that has a constant part with another constant, as one of its other part with a
/// third: saves the sum, which comes before each comparison of numbers.
Reg Builder::comparedWithoutSum(Op op, Reg a, Reg b) {
    const Reg sum = constant(a) ? b : a;
    const auto bound = constant(a) ? constant(a) : constant(b);
    const Instruction* made = definition(sum);
    if (!bound || !std::isfinite(*bound) || made == nullptr || made->op != Op::Add) return kNoReg;
    for (const std::size_t i : {0u, 1u}) {
        const auto summand = constant(made->operands[i]);
        if (!summand || !std::isfinite(*summand)) continue;
        const Reg rest = made->operands[1 - i];
        const bool sumIsLeft = sum == a;
        const bool strictly = (op == Op::Less) != sumIsLeft;  // sum < bound, or not: bound <= sum
        const double bounding = leastFor(*summand, *bound, strictly);
        if (!std::isnormal(bounding)) return kNoReg;  // a host may have them taken for zero
        const Reg least = real(bounding);
        return sumIsLeft ? make(Op::Less, rest, least) : make(Op::LessEqual, least, rest);
    }
    return kNoReg;
}

Reg Builder::simplifiedWhole(Op op, Reg a, Reg b) {
    const auto first = wholeConstant(a);
    const auto second = b != kNoReg ? wholeConstant(b) : std::nullopt;
    const auto isBit = [this](Reg reg) { return facts(reg).low >= 0.0 && facts(reg).high <= 1.0; };
    switch (op) {
        case Op::SubWhole:  // in 64 bits that wrap around it is the same whichever way
            return second ? make(Op::AddWhole, a, whole(compute(Op::SubWhole, {}, Word::of(*second)).whole))
                          : kNoReg;
        case Op::AddWhole: {
            const Reg constantPart = first ? a : b;
            const Reg rest = first ? b : a;
            if (!first && !second) return kNoReg;
            if (of(constantPart).whole == 0) return rest;
            const Instruction* made = definition(rest);
            if (made == nullptr || made->op != Op::AddWhole) return kNoReg;
            for (const std::size_t i : {0u, 1u}) {
                const auto inner = wholeConstant(made->operands[i]);
                if (!inner) continue;
                const Reg both =
                    whole(compute(Op::AddWhole, Word::of(*inner), Word::of(of(constantPart).whole)).whole);
                return make(Op::AddWhole, made->operands[1 - i], both);
            }
            return kNoReg;
        }
        case Op::MulWhole:
            if (first == 1) return b;
            if (second == 1) return a;
            return kNoReg;
        case Op::Remainder:
            return second && facts(a).low >= 0.0 ? remainderByMask(a, *second) : kNoReg;
        case Op::And:  // of a mask without a sign the bits above do not matter
            for (const auto& [mask, other] : {std::pair(first, b), std::pair(second, a)}) {
                const Instruction* made = definition(other);
                if (mask && *mask >= 0 && *mask <= 0x7FFFFFFF && made != nullptr && made->op == Op::Cut)
                    return make(Op::And, made->operands[0], mask == first ? a : b);
            }
            return kNoReg;
        case Op::Cut:
        case Op::Fits32:
            if (!facts(a).within(k32Limit)) return kNoReg;
            return op == Op::Cut ? a : whole(1);
        case Op::Not:
            if (const Instruction* made = definition(a); made != nullptr && made->op == Op::Not)
                return made->operands[0];
            return kNoReg;
        case Op::Both:
            if (first) return *first != 0 ? b : whole(0);
            if (second) return *second != 0 ? a : whole(0);
            return a == b ? a : kNoReg;
        case Op::Either:
            if (first) return *first != 0 ? whole(1) : b;
            if (second) return *second != 0 ? whole(1) : a;
            return a == b ? a : kNoReg;
        case Op::EqualWhole:
            // Whether nothing remains does not depend on the sign.
            if (const Reg remainder = first == 0 ? b : a; first == 0 || second == 0) {
                const Instruction* made = definition(remainder);
                const auto divisor = made != nullptr && made->op == Op::Remainder
                                         ? wholeConstant(made->operands[1])
                                         : std::nullopt;
                const Reg masked = divisor ? remainderByMask(made->operands[0], *divisor) : kNoReg;
                if (masked != kNoReg) return make(Op::EqualWhole, whole(0), masked);
            }
            if (second == 0 && isBit(a)) return negation(a);
            if (first == 0 && isBit(b)) return negation(b);
            if (second == 1 && isBit(a)) return a;
            if (first == 1 && isBit(b)) return b;
            return knownCondition(op, a, b);
        default:
            return isTest(op) ? knownCondition(op, a, b) : kNoReg;
    }
}

/// The low bits, where the divisor is a power of two.
Reg Builder::remainderByMask(Reg dividend, std::int64_t divisor) {
    const bool isPower = divisor > 1 && divisor <= 0x40000000 && (divisor & (divisor - 1)) == 0;
    return isPower ? make(Op::And, dividend, whole(divisor - 1)) : kNoReg;
}

/// A comparison that the facts decide.
Reg Builder::knownCondition(Op op, Reg a, Reg b) {
    const Facts& left = facts(a);
    if (op == Op::IsSet) {
        if (left.excludesZero()) return whole(1);
        const Instruction* made = definition(a);
        if (made == nullptr || made->op != Op::FromWhole) return kNoReg;
        return negation(make(Op::EqualWhole, made->operands[0], whole(0)));
    }
    const Facts& right = facts(b);
    if (left.nan || right.nan) return kNoReg;
    switch (op) {
        case Op::Less:
        case Op::LessWhole:
            if (left.high < right.low) return whole(1);
            return left.low >= right.high ? whole(0) : kNoReg;
        case Op::LessEqual:
        case Op::LessEqualWhole:
            if (left.high <= right.low) return whole(1);
            return left.low > right.high ? whole(0) : kNoReg;
        default:
            return left.high < right.low || right.high < left.low ? whole(0) : kNoReg;
    }
}

Facts Builder::factsOf(Op op, Reg a, Reg b, Reg c) const {
    switch (op) {
        case Op::Add:
        case Op::AddWhole:
            return sum(facts(a), facts(b));
        case Op::Sub:
        case Op::SubWhole:
            return difference(facts(a), facts(b));
        case Op::Mul:
            if (a == b) {  // a square
                Facts square = product(magnitude(facts(a)), magnitude(facts(a)));
                square.nan = facts(a).nan;
                if (std::isinf(square.low)) square.low = 0.0;
                return square;
            }
            [[fallthrough]];
        case Op::MulWhole:
            return product(facts(a), facts(b));
        case Op::Div:
            return quotient(facts(a), facts(b));
        case Op::Negate:
            return opposite(facts(a));
        case Op::Absolute:
            return magnitude(facts(a));
        case Op::Floor:
            return rounded(facts(a), std::floor);
        case Op::Ceil:
            return rounded(facts(a), std::ceil);
        case Op::Truncate:
            return rounded(facts(a), std::trunc);
        case Op::Sqrt:
            return root(facts(a));
        case Op::Smaller:
            return smaller(facts(a), facts(b));
        case Op::Larger:
            return larger(facts(a), facts(b));
        case Op::FromWhole:
            return facts(a);
        case Op::Choose:
            return join(facts(b), facts(c));
        case Op::ToWhole: {
            Facts cut = rounded(facts(a), std::trunc);
            if (!cut.within(kWholeLimit)) cut = Facts::between(-2 * kWholeLimit, 2 * kWholeLimit, true);
            return cut;
        }
        case Op::Remainder: {
            const double most = std::max(std::fabs(facts(b).low), std::fabs(facts(b).high)) - 1.0;
            const double low = facts(a).low >= 0.0 ? 0.0 : -std::min(most, -facts(a).low);
            const double high = facts(a).high <= 0.0 ? 0.0 : std::min(most, facts(a).high);
            return Facts::between(low, high, true);
        }
        case Op::And: {  // with one that is not negative
            double high = k32Limit;
            double low = -k32Limit - 1.0;
            for (const Reg reg : {a, b}) {
                if (facts(reg).low < 0.0) continue;
                low = 0.0;
                high = std::min(high, facts(reg).high);
            }
            return Facts::between(low, high, true);
        }
        case Op::Or:
        case Op::Xor:
        case Op::ShiftLeft:
        case Op::ShiftRight:
        case Op::Cut:
        case Op::LoadRecordWhole:
            return Facts::between(-k32Limit - 1.0, k32Limit, true);
        case Op::Cut15:
            return Facts::between(0.0, 32767.0, true);
        case Op::CutUnsigned:
        case Op::LoadWord:
        case Op::LoadElementKind:
            return Facts::between(0.0, 4294967295.0, true);
        case Op::Not:
        case Op::Both:
        case Op::Either:
            return Facts::bit();
        default:
            return isTest(op) ? Facts::bit() : Facts{};
    }
}

Reg Builder::toWhole(Reg real) {
    if (const Reg parts = wholeByParts(real); parts != kNoReg) return parts;
    const Reg whole = make(Op::ToWhole, real);
    if (!rounded(facts(real), std::trunc).within(kWholeLimit) && !facts(whole).within(k32Limit)) {
        guard(make(Op::Fits32, whole), "a number that may not fit 32 bits");
        const Facts fits = Facts::between(-k32Limit - 1.0, k32Limit, true);
        refine(whole, fits);
        // Of the number itself as well: what is cut off is less than one.
        const Facts near = Facts::between(fits.low - 1.0, fits.high + 1.0, facts(real).whole);
        refine(real, facts(real).whole ? Facts::between(fits.low, fits.high, true) : near);
    }
    return whole;
}

Builder::Offset Builder::offsetOf(Reg reg) const {
    const Instruction* made = definition(reg);
    if (made != nullptr && made->op == Op::AddWhole)
        for (const std::size_t i : {0u, 1u})
            if (const auto constant = wholeConstant(made->operands[i]))
                return {made->operands[1 - i], *constant};
    return {reg, 0};
}

Reg Builder::toWhole32(Reg real) {
    return make(Op::Cut, toWhole(real));
}

Reg Builder::truncated(Reg real) {
    if (const auto value = constant(real)) return this->real(static_cast<double>(truncate(*value)));
    if (!rounded(facts(real), std::trunc).within(kWholeLimit)) static_cast<void>(toWhole(real));
    return make(Op::Truncate, real);
}

Reg Builder::wholeAtHand(Reg real) {
    if (const auto value = constant(real))
        return facts(real).whole && std::fabs(*value) < kExactLimit ? whole(static_cast<std::int64_t>(*value))
                                                                    : kNoReg;
    const Instruction* made = definition(real);
    return made != nullptr && made->op == Op::FromWhole ? made->operands[0] : kNoReg;
}

/// Sums and products of whole numbers are made of the whole numbers that go into them, as long as doubles are
/// exact there.
Reg Builder::wholeByParts(Reg real) {
    if (const auto value = constant(real)) return whole(truncate(*value));
    const Instruction* made = definition(real);
    if (made == nullptr) return kNoReg;
    if (made->op == Op::FromWhole) return made->operands[0];
    Op op = Op::AddWhole;
    if (made->op == Op::Sub)
        op = Op::SubWhole;
    else if (made->op == Op::Mul)
        op = Op::MulWhole;
    else if (made->op != Op::Add)
        return kNoReg;
    const auto [a, b, none] = made->operands;
    if (!facts(a).whole || !facts(b).whole) return kNoReg;
    const Reg left = toWhole(a);
    const Reg right = toWhole(b);
    const Facts& l = facts(left);
    const Facts& r = facts(right);
    const Facts result = op == Op::AddWhole   ? sum(l, r)
                         : op == Op::SubWhole ? difference(l, r)
                                              : product(l, r);
    if (!result.within(kExactLimit)) return kNoReg;
    return make(op, left, right);
}

bool Builder::loads(Reg reg, Op op, Immediate place) const {
    const Instruction* made = definition(reg);
    return made != nullptr && made->op == op && made->imm.whole == place.whole;
}

Reg Builder::negation(Reg condition) {
    return make(Op::Not, condition);
}

Reg Builder::isSet(Reg real) {
    return make(Op::IsSet, real);
}

void Builder::guard(Reg condition, const char* otherwise) {
    if (const auto known = knownTruth(condition)) {
        if (!*known) throw Unlowerable{otherwise};
        return;
    }
    if (const Instruction* made = definition(condition); made != nullptr && made->op == Op::Both) {
        const auto operands = made->operands;
        guard(operands[0], otherwise);
        return guard(operands[1], otherwise);
    }
    control(Op::Guard, condition, exitBy({otherwise, line_}));
    assume(condition, true);
}

/// Guards of a line that have one reason are one exit.
Immediate Builder::exitBy(const Exit& exit) {
    auto& exits = code_.exits;
    if (exits.empty() || exits.back().line != exit.line || exits.back().reason != exit.reason)
        exits.push_back(exit);
    return {.whole = static_cast<std::int64_t>(exits.size()) - 1};
}

void Builder::refine(Reg reg, const Facts& narrower) {
    Facts& known = facts_[index(reg)];
    if (of(reg).constant) return;
    factLog_.emplace_back(reg, known);
    known.low = std::max(known.low, narrower.low);
    known.high = std::min(known.high, narrower.high);
    known.nan = known.nan && narrower.nan;
    known.whole = known.whole || narrower.whole;
}

std::optional<bool> Builder::knownTruth(Reg condition) const {
    const Facts& known = facts(condition);
    if (known.low > 0.0) return true;
    if (known.high < 1.0) return false;
    return std::nullopt;
}

void Builder::assume(Reg condition, bool holds) {
    if (!of(condition).constant)
        refine(condition, Facts::between(holds ? 1.0 : 0.0, holds ? 1.0 : 0.0, true));
    const Instruction* made = definition(condition);
    if (made == nullptr) return;
    const auto [a, b, none] = made->operands;
    const Op op = made->op;
    if (op == Op::Not) return assume(a, !holds);
    const bool wholes = op == Op::LessWhole || op == Op::LessEqualWhole || op == Op::EqualWhole;
    const bool reals = op == Op::Less || op == Op::LessEqual || op == Op::Equal;
    if (!wholes && !reals) return;
    if (reals && !holds && (facts(a).nan || facts(b).nan)) return;  // it fails of a NaN, too
    const Facts left = facts(a);
    const Facts right = facts(b);
    const bool equal = op == Op::Equal || op == Op::EqualWhole;
    Facts newLeft{left.low, left.high, false, left.whole};
    Facts newRight{right.low, right.high, false, right.whole};
    if (equal && holds) {
        newLeft.low = newRight.low = std::max(left.low, right.low);
        newLeft.high = newRight.high = std::min(left.high, right.high);
    } else if (!equal) {
        const bool strict = (op == Op::Less || op == Op::LessWhole) == holds;
        // Between neighbouring whole numbers nothing lies. Beyond the exact ones one is not the next.
        const bool step =
            strict && left.whole && right.whole && left.within(kExactLimit) && right.within(kExactLimit);
        const double gap = step ? 1.0 : 0.0;
        if (holds) {
            newLeft.high = std::min(left.high, right.high - gap);
            newRight.low = std::max(right.low, left.low + gap);
        } else {
            newLeft.low = std::max(left.low, right.low + gap);
            newRight.high = std::min(right.high, left.high - gap);
        }
    }
    refine(a, newLeft);
    refine(b, newRight);
}

Reg Builder::ask(Immediate place) {
    const Reg to = newRegister(Class::Whole, Facts::bit());
    code_.registers.back().definition = static_cast<std::int32_t>(code_.instructions.size());
    code_.instructions.push_back({Op::Ask, {kNoReg, kNoReg, kNoReg}, to, place});
    return to;
}

void Builder::control(Op op, Reg a, Immediate imm) {
    code_.instructions.push_back({op, {a, kNoReg, kNoReg}, kNoReg, imm});
}

std::size_t Builder::movesHere() {
    code_.moves.emplace_back();
    Immediate imm;
    imm.whole = static_cast<std::int64_t>(code_.moves.size() - 1);
    control(Op::Moves, kNoReg, imm);
    return code_.moves.size() - 1;
}

void Builder::store(Op op, Reg value, Immediate imm) {
    control(op, value, imm);
}

}  // namespace kestrel::fast
