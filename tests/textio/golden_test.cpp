// TEXTIO held to a table of what other simulators do. Its first line says which.
#include <filesystem>
#include <sstream>
#include <vector>

#include "tests/textio/textio_fixture.h"

namespace {

struct Row {
    std::string operation, type, parameters, input, value, text;

    std::string parameter(const std::string& key, const std::string& otherwise = "") const {
        std::istringstream words(parameters);
        for (std::string word; words >> word;)
            if (word.rfind(key + "=", 0) == 0) return word.substr(key.size() + 1);
        return otherwise;
    }
    int number(const char* key) const { return std::stoi(parameter(key, "0")); }
};

int position(const std::string& name, const std::vector<std::string>& names) {
    return static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}

/// Reads a character at `at` and moves on: "\xHH", "\n" and so on, or "\{c*n}", n times c.
std::string character(const std::string& from, size_t& at) {
    const char c = from[at++];
    if (c != '\\') return {c};
    const char kind = from[at++];
    if (kind == 'x') {
        at += 2;
        return {static_cast<char>(std::stoi(from.substr(at - 2, 2), nullptr, 16))};
    }
    if (kind != '{') return {kind == 'n' ? '\n' : kind == 't' ? '\t' : kind};
    const std::string repeated = character(from, at);
    const size_t end = from.find('}', at);
    const int count = std::stoi(from.substr(at + 1, end - at - 1));
    at = end + 1;
    return std::string(static_cast<size_t>(count), repeated[0]);
}

/// A field with its escapes resolved, and its quotes in place.
std::string resolved(const std::string& field) {
    std::string text;
    for (size_t at = 0; at < field.size();) text += character(field, at);
    return text;
}

/// The texts of a field, such as "a" null "b".
std::vector<LineText> texts(const std::string& field) {
    std::vector<LineText> all;
    for (size_t at = 0; at < field.size(); ++at) {
        if (field[at] == 'n') {
            all.emplace_back();
            at += 4;
        } else if (field[at] == '"') {
            std::string text;
            for (++at; field[at] != '"';) text += character(field, at);
            all.emplace_back(text);
        }
    }
    return all;
}

std::string inQuotes(const std::string& text) { return '"' + text + '"'; }
std::string shown(const LineText& text) { return text ? inQuotes(*text) : "null"; }

std::vector<Row> rowsOf(const std::string& operation) {
    std::ifstream table(ZEFT_GOLDEN_DIR "/textio.tsv");
    std::vector<Row> rows;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        Row row;
        for (std::string* field :
             {&row.operation, &row.type, &row.parameters, &row.input, &row.value, &row.text})
            std::getline(fields, *field, '\t');
        if (row.operation == operation) rows.push_back(row);
    }
    // A process can only make its timescale finer.
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return std::stoi(a.parameter("precision", "-9")) >
               std::stoi(b.parameter("precision", "-9"));
    });
    return rows;
}

// ---- Reads

std::string digits(const std::vector<uint64_t>& chunks, size_t length) {
    std::string text;
    for (size_t bit = length; bit-- > 0;) text += chunks[bit / 64] >> bit % 64 & 1 ? '1' : '0';
    return text.empty() ? "\"\"" : text;
}

#define READ(routine, ...)                                            \
    (good ? (void)VHDL(routine, 3, CELL(line), __VA_ARGS__, -1, good) \
          : (void)VHDL(routine, 2, CELL(line), __VA_ARGS__))

std::string readVector(const std::string& operation, uint64_t& line, int length, uint8_t* good) {
    std::vector<uint64_t> chunks(3, 0);
    uint64_t* const p = chunks.data();
    const auto read = [&](auto routine) {
        switch ((length + 63) / 64 * 2 + (good ? 1 : 0)) {
            case 0: routine(0, "", nullptr, 2, CELL(line), TEXT("")); break;
            case 1: routine(0, "", nullptr, 3, CELL(line), TEXT(""), -1, good); break;
            case 2: routine(0, "", nullptr, 2, CELL(line), -length, p); break;
            case 3: routine(0, "", nullptr, 3, CELL(line), -length, p, -1, good); break;
            case 5: routine(0, "", nullptr, 3, CELL(line), -length, p, p + 1, -1, good); break;
            default:
                routine(0, "", nullptr, 3, CELL(line), -length, p, p + 1, p + 2, -1, good);
                break;
        }
    };
    read(operation == "hread"   ? qksysvhdl_hread
         : operation == "oread" ? qksysvhdl_oread
                                : qksysvhdl_read_bit_vector);
    return digits(chunks, static_cast<size_t>(length));
}

/// Reads one value. @return it as the table has it
std::string readValue(const std::string& operation, const std::string& type, int length,
                      uint64_t& line, uint8_t* good) {
    uint32_t value = 0xdeadbeef;
    if (type == "bit_vector") return readVector(operation, line, length, good);
    if (type == "bit") return READ(read_bit, -2, &value), std::to_string(value & 3);
    if (type == "boolean") return READ(read_boolean, -2, &value), value & 1 ? "true" : "false";
    if (type == "character")
        return READ(read_character, -8, &value), shown(std::string(1, static_cast<char>(value)));
    if (type == "integer") {
        READ(read_integer, -32, &value);
        return std::to_string(static_cast<int32_t>(value));
    }
    if (type == "time") {
        int64_t ticks = 0;
        READ(read_time, -64, &ticks);
        return std::to_string(ticks);
    }
    std::string reversed(static_cast<size_t>(length), '?');
    READ(read_string, CHARACTERS(reversed));
    return shown(std::string(reversed.rbegin(), reversed.rend()));
}

std::string readChecked(const std::string& operation, const std::string& type, int length,
                        uint64_t& line) {
    uint8_t good = 7;
    const std::string value = readValue(operation, type, length, line, &good);
    return good == 1 ? "true " + value : good == 0 ? "false" : "good is not set";
}

uint64_t lineOf(const Row& row) { return makeLine(texts(row.input).at(0)); }

void runRead(const Row& row, Row& result) {
    uint64_t line = lineOf(row);
    const int length = row.number("length");
    if (row.parameter("good") == "yes") {
        result.value = readChecked(row.operation, row.type, length, line);
    } else {
        const std::string value = readValue(row.operation, row.type, length, line, nullptr);
        if (row.value != "fatal") result.value = value;
    }
    result.text = shown(textOf(line));
}

void runSequence(const Row& row, Row& result) {
    uint64_t line = lineOf(row);
    result.value = "";
    std::istringstream types(row.type);
    for (std::string type; std::getline(types, type, ',');) {
        const size_t colon = type.find(':');
        const int length = colon == std::string::npos ? 0 : std::stoi(type.substr(colon + 1));
        if (!result.value.empty()) result.value += "; ";
        result.value += readChecked("read", type.substr(0, colon), length, line);
    }
    result.text = shown(textOf(line));
}

void runWord(const Row& row, Row& result) {
    uint64_t line = lineOf(row);
    uint32_t length = 0;
    std::string reversed(static_cast<size_t>(row.number("length")), '?');
    VHDL(sread, 3, CELL(line), CHARACTERS(reversed), -16, &length);
    EXPECT_EQ(reversed.find_first_not_of('?') == std::string::npos, length == 0);
    EXPECT_EQ(reversed.find_last_of('?') + 1, reversed.size() - length);
    result.value = shown(std::string(reversed.rbegin(), reversed.rbegin() + length));
    result.text = shown(textOf(line));
}

// ---- Writes

/// The pairs behind the value: as many as the row has.
#define WRITE(routine, ...)                                           \
    (row.parameter("field").empty()                                   \
         ? row.parameter("justified").empty()                         \
               ? VHDL(routine, 2, CELL(line), __VA_ARGS__)            \
               : VHDL(routine, 3, CELL(line), __VA_ARGS__, 1, isLeft) \
         : VHDL(routine, 4, CELL(line), __VA_ARGS__, 1, isLeft, 32, row.number("field")))

void writeVector(const Row& row, uint64_t& line, int isLeft) {
    const std::string bits = row.value == "\"\"" ? "" : row.value;
    uint64_t p[2] = {};
    for (size_t i = 0; i < bits.size(); ++i)
        p[(bits.size() - 1 - i) / 64] |= uint64_t{bits[i] == '1'} << (bits.size() - 1 - i) % 64;
    const int size = -static_cast<int>(bits.size());
    const auto write = row.operation == "hwrite"   ? qksysvhdl_hwrite
                       : row.operation == "owrite" ? qksysvhdl_owrite
                                                   : qksysvhdl_write_bit_vector;
#define qksysvhdl_vector write
    if (size == 0)
        WRITE(vector, TEXT(""));
    else if (size >= -64)
        WRITE(vector, size, p);
    else
        WRITE(vector, size, p, p + 1);
}

void writeTime(const Row& row, uint64_t& line, int isLeft) {
    const std::vector<std::string> units = {"fs", "ps", "ns", "us", "ms", "sec", "min", "hr"};
    const int64_t ticks = std::stoll(row.value);
    if (row.parameter("unit").empty())
        WRITE(write_time, -64, &ticks);
    else
        VHDL(write_time, 5, CELL(line), 64, ticks, 1, isLeft, 32, row.number("field"), 4,
             position(row.parameter("unit"), units));
}

void runWrite(const Row& row, Row& result) {
    uint64_t line = lineOf(row);
    const int isLeft = row.parameter("justified") == "left";
    if (row.type == "bit_vector") writeVector(row, line, isLeft);
    if (row.type == "time") writeTime(row, line, isLeft);
    if (row.type == "bit") WRITE(write_bit, 1, std::stoi(row.value));
    if (row.type == "boolean") WRITE(write_boolean, 2, row.value == "true" ? 2 : 0);
    if (row.type == "integer") WRITE(write_integer, 32, static_cast<int>(std::stoll(row.value)));
    if (row.type == "character") WRITE(write_character, 8, texts(row.value).at(0)->at(0));
    if (row.type == "string") {
        const std::string text = texts(row.value).at(0).value();
        std::string reversed(text.rbegin(), text.rend());
        WRITE(write_string, CHARACTERS(reversed));
    }
    result.text = shown(textOf(line));
}

// ---- Files

const std::vector<std::string> kKinds = {"read", "write", "append"};
const std::vector<std::string> kStatuses = {"open_ok", "status_error", "name_error", "mode_error"};

/// The file that a row says is there. @return a file opened as the row says
uint64_t fileOf(const Row& row) {
    if (const auto text = texts(row.parameter("file")); !text.empty()) writeFile("file", *text[0]);
    return openFile("file", position(row.parameter("mode"), kKinds));
}

/// Calls that end the run, by what the row says has led to them.
void runFault(const Row& row) {
    writeFile("one.txt", "one\n");
    uint64_t line = 0, file = 0;
    if (row.parameters.find("one.txt") != std::string::npos)
        file = openFile("one.txt", row.parameters.find("write_mode") == std::string::npos
                                       ? kReadMode
                                       : kWriteMode);
    if (row.parameters.rfind("after", 0) == 0) VHDL(readline, 2, CELL(file), CELL(line));
    const std::string name = row.parameter("name");
    if (row.operation == "readline") VHDL(readline, 2, CELL(file), CELL(line));
    if (row.operation == "writeline") VHDL(writeline, 2, CELL(file), CELL(line));
    if (row.operation == "endfile") {
        EXPECT_EQ(VHDL(endfile, 1, CELL(file)), 1);
    }
    if (row.operation == "file_open")
        VHDL(file_open, 2, CELL(file), TEXT(name.substr(0, name.find(',')).c_str()));
}

void runReadLines(const Row& row, Row& result) {
    if (row.value == "fatal") return runFault(row);
    writeFile("file", texts(row.input).at(0).value());
    uint64_t file = openFile("file", kReadMode), line = 0;
    int count = 0;
    result.text = "";
    for (; VHDL(endfile, 1, CELL(file)) == 0; ++count) {
        VHDL(readline, 2, CELL(file), CELL(line));
        result.text += (count ? " " : "") + shown(textOf(line));
    }
    if (count == 0) result.text = "-";
    result.value = "lines=" + std::to_string(count);
    VHDL(file_close, 1, CELL(file));
}

void runEndOfFile(const Row& row, Row& result) {
    if (row.value == "fatal") return runFault(row);
    uint64_t file = fileOf(row);
    result.value = std::to_string(VHDL(endfile, 1, CELL(file)));
    VHDL(file_close, 1, CELL(file));
    std::remove("file");
}

void runOpen(const Row& row, Row& result) {
    if (row.value == "fatal") return runFault(row);
    uint64_t file = 0;
    uint8_t status = 9;
    const int kind = position(row.parameter("kind"), {"read_mode", "write_mode", "append_mode"});
    VHDL(file_open, 4, CELL(file), TEXT(texts(row.input).at(0)->c_str()), 2, kind, -2, &status);
    EXPECT_EQ(file != 0, status == 0);
    result.value = std::to_string(status) + " " + kStatuses.at(status);
    VHDL(file_close, 1, CELL(file));
}

class TextioGoldenTest : public TextioTest {
protected:
    /// Runs the rows of an operation. @param run  fills in what the row's value and text should be
    template <class Run>
    static void check(const char* operation, size_t count, Run run) {
        const std::vector<Row> rows = rowsOf(operation);
        EXPECT_EQ(rows.size(), count);
        for (const Row& row : rows) {
            SCOPED_TRACE(operation + (" " + row.type) + " " + row.parameters + " " + row.input);
            if (const std::string precision = row.parameter("precision"); !precision.empty())
                qk_set_timescale("", std::stoi(precision), std::stoi(precision));
            Row result = row;
            result.value = resolved(row.value);
            run(row, result);
            if (row.value == "fatal") result.text = inQuotes(fault());
            EXPECT_EQ(result.value, resolved(row.value));
            EXPECT_EQ(result.text, resolved(row.text));
            EXPECT_EQ(taken(), "");
            EXPECT_EQ(std::exchange(exitStatus, -1), -1);
        }
    }

    static void runWriteLines(const Row& row, Row& result) {
        if (row.value == "fatal") return runFault(row);
        uint64_t file = fileOf(row);
        for (const LineText& text : texts(row.input)) {
            uint64_t line = makeLine(text);
            if (row.operation == "tee")
                VHDL(tee, 2, CELL(file), CELL(line));
            else
                VHDL(writeline, 2, CELL(file), CELL(line));
            EXPECT_EQ(textOf(line), "");
        }
        VHDL(file_close, 1, CELL(file));
        if (row.operation == "tee") result.value = "console=" + inQuotes(taken());
        result.text = inQuotes(readFile("file"));
        std::remove("file");
    }
    static void runReport(const Row& row, Row& result) {
        const auto message = texts(row.input).at(0);
        const std::vector<std::string> levels = {"note", "warning", "error", "failure", "never"};
        const int severity = position(row.type, levels);
        qksysvhdl_stop_severity(position(row.parameter("stop", "failure"), levels));
        qk_cycle = static_cast<uint64_t>(row.number("time"));
        std::string instance = row.parameter("instance");
        if (instance == "\"\"") instance = "";
        const uint64_t before = qksysvhdl_severity_count(severity);
        if (!message)
            qksysvhdl_assert(0, instance.c_str(), nullptr, 1, 2, severity);
        else if (row.operation == "assert")
            qksysvhdl_assert(0, instance.c_str(), nullptr, 2, 2, severity, TEXT(message->c_str()));
        else
            qksysvhdl_report(0, instance.c_str(), nullptr, 2, 2, severity, TEXT(message->c_str()));
        result.value = "count=" + std::to_string(qksysvhdl_severity_count(severity) - before) +
                       (std::exchange(exitStatus, -1) == 1 ? " fatal" : " returns");
        result.text = inQuotes(taken());
    }
};

TEST_F(TextioGoldenTest, Read) { check("read", 497, runRead); }
TEST_F(TextioGoldenTest, ReadInHexadecimal) { check("hread", 46, runRead); }
TEST_F(TextioGoldenTest, ReadInOctal) { check("oread", 44, runRead); }
TEST_F(TextioGoldenTest, ReadWords) { check("sread", 10, runWord); }
TEST_F(TextioGoldenTest, ReadSequences) { check("readseq", 18, runSequence); }
TEST_F(TextioGoldenTest, Write) { check("write", 301, runWrite); }
TEST_F(TextioGoldenTest, WriteInHexadecimal) { check("hwrite", 18, runWrite); }
TEST_F(TextioGoldenTest, WriteInOctal) { check("owrite", 18, runWrite); }
TEST_F(TextioGoldenTest, ReadLines) { check("readline", 33, runReadLines); }
TEST_F(TextioGoldenTest, EndOfFile) { check("endfile", 6, runEndOfFile); }
TEST_F(TextioGoldenTest, OpenFiles) {
    writeFile("have.txt", "");
    std::filesystem::create_directory("sub");
    check("file_open", 21, runOpen);
}
TEST_F(TextioGoldenTest, WriteLines) { check("writeline", 13, runWriteLines); }
TEST_F(TextioGoldenTest, WriteLinesToTheConsoleToo) { check("tee", 2, runWriteLines); }
TEST_F(TextioGoldenTest, Reports) { check("report", 28, runReport); }
TEST_F(TextioGoldenTest, Assertions) { check("assert", 3, runReport); }

}  // namespace
