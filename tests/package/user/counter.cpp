// A hand-written model with a main of its own, run for five ticks.
#include <qkzeft.h>

#include <stdexcept>
#include <string>

// The library has a class of this name among its insides; a model may have one too.
struct StringBuf {
    explicit StringBuf(const char* start);
    ~StringBuf();
    std::string text;
};
StringBuf::StringBuf(const char* start) : text(start) {}
StringBuf::~StringBuf() {}

int main() {
    const StringBuf file("counter.vcd.gz");
    uint8_t count = 0;
    kelvo_module counter("counter", "top");
    const QkGRNet net = {0, 1, "count", &count,           7,       0,      0,
                         0, 0, 0,       QK_flag_register, nullptr, nullptr};
    QkRegistration::start(&counter, 1, 1, false);
    QkRegistration::addNets(&counter, 1, &net);
    QkRegistration::end(&counter);
    qk_cli("trace *");
    qk_traceto(file.text.c_str());
    for (qk_cycle = 1; qk_cycle <= 5; ++qk_cycle, ++count) qk_takenote();
    qk_cli("ls");
    qk_traceclose();
    try {  // exceptions pass through a program that holds the library
        qk_printf("%c\n", file.text.at(100));
    } catch (const std::out_of_range&) {
        qk_prints("done\n");
    }
    kelvo_finish();
}
