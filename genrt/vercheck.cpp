// Checks whether the library can run a generated model.
#include <cstdio>
#include <cstdlib>

#include "netdb/netdb.h"
#include "qkzeft_module.h"

namespace {

constexpr int kLibraryVersion = 8;
constexpr int kOldestModel = 0x020300;  ///< the oldest generator whose models run
constexpr int kNeeds32Bits = 1;         ///< a flag
constexpr bool kHas32Bits = sizeof(void*) == 4;

[[noreturn]] void refuse() {
    std::fprintf(stderr, "%s", kSupportContact);
    std::exit(1);
}

}  // namespace

void qk_vercheck(int required_library_version, int model_version, int flags) {
    const auto shown = static_cast<unsigned>(model_version);
    if (required_library_version > kLibraryVersion) {
        std::fprintf(stderr,
                     "Error: Runtime Library version %d is incompatible with\n"
                     "       your generated model, version %06x. (Your model\n"
                     "       requires Runtime Library version %d or higher).\n",
                     kLibraryVersion, shown, required_library_version);
        refuse();
    }
    if (model_version < kOldestModel) {
        std::fprintf(stderr,
                     "Error: Runtime Library version %d is incompatible with\n"
                     "       your generated model, version %06x. (Your model\n"
                     "       must be re-generated using ZEFT %06x or higher).\n",
                     kLibraryVersion, shown, static_cast<unsigned>(kOldestModel));
        refuse();
    }
    if ((flags & kNeeds32Bits) && !kHas32Bits) {
        std::fprintf(stderr,
                     "Error: Your generated model requires the 32-bit version of\n"
                     "       the ZEFT Runtime Library (-lzeft_32)\n");
        refuse();
    }
}
