// What SQLite itself stands on, its memory and its files, under fault injection.
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

#include "faultInjection.h"

namespace brairu::test {
namespace {

// ---- Memory

sqlite3_mem_methods heap;

void* allocate(int size) {
    const HeapAside aside;
    return faultStrikes(FaultKind::sqliteMemory, __func__) ? nullptr : heap.xMalloc(size);
}

void* reallocate(void* memory, int size) {
    const HeapAside aside;
    return faultStrikes(FaultKind::sqliteMemory, __func__) ? nullptr : heap.xRealloc(memory, size);
}

void release(void* memory) {
    const HeapAside aside;
    heap.xFree(memory);
}

// Every allocation is to pass through the functions above.
void interposeMemory() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &heap);
    static sqlite3_mem_methods methods = heap;
    methods.xMalloc = allocate;
    methods.xRealloc = reallocate;
    methods.xFree = release;
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
}

// ---- Files

sqlite3_vfs* system = nullptr;

// The system's file follows.
struct File {
    sqlite3_file base;

    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
    const sqlite3_io_methods& methods() { return *real()->pMethods; }
};

File& fileOf(sqlite3_file* file) {
    return *reinterpret_cast<File*>(file);
}

int closeFile(sqlite3_file* file) {
    return fileOf(file).methods().xClose(fileOf(file).real());
}

int readFile(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_READ
               : fileOf(file).methods().xRead(fileOf(file).real(), data, size, offset);
}

// Half of what does not fit is written.
int writeFile(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    if (faultStrikes(FaultKind::fileError, __func__)) {
        return SQLITE_IOERR_WRITE;
    }
    const bool full = faultStrikes(FaultKind::fileFull, __func__);
    const int result =
        fileOf(file).methods().xWrite(fileOf(file).real(), data, full ? size / 2 : size, offset);
    return full ? SQLITE_FULL : result;
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_TRUNCATE
               : fileOf(file).methods().xTruncate(fileOf(file).real(), size);
}

int syncFile(sqlite3_file* file, int flags) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_FSYNC
               : fileOf(file).methods().xSync(fileOf(file).real(), flags);
}

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_FSTAT
               : fileOf(file).methods().xFileSize(fileOf(file).real(), size);
}

int lockFile(sqlite3_file* file, int level) {
    if (faultStrikes(FaultKind::fileError, __func__)) {
        return SQLITE_IOERR_LOCK;
    }
    return faultStrikes(FaultKind::fileBusy, __func__)
               ? SQLITE_BUSY
               : fileOf(file).methods().xLock(fileOf(file).real(), level);
}

int unlockFile(sqlite3_file* file, int level) {
    return fileOf(file).methods().xUnlock(fileOf(file).real(), level);
}

int checkReservedLock(sqlite3_file* file, int* held) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_CHECKRESERVEDLOCK
               : fileOf(file).methods().xCheckReservedLock(fileOf(file).real(), held);
}

int controlFile(sqlite3_file* file, int operation, void* argument) {
    return fileOf(file).methods().xFileControl(fileOf(file).real(), operation, argument);
}

int sectorSize(sqlite3_file* file) {
    return fileOf(file).methods().xSectorSize(fileOf(file).real());
}

int characteristics(sqlite3_file* file) {
    return fileOf(file).methods().xDeviceCharacteristics(fileOf(file).real());
}

// Of version 1: without shared memory and mappings, as the library uses it.
constexpr sqlite3_io_methods fileMethods() {
    sqlite3_io_methods methods{};
    methods.iVersion = 1;
    methods.xClose = closeFile;
    methods.xRead = readFile;
    methods.xWrite = writeFile;
    methods.xTruncate = truncateFile;
    methods.xSync = syncFile;
    methods.xFileSize = sizeOfFile;
    methods.xLock = lockFile;
    methods.xUnlock = unlockFile;
    methods.xCheckReservedLock = checkReservedLock;
    methods.xFileControl = controlFile;
    methods.xSectorSize = sectorSize;
    methods.xDeviceCharacteristics = characteristics;
    return methods;
}

constexpr sqlite3_io_methods kFileMethods = fileMethods();

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    if (faultStrikes(FaultKind::fileError, __func__)) {
        return SQLITE_CANTOPEN;
    }
    const int result = system->xOpen(system, path, fileOf(file).real(), flags, outFlags);
    if (fileOf(file).real()->pMethods != nullptr) {
        file->pMethods = &kFileMethods;
    }
    return result;
}

int deleteFile(sqlite3_vfs*, const char* path, int syncFolder) {
    return faultStrikes(FaultKind::fileError, __func__) ? SQLITE_IOERR_DELETE
                                                        : system->xDelete(system, path, syncFolder);
}

int accessFile(sqlite3_vfs*, const char* path, int flags, int* result) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_IOERR_ACCESS
               : system->xAccess(system, path, flags, result);
}

int fullPath(sqlite3_vfs*, const char* path, int size, char* out) {
    return faultStrikes(FaultKind::fileError, __func__)
               ? SQLITE_CANTOPEN
               : system->xFullPathname(system, path, size, out);
}

void interposeFiles() {
    system = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs faulty = *system;
    faulty.zName = "faulty";
    faulty.pNext = nullptr;
    faulty.szOsFile = static_cast<int>(sizeof(File)) + system->szOsFile;
    faulty.xOpen = openFile;
    faulty.xDelete = deleteFile;
    faulty.xAccess = accessFile;
    faulty.xFullPathname = fullPath;
    if (sqlite3_vfs_register(&faulty, 1) != SQLITE_OK) {
        throw std::runtime_error("SQLite takes no other file system");
    }
}

}  // namespace

void interposeSqlite() {
    interposeMemory();
    interposeFiles();
}

}  // namespace brairu::test
