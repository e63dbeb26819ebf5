// Writes intermediate code: folds what is known, computes nothing twice, keeps facts.
#pragma once

#include "engine/fast/code.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kestrel::fast {

/// Thrown where something cannot be lowered: the branch that it stands in leaves instead, and where there is
/// none the function is not lowered.
struct Unlowerable {
    std::string reason;
    std::int32_t line = 0;
};

/// Bits that every conversion without a guard keeps far away from.
inline constexpr double kWholeLimit = 4611686018427387904.0;  // 2^62
inline constexpr double k32Limit = 2147483647.0;
/// Up to here sums and products of whole doubles are exact.
inline constexpr double kExactLimit = 4503599627370496.0;  // 2^52

class Builder {
public:
    /// What comes to be inside of a scope is not found behind it: code behind does not run through it.
    class Scope {
    public:
        explicit Scope(Builder& builder) noexcept
            : builder_(builder), keys_(builder.keyLog_.size()), facts_(builder.factLog_.size()) {
            ++builder_.depth_;
        }
        ~Scope() {
            --builder_.depth_;
            builder_.forget(keys_, facts_);
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        Builder& builder_;
        std::size_t keys_;
        std::size_t facts_;
    };

    /// A place to which the code can be taken back.
    struct Mark {
        std::size_t instructions;
        std::size_t moves;
        std::size_t keys;
        std::size_t facts;
    };
    [[nodiscard]] Mark mark() const noexcept;
    void rollBack(const Mark& mark);
    /// What has come to be since is not found any more.
    void forgetSince(const Mark& mark) { forget(mark.keys, mark.facts); }
    /// Code of so many instructions will not move while it grows.
    void reserve(std::size_t instructions);
    [[nodiscard]] std::size_t length() const noexcept { return code_.instructions.size(); }
    /// Behind this length, which is not 0, nothing but blocks have ended.
    [[nodiscard]] bool onlyEndsSince(std::size_t length) const noexcept;
    /// Scopes that are open.
    [[nodiscard]] int depth() const noexcept { return depth_; }

    [[nodiscard]] Reg real(double value);
    [[nodiscard]] Reg whole(std::int64_t value);
    /// A register that Moves lists write.
    [[nodiscard]] Reg merged(Class cls, const Facts& facts);

    [[nodiscard]] const Register& of(Reg reg) const { return code_.registers[index(reg)]; }
    [[nodiscard]] const Facts& facts(Reg reg) const { return facts_[index(reg)]; }
    [[nodiscard]] std::optional<double> constant(Reg real) const;
    [[nodiscard]] std::optional<std::int64_t> wholeConstant(Reg whole) const;

    /// The result of an operation that is Pure or a Load.
    Reg make(Op op, Reg a = kNoReg, Reg b = kNoReg, Reg c = kNoReg, Immediate imm = {}) {
        return makeAt(0, op, a, b, c, imm);
    }
    /// What a load of an array yields in one of its epochs, which changes of the array divide.
    Reg load(std::uint32_t epoch, Op op, Reg index, Immediate place) {
        return makeAt(epoch, op, index, kNoReg, kNoReg, place);
    }
    /// Writes in the middle.
    /// @param epoch  that begins with it
    /// @param load   which yields the value from here on
    void change(std::uint32_t epoch, Op op, Op load, Reg index, Reg value, Immediate place);
    [[nodiscard]] Reg call(double (*function)(double), Reg a);
    [[nodiscard]] Reg call(double (*function)(double, double), Reg a, Reg b);

    /// truncate() of a double, as a whole number. Guards where it may not fit 32 bits and that is not known.
    Reg toWhole(Reg real);
    /// truncate32().
    Reg toWhole32(Reg real);
    /// A double without fraction for a comparison that truncates.
    Reg truncated(Reg real);
    /// A whole number as another one and a constant.
    struct Offset {
        Reg base;
        std::int64_t constant;
    };
    [[nodiscard]] Offset offsetOf(Reg reg) const;
    /// The whole number, where it is at hand without a conversion.
    [[nodiscard]] Reg wholeAtHand(Reg real);

    /// The register holds what lies at this place, unchanged.
    [[nodiscard]] bool loads(Reg reg, Op op, Immediate place) const;

    Reg negation(Reg condition);
    [[nodiscard]] std::optional<bool> knownTruth(Reg condition) const;
    /// What the language takes for true: not +0 or -0.
    Reg isSet(Reg real);

    /// @throws Unlowerable where it is known to fail
    void guard(Reg condition, const char* otherwise);
    /// Leaves, whatever is known.
    void leave(const Exit& exit) { control(Op::Leave, kNoReg, exitBy(exit)); }
    /// Of the script, for what comes to be from here on.
    void setLine(std::int32_t line) noexcept { line_ = line; }
    /// From here on, in this scope, the condition is known.
    void assume(Reg condition, bool holds);
    void refine(Reg reg, const Facts& narrower);

    void control(Op op, Reg a = kNoReg, Immediate imm = {});
    /// @return the number of a Moves list at this place
    std::size_t movesHere();
    void move(std::size_t list, Reg to, Reg from) { code_.moves[list].push_back({to, from}); }
    [[nodiscard]] int newBlock() noexcept { return code_.blocks++; }
    void store(Op op, Reg value, Immediate imm);
    /// Asks the host, by an OutsideCall at this place.
    [[nodiscard]] Reg ask(Immediate place);

    [[nodiscard]] Code take() { return std::move(code_); }

private:
    friend class Scope;
    struct Key {
        Op op;
        std::array<Reg, 3> operands;
        std::int64_t imm;
        std::uint32_t epoch;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept;
    };

    [[nodiscard]] static std::size_t index(Reg reg) noexcept { return static_cast<std::size_t>(reg); }
    Reg makeAt(std::uint32_t epoch, Op op, Reg a, Reg b, Reg c, Immediate imm);
    [[nodiscard]] Reg newRegister(Class cls, const Facts& facts);
    [[nodiscard]] Reg simplified(Op op, Reg a, Reg b, Reg c);
    [[nodiscard]] Reg comparedWithoutSum(Op op, Reg a, Reg b);
    [[nodiscard]] Reg remainderByMask(Reg dividend, std::int64_t divisor);
    [[nodiscard]] Reg simplifiedWhole(Op op, Reg a, Reg b);
    [[nodiscard]] Reg knownCondition(Op op, Reg a, Reg b);
    [[nodiscard]] Facts factsOf(Op op, Reg a, Reg b, Reg c) const;
    [[nodiscard]] const Instruction* definition(Reg reg) const;
    [[nodiscard]] Reg wholeByParts(Reg real);
    void forget(std::size_t keys, std::size_t facts);
    [[nodiscard]] Immediate exitBy(const Exit& exit);

    Code code_;
    int depth_ = 0;
    std::int32_t line_ = 0;
    std::vector<Facts> facts_;
    std::unordered_map<std::uint64_t, Reg> reals_;
    std::unordered_map<std::int64_t, Reg> wholes_;
    std::unordered_map<Key, Reg, KeyHash> known_;
    std::vector<const Key*> keyLog_;  // in known_
    std::vector<std::pair<Reg, Facts>> factLog_;
};

}  // namespace kestrel::fast
