// setvv: virtual variables, catenations of slices of nets and of constants.
//
// All elements are read and found before anything is made or added, so that a failed command
// changes nothing.
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "base/literals.h"
#include "console/handlers.h"
#include "console/user_handle.h"
#include "console/words.h"
#include "handles/handles.h"
#include "handles/virtual_variables.h"
#include "netdb/database.h"
#include "run/failure.h"
#include "run/printout.h"

namespace {

constexpr const char* kNoSuchNetText = "failure: %s matches none or more than one nets\n";
constexpr const char* kNoNameText = "failure: no name is specified for the PV\n";

// ---- Reading elements

/// The text before the next of `stops`, without white space around it.
std::string takeUpTo(const char*& text, const char* stops) {
    const size_t length = std::strcspn(text, stops);
    std::string_view taken(text, length);
    text += length;
    while (!taken.empty() && isSpace(taken.front())) taken.remove_prefix(1);
    while (!taken.empty() && isSpace(taken.back())) taken.remove_suffix(1);
    return std::string(taken);
}

bool readInt(const std::string& text, int& value) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') return false;
    // A number that cannot be a bound or a width stays outside all of them.
    value = errno || number > INT_MAX ? INT_MAX
            : number < INT_MIN        ? INT_MIN
                                      : static_cast<int>(number);
    return true;
}

/// Reads "<pattern>)" after a width. Prints an error if it is wrong.
bool readIdleBits(const char*& text, const std::string& width, ElementRequest& element) {
    const std::string pattern = takeUpTo(++text, ")");
    const bool isClosed = *text == ')';
    if (isClosed) ++text;
    int bits;
    if (!readInt(width, bits)) {
        printFailure("failure: %s(%s) has an invalid width\n", width.c_str(), pattern.c_str());
        return false;
    }
    QkMaxuList* list = nullptr;
    if (!isClosed || !parseValue(pattern.c_str(), list)) {
        printFailure("failure: %s(%s) has an invalid pattern\n", width.c_str(), pattern.c_str());
        return false;
    }
    const OwnedList value(list);
    if (listWidth(list) > kMostIdleBits || bits < 1 || bits > kMostIdleBits) {
        printFailure("failure: %s(%s) has an invalid width, width must be within [1, %d]\n",
                     width.c_str(), pattern.c_str(), kMostIdleBits);
        return false;
    }
    element = ElementRequest::ofIdleBits(bits, list->value);
    return true;
}

/// Reads "<msb>:<lsb>]" after a net. Prints an error if it is wrong.
bool readSlice(const char*& text, ElementRequest& element) {
    const std::string left = takeUpTo(++text, ":],");
    const bool hasRight = *text == ':';
    const std::string right = hasRight ? takeUpTo(++text, "],") : "";
    const bool isClosed = *text == ']';
    if (isClosed) ++text;
    int leftBound, rightBound;
    const std::string source = element.source;
    if (!readInt(left, leftBound)) {
        printFailure("failure: %s[%s:%s] has an invalid left bound\n", source.c_str(), left.c_str(),
                     right.c_str());
        return false;
    }
    if (!isClosed || !readInt(right, rightBound)) {
        printFailure("failure: %s[%s:%s] has an invalid right bound\n", source.c_str(),
                     left.c_str(), right.c_str());
        return false;
    }
    element = ElementRequest::ofSlice(source.c_str(), leftBound, rightBound);
    return true;
}

/// Reads an element up to the comma after it, or the end. Prints an error if it is wrong.
bool readElement(const char*& text, ElementRequest& element) {
    text = skipSpace(text);
    const char* const start = text;
    const std::string word = takeNetName(text, "(,");
    element = ElementRequest::ofNet(word.c_str());
    text = skipSpace(text);
    if (*text == '(') {
        if (!readIdleBits(text, word, element)) return false;
    } else if (*text == '[') {
        if (!readSlice(text, element)) return false;
    }
    text = skipSpace(text);
    if (*text && *text != ',') {  // not an element, and not a net either
        text = start;
        element = ElementRequest::ofNet(takeUpTo(text, ",").c_str());
    }
    if (!element.idle && element.source.empty()) {
        printFailure("failure: no data slice is defined\n");
        return false;
    }
    return true;
}

// ---- Printing

std::string elementText(const ElementRequest& request, bool withBounds) {
    char text[64];
    if (request.idle) {
        std::snprintf(text, sizeof text, "%d'h%" PRIx64, request.idleWidth, request.idleValue);
        return text;
    }
    std::snprintf(text, sizeof text, "[%d:%d]", request.left, request.right);
    return std::string(FullName(request.net).c_str()) + (withBounds ? text : "");
}

void sayElementError(int code, const ElementRequest& request) {
    const std::string text = request.net ? elementText(request, !request.whole) : "";
    switch (code) {
        case kSourceIsArray: printFailure("failure: %s is an array\n", text.c_str()); return;
        case kSourceIsVirtual: printFailure("failure: %s itself is a PV\n", text.c_str()); return;
        case kOutOfRange:
            if (request.idle)
                printFailure("failure: %d('h%" PRIx64 ") has an invalid range\n", request.idleWidth,
                             request.idleValue);
            else
                printFailure("failure: %s has an invalid range\n",
                             elementText(request, true).c_str());
            return;
        default: printFailure(kNoSuchNetText, request.source.c_str());
    }
}

void sayNameError(int code, const std::string& name) {
    switch (code) {
        case kNoSuchNet: printFailure(kNoSuchNetText, name.c_str()); return;
        case kNotVirtual: printFailure("failure: %s is not a PV\n", name.c_str()); return;
        case kNoName: printFailure(kNoNameText); return;
        case kNameTaken:
            printFailure("failure: %s.%s matches the name of another net\n",
                         qkDatabase->top_scopes->fullName.str(), name.c_str());
            return;
        case kSaveInProgress:
            printFailure("failure: continuous save in progress, cannot add/delete PV\n");
            return;
        case kNameGone: printFailure("failure: cannot find the variable in the model\n"); return;
        default: printFailure("failure: unexpectedly\n");
    }
}

// ---- The three forms

/// Reads and finds all elements. Prints an error if one is wrong.
/// @param width  bits that the variable already has
std::optional<std::vector<ElementRequest>> readElements(const char* text, int width) {
    std::vector<ElementRequest> elements;
    for (;;) {
        ElementRequest& request = elements.emplace_back();
        if (!readElement(text, request)) return std::nullopt;
        int code = resolve(request);
        if (!code && request.element.width > kMostVirtualBits - width) code = kOutOfRange;
        if (code) {
            sayElementError(code, request);
            return std::nullopt;
        }
        width += request.element.width;
        if (*text != ',') return elements;
        ++text;
    }
}

/// Adds elements to a variable, which is made if it is null.
void extend(QkName* variable, const std::string& name,
            const std::vector<ElementRequest>& elements) {
    const char* done = variable ? "catenated with" : "created as";
    if (!variable) variable = qkDatabase->addVirtual(name.c_str());
    for (const ElementRequest& element : elements) {
        extendVirtual(variable, element);
        say("%s is %s %s\n", FullName(variable).c_str(), done, elementText(element, true).c_str());
        done = "catenated with";
    }
}

void create(const std::string& name, const char* text) {
    if (const int code = checkNewName(name.c_str())) {
        sayNameError(code, name);
    } else if (const auto elements = readElements(text, 0)) {
        extend(nullptr, name, *elements);
    }
}

void add(const std::string& name, const char* text) {
    int code;
    QkName* const variable = findVirtual(name.c_str(), code);
    if (variable) code = checkExtensible(variable);
    if (!variable || code) {
        sayNameError(code, name);
    } else if (const auto elements = readElements(text, variable->extension->range.width)) {
        extend(variable, name, *elements);
    }
}

void remove(const std::string& name, const char* rest) {
    if (*rest) {
        printFailure("failure: %s is redundant for %s\n", rest, "delete");
        return;
    }
    int code;
    QkName* const found = findVirtual(name.c_str(), code);
    if (found) {
        const std::string fullName = FullName(found).c_str();
        QkVariable* variable = qkHandles->give(found);
        code = deleteVirtual(variable);
        if (!code) say("%s is deleted\n", fullName.c_str());
        if (variable) qkHandles->giveBack(variable);
    }
    if (code) sayNameError(code, name);
}

}  // namespace

int setvvCommand(const char* argument) {
    const char* text = argument;
    const std::string name = takeWord(text, "=+");
    text = skipSpace(text);
    const bool adds = text[0] == '+' && text[1] == '=';
    const std::string op = adds ? "+=" : *text == '=' ? "=" : takeWord(text);
    if (adds || op == "=") text += op.size();
    text = skipSpace(text);

    if (name.empty())
        printFailure(adds ? "failure: no PV is specified for the operation\n" : kNoNameText);
    else if (op == "=")
        create(name, text);
    else if (adds)
        add(name, text);
    else if (op == "delete")
        remove(name, text);
    else
        printFailure("failure: %s is an invalid operator\n", op.c_str());
    return 1;
}
