// Files that the command makes: complete or not there at all.
#pragma once

#include "cli/commands.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kestrel::cli {

/// What a command writes with `-o`, looked at before there is anything to write.
struct OutputRules {
    /// Endings in lower case, such as ".png"; empty: any. A name without an ending, a device and "-" are
    /// fine.
    std::span<const std::string_view> endings{};
    std::string_view kinds{};               ///< what these are, in words: "pictures are PNG (.png)"
    std::span<const std::string> inputs{};  ///< files that the output is made from and must not replace
};

/// @return what is wrong with the name, as a plain sentence; empty when a file can be made there
[[nodiscard]] std::string outputProblem(const std::string& nativePath, const OutputRules& rules);

/// Writes a whole file under a temporary name in the same directory, then renames it, so that nobody ever
/// sees half of it; an existing file's permissions stay. "-" writes to standard output.
/// @return false after telling why it could not be written, with kExitUnusable
[[nodiscard]] bool writeOutput(const std::string& nativePath, std::string_view bytes, Invocation& invocation);

/// What has been written, for those who wait for it.
struct Written {
    std::string name{};  ///< the file, or what to call several
    std::size_t bytes = 0;
    int width = 0;  ///< of a picture, in pixels; 0: it is none
    int height = 0;
};

/// Says as the last line what was written, how large it is and how long the command took: on standard error
/// for people, as an object of the kind "output" for machines.
void tellWritten(const Written& written, const Invocation& invocation);

}  // namespace kestrel::cli
