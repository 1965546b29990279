#include "validate/body.h"

#include <cstdlib>

#include "qkzeft_run.h"
#include "run/printout.h"
#include "run/time.h"
#include "validate/tokens.h"
#include "validate/trace_tokens.h"
#include "validate/vcd_model.h"

BodyReader::~BodyReader() { Dtable_map(&constants, nullptr, Dtable_freeValue); }

void BodyReader::start(QkVCDModel& model, bool strict, bool loading) {
    vcdModel = &model;
    isStrict = strict;
    isLoading = loading;
    damaged = false;
    pausedSince.reset();
    Dtable_map(&constants, nullptr, Dtable_freeValue);
    timeMultiplier = 1;
}

bool BodyReader::readTimeLine(std::string_view token) {
    if (!isStrict && !isLoading) return parseTime(token, qk_cycle);
    const std::string digits(token.substr(1));
    const char* end;
    const uint64_t time = atottmaxu(digits.c_str(), &end) * timeMultiplier;
    if (end != digits.c_str() && time >= qk_cycle) {
        qk_cycle = time;
        return true;
    }
    tokens.report("at time %s: #%s ignored", qk_cycle_as_string(), digits.c_str());
    return true;
}

// ---- Values

/// @return null, with a message
QkVCDId* BodyReader::failAtDigit(std::string_view value, size_t stray) const {
    tokens.report("invalid character '%c' in bitstring '%.*s'", value[stray],
                  static_cast<int>(value.size()), value.data());
    return nullptr;
}

/// @return null, with a message
QkVCDId* BodyReader::failAtCode(std::string_view code) const {
    tokens.report("VCD signal '%.*s' not recognised", static_cast<int>(code.size()), code.data());
    return nullptr;
}

/// @return `id`, or null with a message when a value has more digits than it takes
QkVCDId* BodyReader::checkedWidth(QkVCDId* id, std::string_view value) const {
    if (value.size() <= static_cast<size_t>(id->width)) return id;
    tokens.report("signal '%s': width %d exceeded (%d bits given)", id->vcdId.c_str(), id->width,
                  static_cast<int>(value.size()));
    return nullptr;
}

QkVCDId* BodyReader::readValueLine(std::string_view first, std::string_view& value,
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
        // Reading the next token may overwrite this one.
        if (!tokens.isTokenAhead()) {
            valueText = value;
            value = valueText;
        }
        code = tokens.readToken();
    } else {
        if (kBitDigits.find(kind) == std::string_view::npos) {
            tokens.report("invalid value line containing '%.*s'", static_cast<int>(first.size()),
                          first.data());
            return nullptr;
        }
        value = first.substr(0, 1);
        code = first.substr(1);
    }
    QkVCDId* const id = vcdModel->findId(code);
    if (!id) return failAtCode(code);
    if (id->isParameter) {
        if (!passedOver) return nullptr;
        *passedOver = true;
        return nullptr;
    }
    if (isReal && !id->isReal) {
        // A real for a variable that is not a real: of its characters only these are digits.
        const size_t stray = findStray(value, kBitDigits);
        if (stray != std::string_view::npos) return failAtDigit(value, stray);
    }
    return checkedWidth(id, value);
}

// ---- Dumps of all values

/// @return 0, with a message
int BodyReader::failInDump() const {
    say("%s:%d  - unexpected end of file while reading $dumpvars\n", tokens.path().c_str(),
        tokens.line());
    return 0;
}

int BodyReader::readInitialValues(bool expectDumpvars) {
    if (!isStrict && !isLoading) return readDump(expectDumpvars);
    vcdModel->bindVariables();
    if (expectDumpvars) {
        std::string_view token = tokens.readToken();
        if (!token.empty() && token.front() == '#') {
            if (!readTimeLine(token)) return 0;
            token = tokens.readToken();
        }
        if (token != "$dumpvars") return 0;
    }
    for (;;) {
        const std::string_view token = tokens.readToken();
        if (token == "$end") break;
        if (token.empty()) return failInDump();
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
