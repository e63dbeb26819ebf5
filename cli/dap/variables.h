// Values of a paused script as an editor unfolds them.
#pragma once

#include "cli/dap/framing.h"
#include "ipc/debug_client.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli::dap {

/// The reference that a user's name means: in the function, else a global. All that ask a script here throw
/// Refused and NotYet.
[[nodiscard]] std::string referenceOf(debug::DebugClient& client, const std::string& function,
                                      std::string_view name);

class Variables {
public:
    /// What was handed out means nothing any more once the script has gone on.
    void clear();

    /// What `variables` is asked for to get a function's variables ("f::") or the globals ("::").
    [[nodiscard]] Json scope(debug::DebugClient& client, const char* name, const std::string& reference);
    /// @param count  0: all
    [[nodiscard]] Json list(debug::DebugClient& client, int id, std::string_view filter, std::size_t first,
                            std::size_t count);
    /// Changes one of those that list() gave out. @return what it is now
    [[nodiscard]] Json set(debug::DebugClient& client, int id, const std::string& name,
                           std::string_view value);
    [[nodiscard]] Json setValue(debug::DebugClient& client, const std::string& reference,
                                std::string_view value);
    /// Value, type and what can be unfolded, with the value's text under this name.
    [[nodiscard]] Json describe(debug::DebugClient& client, const std::string& reference,
                                const char* textName);

private:
    struct Holder {
        std::string reference;
        std::string prefix;  ///< stands before the names of what it holds
        bool indexed = false;
    };
    [[nodiscard]] int idOf(Holder holder);
    [[nodiscard]] const Holder& holder(int id) const;
    [[nodiscard]] Json describe(debug::DebugClient& client, const std::string& reference,
                                debug::DebugValue value, const char* textName, std::size_t mostText);

    std::vector<Holder> holders_;  // numbered from gone_ + 1
    int gone_ = 0;                 // numbers that a script which went on has made useless: never given again
    std::map<std::string, int> ids_;  // by reference
};

}  // namespace kestrel::cli::dap
