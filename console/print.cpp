#include "console/print.h"

#include <algorithm>
#include <vector>

#include "base/qkassert.h"
#include "console/console.h"
#include "console/words.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/failure.h"

namespace {

/// Columns for the elements of a row.
constexpr int kRowColumns = 70;

/// @return bits of the most significant 64-bit chunk, 1 to 64
int topChunkBits(int width) { return (width - 1) % 64 + 1; }

/// Prints all digits of a trace, or of an array's element, at once.
/// @param element  in storage order; 0 for a scalar
void printDigits(Printout& out, const QkTrace* trace, uint32_t element) {
    const bool isWide = trace->bits && trace->header == trace;
    if (!isWide) {
        out.addHex(trace->width(), trace->readStorage(element));
        return;
    }
    std::vector<uint64_t> chunks(static_cast<size_t>((trace->width() + 63) / 64));
    for (const QkTrace* const part : trace->parts())
        placeBits(chunks.data(), trace->range.placeOf(part->range), part->width(),
                  part->readStorage(element));
    out.addHex(topChunkBits(trace->width()), chunks.back());
    for (auto chunk = chunks.rbegin() + 1; chunk != chunks.rend(); ++chunk) out.addHex(64, *chunk);
}

/// Prints the width of a value whose first digit has fewer than four bits.
void printWidth(Printout& out, int width) {
    const int top = topChunkBits(width);
    if (top != 1 && top % 4 != 0) out.print("%d'h", width);
}

void printScalar(Printout& out, const QkTrace* trace) {
    printWidth(out, trace->width());
    printDigits(out, trace, 0);
}

/// Prints a port that is connected to some bits of a net, as if these were a net.
void printPartial(Printout& out, const QkName* name) {
    const int width = name->range().width;
    printWidth(out, width);
    int digits = topChunkBits(width);
    for (int chunk = name->chunkCount(); chunk-- > 0; digits = QK_MAXUBITS)
        out.addHex(digits, readChunk(name, chunk, 0));
}

/// Prints a name that has its own bits, from the most significant end. The remainder below the last
/// whole 64 bits has separate digits.
void printBits(Printout& out, const QkName* name) {
    const BitRange& range = name->range();
    for (int done = 0; done < range.width;) {
        const int count = std::min(QK_MAXUBITS, range.width - done);
        uint64_t value;
        if (readBits(name, 0, range.bitAt(range.width - done - count), count, &value) != 0)
            value = 0;
        out.addHex(count, value);
        done += count;
    }
}

/// Prints the elements from `from` to `to`, which are within the array's bounds and in its
/// direction.
void printRows(Printout& out, const QkTrace* array, int64_t from, int64_t to, char separator) {
    const int step = array->arrayStep();
    const int columns = (array->width() + 3) / 4 + 1;
    const int64_t perRow = std::max(1, kRowColumns / columns);
    int64_t left = (to - from) * step + 1;
    for (int64_t index = from; left > 0;) {
        const int64_t inRow = std::min(perRow, left);
        out.add(separator);
        if (inRow == 1)
            out.print("[%lld] ", static_cast<long long>(index));
        else
            out.print("[%lld:%lld] ", static_cast<long long>(index),
                      static_cast<long long>(index + (inRow - 1) * step));
        for (int64_t i = 0; i < inRow; ++i, index += step) {
            if (i > 0) out.add(' ');
            printDigits(out, array, array->elementOf(index));
        }
        out.endLine();
        left -= inRow;
    }
    if (separator == '\n') out.add('\n');
}

void printArray(Printout& out, const QkTrace* array, int64_t from, int64_t to, char separator) {
    const int left = array->arrayLeft(), right = array->arrayRight();
    if (from == kNoIndex) {
        out.print("array: [%d:%d]", left, right);
        return;
    }
    if (from == kWholeArray) {
        from = left;
        to = right;
    }
    const bool inDirection = left > right ? from >= to : from <= to;
    if (inDirection && array->isWithinArrayRange(from) && array->isWithinArrayRange(to)) {
        printRows(out, array, from, to, separator);
    } else {
        noteFailure("Invalid indices");
        out.print("Invalid indices, array is: [%d:%d]\n", left, right);
    }
}

/// Reads an index. One that no array can have stays outside every array's bounds.
/// @return where reading stopped, or null when there is no number
const char* readIndex(const char* text, int64_t& index) {
    text = skipSpace(text);
    const char* end;
    index = static_cast<int64_t>(std::min(atottmaxu(text, &end), uint64_t{1} << 31));
    return end == text ? nullptr : skipSpace(end);
}

}  // namespace

void printName(Printout& out, const QkName* name, int64_t from, int64_t to, char separator) {
    if (!isBound(name)) return;
    if (name->partial)
        printPartial(out, name);
    else if (name->isSlice())
        printBits(out, name);
    else if (name->kind == kPlainName && name->trace->isArray())
        printArray(out, name->trace, from, to, separator);
    else
        printScalar(out, name->trace);
}

int parseIndexRange(const char* text, int64_t& from, int64_t& to) {
    QK_ASSERT_AS(*text == '[', "*arg == '['");
    from = to = kWholeArray;
    int64_t first, second;
    const char* at = readIndex(text + 1, first);
    if (!at) {
        if (*skipSpace(text + 1) == ']') return 0;
        printFailure("Syntax error (bad index 1)\n");
        return 1;
    }
    second = first;
    if (*at == ':') {
        at = readIndex(at + 1, second);
        if (!at) {
            printFailure("Syntax error (bad index 2)\n");
            return 2;
        }
        if (*at != ']') {
            printFailure("Syntax error (no matching brace)\n");
            return 3;
        }
    } else if (*at != ']') {
        printFailure("Syntax error (unrecognised character '%c')\n", *at);
        return 4;
    }
    from = first;
    to = second;
    return 0;
}

void printShownChange(const QkName* name, int64_t index) {
    Printout out;
    out.print("%10s: %*s.%-*s = ", qk_cycle_as_string(), qkConsole->showScopeWidth,
              name->scope->fullName.str(), qkConsole->showNameWidth, name->name);
    printName(out, name, index, index, ' ');
    out.add('\n');
    // The printer of an array ends its text, too.
    if (qk_strict && name->kind == kPlainName && name->trace->isArray()) out.add('\n');
}
