#include "store/storeSuite.h"

#include <utility>

#include "silence.h"
#include "store/changes.h"
#include "store/startFigures.h"
#include "store/starts.h"

namespace brairu::bench {
namespace {

constexpr int kPalms = 10'000;
// Leaves room for those that are enrolled meanwhile.
constexpr int kPalmsToChange = 5'000;

// 1.5, 2, 3 and 1.2 times the other's time. A rebuild reads the table three times.
constexpr double kStartGoal = 1.0 / 1.5;
constexpr double kRebuildGoal = 1.0 / 2.0;
constexpr double kFirstSearchGoal = 1.0 / 3.0;
constexpr double kChangeGoal = 1.0 / 1.2;

class StoreSuite {
public:
    StoreSuite(Suite& suite, std::filesystem::path folder)
        : suite_(suite), folder_(std::move(folder)) {}

    void addFigures() {
        suite_.figures = startFigures(*palms("started with the engine", kPalms, 1));
    }

    void addStarts(int centres, const std::string& suffix) {
        const PalmsPointer stored = palms("started" + suffix, kPalms, centres);
        const std::string start = added(storeStart(stored, Before::orderlyEnd));
        const std::string scan = added(bareScan(stored));
        addRow("one bare scan: a start" + suffix, start, scan, kStartGoal);
        addRow("the same statements: a start" + suffix, start, added(bareCountAndScan(stored)),
               0.0);
        addRow("one bare scan: a start after changes" + suffix,
               added(storeStart(stored, Before::changes)), scan, 0.0);
        addRow("one bare scan with copy: a rebuild" + suffix,
               added(storeStart(stored, Before::noCache)), added(bareScanWithCopy(stored)),
               kRebuildGoal);
        addRow("a warm search: the first one" + suffix, added(firstSearch(stored)),
               added(warmSearch(stored)), kFirstSearchGoal);
        addRow("a warm identification: the first one" + suffix, added(firstIdentification(stored)),
               added(warmIdentification(stored)), 0.0);
    }

    void addChanges() {
        const PalmsPointer ours = palms("changed by the store", kPalmsToChange, 1);
        const PalmsPointer bare = palms("changed by SQLite", kPalmsToChange, 1);
        addChange("bare read and insert: an enrolment", enrolmentCommit(ours), bareInsert(bare));
        addChange("bare read and write: a learning update", learningUpdate(ours),
                  bareRewrite(bare));
    }

private:
    PalmsPointer palms(const std::string& name, int count, int centres) const {
        return std::make_shared<StoredPalms>(folder_ / name, count, centres);
    }

    std::string added(Measurement measurement) {
        suite_.measurements.push_back(std::move(measurement));
        return suite_.measurements.back().name;
    }

    void addRow(const std::string& title, const std::string& ours, const std::string& peer,
                double goal) {
        suite_.rows.push_back({title, ours, peer, goal});
    }

    void addChange(const std::string& title, const Measurement& ours, const Measurement& bare) {
        addRow(title + ", CPU", added(ours), added(bare), kChangeGoal);
        addRow(title + ", on the wall", added(onTheWall(ours)), added(onTheWall(bare)),
               kChangeGoal);
    }

    Suite& suite_;
    std::filesystem::path folder_;
};

}  // namespace

void addStore(Suite& suite, const std::filesystem::path& folder) {
    const Silence silence;
    StoreSuite store(suite, folder);
    store.addFigures();
    store.addStarts(1, ", 10,000 palms");
    store.addStarts(5, ", 10,000 palms x 5");
    store.addChanges();
}

}  // namespace brairu::bench
