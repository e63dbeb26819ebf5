// What an editor wants a script to pause at, and what of it the script has been told.
#pragma once

#include "cli/dap/condition.h"
#include "cli/dap/framing.h"
#include "ipc/debug_client.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::cli::dap {

struct Breakpoint {
    enum class Kind { Line, Function, Pixel };
    Kind kind = Kind::Line;
    std::string source;                   ///< Line: what the editor calls the file
    std::int32_t line = 0;                ///< Line: from 1
    std::string function;                 ///< Function
    std::array<std::int32_t, 3> pixel{};  ///< Pixel: column, row, which sample
    std::string conditionText{};
    std::string hitText{};

    int id = 0;
    bool settled = false;  ///< the script was told, or there is nothing to tell it
    std::string problem{};
    debug::DebugStop stop{};  ///< number 0: none
    std::optional<Condition> condition{};
    std::optional<HitCondition> hit{};
    std::int64_t times = 0;

    [[nodiscard]] bool sameAs(const Breakpoint& other) const;
};

class Breakpoints {
public:
    /// These take the place of all others of their kind, and of their source for lines. Those that were there
    /// stay.
    /// @return their ids
    std::vector<int> replace(Breakpoint::Kind kind, const std::string& source,
                             std::vector<Breakpoint> wanted);
    int add(Breakpoint wanted);
    void removeAll(Breakpoint::Kind kind);
    void stopAtErrors(bool on) noexcept { atErrors_ = on; }

    /// Tells the script what it does not know yet. Errors: throws NotYet when it does not listen
    /// @param files    of the script
    /// @param changed  receives the ids of those that are settled now
    void apply(debug::DebugClient& client, const std::vector<std::string>& files, std::vector<int>& changed);
    [[nodiscard]] bool pending() const;

    [[nodiscard]] const Breakpoint& byId(int id) const;
    /// The number of the stop at a place; 0 when there is none.
    [[nodiscard]] std::int32_t stopAt(const debug::DebugPlace& place) const;
    [[nodiscard]] bool anyConditions() const;
    /// Those of a stop that was reached whose conditions hold; the others have counted it. A condition that
    /// cannot be looked at holds: the user is to see why.
    [[nodiscard]] std::vector<int> reached(debug::DebugClient& client, std::int32_t stop,
                                           const std::string& function);

private:
    void retire(const Breakpoint& breakpoint);
    void settle(debug::DebugClient& client, const std::vector<std::string>& files, Breakpoint& breakpoint);

    std::vector<Breakpoint> all_;
    std::vector<std::int32_t> retired_;  // stops that nobody wants any more
    int lastId_ = 0;
    bool atErrors_ = false;
    bool toldErrors_ = false;
};

/// Which of the files an editor means by a path; -1: none.
[[nodiscard]] std::int32_t fileNamed(const std::vector<std::string>& files, const std::string& path);

}  // namespace kestrel::cli::dap
