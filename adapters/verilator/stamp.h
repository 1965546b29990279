// A stamp records the inputs of a build, so that the next one can find out whether anything has
// changed.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qkverilate {

/// @param key  all inputs that are not files: options, versions, folders
/// @return whether the stamp has this key, and no file that it names has changed since
bool isCurrent(const std::filesystem::path& stamp, const std::string& key);

/// Writes the stamp. A file that cannot be read makes the stamp useless, which is safe.
void writeStamp(const std::filesystem::path& stamp, const std::string& key,
                const std::vector<std::string>& files);

/// @return the files that a make rule in Verilator's dependency file names after its colon
std::vector<std::string> dependenciesIn(const std::filesystem::path& file);

/// @return whether the whole file was read
bool readFile(const std::filesystem::path& file, std::string& text);

}  // namespace qkverilate
