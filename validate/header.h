// The declarations of a reference trace (IEEE 1364-2005, 18.2.3).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "validate/declared_name.h"
#include "validate/vcd_model.h"

class TraceTokens;

class HeaderReader {
public:
    /// @param strict      takes the strict dialect only
    /// @param ticksInOne  receives how many ticks of the model are one of the trace. It is 1
    ///                    before, and its owner rescales it when the tick gets finer.
    HeaderReader(TraceTokens& theTokens, QkVCDModel& model, bool strict, uint64_t& ticksInOne)
        : tokens(theTokens), vcdModel(model), isStrict(strict), timeMultiplier(ticksInOne) {}
    /// Reads up to the end of the declarations. @return 1, or 0 with a message
    int read();

private:
    int readDeclaration(std::string_view token);
    int readScope();
    int readUpscope();
    int skipDumparray();
    int readVar();
    int readBitSelect(BitRange& range);
    int parseVCDtimescale();
    void setTimescale(const std::string& text);

    // As simulators write them; not in strict mode (validate/loose_header.cpp).
    int readLooseDeclaration(std::string_view token);
    bool readWords(std::string& text);
    int readUnclosedText(const char* what);
    int readLooseScope();
    int readLooseVar();
    bool addLooseVar(const std::string& code, const DeclaredName& declared, ValueKind kind,
                     int width);
    bool addPendingBit(bool asBit);

    /// A variable that is a bit of a net if the one before or after it is another bit.
    struct PendingBit {
        std::string code;
        DeclaredName declared;
        QkVCDScope* scope;
        bool isAdded;
    };

    TraceTokens& tokens;
    QkVCDModel& vcdModel;
    const bool isStrict;
    uint64_t& timeMultiplier;
    QkVCDScope* currentScope = nullptr;
    std::vector<QkVCDScope*> outerScopes;  ///< the scope to return to from each open $scope
    std::optional<PendingBit> pendingBit;
};
