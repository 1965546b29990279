#include "result.h"

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "files.h"
#include "json_file.h"

namespace regress {

using nlohmann::json;

namespace {

constexpr const char* kReportFormat = "zeft-report 1";

std::vector<std::string> textsOf(const json& list) {
    std::vector<std::string> texts;
    for (const json& text : list) texts.push_back(text.get<std::string>());
    return texts;
}

std::string differenceText(const json& difference) {
    const auto text = [&](const char* key) { return difference.at(key).get<std::string>(); };
    return text("time") + ": " + text("kind") + ": " + text("net") + ", trace " + text("trace") +
           ", model " + text("model");
}

}  // namespace

Report::Report(const std::string& path) {
    readJson(path, kReportFormat, [&](const json& value) {
        command = textsOf(value.at("command"));
        model = value.at("model").get<std::string>();
        trace = value.at("trace").get<std::string>();
        reason = value.at("reason").get<std::string>();
        status = value.at("status").get<int64_t>();
        if (!value.contains("counts")) return;
        time = value.at("time").get<std::string>();
        differences = value.at("counts").at("differences").get<int64_t>();
        for (const json& difference : value.at("differences")) {
            if (firstDifferences.size() == 10) break;
            firstDifferences.push_back(differenceText(difference));
        }
    });
}

void Folder::prepare(const Entry& entry) const {
    makeFolder(path);
    for (const char* const left : {"result.json", "report.json", "log", "last.vcd.gz"})
        unlink(file(left).c_str());
    try {
        const json text = {{"name", entry.name}, {"command", entry.command}};
        writeFile(file("command.json"), text.dump(1) + "\n");
    } catch (const json::type_error&) {
        throw Failure(entry.name + ": the command line is not UTF-8");
    }
}

std::optional<std::vector<std::string>> Folder::command() const {
    try {
        std::vector<std::string> words;
        readJson(file("command.json"), nullptr,
                 [&](const json& value) { words = textsOf(value.at("command")); });
        return words;
    } catch (const Failure&) {
        return {};
    }
}

std::optional<Result> Folder::result() const {
    try {
        Result result;
        readJson(file("result.json"), nullptr, [&](const json& value) {
            const int status = value.at("status").get<int>();
            result.status = status == 0 ? kAgrees : status == 1 ? kDiffers : kFailed;
            result.reason = value.at("reason").get<std::string>();
            result.seconds = value.at("seconds").get<double>();
        });
        return result;
    } catch (const Failure&) {
        return {};
    }
}

void Folder::write(const Result& result) const {
    const json text = {
        {"status", int{result.status}}, {"reason", result.reason}, {"seconds", result.seconds}};
    writeFile(file("result.json"), text.dump(1, ' ', false, json::error_handler_t::replace) + "\n");
}

bool Folder::hasResult() const { return access(file("result.json").c_str(), F_OK) == 0; }

bool Folder::isBegun() const { return access(file("log").c_str(), F_OK) == 0; }

}  // namespace regress
