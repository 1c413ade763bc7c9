#include <algorithm>
#include <array>

#include "evaluation/share.h"
#include "report/numbers.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/renderedSearches.h"
#include "store/palmTemplate.h"

namespace brairu::tool {
namespace {

constexpr std::array kCounts{1, 2, 3, 4, 6, 8, 10};
constexpr std::array kCentres{1, 2, 3, 4, 5};
constexpr double kTop = 130;
constexpr double kWidth = 370;
constexpr double kHeight = 150;
// The shares that are shown, from the foot of a panel to its top.
constexpr double kLowestShare = 0.3;

struct Variant {
    int value;     // of the setting
    double share;  // of the probes that are let in
};

Variant variantOf(const CaptureSet& set, int value, std::size_t captures, int centres,
                  Thresholds thresholds) {
    const auto decisions = countAccepted(
        searchesOf(set, captures, centres),
        [&](const BlockSimilarities& scores) { return thresholds.identifies(scores); });
    return {value, share(decisions.genuineAccepted, decisions.genuine)};
}

void drawBar(SvgPicture& picture, double left, double width, const Variant& variant,
             bool isShipped) {
    const double height =
        std::clamp((variant.share - kLowestShare) / (1.0 - kLowestShare), 0.0, 1.0) * kHeight;
    picture.rectangle({left, kTop + kHeight - height}, width, height,
                      filledWith(isShipped ? kOwnPalm : "#9bb8d6"));
    const double middle = left + width / 2;
    picture.text({middle, kTop + kHeight - height - 5}, rounded(100.0 * variant.share, 1) + " %",
                 "text-anchor='middle' font-size='11'");
    picture.text({middle, kTop + kHeight + 16}, std::to_string(variant.value),
                 isShipped ? "text-anchor='middle' font-weight='bold'" : "text-anchor='middle'");
}

void drawPanel(SvgPicture& picture, double left, const char* title,
               const std::vector<Variant>& variants, int shipped) {
    picture.text({left, kTop - 34}, title, "font-weight='bold'");
    picture.line({left, kTop + kHeight}, {left + kWidth, kTop + kHeight}, "stroke='#888888'");
    const double step = kWidth / static_cast<double>(variants.size());
    for (std::size_t i = 0; i < variants.size(); ++i) {
        drawBar(picture, left + (static_cast<double>(i) + 0.2) * step, 0.6 * step, variants[i],
                variants[i].value == shipped);
    }
}

void writeCosts(SvgPicture& picture, double left, std::size_t bars) {
    const double step = kWidth / static_cast<double>(bars);
    for (std::size_t i = 0; i < bars; ++i) {
        const auto centres = static_cast<unsigned long long>(kCentres[i]);
        const double middle = left + (static_cast<double>(i) + 0.5) * step;
        const std::string style = filledWith(kNeutral, "text-anchor='middle' font-size='11'");
        picture.text({middle, kTop + kHeight + 34},
                     grouped(centres * (PVA_FEATURE_BLOCK_BYTES + 1)), style);
        picture.text({middle, kTop + kHeight + 49}, grouped(centres * PVA_TEMPLATE_BYTES), style);
    }
}

const std::vector<NamedSetting> kSettings{
    {"database", "regis_max_count", "captures of an enrolment; more take longer"},
    {"database", "regis_center_count", "templates of a palm; more take memory and search time"},
};

}  // namespace

std::string drawTemplates(PictureSource& source) {
    const CaptureSet set = picturedCaptures(source.config);
    const Thresholds thresholds = thresholdsOf(source.config);
    const int captures = readInt(source.config, "database", "regis_max_count");
    const int centres = readInt(source.config, "database", "regis_center_count");
    std::vector<Variant> byCount;
    for (const int count : kCounts) {
        byCount.push_back(
            variantOf(set, count, static_cast<std::size_t>(count), centres, thresholds));
    }
    std::vector<Variant> byCentres;
    for (const int count : kCentres) {
        byCentres.push_back(
            variantOf(set, count, static_cast<std::size_t>(captures), count, thresholds));
    }

    SvgPicture picture(900, kTop + kHeight + 80);
    writeSettings(picture, 30, source.config, kSettings);
    picture.text({kPictureMargin, 74},
                 "Later, careless captures of the same palms that are let in; the shipped value is"
                 " dark. Bars begin at " +
                     rounded(100.0 * kLowestShare, 0) + " %.",
                 "");
    drawPanel(picture, kPictureMargin, "by regis_max_count", byCount, captures);
    drawPanel(picture, kPictureMargin + 440, "by regis_center_count", byCentres, centres);
    writeCosts(picture, kPictureMargin + 440, kCentres.size());
    picture.text({kPictureMargin + 440, kTop + kHeight + 67},
                 "bytes of feature cache and of database for a palm",
                 filledWith(kNeutral, "font-size='11'"));
    return picture.document();
}

}  // namespace brairu::tool
