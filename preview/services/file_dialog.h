// Answers the module's file dialogs.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace kestrel::preview {

/// Each request takes the next of the files given beforehand; when there is none left it asks the person at
/// the terminal, and without a terminal it is cancelled.
class FileDialog {
public:
    /// @param answers         native paths
    /// @param askOnTerminal   whether a person can be asked
    FileDialog(std::vector<std::string> answers, bool askOnTerminal);

    /// See FileRequestService. An answer that does not fit into `size` characters counts as cancelled.
    [[nodiscard]] std::int32_t request(const char* title, char* fileName, char* path, char* fullName,
                                       std::int32_t size);

private:
    [[nodiscard]] std::string nextAnswer(const char* title, const char* fileName, const char* path);

    std::deque<std::string> answers_;
    bool askOnTerminal_;
};

}  // namespace kestrel::preview
