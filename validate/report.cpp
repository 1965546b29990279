// A comparison as a file: JSON for a user's programs, or JUnit's XML for servers that collect
// tests. Both are made from the reader's record of the latest comparison.
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "base/json_text.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "qkzeft_random.h"
#include "qkzeft_run.h"
#include "qkzeft_validate.h"
#include "run/failure.h"
#include "run/life.h"
#include "run/time.h"
#include "run/whole_file.h"
#include "validate/file_reader.h"
#include "validate/value_text.h"

namespace {

constexpr const char* kFormat = "zeft-report 1";

using Difference = ComparisonRecord::Difference;

/// The contents of both forms of a report.
struct Report {
    qk_mtc_run run;
    const QkFileReader* reader;  ///< null without a model
    qk_mtc_stats stats;
    std::vector<Difference> differences;  ///< in the order of time, then of names
    double cpuSeconds;
    int64_t peakMemory;  ///< KiB
};

const char* verdictOf(int status) {
    return status == 0 ? "agrees" : status == 1 ? "differs" : "failed";
}

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// The verdict on a comparison if the caller has given none.
void judge(qk_mtc_run& run, const qk_mtc_stats& stats, bool isLinked) {
    const bool isUseless = !isLinked || stats.damaged || stats.driven == 0 || stats.compared == 0;
    run.status = isUseless ? 2 : stats.differences != 0 ? 1 : stats.complete ? 0 : 2;
    run.reason = isUseless                ? "model and trace could not be compared"
                 : stats.differences != 0 ? "model and trace differ"
                 : stats.complete         ? "model and trace agree"
                                          : "left before the end of the trace";
}

Report makeReport(const qk_mtc_run* run) {
    Report report{};
    if (modelExists()) {
        QkFileReader& reader = *qkReader;
        if (reader.vcdModel && reader.fileIsOpen() && !reader.loadingState) {
            reader.vcdModel->traces.settleAll();
            reader.results.record.gather(*reader.vcdModel, reader.tokens.path());
        }
        report.reader = &reader;
        report.differences = reader.results.record.differences;
    }
    const bool isLinked = qk_mtc_statistics(&report.stats) != 0;
    if (run)
        report.run = *run;
    else
        judge(report.run, report.stats, isLinked);
    if (!report.run.model) report.run.model = program_invocation_short_name;
    if (!report.run.trace)
        report.run.trace = report.reader ? report.reader->results.record.trace.c_str() : "";
    if (!report.run.reason) report.run.reason = "";
    std::stable_sort(report.differences.begin(), report.differences.end(),
                     [](const Difference& a, const Difference& b) {
                         return a.time != b.time ? a.time < b.time : a.net < b.net;
                     });
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    report.cpuSeconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    report.peakMemory = usage.ru_maxrss;
    return report;
}

std::string timeText(uint64_t ticks) { return qk_time_as_string(ticks); }

// ---- JSON

bool isKnown(const std::string& digits) {
    return digits.find_first_not_of("01") == std::string::npos;
}

void addDifference(JsonText& json, const Difference& difference) {
    json.beginObject({}, JsonText::kRow);
    json.add("net", difference.net);
    json.add("kind", difference.kind);
    json.add("time", timeText(difference.time));
    json.add("count", difference.count);
    json.add("trace", hexLiteral(difference.trace));
    json.add("model", hexLiteral(difference.model));
    if (!isKnown(difference.trace)) json.add("trace_binary", difference.trace);
    json.end();
}

void addUnlinked(JsonText& json, const char* key,
                 const std::vector<ComparisonRecord::Unlinked>& entries) {
    json.beginArray(key);
    for (const auto& entry : entries) {
        json.beginObject({}, JsonText::kRow);
        json.add(entry.nets == 0 ? "net" : "scope", entry.path);
        if (entry.nets != 0) json.add("nets", entry.nets);
        json.add("reason", entry.reason);
        json.end();
    }
    json.end();
}

template <class Texts>
void addTexts(JsonText& json, const char* key, const Texts& texts,
              JsonText::Layout layout = JsonText::kLines) {
    json.beginArray(key, layout);
    for (const auto& text : texts) json.add({}, text);
    json.end();
}

void addPairs(JsonText& json, const char* key, auto&& maps, auto&& nameOf) {
    json.beginArray(key);
    for (auto map = maps.rbegin(); map != maps.rend(); ++map) {
        json.beginObject({}, JsonText::kRow);
        json.add("model", nameOf(*map));
        json.add("trace", map->path);
        json.end();
    }
    json.end();
}

void addOptions(JsonText& json, const QkFileReader& reader) {
    json.beginObject("options");
    json.add("strict", bool{qk_strict});
    json.add("order", reader.clockFirst    ? "clocks first"
                      : reader.steponclock ? "by clocks"
                                           : "as a whole");
    json.add("synctime", reader.synctime == 0 ? "unlimited" : timeText(reader.synctime));
    json.add("threshold", std::max(reader.threshold, 0));
    addPairs(json, "maps", reader.mappedScopes,
             [](const MappedScope& map) { return map.live->fullName.str(); });
    addPairs(json, "stimuli", reader.stimulusMaps,
             [](const StimulusMap& map) { return std::string(FullName(map.live).c_str()); });
    json.end();
}

void addCounts(JsonText& json, const qk_mtc_stats& stats, const ComparisonRecord& record) {
    json.beginObject("counts");
    json.add("differences", stats.differences);
    json.add("differing_nets", static_cast<uint64_t>(record.differences.size()));
    json.add("driven_changes", record.drivenChanges);
    json.add("compared_changes", record.comparedChanges);
    json.add("signals", stats.signals);
    json.add("linked", stats.linked);
    json.add("comparable", stats.comparable);
    json.add("compared", stats.compared);
    json.add("driven", stats.driven);
    json.add("unchanged", stats.unchanged);
    json.add("file_bytes", stats.file_bytes);
    json.add("bytes_read", stats.bytes_read);
    json.add("complete", stats.complete != 0);
    json.add("damaged", stats.damaged != 0);
    json.end();
}

void addComparison(JsonText& json, const Report& report) {
    const QkFileReader& reader = *report.reader;
    const ComparisonRecord& record = reader.results.record;
    addOptions(json, reader);
    json.add("time", timeText(report.stats.time));
    json.add("longest_synchronisation", timeText(reader.results.longestSync));
    addCounts(json, report.stats, record);
    json.beginArray("differences");
    for (const Difference& difference : report.differences) addDifference(json, difference);
    json.end();
    json.beginArray("synchronisation");
    for (const auto& wait : record.waits) {
        json.beginObject({}, JsonText::kRow);
        json.add("net", wait.net);
        json.add("longest", timeText(wait.longest));
        json.end();
    }
    json.end();
    addTexts(json, "unchanged", record.unchanged);
    addTexts(json, "not_compared", reader.results.notCompared);
    addTexts(json, "not_driven", reader.results.notDriven);
    addUnlinked(json, "model_only", record.modelOnly);
    addUnlinked(json, "trace_only", record.traceOnly);
}

/// @return texts of a C array, which may be null
std::vector<std::string> textsOf(const char* const* texts, int count) {
    return texts && count > 0 ? std::vector<std::string>(texts, texts + count)
                              : std::vector<std::string>();
}

std::string jsonOf(const Report& report) {
    const qk_mtc_run& run = report.run;
    JsonText json;
    json.beginObject();
    json.add("format", kFormat);
    json.add("tool", "zeft " ZEFT_VERSION);
    json.add("model", run.model);
    json.add("trace", run.trace);
    addTexts(json, "command", textsOf(run.command, run.command_count), JsonText::kRow);
    json.add("seed", uint64_t{qk_seed()});
    json.add("status", run.status);
    json.add("verdict", verdictOf(run.status));
    json.add("reason", run.reason);
    addTexts(json, "messages", textsOf(run.messages, run.message_count));
    if (report.reader) addComparison(json, report);
    json.beginObject("resources", JsonText::kRow);
    json.addThousandths("cpu_seconds", report.cpuSeconds);
    json.add("peak_memory_kib", report.peakMemory);
    json.end();
    json.end();
    return json.text();
}

// ---- XML

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + xmlText(value) + "\"";
}

std::string numberOf(double value) {
    JsonText text;
    text.addThousandths({}, value);
    return text.text();
}

std::string differenceText(const Difference& difference) {
    std::string text = timeText(difference.time) + ": " + difference.kind + ": " + difference.net +
                       ", trace " + hexLiteral(difference.trace);
    if (!isKnown(difference.trace)) text += " (" + difference.trace + ")";
    text += ", model " + hexLiteral(difference.model);
    if (difference.count > 1) text += ", " + std::to_string(difference.count) + " differences";
    return text + "\n";
}

std::string caseOf(const Report& report) {
    const qk_mtc_run& run = report.run;
    const bool differs = run.status == 1;
    if (run.status == 0) return "/>\n";
    const char* const tag = differs ? "failure" : "error";
    std::string text = std::string(">\n      <") + tag + attribute("message", run.reason) +
                       attribute("type", verdictOf(run.status)) + ">";
    for (const Difference& difference : report.differences)
        text += xmlText(differenceText(difference));
    for (const std::string& message : textsOf(run.messages, run.message_count))
        text += xmlText(message + "\n");
    return text + "</" + tag + ">\n    </testcase>\n";
}

std::string xmlOf(const Report& report) {
    const qk_mtc_run& run = report.run;
    const std::string counts = attribute("tests", "1") +
                               attribute("failures", run.status == 1 ? "1" : "0") +
                               attribute("errors", run.status > 1 ? "1" : "0") +
                               attribute("time", numberOf(report.cpuSeconds));
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + counts + ">\n";
    text += "  <testsuite" + attribute("name", run.model) + counts + ">\n    <properties>\n";
    const auto property = [&](const char* name, const std::string& value) {
        text += "      <property" + attribute("name", name) + attribute("value", value) + "/>\n";
    };
    property("tool", "zeft " ZEFT_VERSION);
    property("seed", std::to_string(qk_seed()));
    property("time", timeText(report.stats.time));
    property("differences", std::to_string(report.stats.differences));
    property("compared", std::to_string(report.stats.compared));
    property("peak_memory_kib", std::to_string(report.peakMemory));
    text += "    </properties>\n    <testcase" + attribute("classname", run.model) +
            attribute("name", run.trace) + attribute("time", numberOf(report.cpuSeconds));
    return text + caseOf(report) + "  </testsuite>\n</testsuites>\n";
}

}  // namespace

int qk_mtc_report_run(const char* path, const struct qk_mtc_run* run) {
    const std::string name = path ? path : "";
    const bool isXml = name.ends_with(".xml");
    if (!isXml && !name.ends_with(".json")) {
        printFailure("%s: a report ends in .json or .xml\n", name.c_str());
        return 0;
    }
    const Report report = makeReport(run);
    return writeWholeFile(name.c_str(), isXml ? xmlOf(report) : jsonOf(report));
}

int qk_mtc_report(const char* path) { return qk_mtc_report_run(path, nullptr); }
