#include "netdb/table_checks.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

#include "netdb/database.h"
#include "qkzeft_run.h"

bool qk_check_tables = false;

void reportNullAddress(const QkName* net) {
    qk_printf("check: %s: the address is null\n", FullName(net).c_str());
}

void reportReplacement(const QkName* net, int id, int count) {
    qk_printf("check: %s: replaced by net %d, but ids are 1 to %d\n", FullName(net).c_str(), id,
              count);
}

void checkOverlap(const QkName* net, const BitRange& one, const BitRange& other) {
    const int high = std::min(one.msb, other.msb), low = std::max(one.lsb, other.lsb);
    if (low > high) return;
    qk_printf("check: %s: two rows have bits [%d:%d]\n", FullName(net).c_str(), high, low);
}

void checkReader(const QkScope* scope, const char* localName, const QkName* net, int offset,
                 int width) {
    const int64_t low = offset, high = low + width - 1;
    const int bits = net->trace->range.width;
    if (low >= 0 && high < bits) return;
    qk_printf("check: %s.%s: reads bits %lld to %lld of %s, which has %d\n", scope->fullName.str(),
              localName, static_cast<long long>(low), static_cast<long long>(high),
              FullName(net).c_str(), bits);
}

// ---- Storage

const char* StorageMap::add(const char* start, const char* end) {
    auto next = ends.upper_bound(start);
    auto here = next == ends.begin() ? ends.end() : std::prev(next);
    const char* found = nullptr;
    if (here == ends.end() || here->second <= start) {
        here = ends.emplace_hint(next, start, end);
    } else if (here->first != start) {
        found = here->first;
    }
    here->second = std::max(here->second, end);
    for (; next != ends.end() && next->first < here->second; next = ends.erase(next)) {
        if (!found) found = next->first;
        here->second = std::max(here->second, next->second);
    }
    return found;
}

namespace {

/// @return the full name of some net at an address
std::string nameAt(const void* address) {
    const QkTrace* const named =
        SameAddress::find(qkDatabase->tracesAt(address),
                          [](const QkTrace* trace) { return anyName(trace->header) != nullptr; });
    return named ? FullName(anyName(named->header)).c_str() : "a net without a name";
}

}  // namespace

/// Interleaved parts of one array have one piece, that of all their elements.
void checkStorage(StorageMap& storage, const QkTrace* trace) {
    const size_t bytes = size_t{std::max(trace->nel, 1u)} * static_cast<size_t>(trace->stride());
    const char* start = static_cast<const char*>(trace->address);
    if (trace->isInterleaved) start -= trace->lowBit() / 8;
    const char* const other = storage.add(start, start + bytes);
    const QkName* const name = anyName(trace->header);
    if (other && name)
        qk_printf("check: %s: its storage overlaps that of %s\n", FullName(name).c_str(),
                  nameAt(other).c_str());
}
