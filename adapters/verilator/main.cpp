// qkverilate: from Verilog sources to a simulator with console, waveforms and comparison.
#include <exception>

#include "build.h"

int main(int argc, char** argv) {
    using namespace qkverilate;
    Options options;
    Status status = kDone;
    try {
        if (readOptions(argc, argv, options, status)) build(options);
        return status;
    } catch (const BuildError& error) {
        complain(error.text);
    } catch (const DesignError& error) {
        complain(error.text);
    } catch (const TreeError& error) {
        complain(error.text);
    } catch (const std::exception& error) {
        complain(error.what());
    }
    return kFailed;
}
