// How the debugger shows things: to people, or as one JSON object per line.
#pragma once

#include "cli/debugger/value_text.h"
#include "cli/message_printer.h"
#include "ipc/debug_client.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel::cli {

/// A stop that the user has set.
struct UserStop {
    std::int32_t number = 0;
    debug::DebugPlace place;  ///< not known for pixels
    std::string what;         ///< as the user named it: "process", "line 12", "pixel 3 4, sample 2"
};

class View {
public:
    /// @param files  of the script, as the link numbers them
    View(bool json, std::vector<std::string> files);

    [[nodiscard]] const std::vector<std::string>& files() const noexcept { return files_; }
    /// A line of a file; null beyond its end, or where the file cannot be read.
    [[nodiscard]] const std::string* sourceLine(std::int32_t file, std::int32_t line);

    void message(const debug::Event& event);
    void missed(std::int64_t events);
    void stopped(const debug::Event& event, const std::string& function);
    void value(const std::string& name, const ShownValue& value);
    void frames(const std::vector<debug::DebugFrame>& frames);
    void stopSet(const UserStop& stop);
    void stops(const std::vector<UserStop>& stops, bool atErrors);
    /// @param current  the line to mark; 0: none
    void source(std::int32_t file, std::int32_t first, std::int32_t last, std::int32_t current);
    void ended(bool started, int status, bool died);
    /// A sentence of the debugger.
    void note(std::string_view text);
    void error(std::string_view text);
    /// Text that people asked for, such as help.
    void plain(std::string_view text);

private:
    [[nodiscard]] std::string fileName(std::int32_t file) const;
    [[nodiscard]] std::string placeText(const debug::DebugPlace& place) const;
    void putPlace(nlohmann::ordered_json& json, const debug::DebugPlace& place) const;
    void write(const nlohmann::ordered_json& json);

    bool json_;
    std::vector<std::string> files_;
    MessagePrinter printer_;
    std::map<std::int32_t, std::vector<std::string>> sources_;
};

}  // namespace kestrel::cli
