#include "tracing/writing_thread.h"

#include <cerrno>
#include <chrono>
#include <new>
#include <utility>

#include "base/threads.h"
#include "tracing/trace_file.h"

void writeBucket(QkTraceFile& file, const ChangeBucket& bucket) {
    try {
        file.write(bucket.changes + bucket.firstChange, bucket.changes + bucket.nChanges,
                   bucket.slotCount);
    } catch (const std::bad_alloc&) {
        file.fail(ENOMEM);
    }
}

std::unique_ptr<WritingThread> WritingThread::start(QkTraceFile& file) {
    if (!threadsAllowed() || processorCount() < 2) return nullptr;
    std::unique_ptr<WritingThread> writing(new (std::nothrow) WritingThread(file));
    if (!writing) return nullptr;
    const auto body = [](void* self) -> void* {
        static_cast<WritingThread*>(self)->run();
        return nullptr;
    };
    if (startThread(writing->thread, body, writing.get())) return writing;
    writing->thread = {};
    return nullptr;
}

WritingThread::~WritingThread() {
    if (thread == pthread_t{}) return;
    ending = true;
    wake();
    pthread_join(thread, nullptr);
}

std::unique_ptr<ChangeBucket> WritingThread::give(std::unique_ptr<ChangeBucket> bucket) {
    const uint32_t number = given;
    if (number - written == kQueuedBuckets) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point from = Clock::now();
        waitFor(number - kQueuedBuckets + kRoomWaitedFor);
        waited += static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - from).count());
    }
    std::swap(bucket, ring[number % kQueuedBuckets]);
    given = number + 1;
    if (asleep && number + 1 - written >= kWakingBuckets) wake();
    return bucket;
}

void WritingThread::wait() {
    const uint32_t all = given;
    urgent = all;
    wake();
    waitFor(all);
}

/// Waits until bucket number `count` - 1 is written.
void WritingThread::waitFor(uint32_t count) {
    awaited = count;
    for (uint32_t now = written; static_cast<int32_t>(count - now) > 0; now = written)
        written.wait(now);
}

void WritingThread::wake() {
    ++wakings;
    wakings.notify_one();
}

void WritingThread::run() {
    for (uint32_t number = 0;;) {
        if (number == given) sleep(number);
        if (number == given) return;
        ChangeBucket& bucket = *ring[number % kQueuedBuckets];
        writeBucket(file, bucket);
        bucket.clear();
        written = ++number;
        if (awaited == number) written.notify_all();
    }
}

/// Sleeps while there is little to do, starting with bucket `number`. If there is nothing to do
/// afterwards, the thread ends.
void WritingThread::sleep(uint32_t number) {
    asleep = true;
    for (;;) {
        const uint32_t seen = wakings;
        const uint32_t ahead = given - number;
        const bool isUrgent = static_cast<int32_t>(urgent - number) > 0 || ending;
        if (ahead >= kWakingBuckets || isUrgent) break;
        wakings.wait(seen);
    }
    asleep = false;
}
