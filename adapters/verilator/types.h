// Types of variables: whether they have bits, how many, and their bounds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tree.h"

namespace qkverilate {

/// Bounds as declared.
struct Bounds {
    int left = 0;
    int right = 0;
    int64_t count() const {
        const int64_t distance = int64_t{left} - right;
        return (distance < 0 ? -distance : distance) + 1;
    }
    bool operator==(const Bounds& other) const = default;
};

struct Type {
    std::string leftOut;  ///< the kind of type if it has no bits, such as "real"; else empty
    Bounds bits;
    bool isRanged = false;         ///< false: a scalar, without bounds
    bool isCounter = false;        ///< of a type used for loop counters: int, integer, ...
    std::vector<Bounds> unpacked;  ///< in the order in which they are written
    bool operator==(const Type& other) const = default;
};

/// The types of a tree by their ids.
class Types {
public:
    /// @param tree  a netlist; must outlive this
    explicit Types(const Node& tree);
    Type find(std::string_view id) const;

private:
    void collect(const Node& node);
    Type find(std::string_view id, int depth) const;
    Type basic(const Node& node) const;
    Type array(const Node& node, int depth) const;
    Type aggregate(const Node& node, int depth) const;

    std::unordered_map<std::string_view, const Node*> byId;
};

}  // namespace qkverilate
