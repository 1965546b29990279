#include "clocks.h"

#include <algorithm>
#include <set>

namespace qkverilate {

namespace {

/// Follows a net through connections and plain assignments.
/// @return the net that it comes from
int originOf(const Design& design, int net) {
    std::set<int> seen;
    while (seen.insert(net).second) {
        const Net& its = design.nets[static_cast<size_t>(net)];
        int next = its.source;
        if (its.scope != 0 && its.direction == Direction::kInput) next = its.outer;
        if (next < 0) next = its.inner;
        if (next < 0) break;
        net = next;
    }
    return net;
}

std::string inputsOf(const Design& design) {
    std::string all;
    for (const Net& net : design.nets)
        if (design.isTopInput(net)) all += (all.empty() ? "" : ", ") + net.name;
    return all;
}

Net& inputNamed(Design& design, const std::string& name, const char* option) {
    const auto found = std::find_if(design.nets.begin(), design.nets.end(), [&](const Net& net) {
        return design.isTopInput(net) && net.name == name;
    });
    if (found != design.nets.end()) return *found;
    throw DesignError{std::string(option) + " " + name + ": " + design.top +
                      " has no input of that name; it has " + inputsOf(design)};
}

}  // namespace

void markClocks(Design& design, const std::vector<ClockUse>& uses, const DesignOptions& options) {
    std::set<int> noted;
    for (const ClockUse& use : uses) {
        const int origin = originOf(design, use.net);
        Net& net = design.nets[static_cast<size_t>(origin)];
        if (design.isTopInput(net)) {
            net.isClock = true;
        } else if (net.kind != Kind::kRegister && noted.insert(origin).second) {
            design.warnings.push_back("note: clock " +
                                      design.scopes[static_cast<size_t>(net.scope)].path + "." +
                                      net.name + " is made by logic");
        }
    }
    for (const std::string& name : options.clocks)
        inputNamed(design, name, "--clock").isClock = true;
    for (const std::string& name : options.early)
        inputNamed(design, name, "--early").isEarly = true;
    const auto isClock = [](const Net& net) { return net.isClock; };
    if (std::none_of(design.nets.begin(), design.nets.end(), isClock))
        design.warnings.emplace_back(
            "no clock found: the model is evaluated once a time unit; give --clock NET");
}

}  // namespace qkverilate
