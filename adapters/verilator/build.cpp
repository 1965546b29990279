// The build: Verilator runs twice, first to read the tree for the tables, then to compile the
// design with them.
#include "build.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "installation.h"
#include "run_program.h"
#include "stamp.h"
#include "tree.h"
#include "write.h"

namespace qkverilate {

namespace {

namespace fs = std::filesystem;

constexpr size_t kMostLeftOut = 20;

/// A folder for the tree while the name of the program is not known.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (fs::temp_directory_path() / "qkverilate.XXXXXX").string();
        if (!mkdtemp(name.data())) throw BuildError{name + ": cannot be made"};
        path = name;
    }
    ~ScratchFolder() {
        std::error_code error;
        fs::remove_all(path, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    fs::path path;
};

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

class Build {
public:
    explicit Build(const Options& theOptions) : options(theOptions) {}
    void run();

private:
    void readVersion();
    bool isAtLeast(int major, int minor) const {
        return versionMajor != major ? versionMajor > major : versionMinor >= minor;
    }
    std::vector<std::string> commonArguments() const;
    Node readTree(const fs::path& into) const;
    void analyseTree(const Node& tree);
    std::vector<std::string> pinArguments() const;
    void nameOutputs();
    std::string key() const;
    void report() const;
    std::vector<std::string> compilingFlags() const;
    std::string argumentsForUser(const std::string& className) const;
    void writeTables() const;
    void verilate() const;
    void showAllArrays() const;
    void make() const;
    void putInPlace() const;
    std::vector<std::string> sources() const;
    void stamp() const;
    void writeRule() const;
    void stayAsBuilt() const;
    std::string fileName(const char* suffix) const;
    fs::path stampFile() const { return folder / "qkverilate.stamp"; }

    const Options& options;
    Installation installation;
    std::string version;  ///< as printed by Verilator
    int versionMajor = 0, versionMinor = 0;
    std::string top;  ///< the top module, once it is known
    fs::path output, folder;
    Design design;
};

// ---- Verilator

void Build::readVersion() {
    const Outcome outcome = runProgram({"verilator", "--version"}, Text::kTaken);
    if (!outcome.isFound) throw BuildError{"verilator: not found"};
    // Verilator 5.006 2023-01-22 rev ...
    const size_t begin = outcome.output.find(' ') + 1;
    version = outcome.output.substr(begin, outcome.output.find_first_of(" \n", begin) - begin);
    const char* const end = version.data() + version.size();
    const auto parsed = std::from_chars(version.data(), end, versionMajor);
    if (outcome.status != 0 || parsed.ec != std::errc() || parsed.ptr == end)
        throw BuildError{"verilator --version: not understood"};
    std::from_chars(parsed.ptr + 1, end, versionMinor);
    if (!isAtLeast(5, 2)) throw BuildError{"verilator " + version + ": 5.002 or later is needed"};
}

/// For both runs.
std::vector<std::string> Build::commonArguments() const {
    std::vector<std::string> arguments = {"-Wno-fatal"};
    if (!options.lint) arguments.insert(arguments.end(), {"-Wno-lint", "-Wno-style"});
    // Structures are vectors, even if they are not declared as packed.
    if (isAtLeast(5, 6)) append(arguments, {"-Wno-DEPRECATED", "--structs-packed"});
    const auto isTimescale = [](const std::string& word) {
        return word.starts_with("--timescale");
    };
    if (std::none_of(options.forVerilator.begin(), options.forVerilator.end(), isTimescale))
        arguments.insert(arguments.end(), {"--timescale", "1ns/1ns"});
    if (!top.empty()) arguments.insert(arguments.end(), {"--top-module", top});
    return arguments;
}

void runVerilator(const std::vector<std::string>& arguments, Text text) {
    const Outcome outcome = runProgram(arguments, text);
    if (outcome.isFound && outcome.status == 0) return;
    std::fputs(outcome.output.c_str(), stderr);
    throw BuildError{"verilator failed"};
}

Node Build::readTree(const fs::path& into) const {
    const bool isXml = !isAtLeast(5, 45);  // JSON of earlier releases lacks some of the design
    const std::string tree = into / (isXml ? "tree.xml" : "tree.json"), meta = into / "meta.json";
    std::vector<std::string> arguments = {"verilator", "-fno-dfg", "--timing", "--Mdir", into};
    if (isXml) {
        append(arguments, {"--xml-only", "--xml-output", tree});
    } else {
        append(arguments,
               {"--json-only", "--json-only-output", tree, "--json-only-meta-output", meta});
    }
    append(arguments, commonArguments());
    append(arguments, options.forVerilator);
    runVerilator(arguments, Text::kTaken);
    return isXml ? readXmlDump(tree) : readJsonDump(tree, meta, version);
}

constexpr const char* kSplitPads = "--pins-inout-enables";

/// If the design drives inouts, finds out whether this Verilator can split them.
void Build::analyseTree(const Node& tree) {
    design = analyse(tree, options.design);
    const bool hasPads = std::any_of(design.nets.begin(), design.nets.end(), [](const Net& net) {
        return net.scope == 0 && net.direction == Direction::kInout && net.isDriven;
    });
    if (!hasPads || runProgram({"verilator", kSplitPads, "--version"}, Text::kTaken).status != 0)
        return;
    DesignOptions splitting = options.design;
    splitting.splitsPads = true;
    design = analyse(tree, splitting);
}

std::vector<std::string> Build::pinArguments() const {
    return design.pads.empty() ? std::vector<std::string>() : std::vector<std::string>{kSplitPads};
}

std::string Build::fileName(const char* suffix) const {
    std::string name = top;
    const auto isOdd = [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); };
    std::replace_if(name.begin(), name.end(), isOdd, '_');
    return name + suffix;
}

void Build::nameOutputs() {
    output = options.output.empty() ? fs::path(fileName("_sim")) : fs::path(options.output);
    folder = options.build.empty() ? fs::path(output.string() + ".build") : fs::path(options.build);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw BuildError{folder.string() + ": cannot be made"};
}

// ---- Files

void Build::report() const {
    const size_t shown =
        options.verbose ? design.leftOut.size() : std::min(design.leftOut.size(), kMostLeftOut);
    for (size_t i = 0; i < shown; ++i) complain(design.leftOut[i]);
    if (shown < design.leftOut.size())
        complain("and " + std::to_string(design.leftOut.size() - shown) + " more");
    for (const std::string& warning : design.warnings) complain(warning);
}

/// Does not write a file that already has the text, so that files made from it stay current.
void writeFile(const fs::path& file, const std::string& text) {
    std::string before;
    if (readFile(file, before) && before == text) return;
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    if (!stream.flush()) throw BuildError{file.string() + ": cannot be written"};
}

std::string joined(const std::vector<std::string>& words, const std::string& before = "") {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : " ";
        text += before;
        text += word;
    }
    return text;
}

void Build::writeTables() const {
    writeFile(folder / fileName(".vlt"), configurationOf(design));
    const std::string className = options.tables ? fileName("").insert(0, "V") : "Vtop";
    writeFile(folder / fileName("_qk.cpp"), tablesOf(design, options.periods, className));
    if (options.tables) writeFile(folder / fileName("_qk.f"), argumentsForUser(className));
}

/// The arguments that a user's own call of Verilator needs besides the sources and a main(), as a
/// file for its -f.
std::string Build::argumentsForUser(const std::string& className) const {
    std::vector<std::string> arguments = commonArguments();
    append(arguments, pinArguments());
    std::string text = "--prefix " + className + ' ' + joined(arguments) + '\n';
    for (const char* const file : {".vlt", "_qk.cpp"})
        text += fs::absolute(folder / fileName(file)).string() + '\n';
    // No quotes are needed: each word is a separate argument.
    return text + joined(compilingFlags(), "-CFLAGS ") + '\n' +
           joined(installation.linking, "-LDFLAGS ") + '\n';
}

std::vector<std::string> Build::compilingFlags() const {
    std::vector<std::string> flags = {"-DVL_USER_FINISH",
                                      "-DVL_USER_STOP",
                                      "-DVL_USER_FATAL",
                                      "-include",
                                      installation.runtime + "/qkvl_print.h",
                                      "-I" + installation.runtime};
    append(flags, installation.compiling);
    return flags;
}

/// C++ files of the user, which make would look for in the folder it runs in.
bool isForCompiler(const fs::path& word) {
    constexpr std::string_view kSuffixes[] = {".cpp", ".cc", ".cxx", ".c", ".o", ".a", ".so"};
    const std::string suffix = word.extension();
    std::error_code error;
    return std::find(std::begin(kSuffixes), std::end(kSuffixes), suffix) != std::end(kSuffixes) &&
           fs::is_regular_file(word, error);
}

void Build::verilate() const {
    std::vector<std::string> arguments = {"verilator", "--cc",
                                          "--exe",     "--prefix",
                                          "Vtop",      "--Mdir",
                                          folder,      "--no-timing",
                                          "-CFLAGS",   joined(compilingFlags()),
                                          "-LDFLAGS",  joined(installation.linking)};
    append(arguments, commonArguments());
    append(arguments, pinArguments());
    if (isAtLeast(5, 24) && !options.verbose) arguments.emplace_back("--quiet-stats");
    arguments.push_back(folder / fileName(".vlt"));
    for (const std::string& word : options.forVerilator)
        arguments.push_back(isForCompiler(word) ? fs::absolute(word).string() : word);
    arguments.push_back(fs::absolute(folder / fileName("_qk.cpp")));
    runVerilator(arguments, Text::kShown);
}

/// Verilator 5.006 leaves arrays of several dimensions out of its tables, as comments.
void Build::showAllArrays() const {
    constexpr std::string_view kMark = "//UNSUP ";
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (!name.starts_with("Vtop__Syms") || !name.ends_with(".cpp")) continue;
        std::string text, changed;
        if (!readFile(entry.path(), text)) throw BuildError{name + ": cannot be read"};
        size_t at = 0;
        for (size_t mark; (mark = text.find(kMark, at)) != std::string::npos;
             at = mark + kMark.size())
            changed += text.substr(at, mark - at);
        if (at > 0) writeFile(entry.path(), changed + text.substr(at));
    }
}

void Build::make() const {
    // The make rules do not notice a change of the library.
    fs::remove(folder / "Vtop");
    const unsigned processors = std::max(std::thread::hardware_concurrency(), 1u);
    const std::string jobs =
        std::to_string(options.jobs ? options.jobs : static_cast<int>(processors));
    const Outcome outcome = runProgram({"make", "-C", folder, "-f", "Vtop.mk", "-j" + jobs},
                                       options.verbose ? Text::kShown : Text::kTaken);
    if (!outcome.isFound) throw BuildError{"make: not found"};
    if (outcome.status == 0) return;
    std::fputs(outcome.output.c_str(), stderr);
    throw BuildError{"make failed"};
}

void Build::putInPlace() const {
    // A running program cannot be overwritten, but replaced.
    const fs::path fresh = output.string() + ".new";
    std::error_code error;
    fs::copy_file(folder / "Vtop", fresh, fs::copy_options::overwrite_existing, error);
    if (!error) fs::rename(fresh, output, error);
    if (error) throw BuildError{output.string() + ": " + error.message()};
}

// ---- Doing nothing

std::string Build::key() const {
    std::string text = version + '\n' + output.string() + '\n' + installation.runtime;
    const auto add = [&](const std::vector<std::string>& words) {
        text += '\n';
        for (const std::string& word : words) text += word + '\0';
    };
    add(commonArguments());
    add(options.forVerilator);
    add(options.design.clocks);
    add(options.design.early);
    for (const auto& [net, period] : options.periods) add({net, period});
    add(installation.compiling);
    add(installation.linking);
    add({options.design.fast ? "fast" : "", options.tables ? "tables" : ""});
    return text;
}

std::vector<std::string> Build::sources() const {
    std::vector<std::string> files = dependenciesIn(folder / "Vtop__ver.d");
    for (const std::string& word : options.forVerilator)
        if (isForCompiler(word)) files.push_back(fs::absolute(word));
    return files;
}

void Build::stamp() const {
    std::vector<std::string> files = sources();
    files.push_back(output);
    for (const std::string& word : installation.linking)
        if (word.ends_with(".a")) files.push_back(word);
    for (const fs::directory_entry& entry : fs::directory_iterator(installation.runtime))
        if (entry.is_regular_file()) files.push_back(entry.path());
    writeStamp(stampFile(), key(), files);
    writeRule();
}

/// Writes the dependencies of the program, for the make or Ninja that called.
void Build::writeRule() const {
    std::string text = stampFile().string() + ' ' + output.string() + ':';  // Ninja knows the first
    for (const std::string& file : sources()) text += " \\\n  " + file;
    std::ofstream(folder / "qkverilate.d") << text << '\n';
}

/// Nothing has changed, but the caller considered the program out of date.
void Build::stayAsBuilt() const {
    std::error_code error;
    for (const fs::path& file : {output, stampFile()})
        fs::last_write_time(file, fs::file_time_type::clock::now(), error);
    writeRule();
}

void Build::run() {
    readVersion();
    installation = findInstallation(options.zeft);
    top = options.design.top;
    std::optional<ScratchFolder> scratch;
    std::optional<Node> tree;
    if (top.empty()) {
        scratch.emplace();
        tree = readTree(scratch->path);
        analyseTree(*tree);
        top = design.top;
    }
    nameOutputs();
    if (!options.tables && isCurrent(stampFile(), key())) return stayAsBuilt();
    if (!tree) analyseTree(readTree(folder));
    report();
    writeTables();
    if (options.tables) return;
    verilate();
    showAllArrays();
    make();
    putInPlace();
    stamp();
}

}  // namespace

void build(const Options& options) {
    if (options.verbose) showCommands();
    Build(options).run();
}

}  // namespace qkverilate
