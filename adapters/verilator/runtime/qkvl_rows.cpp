// From the rows of the tables and their storage to the rows that the library registers.
#include <qkzeft.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <vector>

#include "qkvl_engine.h"
#include "qkvl_storage.h"

namespace {

constexpr int kPartBits = 64;

/// Everything that rows point to; it lives until the process ends.
struct Tables {
    explicit Tables(const QkvlPlaces& thePlaces) : places(thePlaces) {}
    void addAll();

    const QkvlPlaces& places;
    std::vector<QkGRNet> rows;
    std::deque<void*> cells;       ///< pointers to the storage of ports
    std::vector<uint64_t> copies;  ///< of parameters

private:
    void add(int index);
    void addParts(QkGRNet row, const QkvlNet& net, unsigned char* data);
    void addRow(QkGRNet row, void* data);
    unsigned flagsOf(int index) const;
    unsigned inputFlags(const QkvlNet& net) const;
    unsigned char* copyOf(const QkvlNet& net, const QkvlStorage& storage);
};

const QkvlNet& home(int index) { return qkvlDesign.nets[qkvlDesign.nets[index].home]; }

bool isTopPort(const QkvlNet& net) { return net.scope == 0 && net.direction != kQkvlNone; }

/// An input that a trace drives.
bool isDrivenFromOutside(const QkvlNet& net) {
    if (!isTopPort(net) || net.direction == kQkvlOutput) return false;
    return net.direction == kQkvlInput || !(net.flags & kQkvlDriven);
}

unsigned Tables::inputFlags(const QkvlNet& net) const {
    if (net.flags & kQkvlClock) return QK_flag_clock;
    return QK_flag_step_input | (net.flags & kQkvlEarly ? unsigned{QK_flag_early_input} : 0u);
}

/// Names of one storage have the flags of the net that it belongs to.
unsigned Tables::flagsOf(int index) const {
    const QkvlNet& its = home(index);
    const auto at = static_cast<size_t>(qkvlDesign.nets[index].home);
    if (isDrivenFromOutside(its)) return inputFlags(its);
    const unsigned compared = qkvlSettings.allNets ? 1u : 0u;
    const unsigned written = places.neverWritten[at] ? unsigned{QK_flag_never_write} : 0u;
    switch (places.kindOfHome[at]) {
        case kQkvlRegister: return 1u | written;
        case kQkvlLatch: return (compared ? 1u : 1u | QK_flag_not_compared) | written;
        case kQkvlMemory: return 1u | written;
        case kQkvlParameter: return QK_flag_never_write;
        default: break;
    }
    const bool isPad = isTopPort(its) && its.direction == kQkvlInout;
    return QK_flag_never_write | (isPad ? 0u : compared);
}

unsigned typeOf(const QkvlNet& net) {
    if (!isTopPort(net) || net.elements) return 0;
    if (net.direction == kQkvlInput) return QK_type_input;
    if (net.direction == kQkvlOutput) return QK_type_output;
    return isDrivenFromOutside(net) ? unsigned{QK_type_inout} : 0u;
}

bool isPortType(unsigned mode) { return (mode & 0xff) != 0; }

void Tables::addRow(QkGRNet row, void* data) {
    row.net = static_cast<int>(rows.size()) + 1;
    row.address = data;
    if (isPortType(row.mode)) {
        cells.push_back(data);
        row.address = &cells.back();
    }
    rows.push_back(row);
}

/// Rows of 64 bits, the low part first; the bounds of a part are its range of the declared ones.
void Tables::addParts(QkGRNet row, const QkvlNet& net, unsigned char* data) {
    const int width = qkvlWidth(net);
    const int step = net.left >= net.right ? 1 : -1;
    row.mode |= QK_parts | (net.elements ? unsigned{QK_interleaved} : 0u);
    for (int low = 0; low < width; low += kPartBits) {
        const int high = std::min(low + kPartBits, width) - 1;
        row.right = net.right + step * low;
        row.left = net.right + step * high;
        addRow(row, data + low / 8);
    }
}

size_t copiedWords(const QkvlStorage& storage) { return (storage.bytes() + 7) / 8; }

/// A parameter may be in read-only memory; a user's `set` must not crash the run. Side by side the
/// copies cost captures little.
unsigned char* Tables::copyOf(const QkvlNet& net, const QkvlStorage& storage) {
    const void* const from = net.value ? static_cast<const void*>(net.value) : storage.data;
    uint64_t* const copy = copies.data() + copies.size();
    copies.resize(copies.size() + copiedWords(storage));  // within what is reserved
    std::memcpy(copy, from, storage.bytes());
    return reinterpret_cast<unsigned char*>(copy);
}

void Tables::add(int index) {
    const QkvlNet& net = qkvlDesign.nets[index];
    const QkvlStorage& storage = places.ofRow[static_cast<size_t>(index)];
    unsigned char* data = storage.data;
    if (net.kind == kQkvlParameter) data = copyOf(net, storage);
    QkGRNet row = {net.scope, 0,       net.name, nullptr, net.left, net.right, 0,
                   net.high,  net.low, 0,        0,       nullptr,  nullptr};
    row.mode = typeOf(net) | (net.elements ? unsigned{QK_array} : 0u);
    row.flags = flagsOf(index);
    if (qkvlWidth(net) > kPartBits) {
        addParts(row, net, data);
    } else {
        addRow(row, data);
    }
}

void Tables::addAll() {
    rows.reserve(static_cast<size_t>(qkvlDesign.netCount));
    size_t words = 0;
    for (int i = 0; i < qkvlDesign.netCount; ++i)
        if (qkvlDesign.nets[i].kind == kQkvlParameter)
            words += copiedWords(places.ofRow[static_cast<size_t>(i)]);
    copies.reserve(words);
    for (int i = 0; i < qkvlDesign.netCount; ++i) add(i);
}

}  // namespace

kelvo_module& qkvlRegister(const QkvlPlaces& places) {
    auto* const tables = new Tables(places);
    tables->addAll();
    auto* const top = new kelvo_module(qkvlDesign.top, qkvlDesign.top);
    std::vector<QkGRScope> scopes;
    for (int i = 1; i < qkvlDesign.scopeCount; ++i)
        scopes.push_back({qkvlDesign.scopes[i].parent, i, qkvlDesign.scopes[i].name, 0});
    const int count = static_cast<int>(tables->rows.size());
    QkRegistration::start(top, qkvlDesign.scopeCount, count, false);
    if (!scopes.empty())
        QkRegistration::addScopes(top, static_cast<int>(scopes.size()), scopes.data());
    QkRegistration::addNets(top, count, tables->rows.data());
    QkRegistration::end(top);
    return *top;
}
