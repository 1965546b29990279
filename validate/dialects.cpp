// Traces as simulators really write them, which is not always as IEEE 1364-2005, 18.2, has it.
//
// What cannot matter to the comparison is passed over and reported once a kind; what could change
// its outcome is an error. In strict mode none of this is in force.
#include <algorithm>
#include <array>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <utility>

#include "base/stringbuf.h"
#include "netdb/database.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"

namespace {

constexpr std::string_view kEnd = "$end";

bool isHeaderKeyword(std::string_view token) {
    constexpr std::array<std::string_view, 8> keywords = {
        "$comment", "$date", "$enddefinitions", "$scope", "$timescale",
        "$upscope", "$var",  "$version"};
    return std::find(keywords.begin(), keywords.end(), token) != keywords.end();
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

// ---- The header

/// Takes an `$end` off the end of a token, to be found where one is looked for next.
void QkFileReader::takeGluedEnd(std::string_view& token) {
    endAhead = !isStrict && endsWith(token, kEnd);
    if (endAhead) token.remove_suffix(kEnd.size());
}

int QkFileReader::readLooseDeclaration(std::string_view token) {
    if (token == "$var") return readLooseVar();
    if (token == "$comment") return skipComment();
    if (!addPendingBit(false)) return fail("Error");
    if (token == "$scope") return readLooseScope();
    if (token == "$version") return readUnclosedText("version");
    if (token == "$date") return readUnclosedText("date");
    if (token == "$attrbegin" || token == "$attrend") return skipToEnd(false);
    return readDeclaration(token);
}

/// Passes over a comment, whatever words it has.
int QkFileReader::skipComment() {
    const int from = lineNumber;
    if (std::exchange(endAhead, false)) return 1;
    for (;;) {
        const std::string_view token = readToken();
        if (token == kEnd || endsWith(token, kEnd)) return 1;
        if (!token.empty()) continue;
        say("%s:%d: $end missing to end of file\n", filename.c_str(), from);
        return 0;
    }
}

/// Prints the text of a `$version` or `$date`, which the next keyword may end.
int QkFileReader::readUnclosedText(const char* what) {
    const int from = lineNumber;
    std::string text = std::string("VCD ") + what + ":";
    bool isClosed = std::exchange(endAhead, false), isEnded = false;
    while (!isClosed && !isEnded) {
        std::string_view token = readToken();
        if (token.empty()) {
            say("%s\n%s:%d: $end missing to end of file\n", text.c_str(), filename.c_str(), from);
            return 0;
        }
        isClosed = token == kEnd;
        isEnded = isHeaderKeyword(token);
        if (isEnded) heldToken = token;
        if (isClosed || isEnded) break;
        isClosed = endsWith(token, kEnd);
        if (isClosed) token.remove_suffix(kEnd.size());
        text.append(" ").append(token);
    }
    say("%s\n", text.c_str());
    if (isEnded) say("%s:%d: Warning: $%s has no $end\n", filename.c_str(), from, what);
    return 1;
}

/// Reads the words up to an `$end`, which may be glued to a bracket, with one blank between two.
bool QkFileReader::readWords(std::string& text) {
    const int from = lineNumber;
    text.clear();
    for (int words = 0;; ++words) {
        constexpr int most = 1000;
        const std::string_view token = readToken();
        if (token == kEnd) return true;
        if (token.empty()) {
            say("%s:%d: $end missing to end of file\n", filename.c_str(), from);
            return false;
        }
        if (words > 0 && (words > most || isHeaderKeyword(token))) {
            say("%s:%d: $end missing by line %d\n", filename.c_str(), from, lineNumber);
            return false;
        }
        if (words > 0) text += ' ';
        text += token;
        if (!endsWith(token, "]$end") && !endsWith(token, ")$end")) continue;
        text.resize(text.size() - kEnd.size());
        return true;
    }
}

int QkFileReader::readLooseScope() {
    std::string text;  // the kind, and the name if there is one
    if (!readWords(text)) return 0;
    const size_t blank = text.find(' ');
    outerScopes.push_back(currentScope);
    if (blank != std::string_view::npos)
        currentScope = vcdModel->findOrCreateChild(currentScope, text.substr(blank + 1));
    return 1;
}

namespace {

struct Declared {
    int width = 0;  ///< 0: the declaration is wrong
    ValueKind kind = ValueKind::kDigits;
};

/// @param text  the width
Declared declaredAs(const std::string& kind, const std::string& text) {
    if (kind == "real" || kind == "realtime" || kind == "shortreal") return {64, ValueKind::kReal};
    if (kind == "event") return {1, ValueKind::kEvent};
    if (kind == "string") return {1, ValueKind::kString};
    int width = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, width);
    if (read.ec != std::errc() || read.ptr != end || width < 0) return {};
    if (width > 0) return {width};
    return kind == "time" ? Declared{64} : Declared{1, ValueKind::kNoWidth};
}

}  // namespace

int QkFileReader::readLooseVar() {
    const int line = lineNumber;
    const std::string kind(readToken());
    std::string widthText(readToken());
    // Extended VCD (18.4) has ports, whose codes begin with '<', and bounds in place of a width.
    const bool hasWidth = widthText.substr(0, 1) != "<";
    const std::string code = hasWidth ? std::string(readToken()) : widthText;
    if (!hasWidth) widthText = "1";
    std::string text;
    if (!readWords(text)) return 0;
    if (kind == "parameter" || kind == "real_parameter") {
        vcdModel->addParameter(code);
        return 1;
    }
    BitRange bounds;
    if (widthText.substr(0, 1) == "[") bounds = parseDeclaredName("x " + widthText, 1).range;
    if (bounds.isRange) widthText = std::to_string(bounds.width);
    const Declared declared = declaredAs(kind, widthText);
    if (declared.width == 0) {
        say("%s:%d: expected non-zero width while processing: $var %s %s\n", filename.c_str(), line,
            kind.c_str(), widthText.c_str());
        return 0;
    }
    DeclaredName name = parseDeclaredName(text, declared.width);
    if (name.name.empty())
        return fail(text.empty() ? "expected a name" : "expected bit-select or $end");
    if (bounds.isRange && !name.range.isRange) name.range = bounds;
    return addLooseVar(code, name, declared.kind, declared.width) || fail("Error");
}

/// A single bit `q[3]` waits for what follows: with another bit of `q` it is one of that net.
bool QkFileReader::addLooseVar(const std::string& code, const DeclaredName& declared,
                               ValueKind kind, int width) {
    if (declared.bitBracket == 0 || kind != ValueKind::kDigits)
        return addPendingBit(false) &&
               vcdModel->addVariable(
                   {code, width, currentScope, declared.name, declared.range, false, kind});
    const bool continues = pendingBit && pendingBit->scope == currentScope &&
                           pendingBit->declared.name == declared.name &&
                           pendingBit->declared.bitBracket == declared.bitBracket;
    if (!addPendingBit(continues)) return false;
    pendingBit = PendingBit{code, declared, currentScope, false};
    return !continues || addPendingBit(true);
}

/// Adds the bit that waits, if one does.
/// @param asBit  as one of the net whose name it has, of which more may follow; else as a net
bool QkFileReader::addPendingBit(bool asBit) {
    if (!pendingBit) return true;
    bool good = true;
    if (!std::exchange(pendingBit->isAdded, true)) {
        const DeclaredName& bit = pendingBit->declared;
        VarDeclaration declared{pendingBit->code, 1, pendingBit->scope, bit.name, bit.range};
        const std::string whole = DeclaredName::ofBit(bit.name, bit.range.lsb, bit.bitBracket);
        if (asBit) {
            declared.bitBracket = bit.bitBracket;
        } else {
            declared.name = whole;
            declared.range = BitRange();
        }
        good = vcdModel->addVariable(declared);
    }
    if (!asBit) pendingBit.reset();
    return good;
}

// ---- Lines of the body

/// @return whether another token follows on the line of the last one
bool QkFileReader::isTokenOnLine() {
    if (lineEndPending) return false;
    for (;;) {
        while (file->cur != file->end && *file->cur == ' ') ++file->cur;
        if (file->cur != file->end) return *file->cur != '\n';
        if (!refill()) return false;
    }
}

/// @return the last token on the line, if there are more
std::string QkFileReader::lastOnLine() {
    std::string token;
    while (isTokenOnLine()) token = readToken();
    return token;
}

/// @return a time line whose `#` may have blanks after it
std::string QkFileReader::timeWords(std::string_view token) {
    std::string line(token);
    if (!isStrict && line.size() == 1 && isTokenOnLine()) line += readToken();
    return line;
}

/// Reads a time that is not before the present one. @return false with a message
bool QkFileReader::parseTime(std::string_view token, uint64_t& time) {
    const std::string_view digits = token.substr(1);
    uint64_t read = 0;
    bool fits = true, isNumber = !digits.empty();
    for (const char c : digits) {
        isNumber &= c >= '0' && c <= '9';
        fits &= !__builtin_mul_overflow(read, uint64_t{10}, &read) &&
                !__builtin_add_overflow(read, static_cast<uint64_t>(c - '0'), &read);
    }
    fits &= !__builtin_mul_overflow(read, vcdTimeMultiplier, &read);
    if (isNumber && fits && read >= qk_cycle) {
        time = read;
        return true;
    }
    damaged = true;
    const std::string before = std::string("is before ") + qk_cycle_as_string();
    say("%s:%d: time '%.*s' %s: the trace is damaged\n", filename.c_str(), lineNumber,
        static_cast<int>(token.size()), token.data(),
        !isNumber ? "is not a whole number"
        : !fits   ? "does not fit 64 bits"
                  : before.c_str());
    return false;
}

namespace {

/// Digits of nine-valued logic (IEEE 1164), in either case.
constexpr std::string_view kLogicDigits = "01xXzZuUwWlLhH-";

/// Makes digits of nine-valued logic those of a VCD.
void toBitDigits(std::string& digits) {
    for (char& c : digits) {
        if (kBitDigits.find(c) != std::string_view::npos) continue;
        const char lower = static_cast<char>(c | 0x20);
        c = lower == 'l' ? '0' : lower == 'h' ? '1' : 'x';
    }
}

/// Makes digits of states of a port (18.4.3.1).
void portToBitDigits(std::string& states) {
    constexpr std::string_view lows = "Dd0Ll", highs = "Uu1Hh";
    for (char& c : states)
        c = lows.find(c) != std::string_view::npos    ? '0'
            : highs.find(c) != std::string_view::npos ? '1'
                                                      : 'x';
}

bool isLinked(const QkVCDId& id) {
    return std::any_of(id.sameId.begin(), id.sameId.end(),
                       [](const QkVCDVar* var) { return var->vcdName->linked != nullptr; });
}

}  // namespace

QkVCDId* QkFileReader::readLooseValue(std::string_view first, std::string_view& value,
                                      bool* passed) {
    *passed = false;
    if (isBitDigit(first.front()) && first.size() > 1 && !pausedSince) {
        QkVCDId* const id = vcdModel->findId(first.substr(1));
        value = first.substr(0, 1);
        if (id && !id->isParameter && id->kind == ValueKind::kDigits) return id;
    }
    const char letter = static_cast<char>(first.front() | 0x20);
    const char form = letter == 'b' || letter == 'r' || letter == 's' || letter == 'p' ? letter : 0;
    valueText = form ? first.substr(1) : first;  // the next token may come with a new block
    std::string codeText;
    std::string_view code;
    if (form == 'b') {
        const size_t split = valueText.find_first_not_of(kBitDigits);
        if (findStray(valueText, kLogicDigits) == std::string_view::npos &&
            isTokenOnLine()) {  // NOLINT(bugprone-branch-clone)
            code = readToken();
        } else if (split == std::string_view::npos) {
            code = readToken();
        } else if (split != 0) {
            codeText = valueText.substr(split);
            code = codeText;
            valueText.resize(split);
        } else {
            return failAtDigit(valueText, 0);
        }
    } else if (form) {
        codeText = lastOnLine();
        code = codeText;
    } else if (kLogicDigits.find(valueText.front()) == std::string_view::npos ||
               (valueText.size() == 1 && !isTokenOnLine())) {
        say("%s:%d: invalid value line containing '%s'\n", filename.c_str(), lineNumber,
            valueText.c_str());
        return nullptr;
    } else {
        codeText = valueText.size() == 1 ? readToken() : valueText.substr(1);
        code = codeText;
        valueText.resize(1);
    }
    QkVCDId* const id = vcdModel->findId(code);
    if (!id) {
        say("%s:%d: VCD signal '%.*s' not recognised\n", filename.c_str(), lineNumber,
            static_cast<int>(code.size()), code.data());
        return nullptr;
    }
    if (form == 'p') portToBitDigits(valueText);
    if (form == 0 || form == 'b') toBitDigits(valueText);
    value = valueText;
    return takeLooseValue(id, form == 'r' || form == 's' ? form : 'b', value, *passed);
}

/// @param form  b for digits, r for a real, s for a text
QkVCDId* QkFileReader::takeLooseValue(QkVCDId* id, char form, std::string_view& value,
                                      bool& passed) {
    const auto pass = [&](const char* kind) {
        if (kind && !pausedSince) passOver(kind);
        passed = true;
        return nullptr;
    };
    if (pausedSince) return pass(nullptr);
    if (id->isParameter) {
        const std::string text(value);
        return takeConstant(*id, form == 'b' ? reducedDigits(text.c_str()) : text) ? pass(nullptr)
                                                                                   : nullptr;
    }
    if (id->kind == ValueKind::kString) return pass("string");
    if (id->kind == ValueKind::kEvent) return pass("event");
    if (id->kind == ValueKind::kNoWidth) return pass("zero width");
    const bool isText = form == 's' || (form == 'r' && id->kind != ValueKind::kReal &&
                                        findStray(value, kBitDigits) != std::string_view::npos);
    if (!isLinked(*id) && (isText || id->kind == ValueKind::kReal))
        return pass(form == 's' ? "string" : "real");
    if (isText || (form == 'r' && id->kind == ValueKind::kReal && !takeReal(value))) {
        say("%s:%d: '%c%.*s' is no value for '%s', which is linked to the model\n",
            filename.c_str(), lineNumber, form, static_cast<int>(value.size()), value.data(),
            id->vcdId.c_str());
        return nullptr;
    }
    if (value.size() > static_cast<size_t>(id->width)) {
        say("%s:%d: signal '%s': width %d exceeded (%d bits given)\n", filename.c_str(), lineNumber,
            id->vcdId.c_str(), id->width, static_cast<int>(value.size()));
        return nullptr;
    }
    return id;
}

/// @return whether a parameter has the value that it had; if not, with a message
bool QkFileReader::takeConstant(const QkVCDId& id, const std::string& value) {
    const void* const known = Dtable_get(constants, 0, &id, Dtable_comparePointers);
    if (!known) {
        const void* key = &id;
        void* text = duplicate(value.c_str(), "reference trace");
        Dtable_put(&constants, 0, const_cast<void**>(&key), &text, Dtable_comparePointers);
        return true;
    }
    const char* const before = static_cast<const char*>(known);
    if (value == before) return true;
    say("%s:%d: parameter '%s' has the value %s, and had %s before\n", filename.c_str(), lineNumber,
        id.vcdId.c_str(), value.c_str(), before);
    return false;
}

/// Makes 64 digits of a real: those of the integer next to it, or unknown ones when there is none.
/// @return whether the text is that of a number
bool QkFileReader::takeReal(std::string_view& value) {
    double number = 0;
    const char* const end = value.data() + value.size();
    const char* const begin = value.data() + (value.substr(0, 1) == "+");
    const auto read = std::from_chars(begin, end, number);
    const bool isHuge = read.ec == std::errc::result_out_of_range;
    if ((read.ec != std::errc() && !isHuge) || read.ptr != end) return false;
    constexpr double limit = 9223372036854775808.0;
    const double rounded = std::round(number);
    const bool hasInteger = !isHuge && rounded >= -limit && rounded < limit;  // false for NaN
    const auto bits = hasInteger ? static_cast<uint64_t>(static_cast<int64_t>(rounded)) : 0;
    std::string digits(64, 'x');
    for (size_t i = 0; hasInteger && i < digits.size(); ++i)
        digits[i] = bits >> (63 - i) & 1 ? '1' : '0';
    valueText = digits;
    value = valueText;
    return true;
}

// ---- What is passed over

/// @param kind  a literal
void QkFileReader::passOver(const char* kind) {
    for (PassedOver& known : passedKinds) {
        if (std::string_view(known.kind) != kind) continue;
        ++known.count;
        return;
    }
    passedKinds.push_back({kind, lineNumber, 1});
}

void QkFileReader::reportPassedOver() {
    for (const PassedOver& of : std::exchange(passedKinds, {}))
        say("%s:%d: %" PRIu64 " value%s of kind '%s' passed over\n", filename.c_str(), of.line,
            of.count, of.count == 1 ? "" : "s", of.kind);
}

// ---- Dumps of all values, and pauses

namespace {

bool isDumpOn(std::string_view token) { return token == "$dumpon" || token == "$dumpportson"; }
bool isDumpOff(std::string_view token) { return token == "$dumpoff" || token == "$dumpportsoff"; }
bool isDumpOfValues(std::string_view token) {
    return token == "$dumpvars" || token == "$dumpall" || token == "$dumpports" ||
           token == "$dumpportsall";
}

}  // namespace

/// Reads a dump, which lasts to the first later time, or to a pause; that time is then read next.
/// @param isFirst  its time is that of the last time line before its first value
bool QkFileReader::readDump(bool isFirst) {
    vcdModel->bindVariables();
    bool hasValues = false, hasBlock = false, inBlock = false;
    for (bool isOver = false; !isOver;) {
        const std::string_view token = readToken();
        if (token.empty()) {
            if (file->failure()) return false;
            if (!inBlock && (hasValues || hasBlock || !isFirst)) break;
            say("%s:%d  - unexpected end of file while reading $dumpvars\n", filename.c_str(),
                lineNumber);
            return false;
        }
        if (token.front() == '#') {
            const std::string line = timeWords(token);
            uint64_t time;
            if (!parseTime(line, time)) return false;
            isOver = time > qk_cycle && (hasValues || !isFirst);
            if (isOver)
                heldToken = line;
            else
                qk_cycle = time;
        } else if (isDumpOff(token)) {
            pausedSince = qk_cycle;
            isOver = hasValues || !isFirst;
        } else if (isDumpOn(token) || isDumpOfValues(token)) {
            hasBlock = inBlock = true;
            if (isDumpOn(token)) pausedSince.reset();
        } else if (token.front() == '$') {
            inBlock &= token != kEnd;
            if (!readKeyword(token)) return false;
        } else {
            std::string_view value;
            bool isPassed;
            QkVCDId* const id = readLooseValue(token, value, &isPassed);
            if (!id && !isPassed) return false;
            if (id) id->setVCDValue(value, true);
            hasValues |= !pausedSince;
        }
    }
    if (isFirst) vcdModel->traces.endDump();
    return true;
}

/// @return false after a failure
bool QkFileReader::readKeyword(std::string_view token) {
    if (token == "$comment") return skipComment() != 0;
    if (token == "$vcdclose") return skipToEnd(false) != 0;
    if (token == kEnd || isDumpOfValues(token)) return true;
    if (isDumpOff(token)) return beginPause();
    if (isDumpOn(token)) return endPause();
    say("%s:%d: '%.*s' ignored\n", filename.c_str(), lineNumber, static_cast<int>(token.size()),
        token.data());
    return true;
}

/// Until the trace goes on, nothing is driven and nothing compared.
bool QkFileReader::beginPause() {
    if (pausedSince) return true;
    if (!finishTimeStep()) return false;
    if (vcdModel->traces.monitoredCount > 0) checkSyncTimeouts();
    vcdModel->traces.beginPause();
    pausedSince = qk_cycle;
    return true;
}

/// What happened in a pause is not known: the model takes over the values at its end.
bool QkFileReader::endPause() {
    const int line = lineNumber;
    const std::string until = qk_cycle_as_string();
    const std::string since = pausedSince ? qk_time_as_string(*pausedSince) : "";
    if (!pausedSince && !finishTimeStep()) return false;
    pausedSince.reset();
    if (!readDump(false)) return false;
    QkVCDTraces& traces = vcdModel->traces;
    const std::vector<QkVCDTrace*> given = traces.takeDump();
    // The model finds out what follows from its inputs, and loses what it takes for an edge.
    if (!settleModel("resume")) return false;
    traces.takeAgain(given);
    const auto taken = std::count_if(given.begin(), given.end(),
                                     [](const QkVCDTrace* trace) { return trace->isMatched(); });
    const std::string pause = since.empty()
                                  ? "$dumpon at " + until + " without $dumpoff"
                                  : "the trace has no values from " + since + " to " + until;
    say("%s:%d: %s: %d register%s taken over\n", filename.c_str(), line, pause.c_str(),
        static_cast<int>(taken), taken == 1 ? "" : "s");
    return true;
}
