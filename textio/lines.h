// Lines of text, which the model identifies by handles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// A line: characters of any code, of which those before `first` have been read. Reading moves
/// `first`; the rest is moved to the front only when room is needed, at most once for as many
/// characters as were read.
struct TextLine {
    char* bytes;
    size_t used;
    size_t capacity;
    size_t first;

    std::string_view rest() const { return {bytes + first, used - first}; }
    /// Removes characters from the front.
    void take(size_t count) {
        first += count;
        if (first == used) clear();
    }
    void clear() { first = used = 0; }
    /// Makes room for `count` more characters. Ends the process if the line gets longer than 2^31 -
    /// 1 characters.
    /// @return where they go; they belong to the line once they have been added to `used`
    char* room(size_t count) {
        if (capacity - used < count) grow(count);
        return bytes + used;
    }
    void append(std::string_view text);
    void fill(size_t count, char c);

private:
    void grow(size_t count);
};

/// @return the line of a handle, or null
TextLine* findLine(uint64_t handle);
/// Makes an empty line. @param handle  receives its handle, which is not 0
TextLine* addLine(uint64_t& handle);
/// Frees a line, if there is one.
void removeLine(uint64_t handle);
