#include "examination/systemExamination.h"

#include <dlfcn.h>
#include <sodium.h>
#include <sqlite3.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include "brairu.h"
#include "match/kernels/chosenKernel.h"
#include "npu.h"

namespace brairu::tool {
namespace {

constexpr char kArea[] = "system";

// The file that a function of a shared library comes from.
template <class Function>
std::string fileOf(Function* function) {
    Dl_info info{};
    const bool found = ::dladdr(reinterpret_cast<void*>(function), &info) != 0;
    return found && info.dli_fname != nullptr ? info.dli_fname : "an unknown file";
}

std::string processor() {
    utsname name{};
    ::uname(&name);
    return std::string(name.machine) + ", " + name.sysname + " " + name.release;
}

std::string jsonVersion() {
    return std::to_string(NLOHMANN_JSON_VERSION_MAJOR) + "." +
           std::to_string(NLOHMANN_JSON_VERSION_MINOR) + "." +
           std::to_string(NLOHMANN_JSON_VERSION_PATCH);
}

// "0.1.0" of libbrairu.so.0.1.0.
std::string versionIn(const std::filesystem::path& library) {
    constexpr std::string_view kBefore = ".so.";
    const std::string name = library.filename().string();
    const std::size_t start = name.find(kBefore);
    return start == std::string::npos ? "" : name.substr(start + kBefore.size());
}

Finding kernel() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    const char* const forced = std::getenv("BRAIRU_SEARCH_KERNEL");
    if (forced != nullptr && usableKernel(forced) == nullptr) {
        return {Level::warning, kArea,
                std::string("BRAIRU_SEARCH_KERNEL asks for \"") + forced +
                    "\", which cannot run here; the search runs " + chooseKernel(nullptr).name,
                "Unset the variable, or name a kernel of this processor."};
    }
    return {Level::fine, kArea,
            std::string("the search runs the kernel ") + chooseKernel(forced).name, ""};
}

Finding user() {
    if (::geteuid() != 0) {
        return {Level::fine, kArea, "runs as user " + std::to_string(::geteuid()), ""};
    }
    return {Level::note, kArea, "runs as root: rights of files are not tried",
            "Run it as the user of the door."};
}

}  // namespace

Finding examineVersions(const std::string& file) {
    std::error_code isNone;
    const std::filesystem::path found = std::filesystem::weakly_canonical(file, isNone);
    const std::filesystem::path library = isNone ? std::filesystem::path(file) : found;
    const std::string version = versionIn(library);
    const std::string versions = "libbrairu " + (version.empty() ? "of no version" : version) +
                                 " in " + library.string() + ", this tool " BRAIRU_VERSION;
    if (version == BRAIRU_VERSION) {
        return {Level::fine, kArea, versions, ""};
    }
    return {Level::warning, kArea, versions,
            "Install library and tool of one version: what the tool measures itself is what the "
            "library of its own version measures."};
}

Findings examineSystem() {
    return {
        {Level::fine, kArea, processor(), ""},
        examineVersions(fileOf(&init_pva)),
        {Level::fine, kArea, "NPU stack " + fileOf(&vxCreateContext), ""},
        {Level::fine, kArea,
         std::string("OpenCV ") + cv::getVersionString() + ", SQLite " + sqlite3_libversion() +
             ", libsodium " + sodium_version_string() + ", nlohmann-json " + jsonVersion(),
         ""},
        kernel(),
        user(),
    };
}

}  // namespace brairu::tool
