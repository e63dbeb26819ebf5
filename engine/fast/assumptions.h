// What code takes for granted about the state of its script: checked after everything else that may have
// changed it, never per sample.
#pragma once

#include "engine/program/program.h"
#include "engine/values/array_record.h"

#include <unordered_set>
#include <vector>

namespace kestrel::fast {

/// What attempts have taught the next one.
struct Experience {
    /// Variables that do not keep their value between samples.
    std::unordered_set<const Variable*> unsteady;
    /// Variables that are a Number at one time and an Integer at another.
    std::unordered_set<const Variable*> ambiguous;
    /// Arrays whose numbers do not keep their kinds.
    std::unordered_set<const ArrayRecord*> mixed;
};

class Assumptions {
public:
    /// A variable has the kind that it has now; an array, the same one.
    void kind(const Variable& variable);
    /// A variable is a Number or an Integer.
    void numeric(const Variable& variable) { numeric_.push_back(&variable); }
    /// A variable keeps the value that it has now.
    void value(const Variable& variable);
    /// A variable holds nothing that an assignment would have to let go of, or a warning be about.
    void plain(const Variable& variable) { plain_.push_back(&variable); }
    /// The same for a parameter, which may hold the array or the sample of the last call, or the mark of one
    /// that nothing was ever bound to.
    void bound(const Variable& parameter) { bound_.push_back(&parameter); }
    /// An array stays where and as large as it is, and all its elements are numbers, or all are vectors.
    /// @param mixed  of numbers nothing more is taken for granted
    /// @return their kind, kMixedKind of numbers of both kinds; Uninitialized of all others
    [[nodiscard]] std::int32_t elements(const ArrayRecord& array, bool mixed);
    /// No object ends with the function's activation.
    void noObjects(const FunctionRecord& function) { functions_.insert(&function); }

    [[nodiscard]] bool hold() const noexcept;
    /// Notes what does not hold because it changes from time to time.
    void teach(Experience& experience) const;

private:
    struct Kind {
        const Variable* variable;
        std::int32_t type;
        const void* object;
    };
    struct Value {
        const Variable* variable;
        double number;
        VectorValue vec;
    };
    struct Elements {
        const ArrayRecord* array;
        const ValueCell* first;
        std::size_t count;
        std::int32_t dimCount;
        decltype(ArrayRecord::dims) dims;
        std::int32_t type;
    };

    [[nodiscard]] static bool holds(const Kind& kind) noexcept;
    [[nodiscard]] static bool holds(const Value& value) noexcept;
    [[nodiscard]] static bool holds(const Elements& elements) noexcept;

    std::vector<Kind> kinds_;
    std::vector<const Variable*> numeric_;
    std::vector<Value> values_;
    std::vector<const Variable*> plain_;
    std::vector<const Variable*> bound_;
    std::vector<Elements> elements_;
    std::unordered_set<const FunctionRecord*> functions_;
};

}  // namespace kestrel::fast
