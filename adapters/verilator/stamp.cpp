#include "stamp.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>

namespace qkverilate {

namespace {

namespace fs = std::filesystem;

/// FNV-1a.
uint64_t hashOf(const std::string& text) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
}

std::string hexadecimal(uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, value);
    return text;
}

/// Size and time of a file, as text.
std::optional<std::string> quickMark(const fs::path& file) {
    std::error_code error;
    const uintmax_t size = fs::file_size(file, error);
    if (error) return std::nullopt;
    const fs::file_time_type time = fs::last_write_time(file, error);
    if (error) return std::nullopt;
    return std::to_string(size) + "/" + std::to_string(time.time_since_epoch().count());
}

}  // namespace

bool readFile(const fs::path& file, std::string& text) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream all;
    if (!stream || !(all << stream.rdbuf())) return false;
    text = all.str();
    return true;
}

// A stamp: the key's hash on the first line, then lines "SIZE/TIME HASH FILE".

bool isCurrent(const fs::path& stamp, const std::string& key) {
    std::ifstream stream(stamp);
    std::string line;
    if (!std::getline(stream, line) || line != hexadecimal(hashOf(key))) return false;
    bool isAny = false;
    while (std::getline(stream, line)) {
        std::istringstream fields(line);
        std::string mark, hash, file;
        if (!(fields >> mark >> hash) || !std::getline(fields >> std::ws, file)) return false;
        isAny = true;
        const std::optional<std::string> now = quickMark(file);
        if (!now) return false;
        std::string text;
        if (*now != mark && (!readFile(file, text) || hexadecimal(hashOf(text)) != hash))
            return false;
    }
    return isAny;
}

void writeStamp(const fs::path& stamp, const std::string& key,
                const std::vector<std::string>& files) {
    std::ofstream stream(stamp);
    stream << hexadecimal(hashOf(key)) << '\n';
    for (const std::string& file : files) {
        std::string text;
        const bool isRead = readFile(file, text);
        stream << quickMark(file).value_or("-") << ' ' << (isRead ? hexadecimal(hashOf(text)) : "-")
               << ' ' << file << '\n';
    }
}

std::vector<std::string> dependenciesIn(const fs::path& file) {
    std::string text;
    std::vector<std::string> files;
    if (!readFile(file, text)) return files;
    const size_t colon = text.find(" : ");
    std::istringstream words(colon == std::string::npos ? std::string() : text.substr(colon + 3));
    for (std::string word; words >> word;)
        if (word != "\\") files.push_back(word);
    return files;
}

}  // namespace qkverilate
