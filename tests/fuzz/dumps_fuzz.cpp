// Dumps of Verilator in both forms, as damaged as can be, through the analysis to the tables.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <string>

#include "design.h"
#include "tests/fuzz/target.h"
#include "tree.h"
#include "write.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qkverilate;
    static const int file = memfd_create("dump", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    if (size == 0) return 0;
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) < 0) std::abort();
    try {
        const Node tree = data[0] == '{' ? readJsonDump(path, path, "5.0") : readXmlDump(path);
        const Design design = analyse(tree, {});
        configurationOf(design);
        tablesOf(design, {}, "Vm");
    } catch (const TreeError&) {
    } catch (const DesignError&) {
    } catch (const std::exception&) {  // JSON of another form: the command reports it
    }
    return 0;
}
