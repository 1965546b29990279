// A comparison as a whole.
//
// One QkFileReader is part of the live model. Between start() and close() it has a QkVCDModel; a
// file is open from openTrace() on. The work is that of its parts: `tokens`, HeaderReader and
// `body` read the trace, ModelLinker pairs it with the model, `run` moves the model along it, and
// `results` keeps what came of it.
#pragma once

#include <cstdint>
#include <memory>

#include "netdb/listener.h"
#include "validate/body.h"
#include "validate/linking.h"
#include "validate/options.h"
#include "validate/results.h"
#include "validate/run.h"
#include "validate/sample.h"
#include "validate/trace_tokens.h"
#include "validate/vcd_model.h"

class QkFileReader final : public ComparisonOptions, public DatabaseListener {
public:
    QkFileReader() : body(tokens), run(*this) {}
    QkFileReader(const QkFileReader&) = delete;
    QkFileReader& operator=(const QkFileReader&) = delete;

    // ---- A trace

    /// Starts with an empty QkVCDModel.
    /// @param loading  to load saved state, without a comparison
    void start(bool loading);
    /// Opens a file and reads its declarations. @return 1, or 0 with a message
    int readHeader(const char* path);
    int readInitialValues(bool expectDumpvars) { return body.readInitialValues(expectDumpvars); }
    int linkModel() { return linker().linkModel(); }
    void addStimulusMap(const StimulusMap& map) { linker().addStimulusMap(map); }
    int findStimuli() { return linker().findStimuli(); }
    bool fileIsOpen() const { return tokens.input() != nullptr; }
    /// Closes the file, and removes everything about the trace.
    void close();

    // ---- A comparison

    /// Opens a trace, links it and applies its first values to the model. @return 1, or 0 with
    /// messages
    int openTrace(const char* path);
    /// Ends the comparison, in an interactive run only that of this file. During a pass, it ends at
    /// the end of the pass.
    void closeValidate();
    /// Runs the model along the trace until a stop. @return 1, or 0 when a pass failed
    int runValidate();
    int runTrace(bool final) { return run.runTrace(final); }
    /// Counts the times of the comparison in ticks `factor` times finer.
    void rescaleTimes(uint64_t factor);
    /// @return the numbers as they are now
    const qk_mtc_stats& currentStats();
    /// @return what compares or drives the net of a name, or null
    QkVCDTrace* traceOf(const QkName* name) const;

    // ---- Saved state (validate/load_state.cpp)

    /// Loads the values in a file into the nets of the model, and sets its time. @return 1, or 0
    /// with messages
    int loadState(const char* path);

    bool isStrict = true;  ///< of the trace in hand: it is read in the strict dialect only
    bool loadingState = false;
    int nDifferences = 0;       ///< since the last pause
    int nDifferencesTotal = 0;  ///< before it
    std::unique_ptr<QkVCDModel> vcdModel;
    std::unique_ptr<InputSample> sample;  ///< ends comparisons early; null: they run to the end
    TraceTokens tokens;
    BodyReader body;
    TraceRun run;
    ComparisonResults results;

private:
    // What the database announces.
    void nameGoes(QkName* name) override;
    void traceGoes(QkTrace* trace) override;
    void scopeGoes(QkScope* scope) override;
    void netDetaches(QkTrace* trace) override { traceGoes(trace); }
    void copiesFound() override;

    ModelLinker linker() { return {*vcdModel, *this, isStrict, loadingState}; }
    bool readOpening(const char* path);
    void endValidate();
    bool runPass(bool& pause);
    bool hasClocks(bool& pause);
    bool mustPause() const;
    bool readState();
};

/// The reader of the live model; null if there is none.
extern QkFileReader* qkReader;
