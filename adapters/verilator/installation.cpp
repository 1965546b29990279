#include "installation.h"

#include <algorithm>
#include <filesystem>

#include "build.h"
#include "run_program.h"

namespace qkverilate {

namespace {

namespace fs = std::filesystem;

bool isThere(const fs::path& path) {
    std::error_code error;
    return fs::exists(path, error);
}

fs::path ownPath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error);
}

/// The words of a text that blanks separate.
std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words(1);
    for (const char c : text) {
        if (c != ' ' && c != '\n') {
            words.back() += c;
        } else if (!words.back().empty()) {
            words.emplace_back();
        }
    }
    if (words.back().empty()) words.pop_back();
    return words;
}

bool useArchives(const fs::path& includes, const fs::path& libraries, Installation& found) {
    found.linking.clear();
    for (const char* const name : {"libzeft_verilator.a", "libzeft_main.a", "libzeft.a"})
        found.linking.push_back(libraries / name);
    if (!std::all_of(found.linking.begin(), found.linking.end(), isThere)) return false;
    found.linking.insert(found.linking.end(), {"-lz", "-pthread"});
    found.compiling = {"-I" + includes.string()};
    return true;
}

/// A tree that `cmake --install` made.
bool usePrefix(const fs::path& prefix, Installation& found) {
    for (const char* const folder : {"lib", "lib64", "lib/" QKVERILATE_MACHINE})
        if (useArchives(prefix / "include", prefix / folder, found)) return true;
    return false;
}

/// The build tree, when this program has not been installed.
bool useBuildTree(Installation& found) {
    std::error_code error;
    if (!fs::equivalent(ownPath().parent_path(), QKVERILATE_BINARY_DIR, error)) return false;
    found.compiling = wordsOf(QKVERILATE_COMPILING);
    found.linking = wordsOf(QKVERILATE_LINKING);
    return !found.linking.empty() && isThere(found.linking.front());
}

bool usePkgConfig(Installation& found) {
    const auto ask = [](const char* what, const char* module) {
        const Outcome outcome =
            runProgram({"pkg-config", std::string("--variable=") + what, module}, Text::kTaken);
        const std::vector<std::string> words = wordsOf(outcome.output);
        return outcome.status == 0 && words.size() == 1 ? words.front() : std::string();
    };
    const std::string libraries = ask("libdir", "zeft-main"), includes = ask("includedir", "zeft");
    return !libraries.empty() && useArchives(includes, libraries, found);
}

}  // namespace

Installation findInstallation(const std::string& prefix) {
    Installation found;
    const fs::path own = ownPath().parent_path().parent_path();
    found.runtime = own / "share/zeft/verilator";
    if (!isThere(fs::path(found.runtime) / "qkvl.h")) found.runtime = QKVERILATE_RUNTIME;
    if (!isThere(fs::path(found.runtime) / "qkvl.h"))
        throw BuildError{"the run time's headers are not in share/zeft/verilator beside bin"};
    if (!prefix.empty()) {
        if (usePrefix(fs::absolute(prefix), found)) return found;
        throw BuildError{"--zeft " + prefix + ": no libzeft_verilator.a and libzeft.a there"};
    }
    if (usePrefix(own, found) || useBuildTree(found) || usePkgConfig(found)) return found;
    throw BuildError{"the library is not found: give --zeft PREFIX"};
}

}  // namespace qkverilate
