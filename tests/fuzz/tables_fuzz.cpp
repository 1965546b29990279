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
#include <deque>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "base/qkassert.h"
#include "console/console.h"
#include "model/live_model.h"
#include "tests/fuzz/target.h"

namespace {

constexpr size_t kSlots = 12, kCells = 4, kMostModules = 6, kMostLines = 100;
constexpr int64_t kMostBytes = 1 << 13;

// ---- Text

class Words {
public:
    explicit Words(const std::string& text) : stream(text) {}

    int number(int correct = 0) {
        const std::string word = next();
        const long long value = std::strtoll(word.c_str(), nullptr, 10);
        return word == "." ? correct : static_cast<int>(static_cast<unsigned>(value));
    }
    unsigned bits() { return static_cast<unsigned>(number()); }
    /// @return null, or a name that is valid while the words are
    const char* name() {
        std::string word = next();
        if (word.empty() || word == "-") return nullptr;
        if (word == "=") word.clear();
        if (word[0] == '~')
            word.assign(static_cast<unsigned>(std::atoi(word.c_str() + 1)) % 2000, 'n');
        for (size_t at = 0; (at = word.find('%', at)) < word.size(); ++at) {
            const std::string digits = word.substr(at + 1, 2);
            word.replace(at, 3, 1, static_cast<char>(std::strtoul(digits.c_str(), nullptr, 16)));
        }
        return names.emplace_back(word).c_str();
    }
    std::string remaining() {
        std::string rest;
        std::getline(stream >> std::ws, rest);
        return rest;
    }

private:
    std::string next() {
        std::string word;
        stream >> word;
        return word;
    }
    std::istringstream stream;
    std::deque<std::string> names;
};

struct Operation {
    char letter;
    Words words;
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
        const int64_t distance = std::abs(int64_t{row.array_left} - row.array_right);
        const int64_t elements = row.mode & QK_array ? distance + 1 : 1;
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
        const unsigned type = mode & (0xff | QK_array);  // an array is not a port
        if (type >= QK_type_input && type <= QK_type_output)
            return number == 0 ? nullptr : &ports[slot];
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
        for (const uint64_t cell : cells)
            if (cell) qk_array_write_check_fn(0, "", 0, cell, 0);
    }
};

// ---- The end of a run

sigjmp_buf* exitPlace;  // where to go instead of leaving the process

/// Passes over what the tables' maker has to see to: where the handler returns, the library goes
/// on.
void judge(const char* condition, const char* file, int line) {
    for (const char* const contract :
         {"address != NULL", "br.width() <= QK_MAXUBITS", "ns > 0", "nn >= 0", "parent",
          "m->qk_get_module_name() != NULL", "gDummyTrace.names == NULL",
          "(owner == NULL) || (owner == o->header)", "ma.to < man.to", "o.to >= (to + bytes)",
          "trace && (trace != &gDummyTrace)", "nn && nn->trace && (nn->trace != &gDummyTrace)"})
        if (std::strcmp(contract, condition) == 0) return;
    std::fprintf(stderr, "%s:%d: %s\n", file, line, condition);
    std::abort();
}

}  // namespace

extern "C" {
[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status);  // the linker leads all calls of exit() here

void __wrap_exit(int status) {
    if (exitPlace) {
        fuzzPrints(status == 1 ? "exit 1\n" : "exit\n");
        siglongjmp(*exitPlace, 1);
    }
    __real_exit(status);
}
}

// ---- Operations

namespace {

struct Run {
    std::deque<Operation> operations;
    Storage storage;
    std::unique_ptr<kelvo_module> modules[kMostModules];
    kelvo_module* parents[kMostModules] = {};
    size_t made = 0;
    kelvo_module* chosen = nullptr;
    std::set<const kelvo_module*> users[kSlots];  ///< modules with rows of a slot; null for ever
    bool isOpen = false;
    unsigned steps = 0;

    explicit Run(const std::string& input);
    void perform();
    bool start(size_t at);
    void addRows(size_t at, size_t end);
    void perform(Operation& o);
    void wave();
    void clean(bool exited);
    void setAddresses();
    void noteUser(const QkGRNet& row, size_t slot);

    /// @return the module that was made as the `number`-th, or null
    kelvo_module* module(int number) const {
        const unsigned index = static_cast<unsigned>(number) - 1;
        return index < made ? modules[index].get() : nullptr;
    }
    void make(Words& words);
    void destroy(const kelvo_module* m);
};

Run::Run(const std::string& input) {
    int nets = 0, scopes = 0;
    std::istringstream lines(input);
    for (std::string text; operations.size() < kMostLines && std::getline(lines, text);) {
        if (text.empty()) continue;
        Operation& o = operations.emplace_back(Operation{text[0], Words(text.substr(1))});
        Words& w = o.words;
        const auto byte = [&] { return static_cast<unsigned char>(w.bits()); };
        const auto later = [&](int& number) { return number = w.number(), nullptr; };  // an address
        switch (o.letter) {
            case 's': nets = scopes = 0; break;
            case 'c': o.scope = {w.number(), w.number(++scopes), w.name(), byte()}; break;
            case 'n':
                o.net = {w.number(), w.number(++nets), w.name(),     later(o.slot), w.number(),
                         w.number(), w.bits(),         w.number(),   w.number(),    w.number(),
                         w.bits(),   later(o.owner),   later(o.cell)};
                break;
            case 'r':
                o.net.name = w.name();
                o.net.mode = w.bits();
                o.slot = w.number();
                for (int* bound :
                     {&o.net.left, &o.net.right, &o.net.array_left, &o.net.array_right})
                    *bound = w.number();
                break;
            case 'e':
                o.extract = {w.number(), w.name(),   byte(),     w.number(),
                             w.number(), w.number(), w.number(), 0};
                break;
            case 't':
                o.term = {w.number(), w.name(), byte(), w.number(), w.number(), w.number()};
                break;
            default: continue;
        }
        // How far apart interleaved elements are, only the rows of all parts tell.
        o.net.mode &= ~static_cast<unsigned>(QK_interleaved);
        const bool isNet = o.letter == 'n' || (o.letter == 'r' && o.net.name);
        if (isNet ? !storage.reserve(o.net, Storage::slotOf(o.slot)) : o.letter == 'r')
            operations.pop_back();
    }
    storage.make();
    setAddresses();
}

void Run::setAddresses() {
    for (Operation& o : operations) {
        o.net.address = storage.addressFor(o.net.mode, o.slot);
        o.net.trace_word = storage.slots[Storage::slotOf(o.owner)].get();
        const unsigned cell = static_cast<unsigned>(o.cell) % kCells;
        o.net.array_data = cell == 0 ? nullptr : &storage.cells[cell];
    }
}

void Run::noteUser(const QkGRNet& row, size_t slot) {
    users[slot].insert(chosen);
    // A row of one part of another module's net is a name of all its parts.
    if ((row.mode & QK_parts) && users[slot].size() > 1)
        for (auto& ofSlot : users) ofSlot.insert(nullptr);
}

void Run::perform() {
    for (size_t at = 0, end; at < operations.size(); at = end) {
        Operation& o = operations[at];
        end = at + 1;
        if (std::strchr("cnet", o.letter)) {
            while (end < operations.size() && operations[end].letter == o.letter) ++end;
            if (chosen) addRows(at, end);
        } else if (o.letter != 's') {
            perform(o);
        } else if (!start(at)) {
            return;
        }
    }
}

/// Starts a section. @return false for counts that would only take memory
bool Run::start(size_t at) {
    Words& words = operations[at].words;
    const auto countRows = [&](char letter) {
        int count = 0;
        for (size_t i = at + 1; i < operations.size() && operations[i].letter != 's'; ++i)
            count += operations[i].letter == letter;
        return count;
    };
    const int scopes = words.number(1 + countRows('c')), nets = words.number(countRows('n'));
    if (!chosen || scopes > 10000 || nets > 10000) return false;
    QkRegistration::start(chosen, scopes, nets, words.number() != 0);
    return isOpen = true;
}

/// Gives the rows of one kind in one call.
void Run::addRows(size_t at, size_t end) {
    const auto count = static_cast<int>(end - at);
    for (size_t i = at; i < end && operations[i].letter == 'n'; ++i)
        noteUser(operations[i].net, Storage::slotOf(operations[i].slot));
    const auto rows = [&](auto Operation::*row) {
        // Static, as what ends the run does not come back here.
        static std::vector<std::remove_reference_t<decltype(operations[0].*row)>> all;
        all.clear();
        for (size_t i = at; i < end; ++i) all.push_back(operations[i].*row);
        return all.data();
    };
    switch (operations[at].letter) {
        case 'c': return QkRegistration::addScopes(chosen, count, rows(&Operation::scope));
        case 'n': return QkRegistration::addNets(chosen, count, rows(&Operation::net));
        case 'e': return QkRegistration::addExtracts(chosen, count, rows(&Operation::extract));
        default: return QkRegistration::addTerms(chosen, count, rows(&Operation::term));
    }
}

void Run::make(Words& words) {
    if (made == kMostModules) return;
    const char* const instance = words.name();
    kelvo_module* const parent = module(words.number());
    modules[made] = std::make_unique<kelvo_module>(words.number() != 0 ? nullptr : "fuzz");
    parents[made] = parent;
    chosen = modules[made++].get();
    if (instance || parent) chosen->qk_setup(instance, parent);
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

void Run::perform(Operation& o) {
    const char letter = o.letter;
    Words& words = o.words;
    const QkGRNet& net = o.net;
    if (letter == 'M') return make(words);
    if (letter == 'd') return destroy(module(words.number()));
    if (letter == 'm') chosen = module(words.number());
    if (letter == 'g' && chosen) QkRegistration::genid(chosen, words.bits(), words.bits());
    if (letter == 'x' && chosen) QkRegistration::exportk(chosen, words.bits());
    if (letter == 'z' && chosen) {
        QkRegistration::end(chosen);
        isOpen = false;
    }
    if (letter == 'C') qk_check_tables = words.number() != 0;
    if (letter == 'w' && !isOpen) wave();
    if (letter == 'r' && !isOpen) {
        users[Storage::slotOf(o.slot)].insert(nullptr);
        qk_register1(net.name, static_cast<int>(net.mode), net.address, net.left, net.right,
                     net.array_left, net.array_right);
    }
    const std::string command = letter == 'k' ? words.remaining() : "";
    if (command.empty() || !isHarmless(command)) return;
    completeRegistration(true);  // what ends the run does so here
    qk_cli(command.c_str());
    stopTime = kNoStop;
}

void Run::wave() {
    storage.write(++steps);
    ++qk_cycle;
    for (const auto& m : modules)
        if (m) m->qk_finalize_wave();
    qk_takenote();
}

/// Ends the run as the process's end would, and takes all out that it left.
void Run::clean(bool exited) {
    qk_prints = [](const char*) {};
    qkLiveModel->writer.closeFile();
    while (made > 0) modules[--made].reset();
    auto& breaks = qkLiveModel->handles.brks;
    while (!breaks.empty()) qkLiveModel->handles.deleteBreak(breaks.back()->number);
    while (qkLiveModel->top_scopes) qkLiveModel->destroyScope(qkLiveModel->top_scopes);
    require(!qkLiveModel->names && !gDummyTrace.names && qkLiveModel->visibleNames == 0);
    require(!qkLiveModel->traces && !qkLiveModel->writer.active_traces);
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
    qk_prints = fuzzPrints;
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
