// Writes JSON (RFC 8259). Equal values give equal text, so that two files can be compared line by
// line.
//
// Members are written in the order in which they are added. A container takes several lines, or, if
// it is begun as a row, one line with everything in it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class JsonText {
public:
    enum Layout : bool { kLines, kRow };

    /// Begins an object or array. @param key of a member; empty for an element and for the
    /// outermost object
    void beginObject(std::string_view key = {}, Layout layout = kLines);
    void beginArray(std::string_view key = {}, Layout layout = kLines);
    /// Ends the object or array begun last.
    void end();

    void add(std::string_view key, std::string_view value);
    void add(std::string_view key, const char* value) { add(key, std::string_view(value)); }
    void add(std::string_view key, bool value);
    void add(std::string_view key, int64_t value);
    void add(std::string_view key, uint64_t value);
    void add(std::string_view key, int value) { add(key, int64_t{value}); }
    /// Adds a number with three decimals.
    void addThousandths(std::string_view key, double value);

    /// @return the text, after every object and array has been ended
    const std::string& text() const { return written; }

private:
    void begin(std::string_view key, char opening, char closing, Layout layout);
    void place(std::string_view key);
    void newLine();

    std::string written;
    std::string levels;   ///< closing brackets, the outermost first
    size_t rowDepth = 0;  ///< levels when a row was begun; 0: outside rows
    bool isEmpty = true;  ///< the container begun last has no entries yet
};

/// @return text between quotes. Bytes that are not UTF-8 count as characters of ISO 8859-1.
std::string jsonString(std::string_view text);

/// @return text for an attribute or element of XML, with bytes as above; characters that XML does
///         not allow become '?'
std::string xmlText(std::string_view text);
