// Files of JSON that other programs have written.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "failure.h"

namespace regress {

/// @param format  what the member `format` must be; null: there is none
/// Throws Failure, with file and line.
nlohmann::json parseFile(const std::string& path, const char* format);

/// Gives read(value) the file's value. Throws Failure when it lacks what that looks for.
template <class Read>
void readJson(const std::string& path, const char* format, Read&& read) {
    const nlohmann::json value = parseFile(path, format);
    try {
        read(value);
    } catch (const nlohmann::json::exception&) {
        throw Failure(path + ":1: lacks members that such a file has");
    }
}

}  // namespace regress
