#include "tracing/coverage.h"

#include <algorithm>

#include "base/storage.h"
#include "netdb/database.h"
#include "qkzeft_registration.h"
#include "run/idle.h"
#include "tracing/hot_loops.h"

namespace {

constexpr size_t kWordBytes = sizeof(uint64_t);

uint64_t readRaw(const QkTrace* part) { return loadStorage(part->address, part->elementBytes()); }

bool isWorthCovering(const QkName* name) {
    const QkTrace* const header = name->trace->header;
    return (header->flags & QK_flag_register) != 0 || name->typeCode() == QK_type_output ||
           name->traced;
}

std::string rangeText(const BitRange& range) {
    if (!range.isRange) return "";
    return "[" + std::to_string(range.left()) + ":" + std::to_string(range.right()) + "]";
}

/// Appends the lowest bits of a word as digits.
void appendDigits(std::string& text, uint64_t word, int width) {
    for (int bit = width - 1; bit >= 0; --bit) text += (word >> bit & 1) != 0 ? '1' : '0';
}

}  // namespace

int ToggleCoverage::add(const QkDatabase& model, const char* pattern) {
    const size_t before = covered.size();
    for (const QkName* const name : model.matching(pattern ? pattern : "*")) {
        if (name->isHidden() || name->isSlice() || name->detached) continue;
        QkTrace* const trace = name->trace->header;
        if (trace->isArray() || trace->firstPart()->isArray()) continue;
        if (trace->id < isCovered.size() && isCovered[trace->id]) continue;
        if (pattern || isWorthCovering(name)) cover(trace, name);
    }
    resume();
    return static_cast<int>(covered.size() - before);
}

void ToggleCoverage::cover(QkTrace* trace, const QkName* name) {
    collect();
    if (trace->id >= isCovered.size()) isCovered.resize(trace->id + 1);
    isCovered[trace->id] = true;
    Covered net{trace, FullName(name).c_str(), rangeText(name->range()),
                static_cast<uint32_t>(bits.size()), 0};
    for (const QkTrace* const part : trace->parts()) {
        bits.push_back({readRaw(part), 0, 0});
        widths.push_back(static_cast<uint8_t>(part->width()));
        ++net.partCount;
    }
    covered.push_back(std::move(net));
}

/// What changed while nothing was counted does not count.
void ToggleCoverage::resume() {
    if (running) return;
    running = true;
    endIdleness();
    collect();
    for (const Covered& net : covered) {
        if (!net.trace) continue;
        Bits* at = &bits[net.firstBits];
        for (const QkTrace* const part : net.trace->parts()) (at++)->seen = readRaw(part);
    }
}

void ToggleCoverage::placeParts() {
    for (const Covered& net : covered) {
        if (!net.trace) continue;
        uint32_t at = net.firstBits;
        for (const QkTrace* const part : net.trace->parts())
            places.push_back({reinterpret_cast<uintptr_t>(part->address), 0, at++,
                              static_cast<uint8_t>(part->width()), part->invert});
    }
    std::sort(places.begin(), places.end(),
              [](const Place& a, const Place& b) { return a.address < b.address; });
}

void ToggleCoverage::layOut() {
    placeParts();
    size_t total = 0;
    uintptr_t spanEnd = 0;
    for (Place& place : places) {
        const auto bytes = static_cast<size_t>(storageBytes(place.width));
        const uintptr_t begin = place.address & -kWordBytes;
        const uintptr_t end = (place.address + bytes + kWordBytes - 1) & -kWordBytes;
        if (spans.empty() || begin > spanEnd) {
            spans.push_back({begin, total, 0});
            spanEnd = begin;
        }
        Span& span = spans.back();
        if (end > spanEnd) {
            span.words += (end - spanEnd) / kWordBytes;
            total += end - spanEnd;
            spanEnd = end;
        }
        place.offset = span.offset + (place.address - span.address);
    }
    // What is no net's shows no changes, and nobody asks for them.
    for (std::vector<uint64_t>* const words : {&image, &rose, &fell})
        words->assign(total / kWordBytes + 1, 0);
    countWords();
    for (std::vector<uint64_t>* const words : {&rose, &fell})
        std::fill(words->begin(), words->end(), 0);
    auto* const seen = reinterpret_cast<unsigned char*>(image.data());
    for (const Place& place : places)
        storeStorage(seen + place.offset, storageBytes(place.width), bits[place.bits].seen);
}

void ToggleCoverage::countWords() {
    for (const Span& span : spans) {
        const size_t first = span.offset / kWordBytes;
        hotLoops().countToggles(reinterpret_cast<const void*>(span.address), &image[first],
                                &rose[first], &fell[first], span.words);
    }
}

void ToggleCoverage::look() {
    if (places.empty()) layOut();
    countWords();
}

void ToggleCoverage::collect() {
    const auto valueAt = [](const std::vector<uint64_t>& words, const Place& place) {
        return loadStorage(reinterpret_cast<const unsigned char*>(words.data()) + place.offset,
                           storageBytes(place.width)) &
               bitMask(place.width);
    };
    for (const Place& place : places) {
        Bits& part = bits[place.bits];
        part.seen = valueAt(image, place);
        part.rose |= valueAt(place.invert ? fell : rose, place);
        part.fell |= valueAt(place.invert ? rose : fell, place);
    }
    places.clear();
    spans.clear();
}

void ToggleCoverage::forgetTrace(const QkTrace* trace) {
    if (trace->id >= isCovered.size() || !isCovered[trace->id]) return;
    collect();
    for (Covered& net : covered)
        if (net.trace == trace) net.trace = nullptr;
    isCovered[trace->id] = false;
}

std::vector<ToggleCoverage::Net> ToggleCoverage::nets() {
    collect();
    std::vector<Net> all;
    for (const Covered& net : covered) {
        Net& made = all.emplace_back(Net{net.name, net.range, 0, "", ""});
        for (uint32_t i = net.firstBits; i < net.firstBits + net.partCount; ++i) {
            made.width += widths[i];
            appendDigits(made.rose, bits[i].rose, widths[i]);
            appendDigits(made.fell, bits[i].fell, widths[i]);
        }
    }
    std::sort(all.begin(), all.end(), [](const Net& a, const Net& b) { return a.name < b.name; });
    return all;
}
