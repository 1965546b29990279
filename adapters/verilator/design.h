// The design in the form that the database of a model needs: scopes, and nets with their kinds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tree.h"
#include "types.h"

namespace qkverilate {

enum class Kind { kNet, kRegister, kLatch, kMemory, kParameter };
enum class Direction { kNone, kInput, kInout, kOutput };

struct Scope {
    int parent;        ///< index; -1 for the top
    std::string name;  ///< local
    std::string path;  ///< from the top
};

struct Net {
    int scope;
    std::string name;
    std::string module, orig;  ///< names of the module and the variable in a configuration file
    Type type;
    Direction direction = Direction::kNone;  ///< of the port in its module
    Kind kind = Kind::kNet;
    bool isClock = false;
    bool isEarly = false;
    bool isDriven = false;  ///< something in the design drives it
    bool isPin = false;     ///< one that Verilator makes for a Pad
    /// Net outside that a port of an instance is connected to, by its plain name; else -1. If
    /// sharesOuter is set, they are one net, with the storage of the outermost.
    int outer = -1;
    bool sharesOuter = false;
    bool isConnected = false;  ///< a port of an instance that is connected to anything
    int source = -1;           ///< the net that is assigned to it by a plain assignment
    int inner = -1;            ///< the output of an instance that drives it
    bool isPublic = false;     ///< the model makes its storage accessible
    bool isWritable = false;   ///< its storage is that of a register, whatever is connected to it
    std::optional<std::vector<uint32_t>> value = std::nullopt;  ///< of a parameter
};

/// An inout of the top that the design drives, if Verilator splits it: an input, the value that the
/// design drives, and the bits that it drives.
struct Pad {
    int input, out, enable;  ///< nets
};

struct Design {
    std::string top;            ///< name of the module
    std::vector<Scope> scopes;  ///< parents first; row 0 is the top
    std::vector<Net> nets;
    std::vector<Pad> pads;
    std::vector<std::string> leftOut;   ///< one line for each item that is not in the database
    std::vector<std::string> warnings;  ///< also notes

    /// @return the net whose storage a net uses: itself, or the outermost that it is connected to
    int home(int net) const;
    bool isTopInput(const Net& net) const {
        return net.scope == 0 && net.direction == Direction::kInput;
    }
};

/// The user's options about the design.
struct DesignOptions {
    std::string top;                         ///< empty: the module that no other one instantiates
    std::vector<std::string> clocks, early;  ///< inputs
    bool fast = false;                       ///< only registers, memories and the top's ports
    bool splitsPads = false;                 ///< Verilator can split an inout into three ports
};

/// Why a design cannot be built, for the user.
struct DesignError {
    std::string text;
};

/// @throws DesignError
Design analyse(const Node& netlist, const DesignOptions& options);

}  // namespace qkverilate
