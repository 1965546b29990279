// Reading and writing memory images.
//
// The file is read in blocks, each followed by a NUL, so that the loops over digits need no test
// for the block's end: they stop there as at a blank. Between the operations below, `at` is at the
// end of a block only at the end of the file.
#include "memimage/memory_image.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "base/characters.h"
#include "base/qkassert.h"
#include "netdb/master_assigns.h"
#include "netdb/netdb.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

/// How the reader classifies a character. Below kUnknownDigit: the value of a digit.
enum CharacterClass : uint8_t { kUnknownDigit = 16, kUnderscore, kBlank, kOther };
using Classes = std::array<uint8_t, 256>;

constexpr Classes makeClasses(int base) {
    Classes classes{};
    for (size_t c = 0; c < classes.size(); ++c) classes[c] = c <= ' ' || c >= 127 ? kBlank : kOther;
    for (size_t i = 0; i < static_cast<size_t>(base); ++i) {
        const auto digit = static_cast<uint8_t>(i);
        if (i < 10) {
            classes['0' + i] = digit;
        } else {
            classes['a' + i - 10] = digit;
            classes['A' + i - 10] = digit;
        }
    }
    for (const char c : {'x', 'X', 'z', 'Z'}) classes[static_cast<size_t>(c)] = kUnknownDigit;
    classes['_'] = kUnderscore;
    return classes;
}

constexpr Classes kHexadecimal = makeClasses(16), kBinary = makeClasses(2);

/// The digits of one value.
class Digits {
public:
    explicit Digits(int base) : digitBits(base == 2 ? 1 : 4), wordDigits(QK_MAXUBITS / digitBits) {}

    void clear() {
        above.clear();
        current = 0;
        used = 0;
        before = 0;
    }
    int64_t count() const { return before + used; }
    /// Adds a run of digits. At least kMaxWordDigits more characters after its end can be read.
    /// @param limit  number of digits that the element holds; if there are more, only the last are
    ///               kept
    /// @return the run's end
    const unsigned char* addRun(const unsigned char* at, const Classes& classes, int64_t limit) {
        for (;;) {
            const unsigned char* const end =
                digitBits == 1 ? addToWord<1>(at, classes) : addToWord<4>(at, classes);
            used += static_cast<int>(end - at);
            at = end;
            if (used < wordDigits || classes[*at] >= kUnknownDigit) return at;
            finishWord(limit);
        }
    }
    void addZero(int64_t limit) {
        if (used == wordDigits) finishWord(limit);
        current <<= digitBits;
        ++used;
    }
    /// Aligns the value to the right, for field().
    void align() {
        const int bits = used * digitBits;
        chunks.assign(1, current);
        for (size_t i = above.size(); i-- > 0;) {
            const uint64_t word = above[i];
            if (bits < QK_MAXUBITS) chunks.back() |= word << bits;
            chunks.push_back(bits < QK_MAXUBITS ? word >> (QK_MAXUBITS - bits) : word);
        }
    }
    /// @return 64 bits, starting with bit `offset`
    uint64_t field(int offset) const {
        const auto chunk = static_cast<size_t>(offset / QK_MAXUBITS);
        const int shift = offset % QK_MAXUBITS;
        uint64_t bits = chunkAt(chunk) >> shift;
        if (shift != 0) bits |= chunkAt(chunk + 1) << (QK_MAXUBITS - shift);
        return bits;
    }

    /// @return the last 64 bits of it
    uint64_t low() const { return current; }

    const int digitBits, wordDigits;
    static constexpr size_t kMaxWordDigits = QK_MAXUBITS;

private:
    template <int kDigitBits>
    const unsigned char* addToWord(const unsigned char* at, const Classes& classes) {
        uint64_t word = current;
        uint8_t digit;
        for (int room = wordDigits - used; room > 0; --room, ++at) {
            if ((digit = classes[*at]) >= kUnknownDigit) break;
            word = word << kDigitBits | digit;
        }
        current = word;
        return at;
    }
    void finishWord(int64_t limit) {
        before += used;
        if (before <= limit) above.push_back(current);
        used = 0;
    }
    uint64_t chunkAt(size_t i) const { return i < chunks.size() ? chunks[i] : 0; }

    std::vector<uint64_t> above;   // full words, the most significant first
    uint64_t current = 0;          // the word being filled
    int used = 0;                  // number of its digits
    int64_t before = 0;            // digits before those of `current`
    std::vector<uint64_t> chunks;  // after align(), the least significant first
};

/// One part of the array.
struct Part {
    QkTrace* trace;
    char* place;  ///< of element 0
    int bytes, stride;
    uint64_t mask;
    int offset;  ///< of its lowest bit within the value
    uint64_t inversion;
    bool hasCopies;
};

class ImageReader {
public:
    ImageReader(QkTrace* array, const MemoryImage& image);
    bool load();

private:
    bool setLimits(const MemoryImage& image);
    bool refill();
    bool parse();
    bool skipToData();
    bool skipComment();
    bool readAddress();
    bool readNarrowValues();
    bool readWideValue();
    void gatherDigits();
    bool hasPlace();
    void store();
    void noteWrites();
    void warnOfUnknown();
    int line() const;
    bool failAt(const char* text);

    int64_t position() const { return (index - right) * direction; }
    bool atEnd() const { return at == end; }
    int character() const { return atEnd() ? 0 : static_cast<signed char>(*at); }
    void next() {
        ++at;
        if (at == end) refill();
    }
    void skipTo(char wanted);

    QkTrace* const array;
    const char* const fileName;
    const Classes& classes;
    Digits digits;
    const int width;
    const int64_t digitLimit;
    const bool isNarrow = width <= QK_MAXUBITS;
    const int64_t right;  ///< index of the element at one end
    const int direction;  ///< in which storage positions go as indices ascend
    std::vector<Part> parts;

    int64_t index = 0;  ///< of the next value, as declared
    int64_t lowest = 0, highest = 0;
    bool limitsAreGood;
    bool warned = false;

    std::FILE* file = nullptr;
    int64_t linesBefore = 0;  ///< in blocks before this one
    const unsigned char *at, *end;
    static constexpr size_t kBlockBytes = 64 * 1024;
    unsigned char block[kBlockBytes + 1 + Digits::kMaxWordDigits];
};

ImageReader::ImageReader(QkTrace* theArray, const MemoryImage& image)
    : array(theArray),
      fileName(image.file),
      classes(image.base == 2 ? kBinary : kHexadecimal),
      digits(image.base),
      width(theArray->width()),
      digitLimit(image.base == 2 ? int64_t{width} : (int64_t{width} + 3) / 4),
      right(theArray->arrayRight()),
      direction(-theArray->arrayStep()),
      limitsAreGood(setLimits(image)),
      at(block),
      end(block) {
    block[0] = 0;
    for (QkTrace* const part : array->parts()) {
        if (!part->address || part->nel != array->nel) continue;
        parts.push_back({part, static_cast<char*>(part->address), part->elementBytes(),
                         part->stride(), bitMask(part->width()), part->lowBit(),
                         part->invert ? bitMask(part->width()) : 0,
                         part->sameAddr_n && copiesOf(part)});  // plain memory is not in a ring
    }
}

bool ImageReader::setLimits(const MemoryImage& image) {
    const int left = array->arrayLeft(), declaredRight = array->arrayRight();
    const auto isWithin = [&](const char* which, int limit) {
        if (array->isWithinArrayRange(limit)) return true;
        printFailure("$readmem error: %s address %d is not within range [%d:%d]\n", which, limit,
                     left, declaredRight);
        return false;
    };
    const bool hasFinish = image.args == 2, hasStart = hasFinish || image.args == 1;
    const int start = hasStart ? image.start : std::min(left, declaredRight);
    const int finish = hasFinish ? image.finish : std::max(left, declaredRight);
    const bool startIsGood = isWithin("start", start), finishIsGood = isWithin("finish", finish);
    lowest = std::min(start, finish);
    highest = std::max(start, finish);
    return startIsGood && finishIsGood;
}

bool ImageReader::load() {
    if (!limitsAreGood) return false;
    QK_ASSERT_AS(!file, "!fp");
    file = std::fopen(fileName, "r");
    if (!file) {
        printFailure("Failed to open '%s' to read\n", fileName);
        return false;
    }
    refill();
    index = lowest;
    bool done = parse();
    if (done && std::ferror(file)) {
        printFailure(kReadFailed, fileName);
        done = false;
    }
    std::fclose(file);
    file = nullptr;
    noteWrites();
    return done;
}

bool ImageReader::refill() {
    linesBefore += std::count(block, const_cast<unsigned char*>(end), '\n');
    const size_t count = std::fread(block, 1, kBlockBytes, file);
    at = block;
    end = block + count;
    block[count] = 0;
    return count > 0;
}

/// Advances to the next `wanted`, or to the end of the file.
void ImageReader::skipTo(char wanted) {
    do {
        const void* const found = std::memchr(at, wanted, static_cast<size_t>(end - at));
        at = found ? static_cast<const unsigned char*>(found) : end;
    } while (atEnd() && refill());
}

/// @return the number of the line that the current character is on; a newline is on the next one
int ImageReader::line() const {
    return static_cast<int>(
        1 + linesBefore +
        std::count(static_cast<const unsigned char*>(block), atEnd() ? end : at + 1, '\n'));
}

bool ImageReader::failAt(const char* text) {
    printFailure("%s:%d: %s\n", fileName, line(), text);
    return false;
}

void ImageReader::warnOfUnknown() {
    if (!warned) say("Warning: X or Z digits in '%s' being treated as 0\n", fileName);
    warned = true;
}

bool ImageReader::parse() {
    if (isNarrow) QK_ASSERT_AS(!array->bits, "t->bits == NULL");
    if (!skipToData()) return false;
    while (!atEnd()) {
        if (isNarrow ? !readNarrowValues() : !readWideValue()) return false;
        if (!skipToData()) return false;
    }
    return true;
}

/// Advances to the next digit, or to the end of the file.
bool ImageReader::skipToData() {
    while (!atEnd()) {
        const uint8_t kind = classes[*at];
        if (kind <= kUnknownDigit) return true;
        if (kind == kBlank) {
            next();
        } else if (*at == '@') {
            if (!readAddress()) return false;
        } else if (*at == '/') {
            if (!skipComment()) return false;
        } else {
            printFailure("%s:%d: unexpected character (%02x '%c')\n", fileName, line(),
                         static_cast<unsigned>(character()), character());
            return false;
        }
    }
    return true;
}

bool ImageReader::skipComment() {
    next();
    if (character() == '/') {
        skipTo('\n');
        return true;
    }
    if (character() != '*') {
        printFailure("%s:%d: unexpected character  (%02x '%c')\n", fileName, line(),
                     static_cast<unsigned>(character()), character());
        return false;
    }
    next();
    for (skipTo('*'); !atEnd(); skipTo('*')) {
        next();
        if (character() != '/') continue;
        next();
        return true;
    }
    return failAt("unexpected end of file");
}

bool ImageReader::readAddress() {
    next();
    uint32_t address = 0;
    int count = 0;
    for (; !atEnd() && kHexadecimal[*at] <= kUnknownDigit; next()) {
        if (++count > 8) return failAt("bad address (too many digits)");
        const uint8_t digit = kHexadecimal[*at];
        if (digit == kUnknownDigit) warnOfUnknown();
        address = address << 4 | (digit & 0xf);
    }
    if (count == 0) return failAt("bad address");
    index = static_cast<int32_t>(address);
    if (index >= lowest && index <= highest) return true;
    printFailure("%s line %d: bad address '%d' (out of start/finish range %d:%d)\n", fileName,
                 line(), static_cast<int>(index), static_cast<int>(lowest),
                 static_cast<int>(highest));
    return false;
}

/// Collects the digits that follow, skipping any '_' between them.
void ImageReader::gatherDigits() {
    digits.clear();
    for (;;) {
        at = digits.addRun(at, classes, digitLimit);
        const uint8_t kind = classes[*at];
        if (kind == kUnknownDigit) {
            warnOfUnknown();
            digits.addZero(digitLimit);
            ++at;
        } else if (kind == kUnderscore) {
            ++at;
        } else if (!atEnd() || !refill()) {
            return;
        }
    }
}

bool ImageReader::hasPlace() {
    if (index <= highest) return true;
    printFailure("%s:%d: index %d out of range\n", fileName, line(), static_cast<int>(position()));
    return false;
}

/// Reads values and the blanks between them.
bool ImageReader::readNarrowValues() {
    for (;; next()) {
        gatherDigits();
        if (digits.count() > 0) {
            if (!hasPlace()) return false;
            if (digits.count() > digitLimit) {
                printFailure("%s:%d: too many digits (%lld) for %d bit value\n", fileName, line(),
                             static_cast<long long>(digits.count()), width);
                return false;
            }
            store();
        }
        if (atEnd() || classes[*at] != kBlank) return true;
    }
}

bool ImageReader::readWideValue() {
    if (!hasPlace()) return false;
    gatherDigits();
    QK_ASSERT_AS(digits.count() > 0, "ndigits > 0");
    if (digits.count() > digitLimit) {
        printFailure("%s:%d: too many digits for %d-bit value\n", fileName, line(), width);
        return false;
    }
    digits.align();
    const int beyond = static_cast<int>(digitLimit * digits.digitBits - width);
    if (beyond > 0 && (digits.field(width) & bitMask(beyond)) != 0)
        say("%s:%d: bad value (bad top bits set)\n", fileName, line());
    store();
    return true;
}

void ImageReader::store() {
    const auto element = static_cast<size_t>(position());
    const auto storePart = [&](const Part& part, uint64_t value) {
        if (part.hasCopies) {
            const BitRange& range = part.trace->range;
            writeBits(part.trace, index, range.right(), range.width, value & part.mask);
            return;
        }
        storeStorage(part.place + element * static_cast<size_t>(part.stride), part.bytes,
                     (value & part.mask) ^ part.inversion);
    };
    if (isNarrow && parts.size() == 1) {
        storePart(parts.front(), digits.low());
    } else {
        digits.align();
        for (const Part& part : parts) storePart(part, digits.field(part.offset));
    }
    ++index;
    ++qkWriteCount;
}

/// Marks the whole array as changed for everything that follows its change list.
void ImageReader::noteWrites() {
    for (const Part& part : parts)
        if (part.trace->extras && part.trace->extras->arrayRecord)
            part.trace->extras->arrayRecord->overflow();
}

/// Adds the digits of one element and a newline.
/// @param chunks  room for the value, the least significant first
void addElement(std::string& text, std::vector<uint64_t>& chunks, const QkTrace* array,
                uint32_t element) {
    std::fill(chunks.begin(), chunks.end(), 0);
    for (const QkTrace* const part : array->parts()) {
        if (!part->address || part->nel != array->nel) continue;
        placeBits(chunks.data(), part->lowBit(), part->width(), part->readStorage(element));
    }
    for (int digit = (array->width() + 3) / 4 - 1; digit >= 0; --digit)
        text.push_back(
            hexDigitOf(chunks[static_cast<size_t>(digit / 16)] >> (4 * (digit % 16)) & 0xf));
    text.push_back('\n');
}

}  // namespace

bool loadMemoryImage(QkTrace* array, const MemoryImage& image) {
    QK_ASSERT_AS((image.base == 2) || (image.base == 16), "(base == 2) || (base == 16)");
    return ImageReader(array, image).load();
}

void writeMemoryImage(std::FILE* file, const QkTrace* array) {
    constexpr size_t kPieceBytes = 64 * 1024;
    QK_ASSERT_AS(array->nel, "t->nel");
    if (array->width() <= QK_MAXUBITS) QK_ASSERT_AS(!array->bits, "t->bits == NULL");
    const int64_t left = array->arrayLeft(), right = array->arrayRight();
    const int64_t lowest = std::min(left, right);
    std::vector<uint64_t> chunks(static_cast<size_t>((array->width() - 1) / QK_MAXUBITS + 1));
    std::string text;
    const auto deliver = [&] {
        std::fwrite(text.data(), 1, text.size(), file);
        text.clear();
    };
    std::fprintf(file, "@%x\n", static_cast<unsigned>(lowest));
    for (int64_t index = lowest; array->isWithinArrayRange(index); ++index) {
        addElement(text, chunks, array, array->elementOf(index));
        if (text.size() >= kPieceBytes) deliver();
    }
    deliver();
}
