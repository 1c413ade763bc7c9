// Who may read what the library writes.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "engineSession.h"
#include "watchedCalls.h"

namespace brairu::test {
namespace {

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

// The modes of short-lived files beside a file, looked at when they go.
class FleetingFiles {
public:
    explicit FleetingFiles(std::string path) {
        WatchedCalls::get().beforeNameGoes = [this, path = std::move(path)](const auto& name) {
            if (name != path && name.starts_with(path)) {
                modes_.insert(modeOf(name));
            }
        };
    }
    ~FleetingFiles() { WatchedCalls::get().beforeNameGoes = nullptr; }
    FleetingFiles(const FleetingFiles&) = delete;
    FleetingFiles& operator=(const FleetingFiles&) = delete;

    const std::multiset<mode_t>& modes() const { return modes_; }

private:
    std::multiset<mode_t> modes_;
};

class FilePermissions : public EngineSession {
protected:
    void startWithUmask(mode_t mask) const {
        ::umask(mask);
        start();
    }
    std::string database() const { return folder_.file("palms.db"); }
    std::string cache() const { return folder_.file("palms.bin"); }
};

class NewFiles : public FilePermissions, public testing::WithParamInterface<mode_t> {};

// SQLite makes its files 0644.
TEST_P(NewFiles, AreOpenToWhomTheUmaskLeavesThemOpen) {
    const mode_t mask = GetParam();
    freshly([&] {
        startWithUmask(mask);
        enrol({1, 1, {}}, featuresOf(1));
        EXPECT_EQ(modeOf(database()), 0644 & ~mask);
        EXPECT_EQ(modeOf(cache()), 0666 & ~mask);
    });
}

TEST_P(NewFiles, AreNeverWiderThanTheUmaskSays) {
    const mode_t mask = GetParam();
    const std::filesystem::path place = folder_.file("place");
    std::filesystem::create_directory(place);
    folder_.document["database"]["database_path"] = (place / "palms.db").string();
    folder_.document["database"]["search_index_path"] = (place / "palms.bin").string();
    freshly([&] {
        startWithUmask(mask);
        enrol({1, 1, {}}, featuresOf(1));
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
        enrol({1, 1, {}}, featuresOf(1));
        for (const auto& file : std::filesystem::directory_iterator(place)) {
            EXPECT_EQ(modeOf(file.path()) & (~0666u | mask), 0u) << file.path();
        }
    });
}

TEST_P(NewFiles, StayAsTheyAreThroughAWipe) {
    const mode_t mask = GetParam();
    freshly([&] {
        startWithUmask(mask);
        EXPECT_EQ(pvaDataBaseDeleteAllPalm(), 1);
        enrol({1, 1, {}}, featuresOf(1));
        EXPECT_EQ(modeOf(database()), 0644 & ~mask);
    });
}

INSTANTIATE_TEST_SUITE_P(Umask, NewFiles, testing::Values(0, 022, 027, 077), [](const auto& mask) {
    return "Octal" + std::to_string(mask.param / 64) + std::to_string(mask.param / 8 % 8) +
           std::to_string(mask.param % 8);
});

TEST_F(FilePermissions, FilesThatAreThereKeepTheirModes) {
    freshly([&] { start(); });
    ::chmod(database().c_str(), 0600);
    ::chmod(cache().c_str(), 0600);
    freshly([&] {
        startWithUmask(0);
        enrol({1, 1, {}}, featuresOf(1));
        EXPECT_EQ(modeOf(database()), 0600u);
        EXPECT_EQ(modeOf(cache()), 0600u);
    });
}

TEST_F(FilePermissions, TheJournalIsNoWiderThanTheDatabase) {
    freshly([&] { start(); });
    ::chmod(database().c_str(), 0600);
    freshly([&] {
        startWithUmask(0);
        const FleetingFiles journals(database());
        enrol({1, 1, {}}, featuresOf(1));
        EXPECT_FALSE(journals.modes().empty());
        EXPECT_THAT(journals.modes(), testing::Each(0600u));
    });
}

class ConfigMode : public FilePermissions, public testing::WithParamInterface<mode_t> {};

TEST_P(ConfigMode, IsKeptByEverySetterAndByWhatItWritesOnTheWay) {
    freshly([&] {
        startWithUmask(0);
        ::chmod(folder_.configPath().c_str(), GetParam());
        const FleetingFiles siblings(folder_.configPath());
        EXPECT_EQ(pvaConfigSetEnhance(5), 1u);
        EXPECT_EQ(pvaConfigSetAuthThreshold(0.5f), 1u);
        EXPECT_EQ(modeOf(folder_.configPath()), GetParam());
        EXPECT_THAT(siblings.modes(), testing::ElementsAre(GetParam(), GetParam()));
    });
}

INSTANTIATE_TEST_SUITE_P(Modes, ConfigMode, testing::Values(0600, 0640, 0644, 0666),
                         [](const auto& mode) { return "Mode" + std::to_string(mode.param); });

TEST_F(FilePermissions, AConfigurationThatIsGoneIsWrittenAnewAsTheUmaskSays) {
    freshly([&] {
        startWithUmask(077);
        std::filesystem::remove(folder_.configPath());
        EXPECT_EQ(pvaConfigSetEnhance(5), 1u);
        EXPECT_EQ(modeOf(folder_.configPath()), 0600u);
    });
}

}  // namespace
}  // namespace brairu::test
