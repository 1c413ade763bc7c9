// Sequences of exported calls on templates: every result, every record and, in the end, both files
// compared with a plain restatement of the calls.
#include <sqlite3.h>

#include <bit>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>

#include "brairu.h"
#include "byteSource.h"
#include "claim.h"
#include "pvAuth.h"
#include "referenceEngine.h"
#include "storeFiles.h"
#include "support/engineFolder.h"
#include "support/scriptedLog.h"
#include "support/scriptedNpu.h"

namespace {

using namespace brairu;
using fuzz::Bytes;
using fuzz::ByteSource;
using fuzz::claim;

constexpr int kMostCalls = 48;
constexpr std::uint8_t kUntouched = 0xA5;

// Some byte that depends on both.
std::uint8_t scattered(std::uint32_t seed, std::uint32_t place) {
    std::uint32_t value = seed * 2654435761U + place * 40503U + 12345U;
    value ^= value >> 13;
    value *= 2246822519U;
    return static_cast<std::uint8_t>(value >> 15);
}

// Captures of few palms, more or less alike, some blocks of them empty or all -128.
Bytes anyCapture(ByteSource& source) {
    const std::uint32_t palm = source.number<std::uint8_t>() % 6;
    const std::uint32_t noise = source.number<std::uint8_t>();
    const std::uint32_t odd = source.number<std::uint8_t>();
    Bytes bytes(PVA_FEATURE_BYTES);
    for (std::uint32_t i = 0; i < bytes.size(); ++i) {
        const bool changed = scattered(9, i) % 16 < noise % 16;
        bytes[i] = changed ? scattered(noise + 16, i) : scattered(palm, i);
    }
    if (odd < 16) {
        const std::uint8_t filler = odd < 8 ? 0 : 0x80;
        std::fill_n(bytes.begin() + odd % 3 * PVA_FEATURE_BLOCK_BYTES, PVA_FEATURE_BLOCK_BYTES,
                    filler);
    }
    return bytes;
}

// Templates end to end, the last one cut.
Bytes anyTemplates(ByteSource& source, std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        const Bytes capture = anyCapture(source);
        bytes.insert(bytes.end(), capture.begin(), capture.end());
        bytes.insert(bytes.end(), PVA_TEMPLATE_BYTES - PVA_FEATURE_BYTES,
                     source.number<std::uint8_t>());
    }
    bytes.resize(size);
    return bytes;
}

PvaUserKey anyKey(ByteSource& source) {
    const std::int64_t userid =
        source.oneOf<std::int64_t>({1, 2, 3, 0, -1, std::numeric_limits<std::int64_t>::max(),
                                    std::numeric_limits<std::int64_t>::min()});
    const std::int32_t palm =
        source.oneOf<std::int32_t>({0, 1, -1, std::numeric_limits<std::int32_t>::min()});
    return {userid, palm, {7, 8, 9}};
}

bool isSame(const PvaAuthResult& a, const PvaAuthResult& b) {
    return a.userid == b.userid && a.palmindex == b.palmindex && a.rowId == b.rowId &&
           a.reserved == b.reserved &&
           std::bit_cast<std::uint32_t>(a.similarity) == std::bit_cast<std::uint32_t>(b.similarity);
}

bool isSame(const PvaRegisterResult& a, const PvaRegisterResult& b) {
    return a.status == b.status && a.count == b.count && a.maxCount == b.maxCount;
}

bool bothNan(float a, float b) {
    return a != a && b != b;
}

// The detector that the setters refresh.
HandPose& detector() {
    static test::EngineFolder folder;
    static HandPose detector(folder.document);
    return detector;
}

// An engine and its restatement, side by side.
class Pair {
public:
    Pair(const fuzz::StoreFiles& files, ByteSource& source);
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void call();
    void compareFiles();

private:
    void start(int centres);
    void skipIds(std::int64_t last);
    void emptyHistory();

    void restart();
    void wipe();
    void count();
    void exists();
    void add();
    void update();
    void addSized();
    void updateSized();
    void readSized();
    void readMean();
    void remove();
    void list();
    void enrol();
    void buffer();
    void identify();
    void verify();
    void configure();
    void passNulls();

    int anySize();

    const fuzz::StoreFiles& files_;
    ByteSource& source_;
    ConfigStore config_;
    std::optional<fuzz::ShortLivedStore> store_;
    fuzz::ReferenceEngine expected_;
    PvaRegisterResult enrolment_{};
    PvaRegisterResult expectedEnrolment_{};
};

Pair::Pair(const fuzz::StoreFiles& files, ByteSource& source)
    : files_(files), source_(source), expected_(1, 0) {
    const int centres = source.between(1, 3);
    const std::int64_t lastId = source.number<std::uint8_t>() < 32 ? 9997 : 0;
    config_.document() = files.settings(centres);
    expected_.settings.filterThreshold = static_cast<float>(source.between(-10, 10)) / 10.0F;
    config_.document()["feature"]["filter_threshold"] = expected_.settings.filterThreshold;
    start(centres);
    skipIds(lastId);
    expected_ = [&] {
        fuzz::ReferenceEngine reference(centres, lastId);
        reference.settings = expected_.settings;
        return reference;
    }();
}

Pair::~Pair() {
    if (expected_.hasHistory()) {
        emptyHistory();
    }
    pvaClearRegisterBuffer();
    engine() = {};
    store_.reset();
}

void Pair::start(int centres) {
    store_.reset();
    config_.document()["database"]["regis_center_count"] = centres;
    fuzz::ShortLivedStore& store = store_.emplace(config_.document());
    store->runStartupPass();
    engine() = {&config_, &detector(), &*store, expected_.settings.securityLevel,
                expected_.settings.detectionLevel};
}

// As if so many palms had been enrolled and deleted.
void Pair::skipIds(std::int64_t last) {
    if (last > 0) {
        sqlite3* database = nullptr;
        sqlite3_open(files_.databasePath().c_str(), &database);
        const std::string sql =
            "INSERT INTO sqlite_sequence VALUES ('userInfo', " + std::to_string(last) + ");";
        claim(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
              "the sequence is set");
        sqlite3_close(database);
    }
}

// The history outlives the engine. A confirmed match empties it.
void Pair::emptyHistory() {
    const PvaUserKey key{1, 1, {}};
    const Bytes palm(PVA_TEMPLATE_BYTES, 1);
    PvaAuthResult result{};
    pvaDataBaseDeleteAllPalm();
    config_.document()["feature"]["filter_threshold"] = 0.5;
    pvaConfigSetAuthThreshold(0.5F);
    engine().securityLevel = 1;
    pvaDataBaseAddUser(&key, palm.data());
    claim(pvaGetAuthRes(palm.data(), &result) == 1, "an enrolled palm is found");
}

void Pair::call() {
    switch (source_.number<std::uint8_t>() % 22) {
        case 0: restart(); break;
        case 1: wipe(); break;
        case 2: count(); break;
        case 3: exists(); break;
        case 4:
        case 5: add(); break;
        case 6: update(); break;
        case 7: addSized(); break;
        case 8: updateSized(); break;
        case 9: readSized(); break;
        case 10: readMean(); break;
        case 11: remove(); break;
        case 12: list(); break;
        case 13:
        case 14:
        case 15: enrol(); break;
        case 16: buffer(); break;
        case 17:
        case 18: identify(); break;
        case 19: verify(); break;
        case 20: configure(); break;
        default: passNulls(); break;
    }
}

void Pair::restart() {
    const int centres = source_.between(1, 3);
    expected_.settings.securityLevel = source_.between(1, 3);
    start(centres);
    expected_.restart(centres);
}

void Pair::wipe() {
    using Wipe = int (*)();
    const Wipe wipes[] = {pvaDataBaseDeleteAllPalm, pvaDataBaseDropPalmDatabase,
                          pvaDataBaseDeletePalmDatabase};
    claim(wipes[source_.between(0, 2)]() == expected_.wipe(), "a wipe");
}

void Pair::count() {
    claim(pvaDataBaseGetAllPalmCount() == expected_.palmCount(), "the count of palms");
}

void Pair::exists() {
    const PvaUserKey key = anyKey(source_);
    claim(pvaDataBaseExistUser(&key) == expected_.exists(key), "whether a palm is enrolled");
}

void Pair::add() {
    const PvaUserKey key = anyKey(source_);
    const Bytes palm = anyTemplates(source_, PVA_TEMPLATE_BYTES);
    claim(pvaDataBaseAddUser(&key, palm.data()) == expected_.add(key, palm), "an add");
}

void Pair::update() {
    const PvaUserKey key = anyKey(source_);
    const Bytes palm = anyTemplates(source_, PVA_TEMPLATE_BYTES);
    claim(pvaDataBaseUpdateUser(&key, palm.data()) == expected_.update(key, palm), "an update");
}

int Pair::anySize() {
    const int any = source_.number<std::int32_t>();
    const int row = expected_.rowBytes();
    return source_.oneOf<int>(
        {row, PVA_TEMPLATE_BYTES, 2 * PVA_TEMPLATE_BYTES, 773, 2, 1, 0, -1, any});
}

void Pair::addSized() {
    const PvaUserKey key = anyKey(source_);
    const int size = anySize();
    const bool fits = expected_.dividesRow(size);
    const Bytes palm = anyTemplates(source_, fits ? static_cast<std::size_t>(size) : 1);
    const int result = pvaDataBaseAddUserWithFeatSize(&key, palm.data(), size);
    claim(result == (fits ? expected_.add(key, palm) : 0), "an add of a size");
}

void Pair::updateSized() {
    const PvaUserKey key = anyKey(source_);
    const int size = anySize();
    const bool fits = expected_.dividesRow(size);
    const Bytes palm = anyTemplates(source_, fits ? static_cast<std::size_t>(size) : 1);
    const int result = pvaDataBaseUpdateUserWithFeatSize(&key, palm.data(), size);
    claim(result == (fits ? expected_.update(key, palm) : 0), "an update of a size");
}

void Pair::readSized() {
    const PvaUserKey key = anyKey(source_);
    const int size = anySize();
    const bool fits = expected_.dividesRow(size);
    Bytes out(fits ? static_cast<std::size_t>(size) : 1, kUntouched);
    const Bytes expectedOut = fits ? expected_.read(key, out.size()) : out;
    claim(pvaDataBaseGetFeatWithFeatSize(&key, out.data(), size) == fits, "a read of a size");
    claim(out == expectedOut, "the bytes of a read of a size");
}

void Pair::readMean() {
    const PvaUserKey key = anyKey(source_);
    Bytes out(PVA_TEMPLATE_BYTES, kUntouched);
    Bytes expectedOut = out;
    expected_.readMean(key, expectedOut);
    claim(pvaDataBaseGetFeat(&key, out.data()) == 1, "a read");
    claim(out == expectedOut, "the bytes of a read");
}

void Pair::remove() {
    const PvaUserKey key = anyKey(source_);
    claim(pvaDataBaseDeleteUser(&key) == expected_.remove(key), "a removal");
}

void Pair::list() {
    const PvaUserKey key = anyKey(source_);
    const std::vector<std::int64_t> palms = expected_.palmsOf(key.userid);
    const auto capacity = static_cast<std::uint32_t>(source_.between(0, 6));
    const auto out = std::make_unique<std::int64_t[]>(capacity);
    int number = -77;
    const bool fits = !palms.empty() && palms.size() <= capacity;
    const int result = pvaDataBaseGetPalmNumFromUserId(static_cast<std::uint64_t>(key.userid),
                                                       out.get(), capacity, &number);
    claim(result == fits, "a list");
    claim(number == (fits ? static_cast<int>(palms.size()) : -77), "the length of a list");
    claim(!fits || std::equal(palms.begin(), palms.end(), out.get()), "what is in a list");
}

// Most hosts pass the record of the call before.
void Pair::enrol() {
    const PvaUserKey key = anyKey(source_);
    const Bytes capture = anyCapture(source_);
    const bool checkDuplicate = source_.coin();
    if (source_.number<std::uint8_t>() < 16) {
        enrolment_.count = source_.between(-1, 5);
    }
    expectedEnrolment_ = enrolment_;
    const bool enough =
        expected_.enrol(key, fuzz::captureOf(capture), checkDuplicate, expectedEnrolment_);
    bool threw = false;
    try {
        claim(pvaRegister(&key, capture.data(), checkDuplicate, &enrolment_) == 1, "a capture");
    } catch (const std::invalid_argument&) {
        threw = true;
    }
    claim(threw == !enough, "too few captures for the centres throw");
    claim(isSame(enrolment_, expectedEnrolment_), "the record of an enrolment");
    if (enrolment_.status != PVA_REGISTER_MORE) {
        enrolment_ = {};
    }
}

void Pair::buffer() {
    claim(pvaGetRegisterBufferSize() == expected_.bufferedCaptures(), "the buffered captures");
    claim(pvaGetRegisterBufferCapacity() == expected_.settings.maxCount, "the capacity");
    if (source_.coin()) {
        claim(pvaClearRegisterBuffer() == 1, "an enrolment is dropped");
        expected_.clearCaptures();
    }
}

void Pair::identify() {
    const Bytes probe = anyCapture(source_);
    PvaAuthResult result{-5, -6, -7, -8, -9.0F};
    PvaAuthResult expectedResult = result;
    const int expectedReturn = expected_.identify(fuzz::captureOf(probe), expectedResult);
    claim(pvaGetAuthRes(probe.data(), &result) == expectedReturn, "an identification");
    claim(isSame(result, expectedResult), "the record of an identification");
}

void Pair::verify() {
    const Bytes probe = anyCapture(source_);
    const Bytes reference = anyCapture(source_);
    PvaAuthResult result{-5, -6, -7, -8, -9.0F};
    PvaAuthResult expectedResult = result;
    const int expectedReturn =
        expected_.verify(fuzz::captureOf(probe), fuzz::captureOf(reference), expectedResult);
    claim(pvaGet1to1AuthRes(probe.data(), reference.data(), &result) == expectedReturn,
          "a verification");
    if (bothNan(result.similarity, expectedResult.similarity)) {
        result.similarity = expectedResult.similarity;
    }
    claim(isSame(result, expectedResult), "the record of a verification");
}

void Pair::configure() {
    fuzz::ReferenceSettings& settings = expected_.settings;
    switch (source_.between(0, 3)) {
        case 0:
            settings.authThreshold = source_.coin()
                                         ? source_.number<float>()
                                         : static_cast<float>(source_.between(-10, 10)) / 10.0F;
            claim(pvaConfigSetAuthThreshold(settings.authThreshold) == 1, "a threshold is set");
            break;
        case 1:
            settings.maxCount = source_.between(0, 6);
            claim(pvaConfigSetRegisMaxCount(static_cast<std::uint32_t>(settings.maxCount)) == 1,
                  "a number of captures is set");
            break;
        case 2: claim(pvaConfigSetRegisCenterCount(9) == 1, "no effect before a restart"); break;
        default: {
            const auto level = static_cast<std::uint32_t>(source_.between(0, 6));
            claim(pvaConfigSetDynamicDetectionLevel(level) == (level <= 4), "a level is set");
            settings.detectionLevel =
                level <= 4 ? static_cast<int>(level) : settings.detectionLevel;
        }
    }
}

void Pair::passNulls() {
    const PvaUserKey key = anyKey(source_);
    const Bytes palm(PVA_TEMPLATE_BYTES);
    int number = 0;
    claim(pvaDataBaseExistUser(nullptr) == 0, "null");
    claim(pvaDataBaseAddUser(&key, nullptr) == 0, "null");
    claim(pvaDataBaseUpdateUser(nullptr, palm.data()) == 0, "null");
    claim(pvaDataBaseAddUserWithFeatSize(&key, nullptr, PVA_TEMPLATE_BYTES) == 0, "null");
    claim(pvaDataBaseGetFeat(&key, nullptr) == 0, "null");
    claim(pvaDataBaseDeleteUser(nullptr) == 0, "null");
    claim(pvaDataBaseGetPalmNumFromUserId(1, nullptr, 4, &number) == 0, "null");
    claim(pvaRegister(&key, nullptr, 0, &enrolment_) == 0, "null");
    claim(pvaGetAuthRes(palm.data(), nullptr) == 0, "null");
    claim(pvaGet1to1AuthRes(nullptr, palm.data(), nullptr) == 0, "null");
}

std::vector<fuzz::ReferenceRow> rowsOf(const std::string& path) {
    sqlite3* database = nullptr;
    sqlite3_stmt* query = nullptr;
    sqlite3_open(path.c_str(), &database);
    sqlite3_prepare_v2(database, "SELECT * FROM userInfo ORDER BY id;", -1, &query, nullptr);
    std::vector<fuzz::ReferenceRow> rows;
    while (sqlite3_step(query) == SQLITE_ROW) {
        const auto* blob = static_cast<const std::uint8_t*>(sqlite3_column_blob(query, 3));
        rows.push_back({sqlite3_column_int64(query, 0), sqlite3_column_int64(query, 1),
                        sqlite3_column_int(query, 2),
                        Bytes(blob, blob + sqlite3_column_bytes(query, 3))});
    }
    sqlite3_finalize(query);
    sqlite3_close(database);
    return rows;
}

bool isSame(const fuzz::ReferenceRow& a, const fuzz::ReferenceRow& b) {
    return a.id == b.id && a.userid == b.userid && a.palmindex == b.palmindex && a.blob == b.blob;
}

void Pair::compareFiles() {
    const std::vector<fuzz::ReferenceRow> rows = rowsOf(files_.databasePath());
    claim(std::ranges::equal(rows, expected_.rows(),
                             [](const auto& a, const auto& b) { return isSame(a, b); }),
          "the rows of the database");
    claim((*store_)->featureCount() == expected_.featureCount(), "the count of templates");
    const FeatureCacheFile& cache = *(*store_)->cache();
    claim(cache.count() == static_cast<int>(expected_.cache().size()), "the slots of the cache");
    for (const auto& [slot, expectedRecord] : expected_.cache()) {
        fuzz::Block record;
        claim(cache.get(slot, record) && record == expectedRecord, "a record of the cache");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::StoreFiles files;
    ByteSource source(data, size);
    {
        Pair pair(files, source);
        for (int calls = 0; calls < kMostCalls && !source.isEmpty(); ++calls) {
            pair.call();
        }
        pair.compareFiles();
    }
    files.remove();
    test::ScriptedLog::clear();
    return 0;
}
