#include "textio/arguments.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "base/memory.h"
#include "base/storage.h"
#include "base/stringbuf.h"
#include "textio/files.h"

// ---- Places of the model

namespace {

constexpr int kCellBytes = 8;

/// @return bits of chunk `i` of a value
int chunkBits(size_t bits, size_t i) {
    return static_cast<int>(std::min<size_t>(bits - i * 64, 64));
}

}  // namespace

Cell::Cell(void* address) : place(address), held(loadStorage(address, kCellBytes)) {}

void Cell::store(uint64_t handle) {
    held = handle;
    storeStorage(place, kCellBytes, handle);
}

TextLine& LineCell::makeNew() {
    uint64_t handle;
    named = addLine(handle);
    store(handle);
    return *named;
}

void Place::store(uint64_t value) const {
    if (place) storeStorage(place, storageBytes(bits), value & bitMask(bits));
}

void VectorPlace::store(size_t chunk, uint64_t value) const {
    const int held = chunkBits(bits, chunk);
    void* const place = chunks.get()[chunk];
    if (place) storeStorage(place, storageBytes(held), value & bitMask(held));
}

void StringPlace::store(std::string_view text) const {
    if (size == 0) {
        if (area) std::reverse_copy(text.begin(), text.end(), area + (length - text.size()));
        return;
    }
    const size_t bits = length * 8;
    for (size_t chunk = (length - text.size()) / 8; chunk * 8 < length; ++chunk) {
        void* const place = chunks.get()[chunk];
        const int bytes = storageBytes(chunkBits(bits, chunk));
        if (!place) continue;
        uint64_t value = loadStorage(place, bytes);
        for (size_t byte = 0; byte < 8 && chunk * 8 + byte < length; ++byte) {
            const size_t index = length - 1 - (chunk * 8 + byte);
            if (index >= text.size()) continue;
            value &= ~(uint64_t{0xff} << (byte * 8));
            value |= uint64_t{static_cast<uint8_t>(text[index])} << (byte * 8);
        }
        storeStorage(place, bytes, value);
    }
}

// ---- Faults

Arguments::Arguments(TaskCall& taskCall, int least, int most)
    : call(taskCall), total(taskCall.count) {
    if (total < least || total > most) fail("ZEFT requires %d to %d arguments", least, most);
}

void Arguments::fail(const char* format, ...) {
    if (hasFailed) return;
    hasFailed = true;
    StringBuf message;
    std::va_list values;
    va_start(values, format);
    message.vformat(format, values);
    va_end(values);
    qk_task_error(call.task, "%s", message.str());
    endRun(1);
}

void Arguments::refuse(int size) {
    fail("Argument %d: Size unexpected (%i)", total - call.count, size);
}

int Arguments::next() {
    if (!hasMore()) return 0;
    --call.count;
    const int marked = va_arg(call.list, int);
    const int size = withoutSignedMark(marked);
    isMarked = size != marked;
    return size;
}

// ---- Handles

namespace {

/// Reads the word of a pair: the address of a handle's cell for size -64, a number for 1 to 32.
uintptr_t qk_read_unit_arg(TaskCall& call, int size) {
    if (size >= 1 && size <= 32)
        return static_cast<uintptr_t>(va_arg(call.list, unsigned) & bitMask(size));
    if (size == -64) return reinterpret_cast<uintptr_t>(va_arg(call.list, void*));
    std::printf("qk_read_unit_arg: Size unexpected (%i)\n", size);
    return 0;
}

}  // namespace

Cell Arguments::cell() {
    const int size = next();
    if (hasFailed) return {};
    void* const place = reinterpret_cast<void*>(qk_read_unit_arg(call, size));
    if (size != -64) {
        refuse(size);
        return {};
    }
    if (!place) {
        fail("Argument %d: Null address", total - call.count);
        return {};
    }
    return Cell(place);
}

LineCell Arguments::line() {
    const Cell plain = cell();
    if (hasFailed) return {};
    const LineCell found(plain);
    if (found.handle() == 0 || found.line()) return found;
    fail("Illegal line handle of %" PRId64, static_cast<int64_t>(found.handle()));
    return {};
}

TextFile* Arguments::file() {
    const int size = next();
    if (hasFailed) return nullptr;
    const uintptr_t word = qk_read_unit_arg(call, size);
    if (size != -64 && (size < 1 || size > 32)) {
        refuse(size);
        return nullptr;
    }
    if (size == -64 && word == 0) {
        fail("Argument %d: Null address", total - call.count);
        return nullptr;
    }
    const uint64_t handle = size == -64 ? Cell(reinterpret_cast<void*>(word)).handle() : word;
    TextFile* const found = findFile(handle);
    if (handle == 0)
        fail("File is not open");
    else if (!found)
        fail("Illegal file handle of %" PRId64, static_cast<int64_t>(handle));
    return found;
}

// ---- Numbers

int64_t Arguments::number() {
    const int size = next();
    if (hasFailed) return 0;
    if (size == 0 || size > 32 || size < -32) {
        refuse(size);
        return 0;
    }
    const bool isSigned = isMarked || widthOf(size) == 32;
    const uint64_t value = readInteger(call, size);
    const uint64_t top = uint64_t{1} << (widthOf(size) - 1);
    return static_cast<int64_t>(isSigned ? (value ^ top) - top : value);
}

int Arguments::code(const char* name, int most, int otherwise) {
    if (!hasMore()) return otherwise;
    const int64_t value = number();
    if (value >= 0 && value <= most) return static_cast<int>(value);
    fail("Illegal value of %" PRId64 " for %s", value, name);
    return otherwise;
}

int64_t Arguments::ticks() {
    const int size = next();
    if (hasFailed) return 0;
    if (size == 64 || size == -64) return static_cast<int64_t>(readInteger(call, size));
    refuse(size);
    return 0;
}

Place Arguments::placeOf(int fewestBits, int mostBits) {
    const int size = next();
    if (hasFailed) return {};
    if (size <= -fewestBits && size >= -mostBits) return {va_arg(call.list, void*), -size};
    refuse(size);
    return {};
}

// ---- Vectors and strings

int Arguments::vectorSize() {
    const int size = next();
    if (hasFailed || size != 0) return size;
    const char* const text = va_arg(call.list, const char*);
    if (!text || *text) refuse(size);
    return 0;
}

VectorPlace Arguments::vectorPlace() {
    const int size = vectorSize();
    if (hasFailed || size == 0) return {};
    if (size < 0) return {widthOf(size), qk_read_this_arg_ptrs(call, size)};
    refuse(size);
    return {};
}

namespace {

/// Reads the characters of a vector, with every byte unchanged.
StringSource readVectorString(TaskCall& call, int size) {
    const size_t length = widthOf(size) / 8;
    OwnedText owned(static_cast<char*>(allocateBlock(length, "qksysvhdl:text")));
    char* at = owned.get() + length;
    while (size != 0) {
        uint64_t chunk = qk_read_chunk(call, size);
        for (int i = 0; i < 8 && at != owned.get(); ++i, chunk >>= 8)
            *--at = static_cast<char>(chunk);
    }
    const std::string_view text(owned.get(), length);
    return {text, std::move(owned)};
}

StringSource readArrayString(const ArrayArgument& array) {
    const size_t length = array.lowestArea ? static_cast<size_t>(array.elements) : 0;
    OwnedText owned(static_cast<char*>(allocateBlock(length + 1, "qksysvhdl:text")));
    const char* const area = static_cast<const char*>(array.lowestArea);
    std::reverse_copy(area, area + length, owned.get());
    const std::string_view text(owned.get(), length);
    return {text, std::move(owned)};
}

}  // namespace

StringSource Arguments::string() {
    const int size = next();
    if (hasFailed) return {};
    if (size != 0 && size % 8 == 0) return readVectorString(call, size);
    if (size == 0) {
        if (const char* const text = va_arg(call.list, const char*)) return {text, nullptr};
        const ArrayArgument array = readArray(call);
        if (array.width == 8) return readArrayString(array);
    }
    refuse(size);
    return {};
}

StringPlace Arguments::stringPlace() {
    const int size = next();
    if (hasFailed) return {};
    if (size < 0 && size % 8 == 0)
        return {widthOf(size) / 8, size, qk_read_this_arg_ptrs(call, size), nullptr};
    if (size == 0) {
        const char* const text = va_arg(call.list, const char*);
        if (text && !*text) return {};
        const ArrayArgument array = text ? ArrayArgument{} : readArray(call);
        if (array.width == 8)
            return {static_cast<size_t>(array.elements), 0, nullptr,
                    static_cast<char*>(array.lowestArea)};
    }
    refuse(size);
    return {};
}

TextArgument Arguments::text() {
    const int size = next();
    if (hasFailed) return {};
    TextArgument argument = readTextArgument(call, size);
    if (!argument.text) argument.text = "";
    return argument;
}
