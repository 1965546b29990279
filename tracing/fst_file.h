// FST files of the model: what FstWriter needs to know of the database, and its failures.
#pragma once

#include "tracing/fst_writer.h"
#include "tracing/trace_file.h"

class QkFstFile : public QkTraceFile {
public:
    explicit QkFstFile(const char* fileName) : QkTraceFile(fileName, "FST") {}

    bool open() override;
    void writeHead() override;
    void beginScope(const char* scope) override;
    void declare(uint32_t slot, const QkName* name, uint32_t code) override;
    void endScope() override;
    void endDefinitions() override;
    void writeTime(uint64_t time) override;
    void write(const OutputChange* begin, const OutputChange* end, size_t slotCount) override;

protected:
    void flush() override;
    void closeStream() override;
    void report() const override;

private:
    template <class Body>
    void guard(Body&& body);

    FstWriter writer;
    std::string text;  ///< of a name with its bounds
};
