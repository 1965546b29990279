#include "types.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace qkverilate {

namespace {

/// Types refer to each other without cycles, except in a damaged dump.
constexpr int kMostNesting = 100;
constexpr int kMostBits = 1 << 24;

constexpr std::string_view kIntegral[] = {"logic", "bit",           "reg",      "integer",
                                          "int",   "byte",          "shortint", "longint",
                                          "time",  "logic_implicit"};
constexpr std::string_view kCounters[] = {"integer", "int", "byte", "shortint", "longint"};

template <class List>
bool contains(const List& list, std::string_view text) {
    return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

Type without(std::string_view what) {
    Type type;
    type.leftOut = what;
    return type;
}

std::string_view nameOfKind(const Node& node) {
    if (node.is("queuedtype")) return "queue";
    if (node.is("dynarraydtype")) return "dynamic array";
    if (node.is("assocarraydtype") || node.is("wildcardarraydtype")) return "associative array";
    if (node.is("classrefdtype")) return "class";
    if (node.is("ifacerefdtype")) return "interface";
    return node.kind;
}

Bounds boundsOf(const Node& node) {
    return {std::atoi(std::string(node.get("left")).c_str()),
            std::atoi(std::string(node.get("right")).c_str())};
}

/// A value of several parts, which Verilator stores in one vector.
Type vectorOf(int64_t bits) {
    if (bits < 1 || bits > kMostBits) return without("too wide");
    Type type;
    type.bits = {static_cast<int>(bits) - 1, 0};
    type.isRanged = true;
    return type;
}

}  // namespace

Types::Types(const Node& tree) { collect(tree); }

void Types::collect(const Node& node) {
    for (const Node& child : node.children) {
        if (child.is("types")) collect(child);
        if (const std::string_view id = child.get("id"); !id.empty()) byId.emplace(id, &child);
    }
}

Type Types::find(std::string_view id) const { return find(id, 0); }

Type Types::find(std::string_view id, int depth) const {
    const auto found = byId.find(id);
    if (found == byId.end() || depth > kMostNesting) return without("unknown type");
    const Node& node = *found->second;
    if (node.is("basicdtype")) return basic(node);
    if (node.is("refdtype")) return find(node.get("sub"), depth + 1);
    if (node.is("packarraydtype") || node.is("unpackarraydtype")) return array(node, depth);
    if (node.is("structdtype") || node.is("uniondtype")) return aggregate(node, depth);
    return without(nameOfKind(node));
}

Type Types::basic(const Node& node) const {
    const std::string_view keyword = node.get("name");
    if (!contains(kIntegral, keyword)) return without(keyword);
    Type type;
    type.isCounter = contains(kCounters, keyword);
    type.isRanged = !node.get("left").empty();
    if (type.isRanged) type.bits = boundsOf(node);
    return type.bits.count() > kMostBits ? without("too wide") : type;
}

Type Types::array(const Node& node, int depth) const {
    Type element = find(node.get("sub"), depth + 1);
    if (!element.leftOut.empty()) return element;
    const Bounds bounds = boundsOf(node);
    if (node.is("unpackarraydtype")) {
        element.unpacked.push_back(bounds);
        std::rotate(element.unpacked.begin(), element.unpacked.end() - 1, element.unpacked.end());
        int64_t count = 1;
        for (const Bounds& each : element.unpacked)
            if ((count *= each.count()) > INT32_MAX) return without("too many elements");
        return element;
    }
    return vectorOf(bounds.count() * element.bits.count());
}

Type Types::aggregate(const Node& node, int depth) const {
    int64_t sum = 0, widest = 0;
    for (const Node& member : node.children) {
        if (!member.is("memberdtype")) continue;
        Type type = find(member.get("sub"), depth + 1);
        if (!type.leftOut.empty()) return type;
        if (!type.unpacked.empty()) return without("structure with an array");
        sum += type.bits.count();
        widest = std::max(widest, type.bits.count());
    }
    return vectorOf(node.is("uniondtype") ? widest : sum);
}

}  // namespace qkverilate
