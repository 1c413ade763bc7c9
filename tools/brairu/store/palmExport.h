// Palms in a file: to move them from one store to another.
//
// A line of JSON for the file and one for each palm:
//   {"format": "brairu-palms", "version": 1, "palms": 2, "centres": 1}
//   {"number": 1, "user": 7, "palm": 0, "learn_count": 50, "templates": ["..."], "checksum": "..."}
// A template is 1546 bytes in base64; there are as many of a palm as centres. The checksum is
// BLAKE2b-256, in hex, of number, user, palm and learn_count, in decimal and each followed by a line
// end, and of the bytes of the templates.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brairu::tool {

struct PalmRecord {
    std::int64_t userid = 0;
    std::int32_t palmindex = 0;
    std::int64_t learnCount = 0;
    std::vector<std::uint8_t> templates;
};

struct PalmExport {
    int centreCount = 0;
    std::vector<PalmRecord> palms;
};

std::string textOf(const PalmExport& content);

// Throws InputFault for a file that cannot be read, is cut or damaged, or names a palm twice.
PalmExport readPalmExport(const std::string& path);

}  // namespace brairu::tool
