#include "tests/support/model_test.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

void ModelTest::SetUp() {
    static bool used = false;
    ASSERT_FALSE(std::exchange(used, true)) << "one test a process: use ctest";
    std::string place = (std::filesystem::temp_directory_path() / "zeft-test-XXXXXX").string();
    ASSERT_TRUE(mkdtemp(place.data()));
    directory = place;
    ASSERT_EQ(chdir(directory.c_str()), 0);
    said.clear();
    qk_prints = [](const char* text) { said += text; };
    kelvo_start();
}

void ModelTest::TearDown() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void ModelTest::advance(uint64_t ticks) {
    qk_cycle += ticks;
    qkLiveModel->writer.captureEntry();
}

void ModelTest::trace(const char* pattern) {
    completeRegistration(true);
    for (QkName* matched : qkLiveModel->matching(pattern))
        if (!matched->traced) qkLiveModel->writer.startTracing(matched);
    qkLiveModel->writer.captureEntry();
}

QkName* ModelTest::name(const char* fullName) {
    completeRegistration(true);
    const std::vector<QkName*> found = qkLiveModel->matching(fullName);
    return found.size() == 1 ? found[0] : nullptr;
}

std::string ModelTest::readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string ModelTest::readVcd(const std::string& path) {
    const std::string text = readFile(path), mark = "$timescale";
    const size_t at = text.find(mark);
    return at == std::string::npos ? "no VCD file: " + text : text.substr(at);
}

QkGRNet net(int scope, int id, const char* name, void* address, int left, int right, unsigned mode,
            unsigned flags) {
    return QkGRNet{scope, id, name, address, left, right, mode, 0, 0, 0, flags, nullptr, nullptr};
}

kelvo_module* registerNets(const char* instance, const std::vector<QkGRNet>& rows,
                           const std::vector<QkGRScope>& scopes) {
    auto* const module = new kelvo_module("design", instance);
    QkRegistration::start(module, static_cast<int>(scopes.size()) + 1,
                          static_cast<int>(rows.size()), false);
    if (!scopes.empty())
        QkRegistration::addScopes(module, static_cast<int>(scopes.size()), scopes.data());
    QkRegistration::addNets(module, static_cast<int>(rows.size()), rows.data());
    QkRegistration::addExtracts(module, 0, nullptr);  // carries out replacements
    QkRegistration::end(module);
    return module;
}

void printToStandardError() {
    qk_prints = [](const char* text) { std::fputs(text, stderr); };
}
