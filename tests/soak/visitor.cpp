#include "soak/visitor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <stdexcept>

#include "store/interposedCalls.h"
#include "support/scriptedLog.h"
#include "support/scriptedNpu.h"

namespace brairu::test {
namespace {

constexpr std::uint32_t kWidth = 640;
constexpr std::uint32_t kHeight = 480;
constexpr int kCaptures = 3;
constexpr std::size_t kMostPalms = 40;
constexpr std::int32_t kRowsBeforeWipe = 9000;  // the cache mirrors 10000
constexpr double kStrongMatch = 0.78;
constexpr double kTooCloseToCall = 0.005;
constexpr double kRounding = 1e-5;
constexpr PvaUserKey kNobody{-1, -1, {}};

// Whether a probe is one that the store learns from. The noise keeps clear of the limit.
bool isFar(double similarity) {
    if (std::abs(similarity - kStrongMatch) < kTooCloseToCall) {
        throw std::logic_error("a probe too close to call");
    }
    return similarity <= kStrongMatch;
}

}  // namespace

Visitor::Visitor(SeededRandom& random) : random_(random), frame_(kWidth * kHeight, 100) {
    folder_.document["database"]["regis_max_count"] = kCaptures;
    folder_.document["handpose"]["dynamic_detection_level"] = 0;
    scriptHand();
    start();
}

const std::vector<Visitor::Deed>& Visitor::deeds() {
    static const std::vector<Deed> deeds{
        {8, &Visitor::detect},
        {4, &Visitor::detectPair},
        {4, &Visitor::detectNothing},
        {16, &Visitor::identifyNear},
        {4, &Visitor::identifyFar},
        {10, &Visitor::identifyStranger},
        {8, &Visitor::verify},
        {2, &Visitor::enrol},
        {1, &Visitor::enrolTwice},
        {2, &Visitor::abandonEnrolment},
        {1, &Visitor::add},
        {1, &Visitor::addWithFeatSize},
        {1, &Visitor::update},
        {1, &Visitor::updateWithFeatSize},
        {12, &Visitor::readBack},
        {3, &Visitor::remove},
        {12, &Visitor::ask},
        {6, &Visitor::list},
        {8, &Visitor::askForStrangers},
        {2, &Visitor::set},
        {1, &Visitor::refuseSetting},
        {4, &Visitor::refuseNull},
        {3, &Visitor::raise},
        {1, &Visitor::restart},
        {1, &Visitor::callWithoutEngine},
    };
    return deeds;
}

void Visitor::act() {
    static const int total = [] {
        int sum = 0;
        for (const Deed& deed : deeds()) {
            sum += deed.weight;
        }
        return sum;
    }();
    if (lastRow_ >= kRowsBeforeWipe || random_.between(1, 2000) == 1) {
        wipe();
    }
    int draw = random_.between(1, total);
    for (const Deed& deed : deeds()) {
        draw -= deed.weight;
        if (draw <= 0) {
            (this->*deed.act)();
            break;
        }
    }
    forgetRecords();
}

void Visitor::tidyUp() {
    wipe();
    palms_.shrink_to_fit();
    forgetRecords();
}

// The doubles remember every call.
void Visitor::forgetRecords() {
    InterposedCalls::reset();
    ScriptedLog::lines() = {};
    ScriptedNpu& npu = ScriptedNpu::get();
    npu.calls = {};
    npu.models = {};
    npu.converted = {};
    npu.frames = {};
    npu.processed = {};
    npu.attributes = {};
    npu.stridesUV = {};
    npu.flushedBytes = {};
    npu.released = {};
}

void Visitor::start() {
    folder_.document["feature"]["security_level"] = securityLevel_;
    logbook_.expect("init_pva", init_pva(folder_.writeConfig().c_str()), 1u);
}

// ---- Frames

Features Visitor::capture(const Features& features) {
    scriptFeatures(features);
    PvaHandPose pose{};
    logbook_.expect("pvaGetHandPose", pvaGetHandPose(frame_.data(), kWidth, kHeight, &pose), 1u);
    Features written{};
    const std::uint32_t code = pvaGetFeat(frame_.data(), kWidth, kHeight, &pose, written.data());
    logbook_.count("pvaGetFeat", code == PVA_PLACEMENT_GOOD && written == features,
                   "code or bytes");
    return written;
}

void Visitor::detect() {
    PvaHandPose pose{};
    const bool found = pvaGetHandPose(frame_.data(), kWidth, kHeight, &pose) == 1;
    logbook_.count("pvaGetHandPose", found && pose.centerX == 312 && pose.orientation == 0);
}

void Visitor::detectPair() {
    PvaHandPose first{};
    PvaHandPose second{};
    first.placementCode = second.placementCode = 99;
    const bool found = pvaGetHandPoseVeinAndPrints(frame_.data(), kWidth, kHeight, &first,
                                                   frame_.data(), kWidth, kHeight, &second) == 1;
    logbook_.count("pvaGetHandPoseVeinAndPrints",
                   found && first.placementCode == 0 && second.placementCode == 0);
}

void Visitor::detectNothing() {
    scriptNoHand();
    PvaHandPose pose{};
    logbook_.expect("pvaGetHandPose", pvaGetHandPose(frame_.data(), kWidth, kHeight, &pose), 0u);
    scriptHand();
}

// ---- Recognition

void Visitor::identify(Likeness likeness) {
    Palm* const palm = anyPalm();
    if (palm == nullptr) {
        return;
    }
    const Features probe = capture(recapture(palm->stored, likeness, random_));
    const double similarity = cosine(probe.data(), palm->stored.data());
    PvaAuthResult who{};
    for (int match = 1; match <= securityLevel_; ++match) {
        logbook_.expect("pvaGetAuthRes", pvaGetAuthRes(probe.data(), &who),
                        static_cast<int>(match == securityLevel_));
    }
    const bool named = who.userid == palm->key.userid && who.palmindex == palm->key.palmindex &&
                       who.rowId == palm->row;
    logbook_.count("  the palm that it names", named);
    logbook_.count("  the similarity", std::abs(double{who.similarity} - similarity) < kRounding);
    if (isFar(similarity)) {
        palm->stored = learned(palm->stored, probe);
        TemplateBytes read{};
        pvaDataBaseGetFeat(&palm->key, read.data());
        logbook_.count("  the template that learned", read == palm->stored);
    }
}

void Visitor::identifyStranger() {
    PvaAuthResult who{};
    const Features stranger = capture(newFeatures(random_));
    logbook_.expect("pvaGetAuthRes", pvaGetAuthRes(stranger.data(), &who), 0);
}

void Visitor::verify() {
    const Features one = newFeatures(random_);
    const Features same = recapture(templateOf(one), Likeness::near, random_);
    const Features other = newFeatures(random_);
    PvaAuthResult result{};
    logbook_.expect("pvaGet1to1AuthRes", pvaGet1to1AuthRes(same.data(), one.data(), &result), 1);
    const double mean =
        (cosine(same.data(), one.data()) +
         cosine(same.data() + PVA_FEATURE_BLOCK_BYTES, one.data() + PVA_FEATURE_BLOCK_BYTES)) /
        2;
    logbook_.count("  the similarity", std::abs(double{result.similarity} - mean) < kRounding);
    logbook_.expect("pvaGet1to1AuthRes", pvaGet1to1AuthRes(other.data(), one.data(), &result), 0);
}

// ---- Enrolment

int Visitor::submit(const PvaUserKey& key, const std::vector<Features>& captures,
                    bool checkDuplicate) {
    PvaRegisterResult result{};
    for (std::size_t i = 0; i < captures.size(); ++i) {
        const bool taken = pvaRegister(&key, captures[i].data(), checkDuplicate, &result) == 1 &&
                           result.count == static_cast<int>(i) + 1 && result.maxCount == kCaptures;
        logbook_.count("pvaRegister", taken);
    }
    return result.status;
}

void Visitor::enrol() {
    if (isFull()) {
        return;
    }
    const PvaUserKey key = newKey();
    const TemplateBytes palm = templateOf(newFeatures(random_));
    std::vector<Features> captures;
    for (int i = 0; i < kCaptures; ++i) {
        captures.push_back(capture(recapture(palm, Likeness::near, random_)));
    }
    const int status = submit(key, captures, true);
    logbook_.expect("  the outcome", status, int{PVA_REGISTER_COMMITTED});
    remember(key, templateOf(meanOf(captures)));
}

void Visitor::enrolTwice() {
    if (Palm* const palm = anyPalm()) {
        const Features again = recapture(palm->stored, Likeness::near, random_);
        const int status = submit(newKey(), std::vector(kCaptures, again), true);
        logbook_.expect("  the outcome", status, int{PVA_REGISTER_DUPLICATE});
    }
}

void Visitor::abandonEnrolment() {
    const int status = submit(newKey(), {newFeatures(random_), newFeatures(random_)}, false);
    logbook_.expect("  the outcome", status, int{PVA_REGISTER_MORE});
    logbook_.expect("pvaGetRegisterBufferSize", pvaGetRegisterBufferSize(), 2);
    logbook_.expect("pvaGetRegisterBufferCapacity", pvaGetRegisterBufferCapacity(), kCaptures);
    logbook_.expect("pvaClearRegisterBuffer", pvaClearRegisterBuffer(), 1);
    logbook_.expect("pvaGetRegisterBufferSize", pvaGetRegisterBufferSize(), 0);
}

// ---- Database

void Visitor::add() {
    if (!isFull()) {
        const PvaUserKey key = newKey();
        const TemplateBytes stored = templateOf(newFeatures(random_));
        logbook_.expect("pvaDataBaseAddUser", pvaDataBaseAddUser(&key, stored.data()), 1);
        remember(key, stored);
    }
}

void Visitor::addWithFeatSize() {
    const PvaUserKey key = newKey();
    const TemplateBytes stored = templateOf(newFeatures(random_));
    logbook_.expect("pvaDataBaseAddUserWithFeatSize",
                    pvaDataBaseAddUserWithFeatSize(&key, stored.data(), PVA_TEMPLATE_BYTES - 1), 0);
    if (!isFull()) {
        logbook_.expect("pvaDataBaseAddUserWithFeatSize",
                        pvaDataBaseAddUserWithFeatSize(&key, stored.data(), PVA_TEMPLATE_BYTES), 1);
        remember(key, stored);
    }
}

void Visitor::update() {
    if (Palm* const palm = anyPalm()) {
        palm->stored = templateOf(newFeatures(random_));
        logbook_.expect("pvaDataBaseUpdateUser",
                        pvaDataBaseUpdateUser(&palm->key, palm->stored.data()), 1);
    }
}

void Visitor::updateWithFeatSize() {
    if (Palm* const palm = anyPalm()) {
        palm->stored = templateOf(newFeatures(random_));
        logbook_.expect(
            "pvaDataBaseUpdateUserWithFeatSize",
            pvaDataBaseUpdateUserWithFeatSize(&palm->key, palm->stored.data(), PVA_TEMPLATE_BYTES),
            1);
    }
}

void Visitor::readBack() {
    const Palm* const palm = anyPalm();
    const PvaUserKey key = palm != nullptr ? palm->key : kNobody;
    const TemplateBytes expected = palm != nullptr ? palm->stored : TemplateBytes{};
    TemplateBytes read{};
    read.fill(0x77);
    int result = pvaDataBaseGetFeat(&key, read.data());
    logbook_.count("pvaDataBaseGetFeat", result == 1 && read == expected);
    read.fill(0x77);
    result = pvaDataBaseGetFeatWithFeatSize(&key, read.data(), PVA_TEMPLATE_BYTES);
    logbook_.count("pvaDataBaseGetFeatWithFeatSize", result == 1 && read == expected);
}

void Visitor::remove() {
    if (Palm* const palm = anyPalm()) {
        const PvaUserKey key = palm->key;
        palms_.erase(palms_.begin() + (palm - palms_.data()));
        logbook_.expect("pvaDataBaseDeleteUser", pvaDataBaseDeleteUser(&key), 1);
        logbook_.expect("pvaDataBaseDeleteUser", pvaDataBaseDeleteUser(&key), 0);
        logbook_.expect("pvaDataBaseExistUser", pvaDataBaseExistUser(&key), 0);
    }
}

void Visitor::ask() {
    logbook_.expect("pvaDataBaseGetAllPalmCount", pvaDataBaseGetAllPalmCount(),
                    static_cast<int>(palms_.size()));
    if (const Palm* const palm = anyPalm()) {
        logbook_.expect("pvaDataBaseExistUser", pvaDataBaseExistUser(&palm->key), 1);
    }
}

void Visitor::list() {
    const Palm* const palm = anyPalm();
    const std::int64_t user = palm != nullptr ? palm->key.userid : kNobody.userid;
    std::vector<std::int64_t> expected;
    for (const Palm& other : palms_) {
        if (other.key.userid == user) {
            expected.push_back(other.key.palmindex);
        }
    }
    std::array<std::int64_t, kMostPalms> palms{};
    int count = 0;
    const int result = pvaDataBaseGetPalmNumFromUserId(static_cast<std::uint64_t>(user),
                                                       palms.data(), palms.size(), &count);
    const std::vector<std::int64_t> listed(palms.begin(), palms.begin() + count);
    logbook_.count("pvaDataBaseGetPalmNumFromUserId",
                   result == static_cast<int>(!expected.empty()) && listed == expected);
}

void Visitor::askForStrangers() {
    const PvaUserKey key{random_.between(1, 1000), -random_.between(1, 1000), {}};
    const TemplateBytes any{};
    logbook_.expect("pvaDataBaseExistUser", pvaDataBaseExistUser(&key), 0);
    logbook_.expect("pvaDataBaseDeleteUser", pvaDataBaseDeleteUser(&key), 0);
    logbook_.expect("pvaDataBaseUpdateUser", pvaDataBaseUpdateUser(&key, any.data()), 0);
}

void Visitor::wipe() {
    constexpr std::array kWipes{&pvaDataBaseDeleteAllPalm, &pvaDataBaseDropPalmDatabase,
                                &pvaDataBaseDeletePalmDatabase};
    logbook_.expect("wipe calls", kWipes[static_cast<std::size_t>(random_.between(0, 2))](), 1);
    palms_.clear();
    lastRow_ = 0;
    logbook_.expect("pvaDataBaseGetAllPalmCount", pvaDataBaseGetAllPalmCount(), 0);
}

// ---- Settings

// To another value and back: what the settings decide must not change under the other deeds.
void Visitor::set() {
    const auto last = static_cast<int>(settings().size()) - 1;
    const Setting& setting = settings()[static_cast<std::size_t>(random_.between(0, last))];
    const double usual = folder_.document[setting.section].value(setting.key, 0.0);
    for (const double value : {setting.otherValue, usual}) {
        logbook_.expect(setting.call, setting.set(value), 1u);
        logbook_.expect("  the setting in the file", writtenNumber(setting),
                        static_cast<float>(value));
    }
}

void Visitor::refuseSetting() {
    const std::string before = readFile(folder_.configPath());
    logbook_.expect("pvaConfigSetDynamicDetectionLevel", pvaConfigSetDynamicDetectionLevel(5), 0u);
    logbook_.count("  the untouched file", readFile(folder_.configPath()) == before);
}

float Visitor::writtenNumber(const Setting& setting) const {
    const auto document = nlohmann::ordered_json::parse(readFile(folder_.configPath()));
    return document.at(setting.section).at(setting.key).get<float>();
}

// ---- Misuse

void Visitor::refuseNull() {
    PvaAuthResult who{};
    PvaHandPose pose{};
    const Features features{};
    logbook_.expect("pvaGetAuthRes", pvaGetAuthRes(nullptr, &who), 0);
    logbook_.expect("pvaRegister", pvaRegister(nullptr, features.data(), 0, nullptr), 0);
    logbook_.expect("pvaDataBaseExistUser", pvaDataBaseExistUser(nullptr), 0);
    logbook_.expect("pvaGetHandPose", pvaGetHandPose(frame_.data(), 0, kHeight, &pose), 0u);
    logbook_.expect("pvaGetFeat", pvaGetFeat(nullptr, kWidth, kHeight, &pose, nullptr), 15u);
}

void Visitor::expectRaised(const std::string& call, const char* text,
                           const std::function<void()>& action) {
    std::string raised = "nothing";
    try {
        action();
    } catch (const std::exception& fault) {
        raised = fault.what();
    }
    logbook_.count(call + ", raising", raised.find(text) != std::string::npos, raised);
}

// A configuration with a key of the wrong type, in effect until the next start.
void Visitor::raise() {
    auto broken = folder_.document;
    broken["database"]["regis_max_count"] = "three";
    broken["feature"]["security_level"] = nullptr;
    const std::string path = folder_.file("broken.json");
    std::ofstream(path) << broken;
    constexpr char kNoNumber[] = "type must be number, but is ";
    expectRaised("init_pva", kNoNumber, [&] { init_pva(path.c_str()); });
    expectRaised("pvaGetRegisterBufferCapacity", kNoNumber, [] { pvaGetRegisterBufferCapacity(); });
    const Features features{};
    PvaRegisterResult result{};
    expectRaised("pvaRegister", kNoNumber,
                 [&] { pvaRegister(&kNobody, features.data(), 0, &result); });
    expectRaised("init_pva", "null", [] { init_pva(nullptr); });
    start();
}

void Visitor::restart() {
    logbook_.expect("deinit_pva", deinit_pva(), 1u);
    securityLevel_ = random_.between(1, 2);
    start();
    logbook_.expect("pvaDataBaseGetAllPalmCount", pvaDataBaseGetAllPalmCount(),
                    static_cast<int>(palms_.size()));
}

void Visitor::callWithoutEngine() {
    logbook_.expect("deinit_pva", deinit_pva(), 1u);
    constexpr char kNotStarted[] = ": the engine is not started; call init_pva first";
    PvaAuthResult who{};
    PvaHandPose pose{};
    const Features features{};
    expectRaised("pvaGetAuthRes", kNotStarted, [&] { pvaGetAuthRes(features.data(), &who); });
    expectRaised("pvaDataBaseGetAllPalmCount", kNotStarted, [] { pvaDataBaseGetAllPalmCount(); });
    expectRaised("pvaConfigSetEnhance", kNotStarted, [] { pvaConfigSetEnhance(1); });
    expectRaised("pvaGetHandPose", kNotStarted,
                 [&] { pvaGetHandPose(frame_.data(), kWidth, kHeight, &pose); });
    start();
}

// ---- Bookkeeping

Palm* Visitor::anyPalm() {
    if (palms_.empty()) {
        return nullptr;
    }
    const int last = static_cast<int>(palms_.size()) - 1;
    return &palms_[static_cast<std::size_t>(random_.between(0, last))];
}

// Few users, so that some have several palms.
PvaUserKey Visitor::newKey() {
    for (;;) {
        const PvaUserKey key{random_.between(1, 20), random_.between(0, 1'000'000), {}};
        const auto hasKey = [&](const Palm& palm) {
            return palm.key.userid == key.userid && palm.key.palmindex == key.palmindex;
        };
        if (std::ranges::none_of(palms_, hasKey)) {
            return key;
        }
    }
}

void Visitor::remember(const PvaUserKey& key, const TemplateBytes& stored) {
    palms_.push_back({key, ++lastRow_, stored});
}

bool Visitor::isFull() const {
    return palms_.size() >= kMostPalms;
}

}  // namespace brairu::test
