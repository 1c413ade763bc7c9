#include <gmock/gmock.h>

#include <cmath>
#include <deque>
#include <functional>
#include <utility>

#include "engineTest.h"
#include "match/authentication.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kUntouched = 77;

class Identify : public EngineTest {
protected:
    // Palms with row ids 1, 2, ... along coordinates of their own.
    void enrolPalms(int count) {
        for (int palm = 1; palm <= count; ++palm) {
            enrol(100 + palm, captureOf(axis(100, 10 * palm)));
        }
    }

    // A capture of a palm at this percentage of similarity in block 0.
    static CaptureBlocks probeOf(int palm, int percent = 90) {
        return {atCosine(percent, 100, 10 * palm), axis(100, 10 * palm), axis(100, 10 * palm)};
    }

    static CaptureBlocks stranger() { return captureOf(axis(100, 500)); }

    bool attempt(const CaptureBlocks& probe, int securityLevel) {
        result_ = {kUntouched, kUntouched, kUntouched, kUntouched, 7.0f};
        return identify(store(), history_, securityLevel, probe, result_);
    }

    bool attempt(int palm, int securityLevel) { return attempt(probeOf(palm), securityLevel); }

    void expectConfirmed(int palm) {
        EXPECT_EQ(result_.userid, 100 + palm);
        EXPECT_EQ(result_.palmindex, 1);
        EXPECT_EQ(result_.rowId, palm);
        EXPECT_EQ(result_.reserved, kUntouched);
    }

    AuthHistory history_;
    PvaAuthResult result_{};
};

TEST_F(Identify, ConfirmsTheThirdAgreeingMatch) {
    startEngine();
    enrolPalms(7);
    EXPECT_FALSE(attempt(7, 3));
    EXPECT_FALSE(attempt(7, 3));
    EXPECT_TRUE(attempt(7, 3));
    expectConfirmed(7);
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Identify, ReportsRowAndSimilarityOfAnUnconfirmedMatchWithoutItsKey) {
    startEngine();
    enrol(100, captureOf(axis(64, 10)));
    EXPECT_FALSE(attempt({atCosine(51, 64, 10), axis(64, 10), axis(64, 10)}, 2));
    EXPECT_EQ(result_.rowId, 1);
    EXPECT_EQ(result_.similarity, 51.0f / 64.0f);
    EXPECT_EQ(result_.userid, kUntouched);
    EXPECT_EQ(result_.palmindex, kUntouched);
    EXPECT_EQ(result_.reserved, kUntouched);
}

TEST_F(Identify, ClearsTheHistoryWhenTheLastMatchDisagrees) {
    startEngine();
    enrolPalms(2);
    EXPECT_FALSE(attempt(1, 3));
    EXPECT_FALSE(attempt(1, 3));
    EXPECT_FALSE(attempt(2, 3));
    EXPECT_EQ(history_.count(), 0);
    EXPECT_EQ(result_.rowId, 2);
    EXPECT_EQ(result_.userid, kUntouched);
    EXPECT_FALSE(attempt(2, 3));
    EXPECT_FALSE(attempt(2, 3));
    EXPECT_TRUE(attempt(2, 3));
    expectConfirmed(2);
}

TEST_F(Identify, ComparesOnlyWhenTheHistoryIsFull) {
    startEngine();
    enrolPalms(2);
    EXPECT_FALSE(attempt(1, 3));
    EXPECT_FALSE(attempt(2, 3));
    EXPECT_EQ(history_.count(), 2);
    EXPECT_FALSE(attempt(1, 3));
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Identify, KeepsTheHistoryThroughFailedSearches) {
    startEngine();
    enrolPalms(7);
    EXPECT_FALSE(attempt(7, 3));
    EXPECT_FALSE(attempt(7, 3));
    EXPECT_FALSE(attempt(stranger(), 3));
    EXPECT_EQ(result_.rowId, kUntouched);
    EXPECT_EQ(history_.count(), 2);
    EXPECT_TRUE(attempt(7, 3));
}

TEST_F(Identify, ConfirmsEveryMatchAtSecurityLevelOne) {
    startEngine();
    enrolPalms(2);
    EXPECT_TRUE(attempt(1, 1));
    expectConfirmed(1);
    EXPECT_TRUE(attempt(2, 1));
    expectConfirmed(2);
    EXPECT_FALSE(attempt(stranger(), 1));
}

TEST_F(Identify, TakesSecurityLevelsBelowOneForOne) {
    startEngine();
    enrolPalms(1);
    EXPECT_TRUE(attempt(1, 0));
    EXPECT_TRUE(attempt(1, -5));
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Identify, ForgetsTheOldestWhenTheSecurityLevelWasLowered) {
    startEngine();
    enrolPalms(2);
    EXPECT_FALSE(attempt(1, 5));
    EXPECT_FALSE(attempt(1, 5));
    EXPECT_FALSE(attempt(1, 5));
    EXPECT_TRUE(attempt(2, 1));
    expectConfirmed(2);
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Identify, CutsTheHistoryToALoweredSecurityLevelBeforeItCompares) {
    startEngine();
    enrolPalms(2);
    EXPECT_FALSE(attempt(1, 5));
    EXPECT_FALSE(attempt(2, 5));
    EXPECT_FALSE(attempt(2, 5));
    EXPECT_TRUE(attempt(2, 2));
    expectConfirmed(2);
}

TEST_F(Identify, KeepsItsHistoryWhenTheSecurityLevelIsRaised) {
    startEngine();
    enrolPalms(1);
    EXPECT_FALSE(attempt(1, 2));
    EXPECT_FALSE(attempt(1, 3));
    EXPECT_TRUE(attempt(1, 3));
}

TEST_F(Identify, RemembersNothingOfACandidateThatCannotBeRead) {
    startEngine();
    enrolPalms(1);
    database().run("DELETE FROM userInfo");
    EXPECT_FALSE(attempt(1, 1));
    EXPECT_EQ(result_.rowId, 1);
    EXPECT_EQ(history_.count(), 0);
}

// Learning ----

FeatureBlock plainLearned(const std::vector<FeatureBlock>& probes, const FeatureBlock& stored) {
    FeatureBlock learned(512);
    for (Eigen::Index place = 0; place < 512; ++place) {
        int sum = 0;
        for (const FeatureBlock& probe : probes) {
            sum += probe[place];
        }
        const int mean = sum / static_cast<int>(probes.size());
        const float weight = 0.15f;
        const float rest = 0.85f;
        learned[place] = static_cast<std::int8_t>(weight * static_cast<float>(mean) +
                                                  rest * static_cast<float>(stored[place]));
    }
    return learned;
}

class Learning : public Identify {
protected:
    // Three matches at these similarities. True when the stored template has changed by the end.
    bool learnsAt(int first, int second, int third) {
        const Bytes before = database().blob(1);
        EXPECT_FALSE(attempt(probeOf(1, first), 3));
        EXPECT_FALSE(attempt(probeOf(1, second), 3));
        EXPECT_TRUE(attempt(probeOf(1, third), 3));
        return database().blob(1) != before;
    }
};

TEST_F(Learning, RunsWhenTheMeanSimilarityIsLow) {
    startEngine();
    enrolPalms(1);
    EXPECT_TRUE(learnsAt(80, 76, 77));
}

TEST_F(Learning, DoesNotRunWhenTheMeanSimilarityIsHigh) {
    startEngine();
    enrolPalms(1);
    EXPECT_FALSE(learnsAt(80, 79, 78));
}

TEST_F(Learning, ComparesTheMeanInDoublePrecision) {
    startEngine();
    // 50/64 is 0.78125, 0.78 the bound, and the float next to 0.78 lies below it.
    enrol(101, captureOf(axis(64, 10)));
    EXPECT_TRUE(attempt({atCosine(50, 64, 10), axis(64, 10), axis(64, 10)}, 1));
    EXPECT_EQ(database().blob(1), templateWith(captureOf(axis(64, 10))));
    EXPECT_TRUE(attempt({atCosine(78, 100, 10), axis(64, 10), axis(64, 10)}, 1));
    EXPECT_EQ(result_.similarity, 0.78f);
    EXPECT_NE(database().blob(1), templateWith(captureOf(axis(64, 10))));
}

TEST_F(Learning, DoesNotRunForMatchesThatDisagree) {
    startEngine();
    enrolPalms(2);
    const Bytes before = database().blob(1);
    EXPECT_FALSE(attempt(probeOf(1, 70), 2));
    EXPECT_FALSE(attempt(probeOf(2, 70), 2));
    EXPECT_EQ(database().blob(1), before);
}

TEST_F(Learning, KeepsEightyFivePercentOfTheStoredValue) {
    startEngine();
    enrol(101, {axis(64), blockOfValues({100, -100, 120, 120, 120}), axis(64)});
    EXPECT_TRUE(attempt({atCosine(3, 4), blockOfValues({0, 0, 120, 120, 120}), axis(64)}, 1));
    const CaptureBlocks learned = blocksInRow(database().blob(1), 0);
    EXPECT_EQ(learned[1], blockOfValues({85, -85, 120, 120, 120}));
}

TEST_F(Learning, BlendsEveryBlockWithTheMeanOfItsProbes) {
    startEngine();
    SeededRandom random;
    const CaptureBlocks stored{randomBlock(random), randomBlock(random), randomBlock(random)};
    enrol(101, stored);
    std::array<std::vector<FeatureBlock>, kBlocks> probes;
    for (int i = 0; i < 3; ++i) {
        CaptureBlocks probe;
        for (std::size_t block = 0; block < kBlocks; ++block) {
            probe[block] = (stored[block] / 2 + randomBlock(random, -60, 60)).eval();
            probes[block].push_back(probe[block]);
        }
        EXPECT_EQ(attempt(probe, 3), i == 2);
    }
    const CaptureBlocks learned = blocksInRow(database().blob(1), 0);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        EXPECT_EQ(valuesOf(learned[block]), valuesOf(plainLearned(probes[block], stored[block])));
    }
    EXPECT_EQ(recordOf(0), valuesOf(learned[0]));
}

TEST_F(Learning, ZeroesTheTrailer) {
    startEngine();
    enrol(101, {templateWith(captureOf(axis(64)), 0xab)});
    EXPECT_TRUE(attempt({atCosine(3, 4), axis(64), axis(64)}, 1));
    const Bytes row = database().blob(1);
    EXPECT_THAT(Bytes(row.end() - 10, row.end()), testing::Each(0));
}

TEST_F(Learning, LeavesTheLearnCount) {
    startEngine();
    enrolPalms(1);
    EXPECT_TRUE(attempt(probeOf(1, 70), 1));
    EXPECT_EQ(database().number("SELECT learn_count FROM userInfo"), 50);
}

TEST_F(Learning, ChangesTheTemplateThatMatchedLast) {
    startEngine(2);
    const CaptureBlocks first = captureOf(axis(64, 10));
    const CaptureBlocks second = captureOf(axis(64, 30));
    enrol(100, {templateWith(captureOf(axis(1, 400))), templateWith(captureOf(axis(1, 410)))});
    enrol(101, {templateWith(first, 1), templateWith(second, 2)});
    const CaptureBlocks likeFirst{atCosine(3, 4, 10), axis(64, 10), axis(64, 10)};
    const CaptureBlocks likeSecond{atCosine(3, 4, 30), axis(64, 30), axis(64, 30)};
    EXPECT_FALSE(attempt(likeFirst, 2));
    EXPECT_TRUE(attempt(likeSecond, 2));
    EXPECT_EQ(result_.rowId, 2);
    const Bytes row = database().blob(2);
    EXPECT_EQ(Bytes(row.begin(), row.begin() + kTemplateBytes), templateWith(first, 1));
    const CaptureBlocks learned = blocksInRow(row, 1);
    for (std::size_t block = 0; block < kBlocks; ++block) {
        EXPECT_EQ(learned[block],
                  plainLearned({likeFirst[block], likeSecond[block]}, second[block]));
    }
    EXPECT_EQ(recordOf(2), valuesOf(first[0]));
    EXPECT_EQ(recordOf(3), valuesOf(learned[0]));
}

TEST_F(Learning, ConfirmsWhenTheTemplateCannotBeOpenedForWriting) {
    startEngine();
    enrolPalms(1);
    {
        OtherConnection other = database();
        other.run("BEGIN IMMEDIATE");
        EXPECT_TRUE(attempt(probeOf(1, 70), 1));
    }
    expectConfirmed(1);
    EXPECT_THAT(takeLog(), ElementsAre("打开数据库更新失败\r\n"));
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Learning, ConfirmsWhenTheTemplateCannotBeWritten) {
    startEngine();
    enrolPalms(1);
    InterposedCalls::get().failBlobWrites = true;
    EXPECT_TRUE(attempt(probeOf(1, 70), 1));
    expectConfirmed(1);
    EXPECT_THAT(takeLog(), ElementsAre("写入 BLOB 数据失败: SQL logic error\r\n"));
    EXPECT_EQ(database().blob(1), templateWith(captureOf(axis(100, 10))));
}

// Deletes the row before the n-th statement that begins like this runs.
std::function<void(sqlite3_stmt*)> deleteBefore(std::string beginning, int n,
                                                OtherConnection& other) {
    return [beginning = std::move(beginning), n, &other](sqlite3_stmt* statement) mutable {
        // SQLite's own statements have no text.
        const char* const sql = sqlite3_sql(statement);
        if (sql != nullptr && std::string(sql).starts_with(beginning) && --n == 0) {
            other.run("DELETE FROM userInfo");
        }
    };
}

TEST_F(Learning, IsSkippedWhenTheTemplateCannotBeRead) {
    startEngine();
    enrolPalms(1);
    OtherConnection other = database();
    // The first read verifies the candidate, the second one is for learning.
    InterposedCalls::get().beforeStep = deleteBefore("SELECT vector_data", 2, other);
    EXPECT_EQ(stderrOf([&] { EXPECT_TRUE(attempt(probeOf(1, 70), 1)); }),
              "No data found for the given UUID.\n");
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_EQ(recordOf(0), valuesOf(axis(100, 10)));
    EXPECT_EQ(history_.count(), 0);
}

TEST_F(Identify, ConfirmsWithoutAKeyWhenTheRowIsGone) {
    startEngine();
    enrolPalms(1);
    OtherConnection other = database();
    InterposedCalls::get().beforeStep = deleteBefore("SELECT userid", 1, other);
    EXPECT_EQ(stderrOf([&] { EXPECT_TRUE(attempt(1, 1)); }), "No data found for the given UUID.\n");
    EXPECT_EQ(result_.rowId, 1);
    EXPECT_EQ(result_.userid, kUntouched);
    EXPECT_EQ(result_.palmindex, kUntouched);
    EXPECT_EQ(history_.count(), 0);
}

// A second engine, in plain steps ----

class PlainEngine {
public:
    PlainEngine(std::vector<CaptureBlocks> templates, int centres)
        : templates_(std::move(templates)), centres_(centres) {}

    // The row that is confirmed, or 0.
    int attempt(const CaptureBlocks& probe, std::size_t needed) {
        const int slot = bestSlot(probe);
        if (slot < 0) {
            return 0;
        }
        entries_.push_back({probe, slot / centres_ + 1, similarityTo(probe, slot)});
        while (entries_.size() > needed) {
            entries_.pop_front();
        }
        return entries_.size() == needed ? settle(slot) : 0;
    }

    const CaptureBlocks& templateAt(int slot) const {
        return templates_[static_cast<std::size_t>(slot)];
    }
    int timesLearned() const { return timesLearned_; }

private:
    struct Entry {
        CaptureBlocks probe;
        int row;
        float similarity;
    };

    static double cosine(const FeatureBlock& a, const FeatureBlock& b) {
        const Eigen::VectorXd x = a.cast<double>();
        const Eigen::VectorXd y = b.cast<double>();
        return x.dot(y) / std::sqrt(x.dot(x) * y.dot(y));
    }

    float similarityTo(const CaptureBlocks& probe, int slot) const {
        const FeatureBlock& stored = templates_[static_cast<std::size_t>(slot)][0];
        return indexSimilarity(probe[0].data(), stored.data(), 512);
    }

    // The acceptable slot of the largest similarity: all are few enough to be verified.
    int bestSlot(const CaptureBlocks& probe) const {
        int best = -1;
        for (int slot = 0; slot < static_cast<int>(templates_.size()); ++slot) {
            const CaptureBlocks& stored = templates_[static_cast<std::size_t>(slot)];
            const bool agrees = similarityTo(probe, slot) > 0.5f &&
                                cosine(probe[1], stored[1]) > 0.5 &&
                                cosine(probe[2], stored[2]) > 0.5;
            if (agrees && (best < 0 || similarityTo(probe, slot) > similarityTo(probe, best))) {
                best = slot;
            }
        }
        return best;
    }

    int settle(int slot) {
        const std::deque<Entry> entries = std::exchange(entries_, {});
        const int row = entries.front().row;
        float sum = 0.0f;
        for (const Entry& entry : entries) {
            if (entry.row != row) {
                return 0;
            }
            sum += entry.similarity;
        }
        if (sum / static_cast<float>(entries.size()) <= 0.78) {
            learn(entries, templates_[static_cast<std::size_t>(slot)]);
        }
        return row;
    }

    void learn(const std::deque<Entry>& entries, CaptureBlocks& stored) {
        ++timesLearned_;
        for (std::size_t block = 0; block < kBlocks; ++block) {
            std::vector<FeatureBlock> probes;
            for (const Entry& entry : entries) {
                probes.push_back(entry.probe[block]);
            }
            stored[block] = plainLearned(probes, stored[block]);
        }
    }

    std::vector<CaptureBlocks> templates_;
    int centres_;
    std::deque<Entry> entries_;
    int timesLearned_ = 0;
};

class IdentifyAtRandom : public Identify, public testing::WithParamInterface<int> {};

TEST_P(IdentifyAtRandom, AgreesWithAPlainEngineOverManyAttempts) {
    SeededRandom random;
    constexpr int kCentres = 2;
    constexpr int kPalms = 4;
    startEngine(kCentres);
    const auto randomCapture = [&](int reach) {
        return CaptureBlocks{randomBlock(random, -reach, reach), randomBlock(random, -reach, reach),
                             randomBlock(random, -reach, reach)};
    };
    const auto disturbed = [&](const CaptureBlocks& capture, int reach) {
        CaptureBlocks result = randomCapture(reach);
        for (std::size_t block = 0; block < kBlocks; ++block) {
            result[block] += capture[block];
        }
        return result;
    };
    std::vector<CaptureBlocks> templates;
    for (int palm = 1; palm <= kPalms; ++palm) {
        templates.push_back(randomCapture(40));
        templates.push_back(disturbed(templates.back(), 20));
        enrol(palm,
              {templateWith(templates[templates.size() - 2]), templateWith(templates.back())});
    }
    PlainEngine plain(templates, kCentres);
    int confirmed = 0;
    int slot = 0;
    for (int round = 0; round < 150; ++round) {
        if (random.between(0, 3) == 0) {
            slot = random.between(0, 2 * kPalms - 1);
        }
        const CaptureBlocks probe =
            disturbed(templates[static_cast<std::size_t>(slot)], random.between(10, 79));
        const bool isConfirmed = attempt(probe, GetParam());
        const int expected = plain.attempt(probe, static_cast<std::size_t>(GetParam()));
        ASSERT_EQ(isConfirmed, expected != 0) << "round " << round;
        if (isConfirmed) {
            ASSERT_EQ(result_.rowId, expected) << "round " << round;
            ASSERT_EQ(result_.userid, expected) << "round " << round;
            ++confirmed;
        }
    }
    EXPECT_GT(confirmed, 5);
    EXPECT_GT(plain.timesLearned(), 3);
    for (int learned = 0; learned < kCentres * kPalms; ++learned) {
        const CaptureBlocks stored =
            blocksInRow(database().blob(learned / kCentres + 1), learned % kCentres);
        EXPECT_EQ(bytesOfCapture(stored), bytesOfCapture(plain.templateAt(learned))) << learned;
        EXPECT_EQ(recordOf(learned), valuesOf(stored[0])) << learned;
    }
}

INSTANTIATE_TEST_SUITE_P(SecurityLevels, IdentifyAtRandom, testing::Values(1, 2, 3));

}  // namespace
}  // namespace brairu::test
