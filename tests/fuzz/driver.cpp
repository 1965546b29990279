// Runs a fuzz target on files, and then on a fixed number of inputs from a fixed seed: the files
// and their lines, joined, cut and damaged at random.
//
// usage: TARGET COUNT SEED DIRECTORY
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "tests/fuzz/target.h"

namespace {

std::vector<std::string> files, pieces;
std::mt19937_64 randomNumbers;
const std::string* current;

/// Shows the input that ended the process.
void showInput(int signal) {
    if (write(STDERR_FILENO, current->data(), current->size()) < 0) return;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void run(const std::string& input) {
    current = &input;
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
}

size_t upTo(size_t limit) { return static_cast<size_t>(randomNumbers() % limit); }
bool oneIn(size_t count) { return upTo(count) == 0; }
char anyByte() { return static_cast<char>(randomNumbers()); }

/// @return a line, with its end or without, or the beginning of one
std::string anyPiece() {
    std::string piece = pieces[upTo(pieces.size())];
    if (oneIn(2)) piece += '\n';
    if (oneIn(3)) piece.resize(upTo(piece.size() + 1));
    if (oneIn(4)) piece.append(upTo(300), anyByte());
    return piece;
}

/// @return a run of bytes of `from`, mostly a short one
std::string anyPartOf(const std::string& from) {
    const size_t start = upTo(from.size() + 1);
    return from.substr(start, upTo(oneIn(3) ? from.size() + 1 : 40));
}

void change(std::string& input) {
    const size_t at = upTo(input.size() + 1);
    switch (upTo(6)) {
        case 0: input.insert(at, anyPiece()); return;
        case 1: input.erase(at, oneIn(3) ? input.size() : upTo(20)); return;
        case 2: input.insert(at, anyPartOf(input)); return;
        case 3: input.insert(at, anyPartOf(files[upTo(files.size())])); return;
        case 4: {
            static const char* const kNumbers[] = {"0",  "1",  "-1", "7",          "31",
                                                   "32", "63", "64", "2147483647", "-2147483648"};
            const size_t digit = input.find_first_of("0123456789", at);
            if (digit == std::string::npos) return;
            const size_t end = input.find_first_not_of("0123456789", digit);
            input.replace(digit, end - digit, kNumbers[upTo(std::size(kNumbers))]);
            return;
        }
        default:
            if (at < input.size()) input[at] = anyByte();
    }
}

std::string anyInput() {
    std::string input;
    if (oneIn(3))
        for (size_t count = upTo(10); count > 0; --count) input += anyPiece();
    else
        input = files[upTo(files.size())];
    for (size_t changes = upTo(6); changes > 0; --changes) change(input);
    return input.substr(0, 1 << 16);
}

}  // namespace

int main(int, char** argv) {
    const uint64_t count = std::strtoull(argv[1], nullptr, 10);
    randomNumbers.seed(std::strtoull(argv[2], nullptr, 10));
    const std::filesystem::directory_iterator directory(argv[3]), end;
    for (const auto& path : std::set<std::filesystem::path>(directory, end)) {
        std::ostringstream content;
        content << std::ifstream(path, std::ios::binary).rdbuf();
        files.push_back(content.str());
        std::istringstream lines(files.back());
        for (std::string line; std::getline(lines, line);) pieces.push_back(line);
    }
    std::printf("%zu files, %zu lines, %s inputs from seed %s\n", files.size(), pieces.size(),
                argv[1], argv[2]);
    std::signal(SIGABRT, showInput);
    for (const std::string& file : files) run(file);
    for (uint64_t i = 0; i < count; ++i) run(anyInput());
}
