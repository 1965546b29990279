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

/// @return the first character at or after `at` that is neither 0 nor 1
inline const char* knownEnd(const char* at) {
    constexpr uint64_t zeros = 0x3030303030303030, ones = 0x0101010101010101;
    for (;; at += 8) {
        uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        if (const uint64_t others = (eight ^ zeros) & ~ones)
            return at + __builtin_ctzll(others) / 8;
    }
}

/// Values on their way to their nets, in the order of their lines.
class ValueQueue {
public:
    ~ValueQueue() { flush(); }
    void add(QkVCDTrace* trace, const char* digits, size_t count) {
        trace->prefetchPending();
        queued[size++] = Queued{trace, {digits, count}};
        if (size == queued.size()) flush();
    }

private:
    struct Queued {
        QkVCDTrace* trace;
        std::string_view digits;
    };
    void flush() {
        for (size_t i = 0; i < size; ++i)
            queued[i].trace->setPendingVC(queued[i].digits, 0, queued[i].trace->vcdBits.width(),
                                          false);
        size = 0;
    }

    std::array<Queued, 16> queued;
    size_t size = 0;
};

struct PlainLine {
    const char* digits;
    size_t count;
    size_t code;      ///< its number
    const char* end;  ///< the blank or line end behind the code
};

/// @param at  the first character of a line. @return whether the line is plain
bool parsePlainLine(const char* at, PlainLine& line) {
    if (*at == 'b' || *at == 'B') {
        line.digits = ++at;
        at = knownEnd(at);
        if (*at > ' ') {
            at = tokenEnd(at);
            const std::string_view digits(line.digits, static_cast<size_t>(at - line.digits));
            if (findStray(digits, kBitDigits) != std::string_view::npos) return false;
        }
        line.count = static_cast<size_t>(at - line.digits);
        if (line.count == 0 || *at++ != ' ') return false;
    } else {
        if (!isBitDigit(*at)) return false;
        line.digits = at++;
        line.count = 1;
    }
    line.code = 0;
    const char* const code = at;
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
        if (line.count > static_cast<size_t>(code.width)) return;
        at = line.end;
        if (!code.trace) continue;
        stepNeeded |= steponclock ? code.isStepInput : code.isStimulus;
        earlyInputs |= steponclock && code.isEarlyInput;
        values.add(code.trace, line.digits, line.count);
    }
}
