#include "store/changes.h"

#include <stdexcept>
#include <utility>

#include "match/authentication.h"
#include "match/registration.h"
#include "store/bareSqlite.h"
#include "store/startedStore.h"

namespace brairu::bench {
namespace {

constexpr int kCaptures = 6;
constexpr int kProbes = 3;

void require(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(std::string("failed: ") + what);
    }
}

// Captures that any palm may be enrolled from.
RegisterBuffer fullBuffer(const StoredPalms& palms) {
    RegisterBuffer buffer;
    for (int capture = 1; capture <= kCaptures; ++capture) {
        buffer.add(splitFeature(palms.row(capture).data(), kBlockBytes));
    }
    return buffer;
}

class Enroller {
public:
    explicit Enroller(const PalmsPointer& palms)
        : palms_(palms), store_(*palms), full_(fullBuffer(*palms)) {}

    void makeReady() {
        buffer_ = full_;
        ++key_.palmindex;
    }

    void enrol() {
        require(commitRegistration(store_.get(), buffer_, key_, false) == CommitOutcome::committed,
                "an enrolment");
    }

private:
    PalmsPointer palms_;
    StartedStore store_;
    RegisterBuffer full_;
    RegisterBuffer buffer_;
    PvaUserKey key_{};
};

// The first template of one palm after the other learns from a few probes.
class Learner {
public:
    explicit Learner(const PalmsPointer& palms) : palms_(palms), store_(*palms) {}

    void makeReady() {
        id_ = id_ % palms_->palms() + 1;
        PvaAuthResult match{};
        match.rowId = id_;
        history_.clear();
        for (int probe = 1; probe <= kProbes; ++probe) {
            history_.add(splitFeature(palms_->row(probe).data(), kBlockBytes), match);
        }
    }

    void learn() { brairu::learn(store_.get(), history_, 0); }

private:
    PalmsPointer palms_;
    StartedStore store_;
    AuthHistory history_;
    int id_ = 0;
};

class BareChanger {
public:
    explicit BareChanger(const PalmsPointer& palms)
        : palms_(palms), row_(palms->row(1)), sqlite_(palms->database()) {
        sqlite_.run("PRAGMA synchronous = EXTRA;");
    }

    void makeReady() { id_ = id_ % palms_->palms() + 1; }

    void readAndInsert() {
        sqlite_.readLastId();
        sqlite_.insert(id_, row_);
    }

    void rewrite() { sqlite_.rewrite(id_, std::span(row_).first(kTemplateBytes), 0); }

private:
    PalmsPointer palms_;
    Bytes row_;
    BareSqlite sqlite_;
    int id_ = 0;
};

}  // namespace

Measurement enrolmentCommit(const PalmsPointer& palms) {
    const auto enroller = std::make_shared<Enroller>(palms);
    return {"enrolment commit", [enroller] { enroller->enrol(); }, "", Clock::cpu,
            [enroller] { enroller->makeReady(); }};
}

Measurement learningUpdate(const PalmsPointer& palms) {
    const auto learner = std::make_shared<Learner>(palms);
    return {"learning update", [learner] { learner->learn(); }, "", Clock::cpu,
            [learner] { learner->makeReady(); }};
}

Measurement bareInsert(const PalmsPointer& palms) {
    const auto changer = std::make_shared<BareChanger>(palms);
    return {"bare read and insert", [changer] { changer->readAndInsert(); }, "", Clock::cpu,
            [changer] { changer->makeReady(); }};
}

Measurement bareRewrite(const PalmsPointer& palms) {
    const auto changer = std::make_shared<BareChanger>(palms);
    return {"bare rewrite", [changer] { changer->rewrite(); }, "", Clock::cpu,
            [changer] { changer->makeReady(); }};
}

Measurement onTheWall(Measurement measurement) {
    measurement.name += " on the wall";
    measurement.clock = Clock::wall;
    return measurement;
}

}  // namespace brairu::bench
