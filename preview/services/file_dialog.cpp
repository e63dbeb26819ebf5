#include "preview/services/file_dialog.h"

#include "platform/paths.h"

#include <cstdio>
#include <cstring>
#include <iostream>
#include <string_view>

namespace kestrel::preview {

namespace {

bool copyText(std::string_view text, char* out, std::size_t size) {
    if (text.size() >= size) return false;
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
    return true;
}

}  // namespace

FileDialog::FileDialog(std::vector<std::string> answers, bool askOnTerminal)
    : answers_(answers.begin(), answers.end()), askOnTerminal_(askOnTerminal) {}

std::string FileDialog::nextAnswer(const char* title, const char* fileName, const char* path) {
    if (!answers_.empty()) {
        std::string answer = answers_.front();
        answers_.pop_front();
        return answer;
    }
    if (!askOnTerminal_) return {};
    std::fprintf(stderr, "%s\n  %s%s%s\n  file (empty to cancel): ", title, fileName,
                 *path != '\0' ? " in " : "", path);
    std::fflush(stderr);
    std::string line;
    std::getline(std::cin, line);
    return line;
}

std::int32_t FileDialog::request(const char* title, char* fileName, char* path, char* fullName,
                                 std::int32_t size) {
    if (size <= 0) return 0;
    const std::string answer = nextAnswer(title, fileName, path);
    if (answer.empty()) return 0;
    const std::string full = platform::systemPath(answer);
    std::string_view directory = platform::directoryOf(full);
    if (directory.size() > 1)
        directory.remove_suffix(1);  // without the separator, but the root keeps its own
    const auto room = static_cast<std::size_t>(size);
    // The full path is the longest of the three, so a failure leaves the caller's texts as they were.
    const bool fits = copyText(full, fullName, room) && copyText(platform::baseName(full), fileName, room) &&
                      copyText(directory, path, room);
    if (!fits)
        std::fprintf(stderr, "kestrel: error: %s: too long here: the path may have %d characters\n",
                     answer.c_str(), size);
    return fits ? 1 : 0;
}

}  // namespace kestrel::preview
