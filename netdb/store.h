// Memory for the records and texts of the database.
//
// Records never move, so rings may link them, and each has a number, so indexes may hold 32 bits
// instead of a pointer. A model with a million nets spends most of its start on the first touch of
// this memory: large blocks are requested as huge pages.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "base/memory.h"

/// Records of one type, numbered from 0. Blocks double in size: record `id` is in block log2(id +
/// 64) - 6.
template <class T>
class Store {
public:
    Store() = default;
    ~Store() {
        for (T* block : blocks) std::free(static_cast<void*>(block));
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// @param id  receives the record's number
    /// @return a value-initialised record
    T* make(uint32_t& id) {
        if (!freed.empty()) {
            id = freed.back();
            freed.pop_back();
        } else {
            id = used++;
            const size_t block = blockOf(id);
            if (block == blocks.size())
                blocks.push_back(
                    static_cast<T*>(allocateBlock((kFirst << block) * sizeof(T), "net database")));
        }
        return new (at(id)) T{};
    }
    /// Frees a record's place. The record must have been removed from every ring and index.
    void release(uint32_t id) { freed.push_back(id); }

    T* at(uint32_t id) const {
        const size_t block = blockOf(id);
        return blocks[block] + (size_t{id} + kFirst - (kFirst << block));
    }

private:
    static constexpr size_t kFirst = 64;
    static size_t blockOf(uint32_t id) {
        return static_cast<size_t>(std::bit_width(size_t{id} + kFirst)) - 7;
    }

    std::vector<T*> blocks;
    std::vector<uint32_t> freed;
    uint32_t used = 0;
};

/// Texts of names. The space of a text is a multiple of 8 bytes and is reused after it is released.
class TextStore {
public:
    TextStore() = default;
    ~TextStore();
    TextStore(const TextStore&) = delete;
    TextStore& operator=(const TextStore&) = delete;

    /// @return a copy of `text`
    const char* add(const char* text);
    void release(const char* text);

private:
    static constexpr size_t kLargest = 256;  // longer texts have separate blocks
    std::vector<char*> blocks;
    char* free_[kLargest / 8 + 1] = {};  // by size, linked through their first bytes
    char* at = nullptr;
    size_t left = 0;
};
