#include <algorithm>

#include "match/authentication.h"
#include "match/registration.h"
#include "report/numbers.h"
#include "settingPictures/captureSeries.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyHand.h"

namespace brairu::tool {
namespace {

constexpr int kShots = 12;
constexpr int kHighestLevel = 4;
constexpr char kTaken[] = "#bfe3cc";
constexpr char kTooAlike[] = "#efc4d6";
constexpr char kDone[] = "#eeeeee";

// One palm's captures, offered to an enrolment until it has enough.
class Offering {
public:
    explicit Offering(const std::vector<SeriesShot>& series) : series_(series) {
        result_.maxCount = pvaGetRegisterBufferCapacity();
        key_.userid = 1;
    }

    std::vector<SeriesCell> cells() {
        std::vector<SeriesCell> cells;
        for (const SeriesShot& shot : series_) {
            cells.push_back(isEnrolled_ ? SeriesCell{"", kDone} : offer(shot.capture));
        }
        pvaClearRegisterBuffer();
        pvaDataBaseDeleteUser(&key_);
        return cells;
    }

private:
    SeriesCell offer(const Capture& capture) {
        if (!capture.isGood()) {
            return {"refused", kDone};
        }
        const int before = result_.count;
        pvaRegister(&key_, capture.features.data(), 0, &result_);
        if (result_.status == PVA_REGISTER_MORE && result_.count == before) {
            return {rounded(static_cast<double>(likeness(capture)), 2), kTooAlike};
        }
        taken_.push_back(&capture);
        isEnrolled_ = result_.status == PVA_REGISTER_COMMITTED;
        return {std::to_string(taken_.size()) + (isEnrolled_ ? " enrolled" : ""), kTaken};
    }

    // With the taken capture that is most alike.
    float likeness(const Capture& capture) const {
        float most = -1.0f;
        for (const Capture* taken : taken_) {
            most =
                std::max(most, compareCaptures(capture.features.data(), taken->features.data())[0]);
        }
        return most;
    }

    const std::vector<SeriesShot>& series_;
    std::vector<const Capture*> taken_;
    PvaUserKey key_{};
    PvaRegisterResult result_{};
    bool isEnrolled_ = false;
};

std::string levelTitle(int level, int shipped) {
    const double cap = static_cast<double>(dynamicSimilarityCap(level));
    std::string title = "level " + std::to_string(level);
    title += level == 0 ? ", no cap" : ", cap " + rounded(cap, 2);
    return title + (level == shipped ? " (shipped)" : "");
}

double drawLevels(SvgPicture& picture, double top, const std::vector<SeriesShot>& series,
                  int shipped) {
    for (int level = 0; level <= kHighestLevel; ++level) {
        pvaConfigSetDynamicDetectionLevel(static_cast<std::uint32_t>(level));
        top = drawSeriesRow(picture, top, levelTitle(level, shipped), Offering(series).cells());
    }
    pvaConfigSetDynamicDetectionLevel(static_cast<std::uint32_t>(shipped));
    return top;
}

double drawCounts(SvgPicture& picture, double top, const std::vector<SeriesShot>& series,
                  int shipped) {
    for (const int count : {2, 4, 6, 8}) {
        pvaConfigSetRegisMaxCount(static_cast<std::uint32_t>(count));
        top = drawSeriesRow(
            picture, top,
            std::to_string(count) + " captures" + (count == shipped ? " (shipped)" : ""),
            Offering(series).cells());
    }
    pvaConfigSetRegisMaxCount(static_cast<std::uint32_t>(shipped));
    return top;
}

const std::vector<NamedSetting> kSettings{
    {"handpose", "dynamic_detection_level",
     "higher: captures in the second half have to differ more"},
    {"database", "regis_max_count", "captures that an enrolment takes"},
};

}  // namespace

std::string drawEnrolment(PictureSource& source) {
    const std::vector<SeriesShot> series =
        takeSeries(picturedPalm(), Scenario::enrolment, 0, kShots);
    SvgPicture picture(910, 415);
    double top = writeSettings(picture, 30, source.config, kSettings);
    picture.text({kPictureMargin, top + 12},
                 "One palm, " + std::to_string(kShots) +
                     " captures one after the other. Green: taken, and its number; red: too much"
                     " like one before, and how much.",
                 "");
    top = drawSeries(picture, top + 26, series);
    top = drawLevels(picture, top, series,
                     readInt(source.config, "handpose", "dynamic_detection_level"));
    picture.text({kPictureMargin, top + 24}, "The same captures by regis_max_count", "");
    drawCounts(picture, top + 34, series, readInt(source.config, "database", "regis_max_count"));
    return picture.document();
}

}  // namespace brairu::tool
