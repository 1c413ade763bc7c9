// The note that a process leaves beside the feature cache before it changes the cache. The pages of
// a mapping reach the disk in no order, so after a power cut the cache may hold as many palms as
// the table and yet not the same ones. A start that finds the note compares every slot.
#pragma once

#include <string>

namespace brairu {

class ChangeNote {
public:
    explicit ChangeNote(std::string path);

    // Whether an earlier process left the note and nobody has withdrawn it.
    bool wasFound() const { return found_; }

    // Before a change: leaves the note, so that it outlives a power cut from here on, unless it is
    // there already. False where that cannot be done: it is tried again at the next call.
    bool leave();

    // Whether the last attempt left it, and it was not withdrawn since.
    bool isLeft() const { return left_; }

    // Once the cache is known to be right and is on the disk.
    void withdraw();

private:
    bool isThere() const;

    std::string path_;
    bool found_;
    bool left_ = false;
};

}  // namespace brairu
