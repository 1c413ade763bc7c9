// A new file that only its owner may read: templates are biometric data.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "utils/fileDescriptor.h"

namespace brairu::tool {

// Comes to its name when it is whole and on the disk, so that no half of it is ever taken for all.
// Until then it has none, and a process that is killed leaves nothing; or it has a working name,
// where others open it by that, or the file system knows no files without a name.
class PrivateFile {
public:
    enum class Before { nameless, named };

    // Throws InputFault if there is such a file already, or if none can be made.
    explicit PrivateFile(std::string path, Before before = Before::nameless);
    // Removes what was not kept.
    ~PrivateFile();
    PrivateFile(const PrivateFile&) = delete;
    PrivateFile& operator=(const PrivateFile&) = delete;

    // Where the file is until it is kept. Of one made with Before::named any process may open it.
    // Of a nameless one this process alone may, and what needs files of its own beside it, as
    // SQLite does, may not.
    const std::string& workingPath() const { return workingPath_; }
    // The files under working names of this one: of runs that were cut, or are not done.
    static std::vector<std::string> workingFilesOf(const std::string& path);

    // Throws InputFault.
    void write(std::string_view text);

    // Waits for the disk and gives the file its name. Throws InputFault.
    void keep();

private:
    bool openNameless();
    void openNamed();
    bool takeName() const;
    [[noreturn]] void fail(const std::string& what) const;

    std::string path_;
    std::string workingPath_;
    bool isNamed_ = false;
    FileDescriptor fd_;
};

}  // namespace brairu::tool
