// From the tree to scopes and nets: walks the hierarchy once, using the facts about each module.
#include "design.h"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "clocks.h"
#include "processes.h"

namespace qkverilate {

int Design::home(int net) const {
    while (nets[static_cast<size_t>(net)].sharesOuter) net = nets[static_cast<size_t>(net)].outer;
    return net;
}

namespace {

constexpr size_t kMostDepth = 500;
constexpr int64_t kMostInstances = 1 << 20;  // in an array

bool canBeTyped(std::string_view name, std::string_view forbidden) {
    const auto isBad = [&](char c) {
        return c <= ' ' || c >= 127 || forbidden.find(c) != std::string_view::npos;
    };
    return !name.empty() && std::none_of(name.begin(), name.end(), isBad);
}

Direction directionOf(std::string_view text) {
    if (text == "input") return Direction::kInput;
    if (text == "inout") return Direction::kInout;
    return text == "output" ? Direction::kOutput : Direction::kNone;
}

Kind kindOf(const VarFacts& facts, const Type& type, Direction direction) {
    const bool atEdge = facts.edgeDelayed || (facts.edgeBlocking && !facts.otherwise);
    if (!type.unpacked.empty()) {
        const bool isWritten = facts.otherwise || facts.connected || direction == Direction::kInput;
        return atEdge || facts.latched || !isWritten ? Kind::kMemory : Kind::kNet;
    }
    // A loop counter has no value on which simulators agree, unless it keeps its value between
    // runs.
    if (facts.edgeDelayed || (atEdge && (!type.isCounter || facts.carries))) return Kind::kRegister;
    return facts.latched && !type.isCounter ? Kind::kLatch : Kind::kNet;
}

bool holdsState(Kind kind) {
    return kind == Kind::kRegister || kind == Kind::kLatch || kind == Kind::kMemory;
}

/// @return whether all of an array of instances have the whole net at that port
bool isCommon(const Net& port, const Net& connection) {
    return port.direction == Direction::kInput &&
           port.type.bits.count() == connection.type.bits.count() &&
           port.type.unpacked == connection.type.unpacked;
}

/// One instance of a module while the hierarchy is walked.
struct Instance {
    const Node* module;
    const ModuleFacts* facts;
    std::unordered_map<const Node*, int> nets;  ///< by variable
};

class Elaboration {
public:
    Elaboration(const Node& theNetlist, const DesignOptions& theOptions)
        : netlist(theNetlist), options(theOptions), index(theNetlist), types(theNetlist) {}
    Design run();

private:
    const Node& findTop() const;
    Instance elaborate(const Node& module, int scope, size_t depth);
    void walk(const Node& node, int scope, Instance& instance, bool inProcess);
    void addVariable(const Node& variable, int scope, Instance& instance, bool inProcess);
    void addInstance(const Node& node, int scope, const Instance& outside, size_t depth);
    void connect(const Node& node, const Instance& outside, const Instance& inside, bool isAlone);
    void linkAssignments(const Instance& instance);
    void findRemoteTargets();
    void share();
    void publish();
    void checkInouts();
    int addPin(const Net& pad, const char* suffix);
    void dropEmptyScopes();

    const ModuleFacts& factsOf(const Node& module);
    int addScope(int parent, std::string_view name);
    Net& net(int at) { return design.nets[static_cast<size_t>(at)]; }
    std::string pathOf(int scope, std::string_view name) const {
        return design.scopes[static_cast<size_t>(scope)].path + "." + std::string(name);
    }
    void leaveOut(int scope, std::string_view name, std::string_view why);

    /// A connection of a port by a plain name.
    struct Link {
        int inner, outer;
        bool isDrivenOnce;  ///< only the port drives the net outside
    };

    const Node& netlist;
    const DesignOptions& options;
    const TreeIndex index;
    const Types types;
    Design design;
    std::unordered_map<const Node*, std::unique_ptr<ModuleFacts>> facts;
    std::unordered_map<const Node*, int> scopeOf;  ///< of the blocks of the current instance
    std::vector<Link> links;
    std::vector<std::pair<int, const ModuleFacts*>> instances;  ///< scope and facts of each
    std::unordered_set<int> remote;                             ///< nets that another scope assigns
    std::vector<ClockUse> clockUses;
};

// ---- Modules

const Node& Elaboration::findTop() const {
    std::unordered_set<std::string_view> used;
    const auto note = [&](const auto& self, const Node& node) -> void {
        for (const Node& child : node.children) {
            if (child.is("instance")) used.insert(child.get("def"));
            if (child.is("begin")) self(self, child);
        }
    };
    for (const Node& unit : netlist.children)
        if (unit.is("module") || unit.is("iface")) note(note, unit);
    const Node* top = nullptr;
    std::string all;
    for (const Node& unit : netlist.children) {
        if (!unit.is("module") || used.contains(unit.get("name"))) continue;
        if (unit.get("name") == options.top || unit.get("orig") == options.top) return unit;
        all += (top ? ", " : "") + std::string(unit.get("name"));
        top = top ? top : &unit;
    }
    if (!top) throw DesignError{"no module in the sources"};
    if (all != top->get("name")) throw DesignError{"give --top: the sources have " + all};
    return *top;
}

const ModuleFacts& Elaboration::factsOf(const Node& module) {
    std::unique_ptr<ModuleFacts>& known = facts[&module];
    if (!known) {
        known = std::make_unique<ModuleFacts>(analyseModule(module, index));
        if (!known->ownTime.empty())
            throw DesignError{known->ownTime.front() +
                              ": the design makes its own time: give the modules below the test "
                              "bench"};
    }
    return *known;
}

void Elaboration::leaveOut(int scope, std::string_view name, std::string_view why) {
    design.leftOut.push_back(pathOf(scope, name) + ": left out: " + std::string(why));
}

int Elaboration::addScope(int parent, std::string_view name) {
    design.scopes.push_back({parent, std::string(name), pathOf(parent, name)});
    return static_cast<int>(design.scopes.size()) - 1;
}

Instance Elaboration::elaborate(const Node& module, int scope, size_t depth) {
    if (depth > kMostDepth) throw DesignError{"the hierarchy has no end"};
    Instance instance{&module, &factsOf(module), {}};
    instances.emplace_back(scope, instance.facts);
    scopeOf.clear();
    walk(module, scope, instance, false);
    linkAssignments(instance);
    // Instances below use the map of blocks, too.
    const std::unordered_map<const Node*, int> blocks = scopeOf;
    const auto below = [&](const auto& self, const Node& node, int at) -> void {
        for (const Node& child : node.children) {
            if (child.is("begin")) {
                const auto block = blocks.find(&child);
                self(self, child, block == blocks.end() ? at : block->second);
            } else if (child.is("instance")) {
                addInstance(child, at, instance, depth);
            }
        }
    };
    below(below, module, scope);
    return instance;
}

constexpr std::string_view kUntypable = "a name that cannot be typed at the console";

void Elaboration::addInstance(const Node& node, int scope, const Instance& outside, size_t depth) {
    const std::string_view name = node.get("name");
    const auto module = index.modules.find(node.get("def"));
    if (module == index.modules.end()) return;
    if (module->second->is("iface")) {
        leaveOut(scope, name, "interface");
        return;
    }
    if (!canBeTyped(name, ".\\*=")) {
        leaveOut(scope, name, kUntypable);
        return;
    }
    const std::optional<int64_t> left = literalValue(node.get("left"));
    const std::optional<int64_t> right = literalValue(node.get("right"));
    if (!left || !right) {
        connect(node, outside, elaborate(*module->second, addScope(scope, name), depth + 1), true);
        return;
    }
    const auto [low, high] = std::minmax(*left, *right);
    if (high - low >= kMostInstances) throw DesignError{"the hierarchy has no end"};
    for (int64_t i = low; i <= high; ++i) {
        const std::string element = std::string(name) + '[' + std::to_string(i) + ']';
        connect(node, outside, elaborate(*module->second, addScope(scope, element), depth + 1),
                low == high);
    }
}

// ---- Variables

/// @param inProcess  a block of a process: only variables that keep their values from one run to
///                   the next
void Elaboration::walk(const Node& node, int scope, Instance& instance, bool inProcess) {
    for (const Node& child : node.children) {
        if (child.is("var")) {
            addVariable(child, scope, instance, inProcess);
        } else if (child.is("begin")) {
            const std::string_view name = child.get("name");
            int inside = scope;
            if (!name.empty() && canBeTyped(name, ".\\*=")) inside = addScope(scope, name);
            scopeOf.emplace(&child, inside);
            walk(child, inside, instance, inProcess);
        } else if (child.is("always") ||
                   (inProcess && (child.is("if") || child.is("loop") || child.is("case") ||
                                  child.is("caseitem")))) {
            walk(child, scope, instance, true);
        }
    }
}

void Elaboration::addVariable(const Node& variable, int scope, Instance& instance, bool inProcess) {
    const std::string_view name = variable.get("name");
    const VarFacts& known = instance.facts->of(&variable);
    Net added{scope, std::string(name), std::string(instance.module->get("orig")),
              std::string(variable.get("orig")), types.find(variable.get("type"))};
    added.direction = directionOf(variable.get("dir"));
    const bool isParameter = !variable.get("param").empty();
    if (isInternal(name) || added.type.leftOut == "interface") return;
    // A genvar is never referenced: the tree has its values instead.
    if (added.type.isCounter && !known.referenced && !isParameter &&
        added.direction == Direction::kNone)
        return;
    added.kind = isParameter ? Kind::kParameter : kindOf(known, added.type, added.direction);
    if (inProcess && added.kind != Kind::kRegister && added.kind != Kind::kLatch) return;
    if (!added.type.leftOut.empty()) {
        leaveOut(scope, name, added.type.leftOut);
        return;
    }
    if (!canBeTyped(name, ".[]\\*=")) {
        leaveOut(scope, name, kUntypable);
        return;
    }
    if (scope == 0 && added.direction == Direction::kInput && !added.type.unpacked.empty()) {
        leaveOut(scope, name, "an input that is an array; it stays 0");
        return;
    }
    if (isParameter && added.type.unpacked.empty() && !variable.children.empty())
        added.value = literalWords(variable.children.front().get("name"));
    added.isDriven = known.drivers > 0;
    instance.nets.emplace(&variable, static_cast<int>(design.nets.size()));
    design.nets.push_back(std::move(added));
}

/// Records plain assignments, for finding where clocks come from.
void Elaboration::linkAssignments(const Instance& instance) {
    for (const auto& [variable, at] : instance.nets) {
        const Node* const source = instance.facts->of(variable).source;
        const auto found = source ? instance.nets.find(source) : instance.nets.end();
        if (found != instance.nets.end()) net(at).source = found->second;
    }
    for (const ClockItem& item : instance.facts->clocks) {
        const auto found = instance.nets.find(item.variable);
        if (found != instance.nets.end()) clockUses.push_back({found->second});
    }
}

// ---- Connections

/// @param isAlone  false: one of an array of instances, which a connection is either common to, or
///                 divided between
void Elaboration::connect(const Node& node, const Instance& outside, const Instance& inside,
                          bool isAlone) {
    for (const Node& port : node.children) {
        if (!port.is("port") || port.children.empty()) continue;
        const Node* const variable = index.portVariable(node, port);
        const auto inner = variable ? inside.nets.find(variable) : inside.nets.end();
        if (inner == inside.nets.end()) continue;
        net(inner->second).isConnected = true;
        const auto connection = outside.facts->connections.find(&port);
        if (connection == outside.facts->connections.end() || !connection->second) continue;
        const auto outer = outside.nets.find(connection->second);
        if (outer == outside.nets.end()) continue;
        if (!isAlone && !isCommon(net(inner->second), net(outer->second))) continue;
        links.push_back(
            {inner->second, outer->second, outside.facts->of(connection->second).drivers == 1});
        net(inner->second).outer = outer->second;
        if (net(inner->second).direction == Direction::kOutput)
            net(outer->second).inner = inner->second;
    }
}

/// Finds variables by a path from the scope of the process, or from one above it.
void Elaboration::findRemoteTargets() {
    std::unordered_map<std::string, int> byPath;
    const bool isAny = std::any_of(instances.begin(), instances.end(), [](const auto& instance) {
        return !instance.second->remoteTargets.empty();
    });
    if (!isAny) return;
    for (size_t i = 0; i < design.nets.size(); ++i)
        byPath.emplace(pathOf(design.nets[i].scope, design.nets[i].name), static_cast<int>(i));
    for (const auto& [scope, its] : instances) {
        for (const RemoteTarget& target : its->remoteTargets) {
            for (int from = scope; from >= 0;
                 from = design.scopes[static_cast<size_t>(from)].parent) {
                const auto found = byPath.find(pathOf(from, target.dotted + "." + target.name));
                if (found == byPath.end()) continue;
                remote.insert(found->second);
                Net& written = net(found->second);
                written.isDriven = true;
                if (target.atEdge && written.kind == Kind::kNet && written.type.unpacked.empty())
                    written.kind = Kind::kRegister;
                break;
            }
        }
    }
}

/// Joins ports with the nets outside that they are connected to, if both are always equal.
void Elaboration::share() {
    for (const Link& link : links) {
        Net& inner = net(link.inner);
        const Net& outer = net(link.outer);
        const bool isIn = inner.direction == Direction::kInput && !inner.isDriven;
        const bool isOut = inner.direction == Direction::kOutput && link.isDrivenOnce;
        const bool sameForm = inner.type.bits == outer.type.bits &&
                              inner.type.isRanged == outer.type.isRanged &&
                              inner.type.unpacked == outer.type.unpacked;
        inner.sharesOuter = (isIn || isOut) && sameForm && outer.direction != Direction::kInout &&
                            !remote.contains(link.inner) && !remote.contains(link.outer);
    }
}

/// The storage of a register at a port is that of one of the nets that the port is joined with: all
/// of them are made public, and the model finds out which one it is. If the outermost is a port
/// that is connected to anything but one net, its storage would be a copy unless it is writable.
void Elaboration::publish() {
    for (size_t i = 0; i < design.nets.size(); ++i) {
        Net& its = design.nets[i];
        if (its.kind == Kind::kParameter) {
            its.isPublic = !its.value;
            continue;
        }
        const int home = design.home(static_cast<int>(i));
        const bool isTopPort = net(home).scope == 0 && net(home).direction != Direction::kNone;
        if (!options.fast || isTopPort) net(home).isPublic = true;
        if (!holdsState(its.kind)) continue;
        for (int at = static_cast<int>(i);; at = net(at).outer) {
            net(at).isPublic = true;
            if (at == home) break;
        }
        if (net(home).isConnected && net(home).direction == Direction::kOutput && !isTopPort)
            net(home).isWritable = true;
    }
}

void Elaboration::checkInouts() {
    const int count = static_cast<int>(design.nets.size());
    for (int i = 0; i < count; ++i) {
        const Net its = net(i);
        if (its.scope != 0 || its.direction != Direction::kInout || !its.isDriven) continue;
        if (options.splitsPads) {
            net(i).isDriven = false;
            design.pads.push_back({i, addPin(its, "__out"), addPin(its, "__en")});
        } else {
            design.warnings.push_back(pathOf(0, its.name) +
                                      ": shown, but neither driven nor compared: see "
                                      "docs/verilator.md");
        }
    }
}

/// @return the new net, which is no port of the design: no trace has it
int Elaboration::addPin(const Net& pad, const char* suffix) {
    Net pin{0, pad.name + suffix, pad.module, pad.orig + suffix, pad.type};
    pin.isDriven = pin.isPublic = pin.isPin = true;
    design.nets.push_back(std::move(pin));
    return static_cast<int>(design.nets.size()) - 1;
}

void Elaboration::dropEmptyScopes() {
    std::vector<char> used(design.scopes.size());
    for (const Net& its : design.nets) used[static_cast<size_t>(its.scope)] = 1;
    for (size_t i = design.scopes.size(); i-- > 1;)
        if (used[i]) used[static_cast<size_t>(design.scopes[i].parent)] = 1;
    std::vector<int> place(design.scopes.size());
    std::vector<Scope> kept;
    for (size_t i = 0; i < design.scopes.size(); ++i) {
        if (i > 0 && !used[i]) continue;  // the top remains
        place[i] = static_cast<int>(kept.size());
        kept.push_back(std::move(design.scopes[i]));
        if (i > 0) kept.back().parent = place[static_cast<size_t>(kept.back().parent)];
    }
    design.scopes = std::move(kept);
    for (Net& its : design.nets) its.scope = place[static_cast<size_t>(its.scope)];
}

Design Elaboration::run() {
    const Node& top = findTop();
    design.top = top.get("name");
    design.scopes.push_back({-1, design.top, design.top});
    elaborate(top, 0, 0);
    findRemoteTargets();
    share();
    publish();
    checkInouts();
    markClocks(design, clockUses, options);
    dropEmptyScopes();
    return std::move(design);
}

}  // namespace

Design analyse(const Node& netlist, const DesignOptions& options) {
    return Elaboration(netlist, options).run();
}

}  // namespace qkverilate
