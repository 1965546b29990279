// The list of comparisons: a name and a command line for each.
//
//     # NAME   COMMAND LINE
//     boot     ./soc --validate boot.vcd.gz --map soc=tb.dut --synctime 1ns
//
// Words are separated by blanks, and quoted as in the shell: 'as it is', "with \" and \\", \ before
// any character. Nothing else of the shell is supported. A line that ends in \ continues on the
// next; lines that begin with # and blank ones are skipped.
#pragma once

#include <string>
#include <vector>

namespace regress {

struct Entry {
    std::string name;  ///< also the name of its folder: letters, digits and ._+-
    std::vector<std::string> command;
};

/// Throws Failure, with file and line.
std::vector<Entry> readList(const std::string& path);

/// @return a command line, quoted for the shell
std::string shellText(const std::vector<std::string>& command);

}  // namespace regress
