// Files that readers find whole or not at all.
#pragma once

#include <string>

/// Writes a file beside the one of this name, and puts it in its place once all of it is written. A
/// file of that name stays as it is when that fails.
/// @return whether it could; says so if not
bool writeWholeFile(const char* path, const std::string& contents);
