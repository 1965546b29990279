#include "tracing/fst_file.h"

#include <cerrno>
#include <new>

#include "netdb/netdb.h"
#include "run/console_text.h"
#include "run/time.h"
#include "run/version.h"

bool QkFstFile::open() { return writer.open(name()); }

/// Calls body(). If memory is exhausted, the writer fails, as its state may be inconsistent.
template <class Body>
void QkFstFile::guard(Body&& body) {
    try {
        body();
    } catch (const std::bad_alloc&) {
        writer.fail(ENOMEM);
    }
    if (writer.error() != 0) fail(writer.error());
}

void QkFstFile::writeHead() {
    writer.setHead(kLibraryMarker, dateText().c_str(), qk_timescale_precision);
}

void QkFstFile::beginScope(const char* scope) { writer.beginScope(scope); }

void QkFstFile::declare(uint32_t slot, const QkName* name, uint32_t) {
    char bounds[kBoundsBytes];
    text.assign(name->name);
    const auto length = static_cast<size_t>(addBounds(bounds, name) - bounds);
    if (length != 0) text.append(" ").append(bounds, length);
    writer.declare(slot, text.c_str(), static_cast<uint32_t>(recordedWidth(name)));
}

void QkFstFile::endScope() { writer.endScope(); }

void QkFstFile::endDefinitions() {
    guard([&] { writer.endDefinitions(); });
}

void QkFstFile::writeTime(uint64_t time) {
    guard([&] { writer.writeTime(time); });
}

void QkFstFile::write(const OutputChange* begin, const OutputChange* end, size_t) {
    guard([&] { writer.write(begin, end); });
}

void QkFstFile::flush() {
    guard([&] { writer.flush(); });
}

void QkFstFile::closeStream() {
    guard([&] { writer.close(); });
}

void QkFstFile::report() const { qk_printf("FST written to file: %s\n", name()); }
