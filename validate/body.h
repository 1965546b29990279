// The body of a reference trace: times, values, and dumps of all values (IEEE 1364-2005, 18.2.3).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/dtable.h"

class TraceTokens;
struct QkVCDId;
struct QkVCDModel;

/// @return whether a keyword begins, or ends, a part of the trace without values
bool isDumpOff(std::string_view token);
bool isDumpOn(std::string_view token);

class BodyReader {
public:
    explicit BodyReader(TraceTokens& theTokens) : tokens(theTokens) {}
    ~BodyReader();
    BodyReader(const BodyReader&) = delete;
    BodyReader& operator=(const BodyReader&) = delete;

    /// Begins anew. @param model    what the trace declares; it must live as long as lines are read
    /// @param strict   takes the strict dialect only
    /// @param loading  the values are saved state
    void start(QkVCDModel& model, bool strict, bool loading);
    /// Reads and applies a dump of all values, up to its end.
    /// @param expectDumpvars  it is the first of the file: a time and `$dumpvars` precede it; if
    ///                        not in strict mode, it begins with the first value, wherever that is
    /// @return 1 or 0
    int readInitialValues(bool expectDumpvars);
    /// Moves the simulated time.
    /// @return false with a message; in strict mode, bad times are passed over with one
    bool readTimeLine(std::string_view token);
    /// Reads the rest of a value line.
    /// @param first       its first token
    /// @param value       receives the digits, valid until the next token is read
    /// @param passedOver  receives whether the line belongs to a constant and is skipped; may be
    ///                    null
    /// @return the code's record, or null with a message or for a constant
    QkVCDId* readValueLine(std::string_view first, std::string_view& value, bool* passedOver);

    // Bodies as simulators write them; not in strict mode (validate/loose_body.cpp).

    /// @return a time line whose `#` may have blanks after it
    std::string timeWords(std::string_view token);
    /// Reads a line with a keyword, other than those of a pause. @return false after a failure
    bool readKeyword(std::string_view token);
    /// Reads a dump, which lasts to the first later time, or to a pause; that time is then read
    /// next.
    /// @param isFirst  its time is that of the last time line before its first value
    bool readDump(bool isFirst);

    uint64_t timeMultiplier = 1;          ///< ticks of the model in one of the trace
    std::optional<uint64_t> pausedSince;  ///< the time of the current $dumpoff
    bool isDamaged() const { return damaged; }

private:
    QkVCDId* failAtDigit(std::string_view value, size_t stray) const;
    QkVCDId* failAtCode(std::string_view code) const;
    QkVCDId* checkedWidth(QkVCDId* id, std::string_view value) const;
    int failInDump() const;
    bool parseTime(std::string_view token, uint64_t& time);
    QkVCDId* readLooseValue(std::string_view first, std::string_view& value, bool* passedOver);
    QkVCDId* takeLooseValue(QkVCDId* id, char form, std::string_view& value, bool& passedOver);
    bool takeConstant(const QkVCDId& id, const std::string& value);
    bool takeReal(std::string_view& value);

    TraceTokens& tokens;
    QkVCDModel* vcdModel = nullptr;
    bool isStrict = true;
    bool isLoading = false;
    bool damaged = false;         ///< the trace contradicts itself
    Dtable* constants = nullptr;  ///< values of parameters by their QkVCDId, texts to be freed
    std::string valueText;
};
