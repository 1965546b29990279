// Bodies of traces as simulators really write them, which is not always as IEEE 1364-2005, 18.2,
// has it.
//
// What cannot matter to the comparison is passed over and reported once a kind; what could change
// its outcome is an error. In strict mode none of this is in force.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "base/stringbuf.h"
#include "netdb/database.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "validate/body.h"
#include "validate/input_buffer.h"
#include "validate/tokens.h"
#include "validate/trace_tokens.h"
#include "validate/vcd_model.h"

std::string BodyReader::timeWords(std::string_view token) {
    std::string line(token);
    if (!isStrict && line.size() == 1 && tokens.isTokenOnLine()) line += tokens.readToken();
    return line;
}

/// Reads a time that is not before the present one. @return false with a message
bool BodyReader::parseTime(std::string_view token, uint64_t& time) {
    const std::string_view digits = token.substr(1);
    uint64_t read = 0;
    bool fits = true, isNumber = !digits.empty();
    for (const char c : digits) {
        isNumber &= c >= '0' && c <= '9';
        fits &= !__builtin_mul_overflow(read, uint64_t{10}, &read) &&
                !__builtin_add_overflow(read, static_cast<uint64_t>(c - '0'), &read);
    }
    fits &= !__builtin_mul_overflow(read, timeMultiplier, &read);
    if (isNumber && fits && read >= qk_cycle) {
        time = read;
        return true;
    }
    damaged = true;
    const std::string before = std::string("is before ") + qk_cycle_as_string();
    tokens.report("time '%.*s' %s: the trace is damaged", static_cast<int>(token.size()),
                  token.data(),
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

QkVCDId* BodyReader::readLooseValue(std::string_view first, std::string_view& value, bool* passed) {
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
            tokens.isTokenOnLine()) {  // NOLINT(bugprone-branch-clone)
            code = tokens.readToken();
        } else if (split == std::string_view::npos) {
            code = tokens.readToken();
        } else if (split != 0) {
            codeText = valueText.substr(split);
            code = codeText;
            valueText.resize(split);
        } else {
            return failAtDigit(valueText, 0);
        }
    } else if (form) {
        codeText = tokens.lastOnLine();
        code = codeText;
    } else if (kLogicDigits.find(valueText.front()) == std::string_view::npos ||
               (valueText.size() == 1 && !tokens.isTokenOnLine())) {
        tokens.report("invalid value line containing '%s'", valueText.c_str());
        return nullptr;
    } else {
        codeText = valueText.size() == 1 ? tokens.readToken() : valueText.substr(1);
        code = codeText;
        valueText.resize(1);
    }
    QkVCDId* const id = vcdModel->findId(code);
    if (!id) return failAtCode(code);
    if (form == 'p') portToBitDigits(valueText);
    if (form == 0 || form == 'b') toBitDigits(valueText);
    value = valueText;
    return takeLooseValue(id, form == 'r' || form == 's' ? form : 'b', value, *passed);
}

/// @param form  b for digits, r for a real, s for a text
QkVCDId* BodyReader::takeLooseValue(QkVCDId* id, char form, std::string_view& value, bool& passed) {
    const auto pass = [&](const char* kind) {
        if (kind && !pausedSince) tokens.passOver(kind);
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
        tokens.report("'%c%.*s' is no value for '%s', which is linked to the model", form,
                      static_cast<int>(value.size()), value.data(), id->vcdId.c_str());
        return nullptr;
    }
    return checkedWidth(id, value);
}

/// @return whether a parameter has the value that it had; if not, with a message
bool BodyReader::takeConstant(const QkVCDId& id, const std::string& value) {
    const void* const known = Dtable_get(constants, 0, &id, Dtable_comparePointers);
    if (!known) {
        const void* key = &id;
        void* text = duplicate(value.c_str(), "reference trace");
        Dtable_put(&constants, 0, const_cast<void**>(&key), &text, Dtable_comparePointers);
        return true;
    }
    const char* const before = static_cast<const char*>(known);
    if (value == before) return true;
    tokens.report("parameter '%s' has the value %s, and had %s before", id.vcdId.c_str(),
                  value.c_str(), before);
    return false;
}

/// Makes 64 digits of a real: those of the integer next to it, or unknown ones when there is none.
/// @return whether the text is that of a number
bool BodyReader::takeReal(std::string_view& value) {
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

// ---- Dumps of all values

bool isDumpOn(std::string_view token) { return token == "$dumpon" || token == "$dumpportson"; }
bool isDumpOff(std::string_view token) { return token == "$dumpoff" || token == "$dumpportsoff"; }

namespace {

bool isDumpOfValues(std::string_view token) {
    return token == "$dumpvars" || token == "$dumpall" || token == "$dumpports" ||
           token == "$dumpportsall";
}

}  // namespace

bool BodyReader::readDump(bool isFirst) {
    vcdModel->bindVariables();
    bool hasValues = false, hasBlock = false, inBlock = false;
    for (bool isOver = false; !isOver;) {
        const std::string_view token = tokens.readToken();
        if (token.empty()) {
            if (tokens.input()->failure()) return false;
            if (!inBlock && (hasValues || hasBlock || !isFirst)) break;
            return failInDump() != 0;
        }
        if (token.front() == '#') {
            const std::string line = timeWords(token);
            uint64_t time;
            if (!parseTime(line, time)) return false;
            isOver = time > qk_cycle && (hasValues || !isFirst);
            if (isOver)
                tokens.hold(line);
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

bool BodyReader::readKeyword(std::string_view token) {
    if (token == "$comment") return tokens.skipComment() != 0;
    if (token == "$vcdclose") return tokens.skipToEnd(false) != 0;
    if (token == kEnd || isDumpOfValues(token)) return true;
    tokens.reportIgnored(token);
    return true;
}
