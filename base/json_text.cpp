#include "base/json_text.h"

#include <cstdio>

#include "base/qkassert.h"

namespace {

/// @return the length in bytes of the UTF-8 character at the front (RFC 3629), 0 when there is none
size_t characterLength(std::string_view text) {
    const auto byte = [&](size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const auto continues = [&](size_t i, unsigned low = 0x80, unsigned high = 0xbf) {
        return byte(i) >= low && byte(i) <= high;
    };
    const unsigned lead = byte(0);
    if (lead < 0x80) return 1;
    if (lead >= 0xc2 && lead <= 0xdf) return continues(1) ? 2 : 0;
    if (lead >= 0xe0 && lead <= 0xef) {
        const unsigned low = lead == 0xe0 ? 0xa0 : 0x80, high = lead == 0xed ? 0x9f : 0xbf;
        return continues(1, low, high) && continues(2) ? 3 : 0;
    }
    if (lead < 0xf0 || lead > 0xf4) return 0;
    const unsigned low = lead == 0xf0 ? 0x90 : 0x80, high = lead == 0xf4 ? 0x8f : 0xbf;
    return continues(1, low, high) && continues(2) && continues(3) ? 4 : 0;
}

/// Calls visit(character) for each character, as UTF-8.
template <class Visit>
void eachCharacter(std::string_view text, Visit&& visit) {
    while (!text.empty()) {
        const size_t length = characterLength(text);
        if (length != 0) {
            visit(text.substr(0, length));
        } else {
            const auto byte = static_cast<unsigned char>(text.front());
            const char pair[] = {static_cast<char>(0xc0 | byte >> 6),
                                 static_cast<char>(0x80 | (byte & 0x3f))};
            visit(std::string_view(pair, 2));
        }
        text.remove_prefix(length != 0 ? length : 1);
    }
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string quoted = "\"";
    eachCharacter(text, [&](std::string_view character) {
        const auto byte = static_cast<unsigned char>(character.front());
        if (byte == '"' || byte == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (byte < ' ' || byte == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            quoted += escape;
        } else {
            quoted += character;
        }
    });
    return quoted + '"';
}

std::string xmlText(std::string_view text) {
    std::string escaped;
    eachCharacter(text, [&](std::string_view character) {
        const bool isForbidden = (static_cast<unsigned char>(character.front()) < ' ' &&
                                  character != "\n" && character != "\t") ||
                                 character == "\xef\xbf\xbe" || character == "\xef\xbf\xbf";
        if (isForbidden)
            escaped += '?';
        else if (character == "&")
            escaped += "&amp;";
        else if (character == "<")
            escaped += "&lt;";
        else if (character == ">")
            escaped += "&gt;";
        else if (character == "\"")
            escaped += "&quot;";
        else
            escaped += character;
    });
    return escaped;
}

void JsonText::newLine() {
    written += '\n';
    written.append(2 * levels.size(), ' ');
}

/// Writes what must precede the next member or element: comma, line end, indentation, and its key.
void JsonText::place(std::string_view key) {
    if (!isEmpty) written += ',';
    if (rowDepth != 0)
        written += isEmpty ? "" : " ";
    else if (!levels.empty())
        newLine();
    isEmpty = false;
    if (!key.empty()) written += jsonString(key) + ": ";
}

void JsonText::begin(std::string_view key, char opening, char closing, Layout layout) {
    place(key);
    written += opening;
    levels += closing;
    if (layout == kRow && rowDepth == 0) rowDepth = levels.size();
    isEmpty = true;
}

void JsonText::beginObject(std::string_view key, Layout layout) { begin(key, '{', '}', layout); }
void JsonText::beginArray(std::string_view key, Layout layout) { begin(key, '[', ']', layout); }

void JsonText::end() {
    QK_ASSERT(!levels.empty());
    const char closing = levels.back();
    const bool inRow = rowDepth != 0;
    if (rowDepth == levels.size()) rowDepth = 0;
    levels.pop_back();
    if (!isEmpty && !inRow) newLine();
    written += closing;
    isEmpty = false;
    if (levels.empty()) written += '\n';
}

void JsonText::add(std::string_view key, std::string_view value) {
    place(key);
    written += jsonString(value);
}

void JsonText::add(std::string_view key, bool value) {
    place(key);
    written += value ? "true" : "false";
}

void JsonText::add(std::string_view key, int64_t value) {
    place(key);
    written += std::to_string(value);
}

void JsonText::add(std::string_view key, uint64_t value) {
    place(key);
    written += std::to_string(value);
}

void JsonText::addThousandths(std::string_view key, double value) {
    place(key);
    char number[64];
    std::snprintf(number, sizeof number, "%.3f", value);
    written += number;
}
