// Compares two VCD files change for change.
//
//   vcdcmp [options] FIRST SECOND
//     --map FROM=TO   only variables of FIRST whose path begins with FROM count, with TO in its
//     place
//     --min-vars N    it is an error to compare fewer than N variables
//     --all           a variable of FIRST that SECOND lacks is an error too
//
// Each variable of SECOND must be in FIRST, with the same sequence of times and values. Of several
// changes at one time the last counts, and a change to the same value is none. Short values are
// extended as IEEE 1364-2005, 18.2.1 tells. x and z are values of their own. A net dumped as
// several variables of one name, with ranges that complete each other, is one variable. Parameters,
// reals, events and strings are left out. Ranges must be the same, but one bit may have none.
//
// Exit status: 0 equal, 1 different, 2 for wrong usage or an unreadable file.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

/// A value as it stands in the file.
struct Change {
    uint64_t time;
    std::string_view digits;
};

/// What one `$var` line declares.
struct Part {
    size_t signal;  ///< index into Vcd::signals
    int width;
    bool hasRange;
    int left, right;
};

struct Vcd {
    std::string text;  ///< the whole file; the changes point into it
    int tick = -9;     ///< exponent of ten of the time unit in seconds
    std::vector<std::vector<Change>> signals;
    std::map<std::string, std::vector<Part>> variables;  ///< by dotted path
};

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

// ---- Reading

class Reader {
public:
    explicit Reader(Vcd& target) : vcd(target), rest(target.text) {}

    void read() {
        readDeclarations();
        readChanges();
    }

private:
    std::string_view next() {
        const char* const kBlanks = " \t\r\n";
        const size_t start = rest.find_first_not_of(kBlanks);
        if (start == std::string_view::npos) return {};
        const size_t end = std::min(rest.find_first_of(kBlanks, start), rest.size());
        const std::string_view token = rest.substr(start, end - start);
        rest.remove_prefix(end);
        return token;
    }

    /// The texts up to "$end", one blank between them.
    std::string untilEnd() {
        std::string joined;
        while (true) {
            const std::string_view token = next();
            if (token.empty()) fail("ends inside a section");
            if (token == "$end") return joined;
            if (!joined.empty()) joined += ' ';
            joined += token;
        }
    }

    void readDeclarations() {
        while (true) {
            const std::string_view keyword = next();
            if (keyword.empty()) fail("has no $enddefinitions");
            const std::string content = untilEnd();
            if (keyword == "$enddefinitions") return;
            if (keyword == "$timescale") {
                readTimescale(content);
            } else if (keyword == "$scope") {
                scopes.push_back(content.substr(content.find(' ') + 1));
            } else if (keyword == "$upscope") {
                if (scopes.empty()) fail("closes a scope that is not open");
                scopes.pop_back();
            } else if (keyword == "$var") {
                declare(content);
            } else if (keyword.front() != '$') {
                fail("has '" + std::string(keyword) + "' among the declarations");
            }
        }
    }

    void readTimescale(std::string content) {
        std::erase(content, ' ');
        const int zeros = static_cast<int>(std::count(content.begin(), content.end(), '0'));
        if (zeros > 2) fail("has an unknown timescale");
        static const char* const kUnits[] = {"s", "ms", "us", "ns", "ps", "fs"};
        for (int i = 0; i < 6; ++i) {
            if (content ==
                std::string("100").substr(0, static_cast<size_t>(zeros) + 1) + kUnits[i]) {
                vcd.tick = -3 * i + zeros;
                return;
            }
        }
        fail("has an unknown timescale");
    }

    void declare(const std::string& content) {
        const std::string_view all = content;
        const size_t typeEnd = all.find(' ');
        const size_t widthEnd = all.find(' ', std::min(typeEnd, all.size() - 1) + 1);
        const size_t codeEnd = all.find(' ', std::min(widthEnd, all.size() - 1) + 1);
        if (codeEnd == std::string_view::npos) fail("has a bad $var: '" + content + "'");
        const std::string_view type = all.substr(0, typeEnd);
        const std::string code(all.substr(widthEnd + 1, codeEnd - widthEnd - 1));
        std::string name(all.substr(codeEnd + 1));

        Part part{};
        part.width = std::atoi(content.c_str() + typeEnd);
        takeRange(name, &part);
        const int kLimit = 1 << 24;  // of widths and indices, so that sums stay within an int
        if (part.width < 1 || part.width > kLimit || std::abs(part.left / 2) > kLimit ||
            std::abs(part.right / 2) > kLimit) {
            fail("has a bad width or range: '" + content + "'");
        }
        part.signal = signalOf(code);
        static const char* const kLeftOut[] = {"parameter", "real", "realtime", "event", "string"};
        if (std::find(std::begin(kLeftOut), std::end(kLeftOut), type) != std::end(kLeftOut)) return;

        std::string path;
        for (const std::string& scope : scopes) path += scope + '.';
        addPart(path + name, part);
    }

    size_t signalOf(const std::string& code) {
        const auto [found, isNew] = codes.emplace(code, vcd.signals.size());
        if (isNew) vcd.signals.emplace_back();
        return found->second;
    }

    /// Cuts a range at the end of a name, be there blanks before it or not.
    static void takeRange(std::string& name, Part* part) {
        std::erase(name, ' ');
        const size_t open = name.rfind('[');
        if (name.front() == '\\' || name.back() != ']' || open == std::string::npos) return;
        const int fields = std::sscanf(name.c_str() + open, "[%d:%d]", &part->left, &part->right);
        if (fields < 1) return;
        if (fields == 1) part->right = part->left;
        part->hasRange = true;
        name.erase(open);
    }

    void addPart(const std::string& path, const Part& part) {
        std::vector<Part>& parts = vcd.variables[path];
        for (const Part& other : parts) {
            if (other.signal == part.signal && other.left == part.left) return;
            const bool apart =
                std::max(part.left, part.right) < std::min(other.left, other.right) ||
                std::max(other.left, other.right) < std::min(part.left, part.right);
            if (!part.hasRange || !other.hasRange || !apart) fail("declares " + path + " twice");
        }
        parts.push_back(part);
    }

    void readChanges() {
        uint64_t time = 0;
        while (true) {
            const std::string_view token = next();
            if (token.empty()) return;
            const char first = static_cast<char>(std::tolower(token.front()));
            if (first == '#') {
                uint64_t newTime = 0;
                const char* const end = token.data() + token.size();
                if (std::from_chars(token.data() + 1, end, newTime).ptr != end || newTime < time) {
                    fail("has a bad time: '" + std::string(token) + "'");
                }
                time = newTime;
            } else if (first == '$') {
                if (token == "$comment") untilEnd();
            } else if (first == 'b') {
                record(next(), time, token.substr(1));
            } else if (first == 'r' || first == 's') {
                next();
            } else {
                record(token.substr(1), time, token.substr(0, 1));
            }
        }
    }

    void record(std::string_view code, uint64_t time, std::string_view digits) {
        const auto found = codes.find(code);
        if (found == codes.end()) fail("changes an unknown '" + std::string(code) + "'");
        if (digits.empty() || digits.find_first_not_of("01xXzZ") != std::string_view::npos) {
            fail("has a bad value: '" + std::string(digits) + "'");
        }
        vcd.signals[found->second].push_back({time, digits});
    }

    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };

    Vcd& vcd;
    std::string_view rest;
    std::vector<std::string> scopes;
    std::unordered_map<std::string, size_t, Hash, std::equal_to<>> codes;
};

void readFile(const char* path, Vcd* vcd) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) fail(std::string(path) + " cannot be opened");
    vcd->text.resize(static_cast<size_t>(in.tellg()));
    in.seekg(0);
    if (!in.read(vcd->text.data(), static_cast<std::streamsize>(vcd->text.size()))) {
        fail(std::string(path) + " cannot be read");
    }
    try {
        Reader(*vcd).read();
    } catch (const std::runtime_error& error) {
        fail(std::string(path) + " " + error.what());
    }
}

// ---- The history of one variable

/// Steps through the real changes of a variable.
class History {
public:
    /// @param timeFactor  what the times of the file are multiplied by
    History(const Vcd& vcd, const std::vector<Part>& parts, uint64_t timeFactor)
        : factor(timeFactor) {
        int low = INT32_MAX;
        int high = INT32_MIN;
        for (const Part& part : parts) {
            low = std::min({low, part.left, part.right});
            high = std::max({high, part.left, part.right});
            totalWidth += static_cast<size_t>(part.width);
        }
        for (const Part& part : parts) {
            const bool ascending = part.left < part.right;
            const int distance = ascending ? part.left - low : high - part.left;
            const size_t place = parts.size() == 1 ? 0 : static_cast<size_t>(distance);
            const size_t width = static_cast<size_t>(part.width);
            if (place + width > totalWidth) gap = true;
            fields.push_back({&vcd.signals[part.signal], 0, place, width});
        }
    }

    bool hasGap() const { return gap; }
    size_t width() const { return totalWidth; }
    uint64_t time() const { return now; }
    const std::string& value() const { return digits; }

    /// Goes to the next time at which the value is another one. @return false at the end
    bool advance() {
        previous = digits;
        while (true) {
            uint64_t soonest = UINT64_MAX;
            bool any = false;
            for (const Field& field : fields) {
                if (field.next == field.changes->size()) continue;
                soonest = std::min(soonest, (*field.changes)[field.next].time);
                any = true;
            }
            if (!any) return false;
            digits.resize(totalWidth, 'x');
            for (Field& field : fields) take(field, soonest);
            now = soonest * factor;
            if (digits != previous) return true;
        }
    }

private:
    struct Field {
        const std::vector<Change>* changes;
        size_t next;
        size_t place;  ///< offset in the value's text
        size_t width;
    };

    void take(Field& field, uint64_t time) {
        const std::vector<Change>& changes = *field.changes;
        const size_t start = field.next;
        while (field.next < changes.size() && changes[field.next].time == time) ++field.next;
        if (field.next == start) return;
        std::string_view text = changes[field.next - 1].digits;
        if (text.size() > field.width) text.remove_prefix(text.size() - field.width);
        const char lead = lower(text.front());
        const auto out = digits.begin() + static_cast<ptrdiff_t>(field.place);
        const size_t missing = field.width - text.size();
        std::fill_n(out, missing, lead == '1' ? '0' : lead);
        std::transform(text.begin(), text.end(), out + static_cast<ptrdiff_t>(missing), lower);
    }

    static char lower(char digit) { return digit == 'X' ? 'x' : digit == 'Z' ? 'z' : digit; }

    std::vector<Field> fields;
    uint64_t factor;
    size_t totalWidth = 0;
    bool gap = false;
    uint64_t now = 0;
    std::string digits, previous;
};

// ---- Comparing

struct Options {
    std::string from, to;
    size_t minVars = 0;
    bool all = false;
    const char* files[2] = {nullptr, nullptr};
};

class Comparison {
public:
    Comparison(const Options& userOptions, const Vcd& firstVcd, const Vcd& secondVcd)
        : options(userOptions), first(firstVcd), second(secondVcd) {
        for (int i = second.tick; i < first.tick; ++i) factors[0] *= 10;
        for (int i = first.tick; i < second.tick; ++i) factors[1] *= 10;
    }

    /// @return whether the files agree
    bool run() {
        for (const auto& [path, parts] : second.variables) compareVariable(path, parts);
        if (options.all) checkNoneMissing();
        if (compared < options.minVars) {
            report("only " + std::to_string(compared) + " variables to compare");
        }
        std::printf("vcdcmp: %zu variables, %llu changes compared: %zu differences\n", compared,
                    static_cast<unsigned long long>(changes), differences);
        return differences == 0;
    }

private:
    void report(const std::string& text) {
        const size_t kShown = 20;
        if (++differences <= kShown) std::printf("%s\n", text.c_str());
    }

    void compareVariable(const std::string& path, const std::vector<Part>& parts) {
        const bool mapped = path.starts_with(options.to);
        const auto found =
            first.variables.find(mapped ? options.from + path.substr(options.to.size()) : path);
        if (!mapped || found == first.variables.end()) {
            report(path + ": not in the first file");
            return;
        }
        ++compared;
        History a(first, found->second, factors[0]);
        History b(second, parts, factors[1]);
        if (a.hasGap() || b.hasGap()) {
            report(path + ": its parts do not complete each other");
        } else if (a.width() != b.width()) {
            report(path + ": " + std::to_string(a.width()) + " bits in the first file, " +
                   std::to_string(b.width()) + " in the second");
        } else if (!sameRange(found->second, parts)) {
            report(path + ": another range");
        } else {
            compareHistories(path, a, b);
        }
    }

    /// @return whether variables of equal width number their bits alike, as far as can be told
    static bool sameRange(const std::vector<Part>& a, const std::vector<Part>& b) {
        if (a.size() > 1 || b.size() > 1) return true;
        if (a[0].width == 1 && (!a[0].hasRange || !b[0].hasRange)) return true;
        return a[0].hasRange == b[0].hasRange && a[0].left == b[0].left && a[0].right == b[0].right;
    }

    void compareHistories(const std::string& path, History& a, History& b) {
        while (true) {
            const bool more = a.advance();
            if (b.advance() != more) {
                const History& longer = more ? a : b;
                report(path + ": #" + std::to_string(longer.time()) + " " + longer.value() +
                       (more ? " in the first file only" : " in the second file only"));
                return;
            }
            if (!more) return;
            ++changes;
            if (a.time() != b.time() || a.value() != b.value()) {
                report(path + ": #" + std::to_string(a.time()) + " " + a.value() +
                       " in the first file, #" + std::to_string(b.time()) + " " + b.value() +
                       " in the second");
                return;
            }
        }
    }

    void checkNoneMissing() {
        for (const auto& entry : first.variables) {
            const std::string& path = entry.first;
            if (!path.starts_with(options.from)) continue;
            if (!second.variables.contains(options.to + path.substr(options.from.size()))) {
                report(path + ": not in the second file");
            }
        }
    }

    const Options& options;
    const Vcd& first;
    const Vcd& second;
    uint64_t factors[2] = {1, 1};
    size_t compared = 0;
    uint64_t changes = 0;
    size_t differences = 0;
};

bool parseOptions(int argc, char** argv, Options* options) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--all") {
            options->all = true;
        } else if (option == "--map" && i + 1 < argc) {
            const std::string map = argv[++i];
            const size_t equals = map.find('=');
            if (equals == std::string::npos) return false;
            options->from = map.substr(0, equals);
            options->to = map.substr(equals + 1);
        } else if (option == "--min-vars" && i + 1 < argc) {
            options->minVars = std::strtoul(argv[++i], nullptr, 10);
        } else if (files < 2 && !option.starts_with("--")) {
            options->files[files++] = argv[i];
        } else {
            return false;
        }
    }
    return files == 2;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, &options)) {
        std::fprintf(stderr, "usage: vcdcmp [--map FROM=TO] [--min-vars N] [--all] FIRST SECOND\n");
        return 2;
    }
    try {
        Vcd first, second;
        readFile(options.files[0], &first);
        readFile(options.files[1], &second);
        return Comparison(options, first, second).run() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vcdcmp: %s\n", error.what());
        return 2;
    }
}
