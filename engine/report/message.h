// Messages on their way out of the engine, and places in source files.
#pragma once

#include "engine/report/messages.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// A place in the files as people see them (before preprocessing). Lines and columns count from 1; 0 =
/// unknown.
struct SourcePos {
    std::int32_t file = -1;  ///< index into SourceFiles, -1 = unknown
    std::int32_t line = 0;
    std::int32_t column = 0;
    std::int32_t endColumn = 0;  ///< one past the last character
    [[nodiscard]] bool known() const noexcept { return file >= 0 && line > 0; }
};

/// The files that made up a program: the script, its inserts and libraries.
struct SourceFile {
    std::string path;       ///< native path as opened
    SourcePos broughtInBy;  ///< the insert or library line; unknown for the main script
};
using SourceFiles = std::vector<SourceFile>;

/// Where the text of a message goes on in the second line.
inline constexpr std::string_view kLineBreak = "<br>";

/// One message as the host's message service shows it, plus what tools can use: the row of the table that it
/// comes from and the true place.
struct Message {
    MessageId id = MessageId::UserInfo;
    MessageKind kind = MessageKind::Info;
    std::string line1;
    std::optional<std::string> line2;  ///< absent: the service gets a null second line
    SourcePos where;
    const SourceFiles* files =
        nullptr;  ///< what `where` points into, while the message is shown; may be null
};

/// Where messages go. The host side, the command line or a test implements it.
class MessageSink {
public:
    virtual ~MessageSink() = default;
    virtual void show(const Message& message) = 0;
};

}  // namespace kestrel
