// The feature cache: a fixed-size file, mapped shared, with one occupancy flag and one record of
// signed bytes per template slot. The 1:N search scans it; SQLite stays the record of truth.
//
//   offset 0           capacity bytes: flag of slot s at offset s, 1 = occupied, anything else free;
//                      2 = free, and the file is in doubt
//   offset capacity    capacity records of recordSize bytes
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "store/changeNote.h"
#include "utils/fileDescriptor.h"

namespace brairu {

class FeatureCacheFile {
public:
    static constexpr std::uint8_t kOccupied = 1;
    static constexpr std::uint8_t kInDoubt = 2;

    // Opens, sizes and maps the file, creating it if need be. Failures are printed with perror and
    // leave the object unmapped: every operation then fails and touches nothing. So does a capacity
    // or a record size of 0, without a word and without touching the file.
    FeatureCacheFile(std::string path, std::uint32_t capacity, std::uint32_t recordSize);
    ~FeatureCacheFile() { close(); }
    FeatureCacheFile(const FeatureCacheFile&) = delete;
    FeatureCacheFile& operator=(const FeatureCacheFile&) = delete;

    // Fills the slot and marks it occupied. False, with nothing changed, for a slot outside the
    // file or a record that is not of recordSize() bytes.
    bool put(std::int64_t slot, std::span<const std::int8_t> record);

    // The same for many slots in a row: the caller begins a change before, and calls flushLater()
    // after them.
    bool place(std::int64_t slot, std::span<const std::int8_t> record);

    // Leaves the change note, or a mark in a free slot where no note can be left. Whether the file
    // can be changed.
    bool beginChange();

    // Has the system write what was changed, and does not wait for it.
    void flushLater();

    // Copies the record of an occupied slot; false for any other.
    bool get(std::int64_t slot, std::vector<std::int8_t>& record) const;

    // Whether the slot is occupied by exactly this record. For whole passes, before which the
    // caller asks isMapped() once.
    bool holds(std::int64_t slot, std::span<const std::int8_t> record) const;

    // Marks the slot free; its record bytes stay.
    bool remove(std::int64_t slot);

    // The number of occupied slots.
    int count() const;

    // Marks every slot free, and waits until that is on the disk.
    bool clear();

    // Flushes, unmaps and closes. The result of the system's close; negative if the file was not
    // open.
    int close();

    // Whether the file may disagree with the table though the numbers agree: an earlier process
    // changed it and may have ended in between, it had another size, or doubt() was called, by this
    // process or an earlier one.
    bool isDoubtful() const { return note_.wasFound() || doubted_; }

    // For a change that the table did not follow. In a file without a free slot, or on a disk that
    // the mark does not reach, nothing tells the next process where no note can be left.
    void doubt();

    // Ends the doubt, once the content is known to be right: waits until all of it is on the disk.
    void settle();

    // Maps the file at the same path again, neither creating nor resizing it.
    bool reload();

    // Leaves the mapping to the end of the process, which then need not wait for the disk. The
    // object is unmapped afterwards.
    void leaveMapped() { mapping_ = nullptr; }

    // Whether the mapping can be used. Asks for the file's size: to touch a page behind the end of a
    // file that another process has cut would end this one. Such a file counts as unmapped from
    // then on, even if it grows again, and the next process is told; the first time is logged. A cut
    // between this answer and the use that follows is not noticed.
    bool isMapped() const;

    // The size that the file had when it was opened; 0 for a new one.
    std::uint64_t openedSize() const { return openedSize_; }
    // The size that capacity and record size make.
    std::uint64_t fileSize() const { return fileSize_; }

    std::uint32_t capacity() const { return capacity_; }
    std::uint32_t recordSize() const { return recordSize_; }

    // The flag area (capacity bytes) and the record of a slot; valid only while mapped.
    const std::uint8_t* flags() const { return mapping_; }
    const std::int8_t* record(std::size_t slot) const {
        return reinterpret_cast<const std::int8_t*>(mapping_ + capacity_ + slot * recordSize_);
    }

private:
    bool isCut() const;
    bool isInside(std::int64_t slot) const;
    bool hasSlot(std::int64_t slot) const;
    std::int8_t* writableRecord(std::size_t slot);
    bool resize();
    bool map(const char* fault);
    void unmap();
    bool hasMark() const;
    bool fits(std::int64_t slot, std::span<const std::int8_t> record) const;
    bool flush();
    void markIfUnnoted();
    void removeMark();

    std::string path_;
    mutable ChangeNote note_;
    std::uint32_t capacity_;
    std::uint32_t recordSize_;
    std::uint64_t fileSize_;
    FileDescriptor fd_;
    std::uint8_t* mapping_ = nullptr;
    mutable bool lost_ = false;  // was found cut
    std::uint64_t openedSize_ = 0;
    bool doubted_ = false;
};

}  // namespace brairu
