// Dumps of Verilator in both forms, as damaged as can be, through the analysis to the tables.
#include <exception>
#include <string>

#include "design.h"
#include "tests/fuzz/target.h"
#include "tree.h"
#include "write.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qkverilate;
    static const MemoryFile dump;
    if (size == 0) return 0;
    dump.set(data, size);
    try {
        const Node tree =
            data[0] == '{' ? readJsonDump(dump.path, dump.path, "5.0") : readXmlDump(dump.path);
        const Design design = analyse(tree, {});
        configurationOf(design);
        tablesOf(design, {}, "Vm");
    } catch (const TreeError&) {
    } catch (const DesignError&) {
    } catch (const std::exception&) {  // JSON of another form: the command reports it
    }
    return 0;
}
