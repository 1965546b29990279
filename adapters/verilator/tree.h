// The syntax tree of a design in one form, independent of the dump of Verilator that it was read
// from.
//
// Kinds, with the attributes and children that the analysis reads; all else is an expression:
//
//   netlist                         its modules, interfaces, packages and types, in any order
//   module, iface, package          name (unique), orig (name for a configuration file)
//   var                             name, orig, type, dir (input, output, inout or none),
//                                   param (1 or none); the value of a parameter
//   instance                        name, def (name of the module), left and right (of an array of
//                                   instances, literals); ports
//   port                            name (of the port in that module); the connection, if any
//   begin                           name (none: no scope); declarations and statements
//   initial, final                  statements
//   always                          the sentree, if it has edges or levels, then statements
//   sentree, senitem                items; edge (POS, NEG, BOTH or another), the expression
//   contassign, assign, assigndly   what is read, and as the last child the target
//   if                              condition, begin, and a second begin for else, if any
//   case, caseitem                  expression, items; conditions (none: default), then a begin
//   loop                            whatever it consists of
//   taskref, funcref                name; an arg for each argument
//   task, func                      name; vars (a function's result has its name), statements
//   delay                           of a statement: what follows it may be inside
//   varref                          name
//   varxref                         name, dotted (path from here, as a user writes it)
//   sel, arraysel, structsel        the value selected from is the first child
//   concat                          operands
//   const                           name: the literal
//   basicdtype                      id, name (keyword), left, right (none: one bit)
//   refdtype                        id, sub: another name of a type, also an enumeration
//   packarraydtype, unpackarraydtype  id, sub, left, right
//   structdtype, uniondtype         id; memberdtype, with sub
//   ...dtype                        id: a type that has no bits
//
// A loc is "FILE:LINE".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qkverilate {

struct Node {
    std::string kind;
    std::vector<std::pair<std::string, std::string>> attributes = {};
    std::vector<Node> children = {};

    /// @return the attribute's value, empty when there is none
    std::string_view get(std::string_view attribute) const {
        for (const auto& [name, value] : attributes)
            if (name == attribute) return value;
        return {};
    }
    bool is(std::string_view what) const { return kind == what; }
    bool isAssignment() const { return is("assign") || is("assigndly") || is("contassign"); }
};

/// Why a tree cannot be read, for the user.
struct TreeError {
    std::string text;
};

/// Maximum depth of a tree, as all functions on it are recursive.
constexpr int kMostLevels = 20000;

/// Reads the tree that Verilator wrote to a file. Throws TreeError.
Node readXmlDump(const std::string& path);
/// @param meta  the file of --json-only-meta-output
/// @param version  of Verilator, for messages
Node readJsonDump(const std::string& path, const std::string& meta, const std::string& version);

/// @return an internal name as users write it: __BRA__ and __KET__ become brackets, __0xx other
/// characters
std::string plainName(std::string_view name);

/// Reads a literal such as 32'sh1f, 8'hff or 12; digits x and z count as 0.
/// @return its low 64 bits, sign-extended if it is signed; none when it is not a number
std::optional<int64_t> literalValue(std::string_view text);
/// @return the value of a literal of any width in words of 32 bits, the lowest first
std::optional<std::vector<uint32_t>> literalWords(std::string_view text);

}  // namespace qkverilate
