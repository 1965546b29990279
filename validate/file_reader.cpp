#include "validate/file_reader.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/qkassert.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_run.h"
#include "run/life.h"
#include "run/printout.h"
#include "run/time.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"

QkFileReader* qkReader = nullptr;

QkFileReader::QkFileReader() = default;
QkFileReader::~QkFileReader() { Dtable_map(&constants, nullptr, Dtable_freeValue); }

void QkFileReader::start(bool loading) {
    QK_ASSERT_AS(vcdModel == nullptr, "vcdModel == NULL");
    isStrict = qk_strict;
    vcdModel = std::make_unique<QkVCDModel>(isStrict);
    filename.clear();
    file = nullptr;
    lineNumber = 1;
    lineEndPending = false;
    currentScope = nullptr;
    outerScopes.clear();
    endAhead = damaged = false;
    heldToken.clear();
    pausedSince.reset();
    pendingBit.reset();
    Dtable_map(&constants, nullptr, Dtable_freeValue);
    passedKinds.clear();
    loadingState = loading;
    runningFromVCD = !loading;
    nDifferences = nDifferencesTotal = 0;
    stats = {};
    record = {};
    traceKnown = false;
    proposals.clear();
    vcdTimescaleExponent = qk_timescale_precision;
    vcdTimeMultiplier = 1;
}

void QkFileReader::closeFile() {
    if (file) QK_ASSERT_AS(!filename.empty(), "!filename.isempty()");
    currentStats();
    if (vcdModel && !loadingState) record.gather(*this);
    reportPassedOver();
    filename.clear();
    file = nullptr;
    heldToken.clear();
}

/// Says what is wrong at the line in hand. @return 0
int QkFileReader::fail(const char* what) const {
    say("%s:%d: %s\n", filename.c_str(), lineNumber, what);
    return 0;
}

// ---- Tokens

bool QkFileReader::atEnd() const { return !file || (heldToken.empty() && file->atEnd()); }

/// @return false at the end of input, with a message if that is not the end of the file
bool QkFileReader::refill() {
    const bool hadFailed = file->failure() != nullptr;
    if (file->refill()) return true;
    if (file->failure() && !hadFailed) fail(file->failure());
    return false;
}

/// @return false at the end of input
bool QkFileReader::skipBlanks() {
    for (;;) {
        const char* at = file->cur;
        for (; at != file->end && *at <= ' '; ++at) lineNumber += *at == '\n';
        file->cur = at;
        if (at != file->end) return true;
        if (!refill()) return false;
    }
}

void QkFileReader::endToken(char terminator) {
    // A message about the token names its own line.
    lineEndPending = terminator == '\n';
}

std::string_view QkFileReader::readToken(bool escapedAllowed) {
    if (!heldToken.empty()) {
        spilled = std::exchange(heldToken, {});
        return spilled;
    }
    if (lineEndPending) ++lineNumber;
    lineEndPending = false;
    if (!file || !skipBlanks()) {
        reportPassedOver();
        return {};
    }
    const char* const begin = file->cur;
    if (escapedAllowed && *begin == '\\') return readLongToken(true);
    const char* const stop = tokenEnd(begin);
    if (stop >= file->end) return readLongToken(false);
    file->cur = stop + 1;
    endToken(*stop);
    return std::string_view(begin, static_cast<size_t>(stop - begin));
}

/// Reads a token that an end of the buffer may cut. An escaped one ends with the first backslash
/// behind its own that no other follows, and with the character after that, which is dropped.
std::string_view QkFileReader::readLongToken(bool escaped) {
    spilled.clear();
    bool backslash = false;
    for (bool closed = false;;) {
        if (file->cur == file->end && !refill()) break;
        const char c = *file->cur;
        if (escaped ? closed : c <= ' ') {
            ++file->cur;
            endToken(c);
            break;
        }
        if (escaped && backslash && c != '\\') {
            closed = true;  // this character is the one behind the closing backslash
            continue;
        }
        ++file->cur;
        spilled += c;
        if (spilled.size() > 1) backslash = c == '\\' && !backslash;
    }
    return spilled;
}

int QkFileReader::skipToEnd(bool printTokens, std::string* text) {
    const int from = lineNumber;
    if (std::exchange(endAhead, false)) return 1;
    for (;;) {
        std::string_view token = readToken();
        if (token.empty()) {
            say("%s:%d: $end missing to end of file\n", filename.c_str(), from);
            return 0;
        }
        if (token == "$enddefinitions" || token == "$scope") {
            say("%s:%d: $end missing by line %d\n", filename.c_str(), from, lineNumber);
            return 0;
        }
        if (token == "$end") return 1;
        takeGluedEnd(token);
        if (printTokens) say(" %.*s", static_cast<int>(token.size()), token.data());
        if (text) text->append(" ").append(token);
        if (std::exchange(endAhead, false)) return 1;
    }
}

// ---- The header

bool QkFileReader::openInput(const char* path) {
    if (isStrict) {
        file = VcdInputBuffer::open(path);
        if (!file) say("Failed to open file '%s'\n", path);
        return file != nullptr;
    }
    const Conversion* const conversion = access(path, R_OK) == 0 ? conversionOf(path) : nullptr;
    if (!conversion) {
        file = VcdInputBuffer::open(path);
        if (!file) say("Failed to open file '%s': %s\n", path, std::strerror(errno));
        return file != nullptr;
    }
    say("zeft: reading %s through %s\n", path, conversion->program);
    file = VcdInputBuffer::open(path, *conversion);
    if (!file)
        say("Failed to open file '%s': %s cannot be run: %s (Debian package %s)\n", path,
            conversion->program, std::strerror(errno), conversion->package);
    return file != nullptr;
}

int QkFileReader::readHeader(const char* path) {
    QK_ASSERT_AS(filename.empty() && !file, "filename.isempty() && !file");
    filename = path;
    if (!openInput(path)) return 0;
    nDifferences = 0;
    for (;;) {
        std::string_view token = readToken();
        if (atEnd() || token.empty()) return fail("unexpected end of file");
        takeGluedEnd(token);
        if (token == "$enddefinitions") {
            if (!addPendingBit(false)) return fail("Error");
            return skipToEnd(false);
        }
        if (!(isStrict ? readDeclaration(token) : readLooseDeclaration(token))) return 0;
    }
}

int QkFileReader::readDeclaration(std::string_view token) {
    if (token == "$var") return readVar();
    if (token == "$scope") return readScope();
    if (token == "$upscope") return readUpscope();
    if (token == "$timescale") return parseVCDtimescale();
    if (token == "$comment") return skipToEnd(false);
    if (token == "$dumparray") return skipDumparray();
    if (token == "$version" || token == "$date") {
        qk_printf("VCD %s:", token == "$date" ? "date" : "version");
        const int done = skipToEnd(true);
        qk_printf("\n");
        return done;
    }
    const bool isKeyword = token.front() == '$';
    say("%s:%d: header %s: '%.*s'\n", filename.c_str(), lineNumber,
        isKeyword ? "ignored" : "not recognised", static_cast<int>(token.size()), token.data());
    return isKeyword ? skipToEnd(false) : 0;
}

int QkFileReader::readScope() {
    readToken();  // the kind
    const std::string_view name = readToken();
    if (name.empty()) return skipToEnd(false);
    outerScopes.push_back(currentScope);
    currentScope = vcdModel->findOrCreateScope(currentScope, name, false);
    return skipToEnd(false);
}

int QkFileReader::readUpscope() {
    if (outerScopes.empty()) {
        fail("Warning: $upscope when at top-level");
    } else {
        currentScope = outerScopes.back();
        outerScopes.pop_back();
    }
    return skipToEnd(false);
}

int QkFileReader::skipDumparray() {
    fail("dumparray loading not implemented");
    for (;;) {
        const std::string_view token = readToken();
        if (token == "$enddumparray") return skipToEnd(false);
        if (token.empty()) return fail("unexpected end of file");
    }
}

namespace {

/// @return the width to take for a declared one of 0, or 0 when there is none
int defaultWidth(const std::string& kind) {
    return kind == "parameter" ? 32 : kind == "time" ? 64 : kind == "event" ? 1 : 0;
}

}  // namespace

int QkFileReader::readVar() {
    const std::string kind(readToken());
    const std::string widthText(readToken());
    const std::string code(readToken());
    const std::string name(readToken(true));
    const bool isReal = kind == "real";
    int width = isReal ? 64 : static_cast<int>(std::strtoll(widthText.c_str(), nullptr, 10));
    if (width == 0) width = defaultWidth(kind);
    if (width <= 0) {
        say("%s:%d: expected non-zero width while processing: $var %s %s\n", filename.c_str(),
            lineNumber, kind.c_str(), widthText.c_str());
        return 0;
    }
    BitRange range(width - 1, 0);
    range.isRange = false;
    if (!readBitSelect(range)) return 0;
    if (kind == "parameter") {
        if (currentScope) vcdModel->addParameter(code);
        return 1;
    }
    if (!vcdModel->addVariable({code, width, currentScope, name, range, isReal}))
        return fail("Error");
    return 1;
}

namespace {

/// Characters of the tokens of a bit-select, one after the other.
class SelectText {
public:
    explicit SelectText(std::string_view first) : token(first) {}
    template <class Next>
    char peek(Next&& next) {
        if (at == token.size()) {
            token = next();
            at = 0;
        }
        return token.empty() ? '\0' : token[at];
    }
    void take() { ++at; }
    bool isTokenDone() const { return at == token.size(); }
    const std::string& whole() const { return token; }
    /// Reads a number. @return whether there was one
    template <class Next>
    bool number(int& value, Next&& next) {
        peek(next);
        const char* const from = token.c_str() + at;
        char* end;
        const long read = std::strtol(from, &end, 10);
        value = static_cast<int>(read > INT_MAX ? INT_MAX : read < INT_MIN ? INT_MIN : read);
        at += static_cast<size_t>(end - from);
        return end != from;
    }

private:
    std::string token;
    size_t at = 0;
};

}  // namespace

/// Reads what may follow a variable's name, up to its `$end`. The range stays when that is nothing.
int QkFileReader::readBitSelect(BitRange& range) {
    constexpr const char* expected = "expected bit-select or $end";
    constexpr const char* badlyFormed = "badly formed bit-select";
    const std::string_view first = readToken();
    if (first == "$end") return 1;
    if (first.empty() || first.front() != '[') return fail(expected);
    SelectText text(first);
    const auto next = [&] { return readToken(); };
    text.take();
    int left, right;
    if (!text.number(left, next)) return fail(badlyFormed);
    right = left;
    char c = text.peek(next);
    if (c == ':') {
        text.take();
        if (!text.number(right, next)) return fail(badlyFormed);
        c = text.peek(next);
    }
    if (c != ']') return fail(expected);
    text.take();
    if (text.isTokenDone()) text.peek(next);
    if (text.whole() != "$end") return fail("expected bit-select followed by $end");
    range = BitRange(left, right);
    return 1;
}

// ---- Time

int QkFileReader::parseVCDtimescale() {
    vcdTimescaleExponent = qk_timescale_precision;
    vcdTimeMultiplier = 1;
    std::string text;
    if (!skipToEnd(false, &text)) return 0;
    setTimescale(text);
    return 1;
}

/// Takes the unit of the trace from a text such as " 10 ns"; one that is wrong is passed over.
void QkFileReader::setTimescale(const std::string& text) {
    const char* at = text.c_str();
    const auto skipSpace = [&] {
        while (std::isspace(static_cast<unsigned char>(*at))) ++at;
    };
    skipSpace();
    const char* const told = at;
    if (*at == '+') ++at;
    while (*at == '0') ++at;
    bool valid = *at == '1';
    int exponent = 0;
    if (valid)
        for (++at; *at == '0'; ++at) ++exponent;
    skipSpace();
    constexpr char units[] = "fpnum";
    const auto letter = [&] { return isStrict ? *at : static_cast<char>(std::tolower(*at)); };
    const char* const unit = *at ? std::strchr(units, letter()) : nullptr;
    if (unit) {
        exponent += kFinestExponent + 3 * static_cast<int>(unit - units);
        ++at;
        if (letter() == 's') ++at;
    } else {
        valid &= letter() == 's';
        if (letter() == 's') ++at;
    }
    skipSpace();
    if (!valid || *at) {
        say("%s:%d: invalid VCD $timescale \"%s\" ignored\n", filename.c_str(), lineNumber, told);
        return;
    }
    if (exponent > 0) {
        say("%s:%d: VCD $timescale \"%s\" greater than 1 second ignored\n", filename.c_str(),
            lineNumber, told);
        return;
    }
    QK_ASSERT_AS(exponent >= kFinestExponent, "vcd_timescale_exponent >= -15");
    qk_set_timescale("parseVCDtimescale", 0, exponent);
    QK_ASSERT_AS(exponent >= qk_timescale_precision,
                 "vcd_timescale_exponent >= qk_timescale_precision");
    vcdTimescaleExponent = exponent;
    vcdTimeMultiplier = kPowersOfTen[exponent - qk_timescale_precision];
}

bool QkFileReader::readTimeLine(std::string_view token) {
    if (!isStrict && !loadingState) return parseTime(token, qk_cycle);
    const std::string digits(token.substr(1));
    const char* end;
    const uint64_t time = atottmaxu(digits.c_str(), &end) * vcdTimeMultiplier;
    if (end != digits.c_str() && time >= qk_cycle) {
        qk_cycle = time;
        return true;
    }
    say("%s:%d: at time %s: #%s ignored\n", filename.c_str(), lineNumber, qk_cycle_as_string(),
        digits.c_str());
    return true;
}

// ---- Values

/// @return null, with a message
QkVCDId* QkFileReader::failAtDigit(std::string_view value, size_t stray) const {
    say("%s:%d: invalid character '%c' in bitstring '%.*s'\n", filename.c_str(), lineNumber,
        value[stray], static_cast<int>(value.size()), value.data());
    return nullptr;
}

QkVCDId* QkFileReader::readValueLine(std::string_view first, std::string_view& value,
                                     bool* passedOver) {
    if (!isStrict) return readLooseValue(first, value, passedOver);
    if (passedOver) *passedOver = false;
    std::string_view code;
    const char kind = first.front();
    const bool isReal = kind == 'r' || kind == 'R';
    if (isReal || kind == 'b' || kind == 'B') {
        value = first.substr(1);
        const size_t stray = findStray(value, isReal ? kRealDigits : kBitDigits);
        if (stray != std::string_view::npos) return failAtDigit(value, stray);
        // The next token may come with a new block, or spill, over this one.
        if (!isTokenAhead()) {
            valueText = value;
            value = valueText;
        }
        code = readToken();
    } else {
        if (kBitDigits.find(kind) == std::string_view::npos) {
            say("%s:%d: invalid value line containing '%.*s'\n", filename.c_str(), lineNumber,
                static_cast<int>(first.size()), first.data());
            return nullptr;
        }
        value = first.substr(0, 1);
        code = first.substr(1);
    }
    QkVCDId* const id = vcdModel->findId(code);
    if (!id || (id->isParameter && !passedOver)) {
        if (!id)
            say("%s:%d: VCD signal '%.*s' not recognised\n", filename.c_str(), lineNumber,
                static_cast<int>(code.size()), code.data());
        return nullptr;
    }
    if (id->isParameter) {
        *passedOver = true;
        return nullptr;
    }
    if (isReal && !id->isReal) {
        // A real for a variable that is none: of its characters only these are digits.
        const size_t stray = findStray(value, kBitDigits);
        if (stray != std::string_view::npos) return failAtDigit(value, stray);
    }
    if (value.size() > static_cast<size_t>(id->width)) {
        say("%s:%d: signal '%.*s': width %d exceeded (%d bits given)\n", filename.c_str(),
            lineNumber, static_cast<int>(code.size()), code.data(), id->width,
            static_cast<int>(value.size()));
        return nullptr;
    }
    return id;
}

/// @return whether the next token stands whole in the block in hand
bool QkFileReader::isTokenAhead() const {
    const char* at = file->cur;
    while (at != file->end && *at <= ' ') ++at;
    return at != file->end && tokenEnd(at) < file->end;
}

int QkFileReader::readInitialValues(bool expectDumpvars) {
    if (!isStrict && !loadingState) return readDump(expectDumpvars);
    vcdModel->bindVariables();
    if (expectDumpvars) {
        std::string_view token = readToken();
        if (!token.empty() && token.front() == '#') {
            if (!readTimeLine(token)) return 0;
            token = readToken();
        }
        if (token != "$dumpvars") return 0;
    }
    for (;;) {
        const std::string_view token = readToken();
        if (token == "$end") break;
        if (token.empty()) {
            say("%s:%d  - unexpected end of file while reading $dumpvars\n", filename.c_str(),
                lineNumber);
            return 0;
        }
        std::string_view value;
        bool passedOver;
        QkVCDId* const id = readValueLine(token, value, &passedOver);
        if (id)
            id->setVCDValue(value, true);
        else if (!passedOver)
            return 0;
    }
    vcdModel->traces.endDump();
    return 1;
}
