// Names that "#define" introduces, and their replacement in lines of script text.
#pragma once

#include "frontend/line_map.h"

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
    std::vector<Define> defines_;
};

}  // namespace kestrel
