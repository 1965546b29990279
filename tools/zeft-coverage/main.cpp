// zeft-coverage: merges the coverage of many runs, and shows it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "coverage_file.h"
#include "failure.h"
#include "files.h"
#include "report.h"

namespace coverage {

namespace {

using regress::Failure;

constexpr const char* kUsage =
    "usage: zeft-coverage merge [-o FILE] FILE...\n"
    "       zeft-coverage report [--below PERCENT] [--scope SCOPE] [--html FILE] FILE\n";

constexpr const char* kHelp =
    "\n"
    "merge   joins the coverage of several runs of one model, on the standard output or in FILE\n"
    "report  prints a table by scope, and the nets whose bits did not all rise and fall\n"
    "\n"
    "  --below PERCENT  only scopes and nets below it\n"
    "  --scope SCOPE    only what is in SCOPE\n"
    "  --html FILE      write one page of HTML instead\n"
    "\n"
    "Exit status: 0, or 2 when a file cannot be read, or is of another model.\n";

/// The words of the command line; options are removed from it with their arguments.
class Words {
public:
    Words(int argc, char** argv) : words(argv, argv + argc) {}
    /// @return the argument of an option, or `otherwise`
    std::string take(const std::string& option, const std::string& otherwise) {
        std::string value = otherwise;
        for (size_t i = 0; i < words.size();) {
            if (words[i] != option) {
                ++i;
                continue;
            }
            if (i + 1 == words.size()) throw Failure(option + " needs an argument");
            value = words[i + 1];
            words.erase(words.begin() + static_cast<long>(i),
                        words.begin() + static_cast<long>(i) + 2);
        }
        return value;
    }
    /// @return the remaining words
    std::vector<std::string> files() const {
        for (const std::string& word : words)
            if (word.starts_with("-")) throw Failure("unknown option " + word);
        if (words.empty()) throw Failure("no file is given");
        return words;
    }

private:
    std::vector<std::string> words;
};

void put(const std::string& text, const std::string& path) {
    if (path.empty())
        std::fwrite(text.data(), 1, text.size(), stdout);
    else
        regress::writeFile(path, text);
}

void runMerge(Words words) {
    const std::string output = words.take("-o", "");
    const std::vector<std::string> paths = words.files();
    File merged = read(paths.front());
    for (size_t i = 1; i < paths.size(); ++i)
        merge(merged, paths.front(), read(paths[i]), paths[i]);
    put(textOf(merged), output);
}

void runReport(Words words) {
    ReportOptions options;
    options.scope = words.take("--scope", "");
    const std::string below = words.take("--below", "101");
    char* end = nullptr;
    options.below = std::strtod(below.c_str(), &end);
    if (below.empty() || *end != '\0' || !(options.below >= 0))
        throw Failure("--below cannot be '" + below + "'");
    const std::string html = words.take("--html", "");
    const std::vector<std::string> paths = words.files();
    if (paths.size() != 1) throw Failure("one file is reported at a time: merge them first");
    const File file = read(paths.front());
    put(html.empty() ? textReport(file, options) : htmlReport(file, options), html);
}

int run(int argc, char** argv) {
    const std::string verb = argc > 1 ? argv[1] : "";
    if (verb == "merge")
        runMerge(Words(argc - 2, argv + 2));
    else if (verb == "report")
        runReport(Words(argc - 2, argv + 2));
    else if (verb == "--help")
        std::printf("%s%s", kUsage, kHelp);
    else if (verb == "--version")
        std::printf("zeft-coverage (zeft %s)\n", ZEFT_VERSION);
    else {
        std::fputs(kUsage, stderr);
        return regress::kFailed;
    }
    if (std::fflush(stdout) != 0)
        throw Failure(regress::systemError("standard output", "cannot be written"));
    return 0;
}

}  // namespace

}  // namespace coverage

int main(int argc, char** argv) {
    try {
        return coverage::run(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zeft-coverage: %s\n", failure.what());
        return regress::kFailed;
    }
}
