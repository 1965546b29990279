#include "validate/header.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/characters.h"
#include "base/qkassert.h"
#include "qkzeft_run.h"
#include "run/printout.h"
#include "run/time.h"
#include "validate/input_buffer.h"
#include "validate/trace_tokens.h"

int HeaderReader::read() {
    for (;;) {
        std::string_view token = tokens.readToken();
        if (tokens.atEnd() || token.empty()) return tokens.report("unexpected end of file");
        tokens.takeGluedEnd(token);
        if (token == "$enddefinitions") {
            if (!addPendingBit(false)) return tokens.report("Error");
            return tokens.skipToEnd(false);
        }
        if (!(isStrict ? readDeclaration(token) : readLooseDeclaration(token))) return 0;
    }
}

int HeaderReader::readDeclaration(std::string_view token) {
    if (token == "$var") return readVar();
    if (token == "$scope") return readScope();
    if (token == "$upscope") return readUpscope();
    if (token == "$timescale") return parseVCDtimescale();
    if (token == "$comment") return tokens.skipToEnd(false);
    if (token == "$dumparray") return skipDumparray();
    if (token == "$version" || token == "$date") {
        qk_printf("VCD %s:", token == "$date" ? "date" : "version");
        const int done = tokens.skipToEnd(true);
        qk_printf("\n");
        return done;
    }
    const bool isKeyword = token.front() == '$';
    tokens.report("header %s: '%.*s'", isKeyword ? "ignored" : "not recognised",
                  static_cast<int>(token.size()), token.data());
    return isKeyword ? tokens.skipToEnd(false) : 0;
}

int HeaderReader::readScope() {
    tokens.readToken();  // the kind
    const std::string_view name = tokens.readToken();
    if (name.empty()) return tokens.skipToEnd(false);
    outerScopes.push_back(currentScope);
    currentScope = vcdModel.findOrCreateScope(currentScope, name, false);
    return tokens.skipToEnd(false);
}

int HeaderReader::readUpscope() {
    if (outerScopes.empty()) {
        tokens.report("Warning: $upscope when at top-level");
    } else {
        currentScope = outerScopes.back();
        outerScopes.pop_back();
    }
    return tokens.skipToEnd(false);
}

int HeaderReader::skipDumparray() {
    tokens.report("dumparray loading not implemented");
    for (;;) {
        const std::string_view token = tokens.readToken();
        if (token == "$enddumparray") return tokens.skipToEnd(false);
        if (token.empty()) return tokens.report("unexpected end of file");
    }
}

namespace {

/// @return the width for a declaration of width 0, or 0 when there is none
int defaultWidth(const std::string& kind) {
    return kind == "parameter" ? 32 : kind == "time" ? 64 : kind == "event" ? 1 : 0;
}

}  // namespace

int HeaderReader::readVar() {
    const std::string kind(tokens.readToken());
    const std::string widthText(tokens.readToken());
    const std::string code(tokens.readToken());
    const std::string name(tokens.readToken(true));
    const bool isReal = kind == "real";
    int width = isReal ? 64 : static_cast<int>(std::strtoll(widthText.c_str(), nullptr, 10));
    if (width == 0) width = defaultWidth(kind);
    if (width <= 0) {
        tokens.report("expected non-zero width while processing: $var %s %s", kind.c_str(),
                      widthText.c_str());
        return 0;
    }
    BitRange range(width - 1, 0);
    range.isRange = false;
    if (!readBitSelect(range)) return 0;
    if (kind == "parameter") {
        if (currentScope) vcdModel.addParameter(code);
        return 1;
    }
    if (!vcdModel.addVariable({code, width, currentScope, name, range, isReal}))
        return tokens.report("Error");
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

/// Reads what may follow a variable's name, up to its `$end`. If that is nothing, the range does
/// not change.
int HeaderReader::readBitSelect(BitRange& range) {
    constexpr const char* expected = "expected bit-select or $end";
    constexpr const char* badlyFormed = "badly formed bit-select";
    const std::string_view first = tokens.readToken();
    if (first == "$end") return 1;
    if (first.empty() || first.front() != '[') return tokens.report("%s", expected);
    SelectText text(first);
    const auto next = [&] { return tokens.readToken(); };
    text.take();
    int left, right;
    if (!text.number(left, next)) return tokens.report("%s", badlyFormed);
    right = left;
    char c = text.peek(next);
    if (c == ':') {
        text.take();
        if (!text.number(right, next)) return tokens.report("%s", badlyFormed);
        c = text.peek(next);
    }
    if (c != ']') return tokens.report("%s", expected);
    text.take();
    if (text.isTokenDone()) text.peek(next);
    if (text.whole() != "$end") return tokens.report("expected bit-select followed by $end");
    range = BitRange(left, right);
    return 1;
}

// ---- Time

int HeaderReader::parseVCDtimescale() {
    timeMultiplier = 1;
    std::string text;
    if (!tokens.skipToEnd(false, &text)) return 0;
    setTimescale(text);
    return 1;
}

/// Sets the unit of the trace from a text such as " 10 ns"; a wrong one is ignored with a message.
void HeaderReader::setTimescale(const std::string& text) {
    const char* const told = skipSpace(text.c_str());
    const char* at = told;
    if (*at == '+') ++at;
    while (*at == '0') ++at;
    bool valid = *at == '1';
    int exponent = 0;
    if (valid)
        for (++at; *at == '0'; ++at) ++exponent;
    at = skipSpace(at);
    constexpr char units[] = "fpnum";
    const auto letter = [&] { return isStrict ? *at : lowerCase(*at); };
    const char* const unit = *at ? std::strchr(units, letter()) : nullptr;
    if (unit) {
        exponent += kFinestExponent + 3 * static_cast<int>(unit - units);
        ++at;
        if (letter() == 's') ++at;
    } else {
        valid &= letter() == 's';
        if (letter() == 's') ++at;
    }
    at = skipSpace(at);
    if (!valid || *at) {
        tokens.report("invalid VCD $timescale \"%s\" ignored", told);
        return;
    }
    if (exponent > 0) {
        tokens.report("VCD $timescale \"%s\" greater than 1 second ignored", told);
        return;
    }
    QK_ASSERT_AS(exponent >= kFinestExponent, "vcd_timescale_exponent >= -15");
    qk_set_timescale("parseVCDtimescale", 0, exponent);
    QK_ASSERT_AS(exponent >= qk_timescale_precision,
                 "vcd_timescale_exponent >= qk_timescale_precision");
    timeMultiplier = kPowersOfTen[exponent - qk_timescale_precision];
}
