// Reading a VCD and applying it to a model, beside other readers of the format.
//
// usage: ours_read FILE [driven|compared|unlinked]
//
// The model has the nets that FILE declares, of up to 128 bits. The trace drives all of them; or it
// drives one, and the others are compared and differ; or the model has only one of them. Prints
// "NAME VALUE" lines: the rates from opening to the end for FILE and for a compressed copy, and
// that of gzread alone.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <ctime>
#include <deque>
#include <map>
#include <sstream>
#include <string_view>

#include "bench/peers/stimulus.h"
#include "console/console.h"
#include "model/live_model.h"
#include "qkzeft.h"
#include "qkzeft_validate.h"

namespace {

std::string pathOf(int file) { return "/proc/self/fd/" + std::to_string(file); }

std::string contentsOf(const char* path) {
    std::string text;
    const int file = open(path, O_RDONLY);
    text.resize(static_cast<size_t>(lseek(file, 0, SEEK_END)));
    lseek(file, 0, SEEK_SET);
    for (size_t at = 0; at < text.size();) {
        const ssize_t count = read(file, &text[at], text.size() - at);
        if (count <= 0) break;
        at += static_cast<size_t>(count);
    }
    close(file);
    return text;
}

std::string plainCopy(const std::string& text) {
    const int file = memfd_create("plain", 0);
    for (size_t at = 0; at < text.size();) {
        const ssize_t count = write(file, text.data() + at, text.size() - at);
        if (count <= 0) break;
        at += static_cast<size_t>(count);
    }
    return pathOf(file);
}

std::string gzipCopy(const std::string& text) {
    const std::string path = pathOf(memfd_create("gzip", 0));
    const gzFile file = gzopen(path.c_str(), "wb1");
    gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
    gzclose(file);
    return path;
}

struct Net {
    std::string scope, name;
    int width;
};

/// @return the nets that a header declares, one per line
std::vector<Net> declaredNets(const std::string& text) {
    std::vector<Net> nets;
    std::vector<std::string> scopes;
    std::istringstream lines(text.substr(0, text.find("$enddefinitions")));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string keyword, kind, code, name;
        words >> keyword >> kind;
        if (keyword == "$scope" && words >> name)
            scopes.push_back(scopes.empty() ? name : scopes.back() + "." + name);
        if (keyword == "$upscope" && !scopes.empty()) scopes.pop_back();
        int width;
        if (keyword == "$var" && !scopes.empty() && words >> width >> code >> name && width <= 128)
            nets.push_back(Net{scopes.back(), name, width});
    }
    return nets;
}

/// One module for each scope; each net has its own 16 bytes.
struct Model {
    explicit Model(const std::vector<Net>& nets) : storage(2 * nets.size()) {
        std::map<std::string, std::vector<QkGRNet>> rowsOf;
        for (size_t i = 0; i < nets.size(); ++i) {
            const Net& net = nets[i];
            std::vector<QkGRNet>& rows = rowsOf[net.scope];
            for (int low = 0; low < net.width; low += 64)
                rows.push_back({0, static_cast<int>(rows.size()) + 1, net.name.c_str(),
                                &storage[2 * i + static_cast<size_t>(low) / 64],
                                std::min(net.width, low + 64) - 1, low,
                                net.width > 64 ? 0x201u : 1u, 0, 0, 0, QK_flag_register, nullptr,
                                nullptr});
        }
        for (auto& [scope, rows] : rowsOf) {
            kelvo_module& module = modules.emplace_back("peer", scope.c_str());
            const int count = static_cast<int>(rows.size());
            QkRegistration::start(&module, 1, count, false);
            QkRegistration::addNets(&module, count, rows.data());
            QkRegistration::end(&module);
        }
    }
    std::vector<uint64_t> storage;
    std::deque<kelvo_module> modules;
};

double megabytesPerSecond(size_t bytes, uint64_t from) {
    return static_cast<double>(bytes) * 1e3 / static_cast<double>(nowNs() - from);
}

void timeReplay(const char* result, const std::string& path, size_t bytes) {
    const uint64_t from = nowNs();
    const std::clock_t busy = std::clock();
    qk_mtc(path.c_str());
    const double seconds = static_cast<double>(std::clock() - busy) / CLOCKS_PER_SEC;
    ::result(result, megabytesPerSecond(bytes, from));
    ::result((std::string("cpu_") + result).c_str(), static_cast<double>(bytes) / 1e6 / seconds);
}

void timeGzread(const std::string& path, size_t bytes) {
    std::vector<char> buffer(0x800000);
    const uint64_t from = nowNs();
    const gzFile file = gzopen(path.c_str(), "rb");
    while (gzread(file, buffer.data(), 0x800000) > 0) {
    }
    gzclose(file);
    ::result("gzread_MB_per_s", megabytesPerSecond(bytes, from));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [driven|compared|unlinked]\n", argv[0]);
        return 2;
    }
    const std::string_view kind = argc > 2 ? argv[2] : "driven";
    qk_strict = false;  // as in zeft_main()
    std::string text = contentsOf(argv[1]);
    std::vector<Net> nets = declaredNets(text);
    if (nets.empty()) return 1;
    if (kind == "unlinked") nets.resize(1);
    const size_t bytes = text.size();
    const std::string plain = plainCopy(text), compressed = gzipCopy(text);
    text = {};

    Model model(nets);
    qk_prints = [](const char*) {};
    qk_step_fn = [] {};
    QkName* const first = qkLiveModel->names;
    NameRing::each(first,
                   [&](QkName* name) { name->stimulus = kind != "compared" || name == first; });
    qkLiveModel->reader.threshold = -1;
    timeReplay("MB_per_s", plain, bytes);
    timeReplay("gz_MB_per_s", compressed, bytes);
    timeGzread(compressed, bytes);
    result("peak_MB", peakBytes() / 1e6);
}
