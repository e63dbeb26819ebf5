#include "tests/equal/compare.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace kestrel::equal {

namespace {

/// As long as it lives, texts lie elsewhere: it takes all small blocks that lie ready.
std::vector<std::unique_ptr<char[]>> otherAddresses() {
    std::vector<std::unique_ptr<char[]>> blocks;
    for (std::size_t size = 16; size <= 2048; size += 16)
        for (int i = 0; i < 20; ++i) blocks.push_back(std::make_unique<char[]>(size));
    return blocks;
}

std::string describeDifference(const Pair& pair, const Lines& a, const Lines& b) {
    const auto [inA, inB] = std::ranges::mismatch(a, b);
    std::string call;
    for (auto line = a.begin(); line != inA; ++line)
        if (line->starts_with("== ")) call = line->substr(3);
    const std::string end = "(nothing more)";
    return "in " + call + "\n  " + std::string(pair.first.name) + ": " + (inA != a.end() ? *inA : end) +
           "\n  " + std::string(pair.second.name) + ": " + (inB != b.end() ? *inB : end);
}

}  // namespace

Outcome compare(const Pair& pair, const test::LanguageScript& script, const Plan& plan) {
    const Life a = live(pair.first, script, plan);
    const Life b = live(pair.second, script, plan);
    if (a.cut && b.cut) return {.found = {}, .endless = true};
    for (const auto& [executor, life] : {std::pair{&pair.first, &a}, std::pair{&pair.second, &b}}) {
        if (life->cut) return {.found = std::string(executor->name) + " does not end", .endless = true};
        if (!life->used) return {.found = std::string(executor->name) + " was not used", .endless = false};
    }
    if (a.lines == b.lines) return {};
    const auto blocks = otherAddresses();
    if (live(pair.first, script, plan).lines != a.lines)
        return {.found = {}, .endless = false, .unsteady = true};
    return {.found = describeDifference(pair, a.lines, b.lines), .endless = false};
}

}  // namespace kestrel::equal
