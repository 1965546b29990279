// Loading saved state: each value of the file is written to the storage of its net at once, and
// nothing is compared.
//
// Other traces can be loaded if they have all nets: the last value of each counts. A file without a
// time does not change the model's time.
#include <string_view>

#include "console/console.h"
#include "netdb/database.h"
#include "run/printout.h"
#include "validate/file_reader.h"
#include "validate/input_buffer.h"

int QkFileReader::loadState(const char* path) {
    start(true);
    bool done = readHeader(path) && linkModel();
    if (done) {
        // The pass must not end before the file does. After a failure the old stop time would
        // belong to another state.
        const uint64_t stop = stopTime;
        stopTime = kNoStop;
        vcdModel->bindVariables();
        done = readState();
        if (done) stopTime = stop;
    }
    close();
    loadingState = false;
    return done;
}

namespace {

bool isDump(std::string_view token) {
    return token == "$dumpvars" || token == "$dumpall" || token == "$dumpon" || token == "$dumpoff";
}

}  // namespace

/// @return false after a failure
bool QkFileReader::readState() {
    bool hasValues = false;
    for (std::string_view token; !(token = tokens.readToken()).empty();) {
        if (isDump(token)) {
            if (!readInitialValues(false)) return false;
            hasValues = true;
        } else if (token == "$comment") {
            if (!tokens.skipToEnd(false)) return false;
        } else if (token.front() == '#') {
            body.readTimeLine(token);
        } else if (token.front() == '$') {
            tokens.reportIgnored(token);
        } else {
            std::string_view value;
            bool passedOver;
            QkVCDId* const id = body.readValueLine(token, value, &passedOver);
            if (!id && !passedOver) return false;
            if (id) id->setVCDValue(value, true);
            hasValues = true;
        }
    }
    return !tokens.input()->failure() && (hasValues || tokens.report("unexpected end of file"));
}
