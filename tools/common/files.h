// Reading and writing whole files, and making folders.
#pragma once

#include <optional>
#include <string>

namespace regress {

/// @return the contents, or nothing, with errno set
std::optional<std::string> readFile(const std::string& path);
/// Writes a file that readers find complete or not at all. Throws Failure.
void writeFile(const std::string& path, const std::string& contents);
/// Makes a folder and those above it. Throws Failure.
void makeFolder(const std::string& path);
/// @return the path of this program
std::string ownPath();

}  // namespace regress
