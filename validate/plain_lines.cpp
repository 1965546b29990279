// The value lines of a trace that need no thought: most of it.
//
// Such a line stands whole in the block in hand, has digits and a short code, and its value goes to
// one net whole, or nowhere. What such lines say is handed over some lines later, while the nets'
// records are on their way from memory. Everything else is left to the reading of tokens.
#include <array>
#include <string_view>

#include "console/console.h"
#include "console/handlers.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"

namespace {

constexpr int kKnownDigits = 64;

struct PlainValue {
    bool isKnown;             ///< all digits are 0 or 1, and there are at most 64
    uint64_t known;           ///< if so: the value
    std::string_view digits;  ///< if not; in the block in hand
    size_t count;             ///< of the digits
};

/// Values on their way to their nets, in the order of their lines.
class ValueQueue {
public:
    ~ValueQueue() { flush(); }
    void add(QkVCDTrace* trace, const PlainValue& value) {
        trace->prefetchPending();
        queued[size++] = Queued{trace, value};
        if (size == queued.size()) flush();
    }

private:
    struct Queued {
        QkVCDTrace* trace;
        PlainValue value;
    };
    void flush() {
        for (size_t i = 0; i < size; ++i) {
            QkVCDTrace* const trace = queued[i].trace;
            const PlainValue& value = queued[i].value;
            if (value.isKnown)
                trace->setPendingKnown(value.known);
            else
                trace->setPendingVC(value.digits, 0, trace->vcdBits.width(), false);
        }
        size = 0;
    }

    std::array<Queued, 16> queued;
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
        // Gathers the low bit of each byte, the first byte's as the highest.
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

struct PlainLine {
    PlainValue value;
    size_t code;      ///< its number
    const char* end;  ///< the blank or line end behind the code
};

/// @param at  behind the `b`. @return the blank behind the digits, or null
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

void QkFileReader::readPlainLines() {
    if (!file || verbose > 3 || (steponclock && clockPending)) return;
    const std::vector<DirectCode>& codes = vcdModel->directCodes();
    if (lineEndPending) ++lineNumber;
    lineEndPending = false;
    ValueQueue values;
    const char* at = file->cur;
    const char* const end = file->end;
    while (sigintCount == 0) {
        for (; at != end && *at <= ' '; ++at) lineNumber += *at == '\n';
        file->cur = at;
        PlainLine line;
        if (at == end || !parsePlainLine(at, line) || line.end >= end) return;
        if (line.code >= codes.size()) return;
        const DirectCode& code = codes[line.code];
        if (line.value.count > static_cast<size_t>(code.width)) return;
        at = line.end;
        if (!code.trace) continue;
        stepNeeded |= steponclock ? code.isStepInput : code.isStimulus;
        earlyInputs |= steponclock && code.isEarlyInput;
        values.add(code.trace, line.value);
    }
}
