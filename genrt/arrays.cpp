// Operations on whole arrays.
//
// The number of pointers in the argument list follows from the element width, which is not checked.
// All areas except the highest have elements of 8 bytes.
#include "qkzeft_arrays.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>

#include "base/qkassert.h"
#include "base/storage.h"
#include "netdb/master_assigns.h"

namespace {

/// An argument list that is read in pieces.
struct ArgumentList {
    std::va_list list;
};

/// One word of an argument list for each chunk of an element. A few are stored without allocation.
template <class Word>
class ChunkWords {
public:
    ChunkWords(ArgumentList& from, uint64_t count)
        : many(count > std::size(few) ? new Word[count] : nullptr), words(many ? many.get() : few) {
        for (uint64_t i = 0; i < count; ++i) words[i] = va_arg(from.list, Word);
    }
    Word operator[](uint64_t i) const { return words[i]; }

private:
    Word few[8];
    std::unique_ptr<Word[]> many;
    Word* words;
};

uint64_t chunkCount(uint64_t width) { return width / 64 + (width % 64 != 0); }

/// @return bits of the highest chunk; 0 for a width that is a multiple of 64
int topWidth(uint64_t width) { return static_cast<int>(width % 64); }

/// @return bytes of an element in the area of a chunk
int elementBytes(uint64_t width, uint64_t chunk) {
    const bool isFull = chunk + 1 < chunkCount(width) || topWidth(width) == 0;
    return isFull ? 8 : storageBytes(topWidth(width));
}

/// @return a mask of the bits that a chunk of a value has
uint64_t chunkMask(uint64_t width, uint64_t chunk) {
    const bool isFull = chunk + 1 < chunkCount(width) || topWidth(width) == 0;
    return bitMask(isFull ? 64 : topWidth(width));
}

/// An array as described by its descriptor.
struct Array {
    explicit Array(ArgumentList& from)
        : width(va_arg(from.list, uint64_t)),
          elements(va_arg(from.list, uint64_t)),
          unused{va_arg(from.list, uint64_t), va_arg(from.list, uint64_t)},
          areas(from, chunkCount(width)) {}

    uint64_t width;
    uint64_t elements;
    uint64_t unused[2];
    ChunkWords<const char*> areas;
};

MasterArrayAssign* changeList(uint64_t handle) {
    return reinterpret_cast<MasterArrayAssign*>(static_cast<uintptr_t>(handle));
}

}  // namespace

int qk_array_write_check_fn(int report, const char* array_name, unsigned index, uint64_t handle,
                            unsigned max) {
    if (index > max) {
        if (report)
            std::printf("ZEFT: bad index in write to array \"%s\": index is %u, max is %u\n",
                        array_name, index, max);
        return 0;
    }
    if (handle) changeList(handle)->note(index);
    return 1;
}

// ---- Copying

void qk_copy_array(uint64_t l_wid, uint64_t l_elem_count, uint64_t, uint64_t handle, ...) {
    const uint64_t n_chunks = chunkCount(l_wid);
    if (!QK_CHECK(n_chunks > 0)) return;
    ArgumentList arguments;
    va_start(arguments.list, handle);
    const ChunkWords<char*> left(arguments, n_chunks);
    const Array right(arguments);
    va_end(arguments.list);
    const uint64_t r_wid = right.width, r_elem_count = right.elements;
    QK_ASSERT(r_wid == l_wid);
    QK_ASSERT(l_elem_count == r_elem_count);
    if (r_wid != l_wid || l_elem_count != r_elem_count) return;

    for (uint64_t chunk = n_chunks; chunk-- > 0 && l_elem_count > 0;)
        std::memmove(
            left[chunk], right.areas[chunk],
            static_cast<size_t>(l_elem_count) * static_cast<unsigned>(elementBytes(l_wid, chunk)));
    if (handle) changeList(handle)->overflow();
}

// ---- Filling

namespace {

template <class Element>
void fillWith(char* to, uint64_t count, uint64_t value) {
    const auto element = static_cast<Element>(value);
    for (uint64_t i = 0; i < count; ++i)
        std::memcpy(to + i * sizeof element, &element, sizeof element);
}

void fill(char* to, uint64_t count, int bytes, uint64_t value) {
    if (value == 0 || bytes == 1) {
        std::memset(to, static_cast<uint8_t>(value),
                    static_cast<size_t>(count) * static_cast<unsigned>(bytes));
        return;
    }
    switch (bytes) {
        case 2: return fillWith<uint16_t>(to, count, value);
        case 4: return fillWith<uint32_t>(to, count, value);
        default: return fillWith<uint64_t>(to, count, value);
    }
}

void noteRange(MasterArrayAssign& changes, uint64_t first, uint64_t count) {
    const int64_t room = int64_t{changes.capacity} + 1 - changes.count;
    if (!changes.list || static_cast<int64_t>(std::min<uint64_t>(count, INT64_MAX)) > room) {
        changes.overflow();
        return;
    }
    for (uint64_t i = 0; i < count; ++i) changes.note(static_cast<uint32_t>(first + i));
}

}  // namespace

void qk_set_array(uint64_t first, uint64_t last, uint64_t l_wid, uint64_t l_elem_count, uint64_t,
                  uint64_t handle, ...) {
    const uint64_t n_chunks = chunkCount(l_wid);
    if (!QK_CHECK(n_chunks > 0)) return;
    ArgumentList arguments;
    va_start(arguments.list, handle);
    const ChunkWords<char*> areas(arguments, n_chunks);
    const ChunkWords<uint64_t> value(arguments, n_chunks);
    va_end(arguments.list);

    const uint64_t end = last < l_elem_count ? last + 1 : l_elem_count;
    const uint64_t count = first < end ? end - first : 0;
    for (uint64_t chunk = n_chunks; chunk-- > 0 && count > 0;) {
        const int bytes = elementBytes(l_wid, chunk);
        fill(areas[chunk] + first * static_cast<unsigned>(bytes), count, bytes,
             value[chunk] & chunkMask(l_wid, chunk));
    }
    if (handle) noteRange(*changeList(handle), first, count);
}

// ---- Comparing

namespace {

struct ArrayPair {
    ArrayPair(ArgumentList& from, int dimensions)
        : l((skipBounds(from, dimensions), from)), r(from) {}

    /// Asserts that the arrays have the same width and count. @return whether they do
    bool match() const {
        const uint64_t chunks[] = {chunkCount(l.width), chunkCount(r.width)};
        QK_ASSERT_AS(l.elements == r.elements, "l.n_elems == r.n_elems");
        QK_ASSERT_AS(chunks[0] == chunks[1], "l.n_chunks == r.n_chunks");
        QK_ASSERT_AS(topWidth(l.width) == topWidth(r.width),
                     "l.ms_chunk_width == r.ms_chunk_width");
        return l.elements == r.elements && l.width == r.width;
    }

    Array l, r;

private:
    static void skipBounds(ArgumentList& from, int dimensions) {
        for (int i = 0; i < dimensions; ++i) {
            va_arg(from.list, uint64_t);
            va_arg(from.list, uint64_t);
        }
    }
};

int64_t loadSigned(const char* area, uint64_t element, int bytes) {
    const uint64_t value = loadStorage(area + element * static_cast<unsigned>(bytes), bytes);
    const int unusedBits = 64 - 8 * bytes;
    return static_cast<int64_t>(value << unusedBits) >> unusedBits;
}

bool sameStorage(const Array& l, const Array& r, uint64_t first, uint64_t count) {
    for (uint64_t chunk = 0; chunk < chunkCount(l.width); ++chunk) {
        const auto bytes = static_cast<unsigned>(elementBytes(l.width, chunk));
        if (std::memcmp(l.areas[chunk] + first * bytes, r.areas[chunk] + first * bytes,
                        static_cast<size_t>(count * bytes)) != 0)
            return false;
    }
    return true;
}

/// @return below 0, 0, or above 0
int orderOfElements(const Array& l, const Array& r, uint64_t element) {
    for (uint64_t chunk = chunkCount(l.width); chunk-- > 0;) {
        const int bytes = elementBytes(l.width, chunk);
        const int64_t left = loadSigned(l.areas[chunk], element, bytes);
        const int64_t right = loadSigned(r.areas[chunk], element, bytes);
        if (left != right) return left < right ? -1 : 1;
    }
    return 0;
}

/// @return `tie` for equal arrays
int isGreater(ArgumentList& from, int no_of_dims, int tie) {
    constexpr uint64_t kBlock = 512;  // elements to compare at once
    QK_ASSERT(no_of_dims == 1);
    const ArrayPair arrays(from, 1);
    if (!arrays.match()) return 0;
    const Array &l = arrays.l, &r = arrays.r;
    for (uint64_t end = l.elements; end > 0;) {
        const uint64_t start = end - std::min(end, kBlock);
        if (!sameStorage(l, r, start, end - start)) {
            int order = 0;
            while (order == 0 && end > start) order = orderOfElements(l, r, --end);
            return order > 0;
        }
        end = start;
    }
    return tie;
}

}  // namespace

int qk_array_relation_deqd64(int no_of_dims, ...) {
    ArgumentList arguments;
    va_start(arguments.list, no_of_dims);
    const ArrayPair arrays(arguments, no_of_dims);
    va_end(arguments.list);
    if (!arrays.match()) return 0;
    const Array &l = arrays.l, &r = arrays.r;
    const uint64_t chunks = chunkCount(l.width);
    if (chunks == 0 || l.elements == 0) return 1;
    const int topBytes = topWidth(l.width) == 0 ? 1 : elementBytes(l.width, chunks - 1);
    for (uint64_t chunk = chunks; chunk-- > 0;) {
        const uint64_t bytes =
            l.elements * (chunk + 1 == chunks ? static_cast<unsigned>(topBytes) : 8);
        if (std::memcmp(l.areas[chunk], r.areas[chunk], static_cast<size_t>(bytes)) != 0) return 0;
    }
    return 1;
}

int qk_array_relation_dgtd64(int no_of_dims, ...) {
    ArgumentList arguments;
    va_start(arguments.list, no_of_dims);
    const int result = isGreater(arguments, no_of_dims, 0);
    va_end(arguments.list);
    return result;
}

int qk_array_relation_dged64(int no_of_dims, ...) {
    ArgumentList arguments;
    va_start(arguments.list, no_of_dims);
    const int result = isGreater(arguments, no_of_dims, 1);
    va_end(arguments.list);
    return result;
}
