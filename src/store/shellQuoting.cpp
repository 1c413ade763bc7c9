#include "store/shellQuoting.h"

#include <string_view>

namespace brairu {
namespace {

constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+=@%,:";

bool isPlain(const std::string& path) {
    return !path.empty() && path.front() != '-' &&
           path.find_first_not_of(kPlain) == std::string::npos;
}

}  // namespace

std::string quotedForShell(const std::string& path) {
    if (isPlain(path)) {
        return path;
    }
    std::string quoted = "'";
    if (path.starts_with('-')) {
        quoted += "./";
    }
    for (const char character : path) {
        if (character == '\'') {
            quoted += "'\\''";
        } else {
            quoted += character;
        }
    }
    return quoted + "'";
}

}  // namespace brairu
