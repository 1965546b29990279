#include "textio/lines.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/memory.h"
#include "qkzeft_textio.h"
#include "textio/arguments.h"
#include "textio/handle_table.h"

// ---- Texts

namespace {

constexpr size_t kLongestLine = INT32_MAX;
constexpr size_t kFirstCapacity = 128;
constexpr const char* kTextTag = "qksysvhdl:text";

}  // namespace

void TextLine::grow(size_t count) {
    const size_t kept = used - first;
    if (count > kLongestLine || kept + count > kLongestLine) failAllocation("realloc", kTextTag);
    if (first >= kept && capacity - kept >= count) {
        std::memcpy(bytes, bytes + first, kept);
        first = 0;
        used = kept;
        return;
    }
    capacity = std::max({capacity * 2, used + count, kFirstCapacity});
    bytes = static_cast<char*>(qk_realloc(bytes, capacity, kTextTag));
}

void TextLine::append(std::string_view text) {
    if (text.empty()) return;
    std::memcpy(room(text.size()), text.data(), text.size());
    used += text.size();
}

void TextLine::fill(size_t count, char c) {
    if (count == 0) return;
    std::memset(room(count), c, count);
    used += count;
}

// ---- The table. Handle 0 is the null access value.

namespace {

constinit HandleTable<TextLine> lines(1, "qksysvhdl:lines");

}  // namespace

TextLine* findLine(uint64_t handle) { return lines.find(handle); }
TextLine* addLine(uint64_t& handle) { return lines.add(handle); }

void removeLine(uint64_t handle) {
    TextLine* const line = lines.find(handle);
    if (!line) return;
    std::free(line->bytes);
    lines.remove(handle);
}

// ---- What a model does with a line besides reading, writing and transferring it

namespace {

void deallocate(TaskCall& call) {
    Arguments arguments(call, 1, 1);
    LineCell cell = arguments.line();
    if (arguments.failed() || !cell.line()) return;
    removeLine(cell.handle());
    cell.store(0);
}

void makeLine(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    LineCell cell = arguments.line();
    const StringSource value = arguments.string();
    if (arguments.failed()) return;
    cell.makeNew().append(value.text);
}

int lengthOf(TaskCall& call) {
    Arguments arguments(call, 1, 1);
    const LineCell cell = arguments.line();
    return arguments.failed() ? 0 : static_cast<int>(cell.rest().size());
}

int characterAt(TaskCall& call) {
    Arguments arguments(call, 2, 2);
    const LineCell cell = arguments.line();
    const int64_t index = arguments.number();
    if (arguments.failed()) return 0;
    const std::string_view text = cell.rest();
    if (index < 1 || static_cast<uint64_t>(index) > text.size()) {
        arguments.fail("Index %d is outside a line of %d characters", static_cast<int>(index),
                       static_cast<int>(text.size()));
        return 0;
    }
    return static_cast<unsigned char>(text[static_cast<size_t>(index) - 1]);
}

}  // namespace

QK_DEFINE_TEXTIO(deallocate, "deallocate", deallocate)
QK_DEFINE_TEXTIO(new_line, "new", makeLine)
QK_DEFINE_TEXTIO_FUNCTION(line_length, "length", lengthOf)
QK_DEFINE_TEXTIO_FUNCTION(line_char, "index", characterAt)
