#include "netdb/store.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kTextBlock = 16 * 1024;

size_t roomFor(const char* text) { return (std::strlen(text) + 8) / 8 * 8; }

}  // namespace

TextStore::~TextStore() {
    for (char* block : blocks) std::free(block);
}

const char* TextStore::add(const char* text) {
    const size_t room = roomFor(text);
    char* place;
    if (room > kLargest) {
        place = static_cast<char*>(allocateBlock(room, "net database"));
    } else if ((place = free_[room / 8])) {
        std::memcpy(&free_[room / 8], place, sizeof(char*));
    } else {
        if (left < room) {
            const size_t size = kTextBlock << (blocks.size() < 8 ? blocks.size() : 8);
            at = static_cast<char*>(allocateBlock(size, "net database"));
            blocks.push_back(at);
            left = size;
        }
        place = at;
        at += room;
        left -= room;
    }
    std::strcpy(place, text);
    return place;
}

void TextStore::release(const char* text) {
    char* const place = const_cast<char*>(text);  // it came from add()
    const size_t room = roomFor(text);
    if (room > kLargest) {
        std::free(place);
        return;
    }
    std::memcpy(place, &free_[room / 8], sizeof(char*));
    free_[room / 8] = place;
}
