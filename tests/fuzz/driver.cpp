// Runs a fuzz target on files, and then on a fixed number of inputs from a fixed seed: the files,
// and the pieces that the target names, joined, cut and damaged at random.
//
// usage: TARGET [COUNT [SEED [FILE | DIRECTORY]...]]
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/fuzz/target.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kMostBytes = 1 << 14;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) {
        std::perror(path.c_str());
        std::exit(1);
    }
    return content.str();
}

/// @return the content of the files named, and of those in directories named, in the order of names
std::vector<std::string> readSeeds(char** begin, char** end) {
    std::vector<std::string> seeds;
    for (char** given = begin; given != end; ++given) {
        std::vector<fs::path> files{*given};
        if (fs::is_directory(*given))
            files.assign(fs::directory_iterator(*given), fs::directory_iterator());
        std::sort(files.begin(), files.end());
        for (const fs::path& file : files) seeds.push_back(contentOf(file));
    }
    return seeds;
}

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

class Generator {
public:
    Generator(uint64_t seed, const std::vector<std::string>& files) : random(seed), seeds(files) {}

    std::string make() {
        std::string input = seeds.empty() || oneIn(3) ? joinPieces() : seeds[upTo(seeds.size())];
        for (size_t changes = upTo(6); changes > 0; --changes) change(input);
        if (input.size() > kMostBytes) input.resize(kMostBytes);
        return input;
    }

private:
    size_t upTo(size_t limit) { return static_cast<size_t>(random() % limit); }
    bool oneIn(size_t count) { return upTo(count) == 0; }
    char anyByte() { return static_cast<char>(random()); }

    std::string anyPiece() {
        std::string piece = kFuzzSeeds[upTo(kFuzzSeedCount)];
        if (oneIn(3)) piece.resize(upTo(piece.size() + 1));
        if (oneIn(4)) piece.append(upTo(300), anyByte());
        return piece;
    }

    std::string joinPieces() {
        std::string input;
        for (size_t pieces = upTo(6); pieces > 0; --pieces) input += anyPiece();
        return input;
    }

    /// @return a run of bytes of `from`, mostly a short one
    std::string anyPartOf(const std::string& from) {
        const size_t start = upTo(from.size() + 1);
        return from.substr(start, upTo(oneIn(3) ? from.size() + 1 : 40));
    }

    void change(std::string& input) {
        const size_t at = upTo(input.size() + 1);
        switch (upTo(6)) {
            case 0: input.insert(at, kFuzzSeeds[upTo(kFuzzSeedCount)]); return;
            case 1: input.erase(at, oneIn(3) ? input.size() : upTo(20)); return;
            case 2: input.insert(at, anyPartOf(input)); return;
            case 3:
                if (!seeds.empty()) input.insert(at, anyPartOf(seeds[upTo(seeds.size())]));
                return;
            case 4: {
                static const char* const kNumbers[] = {
                    "0", "1", "-1", "7", "31", "32", "63", "64", "2147483647", "-2147483648"};
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

    std::mt19937_64 random;
    const std::vector<std::string>& seeds;
};

}  // namespace

int main(int argc, char** argv) {
    const uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000;
    const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    const std::vector<std::string> files = readSeeds(argv + std::min(argc, 3), argv + argc);
    std::printf("%zu files, %llu inputs from seed %llu\n", files.size(),
                static_cast<unsigned long long>(count), static_cast<unsigned long long>(seed));
    std::signal(SIGABRT, showInput);
    for (const std::string& file : files) run(file);
    Generator generator(seed, files);
    for (uint64_t i = 0; i < count; ++i) run(generator.make());
}
