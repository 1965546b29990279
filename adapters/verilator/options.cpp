#include "options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace qkverilate {

namespace {

constexpr const char* kUsage = "usage: qkverilate [OPTION]... SOURCE... [-- VERILATOR-OPTION...]\n";

constexpr const char* kHelp =
    "Builds a simulator with console, waveforms and comparison from Verilog or SystemVerilog.\n"
    "\n"
    "  --top MODULE           top of what is compiled\n"
    "  -o FILE                the program, default MODULE_sim\n"
    "  --build DIR            intermediate files, default FILE.build\n"
    "  -G NAME=VALUE          a parameter of the top\n"
    "  --clock NET[=PERIOD]   an input that is a clock, though not found as one; its period in a\n"
    "                         free run\n"
    "  --early NET            an input that changes before the clock edge of the same time\n"
    "  --fast                 registers, memories and ports only: faster\n"
    "  --tables               stop after TOP.vlt, TOP_qk.cpp, TOP_qk.f: for a main() of your own\n"
    "  -j N                   jobs of make, default one a processor\n"
    "  --lint                 show Verilator's warnings on style\n"
    "  --verbose              show all commands, and all that is left out\n"
    "  --zeft PREFIX          where the library is installed\n"
    "  --help, --version\n"
    "\n"
    "All other options go to Verilator: -I, +incdir+, -y, -f, -D, ...\n"
    "Exit status: 0, or 2 when there is no program.\n";

/// Options that only the adapter may set.
constexpr std::string_view kTaken[] = {"--cc",        "--sc",       "--exe",         "--binary",
                                       "--main",      "--xml-only", "--json-only",   "--lint-only",
                                       "--prefix",    "--Mdir",     "-Mdir",         "--timing",
                                       "--no-timing", "-E",         "--hierarchical"};

class Reader {
public:
    Reader(int argc, char** argv, Options& theOptions)
        : words(argv + 1, argv + argc), options(theOptions) {}
    bool read(Status& status);

private:
    struct Own {
        std::string_view name;
        bool hasArgument;
        bool (*take)(const std::string& argument, Options& options);
    };
    static const Own kOwn[];

    bool takeOwn(const Own& own, const std::string& word);
    bool take(const std::string& word);

    std::vector<std::string> words;
    size_t next = 0;
    Options& options;
    std::string error;
};

bool setText(const std::string& argument, std::string& value) {
    value = argument;
    return !argument.empty();
}

bool takeClock(const std::string& argument, Options& options) {
    const size_t equals = argument.find('=');
    options.design.clocks.push_back(argument.substr(0, equals));
    if (equals == 0 || argument.empty()) return false;
    if (equals == std::string::npos) return true;
    const std::string period = argument.substr(equals + 1);
    options.periods.emplace_back(options.design.clocks.back(), period);
    return !period.empty() && std::isdigit(static_cast<unsigned char>(period.front()));
}

bool takeJobs(const std::string& argument, Options& options) {
    const char* const end = argument.data() + argument.size();
    const auto parsed = std::from_chars(argument.data(), end, options.jobs);
    return parsed.ec == std::errc() && parsed.ptr == end && options.jobs > 0;
}

const Reader::Own Reader::kOwn[] = {
    {"--top", true, [](const std::string& a, Options& o) { return setText(a, o.design.top); }},
    {"--top-module", true,
     [](const std::string& a, Options& o) { return setText(a, o.design.top); }},
    {"-o", true, [](const std::string& a, Options& o) { return setText(a, o.output); }},
    {"--build", true, [](const std::string& a, Options& o) { return setText(a, o.build); }},
    {"--zeft", true, [](const std::string& a, Options& o) { return setText(a, o.zeft); }},
    {"--clock", true, takeClock},
    {"--early", true,
     [](const std::string& a, Options& o) {
         o.design.early.push_back(a);
         return !a.empty();
     }},
    {"-j", true, takeJobs},
    {"-G", true,
     [](const std::string& a, Options& o) {
         o.forVerilator.push_back("-G" + a);
         return a.find('=') != std::string::npos;
     }},
    {"--fast", false, [](const std::string&, Options& o) { return o.design.fast = true; }},
    {"--tables", false, [](const std::string&, Options& o) { return o.tables = true; }},
    {"--verbose", false, [](const std::string&, Options& o) { return o.verbose = true; }},
    {"--lint", false, [](const std::string&, Options& o) { return o.lint = true; }},
};

/// @param word  the option, with its argument if that follows `=` or a single letter
bool Reader::takeOwn(const Own& own, const std::string& word) {
    std::string argument;
    if (own.hasArgument) {
        const bool isLong = own.name.size() > 2;
        if (word.size() > own.name.size()) {
            argument = word.substr(own.name.size() + (isLong ? 1 : 0));
        } else if (next < words.size()) {
            argument = words[next++];
        } else {
            error = word + " needs an argument";
            return false;
        }
    }
    if (own.take(argument, options)) return true;
    error = std::string(own.name) + " cannot be '" + argument + "'";
    return false;
}

bool Reader::take(const std::string& word) {
    for (const Own& own : kOwn) {
        const bool isLong = own.name.size() > 2;
        const bool isAlone = word == own.name;
        const bool isJoined = own.hasArgument && word.size() > own.name.size() &&
                              word.starts_with(own.name) &&
                              (!isLong || word[own.name.size()] == '=');
        if (isAlone || isJoined) return takeOwn(own, word);
    }
    if (std::find(std::begin(kTaken), std::end(kTaken), word) != std::end(kTaken)) {
        error = word + " is qkverilate's to give";
        return false;
    }
    options.forVerilator.push_back(word);
    return true;
}

bool Reader::read(Status& status) {
    status = kDone;
    const auto has = [&](const char* word) {
        const auto end = std::find(words.begin(), words.end(), "--");
        return std::find(words.begin(), end, word) != end;
    };
    if (has("--help") || has("-h")) {
        std::printf("%s%s", kUsage, kHelp);
        return false;
    }
    if (has("--version")) {
        std::printf("qkverilate (zeft %s)\n", ZEFT_VERSION);
        return false;
    }
    while (next < words.size()) {
        const std::string word = words[next++];
        if (word == "--") {
            while (next < words.size()) options.forVerilator.push_back(words[next++]);
        } else if (!take(word)) {
            break;
        }
    }
    if (error.empty() && options.forVerilator.empty()) error = "no sources";
    if (error.empty()) return true;
    complain(error);
    std::fprintf(stderr, "%sqkverilate --help lists the options\n", kUsage);
    status = kFailed;
    return false;
}

}  // namespace

bool readOptions(int argc, char** argv, Options& options, Status& status) {
    return Reader(argc, argv, options).read(status);
}

void complain(const std::string& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "qkverilate: %s\n", text.c_str());
}

}  // namespace qkverilate
