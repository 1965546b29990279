// The text that a display task builds.
//
// Each task reuses the buffer of the task before. Delivering text may call another task: that one
// finds no free buffer and makes its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

class Line {
public:
    Line() : text(spare.text), capacity(spare.capacity) {
        spare = {};
        if (!text) grow(1);
    }
    ~Line() {
        std::free(spare.text);
        spare = {text, capacity};
    }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    /// Makes room for `count` more characters.
    /// @return where they go; used up by advance()
    char* room(size_t count) {
        if (capacity - used < count) grow(count);
        return text + used;
    }
    void advance(size_t count) { used += count; }
    void add(char c) {
        *room(1) = c;
        advance(1);
    }
    void add(std::string_view piece);
    void fill(size_t count, char c);

    /// Ends the text. If a value contained a NUL, the text ends there.
    /// @param ending  added at the end
    /// @return the text, ended by a NUL; valid until the next change
    std::string_view finish(std::string_view ending);

private:
    void grow(size_t count);

    struct Spare {
        char* text;  ///< null while a task uses it
        size_t capacity;
    };
    static constinit Spare spare;  // never freed: tasks are called until the process ends

    char* text;
    size_t used = 0;
    size_t capacity;
};
