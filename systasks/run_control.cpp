// The tasks that stop and end a run, and those that load memories.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "console/console.h"
#include "memimage/memory_image.h"
#include "netdb/database.h"
#include "qkzeft_console.h"
#include "qkzeft_memimage.h"
#include "qkzeft_systasks.h"
#include "run/console_text.h"
#include "systasks/format.h"

void qkzeft_exit(int status) { endRun(status); }

namespace {

std::string locationOf(const TaskCall& call) {
    Line line;
    printLocation(line, call);
    return std::string(line.finish(""));
}

/// Prints where the run has stopped, if the task's level allows it.
void sayWhere(TaskCall& call) {
    bool isWanted = call.count <= 0;
    if (!isWanted) {
        const uint64_t level = readInteger(call, withoutSignedMark(va_arg(call.list, int)));
        isWanted = level == 1 || level == 2;
    }
    if (isWanted) qk_printf("\nStopped in %s", locationOf(call).c_str());
    qk_printf("\n");
}

/// @return whether an answer to $stop requests the end of the run
bool asksForEnd(const char* answer) {
    const char c = *answer;
    if (c != 'q' && c != '\x04') return false;
    return answer[1] == '\0' || answer[1] == '\n' || answer[1] == ' ';
}

}  // namespace

void qkzeft_finish(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$finish");
    sayWhere(call);
    va_end(call.list);
    endRun(0);
}

void qkzeft_stop(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$stop");
    sayWhere(call);
    va_end(call.list);
    if (qkConsole && qkConsole->interactive) {
        qk_cli("cli");
        return;
    }
    qk_printf("\nZEFT %s $stop:", locationOf(call).c_str());
    char answer[256];
    if (!std::fgets(answer, sizeof answer, stdin) || asksForEnd(answer)) endRun(0);
}

// ---- Memory images

namespace {

/// @return the array of the model whose storage begins at `area`, or null
QkTrace* arrayAt(const void* area) {
    if (!qkDatabase || !area) return nullptr;
    QkTrace* const trace = SameAddress::find(
        qkDatabase->tracesAt(area), [](const QkTrace* t) { return t->isArray() && !t->invert; });
    return trace ? trace->header : nullptr;
}

/// Loads an array that the model has not registered; the last two fields of its descriptor are its
/// bounds if they fit the count of its elements.
bool loadUnregistered(const ArrayArgument& array, const MemoryImage& image) {
    if (array.width < 1 || array.width > QK_MAXUBITS || array.elements < 1 ||
        array.elements > INT32_MAX || !array.lowestArea)
        return false;
    auto left = static_cast<int32_t>(array.third), right = static_cast<int32_t>(array.fourth);
    const int64_t distance = int64_t{left} - right;
    const auto span = static_cast<uint64_t>(distance < 0 ? -distance : distance) + 1;
    if (span != array.elements) {
        left = static_cast<int32_t>(array.elements - 1);
        right = 0;
    }
    return qk_readmem_lr_c(image.base, array.lowestArea, static_cast<int>(array.width), left, right,
                           image.file, image.args, image.start, image.finish) != 0;
}

void readMemory(TaskCall& call, int base) {
    if (call.count < 2 || call.count > 4) {
        failTask(call, "ZEFT requires two to four arguments");
        return;
    }
    const auto nextSize = [&] { return withoutSignedMark(va_arg(call.list, int)); };
    const TextArgument file = readNameArgument(call, nextSize());
    if (nextSize() != 0 || va_arg(call.list, const char*)) {
        failTask(call, "Second argument must be an array name");
        return;
    }
    const ArrayArgument array = readArray(call);
    MemoryImage image{file.text ? file.text : "", base, call.count - 2, 0, 0};
    if (image.args > 0) image.start = static_cast<int32_t>(readInteger(call, nextSize()));
    if (image.args > 1) image.finish = static_cast<int32_t>(readInteger(call, nextSize()));

    completeRegistration(true);  // finds the copies that an array has
    QkTrace* const registered = arrayAt(array.lowestArea);
    const bool isLoaded =
        registered ? loadMemoryImage(registered, image) : loadUnregistered(array, image);
    if (isLoaded) return;
    const std::string name =
        registered && registered->names ? FullName(registered->names).c_str() : "";
    failTask(call, "while executing %s(\"%s\", %s...", call.task, image.file, name.c_str());
}

}  // namespace

void qkzeft_readmemh(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$readmemh");
    readMemory(call, 16);
    va_end(call.list);
}

void qkzeft_readmemb(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$readmemb");
    readMemory(call, 2);
    va_end(call.list);
}
