#include "evaluation/evaluationPictures.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "evaluation/confidence.h"
#include "evaluation/share.h"
#include "report/numbers.h"
#include "svg/svg.h"

namespace brairu::tool {
namespace {

constexpr char kOwn[] = "#1f5fa8";
constexpr char kOther[] = "#c2571a";
constexpr char kGrid[] = "stroke='#dddddd'";
constexpr char kMiddle[] = "text-anchor='middle'";
constexpr char kEnd[] = "text-anchor='end'";
constexpr char kTitle[] = "font-size='15'";

std::string filled(const char* colour, double opacity) {
    return "fill='" + std::string(colour) + "' fill-opacity='" + plain(opacity) + "'";
}

std::string stroked(const char* colour) {
    return "stroke='" + std::string(colour) + "' stroke-width='2'";
}

// A part of a picture that has axes of its own.
struct Panel {
    double left;
    double top;
    double width;
    double height;

    double bottom() const { return top + height; }
};

// Panels in two columns.
constexpr double kPanelWidth = 330;
constexpr double kPanelHeight = 150;
constexpr double kPanelGapX = 60;
constexpr double kPanelGapY = 75;
constexpr double kPanelsLeft = 50;
constexpr double kPanelsTop = 85;
constexpr double kPictureWidth = 2 * (kPanelWidth + kPanelGapX) + 20;

Panel panelAt(std::size_t index) {
    const std::size_t rowsAbove = index / 2;
    const auto column = static_cast<double>(index % 2);
    const auto row = static_cast<double>(rowsAbove);
    return {kPanelsLeft + column * (kPanelWidth + kPanelGapX),
            kPanelsTop + row * (kPanelHeight + kPanelGapY), kPanelWidth, kPanelHeight};
}

double heightOfPanels(std::size_t count) {
    const std::size_t rows = (count + 1) / 2;
    return kPanelsTop + static_cast<double>(rows) * (kPanelHeight + kPanelGapY);
}

void drawLegend(SvgPicture& picture, const char* title, const char* own, const char* other) {
    picture.text({kPanelsLeft, 24}, title, kTitle);
    picture.rectangle({kPanelsLeft, 34}, 12, 10, filled(kOwn, 0.6));
    picture.text({kPanelsLeft + 18, 43}, own, "");
    picture.rectangle({kPanelsLeft + 200, 34}, 12, 10, filled(kOther, 0.6));
    picture.text({kPanelsLeft + 218, 43}, other, "");
}

// ---- Histograms ----

constexpr int kBars = 80;
constexpr double kLowestShown = -0.6;

// Shares of all scores, by the bar that they fall into.
std::array<double, kBars> barsOf(const ScoreDistribution& scores) {
    std::array<double, kBars> bars{};
    const std::vector<std::uint64_t>& counts = scores.counts();
    for (std::size_t step = 0; step < counts.size(); ++step) {
        const double value = ScoreDistribution::thresholdOf(static_cast<int>(step));
        const double place = (value - kLowestShown) / (1.0 - kLowestShown) * kBars;
        const auto bar = static_cast<std::size_t>(std::clamp(place, 0.0, kBars - 1.0));
        bars[bar] += static_cast<double>(counts[step]) / static_cast<double>(scores.count());
    }
    return bars;
}

void drawBars(SvgPicture& picture, const Panel& panel, const ScoreDistribution& scores,
              const char* colour) {
    const std::array<double, kBars> bars = barsOf(scores);
    const double highest = *std::ranges::max_element(bars);
    const double width = panel.width / kBars;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double height = bars[i] / highest * panel.height;
        if (height > 0.0) {
            picture.rectangle(
                {panel.left + static_cast<double>(i) * width, panel.bottom() - height}, width,
                height, filled(colour, 0.6));
        }
    }
}

void drawSimilarityAxis(SvgPicture& picture, const Panel& panel) {
    for (const double value : {-0.5, 0.0, 0.5, 1.0}) {
        const double x = panel.left + (value - kLowestShown) / (1.0 - kLowestShown) * panel.width;
        picture.line({x, panel.top}, {x, panel.bottom()}, kGrid);
        picture.text({x, panel.bottom() + 16}, plain(value), kMiddle);
    }
    picture.line({panel.left, panel.bottom()}, {panel.left + panel.width, panel.bottom()},
                 "stroke='#888888'");
}

// ---- Trade-off ----

constexpr Panel kTradeOff{80, 50, 480, 380};
constexpr double kLowestRate = -6;  // powers of ten

// Where a rate lies between one and the lowest shown.
double depthOf(double rate) {
    return rate <= 0.0 ? 1.0 : std::clamp(std::log10(rate) / kLowestRate, 0.0, 1.0);
}

SvgPoint placeOf(double falseMatch, double falseNonMatch) {
    return {kTradeOff.left + (1.0 - depthOf(falseMatch)) * kTradeOff.width,
            kTradeOff.top + depthOf(falseNonMatch) * kTradeOff.height};
}

void drawRateGrid(SvgPicture& picture) {
    for (int power = 0; power >= static_cast<int>(kLowestRate); --power) {
        const double rate = std::pow(10.0, power);
        const SvgPoint across = placeOf(rate, 1.0);
        const SvgPoint down = placeOf(1.0, rate);
        picture.line({across.x, kTradeOff.top}, {across.x, kTradeOff.bottom()}, kGrid);
        picture.line({kTradeOff.left, down.y}, {kTradeOff.left + kTradeOff.width, down.y}, kGrid);
        picture.text({across.x, kTradeOff.bottom() + 18}, percent(rate), kMiddle);
        picture.text({kTradeOff.left - 8, down.y + 4}, percent(rate), kEnd);
    }
    picture.text({kTradeOff.left + kTradeOff.width / 2, kTradeOff.bottom() + 40},
                 "false-match rate", kMiddle);
    picture.text({kTradeOff.left, kTradeOff.top - 12}, "false non-match rate", "");
}

// As far as there are errors of both kinds.
std::vector<SvgPoint> cornersOf(const ErrorCurve& curve) {
    std::vector<SvgPoint> corners;
    OperatingPoint last;
    for (int step = 0; step < curve.steps(); ++step) {
        const OperatingPoint point = curve.at(step);
        const bool isNew = corners.empty() || point.falseMatches != last.falseMatches ||
                           point.falseNonMatches != last.falseNonMatches;
        if (isNew && point.falseMatches > 0 && point.falseNonMatches > 0) {
            corners.push_back(placeOf(point.falseMatch, point.falseNonMatch));
            last = point;
        }
    }
    return corners;
}

struct CurveStyle {
    Way way;
    const char* colour;
};

constexpr std::array kCurves{CurveStyle{Way::block0, "#6b9ac4"}, CurveStyle{Way::block1, "#97b77a"},
                             CurveStyle{Way::block2, "#b08bbb"}, CurveStyle{Way::mean, "#1f5fa8"},
                             CurveStyle{Way::allThree, "#c2571a"}};

// ---- Conditions ----

double missRate(const TraitRange& range) {
    return share(range.missed, range.comparisons);
}

double refusalRate(const TraitRange& range) {
    return share(range.refused, range.captures);
}

double highestOf(const TraitRow& row, double (*rate)(const TraitRange&)) {
    return rate(*std::ranges::max_element(row.ranges, {}, rate));
}

// One bar a range, as high as the panel where the rate is highest.
void drawRates(SvgPicture& picture, const Panel& panel, const TraitRow& row,
               double (*rate)(const TraitRange&), double shift, const char* colour) {
    const double highest = highestOf(row, rate);
    const double width = panel.width / static_cast<double>(row.ranges.size());
    for (std::size_t i = 0; i < row.ranges.size(); ++i) {
        const double height = highest > 0.0 ? rate(row.ranges[i]) / highest * panel.height : 0.0;
        picture.rectangle(
            {panel.left + (static_cast<double>(i) + shift) * width, panel.bottom() - height},
            0.33 * width, height, filled(colour, 0.7));
    }
}

void drawRanges(SvgPicture& picture, const Panel& panel, const TraitRow& row) {
    const double width = panel.width / static_cast<double>(row.ranges.size());
    for (std::size_t i = 0; i < row.ranges.size(); ++i) {
        picture.text({panel.left + (static_cast<double>(i) + 0.5) * width, panel.bottom() + 16},
                     inBrief(row.ranges[i].from) + " to " + inBrief(row.ranges[i].to),
                     "text-anchor='middle' font-size='9'");
    }
    picture.line({panel.left, panel.bottom()}, {panel.left + panel.width, panel.bottom()},
                 "stroke='#888888'");
}

void drawTrait(SvgPicture& picture, const Panel& panel, const TraitRow& row) {
    const std::string unit = row.trait.unit.empty() ? "" : ", " + row.trait.unit;
    picture.text({panel.left, panel.top - 20}, row.trait.name + unit, "font-weight='bold'");
    picture.text({panel.left, panel.top - 5},
                 "missed up to " + percent(highestOf(row, missRate)) + ", refused up to " +
                     percent(highestOf(row, refusalRate)),
                 "font-size='10' fill='#666666'");
    drawRates(picture, panel, row, missRate, 0.15, kOwn);
    drawRates(picture, panel, row, refusalRate, 0.52, kOther);
    drawRanges(picture, panel, row);
}

}  // namespace

std::string drawHistograms(const Evaluation& evaluation) {
    constexpr std::array kWaysShown{Way::block0, Way::block1, Way::block2, Way::mean};
    SvgPicture picture(kPictureWidth, heightOfPanels(kWaysShown.size()));
    drawLegend(picture, "Similarity of captures", "of one palm", "of two palms");
    for (std::size_t i = 0; i < kWaysShown.size(); ++i) {
        const Panel panel = panelAt(i);
        const ScorePair& scores = evaluation.sheet().scores(kWaysShown[i]);
        drawSimilarityAxis(picture, panel);
        picture.text({panel.left, panel.top - 8}, nameOf(kWaysShown[i]), "font-weight='bold'");
        drawBars(picture, panel, scores.impostor, kOther);
        drawBars(picture, panel, scores.genuine, kOwn);
    }
    return picture.document();
}

std::string drawTradeOff(const Evaluation& evaluation) {
    SvgPicture picture(760, 490);
    picture.text({kTradeOff.left, 20}, "Missed against mistaken palms, by comparison", kTitle);
    drawRateGrid(picture);
    double labelY = kTradeOff.top + 20;
    for (const CurveStyle& style : kCurves) {
        const ErrorCurve curve(evaluation.sheet().scores(style.way));
        picture.polyline(cornersOf(curve), stroked(style.colour));
        picture.line({575, labelY - 4}, {595, labelY - 4}, stroked(style.colour));
        picture.text({602, labelY}, nameOf(style.way), "");
        labelY += 20;
    }
    const double told = lowestTold(evaluation.sheet().scores(Way::mean).impostor.count());
    const double x = placeOf(told, 1.0).x;
    picture.line({x, kTradeOff.top}, {x, kTradeOff.bottom()},
                 "stroke='#999999' stroke-dasharray='4 4'");
    picture.text({x + 5, kTradeOff.bottom() - 6}, "told by this many comparisons",
                 "fill='#666666'");
    return picture.document();
}

std::string drawConditions(const Evaluation& evaluation) {
    const std::vector<TraitRow>& rows = evaluation.traits();
    SvgPicture picture(kPictureWidth, heightOfPanels(rows.size()));
    drawLegend(picture, "Errors by condition", "missed when compared", "refused frames");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        drawTrait(picture, panelAt(i), rows[i]);
    }
    return picture.document();
}

}  // namespace brairu::tool
