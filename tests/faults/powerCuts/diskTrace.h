// Records what a process does to the files of one folder: names, writes, sizes, waits for the disk,
// and the changes of memory that a file is mapped to. Stands between all code and the system.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace brairu::test {

// The bytes of a file up to the last that is not zero, and its size.
struct FileContent {
    std::string bytes;
    std::uint64_t size = 0;

    void write(std::uint64_t offset, const std::string& data);
    void resize(std::uint64_t newSize);
};

using FolderContent = std::map<std::string, FileContent>;  // by name

FolderContent readFolder(const std::string& path);
void writeFolder(const std::string& path, const FolderContent& content);

enum class DiskAct : std::uint8_t {
    link,       // the name now leads to the file
    unlink,     // the name
    rename,     // from name to otherName, both led to the file
    write,      // data at offset
    resize,     // to offset
    sync,       // the whole file is on the disk
    syncRange,  // size bytes from offset on are
    syncNames,  // the folder is
    begin,      // step file begins; file counts from 0
    report      // and is reported
};

// Files are numbered: first those that were there, in the order of their names.
struct DiskEvent {
    DiskAct act = DiskAct::write;
    int file = 0;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::string name = {};
    std::string otherName = {};
    std::string data = {};
};

using DiskTrace = std::vector<DiskEvent>;

// The trace of this process, which records from here on.
void startTrace(const std::string& folder);
void markStep(DiskAct beginOrReport, int step);
DiskTrace endTrace();

std::string packed(const DiskTrace& trace);
DiskTrace unpacked(const std::string& bytes);

}  // namespace brairu::test
