// Fast path for simple value lines, which are most of a trace.
//
// Such a line is completely in the current block, has digits and a short code, and its value is a
// whole value of one net, or unused. The values are passed on some lines later, while the nets'
// records are being prefetched. All other lines are read token by token.
#include <array>
#include <string_view>

#include "console/console.h"
#include "console/handlers.h"
#include "run/end_signal.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"

namespace {

constexpr int kKnownDigits = 64;
/// Number of lines that are read before the first of them is passed on.
constexpr size_t kBatchLines = 16;

struct PlainValue {
    bool isKnown;             ///< all digits are 0 or 1, and there are at most 64
    uint64_t known;           ///< if so: the value
    std::string_view digits;  ///< if not; in the current block
    size_t count;             ///< of the digits
};

struct PlainLine {
    PlainValue value;
    size_t code;        ///< its number
    const char* begin;  ///< its first character
    const char* end;    ///< the blank or line end after the code
    int number;         ///< of the line
};

/// Values not yet passed to their nets, in the order of their lines.
class ValueQueue {
public:
    explicit ValueQueue(QkVCDTraces& receivers) : traces(receivers) {}
    ~ValueQueue() { deliver(); }
    /// At most kBatchLines between two deliveries.
    void add(QkVCDTrace* trace, const PlainValue& value) {
        __builtin_prefetch(trace, 1);
        queued[size++] = Queued{trace, value.known, value.isKnown ? "" : value.digits};
    }
    void deliver() {
        for (size_t i = 0; i < size; ++i) {
            const Queued& one = queued[i];
            if (one.digits.empty())
                traces.setPendingKnown(one.trace, one.known);
            else
                one.trace->setPendingVC(one.digits, 0, one.trace->vcdBits.width(), false);
        }
        size = 0;
    }

private:
    struct Queued {
        QkVCDTrace* trace;
        uint64_t known;
        std::string_view digits;  ///< empty: the value is known
    };
    QkVCDTraces& traces;
    std::array<Queued, kBatchLines> queued;
    size_t size = 0;
};

/// Reads up to 64 digits that are 0 or 1. @return where it stopped
inline const char* readKnown(const char* at, PlainValue& value) {
    constexpr uint64_t zeros = 0x3030303030303030, ones = 0x0101010101010101;
    uint64_t known = 0;
    for (int left = kKnownDigits; left > 0; left -= 8) {
        uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        eight ^= zeros;
        // Collects the low bit of each byte, that of the first byte as the highest.
        const uint64_t bits = (eight & ones) * 0x8040201008040201 >> 56;
        if (const uint64_t others = eight & ~ones) {
            const int count = __builtin_ctzll(others) / 8;
            value.known = known << count | bits >> (8 - count);
            return at + count;
        }
        known = known << 8 | bits;
        at += 8;
    }
    value.known = known;
    return at;
}

/// @param at  after the `b`. @return the blank after the digits, or null
inline const char* parseVector(const char* at, PlainValue& value) {
    const char* const begin = at;
    at = readKnown(at, value);
    value.isKnown = *at == ' ';
    if (!value.isKnown) {
        at = tokenEnd(at);
        value.digits = std::string_view(begin, static_cast<size_t>(at - begin));
        if (findStray(value.digits, kBitDigits) != std::string_view::npos) return nullptr;
    }
    value.count = static_cast<size_t>(at - begin);
    return value.count != 0 && *at == ' ' ? at : nullptr;
}

/// @param at  the first character of a line. @return whether the line is plain
inline bool parsePlainLine(const char* at, PlainLine& line) {
    PlainValue& value = line.value;
    const char kind = *at;
    if (kind == 'b' || kind == 'B') {
        at = parseVector(at + 1, value);
        if (!at) return false;
    } else {
        if (!isBitDigit(kind)) return false;
        value.count = 1;
        value.isKnown = kind <= '1';
        value.known = kind & 1;
        value.digits = std::string_view(at, 1);
    }
    const char* const code = ++at;
    line.code = 0;
    for (size_t weight = 1; *at > ' '; weight *= kCodeBase) {
        if (at == code + kLongestShortCode) return false;
        line.code += static_cast<size_t>(*at++ - ' ') * weight;
    }
    line.end = at;
    return at != code;
}

}  // namespace

void TraceRun::readPlainLines() {
    const bool inOrder = comparison.stepsInOrder();
    VcdInputBuffer* const file = tokens.input();
    QkVCDTraces& traces = vcdTraces();
    if (!file || tokens.isHolding() || body.pausedSince || traces.sample ||
        comparison.areCommitsSaid() || (inOrder && clockPending))
        return;
    comparison.vcdModel->findDirectCodes();
    const std::vector<DirectCode>& codes = traces.codes;
    int& lineNumber = tokens.nextLine();
    ValueQueue values(traces);
    std::array<PlainLine, kBatchLines> lines;
    const char* at = file->cur;
    const char* const end = file->end;
    for (bool plain = true; plain && sigintCount == 0 && pendingEndSignal() == 0;) {
        size_t count = 0;
        for (; plain && count < kBatchLines; ++count) {
            for (; at != end && *at <= ' '; ++at) lineNumber += *at == '\n';
            PlainLine& line = lines[count];
            line.begin = at;
            line.number = lineNumber;
            plain =
                at != end && parsePlainLine(at, line) && line.end < end && line.code < codes.size();
            if (!plain) break;
            __builtin_prefetch(&codes[line.code]);
            at = line.end;
        }
        values.deliver();
        for (size_t i = 0; i < count; ++i) {
            const PlainLine& line = lines[i];
            const DirectCode& code = codes[line.code];
            if (line.value.count > static_cast<size_t>(code.width)) {
                at = line.begin;
                lineNumber = line.number;
                plain = false;
                break;
            }
            if (!code.isConcern) continue;
            stepNeeded |= inOrder ? code.isStepInput : code.isStimulus;
            earlyInputs |= inOrder && code.isEarlyInput;
            const auto number = static_cast<uint32_t>(line.code);
            if (code.storage && line.value.isKnown) {
                traces.setPendingDriven(number, line.value.known);
                continue;
            }
            QkVCDTrace* const trace = traces.traceOf(number);
            if (code.storage) traces.settle(trace);  // to keep the order of lines
            values.add(trace, line.value);
        }
    }
    file->cur = at;
}
