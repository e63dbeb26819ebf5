// The scripts of the language tests, for programs that run them in ways of their own.
#pragma once

#include "platform/environment.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace kestrel::test {

struct LanguageScript {
    std::filesystem::path file;  ///< that it stands in
    std::string text;
};

/// All scripts of a folder. "// --- " begins another one of a file, and behind "// --- each" every line is
/// one; what is above the first such line belongs to each.
inline std::vector<LanguageScript> languageScripts(const std::filesystem::path& folder) {
    std::vector<LanguageScript> scripts;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, ignored)) {
        if (entry.path().extension() != ".ks" && entry.path().extension() != ".txt") continue;
        std::ifstream file(entry.path(), std::ios::binary);
        std::vector<std::string> texts(1);
        bool each = false;
        for (std::string line; std::getline(file, line);) {
            const bool head = line.starts_with("// --- ");
            if (head) each = line.starts_with("// --- each: ");
            if (head && each) continue;
            if (head || (each && !line.empty())) texts.push_back(texts.front());
            texts.back() += line + '\n';
        }
        if (texts.size() > 1) texts.erase(texts.begin());
        for (std::string& text : texts) scripts.push_back({entry.path(), std::move(text)});
    }
    std::ranges::stable_sort(scripts, {}, &LanguageScript::file);
    return scripts;
}

/// A script in a directory of its own, which is current and empty otherwise at the beginning.
class ScriptFolder {
public:
    explicit ScriptFolder(const LanguageScript& script)
        : folder_(std::filesystem::temp_directory_path() /
                  ("kestrel-scripts-" + std::to_string(platform::processId()))) {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
        std::filesystem::current_path(folder_);
        std::ofstream(file(), std::ios::binary) << script.text;
    }
    ~ScriptFolder() {
        std::filesystem::current_path(std::filesystem::temp_directory_path());
        std::filesystem::remove_all(folder_);
    }
    ScriptFolder(const ScriptFolder&) = delete;
    ScriptFolder& operator=(const ScriptFolder&) = delete;

    [[nodiscard]] std::string file() const { return (folder_ / "script.ks").string(); }

private:
    std::filesystem::path folder_;
};

}  // namespace kestrel::test
