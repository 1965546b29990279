#include "genrt/report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/qkassert.h"
#include "netdb/netdb.h"
#include "netdb/store.h"
#include "qkzeft_module.h"
#include "run/written_files.h"

namespace {

/// One signal's counters.
struct ActivityRecord {
    const char* name;  ///< borrowed from generated code; null until the first event
    uint64_t sz;       ///< changes with the zero-result flag
    uint64_t snz;      ///< changes without
    uint64_t nochanges;
};

}  // namespace

/// The counters of one scope, in a chain of all scopes, newest first.
struct ScopeActivity {
    ActivityRecord* records = nullptr;
    int count = 0;
    ScopeActivity* next;
    ScopeActivity* previous = nullptr;
};

namespace {

ScopeActivity* newestActivity = nullptr;

/// @return `text`, escaped for an attribute in quotes
std::string escaped(const char* text) {
    std::string result;
    for (; *text; ++text) {
        switch (*text) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '"': result += "&quot;"; break;
            default: result += *text;
        }
    }
    return result;
}

}  // namespace

void writeActivityReport() {
    if (!newestActivity) return;
    constexpr const char* kFileName = "dump.xml";
    std::FILE* const file = mayWrite(kFileName) ? std::fopen(kFileName, "w") : nullptr;
    if (!file) {
        std::perror("pra file");
        noteTextLostIn(kFileName);
        return;
    }
    std::fprintf(file, "<PRA>\n");
    for (const ScopeActivity* scope = newestActivity; scope; scope = scope->next) {
        for (int i = 0; i < scope->count; ++i) {
            const ActivityRecord& record = scope->records[i];
            if (!record.name) continue;
            std::fprintf(file,
                         " <P  m=\"%s\" id=\"%s\"  sz=%" PRIu64 " snz=%" PRIu64
                         " nochanges=%" PRIu64 " />\n",
                         "", escaped(record.name).c_str(), record.sz, record.snz, record.nochanges);
        }
    }
    std::fprintf(file, "</PRA>\n");
    const bool failed = std::ferror(file) != 0;
    if (std::fclose(file) == 0 && !failed) return;
    std::perror("pra file");
    noteTextLostIn(kFileName);
}

void ActivityCounters::scopeGoes(QkScope* scope) {
    ScopeActivity* const gone = scope->activity;
    if (!gone) return;
    (gone->previous ? gone->previous->next : newestActivity) = gone->next;
    if (gone->next) gone->next->previous = gone->previous;
    scope->activity = nullptr;
    std::free(gone->records);
    delete gone;
}

void kelvo_module::qk_pra_info(int record_count, int) {
    if (!QK_CHECK(qk_scope)) return;
    if (record_count <= (qk_scope->activity ? qk_scope->activity->count : 0)) return;
    if (!qk_scope->activity) {
        qk_scope->activity = new ScopeActivity{.next = newestActivity};
        if (newestActivity) newestActivity->previous = qk_scope->activity;
        newestActivity = qk_scope->activity;
    }
    ScopeActivity& activity = *qk_scope->activity;
    std::free(activity.records);
    const auto count = static_cast<size_t>(record_count);
    activity.records = static_cast<ActivityRecord*>(
        allocateBlock(count * sizeof(ActivityRecord), "activity records"));
    std::fill_n(activity.records, count, ActivityRecord{});
    activity.count = record_count;
}

void kelvo_module::qk_pra(const char* name, int changed, int zero_result, int, const char*,
                          int record, int) {
    if (!qk_scope || !qk_scope->activity) return;
    if (record < 0 || record >= qk_scope->activity->count) return;
    ActivityRecord& counters = qk_scope->activity->records[record];
    counters.name = name;
    ++(!changed ? counters.nochanges : zero_result ? counters.sz : counters.snz);
}
