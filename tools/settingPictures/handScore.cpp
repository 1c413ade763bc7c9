#include <algorithm>
#include <array>

#include "settingPictures/drawings.h"
#include "settingPictures/frameRow.h"
#include "settingPictures/look.h"
#include "settingPictures/pictureText.h"
#include "settingPictures/steadyHand.h"
#include "utils/convert.h"

namespace brairu::tool {
namespace {

constexpr int kScenes = 300;

// Degrees.
struct Tilt {
    float across;
    float along;
};

constexpr std::array kTilts{Tilt{60.0f, 50.0f}, Tilt{60.0f, 40.0f}, Tilt{60.0f, 30.0f},
                            Tilt{60.0f, 0.0f}, Tilt{0.0f, 0.0f}};
// The scenes that are shown, by their place among all in order of their scores.
constexpr std::array kScenesShown{150, 270, 290, 296, 299};

class Scores {
public:
    explicit Scores(ConfigDocument& config)
        : config_(config),
          threshold_(readFloat(config, "handpose", "model_probability_threshold")) {}

    int of(const cv::Mat& luma) const { return handScore(luma, threshold_); }
    int limit() const { return wholePercent(threshold_); }

    Shot shot(const cv::Mat& luma) {
        const int score = of(luma);
        const Look look = lookAt(luma, config_);
        Shot shot;
        shot.grey = luma;
        shot.measured = "hand score " + std::to_string(score) + " %";
        shot.verdict = verdictOf(look);
        shot.accepted = look.capture.hand;
        shot.side = score < limit() ? -1 : 0;
        return shot;
    }

private:
    ConfigDocument& config_;
    float threshold_;
};

// From the least sure to the surest.
FrameRow tiltedHands(Scores& scores) {
    FrameRow row;
    row.title =
        "One hand, tilted away from the camera ever less: below the threshold it is not seen";
    const PalmIdentity palm = picturedPalm();
    for (const Tilt& tilt : kTilts) {
        CaptureConditions hand = steadyHand(palm);
        hand.tiltAcross = tilt.across;
        hand.tiltAlong = tilt.along;
        row.shots.push_back(scores.shot(render(palm, hand, kPictureFrame).luma));
    }
    return row;
}

struct Scene {
    int number;
    int score;
};

std::vector<Scene> scenesByScore(const Scores& scores) {
    std::vector<Scene> scenes;
    for (int number = 0; number < kScenes; ++number) {
        const RenderedFrame frame = renderWithoutPalm(kPictureSeed, number, kPictureFrame);
        scenes.push_back({number, scores.of(frame.luma)});
    }
    std::ranges::stable_sort(scenes, {}, &Scene::score);
    return scenes;
}

FrameRow scenesWithoutHand(Scores& scores, const std::vector<Scene>& scenes) {
    FrameRow row;
    row.title = "Of " + std::to_string(kScenes) +
                " scenes without an open palm, the middle one"
                " and some of the highest scores; red: taken for a hand";
    for (const int place : kScenesShown) {
        const int number = scenes[static_cast<std::size_t>(place)].number;
        Shot shot = scores.shot(renderWithoutPalm(kPictureSeed, number, kPictureFrame).luma);
        shot.accepted = !shot.accepted;
        row.shots.push_back(shot);
    }
    return row;
}

std::string shareAtOrAbove(const std::vector<Scene>& scenes, int limit) {
    const auto count =
        std::ranges::count_if(scenes, [limit](const Scene& scene) { return scene.score >= limit; });
    return std::to_string(count) + " at " + std::to_string(limit) + " %";
}

std::string falseAlarms(const std::vector<Scene>& scenes, int limit) {
    std::string text = "Scenes of these " + std::to_string(kScenes) + " that reach the threshold: ";
    constexpr int kStep = 20;
    for (const int each : {limit - kStep, limit, limit + kStep}) {
        text += (each > limit - kStep ? ", " : "") + shareAtOrAbove(scenes, each);
    }
    return text + ". Those that then look like a palm would be taken for one.";
}

}  // namespace

std::string drawHandScore(PictureSource& source) {
    Scores scores(source.config);
    const std::vector<Scene> scenes = scenesByScore(scores);
    FrameRow hands = tiltedHands(scores);
    FrameRow others = scenesWithoutHand(scores, scenes);
    hands.lowerLimit = others.lowerLimit = "at least " + std::to_string(scores.limit()) + " %";

    constexpr double kTop = 30;
    constexpr double kFoot = 34;
    const std::vector<NamedSetting> settings{
        {"handpose", "model_probability_threshold",
         "lower: more false alarms; higher: hands at an angle are missed"}};
    SvgPicture picture(kRowsWidth, kTop + kFoot + heightOf(hands) + heightOf(others));
    double top = writeSettings(picture, kTop, source.config, settings);
    top = drawRow(picture, top, hands);
    top = drawRow(picture, top, others);
    picture.text({kPictureMargin, top + 6}, falseAlarms(scenes, scores.limit()), "");
    return picture.document();
}

}  // namespace brairu::tool
