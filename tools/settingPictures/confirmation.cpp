#include <memory>
#include <stdexcept>

#include "engine/engine.h"
#include "engine/engineSetup.h"
#include "matching/recognition.h"
#include "settingPictures/captureSeries.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyHand.h"

namespace brairu::tool {
namespace {

constexpr int kShots = 10;
constexpr int kStrangersShots = 2;
constexpr int kEnrolmentShots = 24;
constexpr int kHighestLevel = 4;
constexpr char kLetIn[] = "#9ed3b1";
constexpr char kWaiting[] = "#f3e3a8";
constexpr char kNoMatch[] = "#efc4d6";
constexpr char kNotSeen[] = "#eeeeee";

// Offers captures of a palm until it is enrolled.
void enrolPalm(const PalmIdentity& palm) {
    PvaUserKey key{};
    key.userid = 1;
    PvaRegisterResult result{};
    result.maxCount = pvaGetRegisterBufferCapacity();
    for (const SeriesShot& shot : takeSeries(palm, Scenario::enrolment, 0, kEnrolmentShots)) {
        if (shot.capture.isGood() && result.status != PVA_REGISTER_COMMITTED) {
            pvaRegister(&key, shot.capture.features.data(), 0, &result);
        }
    }
    if (result.status != PVA_REGISTER_COMMITTED) {
        throw std::runtime_error("the palm of the picture could not be enrolled");
    }
}

// The enrolled palm at the door, with somebody else in between.
std::vector<SeriesShot> takeDoorSeries(const PalmIdentity& palm) {
    std::vector<SeriesShot> series = takeSeries(palm, Scenario::hard, 0, kShots);
    const std::vector<SeriesShot> stranger =
        takeSeries(picturedPalm(1), Scenario::enrolment, 0, kStrangersShots);
    series.insert(series.begin() + kShots / 2, stranger.begin(), stranger.end());
    return series;
}

SeriesCell cellOf(const Capture& capture, int& matches) {
    if (!capture.isGood()) {
        return {"refused", kNotSeen};
    }
    switch (recognise(capture.features).kind) {
        case Recognition::Kind::recognised: matches = 0; return {"let in", kLetIn};
        case Recognition::Kind::unconfirmed:
            return {"match " + std::to_string(++matches), kWaiting};
        case Recognition::Kind::unknown: break;
    }
    return {"no match", kNoMatch};
}

std::vector<SeriesCell> cellsOf(const std::vector<SeriesShot>& series) {
    std::vector<SeriesCell> cells;
    int matches = 0;
    for (const SeriesShot& shot : series) {
        cells.push_back(cellOf(shot.capture, matches));
    }
    return cells;
}

// The matches that wait for others outlast an engine: lets the palm in once more.
void emptyHistory(const std::vector<SeriesShot>& series) {
    for (int round = 0; round < kHighestLevel; ++round) {
        for (const SeriesShot& shot : series) {
            if (shot.capture.isGood() &&
                recognise(shot.capture.features).kind == Recognition::Kind::recognised) {
                return;
            }
        }
    }
}

std::string titleOf(int level, int shipped) {
    return "security_level " + std::to_string(level) + (level == shipped ? " (shipped)" : "");
}

// An engine that starts with this level; the store is that of the first start.
class LevelledEngine {
public:
    LevelledEngine(const PictureSource& source, int level)
        : setup_(source.configPath, StoreChoice::real,
                 [level](ConfigDocument& config) { config["feature"]["security_level"] = level; }),
          engine_(setup_.configPath()) {}

private:
    EngineSetup setup_;
    Engine engine_;
};

const std::vector<NamedSetting> kSettings{
    {"feature", "security_level",
     "matches of the same palm that it takes; captures that match nobody do not undo them"},
};

}  // namespace

std::string drawConfirmation(PictureSource& source) {
    const PalmIdentity palm = picturedPalm();
    const int shipped = readInt(source.config, "feature", "security_level");
    SvgPicture picture(910, 235);
    const double top = writeSettings(picture, 30, source.config, kSettings);
    picture.text({kPictureMargin, top + 12},
                 "Captures at a door, one after the other: an enrolled palm, held carelessly; the"
                 " sixth and seventh are of somebody else.",
                 "");
    std::vector<SeriesShot> series;
    double rowTop = top + 26;
    for (int level = 1; level <= kHighestLevel; ++level) {
        const LevelledEngine engine(source, level);
        if (series.empty()) {
            enrolPalm(palm);
            series = takeDoorSeries(palm);
            rowTop = drawSeries(picture, rowTop, series);
        }
        rowTop = drawSeriesRow(picture, rowTop, titleOf(level, shipped), cellsOf(series));
        emptyHistory(series);
    }
    return picture.document();
}

}  // namespace brairu::tool
