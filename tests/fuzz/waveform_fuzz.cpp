// Histories as FST files: any order of times, changes and parts of values. What LZ4 packs comes
// back.
#include <algorithm>
#include <vector>

#include "tests/fuzz/target.h"
#include "tracing/fst_writer.h"
#include "tracing/lz4_block.h"

namespace {

/// Unpacks by the definition of the format, a byte at a time.
std::vector<unsigned char> unpack(const unsigned char* in, const unsigned char* end) {
    std::vector<unsigned char> out;
    const auto length = [&](size_t nibble) {
        size_t sum = nibble;
        for (unsigned char more = 255; nibble == 15 && more == 255; sum += more) more = *in++;
        return sum;
    };
    while (in != end) {
        const unsigned char token = *in++;
        for (size_t count = length(token >> 4); count != 0; --count) out.push_back(*in++);
        if (in == end) break;
        const size_t distance = in[0] + in[1] * size_t{256};
        in += 2;
        require(distance != 0 && distance <= out.size());
        for (size_t count = length(token & 15) + 4; count != 0; --count)
            out.push_back(out[out.size() - distance]);
    }
    return out;
}

void packAndUnpack(const uint8_t* data, size_t size) {
    static Lz4Packer packer;
    // Repeated, with something between, for copies from far away.
    std::vector<unsigned char> bytes(data, data + size);
    if (size % 3 == 0) bytes.resize(size + 70000 * (size % 2), 'x');
    bytes.insert(bytes.end(), data, data + size);
    std::vector<unsigned char> packed(bytes.size() + 1);
    const size_t count = packer.pack(bytes.data(), bytes.size(), packed.data());
    require(count <= bytes.size());
    if (count != 0) require(unpack(packed.data(), packed.data() + count) == bytes);
}

constexpr uint32_t kWidths[] = {1, 2, 8, 13, 32, 63, 64, 65, 100, 200};

void writeHistory(const uint8_t* data, size_t size) {
    FstWriter writer(size % 40 + 1);
    require(writer.open("/dev/null"));
    writer.setHead("v", "d", -9);
    for (uint32_t slot = 1; slot <= std::size(kWidths); ++slot)
        writer.declare(slot + slot / 4, "n", kWidths[slot - 1]);
    writer.endDefinitions();
    std::vector<OutputChange> history;
    for (; size >= 2; data += 2, size -= 2) {
        const uint32_t slot = data[0] % 16;
        const uint64_t value = data[1] * uint64_t{0x9e3779b97f4a7c15};
        if (slot == kTimeMarker) {
            history.push_back({slot, 0, data[1] == 255 ? value : data[1]});
        } else if (data[0] & 0x40) {
            const auto shape =
                partShape(data[1] % 80, (data[0] & 0x20) != 0, (data[0] & 0x80) != 0);
            history.push_back({slot, shape, value});
        } else {
            history.push_back({slot, 0, value});
        }
        if (data[0] != '~') continue;
        writer.write(history.data(), history.data() + history.size());
        history.clear();
        require(writer.flush());
    }
    writer.write(history.data(), history.data() + history.size());
    require(writer.close());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    packAndUnpack(data, size);
    writeHistory(data, size);
    return 0;
}
