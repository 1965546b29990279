// A table of the objects that handles denote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "qkzeft_memory.h"

/// Entries by number. They never move: a pointer to one is valid until it is removed.
template <class Entry>
class HandleTable {
public:
    /// @param first  the lowest number that add() returns
    /// @param name   names the table in the message when memory is exhausted
    constexpr HandleTable(size_t first, const char* name) : lowest(first), tag(name) {}

    /// @return the entry, or null
    Entry* find(uint64_t handle) const {
        return handle < count ? entries[static_cast<size_t>(handle)] : nullptr;
    }
    /// Makes an entry, all zeros, with the lowest free number.
    Entry* add(uint64_t& handle) {
        while (find(lowest)) ++lowest;
        handle = lowest;
        return put(lowest++);
    }
    /// Makes an entry with a given number, which must be free.
    Entry* put(size_t handle) {
        if (handle >= count) growTo(handle * 2 + 4);
        entries[handle] = static_cast<Entry*>(qk_realloc(nullptr, sizeof(Entry), tag));
        *entries[handle] = Entry{};
        return entries[handle];
    }
    /// Frees an entry's memory, and its number unless put() made it.
    void remove(uint64_t handle, bool isReusable = true) {
        const auto number = static_cast<size_t>(handle);
        std::free(entries[number]);
        entries[number] = nullptr;
        if (isReusable && number < lowest) lowest = number;
    }

private:
    void growTo(size_t wanted) {
        entries = static_cast<Entry**>(qk_realloc(entries, wanted * sizeof(Entry*), tag));
        while (count < wanted) entries[count++] = nullptr;
    }

    Entry** entries = nullptr;
    size_t count = 0;
    size_t lowest;  ///< add() returns at least this
    const char* tag;
};
