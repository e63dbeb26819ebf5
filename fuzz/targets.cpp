#include "fuzz/target.h"

#include <algorithm>

namespace kestrel::fuzz {

namespace {

constexpr Target kTargets[] = {
    {"compile", "A script; lines \"@file NAME\" begin the files that it inserts.", compile, scriptSeeds, 4096,
     4},
    {"run", "The same, and it runs.", runScript, mainSeeds, 4096, 4},
    {"module", "What a host does, from making scripts to calling back from inside its operations.",
     callModule, byteSeeds, 1024, 16},
    {"agents", "What a native class returns.", exchangeRecords, byteSeeds, 1024, 40},
    {"debug", "Records from a debugger to a script, then events and replies from a script to a debugger.",
     debugLink, debugSeeds, 16384, 40},
    {"queues", "The block of a queue, and what scripts do with it.", queueBlocks, byteSeeds, 4096, 20},
    {"state", "A saved state, text or binary, and how much of it the host gives at once.", loadState,
     stateSeeds, 4096, 150},
    {"scene", "The extension of a scene file, a newline, and the file.", readSceneFile, sceneSeeds, 65536,
     60},
    {"builtins", "Calls of built-ins and of methods of files.", callBuiltins, byteSeeds, 2048, 30},
    {"store", "The store's database file.", openStore, storeSeeds, 32768, 12},
};

}  // namespace

std::span<const Target> targets() noexcept {
    return kTargets;
}

const Target* findTarget(std::string_view name) noexcept {
    const auto* found = std::ranges::find(kTargets, name, &Target::name);
    return found != std::end(kTargets) ? found : nullptr;
}

/// For targets whose bytes are choices: any will do, so long as there are some of each.
Seeds byteSeeds(const std::filesystem::path&) {
    Seeds seeds;
    std::uint32_t state = 1;
    for (std::size_t size = 16; size <= 1024; size *= 2) {
        for (int i = 0; i < 4; ++i) {
            std::string& seed = seeds.emplace_back(size, '\0');
            for (char& c : seed) {
                state = state * 1664525u + 1013904223u;
                c = static_cast<char>(state >> 24);
            }
        }
    }
    return seeds;
}

}  // namespace kestrel::fuzz
