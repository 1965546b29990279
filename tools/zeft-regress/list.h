// The list of comparisons: a name and a command line for each.
//
//     # NAME   COMMAND LINE
//     boot     ./soc --validate boot.vcd.gz --map soc=tb.dut --synctime 1ns
//
// Words are parted by blanks, and quoted as in the shell: 'as it is', "with \" and \\", \ before
// any character. Nothing else of the shell is known. A line that ends in \ goes on in the next;
// lines that begin with # and blank ones are passed over.
#pragma once

#include <string>
#include <vector>

namespace regress {

struct Entry {
    std::string name;  ///< also of its folder: letters, digits and ._+-
    std::vector<std::string> command;
};

/// Throws Failure, with file and line.
std::vector<Entry> readList(const std::string& path);

/// @return a command line as the shell would take it
std::string shellText(const std::vector<std::string>& command);

}  // namespace regress
