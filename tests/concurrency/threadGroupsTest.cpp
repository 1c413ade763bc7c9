// What the public header promises about threads: that it says it of every call, and that it holds.
#include "threadGroups.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "crowd.h"
#include "lockedCalls.h"
#include "startedEngine.h"
#include "support/captureOutput.h"
#include "support/temporaryFolder.h"

namespace brairu::test {
namespace {

constexpr int kTurns = 5;
constexpr int kThreadsOfMany = 2;

// ---- The table of the header

struct TableRow {
    bool many = false;
    std::multiset<std::string> calls;

    bool operator==(const TableRow&) const = default;
};

void PrintTo(const TableRow& row, std::ostream* stream) {
    *stream << (row.many ? "many: " : "one: ") << testing::PrintToString(row.calls);
}

using Table = std::map<std::string, TableRow>;

std::vector<std::string> exportedCalls() {
    std::istringstream text(readFile(BRAIRU_EXPORT_LIST));
    return {std::istream_iterator<std::string>(text), {}};
}

// "pvaConfigSet..." stands for every call that begins so.
std::multiset<std::string> expanded(const std::string& pattern) {
    const std::size_t dots = pattern.find("...");
    if (dots == std::string::npos) {
        return {pattern};
    }
    std::multiset<std::string> names;
    for (const std::string& name : exportedCalls()) {
        if (name.starts_with(pattern.substr(0, dots))) {
            names.insert(name);
        }
    }
    return names;
}

// The lines of the table, without the comment's frame.
std::vector<std::string> tableLines() {
    std::istringstream text(readFile(BRAIRU_HEADER));
    std::vector<std::string> lines;
    bool inside = false;
    for (std::string line; std::getline(text, line);) {
        if (inside && line == " *") {
            break;
        }
        if (inside) {
            lines.push_back(line.substr(2));
        }
        inside = inside || line.find("group     threads  calls") != std::string::npos;
    }
    return lines;
}

// A line with "many" or "one" begins a row; others go on with the names of the row above.
Table tableOfHeader() {
    Table table;
    TableRow* row = nullptr;
    for (std::string line : tableLines()) {
        std::ranges::replace(line, ',', ' ');
        std::istringstream text(line);
        std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
        if (words.size() > 2 && (words[1] == "many" || words[1] == "one")) {
            row = &table[words[0]];
            row->many = words[1] == "many";
            words.erase(words.begin(), words.begin() + 2);
        }
        for (const std::string& word : words) {
            row->calls.merge(expanded(word));
        }
    }
    return table;
}

TableRow rowOf(const ThreadGroup& group) {
    TableRow row{group.many, {}};
    for (const GroupedCall& call : group.calls) {
        row.calls.insert(call.name);
    }
    return row;
}

TEST(ThreadTable, NamesEveryExportedCallOnce) {
    std::vector<std::string> named;
    for (const auto& [name, row] : tableOfHeader()) {
        named.insert(named.end(), row.calls.begin(), row.calls.end());
    }
    EXPECT_THAT(named, testing::UnorderedElementsAreArray(exportedCalls()));
}

TEST(ThreadTable, HasTheGroupsThatTheseTestsMakeCallsOf) {
    Table table{{groupAlone().name, rowOf(groupAlone())}};
    for (const ThreadGroup& group : groupsSideBySide()) {
        table[group.name] = rowOf(group);
    }
    EXPECT_EQ(tableOfHeader(), table);
}

// ---- What it promises

class ThreadGroups : public StartedEngine {
protected:
    // What a thread does that makes the calls of a group by turns, other ones than the next thread.
    std::function<void()> takingTurns(const ThreadGroup& group) {
        random_.byte();
        return [&group, random = random_]() mutable {
            for (int turn = 0; turn < kTurns; ++turn) {
                for (const GroupedCall& call : group.calls) {
                    call.make(random);
                }
            }
        };
    }

    // Every group at once.
    void crowd() {
        std::vector<std::function<void()>> threads;
        for (const ThreadGroup& group : groupsSideBySide()) {
            for (int i = 0; i < (group.many ? kThreadsOfMany : 1); ++i) {
                threads.push_back(takingTurns(group));
            }
        }
        stdoutOf([&] { runTogether(threads); });
    }

    SeededRandom random_;
};

TEST_F(ThreadGroups, RunSideBySide) {
    crowd();
    emptyStore();
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 0);
}

// "One" is any thread, not always the same.
TEST_F(ThreadGroups, OfOneThreadAtATimeMayChangeTheThread) {
    for (int turn = 0; turn < 3; ++turn) {
        for (const ThreadGroup& group : groupsSideBySide()) {
            stdoutOf([&] { runTogether({takingTurns(group)}); });
        }
    }
}

TEST_F(ThreadGroups, AreServedAgainAfterEachCallThatRunsAlone) {
    for (const GroupedCall& call : groupAlone().calls) {
        runTogether({[&] { call.make(random_); }});
        if (call.name != "deinit_pva") {
            crowd();
        }
    }
}

// ---- Exceptions inside the lock

TEST_F(ThreadGroups, AllThrowWithoutAnEngineAndLeaveTheLockFree) {
    deinit_pva();
    std::vector<std::function<void()>> threads;
    for (const LockedCall& call : lockedCalls()) {
        threads.emplace_back([&call] {
            for (int turn = 0; turn < kTurns; ++turn) {
                EXPECT_THROW(call.make({}), std::logic_error) << call.name;
            }
        });
    }
    runTogether(threads);
    start(usualSettings());
    crowd();
}

// Identification reads a number there, inside the lock, and finds a text.
TEST_F(ThreadGroups, GoOnBesideCallsThatThrowInsideTheLock) {
    auto settings = usualSettings();
    settings["feature"]["feature_len"] = "long";
    start(settings);
    int enrolled = 0;
    const auto throws = [] {
        for (int turn = 0; turn < kTurns; ++turn) {
            EXPECT_THROW(lockedCall("pvaGetAuthRes").make({}), nlohmann::json::type_error);
        }
    };
    const auto adds = [&] {
        for (int turn = 0; turn < kTurns; ++turn) {
            enrolled += lockedCall("pvaDataBaseAddUser").make({{turn, 1, {}}, 0, 0, false}).result;
        }
    };
    stdoutOf([&] { runTogether({throws, adds, throws}); });
    EXPECT_EQ(enrolled, kTurns);
    EXPECT_EQ(pvaDataBaseGetAllPalmCount(), kTurns);
}

// The commit throws inside the lock, and leaves an empty buffer besides.
TEST_F(ThreadGroups, GoOnBesideCommitsThatThrow) {
    auto settings = usualSettings();
    settings["feature"]["auth_threshold"] = "high";
    start(settings);
    pvaConfigSetBlurThresholdMin(1);  // takes the settings over into the store's copy
    lockedCall("pvaDataBaseAddUser").make({{1, 1, {}}, 0, 0, false});
    const auto enrols = [] {
        for (int turn = 0; turn < kTurns; ++turn) {
            EXPECT_THROW(lockedCall("pvaRegister").make({{2, 1, {}}, 1, 0, true}),
                         nlohmann::json::type_error);
            EXPECT_EQ(pvaGetRegisterBufferSize(), 0);
        }
    };
    const auto counts = [] {
        for (int turn = 0; turn < kTurns; ++turn) {
            EXPECT_EQ(pvaDataBaseGetAllPalmCount(), 1);
        }
    };
    stdoutOf([&] { runTogether({enrols, counts, counts}); });
    start(usualSettings());
    pvaConfigSetBlurThresholdMin(1);
}

// The first wipe closes the database and then throws over its path; the others find it closed.
TEST_F(ThreadGroups, GoOnBesideAWipeThatThrows) {
    auto settings = usualSettings();
    settings["database"]["database_path"] = 1;
    start(settings);
    pvaConfigSetBlurThresholdMin(1);
    std::atomic<int> thrown = 0;
    const auto wipes = [&] {
        try {
            EXPECT_EQ(pvaDataBaseDropPalmDatabase(), 0);
        } catch (const nlohmann::json::type_error&) {
            ++thrown;
        }
    };
    runTogether({wipes, wipes, wipes, wipes});
    EXPECT_EQ(thrown, 1);
    // The store still has the path from its copy of the settings; a setter renews that.
    EXPECT_THROW(init_pva(write(usualSettings()).c_str()), nlohmann::json::type_error);
    pvaConfigSetBlurThresholdMin(1);
    start(usualSettings());
    EXPECT_EQ(pvaDataBaseDropPalmDatabase(), 1);
}

}  // namespace
}  // namespace brairu::test
