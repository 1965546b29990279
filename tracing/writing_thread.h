// A thread that writes the full buckets of history to a file, while the model runs on.
//
// A bucket that is given belongs to the thread until it is returned, written and empty. At most
// kQueuedBuckets are waiting; giving one more waits. Both sides wake each other rarely: the thread
// sleeps until there is enough work, and a waiting caller continues when there is enough room.
#pragma once

#include <pthread.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "tracing/history.h"

class QkTraceFile;

class WritingThread {
public:
    /// @param file  must outlive the thread; only the thread uses it, except between wait() and
    ///              give()
    /// @return null when a thread is not allowed, useless, or cannot be started
    static std::unique_ptr<WritingThread> start(QkTraceFile& file);
    /// Ends the thread when everything is written.
    ~WritingThread();
    WritingThread(const WritingThread&) = delete;
    WritingThread& operator=(const WritingThread&) = delete;

    /// Gives a bucket to be written. @return an empty one, or null
    std::unique_ptr<ChangeBucket> give(std::unique_ptr<ChangeBucket> bucket);
    /// Waits until everything is written.
    void wait();
    /// @return how long give() has waited for room
    uint64_t waitedNs() const { return waited; }

private:
    static constexpr uint32_t kQueuedBuckets = 64;
    static constexpr uint32_t kWakingBuckets = 32;
    static constexpr uint32_t kRoomWaitedFor = 32;

    explicit WritingThread(QkTraceFile& traceFile) : file(traceFile) {}
    void run();
    void sleep(uint32_t number);
    void wake();
    void waitFor(uint32_t count);

    QkTraceFile& file;
    pthread_t thread = {};
    /// Bucket number n is at n modulo the size, before and after it has been written.
    std::array<std::unique_ptr<ChangeBucket>, kQueuedBuckets> ring;
    uint64_t waited = 0;

    // Numbers of buckets; they wrap.
    std::atomic<uint32_t> given = 0;
    std::atomic<uint32_t> written = 0;
    std::atomic<uint32_t> awaited = 0;  ///< how many buckets must be written before the waiting
                                        ///< caller continues
    std::atomic<uint32_t> urgent = 0;   ///< up to here, the thread does not sleep
    std::atomic<uint32_t> wakings = 0;
    std::atomic<bool> asleep = false;
    std::atomic<bool> ending = false;
};

/// Writes a bucket's changes. If memory is exhausted, the file fails.
void writeBucket(QkTraceFile& file, const ChangeBucket& bucket);
