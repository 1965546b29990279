// The display tasks and their file and string forms.
#include "qkzeft_systasks.h"
#include "run/console_text.h"
#include "systasks/descriptors.h"
#include "systasks/format.h"

namespace {

struct DisplayForm {
    Printer printer;
    const char* ending;
};

void display(TaskCall& call, const DisplayForm& form) {
    Line line;
    formatArguments(line, call, form.printer);
    deliverLine(line.finish(form.ending));
}

void displayToFile(TaskCall& call, const DisplayForm& form) {
    const unsigned descriptor = readDescriptor(call);
    Line line;
    formatArguments(line, call, form.printer);
    writeToDescriptor(descriptor, line.finish(form.ending));
}

void displayToRegister(TaskCall& call, const DisplayForm& form) {
    const int size = call.count-- > 0 ? withoutSignedMark(va_arg(call.list, int)) : 0;
    if (size >= 0) {
        failTask(call, "First argument not a suitable lhs");
        return;
    }
    const OwnedPlaces places = qk_read_this_arg_ptrs(call, size);
    Line line;
    formatArguments(line, call, form.printer);
    const std::string_view text = line.finish("");
    storeText(size, text.size(), text.data(), places.get());
}

}  // namespace

#define QK_DEFINE_DISPLAY(suffix, function, printer, ending)                                   \
    void qkzeft_##suffix(int flags, const void* instance, const char* scope, int ArgPairCount, \
                         ...) {                                                                \
        QK_BEGIN_TASK(call, "$" #suffix);                                                      \
        function(call, DisplayForm{printer, ending});                                          \
        va_end(call.list);                                                                     \
    }

QK_DEFINE_DISPLAY(display, display, printDecimal, "\n")
QK_DEFINE_DISPLAY(displayh, display, printHexadecimal, "\n")
QK_DEFINE_DISPLAY(displayo, display, printOctal, "\n")
QK_DEFINE_DISPLAY(displayb, display, printBinary, "\n")
QK_DEFINE_DISPLAY(write, display, printDecimal, "")
QK_DEFINE_DISPLAY(writeh, display, printHexadecimal, "")
QK_DEFINE_DISPLAY(writeo, display, printOctal, "")
QK_DEFINE_DISPLAY(writeb, display, printBinary, "")
QK_DEFINE_DISPLAY(fdisplay, displayToFile, printDecimal, "\n")
QK_DEFINE_DISPLAY(fdisplayh, displayToFile, printHexadecimal, "\n")
QK_DEFINE_DISPLAY(fdisplayo, displayToFile, printOctal, "\n")
QK_DEFINE_DISPLAY(fdisplayb, displayToFile, printBinary, "\n")
QK_DEFINE_DISPLAY(fwrite, displayToFile, printDecimal, "")
QK_DEFINE_DISPLAY(fwriteh, displayToFile, printHexadecimal, "")
QK_DEFINE_DISPLAY(fwriteo, displayToFile, printOctal, "")
QK_DEFINE_DISPLAY(fwriteb, displayToFile, printBinary, "")
QK_DEFINE_DISPLAY(swrite, displayToRegister, printDecimal, "")
QK_DEFINE_DISPLAY(swriteh, displayToRegister, printHexadecimal, "")
QK_DEFINE_DISPLAY(swriteo, displayToRegister, printOctal, "")
QK_DEFINE_DISPLAY(swriteb, displayToRegister, printBinary, "")
