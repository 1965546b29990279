// Files of JSON that other programs have written.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "failure.h"

namespace regress {

/// @param format  the required value of the member `format`; null: the file has no such member
/// Throws Failure, with file and line.
nlohmann::json parseFile(const std::string& path, const char* format);

/// Calls read(value) with the file's value. Throws Failure if members that it needs are missing.
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
