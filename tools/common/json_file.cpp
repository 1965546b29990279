#include "json_file.h"

#include <algorithm>
#include <optional>

#include "files.h"

namespace regress {

using nlohmann::json;

namespace {

json parse(const std::string& path) {
    const std::optional<std::string> text = readFile(path);
    if (!text) throw Failure(systemError(path, "cannot be read"));
    try {
        return json::parse(*text);
    } catch (const json::parse_error& error) {
        const size_t end = std::min(error.byte, text->size());
        const auto line =
            1 + std::count(text->begin(), text->begin() + static_cast<long>(end), '\n');
        throw Failure(path + ":" + std::to_string(line) + ": not JSON, or not whole");
    }
}

}  // namespace

json parseFile(const std::string& path, const char* format) {
    json value = parse(path);
    if (!format) return value;
    const bool hasFormat = value.is_object() && value.contains("format");
    if (!hasFormat || !value["format"].is_string())
        throw Failure(path + ":1: not a file of the format '" + format + "'");
    const std::string found = value["format"].get<std::string>();
    if (found != format)
        throw Failure(path + ":2: the format is '" + found + "', not '" + format + "'");
    return value;
}

}  // namespace regress
