#include "match/kernels/chosenKernel.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "platformLog.h"

namespace brairu {
namespace {

constexpr char kForcingVariable[] = "BRAIRU_SEARCH_KERNEL";

#if defined(__x86_64__) || defined(__i386__)
constexpr std::array kKernels{&kAvx512VnniKernel, &kAvx2Kernel, &kScalarKernel};
#elif defined(__aarch64__) || defined(__arm__)
constexpr std::array kKernels{&kDotProductKernel, &kNeonKernel, &kScalarKernel};
#else
constexpr std::array kKernels{&kScalarKernel};
#endif

const SearchKernel& fastestKernel() {
    return **std::ranges::find_if(kKernels, [](auto* kernel) { return kernel->runsHere(); });
}

}  // namespace

std::span<const SearchKernel* const> searchKernels() {
    return kKernels;
}

const SearchKernel* usableKernel(std::string_view name) {
    const auto found = std::ranges::find_if(
        kKernels, [name](auto* kernel) { return kernel->name == name && kernel->runsHere(); });
    return found == kKernels.end() ? nullptr : *found;
}

const SearchKernel& chooseKernel(const char* forced) {
    const SearchKernel& fastest = fastestKernel();
    if (forced == nullptr) {
        return fastest;
    }
    if (const SearchKernel* const kernel = usableKernel(forced)) {
        return *kernel;
    }
    __android_log_print(ANDROID_LOG_ERROR, "pva", "no search kernel \"%s\" here: %s runs\n", forced,
                        fastest.name);
    return fastest;
}

const SearchKernel& chosenKernel() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): hosts set their environment before they start threads
    static const SearchKernel& kernel = chooseKernel(std::getenv(kForcingVariable));
    return kernel;
}

}  // namespace brairu
