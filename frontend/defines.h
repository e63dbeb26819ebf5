// Names that "#define" introduces, and their replacement in lines of script text.
#pragma once

#include "frontend/line_map.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

class DefineTable {
public:
    /// Adds a define. Defined names inside its replacement are replaced now.
    /// @param name  not empty
    /// @return the name of a define that never finishes and was met on the way, empty when all went well
    std::string add(std::string_view name, std::string_view replacement);

    /// Replaces defined names in a line, outside "..." literals and as plain substrings: a define X also
    /// changes the X inside MAX.
    /// @param columns  becomes what every character of the result stands for; empty when nothing was replaced
    /// @return the name of a define that would never finish (it is left alone from then on), empty when all
    ///         went well
    std::string replaceIn(std::string& line, std::vector<ColumnSpan>& columns);

private:
    struct Define {
        std::string name;
        std::string replacement;
        bool endless = false;
    };

    /// Adds the defines whose names the line holds.
    void findIn(std::string_view line, std::set<std::size_t>& found) const;
    /// @return true when the line has changed, or the define has turned out to be endless
    static bool replaceOne(Define& define, std::string& line, std::vector<ColumnSpan>& columns);

    std::vector<Define> defines_;
    /// Where each name stands in defines_, names of one length together: a line is looked through once for
    /// each length, however many names there are.
    std::map<std::size_t, std::map<std::string, std::vector<std::size_t>, std::less<>>> byLength_;
};

}  // namespace kestrel
