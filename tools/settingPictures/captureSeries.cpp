#include "settingPictures/captureSeries.h"

#include "settingPictures/embeddedImage.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyHand.h"

namespace brairu::tool {
namespace {

const cv::Size kShown(56, 42);

SvgPoint cornerOf(std::size_t column, double top) {
    return {kSeriesLeft + static_cast<double>(column) * kSeriesStep, top};
}

}  // namespace

std::vector<SeriesShot> takeSeries(const PalmIdentity& palm, Scenario scenario, int first,
                                   int count) {
    std::vector<SeriesShot> series;
    for (int number = first; number < first + count; ++number) {
        const CaptureConditions conditions = captureOf(kPictureSeed, palm, number, scenario);
        const cv::Mat luma = render(palm, conditions, kPictureFrame).luma;
        series.push_back({luma, captureFrom(luma)});
    }
    return series;
}

double drawSeries(SvgPicture& picture, double top, const std::vector<SeriesShot>& series) {
    for (std::size_t i = 0; i < series.size(); ++i) {
        picture.image(cornerOf(i, top), kShown.width, kShown.height,
                      embeddedImage(series[i].grey, kShown));
    }
    return top + kShown.height + 6;
}

double drawSeriesRow(SvgPicture& picture, double top, const std::string& title,
                     const std::vector<SeriesCell>& cells) {
    picture.text({kPictureMargin, top + 16}, title, "");
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const SvgPoint corner = cornerOf(i, top);
        picture.rectangle(corner, kShown.width, kSeriesRow - 3, filledWith(cells[i].colour));
        picture.text({corner.x + kShown.width / 2.0, corner.y + 15}, cells[i].text,
                     "text-anchor='middle' font-size='10'");
    }
    return top + kSeriesRow;
}

}  // namespace brairu::tool
