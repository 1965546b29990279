#include "tracing/history.h"

#include <algorithm>
#include <cstring>

#include "base/id_code.h"
#include "base/qkassert.h"

void BucketRing::append(std::unique_ptr<ChangeBucket> bucket) {
    if (count == places.size()) {
        std::vector<std::unique_ptr<ChangeBucket>> more(std::max<size_t>(16, places.size() * 2));
        for (size_t i = 0; i < count; ++i) more[i] = std::move(at(i));
        places.swap(more);
        first = 0;
    }
    at(count++) = std::move(bucket);
}

std::unique_ptr<ChangeBucket> BucketRing::takeOldest() {
    std::unique_ptr<ChangeBucket> bucket = std::move(at(0));
    first = (first + 1) & (places.size() - 1);
    --count;
    return bucket;
}

void SlotTable::declare(uint32_t slot, bool isVector) {
    Owner& owner = owners[slot];
    if (owner.code == 0) owner.code = ++lastCode;
    char text[8] = {};
    static_assert(1 + kIdCodeMaxLength + 1 < sizeof text, "the length has the last byte");
    int length = 0;
    if (isVector) text[length++] = ' ';
    length += idCodeText(owner.code, text + length);
    text[length++] = '\n';
    text[7] = static_cast<char>(length);
    std::memcpy(&tails[slot], text, sizeof text);
}

void SlotTable::undeclareAll() { std::fill(tails.begin(), tails.end(), 0); }

const char* SlotTable::codeText(uint32_t slot) const {
    static char text[kIdCodeMaxLength + 1];
    QK_ASSERT_AS(owners[slot].code != 0, "vcdstr");
    idCodeText(owners[slot].code, text);
    return text;
}
