#include "renderer/palmRenderer.h"

#include "renderer/background.h"
#include "renderer/camera.h"
#include "renderer/random.h"
#include "renderer/silhouette.h"
#include "renderer/skinShading.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

enum Stream : std::uint64_t {
    kSceneStream = 11,
    kNoiseStream = 12,
    kNoHandStream = 13,
    kStainStream = 14
};

constexpr float kNeutralDetail = 128.0f;
constexpr float kShadeScale = 96.0f;
constexpr int kNoiseSide = 1024;

// Everything about a capture that is on the way into the frame.
struct Scene {
    const CaptureConditions& conditions;
    const Camera& camera;
    cv::Size size;
    float albedo;
};

cv::Rect2f handArea(const Camera& camera) {
    constexpr float kLeft = -1.65f;
    constexpr float kRight = 1.45f;
    constexpr float kTop = 1.55f;
    constexpr float kBottom = -6.5f;
    const cv::Rect2f reach(kLeft, kBottom, kRight - kLeft, kTop - kBottom);
    const cv::Rect2f area = camera.visibleArea() & reach;
    return area.area() > 0.0f ? area : cv::Rect2f(kLeft, -2.0f, 0.5f, 0.5f);
}

// Creases are grooves: under slanting light one bank is bright and the other dark.
void lightGrooves(cv::Mat& detail, const cv::Mat& creases, const CaptureConditions& conditions) {
    const cv::Point2f slant = conditions.lightSlope * (0.6f * conditions.grooves);
    const cv::Matx33f across(0.0f, slant.y, 0.0f, -slant.x, 0.0f, slant.x, 0.0f, -slant.y, 0.0f);
    cv::Mat banks;
    cv::filter2D(creases, banks, CV_8U, across, {-1, -1}, static_cast<double>(kNeutralDetail));
    cv::addWeighted(detail, 1.0, banks, 1.0, -static_cast<double>(kNeutralDetail), detail);
}

// Soft places that are darker or brighter than the skin around.
void addStains(cv::Mat& detail, const CaptureConditions& conditions) {
    Random random{conditions.noiseKey, kStainStream};
    cv::Mat stains(detail.rows / 8, detail.cols / 8, CV_8U,
                   cv::Scalar::all(static_cast<double>(kNeutralDetail)));
    for (int i = 0; i < conditions.stains; ++i) {
        cv::ellipse(stains, {random.below(stains.cols), random.below(stains.rows)},
                    {1 + random.below(8), 1 + random.below(5)}, random.uniform(0.0f, 180.0f), 0.0,
                    360.0, cv::Scalar::all(random.uniform(80.0f, 160.0f)), cv::FILLED);
    }
    cv::GaussianBlur(stains, stains, {}, 0.8);
    cv::resize(stains, stains, detail.size(), 0, 0, cv::INTER_LINEAR);
    cv::addWeighted(detail, 1.0, stains, 1.0, -static_cast<double>(kNeutralDetail), detail);
}

// Creases, veins and relief as this capture shows them, around kNeutralDetail.
cv::Mat mixDetail(const PalmIdentity& identity, const CaptureConditions& conditions) {
    cv::Mat dark;
    cv::addWeighted(identity.creases, 0.5 * static_cast<double>(conditions.creaseContrast),
                    identity.veins, 0.5 * static_cast<double>(conditions.veinContrast), 0.0, dark);
    const auto relief = static_cast<double>(conditions.reliefContrast);
    cv::Mat detail;
    cv::addWeighted(identity.relief, relief, dark, -1.0,
                    static_cast<double>(kNeutralDetail) * (1.0 - relief), detail);
    if (conditions.grooves > 0.0f) {
        lightGrooves(detail, identity.creases, conditions);
    }
    if (conditions.stains > 0) {
        addStains(detail, conditions);
    }
    return detail;
}

// The detail layer in frame pixels.
cv::Mat projectDetail(const PalmIdentity& identity, const Scene& scene) {
    cv::Mat detail = mixDetail(identity, scene.conditions);
    float scale = kTextureScale;
    if (scene.camera.scale() < 0.8f * kTextureScale) {
        const auto shrink = static_cast<double>(scene.camera.scale() / kTextureScale);
        cv::resize(detail, detail, {}, shrink, shrink, cv::INTER_AREA);
        scale = static_cast<float>(detail.cols) / kTextureArea.width;
    }
    cv::Mat projected;
    cv::remap(detail, projected, scene.camera.rasterMap(kTextureArea, scale), {}, cv::INTER_LINEAR,
              cv::BORDER_CONSTANT, cv::Scalar::all(static_cast<double>(kNeutralDetail)));
    return projected;
}

cv::Mat projectSkin(const Silhouette& silhouette, const Scene& scene) {
    const float scale = std::min(kShadeScale, scene.camera.scale());
    const ShadedSkin skin = shadeSkin(silhouette, scene.conditions, handArea(scene.camera), scale);
    cv::Mat projected;
    cv::remap(skin.coverageAndShade, projected, scene.camera.rasterMap(skin.area, skin.scale), {},
              cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar::all(0.0));
    return projected;
}

// Darkens what lies behind the hand, away from the light.
void castShadow(cv::Mat& background, const cv::Mat& skin, const Scene& scene) {
    constexpr int kShrink = 4;
    cv::Mat coverage;
    cv::extractChannel(skin, coverage, 0);
    cv::resize(coverage, coverage, {}, 1.0 / kShrink, 1.0 / kShrink, cv::INTER_AREA);
    const auto reach = static_cast<double>(scene.camera.scale()) * 0.10 / kShrink;
    const auto& slope = scene.conditions.lightSlope;
    const cv::Matx23d shift(1.0, 0.0, -3.0 * reach * static_cast<double>(slope.x), 0.0, 1.0,
                            3.0 * reach * static_cast<double>(slope.y));
    cv::warpAffine(coverage, coverage, shift, coverage.size());
    cv::GaussianBlur(coverage, coverage, {}, 0.6 + reach);
    cv::resize(coverage, coverage, background.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat shadow;
    cv::multiply(background, coverage, shadow, 0.45 / 255.0);
    cv::subtract(background, shadow, background);
}

// Share of the light that reaches each column or row offset from the brightest place.
class LightField {
public:
    explicit LightField(const Scene& scene)
        : x_(scene.conditions.lightCentre.x * static_cast<float>(scene.size.width)),
          y_(scene.conditions.lightCentre.y * static_cast<float>(scene.size.height)),
          fallOff_(4.0f * scene.conditions.lightFallOff /
                   static_cast<float>(scene.size.width * scene.size.height)) {}

    float at(float x, float y) const {
        const float dx = x - x_;
        const float dy = y - y_;
        return 1.0f / (1.0f + fallOff_ * (dx * dx + dy * dy));
    }

private:
    float x_;
    float y_;
    float fallOff_;
};

// Lays lit skin over the background.
void compose(cv::Mat& frame, const cv::Mat& skin, const cv::Mat& detail, const Scene& scene) {
    const LightField light(scene);
    const float edge = kOutlineBlur * scene.camera.scale() * 2.5066f / (255.0f * 1.2f);
    const float level = scene.conditions.exposure * scene.albedo / kFullShade;
    constexpr float kDetailGain = 0.75f / kNeutralDetail;
    for (int y = 0; y < frame.rows; ++y) {
        auto* to = frame.ptr<std::uint8_t>(y);
        const auto* from = skin.ptr<std::uint8_t>(y);
        const auto* fine = detail.ptr<std::uint8_t>(y);
        for (int x = 0; x < frame.cols; ++x) {
            const float cover =
                std::clamp(0.5f + (static_cast<float>(from[2 * x]) - 127.5f) * edge, 0.0f, 1.0f);
            const float deviation = static_cast<float>(fine[x]) - kNeutralDetail;
            const float texture = 1.0f + deviation * kDetailGain;
            const float lit = light.at(static_cast<float>(x), static_cast<float>(y));
            const float grey = level * static_cast<float>(from[2 * x + 1]) * texture * lit;
            const float behind = static_cast<float>(to[x]);
            to[x] = static_cast<std::uint8_t>(std::min(behind + cover * (grey - behind), 255.0f));
        }
    }
}

void blurByMotion(cv::Mat& frame, float length, float angle) {
    const int reach = cvCeil(length * 0.5f);
    if (length < 1.0f) {
        return;
    }
    cv::Mat kernel = cv::Mat::zeros(2 * reach + 1, 2 * reach + 1, CV_32F);
    constexpr int kSamples = 24;
    for (int i = 0; i <= kSamples; ++i) {
        const float t = (static_cast<float>(i) / kSamples - 0.5f) * length;
        const int x = reach + cvRound(t * std::cos(angle));
        const int y = reach + cvRound(t * std::sin(angle));
        kernel.at<float>(y, x) += 1.0f / (kSamples + 1);
    }
    cv::filter2D(frame, frame, -1, kernel);
}

void blur(cv::Mat& frame, const Scene& scene) {
    const float deviation = scene.conditions.focusBlur * scene.camera.scale();
    if (deviation > 0.3f) {
        cv::GaussianBlur(frame, frame, {}, static_cast<double>(deviation));
    }
    blurByMotion(frame, scene.conditions.motionBlur * scene.camera.scale(),
                 scene.conditions.motionAngle);
}

const std::vector<float>& noiseTile() {
    static const std::vector<float> tile = [] {
        Random random{kNoiseStream};
        std::vector<float> values(static_cast<std::size_t>(kNoiseSide) * kNoiseSide);
        for (float& value : values) {
            value = random.normal(1.0f);
        }
        return values;
    }();
    return tile;
}

void addNoise(cv::Mat& frame, float deviation, Random& random) {
    const std::vector<float>& tile = noiseTile();
    const int offsetX = random.below(kNoiseSide);
    const int offsetY = random.below(kNoiseSide);
    for (int y = 0; y < frame.rows; ++y) {
        auto* to = frame.ptr<std::uint8_t>(y);
        const float* row =
            tile.data() + static_cast<std::ptrdiff_t>((y + offsetY) % kNoiseSide) * kNoiseSide;
        for (int x = 0; x < frame.cols; ++x) {
            const float grey =
                static_cast<float>(to[x]) + deviation * row[(x + offsetX) % kNoiseSide] + 0.5f;
            to[x] = static_cast<std::uint8_t>(std::clamp(grey, 0.0f, 255.0f));
        }
    }
}

cv::Mat neutralDetail(cv::Size size) {
    return {size, CV_8U, cv::Scalar::all(static_cast<double>(kNeutralDetail))};
}

// Photographs a body part; `identity` supplies the skin's detail and may be null.
cv::Mat photograph(const Silhouette* silhouette, const PalmIdentity* identity, const Scene& scene) {
    Random random{scene.conditions.noiseKey, kSceneStream};
    cv::Mat frame = drawBackground(scene.size, scene.conditions.background,
                                   scene.conditions.backgroundLevel, random);
    if (silhouette != nullptr) {
        const cv::Mat skin = projectSkin(*silhouette, scene);
        if (scene.conditions.background != Background::black) {
            castShadow(frame, skin, scene);
        }
        const cv::Mat detail =
            identity != nullptr ? projectDetail(*identity, scene) : neutralDetail(scene.size);
        compose(frame, skin, detail, scene);
    }
    blur(frame, scene);
    addNoise(frame, scene.conditions.noise, random);
    return frame;
}

}  // namespace

std::array<cv::Point2f, 7> keyPointsIn(const PalmIdentity& identity,
                                       const CaptureConditions& conditions, cv::Size size) {
    const Camera camera(conditions, identity.hand, size);
    std::array<cv::Point2f, 7> points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = camera.toFrame(identity.shape.keyPoints[i]);
    }
    return points;
}

RenderedFrame render(const PalmIdentity& identity, const CaptureConditions& conditions,
                     cv::Size size) {
    const Camera camera(conditions, identity.hand, size);
    const Silhouette hand = openHand(identity.shape, conditions);
    RenderedFrame frame{};
    frame.luma = photograph(&hand, &identity, {conditions, camera, size, identity.albedo});
    frame.keyPoints = keyPointsIn(identity, conditions, size);
    const auto [wrist, tip] = lengthwise(identity.shape, conditions);
    frame.handLength = static_cast<float>(cv::norm(camera.toFrame(tip) - camera.toFrame(wrist)));
    frame.hasHand = true;
    return frame;
}

RenderedFrame renderWithoutHand(std::uint64_t seed, int number, cv::Size size) {
    Random random{seed, static_cast<std::uint64_t>(number), kNoHandStream};
    const std::uint64_t strangersSeed = random.next();
    PalmIdentity stranger{};
    stranger.key = random.next();
    stranger.hand = random.chance(0.5f) ? Hand::left : Hand::right;
    stranger.shape = handShapeOf(strangersSeed, 0, stranger.hand);
    const CaptureConditions conditions =
        captureOf(seed, stranger, number, Scenario::anywhere, lookOf(seed, number));
    const bool textured = random.chance(0.3f);
    if (textured) {
        stranger = identityOf(strangersSeed, 0, stranger.hand);
    }
    const bool bare = random.chance(0.3f);
    const Silhouette skin = otherSkin(stranger.shape, conditions, random);
    const Camera camera(conditions, stranger.hand, size);
    const Scene scene{conditions, camera, size, random.uniform(0.4f, 1.0f)};
    RenderedFrame frame{};
    frame.luma = photograph(bare ? nullptr : &skin, textured ? &stranger : nullptr, scene);
    return frame;
}

}  // namespace brairu
