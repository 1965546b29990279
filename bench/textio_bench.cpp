// Text files of VHDL beside one transfer of the same bytes and a conversion of the same numbers.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "qkzeft.h"

namespace {

constexpr const char* kPath = "textio_bench.txt";
constexpr int kNumbersInLine = 4;

#define VHDL(routine, ...) qksysvhdl_##routine(0, "bench", nullptr, __VA_ARGS__)

std::vector<int> someNumbers(int64_t count) {
    std::mt19937 random(1);
    std::vector<int> numbers(static_cast<size_t>(count));
    for (int& number : numbers) number = static_cast<int>(random()) >> random() % 28;
    return numbers;
}

/// @return the text of the numbers, four to a line
std::string textOf(const std::vector<int>& numbers) {
    std::string text;
    for (size_t i = 0; i < numbers.size(); ++i)
        text +=
            std::to_string(numbers[i]) + (i % kNumbersInLine == kNumbersInLine - 1 ? "\n" : " ");
    return text;
}

void writeWithStream(const std::string& text) {
    FILE* const file = std::fopen(kPath, "w");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

uint64_t openFile(unsigned kind) {
    uint64_t file = 0;
    VHDL(file_open, 3, -64, &file, 0, kPath, 2, kind);
    return file;
}

/// Lines of four integers each, read, beside an fread of the whole file and its numbers parsed.
void BM_ReadNumbers(benchmark::State& state) {
    const std::vector<int> numbers = someNumbers(state.range(0));
    std::string text = textOf(numbers);
    writeWithStream(text);
    uint64_t line = 0;
    compareWithLimit(
        state,
        [&] {
            uint64_t file = openFile(0);
            size_t at = 0;
            while (VHDL(endfile, 1, -64, &file) == 0) {
                VHDL(readline, 2, -64, &file, -64, &line);
                for (int i = 0; i < kNumbersInLine; ++i) {
                    int number = 0;
                    VHDL(read_integer, 2, -64, &line, -32, &number);
                    if (number != numbers[at++]) std::abort();
                }
            }
            VHDL(file_close, 1, -64, &file);
        },
        [&] {
            FILE* const file = std::fopen(kPath, "r");
            if (std::fread(text.data(), 1, text.size(), file) != text.size()) std::abort();
            std::fclose(file);
            const char* at = text.data();
            for (const int expected : numbers) {
                int number = 0;
                at = std::from_chars(at, text.data() + text.size(), number).ptr + 1;
                if (number != expected) std::abort();
            }
        });
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    VHDL(deallocate, 1, -64, &line);
    std::remove(kPath);
}
BENCHMARK(BM_ReadNumbers)->Arg(4000)->Arg(40'000)->Arg(400'000)->UseManualTime();

/// The same lines written, beside their text made in one piece and an fwrite of it.
void BM_WriteNumbers(benchmark::State& state) {
    const std::vector<int> numbers = someNumbers(state.range(0));
    std::string text = textOf(numbers);
    uint64_t line = 0;
    compareWithLimit(
        state,
        [&] {
            uint64_t file = openFile(1);
            for (size_t i = 0; i < numbers.size(); ++i) {
                VHDL(write_integer, 2, -64, &line, 32, numbers[i]);
                if (i % kNumbersInLine == kNumbersInLine - 1)
                    VHDL(writeline, 2, -64, &file, -64, &line);
                else
                    VHDL(write_character, 2, -64, &line, 8, ' ');
            }
            VHDL(file_close, 1, -64, &file);
        },
        [&] {
            char* at = text.data();
            for (size_t i = 0; i < numbers.size(); ++i) {
                at = std::to_chars(at, text.data() + text.size(), numbers[i]).ptr;
                *at++ = i % kNumbersInLine == kNumbersInLine - 1 ? '\n' : ' ';
            }
            writeWithStream(text);
        });
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    VHDL(deallocate, 1, -64, &line);
    std::remove(kPath);
}
BENCHMARK(BM_WriteNumbers)->Arg(4000)->Arg(40'000)->Arg(400'000)->UseManualTime();

}  // namespace
