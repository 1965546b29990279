// The program that qkverilate makes: every model's command line, the design's plus-arguments, and
// clocks that toggle by themselves in a free run.
#include <qkzeft.h>
#include <unistd.h>
#include <zeft_main.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "qkvl_engine.h"

namespace {

VerilatedContext* context = nullptr;
VerilatedModel* model = nullptr;
const char* programName = nullptr;
bool isBatch = false;
bool hasStop = false;

/// NET=PERIOD[,FIRST], times as typed: the tick is known when the model has been built.
struct ClockOption {
    std::string net, period, first;
};
std::vector<ClockOption> clockOptions;

// ---- Clocks of the free run

bool isTime(const std::string& text) {
    const char* end = nullptr;
    if (text.empty() || !(std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '.'))
        return false;
    qk_parse_time(text.c_str(), &end);
    return *end == '\0';
}

/// Later options of one net replace earlier ones, and those of the build.
bool takeClock(const char* text) {
    const char* const equals = std::strchr(text, '=');
    if (!equals || equals == text) return false;
    ClockOption option{std::string(text, equals), equals + 1, ""};
    const size_t comma = option.period.find(',');
    if (comma != std::string::npos) {
        option.first = option.period.substr(comma + 1);
        option.period.resize(comma);
        if (!isTime(option.first)) return false;
    }
    if (!isTime(option.period)) return false;
    clockOptions.push_back(option);
    return true;
}

const ClockOption* optionFor(const std::string& net) {
    const auto found = std::find_if(clockOptions.rbegin(), clockOptions.rend(),
                                    [&](const ClockOption& option) { return option.net == net; });
    return found == clockOptions.rend() ? nullptr : &*found;
}

QkvlToggle toggleFor(unsigned char* storage, const ClockOption* option) {
    QkvlToggle toggle;
    toggle.storage = storage;
    toggle.period = 10 * qkvlTimeUnit();
    if (option) toggle.period = qk_parse_time(option->period.c_str(), nullptr);
    toggle.first = toggle.period / 2;
    if (option && !option->first.empty())
        toggle.first = qk_parse_time(option->first.c_str(), nullptr);
    return toggle;
}

/// Prints an error in an option, and ends the run.
void refuse(const std::string& text) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", programName, text.c_str());
    qk_exit(2);
}

std::vector<QkvlToggle> findToggles() {
    for (int i = 0; i < qkvlDesign.periodCount; ++i) {
        const QkvlClockPeriod& given = qkvlDesign.periods[i];
        if (!optionFor(given.name))
            takeClock((given.name + ("=" + std::string(given.period))).c_str());
    }
    std::vector<std::string> nets;
    for (int i = 0; i < qkvlDesign.netCount; ++i)
        if (qkvlDesign.nets[i].flags & kQkvlClock) nets.emplace_back(qkvlDesign.nets[i].name);
    for (const ClockOption& option : clockOptions)
        if (std::find(nets.begin(), nets.end(), option.net) == nets.end())
            nets.push_back(option.net);
    std::vector<QkvlToggle> toggles;
    for (const std::string& net : nets) {
        unsigned char* const storage = qkvlInput(net);
        if (!storage)
            refuse("--clk " + net + ": " + qkvlDesign.top +
                   " has no input of one bit of that name");
        const QkvlToggle toggle = toggleFor(storage, optionFor(net));
        if (toggle.period == 0) continue;
        if (toggle.period == 1) refuse("--clk " + net + ": a period is at least two ticks");
        toggles.push_back(toggle);
        toggles.back().goTo(qk_cycle);
    }
    return toggles;
}

// ---- What zeft_main() needs

bool build() {
    model = &qkvlMakeModel(*context);
    qkvl_attach(*model, *context);
    return true;
}

int run(uint64_t stop) {
    findToggles();  // refuses what is wrong with options before anything runs
    if (isBatch && !hasStop)
        std::fprintf(stderr, "%s: runs until $finish or Ctrl-C: no --stop\n", programName);
    qkvlRunFreely(stop, findToggles);
    qkvlFinal(*model);
    return 0;
}

bool takeAllNets(const char*) { return qkvlSettings.allNets = true; }

/// Plus-arguments are for the design; Verilator has received the whole command line.
bool takePlusArgument(const char* text) { return text[0] == '+'; }

const zeft_option kOptions[] = {
    {0, "clk", "NET=PERIOD[,FIRST]", "toggle this input so in a free run; 0: do not", takeClock},
    {0, "all-nets", nullptr, "compare every net with the trace, not only registers", takeAllNets},
};

bool isGiven(int argc, char** argv, const char* letter, const char* name) {
    return std::any_of(argv + 1, argv + argc, [&](const char* argument) {
        return (letter && std::strcmp(argument, letter) == 0) ||
               std::strncmp(argument, name, std::strlen(name)) == 0;
    });
}

}  // namespace

int qkvlMain(int argc, char** argv) {
    const char* const slash = std::strrchr(argv[0], '/');
    programName = slash ? slash + 1 : argv[0];
    context = &qkvlMakeContext(argc, argv);
    isBatch = isGiven(argc, argv, nullptr, "--batch");
    hasStop = isGiven(argc, argv, nullptr, "--stop");
    qkvlSettings.isInteractive =
        !isBatch && (isatty(STDIN_FILENO) || isGiven(argc, argv, "-i", "--interactive"));
    zeft_model description;
    description.name = programName;
    description.build = build;
    description.step = qkvlEvaluate;
    description.settle = qkvlSettleState;
    description.clock_first = true;
    description.run = run;
    description.options = kOptions;
    description.option_count = static_cast<int>(sizeof kOptions / sizeof kOptions[0]);
    description.operand = "+ARGUMENT";
    description.operand_help = "of the design, for $test$plusargs and $value$plusargs";
    description.take_operand = takePlusArgument;
    return zeft_main(description, argc, argv);
}
