// Files that readers find complete or not at all.
#pragma once

#include <string>

/// Writes a file under another name in the same folder, and renames it once all of it is written.
/// If that fails, an existing file of this name does not change.
/// @return whether it succeeded; prints a message if not
bool writeWholeFile(const char* path, const std::string& contents);
