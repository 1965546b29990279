#include "tracing/history.h"

#include <algorithm>

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
