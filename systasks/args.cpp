#include "systasks/args.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/storage.h"
#include "base/stringbuf.h"
#include "licence/licence.h"
#include "netdb/database.h"
#include "netdb/store.h"
#include "qkzeft_module.h"
#include "run/console_text.h"
#include "run/life.h"

namespace {

/// @return the magnitude of a size without a mark
unsigned widthOf(int size) {
    return size < 0 ? 0u - static_cast<unsigned>(size) : static_cast<unsigned>(size);
}

template <class Block>
Block* allocate(size_t count, const char* tag) {
    return static_cast<Block*>(allocateBlock(count * sizeof(Block), tag));
}

}  // namespace

void qk_skip_arg(TaskCall& call, int size) {
    while (size != 0) qk_read_chunk(call, size);
}

int qk_arg_chunks(int size) { return static_cast<int>((uint64_t{widthOf(size)} + 63) / 64); }

OwnedChunks qk_read_this_arg_into_array(TaskCall& call, int size) {
    if (size == 0) return nullptr;
    const auto count = static_cast<size_t>(qk_arg_chunks(size));
    OwnedChunks chunks(allocate<uint64_t>(count + 1, "qkzeftsys:qk_read_this_arg_into_array"));
    for (size_t i = 0; i < count; ++i) chunks.get()[i] = qk_read_chunk(call, size);
    chunks.get()[count] = 0;
    return chunks;
}

OwnedPlaces qk_read_this_arg_ptrs(TaskCall& call, int size) {
    if (size >= 0 && size != 32 && size != 64) return nullptr;
    const size_t count = size > 0 ? 1 : static_cast<size_t>(qk_arg_chunks(size));
    OwnedPlaces places(allocate<void*>(count + 1, "qkzeftsys:qk_read_this_arg_ptrs"));
    for (size_t i = 0; i < count; ++i) places.get()[i] = va_arg(call.list, void*);
    places.get()[count] = nullptr;
    return places;
}

// ---- Texts and arrays

ArrayArgument readArray(TaskCall& call) {
    va_arg(call.list, int);
    ArrayArgument array{};
    array.width = va_arg(call.list, uint64_t) & UINT32_MAX;
    array.elements = va_arg(call.list, uint64_t);
    array.third = va_arg(call.list, uint64_t);
    array.fourth = va_arg(call.list, uint64_t);
    for (uint64_t bits = 0; bits < array.width; bits += 64) {
        void* const area = va_arg(call.list, void*);
        if (bits == 0) array.lowestArea = area;
    }
    return array;
}

OwnedText qk_read_this_arg_as_array_string(TaskCall& call) {
    const ArrayArgument array = readArray(call);
    if (array.width != 8 || !array.lowestArea) return nullptr;
    const size_t count = licensed(Gate::kArrayString) ? static_cast<size_t>(array.elements) : 0;
    OwnedText text(allocate<char>(count + 1, "qkzeftsys:qk_read_this_arg_as_array_string"));
    const char* const area = static_cast<const char*>(array.lowestArea);
    std::reverse_copy(area, area + count, text.get());
    text.get()[count] = '\0';
    return text;
}

void skipText(TaskCall& call) {
    if (!va_arg(call.list, const char*)) readArray(call);
}

TextArgument readTextArgument(TaskCall& call, int size) {
    OwnedText owned;
    if (size != 0) {
        owned = qk_Cstr_of_Vstr(qk_read_this_arg_into_array(call, size).get(), size);
    } else if (const char* const text = va_arg(call.list, const char*)) {
        return {text, nullptr};
    } else {
        owned = qk_read_this_arg_as_array_string(call);
    }
    const char* const text = owned.get();
    return {text, std::move(owned)};
}

TextArgument readNameArgument(TaskCall& call, int size) {
    if (size == 0 || qk_strict) return readTextArgument(call, size);
    const OwnedChunks chunks = qk_read_this_arg_into_array(call, size);
    unsigned bits = widthOf(size) / 8 * 8;  // a partial top byte is left out
    const auto isNul = [&](unsigned low) {
        return (chunks.get()[low / 64] >> low % 64 & 0xff) == 0;
    };
    while (bits > 0 && isNul(bits - 8)) bits -= 8;
    OwnedText owned = qk_Cstr_of_Vstr(chunks.get(), static_cast<int>(bits));
    const char* const text = owned.get();
    return {text, std::move(owned)};
}

uint64_t readInteger(TaskCall& call, int size) {
    if (size == 0) {
        skipText(call);
        return 0;
    }
    const uint64_t low = qk_read_chunk(call, size);
    qk_skip_arg(call, size);
    return low;
}

OwnedText qk_Cstr_of_Vstr(const uint64_t* chunks, int size) {
    const size_t length = widthOf(size) / 8;  // an incomplete top byte is left out
    OwnedText text(allocate<char>(length + 1, "qkzeftsys:qk_Cstr_of_Vstr"));
    for (size_t i = 0; i < length; ++i) {
        const size_t byte = length - 1 - i;
        const char c = static_cast<char>(chunks[byte / 8] >> (byte % 8 * 8));
        text.get()[i] = c ? c : ' ';
    }
    text.get()[length] = '\0';
    return text;
}

size_t storeText(int size, size_t length, const char* text, void* const* places) {
    const auto chunks = static_cast<size_t>(qk_arg_chunks(size));
    size_t left = length;
    for (size_t i = 0; i < chunks; ++i) {
        uint64_t chunk = 0;
        for (unsigned byte = 0; byte < 8 && left > 0; ++byte) {
            // A character above 127 counts as a negative number, whose sign fills the bits above
            // it.
            const uint64_t c = static_cast<unsigned char>(text[--left]);
            chunk |= ((c ^ 0x80) - 0x80) << (8 * byte);
        }
        const int bits = i + 1 < chunks ? 64 : static_cast<int>((widthOf(size) - 1) % 64 + 1);
        if (places[i]) storeStorage(places[i], storageBytes(bits), chunk & bitMask(bits));
    }
    return length - left;
}

// ---- Faults

namespace {

__attribute__((format(printf, 2, 0))) void printFault(const char* task, const char* format,
                                                      std::va_list arguments) {
    qk_printf("\nError in ZEFT system task/function %s:\n", task);
    StringBuf message;
    message.vformat(format, arguments);
    qk_printf("%s\n", message.str());
}

}  // namespace

void qk_task_error(const char* task, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    printFault(task, format, arguments);
    va_end(arguments);
}

void failTask(const TaskCall& call, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    printFault(call.task, format, arguments);
    va_end(arguments);
    endRun(1);
}

void endRun(int status) {
    runStatus = status;
    finishRun();
    qk_exit(status);
}
