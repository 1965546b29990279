#include "processes.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace qkverilate {

TreeIndex::TreeIndex(const Node& netlist) {
    for (const Node& unit : netlist.children) {
        if (unit.is("module") || unit.is("iface")) modules.emplace(unit.get("name"), &unit);
        if (!unit.is("package")) continue;
        for (const Node& child : unit.children)
            if (child.is("task") || child.is("func"))
                packageTasks.emplace(child.get("name"), &child);
    }
}

const Node* TreeIndex::portVariable(const Node& instance, const Node& port) const {
    const auto module = modules.find(instance.get("def"));
    if (module == modules.end()) return nullptr;
    for (const Node& child : module->second->children)
        if (child.is("var") && child.get("name") == port.get("name")) return &child;
    return nullptr;
}

namespace {

using Set = std::unordered_set<const Node*>;

void intersect(Set& set, const Set& other) {
    for (auto at = set.begin(); at != set.end();) at = other.contains(*at) ? ++at : set.erase(at);
}

/// The variables assigned on every path from the start of a process to some point of it.
struct Assigned {
    Set touched;  ///< at least a part of it: decides about latches
    Set whole;    ///< every bit of it: later reads do not see an earlier value
    void meet(const Assigned& other) {
        intersect(touched, other.touched);
        intersect(whole, other.whole);
    }
};

/// What one process does.
struct Process {
    bool hasEdge = false;
    Set delayed, blocking;  ///< targets
    Set read, exposed;      ///< exposed: read where it may not have been assigned yet
    std::string delay;      ///< location of a delay, if there is one
};

class Analysis {
public:
    Analysis(const Node& theModule, const TreeIndex& theIndex)
        : module(theModule), index(theIndex) {}
    ModuleFacts run() {
        enter(module);
        items(module);
        leave();
        return std::move(facts);
    }

private:
    using Names = std::unordered_map<std::string_view, const Node*>;

    // Scopes, the innermost last
    void enter(const Node& scope);
    void leave() { scopes.pop_back(); }
    const Node* resolve(std::string_view name) const;
    /// @param depth  receives the number of scopes visible to the task
    const Node* resolveTask(std::string_view name, size_t& depth) const;

    void items(const Node& scope);
    void item(const Node& node);
    void connect(const Node& instance);
    void continuous(const Node& node);
    void always(const Node& node);
    void initial(const Node& node);
    void settle(const Process& body, const Assigned& end);
    void findClocks(const Node& sentree, const Process& body);

    // Within a process
    void flow(const Node& node);
    void flowAll(const std::vector<Node>& nodes);
    void assign(const Node& node, bool isDelayed);
    void target(const Node& node, bool isDelayed, bool isWhole);
    void read(const Node& varref);
    void branch(const Node& node);
    void choose(const Node& node);
    void call(const Node& node);
    bool isFull(const Node& node) const;
    void markReferences(const Node& node);

    const Node& module;
    const TreeIndex& index;
    ModuleFacts facts;
    std::vector<Names> scopes;
    std::vector<const Node*> calls;  ///< tasks being followed
    Process* process = nullptr;
    Assigned assigned;
};

// ---- Scopes

void Analysis::enter(const Node& scope) {
    Names names;
    for (const Node& child : scope.children)
        if (child.is("var") || child.is("task") || child.is("func"))
            names.emplace(child.get("name"), &child);
    scopes.push_back(std::move(names));
}

const Node* Analysis::resolve(std::string_view name) const {
    for (size_t i = scopes.size(); i-- > 0;) {
        const auto found = scopes[i].find(name);
        if (found != scopes[i].end() && found->second->is("var")) return found->second;
    }
    return nullptr;
}

const Node* Analysis::resolveTask(std::string_view name, size_t& depth) const {
    for (depth = scopes.size(); depth > 0; --depth) {
        const auto found = scopes[depth - 1].find(name);
        if (found != scopes[depth - 1].end() && !found->second->is("var")) return found->second;
    }
    const auto found = index.packageTasks.find(name);
    return found == index.packageTasks.end() ? nullptr : found->second;
}

// ---- Items of a module

void Analysis::items(const Node& scope) {
    for (const Node& child : scope.children) item(child);
}

void Analysis::item(const Node& node) {
    if (node.is("begin")) {
        enter(node);
        items(node);
        leave();
    } else if (node.is("instance")) {
        connect(node);
    } else if (node.is("contassign")) {
        continuous(node);
    } else if (node.is("always")) {
        always(node);
    } else if (node.is("initial") || node.is("final")) {
        initial(node);
    }
}

void Analysis::connect(const Node& instance) {
    for (const Node& port : instance.children) {
        if (!port.is("port") || port.children.empty()) continue;
        const Node* const inner = index.portVariable(instance, port);
        const bool isInput = inner && inner->get("dir") == "input";
        const Node& expression = port.children.front();
        const Node* const variable =
            expression.is("varref") ? resolve(expression.get("name")) : nullptr;
        facts.connections.emplace(&port, variable);
        Process connection;
        process = &connection;
        if (isInput) {
            flow(expression);
        } else {
            target(expression, false, true);
        }
        process = nullptr;
        for (const Node* driven : connection.blocking) {
            VarFacts& its = facts.variables[driven];
            its.connected = true;
            ++its.drivers;
        }
    }
}

void Analysis::continuous(const Node& node) {
    if (node.children.size() < 2) return;
    Process assignment;
    process = &assignment;
    assigned = {};
    assign(node, false);
    process = nullptr;
    const Node& from = node.children[node.children.size() - 2];
    for (const Node* variable : assignment.blocking) {
        VarFacts& its = facts.variables[variable];
        its.otherwise = true;
        ++its.drivers;
        // A value that depends only on itself is a latch.
        its.latched |= assignment.read.contains(variable) && node.children.back().is("varref");
        if (from.is("varref") && node.children.back().is("varref"))
            its.source = resolve(from.get("name"));
    }
}

bool isEdge(const Node& item) {
    const std::string_view edge = item.get("edge");
    return edge == "POS" || edge == "NEG" || edge == "BOTH";
}

void Analysis::always(const Node& node) {
    const Node* sentree = nullptr;
    if (!node.children.empty() && node.children.front().is("sentree"))
        sentree = &node.children.front();
    Process body;
    if (sentree)
        body.hasEdge = std::any_of(sentree->children.begin(), sentree->children.end(), isEdge);
    process = &body;
    assigned = {};
    for (const Node& child : node.children)
        if (&child != sentree) flow(child);
    process = nullptr;
    if (!sentree && !body.delay.empty()) facts.ownTime.push_back(body.delay);
    settle(body, assigned);
    if (!sentree) return;
    markReferences(*sentree);
    if (body.hasEdge) findClocks(*sentree, body);
}

void Analysis::initial(const Node& node) {
    Process body;
    process = &body;
    assigned = {};
    flowAll(node.children);
    process = nullptr;
    if (!body.delay.empty()) facts.ownTime.push_back(body.delay);
    for (const Set* targets : {&body.blocking, &body.delayed})
        for (const Node* variable : *targets) ++facts.variables[variable].drivers;
}

void Analysis::settle(const Process& body, const Assigned& end) {
    for (const Set* targets : {&body.blocking, &body.delayed}) {
        for (const Node* variable : *targets) {
            VarFacts& its = facts.variables[variable];
            ++its.drivers;
            if (!body.hasEdge) {
                its.otherwise = true;
                its.latched |= !end.touched.contains(variable);
            } else if (targets == &body.delayed) {
                its.edgeDelayed = true;
            } else {
                its.edgeBlocking = true;
                its.carries |= body.exposed.contains(variable);
            }
        }
    }
}

/// Finds the variables of an edge list that the body does not read: the others are asynchronous
/// resets.
void Analysis::findClocks(const Node& sentree, const Process& body) {
    std::vector<ClockItem> all, unread;
    for (const Node& item : sentree.children) {
        if (!isEdge(item) || item.children.empty() || !item.children.front().is("varref")) continue;
        const Node* const variable = resolve(item.children.front().get("name"));
        if (!variable) continue;
        const ClockItem clock{variable, std::string(item.get("loc"))};
        all.push_back(clock);
        if (!body.read.contains(variable)) unread.push_back(clock);
    }
    const std::vector<ClockItem>& clocks = unread.empty() ? all : unread;
    facts.clocks.insert(facts.clocks.end(), clocks.begin(), clocks.end());
}

void Analysis::markReferences(const Node& node) {
    if (node.is("varref"))
        if (const Node* const variable = resolve(node.get("name")))
            facts.variables[variable].referenced = true;
    for (const Node& child : node.children) markReferences(child);
}

// ---- Statements and expressions

void Analysis::flowAll(const std::vector<Node>& nodes) {
    for (const Node& node : nodes) flow(node);
}

/// A task that stores what it reads in its arguments.
bool isReader(const Node& node) {
    constexpr std::string_view kReaders[] = {"readmem", "fgets", "fread",        "fscanf",
                                             "sscanf",  "rand",  "valueplusargs"};
    return std::find(std::begin(kReaders), std::end(kReaders), node.kind) != std::end(kReaders);
}

void Analysis::flow(const Node& node) {
    if (node.is("varref")) {
        read(node);
    } else if (node.is("assign") || node.is("assigndly")) {
        assign(node, node.is("assigndly"));
    } else if (node.is("if")) {
        branch(node);
    } else if (node.is("case")) {
        choose(node);
    } else if (node.is("begin")) {
        enter(node);
        flowAll(node.children);
        leave();
    } else if (node.is("taskref") || node.is("funcref")) {
        call(node);
    } else if (isReader(node)) {
        flowAll(node.children);
        for (const Node& child : node.children)
            if (child.is("varref")) target(child, false, false);
    } else if (!node.is("initial")) {  // that of a variable in a block runs before the process
        if (node.is("delay") && process->delay.empty()) process->delay = node.get("loc");
        flowAll(node.children);
    }
}

void Analysis::read(const Node& varref) {
    const Node* const variable = resolve(varref.get("name"));
    if (!variable) return;
    facts.variables[variable].referenced = true;
    process->read.insert(variable);
    if (!assigned.whole.contains(variable)) process->exposed.insert(variable);
}

void Analysis::assign(const Node& node, bool isDelayed) {
    for (size_t i = 0; i + 1 < node.children.size(); ++i) flow(node.children[i]);
    if (!node.children.empty()) target(node.children.back(), isDelayed, true);
}

/// @param isWhole  false: only a part of the variable is assigned
void Analysis::target(const Node& node, bool isDelayed, bool isWhole) {
    if (node.is("varref")) {
        const Node* const variable = resolve(node.get("name"));
        if (!variable) return;
        facts.variables[variable].referenced = true;
        (isDelayed ? process->delayed : process->blocking).insert(variable);
        assigned.touched.insert(variable);
        if (isWhole && !isDelayed) assigned.whole.insert(variable);
    } else if (node.is("varxref")) {
        facts.remoteTargets.push_back(
            {std::string(node.get("dotted")), std::string(node.get("name")), process->hasEdge});
    } else if (node.is("concat")) {
        for (const Node& operand : node.children) target(operand, isDelayed, isWhole);
    } else if (!node.children.empty()) {
        // A selection from its first child, by the others.
        for (size_t i = 1; i < node.children.size(); ++i) flow(node.children[i]);
        target(node.children.front(), isDelayed, false);
    }
}

void Analysis::branch(const Node& node) {
    if (node.children.size() < 2) return flowAll(node.children);
    flow(node.children[0]);
    const Assigned before = assigned;
    flow(node.children[1]);
    Assigned then = std::move(assigned);
    assigned = before;
    if (node.children.size() > 2) flow(node.children[2]);
    assigned.meet(then);
}

/// @return whether the constant conditions of the items cover every value
bool Analysis::isFull(const Node& node) const {
    std::set<int64_t> values;
    size_t width = 0;
    for (const Node& item : node.children) {
        if (!item.is("caseitem")) continue;
        for (const Node& condition : item.children) {
            if (condition.is("begin")) continue;
            const std::string_view text = condition.get("name");
            const std::optional<int64_t> value = literalValue(text);
            if (!condition.is("const") || !value) return false;
            if (text.find_first_of("xzXZ", text.find('\'')) != std::string_view::npos) return false;
            values.insert(*value);
            width = std::max(width, static_cast<size_t>(std::atoi(std::string(text).c_str())));
        }
    }
    return width >= 1 && width < 20 && values.size() == size_t{1} << width;
}

void Analysis::choose(const Node& node) {
    if (node.children.empty()) return;
    flow(node.children.front());
    const Assigned before = assigned;
    std::vector<Assigned> ends;
    bool hasDefault = false;
    for (size_t i = 1; i < node.children.size(); ++i) {
        const Node& item = node.children[i];
        if (!item.is("caseitem")) continue;
        hasDefault |= item.children.size() == 1;
        assigned = before;
        flowAll(item.children);
        ends.push_back(std::move(assigned));
    }
    if (!hasDefault && !isFull(node)) ends.push_back(before);
    assigned = ends.empty() ? before : ends.front();
    for (const Assigned& end : ends) assigned.meet(end);
}

/// A task's statements are part of the process that calls it.
void Analysis::call(const Node& node) {
    size_t depth;
    const Node* const task = resolveTask(node.get("name"), depth);
    std::vector<const Node*> outputs;
    for (const Node& child : node.children) {
        const Node& value = child.is("arg") && !child.children.empty() ? child.children[0] : child;
        flow(value);
        outputs.push_back(&value);
    }
    if (!task || std::find(calls.begin(), calls.end(), task) != calls.end()) return;
    calls.push_back(task);
    std::vector<Names> outside(scopes.begin() + static_cast<std::ptrdiff_t>(depth), scopes.end());
    scopes.resize(depth);
    enter(*task);
    for (const Node& child : task->children)
        if (!child.is("var")) flow(child);
    leave();
    std::move(outside.begin(), outside.end(), std::back_inserter(scopes));
    calls.pop_back();
    size_t place = 0;
    for (const Node& child : task->children) {
        if (!child.is("var") || child.get("dir").empty()) continue;
        if (task->is("func") && child.get("name") == task->get("name")) continue;
        if (place < outputs.size() && child.get("dir") != "input")
            target(*outputs[place], false, true);
        ++place;
    }
}

}  // namespace

ModuleFacts analyseModule(const Node& theModule, const TreeIndex& theIndex) {
    return Analysis(theModule, theIndex).run();
}

}  // namespace qkverilate
