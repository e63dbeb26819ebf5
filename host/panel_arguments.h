// The arguments of the built-ins that add controls.
#pragma once

#include "engine/context/builtin.h"
#include "engine/values/array_record.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrel {

/// Arguments one by one, of which any may be a list: `@ a, b @`, or what a function returned with several
/// values.
class PanelArguments {
public:
    /// Makes the call reach down to its first argument.
    explicit PanelArguments(BuiltinCall& call);

    [[nodiscard]] int count() const noexcept { return static_cast<int>(arguments_.size()); }
    /// Argument `i`, from 0; a list or one that is not there is Nil.
    [[nodiscard]] const ValueCell& operator[](int i) const noexcept;
    /// The items of a list or the elements of an array; nothing where the argument is neither.
    [[nodiscard]] std::optional<std::vector<const ValueCell*>> items(int i) const;
    [[nodiscard]] bool isArray(int i) const noexcept;

private:
    struct Argument {
        int begin = 0;  ///< stack index of its first cell
        int first = 0;  ///< and of its first value
        int count = 0;
        bool list = false;
    };
    [[nodiscard]] const Argument* at(int i) const noexcept;
    [[nodiscard]] Argument before(int end) const;

    EngineContext& ctx_;
    std::vector<Argument> arguments_;
    ValueCell nil_;
};

}  // namespace kestrel
