#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "brairu.h"
#include "diskTrace.h"
#include "powerCuts.h"
#include "support/childProcess.h"
#include "support/seededRandom.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

std::string firstOf(const std::vector<std::string>& faults) {
    return faults.empty() ? "" : faults.front();
}

// The trace of a host that starts on an empty store and adds one palm.
DiskTrace traceOfFirstPalm() {
    HostFolder folder;
    folder.renew(1, true);
    const TemporaryFolder outside;
    const ChildResult child = inChild([&] {
        startTrace(folder.path());
        init_pva(folder.configPath().c_str());
        perform({.act = Act::add, .userid = 1, .seed = 1}, Ledger(1));
        outside.write("trace", packed(endTrace()));
    });
    EXPECT_EQ(child.exitStatus, 0) << child.err;
    return unpacked(readFile(outside.file("trace")));
}

// The place of the first such event from a place on; the length of the trace if there is none.
std::size_t placeOf(const DiskTrace& trace, std::size_t from,
                    const std::function<bool(const DiskEvent&)>& matches) {
    const auto first = trace.begin() + static_cast<std::ptrdiff_t>(from);
    return static_cast<std::size_t>(std::find_if(first, trace.end(), matches) - trace.begin());
}

TEST(PowerCutsTest, TheNoteIsOnTheDiskBeforeTheCacheChanges) {
    preferMemory();
    const DiskTrace trace = traceOfFirstPalm();
    const auto linkOf = [&](const std::string& name) {
        return placeOf(trace, 0, [&](const DiskEvent& event) {
            return event.act == DiskAct::link && event.name == name;
        });
    };
    const auto placeAfter = [&](std::size_t from, DiskAct act, int file) {
        return placeOf(trace, from, [=](const DiskEvent& event) {
            return event.act == act && (act == DiskAct::syncNames || event.file == file);
        });
    };
    const std::size_t note = linkOf("palms.bin.changed");
    const std::size_t cache = linkOf("palms.bin");
    ASSERT_LT(note, trace.size());
    ASSERT_LT(cache, trace.size());
    const std::size_t change = placeAfter(cache, DiskAct::write, trace[cache].file);
    ASSERT_LT(change, trace.size());
    EXPECT_LT(placeAfter(note, DiskAct::sync, trace[note].file), change);
    EXPECT_LT(placeAfter(note, DiskAct::syncNames, 0), change);
}

TEST(PowerCutsTest, APowerCutAtAnyMomentLosesNothingThatWasReported) {
    preferMemory();
    SeededRandom random;
    PowerCutRun run(static_cast<std::uint32_t>(random.between(0, 1 << 30)), 25);
    const Tally& tally = run.run(200);
    EXPECT_EQ(firstOf(tally.faults), "");
    EXPECT_TRUE(tally.at.contains("start"));
    EXPECT_GT(tally.undone, 0);
    EXPECT_GT(tally.done, 0);
}

}  // namespace
}  // namespace brairu::test
