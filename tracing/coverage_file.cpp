// The exported operations on toggle coverage, and the file that it is written to.
#include <algorithm>

#include "base/characters.h"
#include "base/json_text.h"
#include "base/qkassert.h"
#include "netdb/database.h"
#include "qkzeft_coverage.h"
#include "run/whole_file.h"
#include "tracing/trace_writer.h"

namespace {

size_t ones(const std::string& digits) {
    return static_cast<size_t>(std::count(digits.begin(), digits.end(), '1'));
}

std::string hexOf(const std::string& digits) {
    std::string hex;
    const std::string padded = std::string((4 - digits.size() % 4) % 4, '0') + digits;
    for (size_t at = 0; at < padded.size(); at += 4) {
        unsigned value = 0;
        for (size_t i = at; i < at + 4; ++i) value = value * 2 + (padded[i] == '1');
        hex += hexDigitOf(value);
    }
    return hex;
}

/// @return the name of the model: its first scope
std::string modelName() {
    const QkScope* const top = qkDatabase->top_scopes;
    return top ? top->fullName.str() : "";
}

std::string textOf(const std::vector<ToggleCoverage::Net>& nets) {
    uint64_t bits = 0, rose = 0, fell = 0, toggled = 0;
    for (const ToggleCoverage::Net& net : nets) {
        bits += static_cast<uint64_t>(net.width);
        rose += ones(net.rose);
        fell += ones(net.fell);
        for (size_t i = 0; i < net.rose.size(); ++i)
            toggled += net.rose[i] == '1' && net.fell[i] == '1';
    }
    JsonText json;
    json.beginObject();
    json.add("format", "zeft-coverage 1");
    json.add("model", modelName());
    json.beginObject("totals", JsonText::kRow);
    json.add("nets", static_cast<uint64_t>(nets.size()));
    json.add("bits", bits);
    json.add("rose", rose);
    json.add("fell", fell);
    json.add("toggled", toggled);
    json.end();
    json.beginArray("nets");
    for (const ToggleCoverage::Net& net : nets) {
        json.beginObject({}, JsonText::kRow);
        json.add("net", net.name);
        json.add("range", net.range);
        json.add("width", net.width);
        json.add("rose", hexOf(net.rose));
        json.add("fell", hexOf(net.fell));
        json.end();
    }
    json.end();
    json.end();
    return json.text();
}

}  // namespace

int qk_cover(const char* pattern) {
    completeRegistration(true);
    return qkTraceWriter->coverage.add(*qkDatabase, pattern);
}

void qk_cover_stop() {
    if (qkTraceWriter) qkTraceWriter->coverage.stop();
}

int qk_coverage(const char* path) {
    QK_ASSERT(path);
    completeRegistration(true);
    return path && writeWholeFile(path, textOf(qkTraceWriter->coverage.nets()));
}
