// The exported operations on trace files and history.
#include <algorithm>

#include "base/characters.h"
#include "base/threads.h"
#include "licence/licence.h"
#include "netdb/database.h"
#include "qkzeft.h"
#include "run/life.h"
#include "tracing/trace_writer.h"

int qk_traceto(const char* filename) {
    completeRegistration(true);
    if (!licensed(Gate::kTraceto)) return 0;
    return qkTraceWriter->traceTo(filename ? skipSpace(filename) : "");
}

int qk_traceclose() {
    completeRegistration(true);
    if (!qkTraceWriter->fileIsOpen()) return 0;
    qkTraceWriter->closeFile();
    return 1;
}

int qk_trace_written() { return !qkTraceWriter || qkTraceWriter->isWritten() ? 1 : 0; }

int qk_save(const char* filename) {
    completeRegistration(true);
    return qkTraceWriter->save(filename ? filename : "");
}

int qk_trace_thread(int on) {
    const bool before = allowThreads(on != 0);
    if (qkTraceWriter && on) qkTraceWriter->tryThread();
    if (qkTraceWriter && !on) qkTraceWriter->stopThread();
    return before ? 1 : 0;
}

int qk_circular(int n) {
    startRun();
    int& limit = qkTraceWriter->maxeventbs;
    int64_t changes = n;
    if (changes == 0 && !qk_strict) limit = 0;
    if (changes == 0) changes = int64_t{kBucketEntries} * limit;
    if (changes == 0) {
        qk_printf("Circular buffering: disabled\n");
        return 1;
    }
    const int64_t buckets =
        std::max<int64_t>((changes + kBucketEntries - 1) / kBucketEntries, kLeastBuckets);
    limit = static_cast<int>(buckets);
    qk_printf("Circular buffering enabled: at least %lld value changes\n",
              static_cast<long long>(buckets * kBucketEntries));
    return 1;
}
