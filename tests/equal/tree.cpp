#include "tests/equal/tree.h"

namespace kestrel::equal {

namespace {

void append(const Node& node, std::string& out) {
    out += node.text;
    for (const Node& part : node.parts) append(part, out);
}

}  // namespace

std::string render(const Node& node) {
    std::string out;
    append(node, out);
    return out;
}

}  // namespace kestrel::equal
