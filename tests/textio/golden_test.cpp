// TEXTIO held to a table of what other simulators do. Its first line says which.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

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

/// A field with its escapes resolved, and its quotes in place.
std::string resolved(const std::string& field) {
    std::string text;
    for (size_t at = 0; at < field.size();) text += character(field, at);
    return text;
}

std::string inQuotes(const std::string& text) { return '"' + text + '"'; }
std::string shown(const LineText& text) { return text ? inQuotes(*text) : "null"; }

// ---- Typed values

const Typed& typed(const Row& row, const std::string& type) {
    const std::string name = row.operation[0] == 'h'   ? "hexadecimal"
                             : row.operation[0] == 'o' ? "octal"
                                                       : type;
    return *std::find_if(std::begin(kTyped), std::end(kTyped),
                         [&](const Typed& t) { return t.name == name; });
}

/// Reads one value. @return it as the table has it
std::string read(const Row& row, const std::string& type, int length, uint64_t& line,
                 uint8_t* good) {
    if (type == "string") {
        std::string reversed(static_cast<size_t>(length), '?');
        VHDL(read_string, good ? 3 : 2, CELL(line), CHARACTERS(reversed), -1, good);
        return inQuotes({reversed.rbegin(), reversed.rend()});
    }
    const Typed& t = typed(row, type);
    uint64_t chunks[3] = {};
    readTyped(t.read, line, t.bits ? t.bits : length, chunks, good);
    if (type == "boolean") return chunks[0] ? "true" : "false";
    if (type == "character") return inQuotes({static_cast<char>(chunks[0])});
    if (type == "integer") return std::to_string(static_cast<int32_t>(chunks[0]));
    if (type == "time") return std::to_string(static_cast<int64_t>(chunks[0]));
    std::string bits;
    for (int bit = type == "bit" ? 1 : length; bit-- > 0;)
        bits += chunks[bit / 64] >> bit % 64 & 1 ? '1' : '0';
    return bits.empty() ? "\"\"" : bits;
}

std::string readChecked(const Row& row, const std::string& type, int length, uint64_t& line) {
    uint8_t good = 7;
    const std::string value = read(row, type, length, line, &good);
    return good == 1 ? "true " + value : good == 0 ? "false" : "good is not set";
}

void runRead(Row& row, uint64_t& line) {
    const bool isFatal = row.value == "fatal";
    row.value = row.parameter("good") == "yes"
                    ? readChecked(row, row.type, row.number("length"), line)
                    : read(row, row.type, row.number("length"), line, nullptr);
    if (isFatal) row.value = "fatal";
    row.text = shown(textOf(line));
}

void runSequence(Row& row, uint64_t& line) {
    row.value = "";
    std::istringstream types(row.type);
    for (std::string type; std::getline(types, type, ',');) {
        const size_t colon = type.find(':');
        const int length = colon == std::string::npos ? 0 : std::stoi(type.substr(colon + 1));
        row.value +=
            (row.value.empty() ? "" : "; ") + readChecked(row, type.substr(0, colon), length, line);
    }
    row.text = shown(textOf(line));
}

void runWord(Row& row, uint64_t& line) {
    uint32_t length = 0;
    std::string reversed(static_cast<size_t>(row.number("length")), '?');
    VHDL(sread, 3, CELL(line), CHARACTERS(reversed), -16, &length);
    EXPECT_EQ(reversed.find_last_of('?') + 1, reversed.size() - length);
    row.value = inQuotes({reversed.rbegin(), reversed.rbegin() + length});
    row.text = shown(textOf(line));
}

void runWrite(Row& row, uint64_t& line) {
    const int isLeft = row.parameter("justified") == "left";
    const int pairs = !row.parameter("unit").empty()        ? 5
                      : !row.parameter("field").empty()     ? 4
                      : !row.parameter("justified").empty() ? 3
                                                            : 2;
    if (row.type == "string") {
        const std::string text = row.value.substr(1, row.value.size() - 2);
        std::string reversed(text.rbegin(), text.rend());
        VHDL(write_string, pairs, CELL(line), CHARACTERS(reversed), 1, isLeft, 32,
             row.number("field"));
        row.text = shown(textOf(line));
        return;
    }
    uint64_t chunks[2] = {};
    const Typed& t = typed(row, row.type);
    const std::string bits = row.value == "\"\"" ? "" : row.value;
    if (row.type == "character")
        chunks[0] = static_cast<uint8_t>(row.value[1]);
    else if (row.type == "boolean")
        chunks[0] = row.value == "true" ? 256 : 0;
    else if (row.type != "bit_vector")
        chunks[0] = static_cast<uint64_t>(std::stoll(row.value));
    else
        for (size_t i = 0, at = bits.size(); at-- > 0; ++i)
            chunks[i / 64] |= uint64_t{bits[at] == '1'} << i % 64;
    const int unit =
        position(row.parameter("unit"), {"fs", "ps", "ns", "us", "ms", "sec", "min", "hr"});
    writeTyped(t.write, line, t.bits ? t.bits : static_cast<int>(bits.size()), chunks, pairs,
               isLeft, row.number("field"), unit);
    row.text = shown(textOf(line));
}

// ---- Files

/// The file that a row says is there. @return a file opened as the row says
uint64_t fileOf(const Row& row) {
    std::remove("file");
    if (const auto text = texts(row.parameter("file")); !text.empty()) writeFile("file", *text[0]);
    return openFile("file", position(row.parameter("mode"), {"read", "write", "append"}));
}

void runReadLines(Row& row, uint64_t& line) {
    writeFile("file", texts(row.input).at(0).value());
    uint64_t file = openFile("file", kReadMode);
    int count = 0;
    row.text = "";
    for (; VHDL(endfile, 1, CELL(file)) == 0; ++count) {
        VHDL(readline, 2, CELL(file), CELL(line));
        row.text += (count ? " " : "") + shown(textOf(line));
    }
    if (count == 0) row.text = "-";
    row.value = "lines=" + std::to_string(count);
    VHDL(file_close, 1, CELL(file));
}

void runEndOfFile(Row& row, uint64_t&) {
    uint64_t file = fileOf(row);
    row.value = std::to_string(VHDL(endfile, 1, CELL(file)));
    VHDL(file_close, 1, CELL(file));
}

void runOpen(Row& row, uint64_t&) {
    uint64_t file = 0;
    uint8_t status = 9;
    const int kind = position(row.parameter("kind"), {"read_mode", "write_mode", "append_mode"});
    VHDL(file_open, 4, CELL(file), TEXT(texts(row.input).at(0)->c_str()), 2, kind, -2, &status);
    EXPECT_EQ(file != 0, status == 0);
    const char* const names[] = {"open_ok", "status_error", "name_error", "mode_error"};
    row.value = std::to_string(status) + " " + names[status & 3];
    VHDL(file_close, 1, CELL(file));
}

class TextioGoldenTest : public TextioTest {
protected:
    static void runWriteLines(Row& row, uint64_t&) {
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
        if (row.operation == "tee") row.value = "console=" + inQuotes(taken());
        row.text = inQuotes(readFile("file"));
    }
    static void runReport(Row& row, uint64_t&) {
        const auto message = texts(row.input).at(0);
        const std::vector<std::string> levels = {"note", "warning", "error", "failure", "never"};
        const int severity = position(row.type, levels), pairs = message ? 2 : 1;
        qksysvhdl_stop_severity(position(row.parameter("stop", "failure"), levels));
        qk_cycle = static_cast<uint64_t>(row.number("time"));
        std::string instance = row.parameter("instance");
        if (instance == "\"\"") instance = "";
        const uint64_t before = qksysvhdl_severity_count(severity);
        const Routine routine = row.operation == "assert" ? qksysvhdl_assert : qksysvhdl_report;
        routine(0, instance.c_str(), nullptr, pairs, 2, severity,
                TEXT(message ? message->c_str() : ""));
        row.value = "count=" + std::to_string(qksysvhdl_severity_count(severity) - before) +
                    (std::exchange(exitStatus, -1) == 1 ? " fatal" : " returns");
        row.text = inQuotes(taken());
    }
};

TEST_F(TextioGoldenTest, AgreesWithOtherSimulators) {
    const std::map<std::string, void (*)(Row&, uint64_t & line)> operations{
        {"read", runRead},         {"hread", runRead},       {"oread", runRead},
        {"sread", runWord},        {"readseq", runSequence}, {"write", runWrite},
        {"hwrite", runWrite},      {"owrite", runWrite},     {"readline", runReadLines},
        {"endfile", runEndOfFile}, {"file_open", runOpen},   {"writeline", runWriteLines},
        {"tee", runWriteLines},    {"report", runReport},    {"assert", runReport}};
    writeFile("have.txt", "");
    std::filesystem::create_directory("sub");
    std::vector<Row> rows;
    std::ifstream table(ZEFT_GOLDEN_DIR "/textio.tsv");
    std::string head;
    for (std::getline(table, head), std::getline(table, head); std::getline(table, head);) {
        std::istringstream fields(head);
        Row& row = rows.emplace_back();
        for (std::string* field :
             {&row.operation, &row.type, &row.parameters, &row.input, &row.value, &row.text})
            std::getline(fields, *field, '\t');
    }
    EXPECT_EQ(rows.size(), 1067u);
    // A process can only make its timescale finer.
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return std::stoi(a.parameter("precision", "-9")) >
               std::stoi(b.parameter("precision", "-9"));
    });
    for (const Row& row : rows) {
        SCOPED_TRACE(row.operation + " " + row.type + " " + row.parameters + " " + row.input);
        const int precision = std::stoi(row.parameter("precision", "-9"));
        qk_set_timescale("", precision, precision);
        Row result = row;
        result.value = resolved(row.value);
        const auto inputs = texts(row.input);
        uint64_t line = inputs.empty() ? 0 : makeLine(inputs[0]);
        operations.at(row.operation)(result, line);
        if (row.value == "fatal") result.text = inQuotes(fault());
        EXPECT_EQ(result.value, resolved(row.value));
        EXPECT_EQ(result.text, resolved(row.text));
        EXPECT_EQ(taken(), "");
        EXPECT_EQ(std::exchange(exitStatus, -1), -1);
    }
}

}  // namespace
