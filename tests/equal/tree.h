// Programs as trees of text, which can be made smaller without knowing the language.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel::equal {

enum class Role {
    Text,        ///< a leaf that stays
    Group,       ///< parts in a row, none of which can go by itself
    Expression,  ///< an expression inside it, or a number, can take its place
    Statement,   ///< can go, or give its place to a block inside it
    Block,       ///< statements
};

struct Node {
    explicit Node(Role nodeRole) : role(nodeRole) {}
    Node(std::string leaf) : text(std::move(leaf)) {}  // NOLINT: texts stand among nodes as they are
    Node(std::string_view leaf) : text(leaf) {}        // NOLINT
    Node(const char* leaf) : text(leaf) {}             // NOLINT
    void add(Node part) { parts.push_back(std::move(part)); }

    Role role = Role::Text;
    std::string text;  ///< of a leaf
    std::vector<Node> parts;
};

/// Texts and nodes in a row. Between braces the parts are made from left to right, which matters where they
/// are made by chance; between the parentheses of a call each compiler has an order of its own.
[[nodiscard]] inline Node make(Role role, std::initializer_list<Node> parts) {
    Node node(role);
    node.parts = parts;
    return node;
}

[[nodiscard]] inline std::string render(const Node& node) {
    std::string out = node.text;
    for (const Node& part : node.parts) out += render(part);
    return out;
}

}  // namespace kestrel::equal
