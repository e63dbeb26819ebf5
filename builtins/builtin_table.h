// The table of all built-in functions, completed with what only the host can do.
#pragma once

#include "engine/context/builtin.h"

#include <vector>

namespace kestrel {

/// Handlers that come from above. A function without one is "not available", apart from runningUnder(), which
/// says that the animation program runs the script.
struct HostBuiltins {
    BuiltinHandler setdesc = nullptr;
    BuiltinHandler illuminate = nullptr;
    BuiltinHandler raytrace = nullptr;
    BuiltinHandler runningUnder = nullptr;
    BuiltinHandler getdir = nullptr;
};

/// Owns the rows; contexts borrow the table.
class BuiltinLibrary {
public:
    explicit BuiltinLibrary(const HostBuiltins& host = {});
    BuiltinLibrary(const BuiltinLibrary&) = delete;
    BuiltinLibrary& operator=(const BuiltinLibrary&) = delete;

    [[nodiscard]] const BuiltinTable& table() const noexcept { return table_; }

private:
    std::vector<BuiltinEntry> rows_;
    BuiltinTable table_;
};

}  // namespace kestrel
