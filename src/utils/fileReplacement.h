#pragma once

#include <string>

namespace brairu {

// Writes text as the whole content of the file at path. The file is replaced in one step, so that a
// power cut or a full disk leaves the old or the new content; its mode is kept. Where that cannot
// be done (no right to create a file beside it or to give that one to its owner and group, not a
// regular file, a link, a mount of its own) it is truncated and written instead. False on failure.
bool replaceFile(const std::string& path, const std::string& text);

}  // namespace brairu
