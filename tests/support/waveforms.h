// What a waveform says, whatever wrote it.
#pragma once

#include <map>
#include <string>

/// The changes of each variable of a VCD text by its full name with its range, in the order in
/// which they stand there: "0:1 5:10 " is a 1 at time 0 and 10 binary at 5. Zeros in front are left
/// out.
std::map<std::string, std::string> changesOf(const std::string& vcd);

/// @return the VCD text that fst2vcd makes of a file; what it complains of when it does not
std::string readFst(const std::string& path);
