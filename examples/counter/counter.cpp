// Model of counter.v, in the form that a generator emits, with its bench.
#include <qkzeft.h>
#include <stdint.h>
#include <zeft_main.h>

// An instance with an object of its own.
class lap : public kelvo_module {
public:
    lap() : kelvo_module("lap"), clk(nullptr), master_wrap(nullptr), wrap(0), laps(0) {}
    void qk_netlist();
    void clock() { laps = static_cast<uint16_t>(laps + *master_wrap); }

    const uint8_t* clk;          // port: a pointer to the storage of what drives it
    const uint8_t* master_wrap;  // owner of wrap
    uint8_t wrap;                // copy, for the library to keep up
    uint16_t laps;
};

class counter : public kelvo_module {
public:
    counter(const uint8_t* clk_, const uint8_t* clear_, uint8_t* count_);
    void qk_netlist();
    void step() override;

private:
    void clock();
    void settle();

    const uint8_t* clk;
    const uint8_t* clear;
    uint8_t* count;
    uint8_t clk_before;  // the model's own, not of the design
    uint8_t value;
    uint64_t total_0;  // bits 63 to 0 of total
    uint8_t total_1;   // bits 71 to 64
    uint8_t history[16];
    uint64_t history_list;  // cell of the array's change list
    uint8_t wrap;
    lap u_lap;
};

counter::counter(const uint8_t* clk_, const uint8_t* clear_, uint8_t* count_)
    : kelvo_module("counter"),
      clk(clk_),
      clear(clear_),
      count(count_),
      clk_before(*clk_),
      value(0),
      total_0(0),
      total_1(0),
      history(),
      history_list(0),
      wrap(0) {
    u_lap.qk_setup("u_lap", this);
    u_lap.clk = clk;
    u_lap.master_wrap = &wrap;
    settle();
}

const unsigned kNet = 0;          // type code of a net inside a module
const unsigned kRegister = 0x20;  // one bit of QK_flag_register

void counter::qk_netlist() {
    const QkGRNet nets[] = {
        // scope, id, name, address, left, right, mode, array bounds, replacement, flags, owner,
        // cell
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "clear", &clear, 0, 0, QK_type_input, 0, 0, 0, 0, nullptr, nullptr},
        {0, 3, "count", &count, 7, 0, QK_type_output, 0, 0, 0, 0, nullptr, nullptr},
        {0, 4, "value", &value, 7, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 5, "total", &total_0, 63, 0, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 6, "total", &total_1, 71, 64, QK_parts, 0, 0, 0, kRegister, nullptr, nullptr},
        {0, 7, "history", history, 7, 0, QK_array, 15, 0, 0, kRegister, nullptr, &history_list},
        {0, 8, "wrap", &wrap, 0, 0, kNet, 0, 0, 0, 0, nullptr, nullptr},
        {0, 9, "enable", nullptr, 0, 0, kNet, 0, 0, -2, QK_flag_replaced, nullptr, nullptr},
        {0, 10, "clk_QK_before", &clk_before, 0, 0, kNet, 0, 0, 0,
         QK_flag_hidden | QK_flag_not_compared, nullptr, nullptr},
    };
    const QkGRExtract extracts[] = {{0, "high", 0, 3, 0, 4, 4, 0}};  // value[7:4]
    const QkGRTerm terms[] = {{0, "ordinal", 0, 8, 1, 4}};           // value as [8:1]
    QkRegistration::start(this, 1, 10, false);
    QkRegistration::addNets(this, 10, nets);
    QkRegistration::addExtracts(this, 1, extracts);
    QkRegistration::addTerms(this, 1, terms);
    QkRegistration::end(this);
    u_lap.qk_netlist();
}

void lap::qk_netlist() {
    const QkGRNet nets[] = {
        {0, 1, "clk", &clk, 0, 0, QK_type_input, 0, 0, 0, QK_flag_clock, nullptr, nullptr},
        {0, 2, "wrap", &wrap, 0, 0, kNet, 0, 0, 0, QK_flag_shadow, master_wrap, nullptr},
        {0, 3, "laps", &laps, 15, 0, kNet, 0, 0, 0, kRegister, nullptr, nullptr},
    };
    QkRegistration::start(this, 1, 3, false);
    QkRegistration::addNets(this, 3, nets);
    QkRegistration::end(this);
}

void counter::step() {
    settle();  // what was written from outside reaches the registers
    if (*clk != clk_before) {
        clk_before = *clk;
        if (*clk) clock();
        settle();
    }
    qk_finalize_wave();        // the array's change list
    u_lap.qk_finalize_wave();  // the copy of wrap
}

void counter::clock() {
    u_lap.clock();
    if (*clear) {
        value = 0;
        return;
    }
    if (wrap) {
        qkzeft_display(2, this, nullptr, 3, 0, "wrapped, total %0d %h", 72, total_0,
                       unsigned{total_1}, 4, unsigned{value} >> 4);
    }
    const uint64_t sum = total_0 + (uint64_t{value} << 56);
    total_1 = static_cast<uint8_t>(total_1 + (sum < total_0));
    total_0 = sum;
    const unsigned element = value & 15;
    if (qk_array_write_check_fn(0, "history", element, history_list, 15)) history[element] = value;
    ++value;
}

void counter::settle() {
    wrap = value == 255;
    *count = value;
}

// ---- The bench: it drives the inputs as tb of counter.v does.

struct Bench {
    uint8_t clk = 0, clear = 1, count = 0;
    counter dut{&clk, &clear, &count};
};
static Bench* bench;

static bool build() {
    bench = new Bench;  // until the process ends
    qk_set_timescale("counter", -9, -9);
    bench->dut.qk_setup("counter", nullptr);
    bench->dut.qk_netlist();
    return true;
}

static void evaluate() { bench->dut.step(); }

// Records the present values. The console may open meanwhile: what its user writes is evaluated at
// this time, and not only at the next event, and recorded once more.
static void record() {
    static uint64_t evaluated_writes = 0;
    qk_takenote();
    if (qk_write_count() == evaluated_writes) return;
    evaluated_writes = qk_write_count();
    evaluate();
    qk_takenote();
}

// Computes the next event from the present time, which a loaded state may have moved.
static int run(uint64_t stop) {
    const uint64_t half_period = 5, clear_ends = 12, end = stop < 10000 ? stop : 10000;
    while (true) {
        record();
        const uint64_t now = qk_get_time();
        const uint64_t edge = (now / half_period + 1) * half_period;
        const uint64_t next = now < clear_ends && clear_ends < edge ? clear_ends : edge;
        if (next > end) return 0;
        qk_set_time(next);
        if (next == edge) bench->clk ^= 1;
        if (next == clear_ends) bench->clear = 0;
        evaluate();
    }
}

int main(int argc, char** argv) {
    zeft_model model;
    model.name = "counter";
    model.build = build;
    model.step = evaluate;
    model.run = run;
    return zeft_main(model, argc, argv);
}
