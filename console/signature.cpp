// `signature`: what was run, for a bug report.
#include <cinttypes>

#include "console/handlers.h"
#include "netdb/database.h"
#include "qkzeft_module.h"
#include "run/printout.h"
#include "run/version.h"

namespace {

void printModules(Printout& out, QkScope* ring) {
    ScopeRing::each(ring, [&](QkScope* scope) {
        if (scope->module) {
            out.print("%s %08x %08x %08x %016" PRIx64 "\n", scope->fullName.str(),
                      scope->generatorWords[0], scope->generatorWords[1], scope->exportWord,
                      scope->shape);
        }
        printModules(out, scope->children);
    });
}

}  // namespace

int signatureCommand(const char*) {
    Printout out;
    out.print("%s\n", kLibraryMarker);
    printModules(out, qkDatabase->top_scopes);
    return 1;
}
