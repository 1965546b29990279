// Declarations as simulators really write them, which is not always as IEEE 1364-2005, 18.2, has
// it. In strict mode none of this is in force.
#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "run/printout.h"
#include "validate/header.h"
#include "validate/tokens.h"
#include "validate/trace_tokens.h"

namespace {

bool isHeaderKeyword(std::string_view token) {
    constexpr std::array<std::string_view, 8> keywords = {
        "$comment", "$date", "$enddefinitions", "$scope", "$timescale",
        "$upscope", "$var",  "$version"};
    return std::find(keywords.begin(), keywords.end(), token) != keywords.end();
}

}  // namespace

int HeaderReader::readLooseDeclaration(std::string_view token) {
    if (token == "$var") return readLooseVar();
    if (token == "$comment") return tokens.skipComment();
    if (!addPendingBit(false)) return tokens.report("Error");
    if (token == "$scope") return readLooseScope();
    if (token == "$version") return readUnclosedText("version");
    if (token == "$date") return readUnclosedText("date");
    if (token == "$attrbegin" || token == "$attrend") return tokens.skipToEnd(false);
    return readDeclaration(token);
}

/// Prints the text of a `$version` or `$date`, which the next keyword may end.
int HeaderReader::readUnclosedText(const char* what) {
    const int from = tokens.line();
    std::string text = std::string("VCD ") + what + ":";
    bool isClosed = tokens.takeEndAhead(), isEnded = false;
    while (!isClosed && !isEnded) {
        std::string_view token = tokens.readToken();
        if (token.empty()) {
            say("%s\n%s:%d: $end missing to end of file\n", text.c_str(), tokens.path().c_str(),
                from);
            return 0;
        }
        isClosed = token == kEnd;
        isEnded = isHeaderKeyword(token);
        if (isEnded) tokens.hold(token);
        if (isClosed || isEnded) break;
        isClosed = endsWith(token, kEnd);
        if (isClosed) token.remove_suffix(kEnd.size());
        text.append(" ").append(token);
    }
    say("%s\n", text.c_str());
    if (isEnded) tokens.reportAt(from, "Warning: $%s has no $end", what);
    return 1;
}

/// Reads the words up to an `$end`, which may be glued to a bracket, with one blank between two.
bool HeaderReader::readWords(std::string& text) {
    const int from = tokens.line();
    text.clear();
    for (int words = 0;; ++words) {
        constexpr int most = 1000;
        const std::string_view token = tokens.readToken();
        if (token == kEnd) return true;
        if (token.empty()) {
            tokens.reportAt(from, kEndMissing);
            return false;
        }
        if (words > 0 && (words > most || isHeaderKeyword(token))) {
            tokens.reportAt(from, kEndMissingBy, tokens.line());
            return false;
        }
        if (words > 0) text += ' ';
        text += token;
        if (!endsWith(token, "]$end") && !endsWith(token, ")$end")) continue;
        text.resize(text.size() - kEnd.size());
        return true;
    }
}

int HeaderReader::readLooseScope() {
    std::string text;  // the kind, and the name if there is one
    if (!readWords(text)) return 0;
    const size_t blank = text.find(' ');
    outerScopes.push_back(currentScope);
    if (blank != std::string_view::npos)
        currentScope = vcdModel.findOrCreateChild(currentScope, text.substr(blank + 1));
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

int HeaderReader::readLooseVar() {
    const int line = tokens.line();
    const std::string kind(tokens.readToken());
    std::string widthText(tokens.readToken());
    // Extended VCD (18.4) has ports, whose codes begin with '<', and bounds in place of a width.
    const bool hasWidth = widthText.substr(0, 1) != "<";
    const std::string code = hasWidth ? std::string(tokens.readToken()) : widthText;
    if (!hasWidth) widthText = "1";
    std::string text;
    if (!readWords(text)) return 0;
    if (kind == "parameter" || kind == "real_parameter") {
        vcdModel.addParameter(code);
        return 1;
    }
    BitRange bounds;
    if (widthText.substr(0, 1) == "[") bounds = parseDeclaredName("x " + widthText, 1).range;
    if (bounds.isRange) widthText = std::to_string(bounds.width);
    const Declared declared = declaredAs(kind, widthText);
    if (declared.width == 0) {
        tokens.reportAt(line, "expected non-zero width while processing: $var %s %s", kind.c_str(),
                        widthText.c_str());
        return 0;
    }
    DeclaredName name = parseDeclaredName(text, declared.width);
    if (name.name.empty())
        return tokens.report("%s",
                             text.empty() ? "expected a name" : "expected bit-select or $end");
    if (bounds.isRange && !name.range.isRange) name.range = bounds;
    return addLooseVar(code, name, declared.kind, declared.width) || tokens.report("Error");
}

/// A single bit `q[3]` waits for what follows: with another bit of `q` it is one of that net.
bool HeaderReader::addLooseVar(const std::string& code, const DeclaredName& declared,
                               ValueKind kind, int width) {
    if (declared.bitBracket == 0 || kind != ValueKind::kDigits)
        return addPendingBit(false) &&
               vcdModel.addVariable(
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
bool HeaderReader::addPendingBit(bool asBit) {
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
        good = vcdModel.addVariable(declared);
    }
    if (!asBit) pendingBit.reset();
    return good;
}
