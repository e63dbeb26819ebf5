#include "fuzz/mutation.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace kestrel::fuzz {

std::string Mutator::change(std::string input, std::span<const std::string> others) {
    if (input.size() > longest_) input.resize(longest_);
    for (std::size_t left = 1 + below(8); left > 0; --left) changeOnce(input, others);
    if (input.size() > longest_) input.resize(longest_);
    return input;
}

void Mutator::changeOnce(std::string& input, std::span<const std::string> others) {
    static constexpr std::array<std::string_view, 6> kEdges = {std::string_view("\0\0\0\0", 4),
                                                               "\xff\xff\xff\xff",
                                                               "\xff\xff\xff\x7f",
                                                               std::string_view("\0\0\0\x80", 4),
                                                               std::string_view("\0\0\x80\x7f", 4),
                                                               "\xc3\x28"};
    const std::size_t at = below(input.size() + 1);
    const std::size_t length = std::min(below(1 + below(64)), input.size() - at);
    switch (below(9)) {
        case 0:  // a bit
            if (at < input.size()) input[at] = static_cast<char>(input[at] ^ (1 << below(8)));
            break;
        case 1:  // a byte
            if (at < input.size()) input[at] = static_cast<char>(below(256));
            break;
        case 2:
            input.erase(at, length);
            break;
        case 3:  // once more, somewhere
            input.insert(below(input.size() + 1), std::string(input, at, length));
            break;
        case 4: {
            const std::string_view edge = kEdges[below(kEdges.size())];
            input.replace(at, std::min(edge.size(), input.size() - at), edge);
            break;
        }
        case 5: {  // a piece of another
            if (others.empty()) break;
            const std::string& other = others[below(others.size())];
            const std::size_t from = below(other.size() + 1);
            input.replace(at, length, other, from, below(200));
            break;
        }
        case 6:
            input.resize(at);
            break;
        default:
            if (!words_.empty()) input.replace(at, below(2) * length, words_[below(words_.size())]);
            break;
    }
}

}  // namespace kestrel::fuzz
