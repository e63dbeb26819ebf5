// The options of a command, as pages about them want to see them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kestrel::cli {

struct OptionView {
    std::vector<std::string> names;  ///< "-o", "--output"; of an argument by place "FILE"
    std::string description;
    std::string type;                  ///< what follows, such as "SECONDS"; empty: nothing does
    std::vector<std::string> choices;  ///< all that may follow; empty: anything
    std::string byDefault;
    bool byPlace = false;
    bool takesFile = false;
    bool takesDirectory = false;
};

/// Those that `--help` shows, in its order, and `--help` itself.
[[nodiscard]] std::vector<OptionView> optionsOf(const CLI::App& command);

}  // namespace kestrel::cli
