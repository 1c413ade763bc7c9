#include "support/video.h"

#include <cstdlib>

#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

std::string quoted(const std::string& word) {
    return "'" + word + "'";
}

}  // namespace

bool makeVideo(const std::string& path, const std::string& pictures, const std::string& options) {
    const TemporaryFolder folder;
    const std::string input = folder.write("pictures.pnm", pictures);
    const std::string command = "ffmpeg -nostdin -loglevel error -f image2pipe -c:v pgm -i " +
                                quoted(input) + " " + options + " " + quoted("file:" + path);
    return std::system(command.c_str()) == 0;
}

}  // namespace brairu::test
