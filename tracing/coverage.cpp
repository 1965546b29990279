#include "tracing/coverage.h"

#include <algorithm>

#include "base/storage.h"
#include "netdb/database.h"
#include "qkzeft_registration.h"
#include "run/idle.h"
#include "tracing/hot_loops.h"

namespace {

constexpr size_t kWordBytes = sizeof(uint64_t);
constexpr size_t kPieceWords = 8;   // a span loses so many words at a time
constexpr size_t kWidestGap = 128;  // bytes that are done, but too few to divide a span
constexpr uint64_t kFirstTrim = 64;

uint64_t readRaw(const QkTrace* part) { return loadStorage(part->address, part->elementBytes()); }

unsigned char* bytesOf(std::vector<uint64_t>& words) {
    return reinterpret_cast<unsigned char*>(words.data());
}

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

/// Changes made while nothing was counted do not count.
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
    const size_t words = total / kWordBytes + 1;
    seen.assign(words, 0);
    once.assign(words, 0);
    // Bits of memory that belong to no net count as done, so they are never looked at.
    done.assign(words, ~uint64_t{0});
    for (const Place& place : places) {
        const Bits& part = bits[place.bits];
        const int bytes = storageBytes(place.width);
        unsigned char *const seenAt = bytesOf(seen) + place.offset, *const doneAt = bytesOf(done) +
                                                                                    place.offset;
        // Nets may overlap: a shared bit is done when it is done in all of them; else its value
        // comes from a net in which it is not.
        const uint64_t partDone = (part.rose & part.fell) | ~bitMask(place.width);
        storeStorage(doneAt, bytes, loadStorage(doneAt, bytes) & partDone);
        storeStorage(seenAt, bytes,
                     (loadStorage(seenAt, bytes) & partDone) | (part.seen & ~partDone));
    }
    looks = 0;
    nextTrim = kFirstTrim;
    trim();
}

/// Takes words that are done out of the spans: the more is covered, the less counting costs.
void ToggleCoverage::trim() {
    std::vector<Span> rest;
    for (const Span& span : spans) {
        for (size_t at = 0; at < span.words; at += kPieceWords) {
            const size_t words = std::min(kPieceWords, span.words - at);
            const size_t offset = span.offset + at * kWordBytes;
            const uint64_t* const first = &done[offset / kWordBytes];
            if (std::all_of(first, first + words, [](uint64_t word) { return ~word == 0; }))
                continue;
            Span* const last = rest.empty() ? nullptr : &rest.back();
            if (last && last->address - last->offset == span.address - span.offset &&
                offset - last->offset - last->words * kWordBytes <= kWidestGap)
                last->words = (offset - last->offset) / kWordBytes + words;
            else
                rest.push_back({span.address + at * kWordBytes, offset, words});
        }
    }
    spans = std::move(rest);
}

void ToggleCoverage::look() {
    if (places.empty()) layOut();
    const ToggleWords all = {seen.data(), once.data(), done.data()};
    for (const Span& span : spans)
        hotLoops().countToggles(reinterpret_cast<const void*>(span.address),
                                all.from(span.offset / kWordBytes), span.words);
    if (++looks < nextTrim) return;
    trim();
    nextTrim *= 2;
}

void ToggleCoverage::collect() {
    const auto valueAt = [](std::vector<uint64_t>& words, const Place& place) {
        return loadStorage(bytesOf(words) + place.offset, storageBytes(place.width)) &
               bitMask(place.width);
    };
    for (const Place& place : places) {
        Bits& part = bits[place.bits];
        part.seen = valueAt(seen, place);
        const uint64_t isHigh = place.invert ? ~part.seen : part.seen;
        const uint64_t changed = valueAt(once, place), both = valueAt(done, place);
        part.rose |= both | (changed & isHigh);
        part.fell |= both | (changed & ~isHigh);
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
