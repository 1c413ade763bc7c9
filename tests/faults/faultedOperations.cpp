#include "faultedOperations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "pvAuth.h"

namespace brairu::test {
namespace {

constexpr std::int64_t kChanged = 3;  // of the enrolled

// What checks compare with: as it was before the run.
int rowsBefore = 0;

std::vector<std::uint8_t> storedTemplateOf(std::int64_t userid) {
    const PvaUserKey key = keyOfUser(userid);
    std::vector<std::uint8_t> stored(kTemplateBytes);
    pvaDataBaseGetFeatWithFeatSize(&key, stored.data(), kTemplateBytes);
    return stored;
}

int update(std::int64_t userid, const std::vector<std::uint8_t>& to) {
    const PvaUserKey key = keyOfUser(userid);
    return pvaDataBaseUpdateUser(&key, to.data());
}

// Without a change where there is none to make: what follows is then the first of a process.
void makeSure(std::int64_t userid, const std::vector<std::uint8_t>& isStored) {
    if (storedTemplateOf(userid) != isStored) {
        update(userid, isStored);
    }
}

int remove(std::int64_t userid) {
    const PvaUserKey key = keyOfUser(userid);
    return pvaDataBaseDeleteUser(&key);
}

void forgetNewcomer() {
    if (rowsOfUser(kNewcomer) > 0) {
        remove(kNewcomer);
    }
    rowsBefore = rowsOfUser(kNewcomer);
}

// ---- Starts

FaultedOperation aStart(std::string name) {
    FaultedOperation start{std::move(name)};
    start.run = [](const Gallery& gallery) { return static_cast<int>(gallery.start()); };
    // Of a document that could not be read whole.
    start.exceptions = {"type_error"};
    start.mayClose = true;
    return start;
}

FaultedOperation firstStart(std::string name) {
    FaultedOperation start = aStart(std::move(name));
    start.isFirstStart = true;
    return start;
}

FaultedOperation startFresh() {
    FaultedOperation start = firstStart("start, fresh store");
    start.spoil = [](const Gallery& gallery) {
        gallery.remove("palms.db");
        gallery.remove("palms.bin");
    };
    start.survivors = {};
    start.meetsEveryKind = true;
    return start;
}

FaultedOperation startWithRebuild() {
    FaultedOperation start = firstStart("start, rebuild");
    start.spoil = [](const Gallery& gallery) { gallery.remove("palms.bin"); };
    return start;
}

FaultedOperation startWithMigration() {
    FaultedOperation start = firstStart("start, migration");
    start.arrange = [](Gallery& gallery) { gallery.setCentres(2); };
    return start;
}

// ---- Enrolment

PvaRegisterResult registration;

void captureOnce(const std::array<std::uint8_t, kFeatureBytes>& capture) {
    const PvaUserKey key = keyOfUser(kNewcomer);
    registration = {};
    pvaRegister(&key, capture.data(), 0, &registration);
}

// The second capture, which commits.
FaultedOperation enrolment(std::string name, std::int64_t palm, int checkDuplicate) {
    FaultedOperation enrol{std::move(name)};
    const auto capture = captureOfUser(palm);
    enrol.prepare = [capture] {
        forgetNewcomer();
        captureOnce(capture);
    };
    enrol.run = [capture, checkDuplicate](const Gallery&) {
        const PvaUserKey key = keyOfUser(kNewcomer);
        pvaRegister(&key, capture.data(), checkDuplicate, &registration);
        return registration.status;
    };
    enrol.success = PVA_REGISTER_COMMITTED;
    enrol.refusals = {PVA_REGISTER_FAILED};
    enrol.check = [](const Outcome& outcome) {
        const int added = rowsOfUser(kNewcomer) - rowsBefore;
        const bool committed = outcome.result == PVA_REGISTER_COMMITTED;
        // Templates that SQLite refused to bind are reported as committed.
        if (!committed || outcome.struck != "sqlite3_bind_blob64") {
            EXPECT_EQ(added, committed ? 1 : 0);
        }
        EXPECT_EQ(recognised(captureOfUser(1)), 1);
    };
    return enrol;
}

// A candidate that cannot be read counts as none: then the palm is enrolled again, and goes on
// being recognised as who it was.
FaultedOperation enrolmentOfDuplicate() {
    FaultedOperation enrol = enrolment("enrol, duplicate", 1, 1);
    enrol.success = PVA_REGISTER_DUPLICATE;
    enrol.unrecognised = kNewcomer;
    enrol.refusals = {PVA_REGISTER_FAILED, PVA_REGISTER_COMMITTED};
    return enrol;
}

// ---- Recognition

// The user, 0 for none, or -1 for a palm whose key could not be read: it is confirmed, and the
// record keeps what it held.
int recognise(const std::array<std::uint8_t, kFeatureBytes>& capture) {
    PvaAuthResult result{};
    result.userid = -1;
    return pvaGetAuthRes(capture.data(), &result) == 1 ? static_cast<int>(result.userid) : 0;
}

FaultedOperation recognition(std::string name, std::int64_t userid,
                             const std::array<std::uint8_t, kFeatureBytes>& capture) {
    FaultedOperation operation{std::move(name)};
    operation.run = [capture](const Gallery&) { return recognise(capture); };
    operation.success = static_cast<int>(userid);
    operation.refusals = {0, -1};
    return operation;
}

// The second of two matches that a confirmation takes.
FaultedOperation confirmation() {
    FaultedOperation confirm = recognition("recognise, second of two", 1, captureOfUser(1));
    confirm.prepare = [] {
        engine().securityLevel = 2;
        for (int tries = 0; tries < 3 && recognise(captureOfUser(1)) != 1; ++tries) {
        }
        EXPECT_EQ(recognise(captureOfUser(1)), 0);
    };
    return confirm;
}

FaultedOperation learning() {
    FaultedOperation learn =
        recognition("recognise and learn", kChanged, weakCaptureOfUser(kChanged));
    learn.prepare = [] { makeSure(kChanged, templateOfUser(kChanged)); };
    learn.check = [](const Outcome& outcome) {
        const bool learned = storedTemplateOf(kChanged) != templateOfUser(kChanged);
        if (outcome.struck.empty()) {
            EXPECT_TRUE(learned);
        }
        if (outcome.result == 0 && outcome.thrown.empty()) {
            EXPECT_FALSE(learned);
        }
        EXPECT_EQ(recognise(captureOfUser(1)), 1);
    };
    return learn;
}

FaultedOperation comparison() {
    FaultedOperation compare{"compare 1:1"};
    compare.run = [](const Gallery&) {
        PvaAuthResult result{};
        return pvaGet1to1AuthRes(captureOfUser(1).data(), captureOfUser(1).data(), &result);
    };
    return compare;
}

// ---- Changes

FaultedOperation addition() {
    FaultedOperation operation{"add"};
    operation.prepare = forgetNewcomer;
    operation.run = [](const Gallery&) { return addUser(kNewcomer); };
    operation.refusals = {0};
    operation.check = [](const Outcome& outcome) {
        const int added = rowsOfUser(kNewcomer) - rowsBefore;
        EXPECT_EQ(added, outcome.result == 1 ? 1 : 0);
        EXPECT_EQ(recognised(captureOfUser(1)), 1);
    };
    return operation;
}

FaultedOperation replacement() {
    FaultedOperation operation{"update"};
    operation.prepare = [] { makeSure(kChanged, templateOfUser(kChanged)); };
    operation.run = [](const Gallery&) { return update(kChanged, newTemplateOfUser(kChanged)); };
    operation.refusals = {0};
    operation.check = [](const Outcome& outcome) {
        EXPECT_EQ(storedTemplateOf(kChanged),
                  outcome.result == 1 ? newTemplateOfUser(kChanged) : templateOfUser(kChanged));
        EXPECT_EQ(recognised(captureOfUser(1)), 1);
    };
    return operation;
}

FaultedOperation removal() {
    FaultedOperation operation{"delete"};
    operation.prepare = [] {
        if (rowsOfUser(kChanged) == 0) {
            addUser(kChanged);
        }
    };
    operation.run = [](const Gallery&) { return remove(kChanged); };
    operation.refusals = {0};
    operation.check = [](const Outcome& outcome) {
        EXPECT_EQ(rowsOfUser(kChanged), outcome.result == 1 ? 0 : 1);
        EXPECT_EQ(recognised(captureOfUser(1)), 1);
    };
    operation.survivors = {1, 2};
    return operation;
}

FaultedOperation wipe() {
    FaultedOperation operation{"wipe"};
    operation.run = [](const Gallery&) { return pvaDataBaseDeleteAllPalm(); };
    operation.refusals = {0};
    operation.check = [](const Outcome& outcome) {
        const int left = rowsOfUser(1) + rowsOfUser(2) + rowsOfUser(3);
        EXPECT_TRUE(left == 0 || (left == 3 && outcome.result == 0)) << left;
    };
    operation.mayClose = true;
    operation.survivors = {};
    return operation;
}

// ---- Reads

FaultedOperation existence() {
    FaultedOperation operation{"exists"};
    operation.run = [](const Gallery&) {
        const PvaUserKey key = keyOfUser(1);
        return pvaDataBaseExistUser(&key);
    };
    operation.refusals = {0};
    return operation;
}

constexpr int kZeros = 2;

// 1: the template; 2: the call says 1 and hands over zeros, as for a key that is not enrolled.
int judgeTemplate(int result, const std::vector<std::uint8_t>& out) {
    if (result != 1 || out == templateOfUser(1)) {
        return result;
    }
    return std::ranges::count(out, 0) == kTemplateBytes ? kZeros : -1;
}

FaultedOperation readingOfFeatures() {
    FaultedOperation operation{"read templates"};
    operation.run = [](const Gallery&) {
        const PvaUserKey key = keyOfUser(1);
        std::vector<std::uint8_t> out(kTemplateBytes);
        const int result = pvaDataBaseGetFeatWithFeatSize(&key, out.data(), kTemplateBytes);
        return judgeTemplate(result, out);
    };
    operation.refusals = {kZeros};
    return operation;
}

FaultedOperation readingOfConsensus() {
    FaultedOperation operation{"read consensus"};
    operation.run = [](const Gallery&) {
        const PvaUserKey key = keyOfUser(1);
        std::vector<std::uint8_t> out(kTemplateBytes);
        return judgeTemplate(pvaDataBaseGetFeat(&key, out.data()), out);
    };
    operation.refusals = {0, kZeros};
    return operation;
}

FaultedOperation listing() {
    FaultedOperation operation{"list palms"};
    operation.run = [](const Gallery&) { return rowsOfUser(1); };
    operation.refusals = {0};
    return operation;
}

FaultedOperation counting() {
    FaultedOperation operation{"count palms"};
    operation.run = [](const Gallery&) { return pvaDataBaseGetAllPalmCount(); };
    operation.success = 3;
    return operation;
}

// ---- Settings

float chosenThreshold = 0.5f;

FaultedOperation setting() {
    FaultedOperation operation{"set and save"};
    operation.prepare = [] { chosenThreshold = chosenThreshold == 0.5f ? 0.25f : 0.5f; };
    operation.run = [](const Gallery&) {
        return static_cast<int>(pvaConfigSetAuthThreshold(chosenThreshold));
    };
    operation.check = [](const Outcome&) { EXPECT_EQ(recognised(captureOfUser(1)), 1); };
    return operation;
}

FaultedOperation levelSetting() {
    FaultedOperation operation{"set detection level"};
    operation.run = [](const Gallery&) {
        return static_cast<int>(pvaConfigSetDynamicDetectionLevel(0));
    };
    return operation;
}

}  // namespace

std::vector<FaultedOperation> faultedOperations() {
    return {startFresh(),
            firstStart("start, filled store"),
            startWithRebuild(),
            startWithMigration(),
            aStart("start again"),
            enrolment("enrol", kNewcomer, 0),
            enrolment("enrol, checked", kNewcomer, 1),
            enrolmentOfDuplicate(),
            recognition("recognise", 1, captureOfUser(1)),
            confirmation(),
            learning(),
            comparison(),
            addition(),
            replacement(),
            removal(),
            wipe(),
            existence(),
            readingOfFeatures(),
            readingOfConsensus(),
            listing(),
            counting(),
            setting(),
            levelSetting()};
}

}  // namespace brairu::test
