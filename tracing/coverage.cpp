#include "tracing/coverage.h"

#include <algorithm>
#include <cstring>

#include "netdb/database.h"
#include "qkzeft_registration.h"

namespace {

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
    if (trace->id >= isCovered.size()) isCovered.resize(trace->id + 1);
    isCovered[trace->id] = true;
    Covered net{trace, FullName(name).c_str(), rangeText(name->range()),
                static_cast<uint32_t>(bits.size()), 0};
    for (const QkTrace* part = trace->firstPart(); part; part = trace->partAfter(part)) {
        bits.push_back({part->readStorage(), 0, 0});
        widths.push_back(static_cast<uint8_t>(part->width()));
        ++net.partCount;
    }
    covered.push_back(std::move(net));
    planValid = false;
}

/// What changed while nothing was counted does not count.
void ToggleCoverage::resume() {
    if (!running)
        for (const Covered& net : covered) {
            Bits* at = &bits[net.firstBits];
            const QkTrace* part = net.trace ? net.trace->firstPart() : nullptr;
            for (; part; part = net.trace->partAfter(part)) (at++)->seen = part->readStorage();
        }
    running = true;
    planValid = false;
}

void ToggleCoverage::build() {
    std::vector<QkTrace*> traces;
    bitsOf.clear();
    for (const Covered& net : covered) {
        if (!net.trace) continue;
        traces.push_back(net.trace);
        bitsOf.push_back(net.firstBits);
    }
    plan.build(traces, CapturePlan::kFromStorage);
    planValid = true;
}

void ToggleCoverage::update(uint32_t position) {
    const CapturePosition& at = plan.positions()[position];
    Bits* counted = &bits[bitsOf[position]];
    for (const CapturePart* part = &plan.part(at.firstPart);; ++part, ++counted) {
        uint64_t now;
        std::memcpy(&now, plan.image() + part->imageOffset, sizeof now);
        if (part->invert) now = ~now;
        now &= ~uint64_t{0} >> (64 - part->width);
        const uint64_t changed = now ^ counted->seen;
        counted->rose |= changed & now;
        counted->fell |= changed & ~now;
        counted->seen = now;
        if (part->last) return;
    }
}

void ToggleCoverage::look() {
    if (!planValid) {
        build();  // the image is that of now: all may have changed
        for (uint32_t i = 0; i < plan.positionCount(); ++i) update(i);
        return;
    }
    const size_t found = plan.compare();
    if (found == 0) return;
    const size_t count = plan.listChanged(found, true);
    for (size_t i = 0; i < count; ++i) update(plan.changed()[i]);
}

void ToggleCoverage::forgetTrace(const QkTrace* trace) {
    if (trace->id >= isCovered.size() || !isCovered[trace->id]) return;
    for (Covered& net : covered)
        if (net.trace == trace) net.trace = nullptr;
    isCovered[trace->id] = false;
    planValid = false;
}

std::vector<ToggleCoverage::Net> ToggleCoverage::nets() const {
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
