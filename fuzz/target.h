// What can be fuzzed: one function for each surface that others can reach, and the inputs to begin with.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::fuzz {

using Bytes = std::span<const std::uint8_t>;

struct Target {
    std::string_view name;
    std::string_view about;  ///< what the bytes are
    /// Takes any bytes and comes back. What is wrong ends the process.
    void (*run)(Bytes bytes);
    /// Inputs that do something, made of what the tree has.
    /// @param source  the tree
    std::vector<std::string> (*seeds)(const std::filesystem::path& source);
    std::size_t longest;  ///< input worth trying
    /// How often the short run changes a seed, so that it takes a few seconds.
    int rounds;
};

[[nodiscard]] std::span<const Target> targets() noexcept;
/// @return null when none has the name
[[nodiscard]] const Target* findTarget(std::string_view name) noexcept;

// ---- one for each row of the table in targets.cpp

void compile(Bytes bytes);
void runScript(Bytes bytes);
void callModule(Bytes bytes);
void exchangeRecords(Bytes bytes);
void debugLink(Bytes bytes);
void queueBlocks(Bytes bytes);
void loadState(Bytes bytes);
void readSceneFile(Bytes bytes);
void callBuiltins(Bytes bytes);
void openStore(Bytes bytes);

using Seeds = std::vector<std::string>;
[[nodiscard]] Seeds scriptSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds mainSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds byteSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds debugSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds stateSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds sceneSeeds(const std::filesystem::path& source);
[[nodiscard]] Seeds storeSeeds(const std::filesystem::path& source);

/// Ends the process unless something holds that always must.
inline void require(bool holds, std::string_view what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: this must not be: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
}

[[nodiscard]] inline std::string_view textOf(Bytes bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace kestrel::fuzz
