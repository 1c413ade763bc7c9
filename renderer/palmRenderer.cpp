#include "renderer/palmRenderer.h"

#include "renderer/background.h"
#include "renderer/camera.h"
#include "renderer/openHand.h"
#include "renderer/otherSkin.h"
#include "renderer/random.h"
#include "renderer/skinShading.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace brairu {

namespace {

enum Stream : std::uint64_t {
    kSceneStream = 11,
    kNoiseStream = 12,
    kNoPalmStream = 13,
    kStainStream = 14
};

constexpr float kNeutralDetail = 128.0f;
constexpr float kShadeScale = 96.0f;
constexpr int kNoiseSide = 1024;
// Nothing is drawn outside, farther than any frame shows of a hand and its arm.
const cv::Rect2f kReach{-12.0f, -14.0f, 24.0f, 18.0f};

// Everything about a capture that is on the way into the frame.
struct Scene {
    const CaptureConditions& conditions;
    const Camera& camera;
    cv::Size size;
    float albedo;
};

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

// The skin's detail in frame pixels, and the part of the frame that it covers.
struct ProjectedDetail {
    cv::Mat layer;
    cv::Rect window;
};

// Coverage and shade of skin in frame pixels, and the part of the frame that they cover.
struct ProjectedSkin {
    cv::Mat coverage;
    cv::Mat shade;
    cv::Rect window;
};

cv::Mat project(const cv::Mat& raster, const RasterMap& map, float around) {
    cv::Mat result;
    cv::remap(raster, result, map.whole, map.fraction, cv::INTER_LINEAR, cv::BORDER_CONSTANT,
              cv::Scalar::all(static_cast<double>(around)));
    return result;
}

// The detail layer within a window of the frame; around the palm it is neutral.
ProjectedDetail projectDetail(const PalmIdentity& identity, const Scene& scene,
                              const cv::Rect& around) {
    ProjectedDetail result{{}, scene.camera.windowOn(kTextureArea) & around};
    if (result.window.empty()) {
        return result;
    }
    cv::Mat detail = mixDetail(identity, scene.conditions);
    float scale = kTextureScale;
    while (scene.camera.scale() < 0.7f * scale) {
        cv::resize(detail, detail, {}, 0.5, 0.5, cv::INTER_AREA);
        scale *= 0.5f;
    }
    result.layer = project(detail, scene.camera.rasterMap(result.window, {kTextureArea, scale}),
                           kNeutralDetail);
    return result;
}

ProjectedSkin projectSkin(const Silhouette& silhouette, const Scene& scene) {
    const float scale = std::min(kShadeScale, scene.camera.scale());
    const ShadedSkin skin =
        shadeSkin(silhouette, scene.conditions, {scene.camera.visibleArea() & kReach, scale});
    const cv::Rect window = scene.camera.windowOn(skin.raster.area());
    if (skin.raster.area().empty() || window.empty()) {
        return {};
    }
    const RasterMap map = scene.camera.rasterMap(window, skin.raster);
    return {project(skin.coverage, map, 0.0f), project(skin.shade, map, 0.0f), window};
}

// Darkens what lies behind the hand, away from the light.
void castShadow(cv::Mat& background, const ProjectedSkin& skin, const Scene& scene) {
    constexpr float kDepth = 0.3f;
    const CaptureConditions& conditions = scene.conditions;
    const cv::Point2f fall =
        scene.camera.toFrame(conditions.middle) -
        scene.camera.toFrame(conditions.middle + conditions.lightSlope * kDepth);
    const cv::Point2d corner = cv::Point2d(skin.window.tl()) + cv::Point2d(fall);
    const double scaleX = 0.5 * background.cols / scene.size.width;
    const double scaleY = 0.5 * background.rows / scene.size.height;
    const cv::Matx23d moved(1.0, 0.0, scaleX * corner.x, 0.0, 1.0, scaleY * corner.y);
    cv::Mat coverage;
    cv::resize(skin.coverage, coverage,
               {std::max(1, cvRound(scaleX * skin.window.width)),
                std::max(1, cvRound(scaleY * skin.window.height))},
               0, 0, cv::INTER_AREA);
    cv::warpAffine(coverage, coverage, moved, background.size() / 2);
    cv::GaussianBlur(coverage, coverage, {},
                     0.6 + 0.1 * scaleX * static_cast<double>(scene.camera.scale()));
    cv::resize(coverage, coverage, background.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat shadow;
    cv::multiply(background, coverage, shadow, 0.45 / 255.0);
    cv::subtract(background, shadow, background);
}

// Light on skin: its level where it is brightest, and how it falls off from there.
struct SkinLight {
    float x;
    float y;
    float fallOff;
    float level;
};

SkinLight lightOf(const Scene& scene) {
    const CaptureConditions& conditions = scene.conditions;
    return {conditions.lightCentre.x * static_cast<float>(scene.size.width),
            conditions.lightCentre.y * static_cast<float>(scene.size.height),
            4.0f * conditions.lightFallOff / static_cast<float>(scene.size.area()),
            conditions.exposure * scene.albedo / kFullShade};
}

// Pointers into a row of skin, and of the frame over which it is laid; x and y are the first one's
// place in the frame.
struct SkinRow {
    std::uint8_t* frame;
    const std::uint8_t* coverage;
    const std::uint8_t* shade;
    int x;
    int y;
    int count;
};

// Lays a row of lit skin over the frame. `edge` is how steeply coverage turns into skin.
void layRow(SkinRow row, float edge, SkinLight light) {
    const float dy = static_cast<float>(row.y) - light.y;
    for (int x = 0; x < row.count; ++x) {
        const float within = 0.5f + (static_cast<float>(row.coverage[x]) - 127.5f) * edge;
        const float cover = std::min(std::max(within, 0.0f), 1.0f);
        const float dx = static_cast<float>(row.x + x) - light.x;
        const float lit = light.level / (1.0f + light.fallOff * (dx * dx + dy * dy));
        const float grey = static_cast<float>(row.shade[x]) * lit;
        const auto behind = static_cast<float>(row.frame[x]);
        row.frame[x] =
            static_cast<std::uint8_t>(std::min(behind + cover * (grey - behind), 255.0f));
    }
}

// Lays creases, veins and relief over a row of shaded skin.
void addDetail(std::uint8_t* shade, const std::uint8_t* detail, int count) {
    constexpr float kGain = 0.75f / kNeutralDetail;
    for (int x = 0; x < count; ++x) {
        const float texture = 1.0f + (static_cast<float>(detail[x]) - kNeutralDetail) * kGain;
        const float grey = static_cast<float>(shade[x]) * texture + 0.5f;
        shade[x] = static_cast<std::uint8_t>(std::min(grey, 255.0f));
    }
}

void addDetail(ProjectedSkin& skin, const ProjectedDetail& detail) {
    const cv::Point corner = detail.window.tl() - skin.window.tl();
    for (int y = 0; y < detail.window.height; ++y) {
        addDetail(skin.shade.ptr<std::uint8_t>(corner.y + y, corner.x),
                  detail.layer.ptr<std::uint8_t>(y), detail.window.width);
    }
}

// Lays lit skin over the background.
void compose(cv::Mat& frame, const ProjectedSkin& skin, const Scene& scene) {
    // A step blurred by a deviation rises by 1 / (deviation * sqrt(2 pi)) a pixel.
    constexpr float kSqrtTwoPi = 2.5066f;
    const float edge = kOutlineBlur * scene.camera.scale() * kSqrtTwoPi / (255.0f * 1.2f);
    const SkinLight light = lightOf(scene);
    const cv::Rect& window = skin.window;
    for (int y = 0; y < window.height; ++y) {
        layRow({frame.ptr<std::uint8_t>(window.y + y, window.x), skin.coverage.ptr<std::uint8_t>(y),
                skin.shade.ptr<std::uint8_t>(y), window.x, window.y + y, window.width},
               edge, light);
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

void addScaled(std::uint8_t* to, const float* noise, int count, float deviation) {
    for (int i = 0; i < count; ++i) {
        const float grey = static_cast<float>(to[i]) + deviation * noise[i] + 0.5f;
        to[i] = static_cast<std::uint8_t>(std::min(std::max(grey, 0.0f), 255.0f));
    }
}

void addNoise(cv::Mat& frame, float deviation, Random& random) {
    const std::vector<float>& tile = noiseTile();
    const int offsetX = random.below(kNoiseSide);
    const int offsetY = random.below(kNoiseSide);
    for (int y = 0; y < frame.rows; ++y) {
        auto* to = frame.ptr<std::uint8_t>(y);
        const float* row =
            tile.data() + static_cast<std::ptrdiff_t>((y + offsetY) % kNoiseSide) * kNoiseSide;
        for (int begin = 0; begin < frame.cols;) {
            const int from = (begin + offsetX) % kNoiseSide;
            const int count = std::min(kNoiseSide - from, frame.cols - begin);
            addScaled(to + begin, row + from, count, deviation);
            begin += count;
        }
    }
}

// How the camera sees a body part; `identity` supplies the skin's detail and may be null. The window
// is empty if nothing of it is in the frame.
ProjectedSkin seen(const Silhouette& silhouette, const PalmIdentity* identity, const Scene& scene) {
    ProjectedSkin skin = projectSkin(silhouette, scene);
    if (identity != nullptr && !skin.window.empty()) {
        addDetail(skin, projectDetail(*identity, scene, skin.window));
    }
    return skin;
}

cv::Mat photograph(const ProjectedSkin& skin, const Scene& scene) {
    const CaptureConditions& conditions = scene.conditions;
    Random random{conditions.noiseKey, kSceneStream};
    cv::Mat background =
        drawBackground(scene.size, conditions.background, conditions.backgroundLevel, random);
    if (conditions.background != Background::black && !skin.window.empty()) {
        castShadow(background, skin, scene);
    }
    cv::Mat frame;
    cv::resize(background, frame, scene.size, 0, 0, cv::INTER_LINEAR);
    compose(frame, skin, scene);
    blur(frame, scene);
    addNoise(frame, conditions.noise, random);
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
    const Scene scene{conditions, camera, size, identity.albedo};
    RenderedFrame frame{};
    frame.luma = photograph(seen(openHand(identity.shape, conditions), &identity, scene), scene);
    frame.keyPoints = keyPointsIn(identity, conditions, size);
    const auto [wrist, tip] = lengthwise(identity.shape, conditions);
    frame.handLength = static_cast<float>(cv::norm(camera.toFrame(tip) - camera.toFrame(wrist)));
    frame.content = Content::openPalm;
    return frame;
}

RenderedFrame renderWithoutPalm(std::uint64_t seed, int number, cv::Size size) {
    Random random{seed, static_cast<std::uint64_t>(number), kNoPalmStream};
    const std::uint64_t strangersSeed = random.next();
    PalmIdentity stranger{};
    stranger.key = random.next();
    stranger.hand = random.chance(0.5f) ? Hand::left : Hand::right;
    stranger.shape = handShapeOf(strangersSeed, 0, stranger.hand);
    const CaptureConditions conditions =
        captureOf(seed, stranger, number, Scenario::anywhere, lookOf(seed, number));
    const bool textured = random.chance(0.3f);
    const bool bare = random.chance(0.3f);
    const OtherSkin skin = otherSkin(stranger.shape, conditions, random);
    if (textured && !bare) {
        stranger = identityOf(strangersSeed, 0, stranger.hand);
        if (!skin.showsPalm) {
            stranger.creases.setTo(0);
        }
    }
    const Camera camera(conditions, stranger.hand, size);
    const Scene scene{conditions, camera, size, random.uniform(0.4f, 1.0f)};
    RenderedFrame frame{};
    frame.luma = photograph(
        bare ? ProjectedSkin{} : seen(skin.silhouette, textured ? &stranger : nullptr, scene),
        scene);
    frame.content = bare || !skin.isHand ? Content::noHand : Content::otherHand;
    return frame;
}

}  // namespace brairu
