// What the processes of one module do with its variables: which they assign, how, on which paths,
// and which trigger them. Variables are identified by their nodes in the tree.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tree.h"

namespace qkverilate {

/// Facts about one variable.
struct VarFacts {
    bool edgeDelayed = false;   ///< target of <= in a block with an edge
    bool edgeBlocking = false;  ///< target of = in such a block
    bool carries = false;       ///< such a block may read it before it has assigned it
    bool latched = false;       ///< a block without edges assigns it on some paths only
    bool otherwise = false;     ///< target of a block without edges, or of a continuous assignment
    bool connected = false;     ///< an instance drives it, or a part of it
    bool referenced = false;    ///< anything reads or assigns it
    int drivers = 0;            ///< processes, assignments and connections that may change it
    const Node* source = nullptr;  ///< in `assign this = source`: that variable
};

/// A variable that triggers a process, and its location in the source.
struct ClockItem {
    const Node* variable;
    std::string loc;
};

/// A variable of another scope that a process of this module assigns.
struct RemoteTarget {
    std::string dotted;  ///< path of its scope, from here or from above
    std::string name;
    bool atEdge;  ///< in a block with an edge
};

struct ModuleFacts {
    std::unordered_map<const Node*, VarFacts> variables;
    std::vector<ClockItem> clocks;
    std::vector<std::string> ownTime;  ///< locations where the design waits for a time
    /// The variables that connections read or drive: null if the expression is not a plain name.
    std::unordered_map<const Node*, const Node*> connections;  ///< by port
    std::vector<RemoteTarget> remoteTargets;

    const VarFacts& of(const Node* variable) const {
        static const VarFacts none;
        const auto found = variables.find(variable);
        return found == variables.end() ? none : found->second;
    }
};

/// The declarations of the whole tree that processes of each module use.
struct TreeIndex {
    explicit TreeIndex(const Node& netlist);
    std::unordered_map<std::string_view, const Node*> modules;  ///< and interfaces, by name
    std::unordered_map<std::string_view, const Node*> packageTasks;

    /// @return the port's variable in the module of an instance, or null
    const Node* portVariable(const Node& instance, const Node& port) const;
};

ModuleFacts analyseModule(const Node& module, const TreeIndex& index);

/// @return whether the name is one of Verilator's own
inline bool isInternal(std::string_view name) {
    return name.starts_with("__V") || name.starts_with("_Vpast_");
}

}  // namespace qkverilate
