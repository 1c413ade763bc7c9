#include "storeTest.h"

namespace brairu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = TemplateStore::EnrolOutcome;

class EnrolmentTest : public StoreTest {
protected:
    Outcome enrol(int palm, const Bytes& row) { return store().enrolPalm(keyOf(1, palm), row); }

    // The fault hits the insert, not the question for the last id before it.
    void failInsertParameter(int parameter) {
        InterposedCalls::get().beforeStep = [=](sqlite3_stmt*) {
            InterposedCalls::get().failingParameter = parameter;
        };
    }

    std::int64_t rows() const { return database().number("SELECT COUNT(*) FROM userInfo;"); }
};

TEST_F(EnrolmentTest, StoresTheRowAndMirrorsItInSilence) {
    start(3);
    takeLog();
    std::string out;
    const std::string err = stderrOf([&] {
        out = stdoutOf([&] { EXPECT_EQ(enrol(4, rowOf({1, 2, 3})), Outcome::committed); });
    });
    EXPECT_EQ(out + err, "");
    EXPECT_THAT(takeLog(), IsEmpty());
    auto other = database();
    EXPECT_EQ(other.blob(1), rowOf({1, 2, 3}));
    EXPECT_EQ(other.number("SELECT userid * 100 + palmindex FROM userInfo;"), 104);
    EXPECT_EQ(other.number("SELECT learn_count FROM userInfo;"), 50);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0, 1, 2));
    EXPECT_EQ(recordOf(2), searchBlockOf(templateOf(3)));
    EXPECT_EQ(store().featureCount(), 3);
}

TEST_F(EnrolmentTest, RaisesTheCountByOnePalmWhateverTheCacheHolds) {
    start(2);
    database().run("INSERT INTO sqlite_sequence VALUES ('userInfo', 10000);");
    EXPECT_EQ(enrol(1, rowOf({1, 2})), Outcome::committed);
    EXPECT_THAT(occupiedSlots(), IsEmpty());
    EXPECT_EQ(store().featureCount(), 2);
    EXPECT_EQ(store().palmCount(), 1);
}

TEST_F(EnrolmentTest, ARefusedRowLeavesTheSlotsWrittenAndTheCountAlone) {
    start();
    database().run(
        "CREATE TRIGGER refuse BEFORE INSERT ON userInfo BEGIN "
        "SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(enrol(1, templateOf(1)), Outcome::failed);
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(EnrolmentTest, WithoutTheLastIdNothingIsWritten) {
    start();
    ASSERT_EQ(enrol(1, templateOf(1)), Outcome::committed);
    auto other = database();
    other.run("BEGIN EXCLUSIVE;");
    EXPECT_EQ(enrol(2, templateOf(2)), Outcome::failed);
    other.run("ROLLBACK;");
    EXPECT_EQ(recordOf(0), searchBlockOf(templateOf(1)));
    EXPECT_THAT(occupiedSlots(), ElementsAre(0));
    EXPECT_EQ(store().featureCount(), 1);
}

TEST_F(EnrolmentTest, AnUnboundUseridFails) {
    start();
    failInsertParameter(1);
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrol(1, templateOf(1)), Outcome::failed); }),
              "绑定 userid 失败: column index out of range\n");
    InterposedCalls::reset();
    EXPECT_EQ(rows(), 0);
}

TEST_F(EnrolmentTest, AnUnboundPalmindexFails) {
    start();
    failInsertParameter(2);
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrol(1, templateOf(1)), Outcome::failed); }),
              "绑定 palmindex 失败: column index out of range\n");
    InterposedCalls::reset();
    EXPECT_EQ(rows(), 0);
}

TEST_F(EnrolmentTest, AnUnboundBlobIsAnOutcomeOfItsOwn) {
    start();
    failInsertParameter(3);
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrol(1, templateOf(1)), Outcome::bindingBlobFailed); }),
              "绑定 palmindex 失败: column index out of range\n");
    InterposedCalls::reset();
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(store().featureCount(), 0);
}

TEST_F(EnrolmentTest, AnUnboundLearnCountIsStoredAsNull) {
    start();
    failInsertParameter(4);
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(enrol(1, templateOf(1)), Outcome::committed); }), "");
    InterposedCalls::reset();
    EXPECT_EQ(database().number("SELECT learn_count IS NULL FROM userInfo;"), 1);
}

TEST_F(EnrolmentTest, FailsWithoutConnectionAndWithoutCentres) {
    construct();
    EXPECT_EQ(enrol(1, templateOf(1)), Outcome::failed);
    start(0);
    EXPECT_EQ(enrol(1, {}), Outcome::failed);
    EXPECT_EQ(rows(), 0);
}

}  // namespace
}  // namespace brairu::test
