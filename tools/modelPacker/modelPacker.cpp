// brairu-models: makes an encrypted container of a model file, and opens one again.
#include <sodium.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "modelPacker/modelContainer.h"

namespace {

constexpr char kUsage[] =
    "usage: brairu-models pack MODEL CONTAINER     encrypt a model file\n"
    "       brairu-models unpack CONTAINER MODEL   decrypt it again\n";

int report(const brairu::ContainerFault& fault) {
    if (fault) {
        (void)std::fprintf(stderr, "brairu-models: %s\n", fault->c_str());
    }
    return fault ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (sodium_init() < 0) {
        return report("no source of random numbers");
    }
    const std::string_view command = argc == 4 ? argv[1] : "";
    if (command == "pack") {
        return report(brairu::packModel(argv[2], argv[3]));
    }
    if (command == "unpack") {
        return report(brairu::unpackModel(argv[2], argv[3]));
    }
    (void)std::fputs(kUsage, stderr);
    return 2;
}
