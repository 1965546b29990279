#include "write.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>

#include "runtime/qkvl.h"

namespace qkverilate {

namespace {

/// Appends what printf() would print.
[[gnu::format(printf, 2, 3)]] void add(std::string& text, const char* format, ...) {
    std::va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    const size_t at = text.size();
    text.resize(at + static_cast<size_t>(std::max(length, 0)) + 1);
    std::vsnprintf(text.data() + at, static_cast<size_t>(length) + 1, format, again);
    va_end(again);
    text.pop_back();
}

/// A C++ string literal. Names have only printable characters, and no backslash.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '?') result += '\\';
        result += c;
    }
    return result + '"';
}

/// The row numbers of nets, by their places in the design; -1 for nets without a row.
std::vector<int> numberRows(const Design& design) {
    std::vector<int> numbers;
    int next = 0;
    for (size_t i = 0; i < design.nets.size(); ++i) {
        const Net& home = design.nets[static_cast<size_t>(design.home(static_cast<int>(i)))];
        numbers.push_back(home.isPublic || home.value ? next++ : -1);
    }
    return numbers;
}

int64_t elementCount(const Type& type) {
    int64_t count = type.unpacked.empty() ? 0 : 1;
    for (const Bounds& bounds : type.unpacked) count *= bounds.count();
    return count;
}

/// The element bounds; several dimensions are one, counted row by row.
Bounds elementBounds(const Type& type) {
    if (type.unpacked.empty()) return {0, 0};
    if (type.unpacked.size() > 1) return {static_cast<int>(elementCount(type)) - 1, 0};
    const Bounds& bounds = type.unpacked.front();
    return {std::max(bounds.left, bounds.right), std::min(bounds.left, bounds.right)};
}

unsigned flagsOf(const Net& net) {
    const std::pair<bool, QkvlFlag> flags[] = {
        {net.type.isRanged, kQkvlRanged}, {net.isPublic, kQkvlPublic}, {net.isClock, kQkvlClock},
        {net.isEarly, kQkvlEarly},        {net.isDriven, kQkvlDriven}, {net.isPin, kQkvlPin}};
    unsigned all = 0;
    for (const auto& [isSet, flag] : flags)
        if (isSet) all |= flag;
    return all;
}

QkvlKind kindOf(const Net& net) {
    switch (net.kind) {
        case Kind::kNet: break;
        case Kind::kRegister: return kQkvlRegister;
        case Kind::kLatch: return kQkvlLatch;
        case Kind::kMemory: return kQkvlMemory;
        case Kind::kParameter: return kQkvlParameter;
    }
    return kQkvlNet;
}

QkvlDirection directionOf(const Net& net) {
    switch (net.direction) {
        case Direction::kNone: break;
        case Direction::kInput: return kQkvlInput;
        case Direction::kInout: return kQkvlInout;
        case Direction::kOutput: return kQkvlOutput;
    }
    return kQkvlNone;
}

void addValues(std::string& text, const Design& design, const std::vector<int>& numbers) {
    for (size_t i = 0; i < design.nets.size(); ++i) {
        if (!design.nets[i].value || numbers[i] < 0) continue;
        // For a value of more than 32 bits, 64 bits are read.
        std::vector<uint32_t> words = *design.nets[i].value;
        if (words.size() % 2) words.push_back(0);
        add(text, "const uint32_t value%d[] = {", numbers[i]);
        for (size_t k = 0; k < words.size(); ++k) add(text, "%s0x%x", k ? ", " : "", words[k]);
        text += "};\n";
    }
}

void addNet(std::string& text, const Design& design, const std::vector<int>& numbers, size_t at) {
    const Net& net = design.nets[at];
    const Bounds elements = elementBounds(net.type);
    const int outer = net.sharesOuter ? numbers[static_cast<size_t>(net.outer)] : -1;
    const std::string value = net.value ? "value" + std::to_string(numbers[at]) : "nullptr";
    add(text, "    {%d, %s, %d, %d, %d, %d, %u, %d, %d, %d, %d, %d, %s},\n", net.scope,
        quoted(net.name).c_str(), net.type.bits.left, net.type.bits.right, int{kindOf(net)},
        int{directionOf(net)}, flagsOf(net),
        numbers[static_cast<size_t>(design.home(static_cast<int>(at)))], outer,
        static_cast<int>(elementCount(net.type)), elements.left, elements.right, value.c_str());
}

/// %s is the class.
constexpr const char* kHooks = R"(
void %s___024root___eval_settle(%s___024root* root);

VerilatedModel& qkvlMakeModel(VerilatedContext& context) { return *new %s(&context, "TOP"); }
bool qkvlEval(VerilatedModel& model, uint64_t time) {
    model.contextp()->time(time);
    static_cast<%s&>(model).eval();
    return model.contextp()->gotFinish();
}
QkvlOutcome qkvlEvalUnlessFinished(VerilatedModel& model, uint64_t time) {
    VerilatedContext& context = *model.contextp();
    if (context.gotFinish()) return kQkvlNotEvaluated;
    context.time(time);
    static_cast<%s&>(model).eval();
    return context.gotFinish() ? kQkvlFinished : kQkvlGoesOn;
}
void qkvlEvalSettle(VerilatedModel& model, uint64_t time) {
    model.contextp()->time(time);
    %s___024root___eval_settle(static_cast<%s&>(model).rootp);
}
void qkvlFinal(VerilatedModel& model) { static_cast<%s&>(model).final(); }
)";

/// The function that finds the ports that a configuration file cannot make public.
std::string pinsOf(const Design& design, const std::vector<int>& numbers,
                   const std::string& className) {
    if (design.pads.empty()) return "void* qkvlPin(VerilatedModel&, int) { return nullptr; }\n";
    std::string text = "void* qkvlPin(VerilatedModel& model, int row) {\n    switch (row) {\n";
    for (size_t i = 0; i < design.nets.size(); ++i)
        if (design.nets[i].isPin)
            add(text, "        case %d: return &static_cast<%s&>(model).%s;\n", numbers[i],
                className.c_str(), design.nets[i].orig.c_str());
    return text + "        default: return nullptr;\n    }\n}\n";
}

std::string hooksOf(const std::string& className) {
    std::string text = kHooks;
    for (size_t at = 0; (at = text.find("%s", at)) != std::string::npos; at += className.size())
        text.replace(at, 2, className);
    return text;
}

}  // namespace

std::string configurationOf(const Design& design) {
    // A variable of a module is made public in all instances.
    std::map<std::pair<std::string, std::string>, bool> variables;
    for (const Net& net : design.nets)
        if (net.isPublic && !net.isPin) variables[{net.module, net.orig}] |= net.isWritable;
    std::string text = "`verilator_config\n";
    for (const auto& [variable, isWritable] : variables)
        add(text, "public_flat_%s -module \"%s\" -var \"%s\"\n", isWritable ? "rw" : "rd",
            variable.first.c_str(), variable.second.c_str());
    return text;
}

std::string tablesOf(const Design& design,
                     const std::vector<std::pair<std::string, std::string>>& periods,
                     const std::string& className) {
    const std::vector<int> numbers = numberRows(design);
    std::string text = "// The nets of " + design.top +
                       ", for the run time of qkverilate, which made this file.\n"
                       "#include \"qkvl_bridge.h\"\n#include \"" +
                       className + ".h\"\n\nnamespace {\n\n";
    addValues(text, design, numbers);
    text += "const QkvlScope scopes[] = {\n";
    for (const Scope& scope : design.scopes)
        add(text, "    {%d, %s},\n", scope.parent, quoted(scope.name).c_str());
    text += "};\n\nconst QkvlNet nets[] = {\n";
    for (size_t i = 0; i < design.nets.size(); ++i)
        if (numbers[i] >= 0) addNet(text, design, numbers, i);
    // An array must have at least one row.
    text += "    {}};\n\nconst QkvlClockPeriod periods[] = {\n";
    for (const auto& [net, period] : periods)
        add(text, "    {%s, %s},\n", quoted(net).c_str(), quoted(period).c_str());
    text += "    {}};\n\nconst QkvlPad pads[] = {\n";
    for (const Pad& pad : design.pads)
        add(text, "    {%d, %d, %d},\n", numbers[static_cast<size_t>(pad.input)],
            numbers[static_cast<size_t>(pad.out)], numbers[static_cast<size_t>(pad.enable)]);
    text += "    {}};\n\n}  // namespace\n\n";
    const auto rows = std::count_if(numbers.begin(), numbers.end(), [](int n) { return n >= 0; });
    add(text,
        "const QkvlDesign qkvlDesign = {%s, scopes, %zu, nets, %d, periods, %zu, pads, %zu};\n",
        quoted(design.top).c_str(), design.scopes.size(), static_cast<int>(rows), periods.size(),
        design.pads.size());
    return text + hooksOf(className) + pinsOf(design, numbers, className);
}

}  // namespace qkverilate
