// Reading a reference trace, and the state of a comparison as a whole.
//
// The trace is a VCD file (IEEE 1364-2005, 18.2), plain or gzip, or a file that another program
// turns into one. One QkFileReader stands in the live model. Between start() and close() it has a
// QkVCDModel; a file is open from openTrace() on.
#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/dtable.h"
#include "netdb/listener.h"
#include "qkzeft_validate.h"
#include "validate/declared_name.h"
#include "validate/record.h"
#include "validate/sample.h"
#include "validate/vcd_model.h"

class Printout;
class VcdInputBuffer;

/// A scope of the model that stands in another place in the trace.
struct MappedScope {
    QkScope* live;
    std::string path;  ///< in the trace
};

/// A net of the model that the trace is to drive.
struct StimulusMap {
    QkName* live;
    std::string path;  ///< full name in the trace
};

class QkFileReader final : public DatabaseListener {
public:
    QkFileReader();
    ~QkFileReader();
    QkFileReader(const QkFileReader&) = delete;
    QkFileReader& operator=(const QkFileReader&) = delete;

    // ---- Reading (validate/file_reader.cpp)

    /// Begins anew with an empty QkVCDModel.
    /// @param loading  to take over saved state, without a comparison
    void start(bool loading);
    /// Opens a file and reads its declarations. @return 1, or 0 with a message
    int readHeader(const char* path);
    /// Reads a dump of all values up to its end, and applies it.
    /// @param expectDumpvars  it is the first of the file: a time and `$dumpvars` come first; out
    ///                        of strict mode the first value begins it, wherever that is
    /// @return 1 or 0
    int readInitialValues(bool expectDumpvars);
    bool fileIsOpen() const { return file != nullptr; }

    // ---- Linking (validate/linking.cpp)

    /// Pairs the scopes and names of trace and model, and decides what is compared.
    /// @return 1, or 0 when saved state lacks a signal
    int linkModel();
    void addStimulusMap(const StimulusMap& map);
    /// Decides what the trace drives. @return 1, or 0 when that is nothing
    int findStimuli();
    /// Closes the file, and forgets all of the trace.
    void close();

    // ---- Running (validate/run.cpp)

    /// Opens a trace, links it and brings the model to its first values. @return 1, or 0 with
    /// messages
    int openTrace(const char* path);
    /// Ends the comparison, in an interactive run only that of this file. During a pass of the run
    /// it waits for the end of the pass.
    void closeValidate();
    /// Runs the model along the trace until a stop. @return 1, or 0 when a pass failed
    int runValidate();
    /// One pass. @param final  the end of the file ends the comparison
    /// @return whether there was neither a difference nor a failure
    int runTrace(bool final);
    /// Applies the order of inputs that is in force, and the flags of nets, to the trace in hand.
    void regroup();
    /// Counts the times of the comparison in ticks `factor` times finer.
    void rescaleTimes(uint64_t factor);
    /// @return whether the model is within a step: the file cannot be exchanged then
    bool isPassRunning() const { return passRunning; }

    // ---- Saved state (validate/load_state.cpp)

    /// Gives the nets of the model the values in a file, and the model its time. @return 1, or 0
    /// with messages
    int loadState(const char* path);

    // ---- Options; kept from file to file

    int threshold = 10;            ///< differences at which the run stops, -1 for no limit
    int verbose = 0;               ///< level
    bool detailsInBinary = false;  ///< asked for by the command `verbose`
    bool verbosestep = false;
    uint64_t synctime = 0;  ///< ticks that model and trace may be apart; 0: until the end
    bool steponclock = true;
    bool steponclockRequested = false;  ///< the user has asked for it
    bool clockFirst = false;  ///< within a time step clocks come first: it overrides steponclock
    bool timeExecution = false;
    std::list<MappedScope> mappedScopes;  ///< newest first
    std::list<StimulusMap> stimulusMaps;

    // ---- State

    std::string filename;  ///< of the open trace
    bool loadingState = false;
    int nDifferences = 0;       ///< since the last pause
    int nDifferencesTotal = 0;  ///< before it
    std::unique_ptr<QkVCDModel> vcdModel;

    // ---- What users ask of the latest comparison (validate/statistics.cpp)

    /// Ports of a top-level scope of the model that the trace has elsewhere.
    struct Proposal {
        std::string model, trace;
    };
    std::vector<Proposal> proposals;                     ///< best first
    std::vector<Proposal> unlinkedScopes, unlinkedNets;  ///< pairs that the user gave
    std::vector<std::string> notCompared, notDriven;     ///< nets of the model
    std::unique_ptr<InputSample> sample;  ///< ends comparisons early; null: it does not
    uint64_t longestSync = 0;             ///< ticks
    ComparisonRecord record;              ///< whole once the trace has closed
    /// @return the numbers as they stand
    const qk_mtc_stats& currentStats();
    bool isTraceKnown() const { return traceKnown; }
    /// @return why a name of either side has no partner on the other (validate/reasons.cpp)
    std::string whyNotLinked(const QkName* live) const;
    std::string whyNotLinked(const QkVCDName& name) const;
    /// Lists nets that a summary counts, and of which the comparison says little.
    void summariseDoubts(Printout& out) const;
    /// @return whether values from the trace are told of beside what they differ in
    bool areCommitsSaid() const { return verbose > 1 || verbosestep; }

    /// @return what compares or drives the net behind a name, or null
    QkVCDTrace* traceOf(const QkName* name) const;

private:
    // What the database announces.
    void nameGoes(QkName* name) override;
    void traceGoes(QkTrace* trace) override;
    void scopeGoes(QkScope* scope) override;
    void netDetaches(QkTrace* trace) override { traceGoes(trace); }
    void copiesFound() override;

    // Reading. A token is valid until the next is read.
    bool atEnd() const;
    std::string_view readToken(bool escapedAllowed = false);
    std::string_view readLongToken(bool escaped);
    bool skipBlanks();
    bool refill();
    bool isTokenAhead() const;
    void endToken(char terminator);
    bool openInput(const char* path);
    int skipToEnd(bool printTokens, std::string* text = nullptr);
    int readDeclaration(std::string_view token);
    int readScope();
    int readUpscope();
    int skipDumparray();
    int readVar();
    int readBitSelect(BitRange& range);
    int parseVCDtimescale();
    void setTimescale(const std::string& text);
    int fail(const char* what) const;
    /// @return false with a message; in strict mode, bad times are passed over with one
    bool readTimeLine(std::string_view token);
    QkVCDId* failAtDigit(std::string_view value, size_t stray) const;
    /// Reads what is left of a value line.
    /// @param first       its first token
    /// @param value       receives the digits, valid until the next token is read
    /// @param passedOver  receives whether the line is a constant's, of no concern; may be null
    /// @return the code's record, or null with a message or for a constant
    QkVCDId* readValueLine(std::string_view first, std::string_view& value, bool* passedOver);

    // Traces as simulators write them; not in strict mode (validate/dialects.cpp).
    void takeGluedEnd(std::string_view& token);
    int readLooseDeclaration(std::string_view token);
    bool readWords(std::string& text);
    int skipComment();
    int readUnclosedText(const char* what);
    int readLooseScope();
    int readLooseVar();
    bool addLooseVar(const std::string& code, const DeclaredName& declared, ValueKind kind,
                     int width);
    bool addPendingBit(bool asBit);
    bool readDump(bool isFirst);
    bool readDumpKeyword(std::string_view token, bool& inBlock);
    bool isTokenOnLine();
    std::string lastOnLine();
    std::string timeWords(std::string_view token);
    bool parseTime(std::string_view token, uint64_t& time);
    QkVCDId* readLooseValue(std::string_view first, std::string_view& value, bool* passedOver);
    QkVCDId* takeLooseValue(QkVCDId* id, char form, std::string_view& value, bool& passedOver);
    bool takeConstant(const QkVCDId& id, const std::string& value);
    bool takeReal(std::string_view& value);
    void passOver(const char* kind);
    void reportPassedOver();
    bool readKeyword(std::string_view token);
    bool beginPause();
    bool endPause();

    // Linking.
    QkName* findPartner(uint32_t number);
    void warnOfBounds() const;
    void applyScopeMaps();
    void linkScopes(const std::vector<QkVCDScope*>& ring, QkScope* liveRing);
    void reportMissingScopes(QkScope* liveRing) const;
    int reportMissingSignals() const;
    void reportCounts(int signals, int matched) const;
    int linkTo(QkVCDName* name, QkName* live);
    bool fits(const QkVCDName& name, const QkName* live) const;
    void linkStimulus(QkVCDName* name, QkName* live);
    /// What becomes of a linked net, beside that it is compared if it can be.
    struct TraceUse {
        bool isStimulus = false, isClock = false, isEarlyInput = false, isStepInput = false;
    };
    QkVCDTrace* addTrace(QkVCDName* name, const TraceUse& use);
    void closeFile();

    // Running.
    bool readOpening(const char* path);
    bool canStep() const;
    void evaluate(void (*function)(), const char* reason);
    int stepModel(const char* reason);
    int settleModel(const char* reason);
    bool stepClockFirst();
    bool stepsInOrder() const { return steponclock && !clockFirst; }
    bool finishTimeStep();
    bool mustPause() const;
    bool openConsole();
    void endValidate();
    bool runPass(bool& pause);
    bool hasClocks(bool& pause);
    bool readLines();
    void readPlainLines();
    bool reportProgress();
    bool readLine(std::string_view token);
    bool readTime(std::string_view token);
    bool readValue(std::string_view token);
    bool applyInClockOrder(QkVCDId& id, std::string_view value);
    bool finishTrace();
    void reportEnd();

    // Statistics.
    void countLinks();
    void findUnlinkedPairs();
    void findMissingNets(const std::vector<const QkTrace*>& notComparedTraces);
    void findProposals();
    bool readState();

    std::unique_ptr<VcdInputBuffer> file;
    qk_mtc_stats stats{};
    bool traceKnown = false;  ///< a trace has been linked
    int lineNumber = 1;
    bool lineEndPending = false;  ///< the last token's line end is not counted yet
    QkVCDScope* currentScope = nullptr;
    std::vector<QkVCDScope*> outerScopes;  ///< what each open $scope is to go back to
    int vcdTimescaleExponent = 0;
    uint64_t vcdTimeMultiplier = 1;  ///< ticks of the model in one of the trace
    std::string spilled;             ///< a token that runs over a buffer's end
    std::string valueText;

    bool isStrict = true;                 ///< the reader takes the strict dialect only
    bool endAhead = false;                ///< an `$end` was glued to the last keyword
    bool damaged = false;                 ///< the trace contradicts itself
    std::string heldToken;                ///< to be read next, if not empty
    std::optional<uint64_t> pausedSince;  ///< the time of a $dumpoff that is in force
    Dtable* constants = nullptr;  ///< values of parameters by their QkVCDId, texts to be freed
    /// A variable that is a bit of a net if the one before or after it is another bit.
    struct PendingBit {
        std::string code;
        DeclaredName declared;
        QkVCDScope* scope;
        bool isAdded;
    };
    std::optional<PendingBit> pendingBit;
    struct PassedOver {
        const char* kind;
        int line;  ///< the first
        uint64_t count;
    };
    std::vector<PassedOver> passedKinds;

    // What the current time step of the trace has come to.
    bool stepNeeded = false;    ///< an input changed: the model is to be stepped at its end
    bool earlyInputs = false;   ///< an input changed that must reach the model before the clock
    bool clockPending = false;  ///< a clock's value waits to be committed

    bool passRunning = false;
    bool closeRequested = false;  ///< while a pass was running
    bool sampleEnded = false;
    bool stopped = false;     ///< the pass ended by a request or by its differences
    bool readFailed = false;  ///< the pass ended by a line that cannot be read
    int lastOutOfSync = -1;   ///< count that was last told in this pass
    std::clock_t passStart = 0;
};

/// That of the live model; null without one.
extern QkFileReader* qkReader;
