#include "utils/writeAll.h"

#include <unistd.h>

#include <cerrno>

namespace brairu {

bool writeAll(int fd, std::string_view text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace brairu
