// Tables that generated code could give, and what is printed of them: the cases on the standard
// input, in the language of tests/fuzz/tables_fuzz.cpp, are written again with their output. A case
// begins with a line of "# ", and a line of output with "= ".
#include <iostream>
#include <sstream>

#include "tests/fuzz/target.h"

namespace {

std::string printed;

void runCase(const std::string& name, const std::string& operations) {
    printed.clear();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(operations.data()), operations.size());
    std::cout << name << '\n' << operations;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) std::cout << "= " << line << '\n';
}

}  // namespace

int main() {
    fuzzPrints = [](const char* text) { printed += text; };
    std::string name, operations;
    for (std::string line; std::getline(std::cin, line);) {
        if (line[0] == '#') {
            if (!name.empty()) runCase(name, operations);
            name = line;
            operations.clear();
        } else if (line[0] != '=') {
            operations += line + '\n';
        }
    }
    runCase(name, operations);
}
