#include "base/value_buffer.h"

#include <algorithm>
#include <cstring>

#include "base/qkassert.h"
#include "base/storage.h"

ValueBuffer::ValueBuffer(QkTrace* traceHeader, const void* liveStorage, void* shadowStorage,
                         int width, uint32_t count, int elementStride)
    : header(traceHeader),
      live(static_cast<const char*>(liveStorage)),
      copy(static_cast<char*>(shadowStorage)),
      bytes(count == 0 ? 0 : int64_t{count - 1} * elementStride + storageBytes(width)),
      elementBytes(storageBytes(width)),
      stride(elementStride),
      elements(static_cast<int>(count)) {
    if (copy) return;
    owned.reset(static_cast<char*>(std::malloc(static_cast<size_t>(bytes))));
    copy = owned.get();
}

ValueBuffer::~ValueBuffer() = default;

bool ValueBuffer::differs(int a) const {
    const int64_t at = int64_t{a} * stride;
    if (!QK_CHECK(a >= 0) || !QK_CHECK_AS(at < bytes, "a < bytes")) return false;
    return std::memcmp(copy + at, live + at, static_cast<size_t>(elementBytes)) != 0;
}

void ValueBuffer::copyListed(int count, const uint32_t* list) {
    for (int i = 0; i < count; ++i) {
        if (list[i] >= static_cast<uint32_t>(elements)) continue;
        // Its own copy also holds what lies between the elements, and is compared as a whole.
        const int64_t gap = ownsShadow() ? stride - elementBytes : 0;
        const int64_t at = int64_t{list[i]} * stride;
        const int64_t from = std::max<int64_t>(at - gap, 0);
        const int64_t to = std::min(at + elementBytes + gap, bytes);
        std::memmove(copy + from, live + from, static_cast<size_t>(to - from));
    }
}

void ValueBuffer::copyAll() { std::memmove(copy, live, static_cast<size_t>(bytes)); }

namespace {

/// @return the number of the first byte that differs: there is one
int64_t firstMismatch(const char* a, const char* b, int64_t count) {
    int64_t at = 0;
    for (uint64_t one, other; count - at > int64_t{sizeof one}; at += sizeof one) {
        std::memcpy(&one, a + at, sizeof one);
        std::memcpy(&other, b + at, sizeof other);
        if (one != other) break;
    }
    while (a[at] == b[at]) ++at;
    return at;
}

}  // namespace

int ValueBuffer::firstDifference(int from) const {
    constexpr int64_t block = 4096;
    int64_t at = int64_t{from} * stride;
    while (at < bytes) {
        const int64_t count = std::min(block, bytes - at);
        if (std::memcmp(copy + at, live + at, static_cast<size_t>(count)) == 0) {
            at += count;
            continue;
        }
        const int64_t byte = at + firstMismatch(copy + at, live + at, count);
        if (byte % stride < elementBytes) return static_cast<int>(byte / stride);
        at = (byte / stride + 1) * stride;  // skips bytes of other parts
    }
    return elements;
}

namespace {

/// Compares and copies elements of one machine type.
template <class Type>
class TypedValueBuffer final : public ValueBuffer {
public:
    using ValueBuffer::ValueBuffer;
    bool differs(int a) const override {
        if (!QK_CHECK(a >= 0)) return false;
        if (!QK_CHECK_AS(a < elements, "a < (int)(bytes / sizeof(Type))")) return false;
        return at(copy, a) != at(live, a);
    }
    void copyListed(int count, const uint32_t* list) override {
        for (int i = 0; i < count; ++i) {
            const size_t offset = list[i] * sizeof(Type);
            if (list[i] < static_cast<uint32_t>(elements))
                std::memcpy(copy + offset, live + offset, sizeof(Type));
        }
    }

private:
    static Type at(const char* storage, int a) {
        Type value;
        std::memcpy(&value, storage + static_cast<size_t>(a) * sizeof value, sizeof value);
        return value;
    }
};

}  // namespace

std::unique_ptr<ValueBuffer> ValueBuffer::make(QkTrace* header, const void* live, void* shadow,
                                               int width, uint32_t count, bool listed, int stride) {
    ValueBuffer* made = nullptr;
    const auto makeAs = [&](auto type) {
        using Type = decltype(type);
        made = new TypedValueBuffer<Type>(header, live, shadow, width, count, stride);
    };
    if (stride == 0) stride = storageBytes(width);
    if (!listed || stride != storageBytes(width)) {
        made = new ValueBuffer(header, live, shadow, width, count, stride);
    } else {
        switch (storageBytes(width)) {
            case 1: makeAs(uint8_t{}); break;
            case 2: makeAs(uint16_t{}); break;
            case 4: makeAs(uint32_t{}); break;
            default: makeAs(uint64_t{}); break;
        }
    }
    std::unique_ptr<ValueBuffer> buffer(made);
    return buffer->copy ? std::move(buffer) : nullptr;
}
