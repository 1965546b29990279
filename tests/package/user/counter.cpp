// A hand-written model of one module with two nets, run for five ticks.
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

class Counter : public kelvo_module {
public:
    Counter() : kelvo_module("counter", "top"), count(0), total(0) {
        const QkGRNet nets[] = {
            {0, 1, "count", &count, 7, 0, 0, 0, 0, 0, QK_flag_register, nullptr, nullptr},
            {0, 2, "total", &total, 0, 11, 0, 0, 0, 0, 0, nullptr, nullptr},
        };
        QkRegistration::start(this, 1, 2, false);
        QkRegistration::addNets(this, 2, nets);
        QkRegistration::end(this);
    }
    void step() override {
        ++count;
        total = static_cast<uint16_t>(total + count);
    }

private:
    uint8_t count;
    uint16_t total;
};

int main() {
    const StringBuf file("counter.vcd.gz");
    Counter counter;
    qk_set_timescale("counter", -9, -9);
    qk_cli("trace *");
    qk_traceto(file.text.c_str());
    for (int i = 0; i < 5; ++i) {
        counter.step();
        qk_set_time(qk_get_time() + 1);
        qk_takenote();
    }
    qk_cli("ls");
    qk_traceclose();
    try {  // exceptions pass through a program that holds the library
        qk_printf("%c\n", file.text.at(100));
    } catch (const std::out_of_range&) {
        qk_prints("done\n");
    }
    kelvo_finish();
}
