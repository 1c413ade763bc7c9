// The database calls: each adapts the caller's buffers to the rows of the template store.
#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "brairu.h"
#include "match/similarity.h"
#include "platformLog.h"
#include "pvAuth.h"
#include "store/storeLog.h"
#include "store/templateBlob.h"

namespace brairu {
namespace {

constexpr const char* kLogTag = "pva";

bool noneNull(const char* call, std::initializer_list<const void*> arguments) {
    if (std::find(arguments.begin(), arguments.end(), nullptr) == arguments.end()) {
        return true;
    }
    __android_log_print(ANDROID_LOG_ERROR, kStoreLogTag, "%s: null argument\r\n", call);
    return false;
}

// Runs operation on the store under the lock; 0 if any of the call's pointer arguments is null.
template <class Operation>
int withStore(const char* call, std::initializer_list<const void*> arguments, Operation operation) {
    const MutexLock lock(apiLock);
    TemplateStore& store = engineStore(call);
    return noneNull(call, arguments) ? static_cast<int>(operation(store)) : 0;
}

int wipe(const char* call) {
    return withStore(call, {}, [](TemplateStore& store) { return store.wipeAll(); });
}

std::int64_t rowBytes(const TemplateStore& store) {
    return std::int64_t{store.centreCount()} * std::int64_t{kTemplateBytes};
}

// 0 for a store that holds no templates.
std::size_t rowSize(const TemplateStore& store) {
    const std::int64_t size = std::max<std::int64_t>(rowBytes(store), 0);
    if (size > std::numeric_limits<std::ptrdiff_t>::max()) {
        throw std::bad_alloc();
    }
    return static_cast<std::size_t>(size);
}

using StoreOperation = bool (TemplateStore::*)(const PvaUserKey&, std::span<const std::uint8_t>);

// A row that was widened reports success whatever became of it; hosts rely on that.
bool storeFitted(TemplateStore& store, StoreOperation operation, const PvaUserKey& key,
                 std::span<const std::uint8_t> data) {
    const std::size_t size = rowSize(store);
    if (data.size() == size) {
        return (store.*operation)(key, data);
    }
    (store.*operation)(key, fittedTemplates(data, size));
    return true;
}

bool dividesRow(const TemplateStore& store, int featSize) {
    const std::int64_t expected = rowBytes(store);
    if (featSize > 0 && expected % featSize == 0) {
        return true;
    }
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "expectedFeatSize %d is not a multiple of featSize %d\r\n",
                        static_cast<int>(expected), featSize);
    return false;
}

int storeTemplate(const char* call, StoreOperation operation, const PvaUserKey* key,
                  const std::uint8_t* feature) {
    return withStore(call, {key, feature}, [&](TemplateStore& store) {
        return storeFitted(store, operation, *key, {feature, kTemplateBytes});
    });
}

int storeFeatures(const char* call, StoreOperation operation, const PvaUserKey* key,
                  const std::uint8_t* features, int featSize) {
    return withStore(call, {key, features}, [&](TemplateStore& store) {
        return dividesRow(store, featSize) &&
               storeFitted(store, operation, *key, {features, static_cast<std::size_t>(featSize)});
    });
}

bool readFeatures(TemplateStore& store, const PvaUserKey& key, std::span<std::uint8_t> out) {
    std::vector<std::uint8_t> row(rowSize(store));
    store.readByKey(key, row);
    std::copy_n(row.begin(), std::min(row.size(), out.size()), out.begin());
    return true;
}

struct Freed {
    void operator()(std::uint8_t* bytes) const { std::free(bytes); }
};
using ZeroedBytes = std::unique_ptr<std::uint8_t, Freed>;

// Null for a size that no memory has.
ZeroedBytes zeroedBytes(std::int64_t size) {
    if (size < 0 || size > std::numeric_limits<std::ptrdiff_t>::max()) {
        return nullptr;
    }
    return ZeroedBytes(static_cast<std::uint8_t*>(std::calloc(static_cast<std::size_t>(size), 1)));
}

FeatureBlock meanOfBlock(std::span<const std::uint8_t> row, std::size_t block) {
    std::vector<FeatureBlock> blocks;
    for (std::size_t start = 0; start < row.size(); start += kTemplateBytes) {
        blocks.push_back(blockOf(signedBytesAt(row, start + block * kBlockBytes, kBlockBytes)));
    }
    return meanFeature(blocks);
}

// Only the blocks have a mean: the caller's last bytes stay as they are.
void writeConsensus(std::span<const std::uint8_t> row, std::uint8_t* out) {
    for (std::size_t block = 0; block < kBlocks; ++block) {
        const FeatureBlock mean = meanOfBlock(row, block);
        std::ranges::copy(bytesOf(mean), out + block * kBlockBytes);
    }
}

bool readConsensus(TemplateStore& store, const PvaUserKey& key, std::uint8_t* out) {
    const ZeroedBytes bytes = zeroedBytes(rowBytes(store));
    if (!bytes) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "malloc feat_int8 failed\r\n");
        return false;
    }
    const std::span<std::uint8_t> row(bytes.get(), rowSize(store));
    store.readByKey(key, row);
    if (store.centreCount() == 1) {
        std::copy(row.begin(), row.end(), out);
    } else {
        writeConsensus(row, out);
    }
    return true;
}

bool listPalms(TemplateStore& store, std::uint64_t userid, std::span<std::int64_t> out,
               int& count) {
    const auto palms = store.palmIndexesOf(static_cast<std::int64_t>(userid));
    if (palms.empty()) {
        return false;
    }
    if (palms.size() > out.size()) {
        std::cerr << "Buffer size is too small to hold all ids." << std::endl;
        return false;
    }
    count = static_cast<int>(palms.size());
    std::copy(palms.begin(), palms.end(), out.begin());
    return true;
}

}  // namespace
}  // namespace brairu

using brairu::TemplateStore;

extern "C" {

int pvaDataBaseDeleteAllPalm() {
    return brairu::wipe(__func__);
}

int pvaDataBaseDropPalmDatabase() {
    return brairu::wipe(__func__);
}

int pvaDataBaseDeletePalmDatabase() {
    return brairu::wipe(__func__);
}

int pvaDataBaseGetAllPalmCount() {
    return brairu::withStore(__func__, {}, [](TemplateStore& store) { return store.palmCount(); });
}

int pvaDataBaseExistUser(const PvaUserKey* key) {
    return brairu::withStore(__func__, {key},
                             [&](TemplateStore& store) { return store.existsKey(*key); });
}

int pvaDataBaseAddUser(const PvaUserKey* key, const uint8_t* feature) {
    return brairu::storeTemplate(__func__, &TemplateStore::insertPalm, key, feature);
}

int pvaDataBaseUpdateUser(const PvaUserKey* key, const uint8_t* feature) {
    return brairu::storeTemplate(__func__, &TemplateStore::replaceByKey, key, feature);
}

int pvaDataBaseAddUserWithFeatSize(const PvaUserKey* key, const uint8_t* features, int featSize) {
    return brairu::storeFeatures(__func__, &TemplateStore::insertPalm, key, features, featSize);
}

int pvaDataBaseUpdateUserWithFeatSize(const PvaUserKey* key, const uint8_t* features,
                                      int featSize) {
    return brairu::storeFeatures(__func__, &TemplateStore::replaceByKey, key, features, featSize);
}

int pvaDataBaseGetFeatWithFeatSize(const PvaUserKey* key, uint8_t* out, int featSize) {
    return brairu::withStore(__func__, {key, out}, [&](TemplateStore& store) {
        return brairu::dividesRow(store, featSize) &&
               brairu::readFeatures(store, *key, {out, static_cast<std::size_t>(featSize)});
    });
}

int pvaDataBaseGetFeat(const PvaUserKey* key, uint8_t* out) {
    return brairu::withStore(__func__, {key, out}, [&](TemplateStore& store) {
        return brairu::readConsensus(store, *key, out);
    });
}

int pvaDataBaseDeleteUser(const PvaUserKey* key) {
    return brairu::withStore(__func__, {key}, [&](TemplateStore& store) {
        return store.removePalm(key->userid, key->palmindex);
    });
}

int pvaDataBaseGetPalmNumFromUserId(uint64_t userid, int64_t* palmIndexes, uint32_t capacity,
                                    int* count) {
    return brairu::withStore(__func__, {palmIndexes, count}, [&](TemplateStore& store) {
        return brairu::listPalms(store, userid, {palmIndexes, capacity}, *count);
    });
}

}  // extern "C"
