#include "diskTrace.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "store/palmTemplate.h"
#include "support/interposing.h"

namespace brairu::test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kSector = 512;
// The part of a mapping that is looked at for changes at every event, in palms. A change beyond is
// found at the end, and is an error of the harness.
constexpr std::size_t kWatchedPalms = 64;

struct Mapping {
    int file;
    const char* memory;
    std::string shadow;
};

class Recorder {
public:
    explicit Recorder(std::string folder);

    void opened(const std::string& path, int fd, bool existed, int flags);
    void closed(int fd) { files_.erase(fd); }
    void wrote(int fd, std::uint64_t offset, const void* data, std::size_t size);
    void resized(int fd, std::uint64_t size);
    void synced(int fd);
    void unlinked(const std::string& path);
    void renamed(const std::string& from, const std::string& to);
    void mapped(int fd, void* memory, std::size_t size);
    void flushed(const void* address, std::size_t size);
    void commandRun();
    void mark(DiskAct act, int step);
    bool existed(const std::string& path) const { return names_.contains(nameIn(path)); }
    DiskTrace end();

private:
    static constexpr int kFolder = -1;

    // Empty for what does not lie in the folder.
    std::string nameIn(const std::string& path) const;
    void add(DiskEvent event);
    void link(const std::string& name);
    void collectChanges();
    void collectChanges(Mapping& mapping, std::size_t first, std::size_t end);

    std::string folder_;
    std::map<std::string, int> names_;
    std::map<int, int> files_;  // by descriptor
    int fileCount_ = 0;
    std::vector<Mapping> mappings_;
    DiskTrace trace_;
};

Recorder::Recorder(std::string folder) : folder_(std::move(folder)) {
    for (const auto& [name, content] : readFolder(folder_)) {
        names_[name] = fileCount_++;
    }
}

std::string Recorder::nameIn(const std::string& path) const {
    const fs::path whole(path);
    return whole.parent_path() == folder_ ? whole.filename().string() : "";
}

void Recorder::add(DiskEvent event) {
    collectChanges();
    trace_.push_back(std::move(event));
}

void Recorder::link(const std::string& name) {
    names_[name] = fileCount_++;
    add({.act = DiskAct::link, .file = names_[name], .name = name});
}

void Recorder::opened(const std::string& path, int fd, bool existed, int flags) {
    if (path == folder_) {
        files_[fd] = kFolder;
        return;
    }
    const std::string name = nameIn(path);
    if (name.empty()) {
        return;
    }
    if (!existed) {
        link(name);
    }
    files_[fd] = names_.at(name);
    if (existed && (flags & O_TRUNC) != 0) {
        resized(fd, 0);
    }
}

void Recorder::wrote(int fd, std::uint64_t offset, const void* data, std::size_t size) {
    if (files_.contains(fd)) {
        add({.act = DiskAct::write,
             .file = files_[fd],
             .offset = offset,
             .data = std::string(static_cast<const char*>(data), size)});
    }
}

void Recorder::resized(int fd, std::uint64_t size) {
    if (files_.contains(fd)) {
        add({.act = DiskAct::resize, .file = files_[fd], .offset = size});
    }
}

void Recorder::synced(int fd) {
    if (!files_.contains(fd)) {
        return;
    }
    const int file = files_[fd];
    add({.act = file == kFolder ? DiskAct::syncNames : DiskAct::sync, .file = file});
}

void Recorder::unlinked(const std::string& path) {
    const std::string name = nameIn(path);
    if (names_.erase(name) > 0) {
        add({.act = DiskAct::unlink, .name = name});
    }
}

void Recorder::renamed(const std::string& from, const std::string& to) {
    const std::string name = nameIn(from);
    const auto found = names_.find(name);
    if (found == names_.end()) {
        return;
    }
    const int file = found->second;
    names_.erase(found);
    names_[nameIn(to)] = file;
    add({.act = DiskAct::rename, .file = file, .name = name, .otherName = nameIn(to)});
}

void Recorder::mapped(int fd, void* memory, std::size_t size) {
    if (files_.contains(fd)) {
        const char* const bytes = static_cast<const char*>(memory);
        mappings_.push_back({files_[fd], bytes, std::string(bytes, size)});
    }
}

void Recorder::flushed(const void* address, std::size_t size) {
    for (const Mapping& mapping : mappings_) {
        if (mapping.memory == address) {
            add({.act = DiskAct::syncRange, .file = mapping.file, .size = size});
        }
    }
}

// A command may have removed files.
void Recorder::commandRun() {
    const auto names = names_;
    for (const auto& [name, file] : names) {
        if (!fs::exists(folder_ + "/" + name)) {
            unlinked(folder_ + "/" + name);
        }
    }
}

void Recorder::mark(DiskAct act, int step) {
    add({.act = act, .file = step});
}

void Recorder::collectChanges() {
    for (Mapping& mapping : mappings_) {
        const std::size_t size = mapping.shadow.size();
        const std::size_t flags = size / (1 + kBlockBytes);
        const std::size_t centres = flags / static_cast<std::size_t>(kMirroredPalms);
        collectChanges(mapping, 0, std::min(size, flags + kWatchedPalms * centres * kBlockBytes));
    }
}

void Recorder::collectChanges(Mapping& mapping, std::size_t first, std::size_t end) {
    for (std::size_t offset = first; offset < end; offset += kSector) {
        const std::size_t size = std::min(kSector, mapping.shadow.size() - offset);
        const char* const now = mapping.memory + offset;
        if (std::memcmp(mapping.shadow.data() + offset, now, size) != 0) {
            mapping.shadow.replace(offset, size, now, size);
            trace_.push_back({.act = DiskAct::write,
                              .file = mapping.file,
                              .offset = offset,
                              .data = std::string(now, size)});
        }
    }
}

DiskTrace Recorder::end() {
    collectChanges();
    for (const Mapping& mapping : mappings_) {
        if (std::memcmp(mapping.shadow.data(), mapping.memory, mapping.shadow.size()) != 0) {
            throw std::logic_error("a mapping was changed where nobody looks");
        }
    }
    return std::move(trace_);
}

// Plain, because the calls below come before and after the life of any object.
constinit Recorder* currentRecorder = nullptr;

Recorder* recorder() {
    return currentRecorder;
}

}  // namespace

// ---- Content

void FileContent::write(std::uint64_t offset, const std::string& data) {
    const std::size_t end = static_cast<std::size_t>(offset) + data.size();
    if (bytes.size() < end) {
        bytes.resize(end);
    }
    bytes.replace(static_cast<std::size_t>(offset), data.size(), data);
    size = std::max<std::uint64_t>(size, end);
}

void FileContent::resize(std::uint64_t newSize) {
    bytes.resize(std::min(bytes.size(), static_cast<std::size_t>(newSize)));
    size = newSize;
}

FolderContent readFolder(const std::string& path) {
    FolderContent folder;
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
        std::ifstream file(entry.path(), std::ios::binary);
        FileContent content;
        content.size = entry.file_size();
        content.bytes.resize(static_cast<std::size_t>(content.size));
        file.read(content.bytes.data(), static_cast<std::streamsize>(content.size));
        content.bytes.resize(content.bytes.find_last_not_of('\0') + 1);
        folder[entry.path().filename().string()] = std::move(content);
    }
    return folder;
}

void writeFolder(const std::string& path, const FolderContent& content) {
    fs::remove_all(path);
    fs::create_directory(path);
    for (const auto& [name, file] : content) {
        const std::string whole = path + "/" + name;
        std::ofstream(whole, std::ios::binary) << file.bytes;
        fs::resize_file(whole, file.size);
    }
}

// ---- Traces

void startTrace(const std::string& folder) {
    currentRecorder = new Recorder(folder);
}

void markStep(DiskAct beginOrReport, int step) {
    recorder()->mark(beginOrReport, step);
}

DiskTrace endTrace() {
    const std::unique_ptr<Recorder> ended(std::exchange(currentRecorder, nullptr));
    return ended->end();
}

namespace {

void pack(std::ostream& out, std::uint64_t number) {
    out.write(reinterpret_cast<const char*>(&number), sizeof number);
}

void pack(std::ostream& out, const std::string& text) {
    pack(out, text.size());
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::uint64_t unpackNumber(std::istream& in) {
    std::uint64_t number = 0;
    in.read(reinterpret_cast<char*>(&number), sizeof number);
    return number;
}

std::string unpackText(std::istream& in) {
    std::string text(static_cast<std::size_t>(unpackNumber(in)), '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    return text;
}

}  // namespace

std::string packed(const DiskTrace& trace) {
    std::ostringstream out;
    for (const DiskEvent& event : trace) {
        pack(out, static_cast<std::uint64_t>(event.act));
        pack(out, static_cast<std::uint64_t>(event.file));
        pack(out, event.offset);
        pack(out, event.size);
        pack(out, event.name);
        pack(out, event.otherName);
        pack(out, event.data);
    }
    return out.str();
}

DiskTrace unpacked(const std::string& bytes) {
    std::istringstream in(bytes);
    DiskTrace trace;
    while (in.peek() != std::istream::traits_type::eof()) {
        DiskEvent event;
        event.act = static_cast<DiskAct>(unpackNumber(in));
        event.file = static_cast<int>(unpackNumber(in));
        event.offset = unpackNumber(in);
        event.size = unpackNumber(in);
        event.name = unpackText(in);
        event.otherName = unpackText(in);
        event.data = unpackText(in);
        trace.push_back(std::move(event));
    }
    return trace;
}

}  // namespace brairu::test

// ---- Between the code and the system

using brairu::test::next;
using brairu::test::recorder;

// The names that files of 64-bit offsets have in the C library, whatever they are called here.
BRAIRU_INTERPOSED int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    const bool existed = recorder() != nullptr && recorder()->existed(path);
    const int fd = next<int(const char*, int, ...)>("open64")(path, flags, mode);
    if (recorder() != nullptr && fd >= 0) {
        recorder()->opened(path, fd, existed, flags);
    }
    return fd;
}

BRAIRU_INTERPOSED int mkostemp(char* path, int flags) {
    const int fd = next<int(char*, int)>("mkostemp64")(path, flags);
    if (recorder() != nullptr && fd >= 0) {
        recorder()->opened(path, fd, false, flags);
    }
    return fd;
}

BRAIRU_INTERPOSED int close(int fd) {
    if (recorder() != nullptr) {
        recorder()->closed(fd);
    }
    return next<int(int)>("close")(fd);
}

BRAIRU_INTERPOSED ssize_t write(int fd, const void* data, std::size_t size) {
    const off_t offset = recorder() != nullptr ? ::lseek(fd, 0, SEEK_CUR) : 0;
    const ssize_t written = next<ssize_t(int, const void*, std::size_t)>("write")(fd, data, size);
    if (recorder() != nullptr && written > 0) {
        recorder()->wrote(fd, static_cast<std::uint64_t>(offset), data,
                          static_cast<std::size_t>(written));
    }
    return written;
}

BRAIRU_INTERPOSED ssize_t pwrite(int fd, const void* data, std::size_t size, off_t offset) {
    const ssize_t written =
        next<ssize_t(int, const void*, std::size_t, off_t)>("pwrite64")(fd, data, size, offset);
    if (recorder() != nullptr && written > 0) {
        recorder()->wrote(fd, static_cast<std::uint64_t>(offset), data,
                          static_cast<std::size_t>(written));
    }
    return written;
}

BRAIRU_INTERPOSED int ftruncate(int fd, off_t size) noexcept {
    const int result = next<int(int, off_t)>("ftruncate64")(fd, size);
    if (recorder() != nullptr && result == 0) {
        recorder()->resized(fd, static_cast<std::uint64_t>(size));
    }
    return result;
}

BRAIRU_INTERPOSED int fsync(int fd) {
    const int result = next<int(int)>("fsync")(fd);
    if (recorder() != nullptr && result == 0) {
        recorder()->synced(fd);
    }
    return result;
}

BRAIRU_INTERPOSED int fdatasync(int fd) {
    const int result = next<int(int)>("fdatasync")(fd);
    if (recorder() != nullptr && result == 0) {
        recorder()->synced(fd);
    }
    return result;
}

BRAIRU_INTERPOSED int unlink(const char* path) noexcept {
    const int result = next<int(const char*)>("unlink")(path);
    if (recorder() != nullptr && result == 0) {
        recorder()->unlinked(path);
    }
    return result;
}

BRAIRU_INTERPOSED int rename(const char* from, const char* to) noexcept {
    const int result = next<int(const char*, const char*)>("rename")(from, to);
    if (recorder() != nullptr && result == 0) {
        recorder()->renamed(from, to);
    }
    return result;
}

BRAIRU_INTERPOSED void* mmap(void* hint, std::size_t size, int protection, int flags, int fd,
                             off_t offset) noexcept {
    void* const memory = next<void*(void*, std::size_t, int, int, int, off_t)>("mmap64")(
        hint, size, protection, flags, fd, offset);
    if (memory != MAP_FAILED && (flags & MAP_SHARED) != 0 && recorder() != nullptr) {
        recorder()->mapped(fd, memory, size);
    }
    return memory;
}

BRAIRU_INTERPOSED int msync(void* address, std::size_t size, int flags) {
    const int result = next<int(void*, std::size_t, int)>("msync")(address, size, flags);
    if (recorder() != nullptr && result == 0 && (flags & MS_SYNC) != 0) {
        recorder()->flushed(address, size);
    }
    return result;
}

BRAIRU_INTERPOSED int system(const char* command) {
    const int result = next<int(const char*)>("system")(command);
    if (recorder() != nullptr) {
        recorder()->commandRun();
    }
    return result;
}
