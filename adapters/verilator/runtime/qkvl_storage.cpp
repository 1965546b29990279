// Finds each row's storage in the tables of the compiled model.
//
// Verilator makes one variable of a port and the net that it is connected to; the variables of the
// other names are then copies. So the storage of a register at a port is in one of several places,
// and only Verilator knows in which. It is found by trial: all registers are inverted, the logic is
// recomputed, and storage that has not stayed inverted is a copy.
#include "qkvl_storage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qkvl_engine.h"

namespace {

const QkvlNet& row(int index) { return qkvlDesign.nets[index]; }

bool isTopPort(const QkvlNet& net) { return net.scope == 0 && net.direction != kQkvlNone; }

std::string scopePath(int scope) {
    std::string path = qkvlDesign.scopes[scope].name;
    for (int at = qkvlDesign.scopes[scope].parent; at >= 0; at = qkvlDesign.scopes[at].parent)
        path.insert(0, std::string(qkvlDesign.scopes[at].name) + '.');
    return path;
}

bool holdsState(const QkvlNet& net) {
    return net.kind == kQkvlRegister || net.kind == kQkvlLatch || net.kind == kQkvlMemory;
}

size_t bytesFor(int width) {
    if (width > 64) return (static_cast<size_t>(width) + 31) / 32 * 4;
    return width > 32 ? 8 : width > 16 ? 4 : width > 8 ? 2 : 1;
}

// ---- Looking up

class Finder {
public:
    Finder(VerilatedModel& theModel, const VerilatedContext& theContext)
        : model(theModel), context(theContext) {
        for (int i = 0; i < qkvlDesign.scopeCount; ++i) paths.push_back(scopePath(i));
    }
    /// @return the row's storage, without data when the row is not public
    QkvlStorage find(int index) const;

private:
    VerilatedModel& model;
    const VerilatedContext& context;
    std::vector<std::string> paths;  ///< of scopes
};

QkvlStorage Finder::find(int index) const {
    const QkvlNet& net = row(index);
    QkvlStorage storage;
    storage.width = qkvlWidth(net);
    storage.elementBytes = bytesFor(storage.width);
    storage.elements = net.elements ? static_cast<size_t>(net.elements) : 1;
    if (!(net.flags & kQkvlPublic)) return storage;
    if (net.flags & kQkvlPin) {
        storage.data = static_cast<unsigned char*>(qkvlPin(model, index));
        return storage;
    }
    const std::string& scope = paths[static_cast<size_t>(net.scope)];
    const QkvlVariable variable =
        qkvlFindVariable(model, context, isTopPort(net) ? "TOP" : scope.c_str(), net.name);
    if (!variable.data || variable.elementBytes != storage.elementBytes ||
        variable.bytes != storage.bytes()) {
        std::fprintf(stderr, "%s: not in the compiled model; was it built from other sources?\n",
                     qkvlFullName(net));
        std::exit(2);
    }
    storage.data = variable.data;
    return storage;
}

// ---- Registers

/// A net with state, and the storages that may be its own, the likeliest first.
struct Candidate {
    int holder;  ///< row of the register
    int home;
    std::vector<QkvlStorage> storages;
    size_t chosen = 0;  ///< equal to the number of storages: none of them
    bool isSettled = false;

    bool isOpen() const { return !isSettled && chosen < storages.size(); }
};

/// Memories are tried by their first elements.
constexpr size_t kMostTriedBytes = 1 << 16;

size_t triedBytes(const QkvlStorage& storage) {
    const size_t most = kMostTriedBytes / storage.elementBytes * storage.elementBytes;
    return storage.bytes() < most || most == 0 ? storage.bytes() : most;
}

/// Inverts the bits within the width of all elements.
void invert(const QkvlStorage& storage) {
    for (size_t at = 0; at < triedBytes(storage); ++at) {
        const int below = static_cast<int>(at % storage.elementBytes) * 8;
        const int left = storage.width - below;
        if (left <= 0) continue;
        storage.data[at] ^= static_cast<unsigned char>(left >= 8 ? 0xff : (1 << left) - 1);
    }
}

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const QkvlStorage& storage) {
    return Bytes(storage.data, storage.data + triedBytes(storage));
}

class Prober {
public:
    Prober(VerilatedModel& theModel, uint64_t theTime, std::vector<Candidate>& theCandidates)
        : model(theModel), time(theTime), candidates(theCandidates) {}
    void run();

private:
    bool settle();
    bool tryAll();

    VerilatedModel& model;
    const uint64_t time;
    std::vector<Candidate>& candidates;
};

/// @return false when the design has complained: the probe may cause states that it considers
///         impossible
bool Prober::settle() {
    try {
        qkvlEvalSettle(model, time);
    } catch (const QkvlComplaint&) {
        return false;
    }
    return true;
}

/// One round: tries the chosen storage of all open candidates. @return whether any is left
bool Prober::tryAll() {
    std::vector<Bytes> saved, inverted;
    for (const Candidate& candidate : candidates)
        for (const QkvlStorage& storage : candidate.storages) saved.push_back(bytesOf(storage));
    for (const Candidate& candidate : candidates) {
        inverted.emplace_back();
        if (!candidate.isOpen()) continue;
        invert(candidate.storages[candidate.chosen]);
        inverted.back() = bytesOf(candidate.storages[candidate.chosen]);
    }
    const bool isTried = settle();
    bool isLeft = false;
    for (size_t i = 0; i < candidates.size(); ++i) {
        Candidate& candidate = candidates[i];
        if (!candidate.isOpen()) continue;
        candidate.isSettled =
            !isTried || bytesOf(candidate.storages[candidate.chosen]) == inverted[i];
        if (!candidate.isSettled) ++candidate.chosen;
        isLeft |= candidate.isOpen();
    }
    size_t next = 0;
    for (const Candidate& candidate : candidates)
        for (const QkvlStorage& storage : candidate.storages) {
            std::memcpy(storage.data, saved[next].data(), saved[next].size());
            ++next;
        }
    settle();
    return isLeft;
}

void Prober::run() {
    qkvlBeginProbe();
    for (bool isLeft = !candidates.empty(); isLeft;) isLeft = tryAll();
    qkvlEndProbe();
}

/// The home first, then the other names, from the register's own outwards.
std::vector<Candidate> findCandidates(const std::vector<QkvlStorage>& ofRow) {
    std::vector<Candidate> candidates;
    std::vector<int> place(static_cast<size_t>(qkvlDesign.netCount), -1);
    for (int i = 0; i < qkvlDesign.netCount; ++i) {
        const QkvlNet& net = row(i);
        if (!holdsState(net)) continue;
        int& at = place[static_cast<size_t>(net.home)];
        if (at < 0) {
            at = static_cast<int>(candidates.size());
            candidates.push_back({i, net.home, {ofRow[static_cast<size_t>(net.home)]}});
        }
        std::vector<QkvlStorage>& storages = candidates[static_cast<size_t>(at)].storages;
        for (int inner = i; inner != net.home; inner = row(inner).outer)
            if (ofRow[static_cast<size_t>(inner)].data)
                storages.push_back(ofRow[static_cast<size_t>(inner)]);
    }
    return candidates;
}

}  // namespace

const char* qkvlFullName(const QkvlNet& net) {
    static std::string name;
    name = scopePath(net.scope) + "." + net.name;
    return name.c_str();
}

QkvlPlaces qkvlFindPlaces(VerilatedModel& model, VerilatedContext& context) {
    QkvlPlaces places;
    const auto count = static_cast<size_t>(qkvlDesign.netCount);
    places.neverWritten.resize(count);
    for (size_t i = 0; i < count; ++i) places.kindOfHome.push_back(row(static_cast<int>(i)).kind);
    const Finder finder(model, context);
    for (size_t i = 0; i < count; ++i) places.ofRow.push_back(finder.find(static_cast<int>(i)));

    std::vector<Candidate> candidates = findCandidates(places.ofRow);
    Prober(model, qkvlTime(context), candidates).run();
    for (const Candidate& candidate : candidates) {
        const auto home = static_cast<size_t>(candidate.home);
        const bool isFound = candidate.chosen < candidate.storages.size();
        places.ofRow[home] = candidate.storages[isFound ? candidate.chosen : 0];
        // An open latch follows its input now, but keeps a value at other times.
        const QkvlNet& holder = row(candidate.holder);
        places.kindOfHome[home] = holder.kind;
        if (isFound || holder.kind == kQkvlLatch) {
            places.state.push_back(places.ofRow[home]);
        } else {
            places.neverWritten[home] = 1;
            std::fprintf(stderr, "%s: cannot be set in this model\n", qkvlFullName(holder));
        }
    }
    for (size_t i = 0; i < count; ++i) {
        const auto home = static_cast<size_t>(row(static_cast<int>(i)).home);
        places.ofRow[i] = places.ofRow[home];
        places.neverWritten[i] = places.neverWritten[home];
    }
    return places;
}
