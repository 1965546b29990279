#include "harness/options.h"

#include <getopt.h>
#include <qkzeft_run.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "harness/report.h"

namespace zeft_harness {

namespace {

const char* programName = "model";

bool addPair(const char* text, std::vector<Pair>& pairs) {
    const char* const equals = std::strchr(text, '=');
    if (!equals || equals == text || !equals[1]) return false;
    pairs.emplace_back(std::string(text, equals), equals + 1);
    return true;
}

bool setText(const char* text, std::string& value) {
    value = text;
    return !value.empty();
}

bool addText(const char* text, std::vector<std::string>& values) {
    values.emplace_back(text);
    return *text != '\0';
}

bool setTime(const char* text, std::string& value) {
    value = text;
    const bool isNumber = std::isdigit(static_cast<unsigned char>(*text)) || *text == '.';
    const char* end = text;
    if (isNumber) qk_parse_time(text, &end);
    return isNumber && *end == '\0';
}

/// @param text  null: on
bool setSwitch(const char* text, std::optional<bool>& value) {
    const std::string_view word = text ? text : "on";
    value = word == "on";
    return *value || word == "off";
}

bool setCount(const char* text, int least, std::optional<int>& value) {
    char* end = nullptr;
    errno = 0;
    const long count = std::strtol(text, &end, 10);
    const bool isNumber = std::isdigit(static_cast<unsigned char>(*text)) && *end == '\0';
    if (!isNumber || errno != 0 || count < least || count > INT_MAX) return false;
    value = static_cast<int>(count);
    return true;
}

/// Accepts what fits 32 bits, with a sign or without.
bool setSeed(const char* text, std::optional<uint32_t>& value) {
    char* end = nullptr;
    errno = 0;
    const long long seed = std::strtoll(text, &end, 10);
    const bool isNumber = std::isdigit(static_cast<unsigned char>(text[*text == '-'])) && !*end;
    if (!isNumber || errno != 0 || seed < INT32_MIN || seed > UINT32_MAX) return false;
    value = static_cast<uint32_t>(seed);
    return true;
}

bool setReport(const char* text, std::string& value) {
    const std::string_view path = text;
    value = path;
    return path.ends_with(".json") || path.ends_with(".xml");
}

/// A zeft_option with a function that stores its argument.
struct Option {
    zeft_option declared;
    bool comparing;  ///< useless without --validate
    bool (*set)(const char* argument, Options& options);
};

using Text = const char*;

const Option kOptions[] = {
    {{'c', "script", "FILE", "run console commands from FILE first", nullptr},
     false,
     [](Text text, Options& o) { return setText(text, o.script); }},
    {{'i', "interactive", nullptr, "open the console first", nullptr},
     false,
     [](Text, Options& o) { return o.interactive = true; }},
    {{0, "batch", nullptr, "never read from the terminal", nullptr},
     false,
     [](Text, Options& o) { return o.batch = true; }},
    {{0, "strict", nullptr, "keep to the letter where users expect otherwise", nullptr},
     false,
     [](Text, Options& o) { return o.strict = true; }},
    {{0, "seed", "N", "first seed of $random without an argument, default 0", nullptr},
     false,
     [](Text text, Options& o) { return setSeed(text, o.seed); }},
    {{0, "stop", "TIME", "end the run at TIME", nullptr},
     false,
     [](Text text, Options& o) { return setTime(text, o.stop); }},
    {{0, "log", "FILE", "copy console text to FILE", nullptr},
     false,
     [](Text text, Options& o) { return setText(text, o.log); }},
    {{0, "trace", "PATTERN", "record these nets; may be repeated, default '*'", nullptr},
     false,
     [](Text text, Options& o) { return addText(text, o.traced); }},
    {{0, "vcd", "FILE", "record to FILE: gzip if it ends in .gz, FST in .fst", nullptr},
     false,
     [](Text text, Options& o) { return setText(text, o.vcd); }},
    {{0, "coverage", "FILE", "write which bits rose and fell to FILE, as JSON", nullptr},
     false,
     [](Text text, Options& o) { return setText(text, o.coverage); }},
    {{0, "last", "N", "keep N changes, at least 10000, saved if the run ends badly", nullptr},
     false,
     [](Text text, Options& o) { return setCount(text, 1, o.last); }},
    {{0, "no-threads", nullptr, "run in one thread", nullptr},
     false,
     [](Text, Options& o) { return o.noThreads = true; }},
    {{0, "validate", "TRACE", "compare with a VCD or FST file, plain or compressed", nullptr},
     true,
     [](Text text, Options& o) { return setText(text, o.reference); }},
    {{0, "map", "MODEL=TRACE", "a scope of the model, and where the trace has it", nullptr},
     true,
     [](Text text, Options& o) { return addPair(text, o.maps); }},
    {{0, "stimulus", "MODEL=TRACE", "a net to drive, and what it is in the trace", nullptr},
     true,
     [](Text text, Options& o) { return addPair(text, o.stimuli); }},
    {{0, "clock", "NET[=off]", "an input that is a clock, or is none", nullptr},
     true,
     [](Text text, Options& o) { return addText(text, o.clocks); }},
    {{0, "clock-first", "[=off]", "apply a time step's clocks before its other inputs", nullptr},
     true,
     [](Text text, Options& o) { return setSwitch(text, o.clockFirst); }},
    {{0, "early", "NET", "an input to apply before the clocks, with --clock-first", nullptr},
     true,
     [](Text text, Options& o) { return addText(text, o.earlies); }},
    {{0, "scan", nullptr, "find out which of these options the trace needs", nullptr},
     true,
     [](Text, Options& o) { return o.scan = true; }},
    {{0, "ignore", "PATTERN", "nets not to compare", nullptr},
     true,
     [](Text text, Options& o) { return addText(text, o.ignored); }},
    {{0, "complete", nullptr, "want all nets compared and all inputs driven", nullptr},
     true,
     [](Text, Options& o) { return o.complete = true; }},
    {{0, "synctime", "TIME", "how long both may differ before it counts", nullptr},
     true,
     [](Text text, Options& o) { return setTime(text, o.synctime); }},
    {{0, "threshold", "N", "stop at N differences, default 10; 0: never", nullptr},
     true,
     [](Text text, Options& o) { return setCount(text, 0, o.threshold); }},
    {{0, "report", "FILE", "write what came of it, as .json or .xml (JUnit)", nullptr},
     true,
     [](Text text, Options& o) { return setReport(text, o.report); }},
    {{0, "verbose", nullptr, "tell both values of a difference; twice: of every net", nullptr},
     true,
     [](Text, Options& o) { return ++o.verbose > 0; }},
    {{0, "help", nullptr, "show this", nullptr}, false, nullptr},
    {{0, "version", nullptr, "show the library's version", nullptr}, false, nullptr},
};

/// All options of a program, its own first. If two options share a letter or a name, it belongs to
/// the first: the other has only the rest, or nothing.
struct CommandLine {
    explicit CommandLine(const zeft_model& theModel);
    /// @return the index of the option that getopt_long() has found
    size_t indexOf(int found) const;
    std::string nameOf(size_t index) const;

    const zeft_model& model;
    const size_t own;
    std::vector<zeft_option> all;
    // In the form that getopt_long() needs.
    std::string letters;
    std::vector<::option> names;
};

constexpr int kFirstName = UCHAR_MAX + 1;

/// An argument in brackets is optional.
int argumentKind(const zeft_option& option) {
    if (!option.argument) return no_argument;
    return option.argument[0] == '[' ? optional_argument : required_argument;
}

CommandLine::CommandLine(const zeft_model& theModel)
    : model(theModel), own(static_cast<size_t>(std::max(theModel.option_count, 0))) {
    const auto isNameTaken = [&](const char* name) {
        return std::any_of(names.begin(), names.end(), [&](const ::option& other) {
            return std::strcmp(other.name, name) == 0;
        });
    };
    for (size_t i = 0; i < own + std::size(kOptions); ++i) {
        zeft_option option = i < own ? model.options[i] : kOptions[i - own].declared;
        if (letters.find(option.letter) != std::string::npos) option.letter = 0;
        if (option.name && isNameTaken(option.name)) option.name = nullptr;
        if (option.letter) {
            letters += option.letter;
            if (option.argument) letters += ':';
        }
        if (option.name)
            names.push_back(
                {option.name, argumentKind(option), nullptr, kFirstName + static_cast<int>(i)});
        all.push_back(option);
    }
    names.push_back({nullptr, 0, nullptr, 0});
}

size_t CommandLine::indexOf(int found) const {
    if (found >= kFirstName) return static_cast<size_t>(found - kFirstName);
    size_t index = 0;
    while (all[index].letter != found) ++index;
    return index;
}

std::string CommandLine::nameOf(size_t index) const {
    const zeft_option& option = all[index];
    return option.name ? std::string("--") + option.name : std::string("-") + option.letter;
}

void printUsage(const zeft_model& model, FILE* stream) {
    std::fprintf(stream, "usage: %s [OPTION]...", programName);
    if (model.take_operand) std::fprintf(stream, " [%s]", model.operand ? model.operand : "FILE");
    std::fprintf(stream, "\n");
}

void printOption(const zeft_option& option) {
    if (!option.letter && !option.name) return;
    std::string left = option.letter ? std::string("-") + option.letter : "    ";
    if (option.letter && option.name) left += ", ";
    if (option.name) left += std::string("--") + option.name;
    if (option.argument)
        left += std::string(argumentKind(option) == optional_argument ? "" : " ") + option.argument;
    std::printf("  %-26s  %s\n", left.c_str(), option.help);
}

void printHelp(const CommandLine& line) {
    const zeft_model& model = line.model;
    printUsage(model, stdout);
    if (model.take_operand && model.operand && model.operand_help)
        std::printf("  %-26s  %s\n", model.operand, model.operand_help);
    if (line.own > 0) std::printf("\nOf this model:\n");
    for (size_t i = 0; i < line.own; ++i) printOption(line.all[i]);
    for (const bool comparing : {false, true}) {
        std::printf(comparing ? "\nComparing:\n" : "\nRunning:\n");
        for (size_t i = line.own; i < line.all.size(); ++i)
            if (kOptions[i - line.own].comparing == comparing) printOption(line.all[i]);
    }
    std::printf(
        "\nExit status: 0 when the run went well or model and trace agree, 1 when they differ\n"
        "or the model found a fault, 2 when something that was asked for could not be done,\n"
        "128 + N when signal N ended the run.\n");
}

enum class Taken { kFine, kRefused, kHelp, kVersion };

Taken take(const CommandLine& line, size_t index, const char* argument, Options& options) {
    if (index < line.own)
        return line.model.options[index].take(argument) ? Taken::kFine : Taken::kRefused;
    const Option& option = kOptions[index - line.own];
    if (!option.set)
        return std::strcmp(option.declared.name, "help") == 0 ? Taken::kHelp : Taken::kVersion;
    return option.set(argument, options) ? Taken::kFine : Taken::kRefused;
}

/// Finds --report in a command line of which the rest was not read.
void findReport(const CommandLine& line, int argc, char** argv, Options& options) {
    constexpr std::string_view name = "--report";
    for (size_t i = 0; i < line.own; ++i)
        if (line.all[i].name && line.all[i].name == name.substr(2)) return;
    for (int i = 1; i < argc && options.report.empty(); ++i) {
        const std::string_view word = argv[i];
        if (word == "--") return;
        const char* const path = word == name && i + 1 < argc    ? argv[i + 1]
                                 : word.starts_with("--report=") ? argv[i] + name.size() + 1
                                                                 : nullptr;
        if (path && !setReport(path, options.report)) options.report.clear();
    }
}

/// @return why the options make no sense together, empty if they do
std::string conflictOf(const CommandLine& line, const std::vector<bool>& used,
                       const Options& options) {
    if (options.batch && options.interactive) return "--batch and --interactive exclude each other";
    if (options.scan && !options.report.empty()) return "--scan writes no report";
    if (options.scan && options.interactive) return "--scan and --interactive exclude each other";
    if (options.scan && (!options.vcd.empty() || !options.traced.empty() || options.last ||
                         !options.coverage.empty()))
        return "--scan records nothing";
    if (!options.reference.empty()) return "";
    for (size_t i = line.own; i < line.all.size(); ++i)
        if (used[i] && kOptions[i - line.own].comparing)
            return line.nameOf(i) + " is of no use without --validate";
    return "";
}

bool takeOperands(const zeft_model& model, int argc, char** argv) {
    for (int i = optind; i < argc; ++i) {
        if (model.take_operand && model.take_operand(argv[i])) continue;
        complain("unexpected argument '%s'", argv[i]);
        return false;
    }
    return true;
}

}  // namespace

namespace {

[[gnu::format(printf, 1, 0)]] void sayOnErrorStream(const char* format, std::va_list arguments,
                                                    bool isReason) {
    char* line = nullptr;
    if (vasprintf(&line, format, arguments) < 0) return;
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", programName, line);
    noteMessage(line, isReason);
    std::free(line);
}

}  // namespace

void complain(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    sayOnErrorStream(format, arguments, true);
    va_end(arguments);
}

void remark(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    sayOnErrorStream(format, arguments, false);
    va_end(arguments);
}

bool readOptions(const zeft_model& model, int argc, char** argv, Options& options, Status& status) {
    programName = model.name;
    const CommandLine line(model);
    std::vector<bool> used(line.all.size());
    const auto refuse = [&] {
        findReport(line, argc, argv, options);
        printUsage(model, stderr);
        std::fprintf(stderr, "%s --help lists the options\n", programName);
        status = kCouldNotRun;
        return false;
    };
    optind = 1;
    for (int found; (found = getopt_long(argc, argv, line.letters.c_str(), line.names.data(),
                                         nullptr)) != -1;) {
        if (found == '?') {
            noteMessage(std::string("wrong option, or without its argument: ") + argv[optind - 1],
                        true);
            return refuse();
        }
        const size_t index = line.indexOf(found);
        used[index] = true;
        switch (take(line, index, optarg, options)) {
            case Taken::kFine: continue;
            case Taken::kRefused:
                complain("%s cannot be '%s'", line.nameOf(index).c_str(), optarg ? optarg : "");
                return refuse();
            case Taken::kHelp: printHelp(line); break;
            case Taken::kVersion: std::printf("%s (zeft %s)\n", model.name, ZEFT_VERSION); break;
        }
        status = kAgrees;
        return false;
    }
    if (!takeOperands(model, argc, argv)) return refuse();
    const std::string conflict = conflictOf(line, used, options);
    if (conflict.empty()) return true;
    complain("%s", conflict.c_str());
    return refuse();
}

}  // namespace zeft_harness
