// Registration tables: any rows in any order, in sections that begin and end anyhow, with storage
// that is as large as the rows tell; then listing, tracing and tear-down of what came of them.
//
// An input is a text of one operation a line: a letter and its arguments, of which missing ones are
// 0. A number `.` is the one that a correct table has there. The name `-` is null, `=` is empty,
// `~9` is nine letters long, and %2e stands for a byte.
//
//   M instance parent design          makes a module; parent 0 is none, 1 the first one made
//   m module                          chooses the module of the next operations
//   s scopes nets case                starts its section
//   g word word, x word               gives the generator's words
//   c parent scope name case          } rows of scopes, nets, extracts and terms; those on
//   n scope net name slot left right mode array-left array-right replacement flags owner cell
//   e scope name scalar left right actual offset             } consecutive lines go into one call
//   t scope name scalar left right actual                    }
//   z                                 ends the section
//   r name mode slot left right array-left array-right       registers by hand
//   d module                          destroys a module
//   w                                 writes all storage, and a wave passes
//   k command                         gives a line to the console
//   C on                              has tables checked, or no longer
#include <setjmp.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/qkassert.h"
#include "console/console.h"
#include "netdb/live_model.h"
#include "qkzeft.h"
#include "tests/fuzz/harmless.h"
#include "tests/fuzz/target.h"

const char* const kFuzzSeeds[] = {
    "M top\ns . .\nn 0 . a 1 7 0 1\nz\n",
    "n 0 . b 2\n",
    "n 0 . b 2 0 0 257\n",
    "n 1 . pair 3 63 0 513\nn 1 . pair 4 66 64 513\n",
    "n 0 . mem 5 8 0 8193 -2 3 0 0 0 1\n",
    "n 0 . in 6 3 0 13\n",
    "n 0 . gone 0 7 0 1 0 0 1 2048\n",
    "n 0 . not 0 0 0 1 0 0 -2 2048\n",
    "n 0 . copy 7 7 0 1 0 0 0 16384 1\n",
    "n 0 . mirror 8 8 0 8193 -2 3 0 16384 5 2\n",
    "c 0 . inner\n",
    "c 1 . deep 1\n",
    "e 0 slice 0 3 0 1 2\n",
    "e 0 bit 1 0 0 -2 1\n",
    "t 0 view 0 8 1 1\n",
    "z\n",
    "m 1\n",
    "d 0\n",
    "d 1\n",
    "w\n",
    "k trace *\n",
    "k ls -rt *\n",
    "k print *\n",
    "k setvv v = top.a[3:0], top.b\n",
    "k break top.a\n",
    "C 1\n",
    "r hand.made 1 9 0 5\n",
    "M top.below\n",
    "M - 1\n",
    "M top.inner\n",
    "s . .\n",
    " 2147483647 -2147483648",
    " .",
    " -",
    " =",
    " ~300",
    " a.b",
    " \\a%20b\\",
};
const size_t kFuzzSeedCount = std::size(kFuzzSeeds);

namespace {

constexpr size_t kSlots = 12, kCells = 4, kMostModules = 6, kMostLines = 100;
constexpr int64_t kMostBytes = 1 << 13;

void require(bool condition) {
    if (!condition) std::abort();
}

// ---- Text

class Line {
public:
    explicit Line(const std::string& text) : rest(text.c_str()) {}

    int number(int correct = 0) {
        skip();
        if (*rest == '.' && !isWord(rest[1])) {
            ++rest;
            return correct;
        }
        char* end;
        const long long value = std::strtoll(rest, &end, 10);
        rest = end;
        while (isWord(*rest)) ++rest;
        return static_cast<int>(static_cast<unsigned>(value));
    }
    unsigned bits() { return static_cast<unsigned>(number()); }

    /// @return null, or a name that is valid while the line is
    const char* name() {
        skip();
        std::string word;
        for (; isWord(*rest); ++rest) {
            if (*rest == '%' && isWord(rest[1]) && isWord(rest[2])) {
                const char digits[] = {rest[1], rest[2], '\0'};
                word += static_cast<char>(std::strtoul(digits, nullptr, 16));
                rest += 2;
            } else {
                word += *rest;
            }
        }
        if (word.empty() || word == "-") return nullptr;
        if (word == "=") word.clear();
        if (word[0] == '~')
            word.assign(static_cast<unsigned>(std::atoi(word.c_str() + 1)) % 2000, 'n');
        names.push_back(std::make_unique<std::string>(word));
        return names.back()->c_str();
    }
    const char* remaining() {
        skip();
        return rest;
    }

private:
    static bool isWord(char c) { return c != '\0' && c != ' '; }
    void skip() {
        while (*rest == ' ') ++rest;
    }

    const char* rest;
    std::vector<std::unique_ptr<std::string>> names;
};

struct Operation {
    explicit Operation(std::string given) : text(std::move(given)), line(text) {}
    std::string text;
    Line line;
    char letter = ' ';
    QkGRScope scope = {};
    QkGRNet net = {};
    int slot = 0, owner = 0, cell = 0;
    QkGRExtract extract = {};
    QkGRTerm term = {};
};

// ---- Storage

/// Memory as large as the rows of an input tell, to the byte, and places of pointers to it.
struct Storage {
    std::unique_ptr<char[]> slots[kSlots];
    size_t bytes[kSlots] = {};
    void* ports[kSlots] = {};
    uint64_t cells[kCells] = {};

    static size_t slotOf(int number) { return static_cast<unsigned>(number) % kSlots; }

    /// Takes note of the storage that a row tells. @return whether that can be had
    bool reserve(const QkGRNet& row, size_t slot) {
        const bool isInteger = (row.mode & 0xff) == QK_type_integer;
        const int width = isInteger ? 32 : std::min(BitRange(row.left, row.right).width, 64);
        const bool isArray = (row.mode & QK_array) != 0;
        const int64_t elements =
            isArray ? std::abs(int64_t{row.array_left} - row.array_right) + 1 : 1;
        const int64_t wanted = elements * storageBytes(width);
        if (elements > kMostBytes || wanted > kMostBytes) return false;
        bytes[slot] = std::max(bytes[slot], static_cast<size_t>(wanted));
        return true;
    }
    void make() {
        for (size_t i = 1; i < kSlots; ++i) {
            slots[i] = std::make_unique<char[]>(bytes[i]);
            ports[i] = slots[i].get();
        }
    }
    /// @return the storage of a row, the place of its pointer for ports, or null for slot 0
    void* addressFor(unsigned mode, int number) {
        const size_t slot = slotOf(number);
        const unsigned type = mode & 0xff;
        const bool isPort =
            type == QK_type_input || type == QK_type_inout || type == QK_type_output;
        if (isPort && !(mode & QK_array)) return number == 0 ? nullptr : &ports[slot];
        return slots[slot].get();
    }
    /// Replaces the memory of a slot: what still reads the old one reads freed memory.
    void replace(size_t slot) {
        slots[slot] = std::make_unique<char[]>(bytes[slot]);
        ports[slot] = slots[slot].get();
    }
    void write(unsigned step) {
        for (size_t i = 1; i < kSlots; ++i)
            for (size_t k = 0; k < bytes[i]; k += 1 + k / 4)
                slots[i][k] = static_cast<char>(step * (i + 3 * k + 1));
        for (const uint64_t cell : cells) noteChange(cell);
    }

private:
    static void noteChange(uint64_t handle) {
        if (handle) qk_array_write_check_fn(0, "", 0, handle, 0);
    }
};

// ---- The end of a run

sigjmp_buf* exitPlace;  // where to go instead of leaving the process

/// What the tables' maker has to see to: where the handler returns, the library goes on.
bool isContract(const char* condition) {
    static const char* const kContracts[] = {"address != NULL",
                                             "br.width() <= QK_MAXUBITS",
                                             "ns > 0",
                                             "nn >= 0",
                                             "m->qk_get_module_name() != NULL",
                                             "gDummyTrace.names == NULL",
                                             "trace && (trace != &gDummyTrace)",
                                             "nn && nn->trace && (nn->trace != &gDummyTrace)",
                                             "(owner == NULL) || (owner == o->header)",
                                             "ma.to < man.to",
                                             "o.to >= (to + bytes)",
                                             "parent"};
    return std::any_of(std::begin(kContracts), std::end(kContracts),
                       [&](const char* known) { return std::strcmp(known, condition) == 0; });
}

void judge(const char* condition, const char* file, int line) {
    if (isContract(condition)) return;
    std::fprintf(stderr, "%s:%d: %s\n", file, line, condition);
    std::abort();
}

}  // namespace

extern "C" {
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status);  // the linker leads all calls of exit() here

void __wrap_exit(int status) {
    if (exitPlace) siglongjmp(*exitPlace, 1);
    __real_exit(status);
}
}

// ---- Operations

namespace {

struct Run {
    std::vector<std::unique_ptr<Operation>> operations;
    Storage storage;
    std::unique_ptr<kelvo_module> modules[kMostModules];
    kelvo_module* parents[kMostModules] = {};
    size_t made = 0;
    kelvo_module* chosen = nullptr;
    std::set<const kelvo_module*> users[kSlots];  ///< modules with rows of a slot; null for ever
    bool isOpen = false;
    std::vector<QkGRScope> scopes;  // the rows of one call
    std::vector<QkGRNet> nets;
    std::vector<QkGRExtract> extracts;
    std::vector<QkGRTerm> terms;
    unsigned steps = 0;

    explicit Run(const std::string& input) { parse(input); }
    void parse(const std::string& input);
    void perform();
    size_t performRows(size_t at);
    void perform(Operation& operation);
    void wave();
    void clean(bool exited);
    void setAddresses();
    void noteUser(const QkGRNet& row, size_t slot);

    /// @return the module that was made as the `number`-th, or null
    kelvo_module* module(int number) const {
        const unsigned index = static_cast<unsigned>(number) - 1;
        return index < made ? modules[index].get() : nullptr;
    }
    void make(Line& line);
    void destroy(const kelvo_module* m);
    int countAhead(size_t at, char letter) const;
};

/// @return rows of a kind between operation `at` and the next start of a section
int Run::countAhead(size_t at, char letter) const {
    int count = 0;
    for (++at; at < operations.size() && operations[at]->letter != 's'; ++at)
        count += operations[at]->letter == letter ? 1 : 0;
    return count;
}

void Run::parse(const std::string& input) {
    int netRows = 0, scopeRows = 0;
    for (size_t at = 0; at < input.size() && operations.size() < kMostLines;) {
        const size_t end = std::min(input.find('\n', at), input.size());
        const std::string text = input.substr(at, end - at);
        at = end + 1;
        if (text.empty()) continue;
        auto operation = std::make_unique<Operation>(text.substr(1));
        Operation& o = *operation;
        Line& line = o.line;
        o.letter = text[0];
        switch (o.letter) {
            case 's': netRows = scopeRows = 0; break;
            case 'c':
                o.scope.parent = line.number();
                o.scope.scope = line.number(++scopeRows);
                o.scope.name = line.name();
                o.scope.case_insensitive = static_cast<unsigned char>(line.bits());
                break;
            case 'n':
                o.net.scope = line.number();
                o.net.net = line.number(++netRows);
                o.net.name = line.name();
                o.slot = line.number();
                o.net.left = line.number();
                o.net.right = line.number();
                o.net.mode = line.bits();
                o.net.array_left = line.number();
                o.net.array_right = line.number();
                o.net.replacement = line.number();
                o.net.flags = line.bits();
                o.owner = line.number();
                o.cell = line.number();
                break;
            case 'r':
                o.net.name = line.name();
                o.net.mode = line.bits();
                o.slot = line.number();
                o.net.left = line.number();
                o.net.right = line.number();
                o.net.array_left = line.number();
                o.net.array_right = line.number();
                if (!o.net.name) continue;
                break;
            case 'e':
                o.extract.scope = line.number();
                o.extract.name = line.name();
                o.extract.scalar = static_cast<unsigned char>(line.bits());
                o.extract.left = line.number();
                o.extract.right = line.number();
                o.extract.actual = line.number();
                o.extract.offset = line.number();
                break;
            case 't':
                o.term.scope = line.number();
                o.term.name = line.name();
                o.term.scalar = static_cast<unsigned char>(line.bits());
                o.term.left = line.number();
                o.term.right = line.number();
                o.term.actual = line.number();
                break;
            default: break;
        }
        const bool hasStorage = o.letter == 'n' || o.letter == 'r';
        if (hasStorage && !storage.reserve(o.net, Storage::slotOf(o.slot))) continue;
        operations.push_back(std::move(operation));
    }
}

void Run::perform() {
    storage.make();
    setAddresses();
    for (size_t at = 0; at < operations.size();) {
        if (std::strchr("cnet", operations[at]->letter)) {
            at = performRows(at);
        } else {
            perform(*operations[at]);
            ++at;
        }
        if (operations[at - 1]->letter == 's') {
            Line& line = operations[at - 1]->line;
            const int scopeCount = line.number(1 + countAhead(at - 1, 'c'));
            const int netCount = line.number(countAhead(at - 1, 'n'));
            // Counts beyond that take memory, and nothing else.
            if (!chosen || scopeCount > 10000 || netCount > 10000) return;
            QkRegistration::start(chosen, scopeCount, netCount, line.number() != 0);
            isOpen = true;
        }
    }
}

void Run::setAddresses() {
    for (const auto& operation : operations) {
        operation->net.address = storage.addressFor(operation->net.mode, operation->slot);
        operation->net.trace_word = storage.slots[Storage::slotOf(operation->owner)].get();
        const unsigned cell = static_cast<unsigned>(operation->cell) % kCells;
        operation->net.array_data = cell == 0 ? nullptr : &storage.cells[cell];
    }
}

void Run::noteUser(const QkGRNet& row, size_t slot) {
    users[slot].insert(chosen);
    // A row of one part of another module's net is a name of all its parts.
    if ((row.mode & QK_parts) && users[slot].size() > 1)
        for (auto& ofSlot : users) ofSlot.insert(nullptr);
}

/// Gives the rows of one kind from operation `at` on in one call. @return the operation after them
size_t Run::performRows(size_t at) {
    const char letter = operations[at]->letter;
    scopes.clear();
    nets.clear();
    extracts.clear();
    terms.clear();
    for (; at < operations.size() && operations[at]->letter == letter; ++at) {
        if (letter == 'n') noteUser(operations[at]->net, Storage::slotOf(operations[at]->slot));
        scopes.push_back(operations[at]->scope);
        nets.push_back(operations[at]->net);
        extracts.push_back(operations[at]->extract);
        terms.push_back(operations[at]->term);
    }
    const int count = static_cast<int>(nets.size());
    kelvo_module* const m = chosen;
    if (!m) return at;
    switch (letter) {
        case 'c': QkRegistration::addScopes(m, count, scopes.data()); break;
        case 'n': QkRegistration::addNets(m, count, nets.data()); break;
        case 'e': QkRegistration::addExtracts(m, count, extracts.data()); break;
        default: QkRegistration::addTerms(m, count, terms.data()); break;
    }
    return at;
}

void Run::make(Line& line) {
    if (made == kMostModules) return;
    const char* const instance = line.name();
    kelvo_module* const parent = module(line.number());
    modules[made] = std::make_unique<kelvo_module>(line.number() != 0 ? nullptr : "fuzz");
    parents[made] = parent;
    chosen = modules[made].get();
    if (instance || parent) chosen->qk_setup(instance, parent);
    ++made;
}

void Run::destroy(const kelvo_module* m) {
    for (size_t i = 0; i < made; ++i)
        if (modules[i] && parents[i] == m) return;  // a parent outlives its children
    if (chosen == m) chosen = nullptr;
    std::fill(std::begin(storage.cells), std::end(storage.cells), 0);  // its code runs no more
    for (auto& owned : modules)
        if (owned.get() == m) owned.reset();
    if (!m) return;
    for (size_t i = 1; i < kSlots; ++i)
        if (users[i].erase(m) != 0 && users[i].empty()) storage.replace(i);
    setAddresses();
}

void Run::perform(Operation& operation) {
    Line& line = operation.line;
    kelvo_module* const m = chosen;
    switch (operation.letter) {
        case 'M': make(line); return;
        case 'm': chosen = module(line.number()); return;
        case 'g':
            if (m) QkRegistration::genid(m, line.bits(), line.bits());
            return;
        case 'x':
            if (m) QkRegistration::exportk(m, line.bits());
            return;
        case 'z':
            if (!m) return;
            QkRegistration::end(m);
            isOpen = false;
            return;
        case 'd': destroy(module(line.number())); return;
        case 'r':
            if (isOpen) return;
            users[Storage::slotOf(operation.slot)].insert(nullptr);
            qk_register1(operation.net.name, static_cast<int>(operation.net.mode),
                         operation.net.address, operation.net.left, operation.net.right,
                         operation.net.array_left, operation.net.array_right);
            return;
        case 'w': wave(); return;
        case 'C': qk_check_tables = line.number() != 0; return;
        case 'k':
            if (!isHarmless(line.remaining())) return;
            completeRegistration(true, 0);  // what ends the run does so here
            qk_cli(line.remaining());
            stopTime = kNoStop;
            return;
        default: return;
    }
}

void Run::wave() {
    if (isOpen) return;
    storage.write(++steps);
    ++qk_cycle;
    for (const auto& m : modules)
        if (m) m->qk_finalize_wave();
    qk_takenote();
}

/// Ends the run as the process's end would, and takes all out that it left.
void Run::clean(bool exited) {
    qkLiveModel->writer.closeFile();
    while (made > 0) modules[--made].reset();
    auto& breaks = qkLiveModel->handles.brks;
    while (!breaks.empty()) qkLiveModel->handles.deleteBreak(breaks.back()->number);
    while (qkLiveModel->top_scopes) qkLiveModel->destroyScope(qkLiveModel->top_scopes);
    require(!qkLiveModel->names && !gDummyTrace.names && qkLiveModel->visibleNames == 0);
    require(!qkLiveModel->traces && !qkLiveModel->active_traces);
    require(qkLiveModel->followed.empty() && qkLiveModel->furtherStorage.empty());
    require(qkLiveModel->listsByStorage.empty());
    // At an exit a trace may be in the making.
    require(exited || qkLiveModel->arrayRecords.empty());
    qkLiveModel->arrayRecords.clear();
    qk_check_tables = false;
    qk_save("/dev/null");
    require(qk_traceclose() == 0);
    qk_cycle = 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qk_prints = [](const char*) {};
    qkSetAssertHandler(judge);
    kelvo_start();
    Run run(std::string(reinterpret_cast<const char*>(data), size));
    sigjmp_buf place;
    exitPlace = &place;
    const bool exited = sigsetjmp(place, 0) != 0;
    if (!exited) {
        run.perform();
        if (!run.isOpen) {
            for (const char* const command :
                 {"ls *", "ls -rt *", "print *", "traceto /dev/null", "trace *", "show *"}) {
                run.wave();
                qk_cli(command);
            }
            for (int i = 0; i < 3; ++i) run.wave();
        }
    }
    exitPlace = nullptr;
    run.clean(exited);
    qkSetAssertHandler(nullptr);
    return 0;
}
