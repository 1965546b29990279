// A coverage file: which bits of which nets rose and fell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace coverage {

/// Bits of one net as digits, the highest first: a 1 for each bit that rose or fell.
struct Net {
    std::string name, range;
    std::string rose, fell;

    size_t width() const { return rose.size(); }
    size_t bitsRisen() const;
    size_t bitsFallen() const;
    /// @return bits that did both
    size_t bitsToggled() const;
};

struct File {
    std::string model;
    std::vector<Net> nets;  ///< by name
};

/// Throws Failure, with file and line.
File read(const std::string& path);

/// Merges the bits of `other` into `file`. Throws Failure when it comes from another model.
/// @param path  of `other`, for messages; `first` that of `file`
void merge(File& file, const std::string& first, const File& other, const std::string& path);

/// @return the text of a file
std::string textOf(const File& file);

/// @return part of whole in percent, with one decimal, rounded down, so that only the whole gives
///         100.0
std::string percent(size_t part, size_t whole);

}  // namespace coverage
