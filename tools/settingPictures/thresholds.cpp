#include <algorithm>
#include <array>

#include "evaluation/share.h"
#include "report/numbers.h"
#include "settingPictures/drawings.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/renderedSearches.h"

namespace brairu::tool {
namespace {

constexpr int kBars = 75;
constexpr double kLowestShown = -0.5;
constexpr std::array kTried{0.5f, 0.6f, 0.7f, 0.8f, 0.9f};

struct Panel {
    double left;
    double top;
    double width = 400;
    double height = 150;

    double at(double similarity) const {
        return left + (similarity - kLowestShown) / (1.0 - kLowestShown) * width;
    }
    double bottom() const { return top + height; }
};

using Bars = std::array<double, kBars>;

Bars barsOf(const std::vector<float>& scores) {
    Bars bars{};
    for (const float score : scores) {
        const double place =
            (static_cast<double>(score) - kLowestShown) / (1.0 - kLowestShown) * kBars;
        bars[static_cast<std::size_t>(std::clamp(place, 0.0, kBars - 1.0))] += 1.0;
    }
    return bars;
}

// As high as the panel where the bar is highest: strangers are many more than own palms.
void drawBars(SvgPicture& picture, const Panel& panel, const std::vector<float>& scores,
              const char* colour) {
    const Bars bars = barsOf(scores);
    const double highest = std::max(1.0, *std::ranges::max_element(bars));
    const double width = panel.width / kBars;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        if (bars[i] > 0.0) {
            const double height = bars[i] / highest * panel.height;
            picture.rectangle(
                {panel.left + static_cast<double>(i) * width, panel.bottom() - height}, width,
                height, filledWith(colour, "fill-opacity='0.6'"));
        }
    }
}

void drawAxis(SvgPicture& picture, const Panel& panel) {
    for (const double value : {-0.5, 0.0, 0.5, 1.0}) {
        picture.line({panel.at(value), panel.top}, {panel.at(value), panel.bottom()}, kGridLine);
        picture.text({panel.at(value), panel.bottom() + 15}, plain(value), "text-anchor='middle'");
    }
}

// score: what of a comparison the threshold is held against.
template <typename Score>
void drawPanel(SvgPicture& picture, const Panel& panel, const std::vector<Comparison>& comparisons,
               float threshold, const char* title, Score score) {
    std::vector<float> own;
    std::vector<float> others;
    for (const Comparison& comparison : comparisons) {
        (comparison.isGenuine() ? own : others).push_back(score(comparison.scores));
    }
    picture.text({panel.left, panel.top - 10}, title, "font-weight='bold'");
    drawAxis(picture, panel);
    drawBars(picture, panel, others, kStranger);
    drawBars(picture, panel, own, kOwnPalm);
    const double x = panel.at(static_cast<double>(threshold));
    picture.line({x, panel.top}, {x, panel.bottom()}, kLimitLine);
}

std::string passedOf(std::uint64_t accepted, std::uint64_t all) {
    return grouped(accepted) + " of " + grouped(all);
}

// Lines of a table, each with so many texts at these places.
constexpr std::array kColumns{16.0, 150.0, 310.0, 480.0, 640.0};

using Cells = std::array<std::string, kColumns.size()>;

// Own palms with the threshold of the row in the place of one or of both, and the strangers.
const Cells kHeadings{"threshold", "own, auth_threshold", "own, filter_threshold", "own, both",
                      "strangers, both"};

void writeCells(SvgPicture& picture, double top, const Cells& cells, const std::string& style) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        picture.text({kColumns[i], top}, cells[i], style);
    }
}

double writeTable(SvgPicture& picture, double top, const std::vector<Comparison>& comparisons,
                  Thresholds shipped) {
    writeCells(picture, top, kHeadings, "font-weight='bold'");
    for (const float tried : kTried) {
        top += 17;
        const auto with = [&](Thresholds thresholds) {
            return countAccepted(comparisons, [&](const BlockSimilarities& scores) {
                return thresholds.identifies(scores);
            });
        };
        const auto auth = with({tried, shipped.filter});
        const auto filter = with({shipped.auth, tried});
        const auto both = with({tried, tried});
        writeCells(
            picture, top,
            {rounded(static_cast<double>(tried), 2), passedOf(auth.genuineAccepted, auth.genuine),
             passedOf(filter.genuineAccepted, filter.genuine),
             passedOf(both.genuineAccepted, both.genuine),
             passedOf(both.impostorsAccepted, both.impostors)},
            "");
    }
    return top;
}

const std::vector<NamedSetting> kSettings{
    {"feature", "auth_threshold", "blocks 0 and 1 have to be above it, in 1:N"},
    {"feature", "filter_threshold", "block 2 has to be above it, in 1:N"},
};

}  // namespace

std::string drawThresholds(PictureSource& source) {
    const CaptureSet set = picturedCaptures(source.config);
    const auto captures =
        static_cast<std::size_t>(readInt(source.config, "database", "regis_max_count"));
    const std::vector<Comparison> comparisons =
        searchesOf(set, captures, readInt(source.config, "database", "regis_center_count"));
    const Thresholds shipped = thresholdsOf(source.config);

    SvgPicture picture(900, 470);
    const double top = writeSettings(picture, 30, source.config, kSettings);
    picture.rectangle({kPictureMargin, top + 2}, 12, 10, filledWith(kOwnPalm));
    picture.text({kPictureMargin + 18, top + 11}, "a palm with its own templates", "");
    picture.rectangle({kPictureMargin + 230, top + 2}, 12, 10, filledWith(kStranger));
    picture.text({kPictureMargin + 248, top + 11}, "with those of another palm", "");
    drawPanel(picture, {kPictureMargin, top + 60}, comparisons, shipped.auth,
              "The lower similarity of blocks 0 and 1",
              [](const BlockSimilarities& scores) { return std::min(scores[0], scores[1]); });
    drawPanel(picture, {kPictureMargin + 450, top + 60}, comparisons, shipped.filter,
              "The similarity of block 2",
              [](const BlockSimilarities& scores) { return scores[2]; });
    const double end = writeTable(picture, top + 266, comparisons, shipped);
    picture.text({kPictureMargin, end + 24},
                 "Careless captures of rendered palms, " + std::to_string(set.palms.size()) +
                     " of them, each enrolled with " + std::to_string(captures) +
                     " captures. Strangers of a real camera are far more alike.",
                 filledWith(kNeutral));
    return picture.document();
}

}  // namespace brairu::tool
