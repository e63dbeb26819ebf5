// The variables of a script as a debugger names, sees and changes them.
#pragma once

#include "engine/context/context.h"
#include "ipc/debug_protocol.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace kestrel::debug {

/// Where a value lies: in a variable, or in an element or field that a variable leads to.
struct ValuePlace {
    Variable* variable = nullptr;
    ValueCell* part = nullptr;  ///< null: the variable itself
};

/// The variable behind "function::name" or "::name".
[[nodiscard]] Variable* findVariable(const Program& program, std::string_view reference);
/// The variable that a reference with parts begins at.
[[nodiscard]] Variable* findBase(const Program& program, std::string_view reference);
/// The same with parts behind it: "f::a[2]", "::r->next->x".
[[nodiscard]] std::optional<ValuePlace> findValue(const Program& program, std::string_view reference);

/// A copy for looking at: texts are borrowed. Uninitialized for what has no value.
[[nodiscard]] ValueCell valueAt(const ValuePlace& place) noexcept;

/// Gives a place the value of a command record with the language's own operations.
/// @param text  takes the place of the record's text
/// @return false when the record's kind is none of the five, or there is no memory for a text; nothing has
/// changed
///         then
bool setValue(EngineContext& ctx, const ValuePlace& place, const SharedRecord& record, const char* text);

/// True for what a script means by a global: no name of a function or a type, nothing of the language's own.
[[nodiscard]] bool isGlobalOfScript(const Program& program, const Variable& global);

/// The compiler makes symbols for all names. Those of data members, methods and functions never hold a value.
/// What the code uses is looked up once.
class NamesOfVariables {
public:
    explicit NamesOfVariables(const Program& program);
    [[nodiscard]] bool has(Variable& variable) const;

private:
    std::unordered_set<const Variable*> used_;
};

/// What a variable, an array, a record, a function or the globals consist of.
class ValueList {
public:
    /// @param reference  "f::", "::", or what findValue() takes
    /// @return nothing when it leads nowhere
    [[nodiscard]] static std::optional<ValueList> of(const Program& program, const NamesOfVariables& names,
                                                     std::string_view reference);

    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    /// What is appended to the reference for an entry.
    [[nodiscard]] std::string nameOf(std::size_t index) const;
    [[nodiscard]] ValueCell valueOf(std::size_t index) const noexcept;
    /// The variable that an entry is; null for elements and fields.
    [[nodiscard]] Variable* variable(std::size_t index) const noexcept {
        return index < variables_.size() ? variables_[index] : nullptr;
    }

private:
    std::vector<Variable*> variables_;
    ArrayRecord* array_ = nullptr;
    RecordInstance* record_ = nullptr;
    std::size_t size_ = 0;
};

/// Shape and size of a value, and its text where it is an object: what VALUES says of it.
void putShape(const EngineContext& ctx, SharedRecord& record, const ValueCell& value);

}  // namespace kestrel::debug
