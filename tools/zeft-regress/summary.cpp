// The summary of all results: a table for human readers, JUnit's XML for servers.
#include <algorithm>
#include <cstdio>
#include <optional>

#include "files.h"
#include "regression.h"

namespace regress {

namespace {

/// One comparison, as it is printed.
struct Row {
    std::string name;
    Result result;
    std::optional<Report> report;
};

std::vector<Row> rowsOf(const Regression& regression) {
    std::vector<Row> rows;
    for (const Entry& entry : regression.entries) {
        const Folder folder = regression.folder(entry.name);
        Row row{entry.name, {kFailed, "no result", 0}, {}};
        if (const auto result = folder.result()) row.result = *result;
        try {
            row.report.emplace(folder.file("report.json"));
        } catch (const Failure&) {  // the result has the reason
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

const char* wordOf(Status status) {
    return status == kAgrees ? "agrees" : status == kDiffers ? "differs" : "failed";
}

void print(const std::vector<Row>& rows, bool isVerbose) {
    size_t width = 4;
    for (const Row& row : rows)
        if (isVerbose || row.result.status != kAgrees) width = std::max(width, row.name.size());
    const int columns = static_cast<int>(width);
    size_t counts[] = {0, 0, 0};
    for (const Row& row : rows) {
        ++counts[row.result.status];
        if (!isVerbose && row.result.status == kAgrees) continue;
        std::printf("%-*s  %-7s  %s\n", columns, row.name.c_str(), wordOf(row.result.status),
                    row.result.reason.c_str());
    }
    std::printf("%zu comparisons: %zu agree, %zu differ, %zu failed\n", rows.size(), counts[0],
                counts[1], counts[2]);
}

// ---- JUnit

/// @return text for XML 1.0, which does not allow control characters
std::string xmlText(const std::string& text) {
    std::string escaped;
    for (const char c : text) switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default:
                escaped += static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\t' ? '?' : c;
        }
    return escaped;
}

std::string numberText(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

std::string caseOf(const Row& row) {
    const std::string model = row.report ? row.report->model : "model";
    std::string text = "    <testcase classname=\"" + xmlText(model) + "\" name=\"" +
                       xmlText(row.name) + "\" time=\"" + numberText(row.result.seconds) + "\"";
    if (row.result.status == kAgrees) return text + "/>\n";
    const char* const tag = row.result.status == kDiffers ? "failure" : "error";
    text += std::string(">\n      <") + tag + " message=\"" + xmlText(row.result.reason) +
            "\" type=\"" + wordOf(row.result.status) + "\">";
    if (row.report)
        for (const std::string& difference : row.report->firstDifferences)
            text += xmlText(difference + "\n");
    return text + "</" + tag + ">\n    </testcase>\n";
}

std::string xmlOf(const std::vector<Row>& rows, const std::string& suite) {
    size_t failures = 0, errors = 0;
    double seconds = 0;
    std::string cases;
    for (const Row& row : rows) {
        failures += row.result.status == kDiffers;
        errors += row.result.status == kFailed;
        seconds += row.result.seconds;
        cases += caseOf(row);
    }
    const std::string counts = " tests=\"" + std::to_string(rows.size()) + "\" failures=\"" +
                               std::to_string(failures) + "\" errors=\"" + std::to_string(errors) +
                               "\" time=\"" + numberText(seconds) + "\">\n";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" + counts +
           "  <testsuite name=\"" + xmlText(suite) + "\"" + counts + cases +
           "  </testsuite>\n</testsuites>\n";
}

}  // namespace

Status conclude(const Regression& regression) {
    const Options& options = regression.options;
    const std::vector<Row> rows = rowsOf(regression);
    print(rows, options.verbose);
    Status status = kAgrees;
    for (const Row& row : rows) status = std::max(status, row.result.status);
    writeFile(options.junit.empty() ? options.results + "/junit.xml" : options.junit,
              xmlOf(rows, options.list));
    return status;
}

}  // namespace regress
