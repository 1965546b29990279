// Runs a session: a text of commands, and of what each of them prints. Reads it on the standard
// input and writes it again with what is printed now; a test compares the two. A line begins with
//
//   $ COMMAND   a line for the console, and below it what came of that; hidden ones are added here
//   < TEXT      a line that this command reads as typed
//   +TICKS      the model runs for a while
//   > FILE      creates a file of the lines below:
//   | TEXT      a line of it
//   |< FILE     all lines of another file
//   |. TEXT     the last line, without an end
//   ? FILE      prints a file, with "| " before each line
//   ! COMMAND   has the shell run a command, which must succeed
//   # TEXT      a comment
//
// and all others are output. A "\" at the end of one stands for the lack of a line end.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tests/support/session.h"

namespace {

FILE* output;

std::string fileText(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// @return what was printed since the last call, as whole lines
std::string printed() {
    std::fflush(output);
    std::rewind(output);
    std::string text;
    for (int c; (c = std::getc(output)) != EOF;) text += static_cast<char>(c);
    std::rewind(output);
    if (ftruncate(fileno(output), 0) != 0) std::abort();
    return text.empty() || text.back() == '\n' ? text : text + "\\\n";
}

/// What of the typed lines the command leaves is for the next time that the console opens.
std::string type(const std::string& command, const std::string& typed) {
    if (!typed.empty() || qk_stdin == stdin) {
        if (qk_stdin != stdin) std::fclose(qk_stdin);
        qk_stdin = std::tmpfile();
        std::fputs(typed.c_str(), qk_stdin);
        std::rewind(qk_stdin);
    }
    const int result = qk_cli(command.c_str());
    return printed() + (result == 1 ? "" : "not recognised\n");
}

std::string show(const std::string& path) {
    std::istringstream text(fileText(path));
    std::string shown;
    for (std::string line; std::getline(text, line);) shown += "| " + line + "\n";
    return shown;
}

/// @return what a line that begins with "|" adds to a file
std::string fileLine(const std::string& line) {
    if (line.rfind("|< ", 0) == 0) return fileText(line.substr(3));
    if (line.rfind("|. ", 0) == 0) return line.substr(3);
    return line.substr(line.size() > 1 ? 2 : 1) + "\n";
}

void run(std::istream& script) {
    std::string line, file;
    while (std::getline(script, line)) {
        if (line.empty() || !std::strchr("$<+>|?!#", line[0])) continue;
        if (line[0] == '|' && file.empty()) continue;
        std::cout << line << '\n';
        if (line[0] == '|') {
            std::ofstream(file, std::ios::app) << fileLine(line);
            continue;
        }
        file.clear();
        const std::string rest = line.substr(line.size() > 1 ? 2 : 1);
        if (line[0] == '>') {
            file = rest;
            std::ofstream(file).flush();
        } else if (line[0] == '?') {
            std::cout << show(rest);
        } else if (line[0] == '!') {
            if (std::system(rest.c_str()) != 0) std::cout << "failed\n";
        } else if (line[0] == '+') {
            qk_cycle += std::strtoull(line.c_str() + 1, nullptr, 10);
            qk_takenote();
            std::cout << printed();
        } else if (line[0] == '$') {
            std::string typed;
            for (std::string more; script.peek() == '<' && std::getline(script, more);) {
                std::cout << more << '\n';
                typed += more.substr(more.size() > 1 ? 2 : 1) + "\n";
            }
            std::cout << type(rest, typed);
        }
    }
}

int setStrict(const char* argument) {
    qk_strict = std::strcmp(argument, "off") != 0;
    return 1;
}

}  // namespace

int main() {
    std::string place = (std::filesystem::temp_directory_path() / "zeft-test-XXXXXX").string();
    if (!mkdtemp(place.data()) || chdir(place.c_str()) != 0) return 1;
    qk_stdout = output = std::tmpfile();
    kelvo_start();
    registerSessionModel();
    qk_register_cmd("strict", "#", 1, setStrict);
    run(std::cin);
    qk_traceclose();
    std::error_code ignored;
    std::filesystem::remove_all(place, ignored);
    return 0;
}
