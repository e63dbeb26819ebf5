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
    const bool allLocals = pair.first.keepsLocals && pair.second.keepsLocals;
    const Life a = live(pair.first, script, plan, allLocals);
    Outcome outcome{.second = live(pair.second, script, plan, allLocals)};
    const Life& b = outcome.second;
    outcome.endless = a.cut || b.cut;
    outcome.used = a.used && b.used;
    if (a.cut != b.cut)
        outcome.found = std::string((a.cut ? pair.first : pair.second).name) + " does not end";
    if (outcome.endless || a.lines == b.lines) return outcome;
    const auto blocks = otherAddresses();
    outcome.unsteady = live(pair.first, script, plan, allLocals).lines != a.lines;
    if (!outcome.unsteady) outcome.found = describeDifference(pair, a.lines, b.lines);
    return outcome;
}

}  // namespace kestrel::equal
