// The command `coverage`.
#include <cstring>

#include "console/handlers.h"
#include "qkzeft_coverage.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "tracing/trace_writer.h"

int coverageCommand(const char* argument) {
    ToggleCoverage& coverage = qkTraceWriter->coverage;
    if (std::strcmp(argument, "off") == 0) {
        qk_cover_stop();
    } else if (*argument) {
        const bool isOn = std::strcmp(argument, "on") == 0;
        const bool isFirst = coverage.netCount() == 0;
        const int added = qk_cover(isOn ? nullptr : argument);
        if (added == 0 && (isFirst || !isOn)) noteFailure("no net to cover matches");
    }
    qk_printf("coverage is %s: %d nets\n", coverage.isRunning() ? "on" : "off",
              coverage.netCount());
    return 1;
}
