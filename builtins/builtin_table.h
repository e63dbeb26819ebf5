// The table of all built-in functions, completed with what only the host can do.
#pragma once

#include "engine/context/builtin.h"

#include <span>
#include <vector>

namespace kestrel {

/// Owns the rows; contexts borrow the table.
class BuiltinLibrary {
public:
    /// @param host  the host's own rows: each takes the place of the row of its name; others are added.
    ///              Without a host its functions are "not available", apart from runningUnder(), which says
    ///              that the animation program runs the script.
    explicit BuiltinLibrary(std::span<const BuiltinEntry> host = {});
    BuiltinLibrary(const BuiltinLibrary&) = delete;
    BuiltinLibrary& operator=(const BuiltinLibrary&) = delete;

    [[nodiscard]] const BuiltinTable& table() const noexcept { return table_; }

private:
    std::vector<BuiltinEntry> rows_;
    BuiltinTable table_;
};

}  // namespace kestrel
