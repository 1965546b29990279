// Assembler for the processor of this example: makes a memory image, with one hexadecimal word per
// line.
//
//   soc_asm SOURCE IMAGE
//
// Two passes over the lines of the source: the first gives each statement its address, the second
// encodes it. A statement's size depends on its own text only, never on a label.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

enum Format { kRegister, kImmediate, kShift, kLoad, kStore, kBranch, kLui, kJal, kJalr };

struct Instruction {
    const char* name;
    Format format;
    uint32_t funct3;
    uint32_t bit30;
};

const Instruction kInstructions[] = {
    {"add", kRegister, 0, 0},    {"sub", kRegister, 0, 1},   {"sll", kRegister, 1, 0},
    {"slt", kRegister, 2, 0},    {"sltu", kRegister, 3, 0},  {"xor", kRegister, 4, 0},
    {"srl", kRegister, 5, 0},    {"sra", kRegister, 5, 1},   {"or", kRegister, 6, 0},
    {"and", kRegister, 7, 0},    {"addi", kImmediate, 0, 0}, {"slti", kImmediate, 2, 0},
    {"sltiu", kImmediate, 3, 0}, {"xori", kImmediate, 4, 0}, {"ori", kImmediate, 6, 0},
    {"andi", kImmediate, 7, 0},  {"slli", kShift, 1, 0},     {"srli", kShift, 5, 0},
    {"srai", kShift, 5, 1},      {"lw", kLoad, 2, 0},        {"lbu", kLoad, 4, 0},
    {"sw", kStore, 2, 0},        {"beq", kBranch, 0, 0},     {"bne", kBranch, 1, 0},
    {"blt", kBranch, 4, 0},      {"bge", kBranch, 5, 0},     {"bltu", kBranch, 6, 0},
    {"bgeu", kBranch, 7, 0},     {"lui", kLui, 0, 0},        {"jal", kJal, 0, 0},
    {"jalr", kJalr, 0, 0},
};

const char* const kRegisterNames[] = {"zero", "ra", "sp",  "gp",  "tp", "t0", "t1", "t2",
                                      "s0",   "s1", "a0",  "a1",  "a2", "a3", "a4", "a5",
                                      "a6",   "a7", "s2",  "s3",  "s4", "s5", "s6", "s7",
                                      "s8",   "s9", "s10", "s11", "t3", "t4", "t5", "t6"};

/// One statement of the source. A directive or instruction may be missing: a line with a label
/// only.
struct Statement {
    int line = 0;
    std::string label;
    std::string name;
    std::vector<std::string> operands;  // a text in quotes is one operand, quotes included
    uint32_t address = 0;
};

struct Error : std::runtime_error {
    Error(int errorLine, const std::string& text) : std::runtime_error(text), line(errorLine) {}
    int line;
};

// ---- Reading

bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

/// Removes a '#' that is not inside quotes, the text after it, and blanks at both ends.
std::string clean(const std::string& text) {
    size_t end = 0;
    for (bool quoted = false; end < text.size() && (quoted || text[end] != '#'); ++end) {
        if (quoted && text[end] == '\\' && end + 1 < text.size()) {
            ++end;
        } else if (text[end] == '"') {
            quoted = !quoted;
        }
    }
    const char* const blanks = " \t\r";
    const std::string cut = text.substr(0, end);
    const size_t first = cut.find_first_not_of(blanks);
    if (first == std::string::npos) return "";
    return cut.substr(first, cut.find_last_not_of(blanks) + 1 - first);
}

Statement parseLine(const std::string& text, int line) {
    Statement statement;
    statement.line = line;
    std::string rest = clean(text);
    const size_t nameEnd =
        static_cast<size_t>(std::find_if_not(rest.begin(), rest.end(), isNameChar) - rest.begin());
    if (nameEnd > 0 && nameEnd < rest.size() && rest[nameEnd] == ':') {
        statement.label = rest.substr(0, nameEnd);
        rest = clean(rest.substr(nameEnd + 1));
    }
    const size_t blank = rest.find_first_of(" \t");
    statement.name = rest.substr(0, blank);
    if (blank == std::string::npos) return statement;
    rest = clean(rest.substr(blank));
    if (rest[0] == '"') {
        statement.operands.push_back(rest);
        return statement;
    }
    for (size_t start = 0; start <= rest.size();) {
        const size_t comma = std::min(rest.find(',', start), rest.size());
        statement.operands.push_back(clean(rest.substr(start, comma - start)));
        start = comma + 1;
    }
    return statement;
}

std::vector<Statement> readSource(const char* path) {
    std::ifstream in(path);
    if (!in) throw Error(0, "cannot be opened");
    std::vector<Statement> statements;
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        Statement statement = parseLine(text, line);
        if (!statement.label.empty() || !statement.name.empty()) statements.push_back(statement);
    }
    return statements;
}

// ---- Operands

bool parseNumber(const std::string& text, int64_t* value) {
    if (text.empty()) return false;
    char* end = nullptr;
    *value = std::strtoll(text.c_str(), &end, 0);
    return *end == '\0';
}

int64_t number(const Statement& s, const std::string& text, int64_t low, int64_t high) {
    int64_t value = 0;
    if (!parseNumber(text, &value)) throw Error(s.line, "not a number: '" + text + "'");
    if (value < low || value > high) throw Error(s.line, "number out of range: '" + text + "'");
    return value;
}

uint32_t registerNumber(const Statement& s, const std::string& text) {
    const auto found = std::find(std::begin(kRegisterNames), std::end(kRegisterNames), text);
    if (found == std::end(kRegisterNames)) throw Error(s.line, "not a register: '" + text + "'");
    return static_cast<uint32_t>(found - std::begin(kRegisterNames));
}

/// Splits "offset(register)".
void memoryOperand(const Statement& s, const std::string& text, int64_t* offset, uint32_t* base) {
    const size_t open = text.find('(');
    if (open == std::string::npos || text.back() != ')') {
        throw Error(s.line, "not an address: '" + text + "'");
    }
    *offset = number(s, text.substr(0, open), -2048, 2047);
    *base = registerNumber(s, text.substr(open + 1, text.size() - open - 2));
}

std::string textOperand(const Statement& s) {
    const std::string& quoted = s.operands[0];
    if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') {
        throw Error(s.line, "not a text in quotes");
    }
    std::string text;
    for (size_t i = 1; i + 1 < quoted.size(); ++i) {
        if (quoted[i] != '\\') {
            text += quoted[i];
        } else if (quoted[++i] == 'n') {
            text += '\n';
        } else if (quoted[i] == '\\' || (quoted[i] == '"' && i + 1 < quoted.size())) {
            text += quoted[i];
        } else {
            throw Error(s.line, "unknown escape in a text");
        }
    }
    return text + '\0';
}

// ---- Encoding

uint32_t bits(int64_t value, int high, int low) {
    return static_cast<uint32_t>(value >> low) & ((1u << (high - low + 1)) - 1);
}

class Assembler {
public:
    std::vector<uint32_t> assemble(std::vector<Statement> statements) {
        for (Statement& statement : statements) place(statement);
        for (const Statement& statement : statements) encode(statement);
        return words;
    }

private:
    void place(Statement& s) {
        s.address = nextAddress;
        if (!s.label.empty() && !labels.emplace(s.label, nextAddress).second) {
            throw Error(s.line, "label defined before: '" + s.label + "'");
        }
        if (!s.name.empty()) nextAddress += 4 * sizeInWords(s);
        if (nextAddress > kMaxBytes) throw Error(s.line, "image too large");
    }

    uint32_t sizeInWords(const Statement& s) {
        if (s.name == ".asciz") {
            expect(s, 1);
            return static_cast<uint32_t>((textOperand(s).size() + 3) / 4);
        }
        if (s.name == ".pad") {
            expect(s, 1);
            return static_cast<uint32_t>(number(s, s.operands[0], nextAddress / 4, kMaxBytes / 4)) -
                   nextAddress / 4;
        }
        if (s.name == "li") {
            expect(s, 2);
            const int64_t value = number(s, s.operands[1], INT32_MIN, UINT32_MAX);
            return isShort(value) || bits(value, 11, 0) == 0 ? 1 : 2;
        }
        return 1;
    }

    static bool isShort(int64_t value) { return value >= -2048 && value <= 2047; }

    static void expect(const Statement& s, size_t count) {
        if (s.operands.size() != count) throw Error(s.line, "wrong number of operands");
    }

    int64_t labelAddress(const Statement& s, const std::string& label) const {
        const auto found = labels.find(label);
        if (found == labels.end()) throw Error(s.line, "no such label: '" + label + "'");
        return found->second;
    }

    /// Distance from the statement to a label.
    int64_t distance(const Statement& s, const std::string& label, int64_t reach) const {
        const int64_t result = labelAddress(s, label) - s.address;
        if (result < -reach || result >= reach)
            throw Error(s.line, "label too far: '" + label + "'");
        return result;
    }

    void emit(uint32_t word) { words.push_back(word); }

    void encode(const Statement& s) {
        if (s.name.empty() || encodeDirective(s) || encodePseudo(s)) return;
        for (const Instruction& instruction : kInstructions) {
            if (s.name == instruction.name) {
                emit(encodeInstruction(s, instruction));
                return;
            }
        }
        throw Error(s.line, "unknown instruction: '" + s.name + "'");
    }

    bool encodeDirective(const Statement& s) {
        if (s.name == ".word") {
            expect(s, 1);
            emit(static_cast<uint32_t>(number(s, s.operands[0], INT32_MIN, UINT32_MAX)));
        } else if (s.name == ".asciz") {
            std::string text = textOperand(s);
            text.resize((text.size() + 3) / 4 * 4);
            for (size_t i = 0; i < text.size(); i += 4) {
                uint32_t word = 0;
                for (size_t byte = 4; byte-- > 0;) {
                    word = word << 8 | static_cast<unsigned char>(text[i + byte]);
                }
                emit(word);
            }
        } else if (s.name == ".pad") {
            words.resize(s.address / 4 + sizeAt(s));
        } else {
            return false;
        }
        return true;
    }

    uint32_t sizeAt(const Statement& s) const {
        return static_cast<uint32_t>(number(s, s.operands[0], 0, kMaxBytes / 4)) - s.address / 4;
    }

    /// Instructions that are replaced by one or two others.
    bool encodePseudo(const Statement& s) {
        const std::vector<std::string>& op = s.operands;
        const auto as = [&](const char* name, std::vector<std::string> operands) {
            Statement real = s;
            real.name = name;
            real.operands = std::move(operands);
            encode(real);
        };
        if (s.name == "li") {
            loadConstant(s, number(s, op[1], INT32_MIN, UINT32_MAX));
        } else if (s.name == "la") {
            expect(s, 2);
            as("addi", {op[0], "zero", std::to_string(labelAddress(s, op[1]))});
        } else if (s.name == "mv") {
            expect(s, 2);
            as("addi", {op[0], op[1], "0"});
        } else if (s.name == "beqz" || s.name == "bnez") {
            expect(s, 2);
            as(s.name == "beqz" ? "beq" : "bne", {op[0], "zero", op[1]});
        } else if (s.name == "j") {
            expect(s, 1);
            as("jal", {"zero", op[0]});
        } else if (s.name == "ret") {
            expect(s, 0);
            as("jalr", {"zero", "0(ra)"});
        } else {
            return false;
        }
        return true;
    }

    void loadConstant(const Statement& s, int64_t value) {
        const uint32_t rd = registerNumber(s, s.operands[0]);
        if (isShort(value)) {
            emit(bits(value, 11, 0) << 20 | rd << 7 | 0x13);
            return;
        }
        // The low part is added as a signed number, so the high part may need to be one greater.
        emit(bits(value + 0x800, 31, 12) << 12 | rd << 7 | 0x37);
        const uint32_t low = bits(value, 11, 0);
        if (low != 0) emit(low << 20 | rd << 15 | rd << 7 | 0x13);
    }

    uint32_t encodeInstruction(const Statement& s, const Instruction& instruction) const {
        static const size_t kOperands[] = {3, 3, 3, 2, 2, 3, 2, 2, 2};
        expect(s, kOperands[instruction.format]);
        const std::vector<std::string>& op = s.operands;
        const uint32_t first = registerNumber(s, op[0]);
        const uint32_t funct3 = instruction.funct3 << 12;
        const uint32_t high = instruction.bit30 << 30;
        int64_t value = 0;
        uint32_t base = 0;
        switch (instruction.format) {
            case kRegister:
                return high | registerNumber(s, op[2]) << 20 | registerNumber(s, op[1]) << 15 |
                       funct3 | first << 7 | 0x33;
            case kImmediate:
                value = number(s, op[2], -2048, 2047);
                return bits(value, 11, 0) << 20 | registerNumber(s, op[1]) << 15 | funct3 |
                       first << 7 | 0x13;
            case kShift:
                value = number(s, op[2], 0, 31);
                return high | bits(value, 4, 0) << 20 | registerNumber(s, op[1]) << 15 | funct3 |
                       first << 7 | 0x13;
            case kLoad:
            case kJalr:
                memoryOperand(s, op[1], &value, &base);
                return bits(value, 11, 0) << 20 | base << 15 | funct3 | first << 7 |
                       (instruction.format == kLoad ? 0x03 : 0x67);
            case kStore:
                memoryOperand(s, op[1], &value, &base);
                return bits(value, 11, 5) << 25 | first << 20 | base << 15 | funct3 |
                       bits(value, 4, 0) << 7 | 0x23;
            case kBranch:
                value = distance(s, op[2], 1 << 12);
                return bits(value, 12, 12) << 31 | bits(value, 10, 5) << 25 |
                       registerNumber(s, op[1]) << 20 | first << 15 | funct3 |
                       bits(value, 4, 1) << 8 | bits(value, 11, 11) << 7 | 0x63;
            case kLui:
                value = number(s, op[1], 0, 0xfffff);
                return bits(value, 19, 0) << 12 | first << 7 | 0x37;
            case kJal:
                value = distance(s, op[1], 1 << 20);
                return bits(value, 20, 20) << 31 | bits(value, 10, 1) << 21 |
                       bits(value, 11, 11) << 20 | bits(value, 19, 12) << 12 | first << 7 | 0x6f;
        }
        return 0;
    }

    static const uint32_t kMaxBytes = 1024;  // of the program memory

    std::map<std::string, uint32_t> labels;
    std::vector<uint32_t> words;
    uint32_t nextAddress = 0;
};

bool writeImage(const char* path, const std::vector<uint32_t>& words) {
    std::FILE* file = std::fopen(path, "w");
    if (!file) return false;
    for (uint32_t word : words) std::fprintf(file, "%08x\n", word);
    const bool failed = std::ferror(file) != 0;
    return std::fclose(file) == 0 && !failed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: soc_asm SOURCE IMAGE\n");
        return 2;
    }
    try {
        if (!writeImage(argv[2], Assembler().assemble(readSource(argv[1])))) {
            std::fprintf(stderr, "%s: cannot be written\n", argv[2]);
            return 1;
        }
    } catch (const Error& error) {
        std::fprintf(stderr, "%s:%d: %s\n", argv[1], error.line, error.what());
        return 1;
    }
    return 0;
}
